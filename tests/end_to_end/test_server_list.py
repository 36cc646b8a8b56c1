"""Which list of servers is read at all, and how its records and the command line together make ssh's arguments."""

import os
import shutil

from surroundings import EndToEndTest

RECORD = "host\t2222\tlisted\t/listed/key\t\t-o Listed=yes"
READ = ["-l", "alice", "-i", "/listed/key", "-p", "2222", "-o", "Listed=yes", "alice@host", "svnserve"]
NOT_READ = ["-l", "alice", "alice@host", "svnserve"]


class ServerList(EndToEndTest):
    def assertSshGets(self, expected, *words, **options):
        result = self.runTool(*words, **options)
        self.assertEqual((result.status, result.stderr, result.record["arguments"]), (0, b"", expected))

    def testWhatIsRead(self):
        def makeSparse():
            self.writeList(RECORD + "\n")
            os.truncate(self.list, (16 << 20) + 1)

        def makeLink():
            self.writeList(RECORD)
            os.rename(self.list, self.path("elsewhere"))
            os.symlink(self.path("elsewhere"), self.list)

        for name, make, expected in (
                ("a list", lambda: self.writeList(f"other\t1\n{RECORD}\n"), READ),
                ("a link to a list", makeLink, READ),
                ("writable by the group", lambda: self.writeList(RECORD, mode=0o660), READ),
                ("missing", lambda: None, NOT_READ),
                ("a byte above 16 MiB", makeSparse, NOT_READ),
                ("millions of lines", lambda: self.writeList(RECORD + "\n" + "a\n" * (7 << 20)), NOT_READ),
                ("writable by everyone", lambda: self.writeList(RECORD, mode=0o602), NOT_READ)):
            with self.subTest(name):
                shutil.rmtree(os.path.dirname(self.list))
                os.mkdir(os.path.dirname(self.list))
                make()
                self.assertSshGets(expected, "alice@host", "svnserve")

    def testMerge(self):
        command = ["host", "svnserve", "-t"]
        full = ["-l", "cli", "-i", "/cli/key", "-p", "22", "-v", *command]
        listed = ["-l", "listed", "-i", "/listed/key", "-p", "2222", "-o", "Listed=yes", "listed@host",
                  *command[1:]]
        own = ["-l", "cli", "-i", "/cli/key", "-p", "22", "-v", "cli@host", *command[1:]]
        # Others begin like the host, or the host like them.
        several = ("hos\t1\tnobody\nhost.lan\t1\tnobody\nHost\t0\tbob\t\t\t-4  -v\n"
                   "host\t2200\tcarol\t/key\nhost\t0\n")
        common = ["-i", "/key", "-p", "2200", "-4", "", "-v"]
        mixed = ["-l", "me", "-i", "/listed/key", "-p", "99", "-o", "Listed=yes", "me@host"]
        for name, records, tunnel, words, expected in (
                ("the list overrides", RECORD, None, full, listed),
                ("the list only fills in", RECORD, " YES ", full, own),
                ("the destination wins over the list", RECORD, None, ["-l", "cli", "me@host:99"], mixed),
                ("and over the words", RECORD, "yes", ["-l", "cli", "-p", "1", "me@host:99"], mixed),
                ("the last record overrides", several, None, ["HOST"], ["-l", "carol", *common, "carol@HOST"]),
                ("the first record fills in", several, "yes", ["HOST"], ["-l", "bob", *common, "bob@HOST"]),
                ("a record without a port names 22", "host\t\tlisted", None, ["-p", "1", "host"],
                 ["-l", "listed", "-p", "22", "listed@host"])):
            with self.subTest(name):
                self.writeList(records)
                self.assertSshGets(expected, *words, change={"SSH_TUNNEL": tunnel})

    def testProgramOfTheRecord(self):
        self.writeList(f"host\t22\tlisted\t\t{self.program('other', 'echo other')}\n")
        for name, change, output in (("overrides what was found", {}, b"other\n"),
                                     ("fills in nothing, since one was found", {"SSH_TUNNEL": "yes"}, b""),
                                     ("gives way to the environment", {"SSH_ORIGINAL": self.ssh}, b"")):
            with self.subTest(name):
                result = self.runTool("host", change=change)
                found = result.status, result.stdout, result.record is None
                self.assertEqual(found, (0, output, output != b""))
