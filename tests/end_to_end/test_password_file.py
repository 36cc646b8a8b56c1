"""The password file in a home of its own: the questions about its keys, and what faults and kills leave of it."""

import collections
import glob
import os
import re
import shutil
import sqlite3
import stat
import subprocess

from dialog_surroundings import DialogTest
from surroundings import LIMIT, readUntil

DRIVER = os.path.abspath(os.environ["QUELTO_KEY_FILE_DRIVER"])
UNREADABLE = "Failed to read the secure key pair"
NEW_PAIR = "Cannot find the secure key pair"
TRUE, FALSE = {"stdout": b"true\n"}, {"stdout": b"false\n"}


class PasswordFileTest(DialogTest):
    """The home folder is the password database's; what HOME names has the keychain."""

    def setUp(self):
        super().setUp()
        os.mkdir(self.path("owner"))
        self.keys = self.path("owner/.keys")
        self.data = self.home + "/.local/share/quelto"
        self.environment.update(self.withPasswordDatabase("owner", self.path("owner")))
        self.assertEqual(self.use("add", "old", "known"), "true")

    def use(self, *words, **options):
        """What the driver prints where nobody can be asked."""
        result = self.runTool("main", *words, program=DRIVER, **options)
        self.assertEqual((result.status, result.stderr), (0, b""))
        return result.stdout.decode().strip()

    def names(self):
        with open(self.keys) as file:
            return re.findall("^name = (.*)$", file.read(), re.MULTILINE)


class Questions(PasswordFileTest):
    def testPairThatCannotBeRead(self):
        for thread in ("main", "worker"):
            for name, keys, expected, left in (
                    ("no", ("n\n",), FALSE, ["old"]),
                    ("no answer", ("\x04",), FALSE, ["old"]),
                    ("yes, and keep the file", ("y\n", "n\n"), TRUE, ["old", "new"]),
                    ("yes, and delete the file", ("y\n", "y\n"), TRUE, ["new"])):
                with self.subTest(name, thread=thread):
                    shutil.rmtree(self.data)
                    os.remove(self.keys)
                    self.use("add", "old", "known")
                    with sqlite3.connect(self.data + "/keychain.sqlite") as database:
                        database.execute("UPDATE item SET sealed = zeroblob(100)")
                    database.close()
                    shown = self.answerOnTerminal((thread, "add", "new", "s"), zip((" [y/n] ",) * 2, keys), expected,
                                                  program=DRIVER)
                    self.assertEqual(re.findall(f"{UNREADABLE}|{NEW_PAIR}", shown), [UNREADABLE, NEW_PAIR][:len(keys)])
                    self.assertEqual(self.names(), left)

    def testKeychainThatAnswersAgain(self):
        os.chmod(self.data, 0o755)
        terminal, slave = self.openTerminal()
        process = self.askOnTerminal(slave, "worker", "add", "new", "s", program=DRIVER)
        readUntil(terminal, b" [y/n] ")
        os.chmod(self.data, 0o700)
        terminal.write(b"y\n")
        self.assertEndsOnTerminal(process, **TRUE)
        self.assertEqual(self.use("password", "old"), "known", "a yes costs no pair that can be read after all")

    def testFileIsKeptWhenAnotherProcessHasWrittenToIt(self):
        shutil.rmtree(self.data)
        terminal, slave = self.openTerminal()
        process = self.askOnTerminal(slave, "main", "add", "new", "s", program=DRIVER)
        readUntil(terminal, b" [y/n] ")
        self.assertEqual(self.use("add", "other", "s2"), "true")
        terminal.write(b"y\n")
        self.assertEndsOnTerminal(process, **TRUE)
        self.assertEqual(self.names(), ["old", "other", "new"])
        self.assertEqual([self.use("password", name) for name in ("old", "other", "new")], ["", "s2", "s"])


class Faults(PasswordFileTest):
    def setUp(self):
        super().setUp()
        if subprocess.run(["strace", "-qq", "-o", os.devnull, "true"], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("strace may not trace here")
        # The search for leaks is itself a tracer, and a process has one at most.
        self.environment["ASAN_OPTIONS"] += ":detect_leaks=0"
        shutil.copy(self.keys, self.path("before"))

    def trace(self, *options):
        """Adds an item to the file of before, under strace."""
        for leftover in glob.glob(self.keys + "*"):
            os.remove(leftover)
        shutil.copy(self.path("before"), self.keys)
        return self.runTool("-f", "-qq", "-o", self.path("trace"), *options, "--", DRIVER, "main", "add", "new", "s",
                            program=shutil.which("strace"))

    def testFailingCallsLoseNothing(self):
        reading = ("-P", self.keys)
        for name, where, fault, told, names in (
                ("none", (), "flock:delay_enter=1", "true\n", ["old", "new"]),
                ("cannot be read", reading, "read:error=EIO", "false\n", ["old"]),
                ("may not be read", reading, "openat:error=EACCES:when=1", "false\n", ["old"]),
                # What is told does not fit either.
                ("disk full", (), "write:error=ENOSPC", "", ["old"]),
                ("disk fails", (), "fsync:error=EIO:when=1", "false\n", ["old"]),
                ("disk fails for the folder", (), "fsync:error=EIO:when=2", "false\n", ["old", "new"]),
                ("folders cannot be synchronised", (), "fsync:error=EINVAL:when=2", "true\n", ["old", "new"]),
                ("mode cannot be set", (), "fchmod:error=EPERM", "false\n", ["old"]),
                ("another file system", (), "rename,renameat,renameat2:error=EXDEV", "false\n", ["old"]),
                ("no locks", (), "flock:error=ENOLCK", "true\n", ["old", "new"]),
                ("interrupted", (), "write:error=EINTR:when=1", "true\n", ["old", "new"])):
            with self.subTest(name):
                result = self.trace(*where, "-e", "inject=" + fault)
                self.assertEqual((result.status, result.stdout), (0, told.encode()))
                self.assertEqual(self.names(), names)
                self.assertEqual(os.listdir(os.path.dirname(self.keys)), [".keys"])
                self.assertEqual(self.use("password", "old"), "known")

    def testKillsLeaveAWholeFile(self):
        calls = "flock,read,openat,write,fchmod,fsync,renameat,getdents64"
        self.trace("-e", "trace=" + calls)
        with open(self.path("trace")) as file:
            # From the first lock on: what comes before only reads.
            text = file.read()
        total = collections.Counter(re.findall(r"^\d+ +(\w+)\(", text, re.MULTILINE))
        before = collections.Counter(re.findall(r"^\d+ +(\w+)\(", text[:text.index("flock(")], re.MULTILINE))
        for needed in ("flock", "openat", "read", "write", "fsync", "renameat"):
            self.assertGreater(total[needed], before[needed], needed)
        seen = set()
        for call in total:
            for when in range(before[call] + 1, total[call] + 1):
                with self.subTest(call, when=when):
                    self.trace("-e", f"inject={call}:signal=KILL:when={when}")
                    seen.add(tuple(self.names()))
                    with open(self.keys) as file:
                        self.assertTrue(file.read().endswith("\n\n"), "whole")
                    for path in glob.glob(self.keys + "*"):
                        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o600)
        self.assertEqual(seen, {("old",), ("old", "new")})
        self.assertEqual(self.use("password", "old"), "known")
        self.assertEqual(self.use("add", "next", "s"), "true")
