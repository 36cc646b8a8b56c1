"""A fatal signal ends the tool with the signal's number, and its report arrives wherever somebody collects."""

import os
import re
import signal
import socket
import termios
import time

from dialog_surroundings import DialogTest, childrenOf, waitUntil
from surroundings import LIMIT, TOOL, EndToEndTest, readUntil

DRIVER = os.environ["QUELTO_CRASH_DRIVER"]
COLLECTOR = os.path.join(os.path.dirname(TOOL), "quelto-collector")
# Only where no sanitizer has an allocator of its own.
NO_HEAP = os.environ.get("QUELTO_NO_HEAP")

SIGNALS = (signal.SIGINT, signal.SIGSEGV, signal.SIGTRAP, signal.SIGABRT, signal.SIGILL)
# A line of a report: class and method, or the raw entry.
REPORT_LINE = re.compile(r"\S+ \S+\)|\d+ +\S+ +0x[0-9a-f]{16} \S+ \+ \d+")


class CrashTest(EndToEndTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_RUNTIME_DIR"] = self.path("run")
        self.socket = self.path("run/quelto/org.quelto.suite.comm/crash")
        os.makedirs(os.path.dirname(self.socket), mode=0o700)
        for folder in ("run", "run/quelto", "run/quelto/org.quelto.suite.comm"):
            os.chmod(self.path(folder), 0o700)

    def collect(self):
        """A collector that writes what it receives."""
        collector = self.start("--print", program=COLLECTOR)
        waitUntil(lambda: os.path.exists(self.socket))
        return collector

    def listen(self, path=None, backlog=5):
        listener = socket.socket(socket.AF_UNIX)
        self.addCleanup(listener.close)
        listener.bind(path or self.socket)
        listener.listen(backlog)
        return listener

    def report(self, collector):
        """The next report: its head as a dictionary, and its lines."""
        text = readUntil(collector.stdout, b"\n\n")
        while text.count(b"\n\n") < 2:
            text += readUntil(collector.stdout, b"\n")
        head, lines = text.decode().removesuffix("\n\n").split("\n\n")
        return dict(line.split(": ", 1) for line in head.splitlines()), lines.splitlines()

    def assertEnds(self, process, status, limit=5, stderr=b""):
        begin = time.monotonic()
        self.assertEqual((process.communicate(timeout=LIMIT), process.returncode), ((b"", stderr), status))
        # The protocol's pauses are its own.
        self.assertLess(time.monotonic() - begin, limit + 2)


class Faults(CrashTest):
    def crash(self, *words, **change):
        return self.start(*words, program=DRIVER, change={"LD_PRELOAD": NO_HEAP, **change})

    def testEachIsReported(self):
        collector = self.collect()
        # Which sanitizers see first.
        damage = (("damaged heap", "heap", 6, "damageHeap()", b"malloc(): invalid size (unsorted)\n"),
                  ("damaged stack", "stack", 11, "damageStack()"), ("return to nothing", "return", 11, " 0x0 + 0"))
        for name, words, status, function, *stderr in (
                *(damage if NO_HEAP else ()),
                ("bad read", "read", 11, "readBadAddress()"),
                ("on a worker", "read worker", 11, "readBadAddress()"),
                ("on two threads", "read two", 11, "readBadAddress()"),
                ("overflow", "overflow", 11, "overflowStack(int)"),
                ("overflow on a worker", "overflow worker", 11, "overflowStack(int)"),
                ("abort in the allocator's company", "abort main allocating", 6, "abort + "),
                ("illegal instruction", "illegal", 4, "runIllegalInstruction()"),
                ("trap", "trap worker", 5, "quelto trap()"),
                ("call of nothing", "call", 11, "callBadAddress()"),
                ("a private key in memory", "read main guarded", 11, "readBadAddress()")):
            with self.subTest(name):
                self.assertEnds(self.crash(*words.split()), status, stderr=b"".join(stderr))
                head, lines = self.report(collector)
                self.assertEqual((head["Source"], head["Version"]), ("crash_driver", "2.4.3.7086"))
                self.assertRegex(head["Date"], r"^\d{4}-\d\d-\d\d_\d\d:\d\d:\d\d$")
                self.assertTrue(any(function in line for line in lines), lines)
                self.assertEqual([line for line in lines if not REPORT_LINE.match(line)], [])

    def testTheEndIsSureWithoutAReport(self):
        for words, status, stderr in (
                ("read main again", 11, b""), ("read main bus", 11, b""), ("read worker leaving", 11, b""),
                ("read main default", -11, b""),
                ("read main heap", 99 if NO_HEAP else 11,
                 b"the heap was used in a signal handler\n" if NO_HEAP else b"")):
            with self.subTest(words):
                self.assertEnds(self.crash(*words.split()), status, stderr=stderr)

    def testWhateverBecomesOfTheCollector(self):
        def full():
            full.connections = [socket.socket(socket.AF_UNIX) for _ in range(3)]
            self.listen(backlog=0)
            for connection in full.connections:
                self.addCleanup(connection.close)
                connection.setblocking(False)
                connection.connect_ex(self.socket)

        def ofAnotherUser():
            self.listen()
            os.chown(self.socket, 65534, 65534)

        def elsewhere():
            self.listen(self.path("elsewhere"))
            os.symlink(self.path("elsewhere"), self.socket)

        for name, prepare in (
                ("none", lambda: None), ("without listener", lambda: self.listen().close()),
                ("hangs", lambda: self.listen(backlog=1)), ("full", full), ("link", elsewhere),
                ("another user's", ofAnotherUser), ("open folder", lambda: os.chmod(os.path.dirname(self.socket), 0o770)),
                ("no file", lambda: os.mkdir(self.socket)), ("no folder", lambda: os.rmdir(os.path.dirname(self.socket)))):
            with self.subTest(name):
                if prepare is ofAnotherUser and os.geteuid() != 0:
                    self.skipTest("only root gives a socket away")
                prepare()
                begin = time.monotonic()
                self.assertEnds(self.crash("read"), 11, limit=6)
                if prepare is full:
                    self.assertGreater(time.monotonic() - begin, 4.9)
                self.tearSocketDown()

    def tearSocketDown(self):
        self.doCleanups()
        self.setUp()

    def testACollectorThatDiesHalfWay(self):
        listener = self.listen()
        process = self.crash("overflow")
        connection, _ = listener.accept()
        self.assertEqual(len(connection.recv(256)), 256)
        connection.close()
        self.assertEnds(process, 11)

    def testSignalsFromOutsideChangeNothing(self):
        listener = self.listen()
        process = self.crash("overflow", "worker")
        connection, _ = listener.accept()
        connection.recv(1)
        while process.poll() is None:
            process.send_signal(signal.SIGTERM)
            process.send_signal(signal.SIGSEGV)
        self.assertEnds(process, 11)
        self.assertGreater(len(connection.makefile("rb").read()), 10 * 256)


class Phases(CrashTest, DialogTest):
    """The tool itself, wherever the signal meets it."""

    def assertReported(self, collector, process, number, function):
        process.send_signal(number)
        self.assertEqual(process.wait(LIMIT), number)
        head, lines = self.report(collector)
        self.assertEqual(head["Source"], "queltoSSH")
        self.assertTrue(any(function in line for line in lines), lines)

    def testEverySignalWhileTheLoginShellIsAsked(self):
        collector = self.collect()
        for number in SIGNALS:
            with self.subTest(number.name):
                started = self.path(f"started{number}")
                shell = self.program("slow", f"echo >{started}; while echo; do sleep 0.05; done")
                process = self.start("alice@host", change={"SHELL": shell})
                waitUntil(lambda path=started: os.path.exists(path))
                self.assertReported(collector, process, number, "launcher readRequest(")

    def testWhileSshRuns(self):
        collector = self.collect()
        ssh = self.program("running", "echo ready; exec cat")
        for number in SIGNALS[1:]:
            with self.subTest(number.name):
                process = self.start("alice@host", change={"SSH_ORIGINAL": ssh})
                readUntil(process.stdout, b"ready")
                self.assertReported(collector, process, number, "launcher runSsh")

    def askForTheUser(self, prepare=lambda slave: None):
        """A terminal on which the tool asks."""
        terminal, slave = self.openTerminal()
        prepare(slave)
        process = self.askOnTerminal(slave, "host", program=TOOL)
        readUntil(terminal, b"SSH username: ")
        return terminal, slave, process

    def testCtrlCAtTheQuestionGivesTheTerminalBack(self):
        def silence(slave):
            modes = termios.tcgetattr(slave)
            modes[3] &= ~termios.ECHO
            termios.tcsetattr(slave, termios.TCSANOW, modes)

        collector = self.collect()
        terminal, slave, process = self.askForTheUser(silence)
        terminal.write(b"\x03")
        shown = readUntil(terminal, b"\a")
        self.assertEndsOnTerminal(process, status=2)
        self.assertFalse(termios.tcgetattr(slave)[3] & termios.ECHO)
        self.assertEqual(shown.count(b"\a"), 1)
        self.assertIn("launcher", "\n".join(self.report(collector)[1]))

    def testAStoppedTerminalHoldsNobody(self):
        terminal, _, process = self.askForTheUser()
        terminal.write(b"\x13")
        os.kill(*childrenOf(process.pid), signal.SIGSEGV)
        self.assertEndsOnTerminal(process, status=11)
