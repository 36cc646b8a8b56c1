"""The tool leaves the streams alone and ends with ssh's status; its own failures are one line and status 255."""

import os
import random

from surroundings import TOOL, EndToEndTest

CANNOT_RUN = b"queltoSSH(E04): Failed to run ssh.\n"

BANNER = b"""queltoSSH, 2.4.3.7086 (7086)

Unt_alert: 5552
Unt_app_appkeychain: 6897
Unt_authstore: 5552
Unt_com_consts: 6938
Unt_com_debug: 7086
Unt_comm_socket: 6963
Unt_crypto: 7085
Unt_debug_crash: 5892
Unt_inifile: 5394
Unt_keychain: 5393
Unt_keyfile: 6239
Unt_shell: 6676
Unt_ssh_main: 6963
Unt_strings: 7038
Unt_types: 6737
Unt_version: 5082
"""


class StreamsAndStatus(EndToEndTest):
    def testStatusIsThatOfSsh(self):
        for name, body, status in (
                ("success", "exit 0", 0),
                ("failure", "exit 1", 1),
                ("failure of the remote command", "exit 7", 7),
                ("failure of ssh itself", "exit 255", 255),
                ("ended by a signal", "kill -TERM $$", 15),
                ("ended by a signal that leaves no core file", "kill -SEGV $$", 11),
                ("ended by a signal that leaves a core file", "ulimit -c $(ulimit -H -c); kill -SEGV $$", 11)):
            with self.subTest(name):
                ssh = self.program("status", body)
                result = self.runTool("alice@host", change={"SSH_ORIGINAL": ssh})
                self.assertEqual((result.status, result.stdout, result.stderr), (status, b"", b""))

    def testStreamsPassUntouched(self):
        data = bytes(range(256)) * 16 + random.Random(1).randbytes(1 << 20)
        ssh = self.program("echo", "echo from ssh >&2; exec /bin/cat")
        result = self.runTool("alice@host", input=data, change={"SSH_ORIGINAL": ssh})
        self.assertEqual((result.status, result.stderr), (0, b"from ssh\n"))
        self.assertTrue(result.stdout == data, "the bytes have changed on the way")

    def testSshThatCannotBeStarted(self):
        link = self.path("link/ssh")
        os.mkdir(self.path("link"))
        os.symlink(TOOL, link)
        for name, program in (("missing", self.path("missing")),
                              ("not executable", self.program("data", "exit 0", mode=0o644)),
                              ("a folder", self.home),
                              ("empty", ""),
                              ("not to be found without a search path", "cat"),
                              ("the tool itself", TOOL),
                              ("a link to the tool", link)):
            with self.subTest(name, by="SSH_ORIGINAL"):
                self.assertFailed(self.runTool("alice@host", change={"SSH_ORIGINAL": program}), CANNOT_RUN)
        with self.subTest("a link to the tool", by="the list, which the next one would read as well"):
            self.writeList(f"host\t22\t\t\t{link}\n")
            self.assertFailed(self.runTool("alice@host"), CANNOT_RUN)

    def testBanner(self):
        for name, change in (("as svn starts it", {}), ("without a marker file", {"AUTH_KEYCHAIN": None})):
            with self.subTest(name):
                result = self.runTool(change=change)
                self.assertEqual((result.status, result.stdout, result.stderr), (0, BANNER, b""))

    def testBannerThatCannotBeWrittenIsAFailure(self):
        with open("/dev/full", "wb") as full:
            self.assertEqual(self.runTool(stdout=full).status, 255)

    def testMarkerFileIsRequired(self):
        self.assertFailed(self.runTool("alice@host", change={"AUTH_KEYCHAIN": None}),
                          b"queltoSSH(E01): Invalid environment.\n")
        with self.subTest("the login shell has been asked by then"):
            shell = self.program("asking", f": >'{self.path('asked')}'")
            self.runTool("alice@host", change={"AUTH_KEYCHAIN": None, "SHELL": shell})
            self.assertTrue(os.path.exists(self.path("asked")))
        with self.subTest("nobody reads the line"):
            readEnd, writeEnd = os.pipe()
            os.close(readEnd)
            with open(writeEnd, "wb") as closed:
                self.assertEqual(self.runTool("alice@host", change={"AUTH_KEYCHAIN": None}, stderr=closed).status, 255)
        with self.subTest("an empty value is enough"):
            result = self.runTool("alice@host", change={"AUTH_KEYCHAIN": ""})
            self.assertEqual(result.status, 0)
            self.assertIn("AUTH_KEYCHAIN=", result.record["environment"])
