"""The user name of a host that nothing names the user of: looked up, asked for, remembered and forgotten."""

import contextlib
import fcntl
import os
import shutil
import signal
import sqlite3
import termios
import types

from dialog_surroundings import DialogTest, childrenOf, hasEnded, waitUntil
from surroundings import LIMIT, TOOL, SvnTest, readUntil

HOST = "host.example"
USER, REMEMBER, YES_NO = "SSH username: ", " [Y/n] ", " [y/n] "
SILENT = {"stdout": b""}
KEYCHAIN, FILE = "0", "1"
# Starts the tool on its own streams, and waits. A shell gives what runs in the background an empty input otherwise.
CALLER = '"$@" <&4 4<&- & echo $! >&3; wait'


class UserNameTest(DialogTest):
    """The password file is in a home of its own; a recording ssh takes the real one's place."""

    def setUp(self):
        super().setUp()
        os.mkdir(self.path("owner"))
        self.environment.update(self.withPasswordDatabase("owner", self.path("owner")), SSH_ORIGINAL=self.ssh)
        self.marker = self.path("marker.u")

    def addDisplay(self):
        # With the library that gives the home, a sanitizer keeps the window's program from starting.
        del self.environment["LD_PRELOAD"]
        return super().addDisplay()

    def answer(self, *keys, host=HOST, **options):
        """Runs the tool on a terminal and answers its questions."""
        prompts = [USER if index % 2 == 0 else REMEMBER for index in range(len(keys))]
        self.answerOnTerminal((host, "svnserve", "-t"), zip(prompts, keys), SILENT, program=TOOL, **options)

    def names(self, result):
        """The user that ssh was started for, twice; None when it was not."""
        words = result.record and result.record["arguments"]
        return words and (words[1], words[-3])

    def assertKnown(self, user, host=HOST, **options):
        """The next run asks nothing."""
        result = self.runTool(host, "svnserve", "-t", **options)
        self.assertEqual((result.status, result.stdout, result.stderr), (0, b"", b""))
        self.assertEqual(self.names(result), (user, f"{user}@{host}"))

    def markerText(self):
        with contextlib.suppress(FileNotFoundError), open(self.marker) as file:
            return file.read()
        return None


class Answers(UserNameTest):
    def testAnswerIsRemembered(self):
        self.answer("\n", "y\n", "\n", "n\n", " dave \n", "\n")
        self.assertEqual(self.markerText(), "Username: " + HOST)
        os.remove(self.marker)
        self.assertKnown("dave")
        self.assertEqual(self.markerText(), "Username: " + HOST)
        self.assertEqual(os.stat(self.marker).st_mode & 0o7777, 0o600)

    def testNameIsUsedAsTyped(self):
        self.answerOnTerminal((HOST, "svnserve"), ((USER, " dave \n"), (REMEMBER, "\n")),
                              {"stdout": f"-l  dave   dave @{HOST} svnserve\n".encode()}, program=TOOL,
                              change={"SSH_ORIGINAL": "/bin/echo"})

    def testClearedBoxForgets(self):
        for store in KEYCHAIN, FILE:
            with self.subTest(store=store):
                change = {"AUTH_STORE": store}
                # Nothing is left of it when it is looked up.
                self.answer(" \n", "\n", change=change)
                self.answer("erin\n", "n\n", change=change)
                stored = self.path("owner/.keys") if store == FILE else self.home + "/.local/share/quelto/keychain.sqlite"
                with open(stored, "rb") as file:
                    self.assertNotIn(HOST.encode(), file.read())

    def testManyRunsAtOnceAskNothing(self):
        for store in KEYCHAIN, FILE:
            with self.subTest(store=store):
                change = {"AUTH_STORE": store, "SSH_ORIGINAL": "/bin/echo"}
                self.answerOnTerminal((HOST,), ((USER, "alice\n"), (REMEMBER, "\n")),
                                      {"stdout": b"-l alice alice@host.example\n"}, program=TOOL, change=change)
                for process in [self.start(HOST, change=change) for _ in range(5)]:
                    self.assertEnds(process, stdout=b"-l alice alice@host.example\n")
                self.assertEqual(self.markerText(), "Username: " + HOST)

    def testNothingToFindAsksAsUsual(self):
        for name, words in (("no destination", ("-v",)), ("a port alone", (":22",)),
                            ("a port that is none", (HOST + ":70000",)), ("a negative port", ("-p", "-5", HOST))):
            with self.subTest(name):
                self.answerOnTerminal(words, ((USER, "alice\n"), (REMEMBER, "n\n")), SILENT, program=TOOL,
                                      change={"SSH_ORIGINAL": "/bin/true"})


class Marker(UserNameTest):
    def testWhatIsInItsPlace(self):
        target = self.path("target")
        with open(target, "w") as file:
            file.write("mine")
        for name, prepare, identifyFile, marker in (
                ("a link", lambda: os.symlink(target, self.marker), None, self.marker),
                ("an older one", lambda: open(self.marker, "w").close(), None, self.marker),
                ("an empty path", lambda: None, "", self.path(".u")),
                ("a missing folder", lambda: None, self.path("missing/m"), None),
                ("a folder", lambda: os.mkdir(self.marker), None, None)):
            with self.subTest(name):
                with contextlib.suppress(FileNotFoundError):
                    os.remove(self.marker)
                prepare()
                change = {} if identifyFile is None else {"AUTH_KEYCHAIN": identifyFile}
                self.answer("alice\n", "\n", host=name.replace(" ", ""), change=change)
                if marker:
                    self.assertFalse(os.path.islink(marker))
                    with open(marker) as file:
                        self.assertEqual(file.read(), "Username: " + name.replace(" ", ""))
                with open(target) as file:
                    self.assertEqual(file.read(), "mine")
        self.assertEqual(os.listdir(self.marker), [])


class Questions(UserNameTest):
    """The password file's keys cannot be read, so each use of them asks whether to replace them."""

    def setUp(self):
        super().setUp()
        self.environment["AUTH_STORE"] = FILE
        self.answer("alice\n", "\n")
        with sqlite3.connect(self.home + "/.local/share/quelto/keychain.sqlite") as database:
            database.execute("UPDATE item SET sealed = zeroblob(100)")
        database.close()

    def askWhileSshRuns(self, script):
        """Leaves the question of the save on the terminal."""
        ssh = self.program("waiting", script)
        terminal, slave = self.openTerminal()
        process = self.askOnTerminal(slave, HOST, "svnserve", program=TOOL, change={"SSH_ORIGINAL": ssh})
        self.typeAnswers(terminal, ((YES_NO, "n\n"), (YES_NO, "n\n"), (USER, "bob\n"), (REMEMBER, "\n")))
        readUntil(terminal, YES_NO.encode())
        return process, terminal

    def testSaveAsksWhileSshRuns(self):
        process, terminal = self.askWhileSshRuns(f"until [ -e {self.path('go')} ]; do sleep .01; done; exit 7")
        terminal.write(b"y\n")
        self.typeAnswers(terminal, ((YES_NO, "y\n"), ("\n", "")))
        open(self.path("go"), "w").close()
        self.assertEndsOnTerminal(process, status=7)
        self.assertKnown("bob")

    def testQuestionDoesNotHoldTheExit(self):
        with self.subTest("ssh ends"):
            process, _ = self.askWhileSshRuns(f"until [ -e {self.path('go')} ]; do sleep .01; done; exit 7")
            open(self.path("go"), "w").close()
            self.assertEndsOnTerminal(process, status=7)
        with self.subTest("a signal"):
            process, _ = self.askWhileSshRuns(
                f"echo $PPID >{self.path('starting')}; mv {self.path('starting')} {self.path('pid')}; exec sleep 100")
            waitUntil(lambda: os.path.exists(self.path("pid")))
            with open(self.path("pid")) as file:
                os.kill(int(file.read()), signal.SIGTERM)
            self.assertEndsOnTerminal(process, status=signal.SIGTERM)


class Keyrings(UserNameTest):
    def setUp(self):
        super().setUp()
        self.keyring = self.addKeyring()

    def testHangingKeyringLeadsToTheQuestion(self):
        self.answer("alice\n", "\n")
        self.assertKnown("alice")
        self.keyring.send_signal(signal.SIGSTOP)
        self.answer("bob\n", "\n")
        self.keyring.send_signal(signal.SIGCONT)
        # What the exit did not wait for is there whole, or not at all.
        known = self.names(self.runTool(HOST, "svnserve", "-t"))
        self.assertIn(known, [(name, f"{name}@{HOST}") for name in ("alice", "bob")])

    def testSignalEndsALookUpAndASave(self):
        self.answer("alice\n", "\n")
        self.keyring.send_signal(signal.SIGSTOP)
        with self.subTest("a look-up"):
            tool = self.start(HOST)
            waitUntil(lambda: len(os.listdir(f"/proc/{tool.pid}/task")) > 1)
            tool.terminate()
            self.assertEnds(tool, status=-signal.SIGTERM)
        with self.subTest("a save"):
            self.keyring.send_signal(signal.SIGCONT)
            ssh = self.program("waiting", f"kill -STOP {self.keyring.pid}; echo $PPID; exec sleep 100")
            terminal, slave = self.openTerminal()
            process = self.askOnTerminal(slave, "other.example", program=TOOL, change={"SSH_ORIGINAL": ssh})
            self.typeAnswers(terminal, ((USER, "bob\n"), (REMEMBER, "\n")))
            tool = readUntil(process.stdout, b"\n")
            os.kill(int(tool), signal.SIGTERM)
            self.assertEndsOnTerminal(process, status=signal.SIGTERM)


class Caller(UserNameTest):
    """The program that starts the tool ends while the tool asks."""

    def startThroughCaller(self, script=CALLER, **options):
        """Returns the caller, the tool's process id and our ends of the tool's streams."""
        theirIn, ourOut = os.pipe()
        ourIn, theirOut = os.pipe()
        told, tell = os.pipe()
        caller = self.start("-c", f"exec 3>/dev/fd/{tell} 4<&0; {script}", "sh", TOOL, HOST, "svnserve", program="/bin/sh",
                            stdin=theirIn, stdout=theirOut, pass_fds=[tell], **options)
        for fd in theirIn, theirOut, tell:
            os.close(fd)
        with open(told, "rb", buffering=0) as stream:
            tool = int(readUntil(stream, b"\n"))
        return caller, tool, [os.fdopen(ourOut, "wb", buffering=0), os.fdopen(ourIn, "rb", buffering=0)]

    def askInEither(self, kind):
        if kind == "window":
            if "DISPLAY" not in self.environment:
                self.addDisplay()
            caller, tool, streams = self.startThroughCaller()
            self.waitForWindow(types.SimpleNamespace(pid=tool, poll=lambda: None))
            return caller, tool, streams, lambda: self.press(":alice", "Return")
        terminal, slave = self.openTerminal()
        # A shell leads the session, which outlives the caller.
        script = f"trap : HUP; sh -c '{CALLER}' sh \"$@\"; exec sleep 100"
        _, tool, streams = self.startThroughCaller(script, change={"DISPLAY": None},
                                                   prepare=lambda: fcntl.ioctl(slave, termios.TIOCSCTTY, 0))
        with open(f"/proc/{tool}/stat") as file:
            caller = int(file.read().split()[3])
        readUntil(terminal, USER.encode())
        return types.SimpleNamespace(kill=lambda: os.kill(caller, signal.SIGKILL)), tool, streams, lambda: (
            terminal.write(b"alice\n"), self.typeAnswers(terminal, ((REMEMBER, "n\n"),)))

    def testToolEndsWithItsCallerAndStreams(self):
        for kind in "window", "terminal":
            for name, steps in (("caller first", ("caller", "in", "out")), ("streams first", ("in", "out", "caller"))):
                with self.subTest(name, kind=kind):
                    caller, tool, streams, _ = self.askInEither(kind)
                    programs = childrenOf(tool)
                    self.assertEqual(len(programs), 1 if kind == "window" else 0)
                    do = {"caller": caller.kill, "in": streams[0].close, "out": streams[1].close}
                    for step in steps:
                        do[step]()
                    for pid in (tool, *programs):
                        self.assertTrue(hasEnded(pid))

    def testToolStaysWhileSomebodyWantsIt(self):
        for kind in "window", "terminal":
            for name, steps in (("its input has ended", ("in",)), ("both streams are closed", ("in", "out")),
                                ("somebody reads", ("caller", "in")), ("somebody writes", ("caller", "out")),
                                ("somebody does both", ("caller",))):
                with self.subTest(name, kind=kind):
                    # The window's answer is remembered.
                    shutil.rmtree(self.home + "/.local", ignore_errors=True)
                    with contextlib.suppress(FileNotFoundError):
                        os.remove(self.ssh + ".record")
                    caller, tool, streams, answer = self.askInEither(kind)
                    do = {"caller": caller.kill, "in": streams[0].close, "out": streams[1].close}
                    for step in steps:
                        do[step]()
                    answer()
                    self.assertTrue(hasEnded(tool))
                    self.assertTrue(os.path.exists(self.ssh + ".record"), "ssh has not run")
                    for stream in streams:
                        stream.close()

    def testToolEndsWithItsCallerAfterJobControl(self):
        # The shell takes the line that the tool, in the background, was stopped for.
        jobs = self.program("jobs", "set -m; sh -c 'echo $$ >&3; exec \"$@\" <&4 4<&-' sh \"$@\"\n"
                            "bg; wait %1; read line </dev/tty; echo taken >/dev/tty; fg")
        terminal, slave = self.openTerminal()
        _, tool, streams = self.startThroughCaller(f'trap : HUP; {jobs} "$@"; exec sleep 100',
                                                   prepare=lambda: fcntl.ioctl(slave, termios.TIOCSCTTY, 0))

        def status():
            with open(f"/proc/{tool}/stat") as file:
                return file.read().split()[2:4]

        readUntil(terminal, USER.encode())
        terminal.write(b"\x1a")
        readUntil(terminal, b"^Z")
        waitUntil(lambda: status()[0] == "S")
        terminal.write(b"alice\n")
        readUntil(terminal, b"taken")
        waitUntil(lambda: status()[0] == "S")
        os.kill(int(status()[1]), signal.SIGKILL)
        for stream in streams:
            stream.close()
        self.assertTrue(hasEnded(tool))

    def testThreadThatStartedItMayEnd(self):
        code = ("import subprocess, sys, threading\n"
                "children = []\n"
                "thread = threading.Thread(target=lambda: children.append(subprocess.Popen(sys.argv[1:])))\n"
                "thread.start(), thread.join(), sys.exit(children[0].wait())")
        self.answerOnTerminal(("-c", code, TOOL, HOST), ((USER, "alice\n"), (REMEMBER, "n\n")), {},
                              program="/usr/bin/python3")


class Svn(UserNameTest, SvnTest):
    """svn as a new user meets it, without a user name anywhere."""

    def setUp(self):
        super().setUp()
        del self.environment["SSH_ORIGINAL"]
        self.environment["SHELL"] = "/bin/sh"
        self.environment["SVN_SSH"] = f"{self.configured} -p {self.server.port} -i {self.server.identity}"
        self.url = f"svn+ssh://127.0.0.1{self.repository}"
        self.common = ("--non-interactive", "--config-dir", self.path("config"))

    def svnOnTerminal(self, *words, answers):
        terminal, slave = self.openTerminal()
        process = self.askOnTerminal(slave, *self.common, *words, program="svn")
        self.typeAnswers(terminal, zip((USER, REMEMBER), answers))
        readUntil(process.stdout, b"status 0\n")

    def svnAlone(self, *words):
        return self.runTool(*self.common, *words, program="svn")

    def assertRemembered(self):
        result = self.svnAlone("log", self.url)
        self.assertEqual(result.status, 0, result.stderr)
        self.assertEqual(self.markerText(), "Username: 127.0.0.1")

    def testTerminal(self):
        for name in "keychain", "file", "keyring":
            with self.subTest(name):
                self.environment["AUTH_STORE"] = FILE if name == "file" else KEYCHAIN
                if name == "keyring":
                    shutil.rmtree(self.home + "/.local")
                    self.addKeyring()
                user = self.server.user + "\n"
                self.svnOnTerminal("checkout", self.url, self.path("not " + name), answers=(user, "n\n"))
                self.assertIn(b"E02", self.svnAlone("log", self.url).stderr)
                self.assertIsNone(self.markerText())
                self.svnOnTerminal("checkout", self.url, self.path(name), answers=(user, "\n"))
                self.assertRemembered()
                os.remove(self.marker)

    def testWindow(self):
        self.addDisplay()
        process = self.start(*self.common, "checkout", self.url, self.path("copy"), program="svn")
        tool = waitUntil(lambda: childrenOf(process.pid)).pop()
        self.waitForWindow(types.SimpleNamespace(pid=tool, poll=process.poll))
        self.press(":" + self.server.user, "Return")
        process.communicate(timeout=LIMIT)
        self.assertEqual(process.returncode, 0)
        self.assertRemembered()

    def testToolEndsWithSvn(self):
        for kind in "terminal", "window":
            with self.subTest(kind):
                terminal, slave = self.openTerminal()
                words = *self.common, "log", self.url
                if kind == "terminal":
                    process = self.askOnTerminal(slave, *words, program="svn")
                    [svn] = waitUntil(lambda: childrenOf(process.pid))
                    readUntil(terminal, USER.encode())
                else:
                    self.addDisplay()
                    svn = self.start(*words, program="svn").pid
                [tool] = waitUntil(lambda: childrenOf(svn))
                if kind == "window":
                    self.waitForWindow(types.SimpleNamespace(pid=tool, poll=lambda: None))
                programs = childrenOf(tool)
                os.kill(svn, signal.SIGKILL)
                for pid in (tool, *programs):
                    self.assertTrue(hasEnded(pid))

    def testMergeOpensManyTunnels(self):
        for store in KEYCHAIN, FILE:
            with self.subTest(store=store):
                self.environment["AUTH_STORE"] = store
                copy = self.path("copy" + store)
                answers = (self.server.user + "\n", "\n")
                self.svnOnTerminal("mkdir", "-m", "m", self.url + "/trunk" + store, answers=answers)
                trunk, branch = self.url + "/trunk" + store, self.url + "/branch" + store
                for words in (("copy", "-m", "c", trunk, branch), ("mkdir", "-m", "d", branch + "/new"),
                              ("checkout", trunk, copy), ("merge", branch, copy), ("commit", "-m", "merged", copy)):
                    result = self.svnAlone(*words)
                    self.assertEqual((result.status, result.stderr), (0, b""), words)
                self.assertTrue(os.path.isdir(copy + "/new"))
