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
        for body, status in (("exit 0", 0), ("exit 1", 1), ("exit 7", 7), ("exit 255", 255),
                             ("kill -TERM $$", 15), ("kill -SEGV $$", 11),
                             ("ulimit -c $(ulimit -H -c); kill -SEGV $$", 11)):
            with self.subTest(body):
                result = self.runTool("alice@host", change={"SSH_ORIGINAL": self.program("status", body)})
                self.assertEqual((result.status, result.stdout, result.stderr), (status, b"", b""))

    def testStreamsPassUntouched(self):
        data = bytes(range(256)) * 16 + random.Random(1).randbytes(1 << 20)
        ssh = self.program("echo", "echo from ssh >&2; exec /bin/cat")
        result = self.runTool("alice@host", input=data, change={"SSH_ORIGINAL": ssh})
        self.assertEqual((result.status, result.stderr), (0, b"from ssh\n"))
        self.assertTrue(result.stdout == data, "the bytes have changed on the way")

    def testSshThatCannotBeStarted(self):
        link = self.path("link-to-the-tool")
        os.symlink(TOOL, link)
        data = self.program("data", "exit 0", mode=0o644)
        for name, program in (
                ("missing", self.path("missing")), ("not executable", data), ("a folder", self.home),
                ("empty", ""), ("not to be found without a search path", "cat"), ("the tool", TOOL),
                ("a link to it", link), ("a line end behind it", self.ssh + "\n")):
            with self.subTest(name):
                self.assertFailed(self.runTool("alice@host", change={"SSH_ORIGINAL": program}), CANNOT_RUN)
        with self.subTest("a link in the list, which the next tool would read as well"):
            self.writeList(f"host\t22\t\t\t{link}\n")
            self.assertFailed(self.runTool("alice@host"), CANNOT_RUN)

    def testBanner(self):
        for change in ({}, {"AUTH_KEYCHAIN": None}):
            result = self.runTool(change=change)
            self.assertEqual((result.status, result.stdout, result.stderr), (0, BANNER, b""), change)
        with open("/dev/full", "wb") as full:
            self.assertEqual(self.runTool(stdout=full).status, 255, "cannot be written")

    def testMarkerFileIsRequired(self):
        without = {"SHELL": self.program("asking", f": >'{self.path('asked')}'"), "AUTH_KEYCHAIN": None}
        failed = self.runTool("alice@host", change=without)
        self.assertFailed(failed, b"queltoSSH(E01): Invalid environment.\n")
        self.assertTrue(os.path.exists(self.path("asked")), "the login shell is asked before")
        readEnd, writeEnd = os.pipe()
        os.close(readEnd)
        with open(writeEnd, "wb") as closed:
            failed = self.runTool("alice@host", change=without, stderr=closed)
        self.assertEqual(failed.status, 255, "nobody reads the line")
