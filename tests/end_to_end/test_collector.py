"""The collector as senders and its user find it."""

import fcntl
import os
import re
import resource
import select
import signal
import socket
import struct
import termios
import time

from surroundings import LIMIT, TOOL, EndToEndTest, readUntil

COLLECTOR = os.path.join(os.path.dirname(os.path.realpath(TOOL)), "quelto-collector")
NAME = re.compile(r"crash-\d{8}T\d{6}\.\d{3}Z-[0-9a-f]{16}\.txt")
HEADER = "Source: tool\nVersion: 1.2\nDate: now\n\n"
LONG = "launcher runSsh()\r\n" * 1270


def packets(report="main\r\n", source="tool", version="1.2", date="now"):
    text = "\x0e".join((source, version, date, report)).encode()
    count, identity = -(-len(text) // 240), os.urandom(11)
    return [struct.pack("<BHH", count > 1, count, index) + identity + text[240 * index:240 * (index + 1)]
            for index in range(count)]


def until(condition):
    deadline = time.monotonic() + LIMIT
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError
        time.sleep(0.01)


def unreadIn(pipe):
    return struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, bytes(4)))[0]


class Collector(EndToEndTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("run"), 0o700)
        self.environment.update(XDG_RUNTIME_DIR=self.path("run"), XDG_STATE_HOME=self.path("state"))
        self.socket = self.path("run/quelto/org.quelto.suite.comm/crash")
        self.crashes = self.path("state/quelto/crashes")

    def collect(self, *words, program=COLLECTOR, **options):
        process = self.start(*words, program=program, **options)
        until(lambda: os.path.exists(self.socket) or process.poll() is not None)
        return process

    def collectTraced(self, fault):
        words = f"-f -qq -o /dev/null -e trace={fault.split(':')[0]} -e inject={fault}".split()
        return self.collect(*words, COLLECTOR, program="strace", change={"ASAN_OPTIONS": "detect_leaks=0"})

    def send(self, *pieces):
        client = socket.socket(socket.AF_UNIX)
        self.addCleanup(client.close)
        client.settimeout(LIMIT)
        until(lambda: client.connect_ex(self.socket) == 0)
        for piece in pieces:
            client.sendall(piece)
        return client

    def kept(self, process):
        """The next report, from the file that the collector names."""
        self.assertTrue(select.select([process.stdout], [], [], LIMIT)[0])
        path = process.stdout.readline().decode()[:-1]
        self.assertRegex(os.path.relpath(path, self.crashes), NAME)
        self.assertEqual([os.stat(name).st_mode & 0o7777 for name in (path, self.crashes)], [0o600, 0o700])
        with open(path, newline="") as file:
            return file.read()

    def testKeepsWhatWasSent(self):
        process = self.collect()
        hostile = packets("\x1b[2Jx\r\nlast", "../../up", "1\n2\x07", "d\u202e")
        text = LONG.replace("\r", "")
        for name, pieces, expected in (
                ("a report", packets(), HEADER + "main\n"),
                ("hostile", hostile, "Source: ../../up\nVersion: 1?2?\nDate: d?\n\n?[2Jx\nlast\n"),
                ("in one block", [b"".join(packets(LONG))], HEADER + text),
                ("cut anywhere", [bytes([byte]) for byte in b"".join(packets(LONG))], HEADER + text)):
            with self.subTest(name):
                client = self.send(*pieces)  # Nothing follows, and nobody hangs up.
                self.assertEqual(self.kept(process), expected)
                client.close()

    def testPrunesItsOwnOldest(self):
        os.makedirs(self.crashes, 0o700)
        temporary = ".new-0123456789abcdef"
        own = [f"crash-20010203T040506.{number:03}Z-0123456789abcdef.txt" for number in range(102)]
        others = ["notes.txt", own[0] + "~", own[0].upper(), "x" + own[0], own[0].replace("f.", "g."), own[0] + temporary]
        for file in (*own[:100], *others, own[1] + temporary):
            self.write(os.path.join(self.crashes, file), "x", 0o600)
        os.utime(os.path.join(self.crashes, own[1] + temporary), (time.time() - 7200,) * 2)
        os.mkdir(os.path.join(self.crashes, own[100]))
        os.symlink("notes.txt", os.path.join(self.crashes, own[101]))
        process = self.collect()
        for _ in range(2):
            self.send(*packets()).close()
            self.kept(process)
        left = set(os.listdir(self.crashes))
        self.assertLess({*own[2:], *others}, left)
        self.assertEqual(len(left), len({*own[2:], *others}) + 2)

    def testOneCollectorAtATime(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            process = self.collect()
            second = self.runTool(program=COLLECTOR)
            self.assertEqual((second.status, second.stderr), (1, b"quelto-collector: another collector is running\n"))
            self.send(*packets())
            process.send_signal(number)
            # What has come is kept, though its end was not seen.
            self.assertIn("main", self.kept(process))
            self.assertEqual((process.wait(LIMIT), os.path.exists(self.socket)), (0, False))

    def testKilledWhileSaving(self):
        for call in ("fchmod", "fsync", "linkat", "unlinkat"):
            with self.subTest(call):
                process = self.collectTraced(call + ":signal=KILL:when=1")
                self.send(*packets()).close()
                self.assertEqual(process.wait(LIMIT), -signal.SIGKILL)
                for name in filter(NAME.fullmatch, os.listdir(self.crashes)):
                    with open(os.path.join(self.crashes, name)) as file:
                        self.assertEqual(file.read(), HEADER + "main\n")
        self.assertTrue(any(map(NAME.fullmatch, os.listdir(self.crashes))))

    def testOutOfDescriptors(self):
        process = self.collect()
        hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
        resource.prlimit(process.pid, resource.RLIMIT_NOFILE, (20, hard))
        clients = [self.send(*packets(f"{number}\r\n")) for number in range(40)]
        reports = {self.kept(process)}
        processorTime = ~process.pid << 3 | 2  # clock_getcpuclockid(3)
        before = time.clock_gettime(processorTime)
        time.sleep(1.5)
        self.assertLess(time.clock_gettime(processorTime) - before, 0.3)
        resource.prlimit(process.pid, resource.RLIMIT_NOFILE, (hard, hard))
        self.assertEqual(len(reports.union(self.kept(process) for _ in clients[1:])), 40)

    def testLosesNothingWhileBusy(self):
        process = self.collectTraced("linkat:delay_enter=1300000:when=1")
        first, last = packets("x" * 300)
        slow = self.send(first, last[:50])
        self.send(*packets("y" * 300)).close()
        # Saving it takes longer than a sender may be silent.
        until(lambda: os.path.exists(self.crashes) and os.listdir(self.crashes))
        slow.sendall(last[50:])
        for _ in range(20):
            self.send(b"".join(packets(LONG))).close()
        reports = sorted((self.kept(process) for _ in range(22)), key=lambda text: (len(text), text))
        text = LONG.replace("\r", "")
        self.assertEqual(reports, [HEADER + "x" * 300 + "\n", HEADER + "y" * 300 + "\n", *[HEADER + text] * 20])

    def testFailures(self):
        process = self.collect()
        resource.prlimit(process.pid, resource.RLIMIT_FSIZE, (0, 0))
        self.send(*packets(), *packets()).close()
        line = f"cannot keep a report in {self.crashes}: the disk is full or failing, or may not be written"
        readUntil(process.stderr, 2 * f"quelto-collector: {line}\n".encode())
        self.send(b"".join(packets()[0] for _ in range(2000)))
        until(lambda: unreadIn(process.stderr) > 60000)  # of the 65,536 bytes that fit
        process.terminate()
        self.assertEqual(process.wait(LIMIT), 0)
        process = self.collect()
        process.stdout.close()
        self.send(*packets(), *packets())
        until(lambda: len(os.listdir(self.crashes)) == 2)
        self.end(process)
        os.chmod(self.crashes, 0o755)
        self.assertEqual(self.runTool(program=COLLECTOR).status, 1)

    def testAReaderThatHasStoppedReadingHoldsNoSignal(self):
        process = self.collect("--print")
        for _ in range(4):
            self.send(*packets(LONG))
        until(lambda: unreadIn(process.stdout) > 60000)
        process.terminate()
        self.assertEqual(process.wait(LIMIT), 0)

    def testOptions(self):
        for words, status in (("--help", 0), ("--version", 0), ("--prin", 64), ("--print x", 64)):
            result = self.runTool(*words.split(), program=COLLECTOR)
            self.assertEqual((result.status, bool(result.stdout), bool(result.stderr)), (status, not status, status > 0))
        process = self.collect("--print")
        full = "x" * 227  # Whole at once, so that no deadline of the server's lets the loop return.
        self.send(*packets(full))
        readUntil(process.stdout, (HEADER + full + "\n\n").encode())
        process.stdout.close()
        self.send(*packets(full))
        self.assertEqual((process.wait(LIMIT), os.path.exists(self.crashes)), (1, False))
