"""The collector as senders and its user find it."""

import os
import re
import resource
import select
import signal
import socket
import struct
import time

from surroundings import LIMIT, TOOL, EndToEndTest, readUntil

COLLECTOR = os.path.join(os.path.dirname(os.path.realpath(TOOL)), "quelto-collector")
NAME = re.compile(r"crash-\d{8}T\d{6}\.\d{3}Z-[0-9a-f]{16}\.txt")
LONG = "launcher runSsh()\r\n" * 1270


def packets(report="main\r\n", source="tool", version="1.2", date="now"):
    text = "\x0e".join((source, version, date, report)).encode()
    count = -(-len(text) // 240)
    identity = os.urandom(11)
    return [struct.pack("<BHH", count > 1, count, index) + identity + text[240 * index:240 * (index + 1)]
            for index in range(count)]


def until(condition):
    deadline = time.monotonic() + LIMIT
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise TimeoutError
        time.sleep(0.01)
    return result


class Collector(EndToEndTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("run"), 0o700)
        self.environment.update(XDG_RUNTIME_DIR=self.path("run"), XDG_STATE_HOME=self.path("state"))
        self.socket = self.path("run/quelto/org.quelto.suite.comm/crash")
        self.crashes = self.path("state/quelto/crashes")

    def collect(self, *words, **options):
        process = self.start(*words, program=options.pop("program", COLLECTOR), **options)
        until(lambda: os.path.exists(self.socket) or process.poll() is not None)
        return process

    def client(self, data=b""):
        client = socket.socket(socket.AF_UNIX)
        self.addCleanup(client.close)
        client.settimeout(LIMIT)
        until(lambda: client.connect_ex(self.socket) == 0)
        client.sendall(data)
        return client

    def sendAll(self, *data):
        for piece in data:
            self.client(piece).close()

    def names(self):
        return sorted(os.listdir(self.crashes)) if os.path.exists(self.crashes) else []

    def kept(self, process):
        """The content of the next report, from the file that the collector names."""
        self.assertTrue(select.select([process.stdout], [], [], LIMIT)[0])
        path = process.stdout.readline().decode()[:-1]
        self.assertRegex(os.path.relpath(path, self.crashes), NAME)
        self.assertEqual(os.stat(path).st_mode & 0o7777, 0o600)
        with open(path, newline="") as file:
            return file.read()

    def testKeepsWhatWasSent(self):
        process = self.collect()
        hostile = packets("\x1b[2Jx\r\nlast", "../../up", "1\n2\x07", "d\u202e")
        for name, pieces, expected in (
                ("a report", [b"".join(packets())], "Source: tool\nVersion: 1.2\nDate: now\n\nmain\n"),
                ("hostile", hostile, "Source: ../../up\nVersion: 1?2?\nDate: d?\n\n?[2Jx\nlast\n"),
                ("long, in one block", [b"".join(packets(LONG))], LONG.replace("\r", "")),
                ("long, cut anywhere", [bytes([byte]) for byte in b"".join(packets(LONG[:475]))], LONG[:475].replace("\r", ""))):
            with self.subTest(name):
                client = self.client()
                for piece in pieces:
                    client.sendall(piece)
                # Nothing follows, and nobody hangs up.
                self.assertTrue(self.kept(process).endswith(expected))
        self.assertEqual(os.stat(self.crashes).st_mode & 0o7777, 0o700)

    def testPrunesItsOwnOldest(self):
        os.makedirs(self.crashes, 0o700)
        name = "crash-20010203T040506.{:03}Z-0123456789abcdef.txt".format
        temporary = ".new-0123456789abcdef"
        own = [name(number) for number in range(100)]
        others = ["notes.txt", name(0) + "~", name(0).upper(), "x" + name(0), name(0).replace("abcdef", "abcdeg"),
                  name(0) + temporary]
        for number, file in enumerate(own + others + [name(1) + temporary]):
            self.write(os.path.join(self.crashes, file), "x", 0o600)
            os.utime(os.path.join(self.crashes, file), (time.time(),) * 2)
        os.utime(os.path.join(self.crashes, name(1) + temporary), (time.time() - 7200,) * 2)
        os.mkdir(os.path.join(self.crashes, name(200)))
        os.symlink("notes.txt", os.path.join(self.crashes, name(201)))
        process = self.collect()
        for _ in range(2):
            self.sendAll(*packets())
            self.kept(process)
        new = [file for file in self.names() if NAME.fullmatch(file) and not file.startswith("crash-2001")]
        self.assertEqual(len(new), 2)
        self.assertEqual(set(self.names()), {*own[2:], *others, name(200), name(201), *new})

    def testOneCollectorAtATime(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            process = self.collect()
            second = self.runTool(program=COLLECTOR)
            self.assertEqual((second.status, second.stderr), (1, b"quelto-collector: another collector is running\n"))
            client = self.client(packets()[0])
            process.send_signal(number)
            # What has come is kept, though the text's end was not seen.
            self.assertIn("main", self.kept(process))
            self.assertEqual((process.wait(LIMIT), os.path.exists(self.socket)), (0, False))
            client.close()

    def testKilledWhileSaving(self):
        for call in ("fchmod", "write", "fsync", "linkat", "unlinkat"):
            with self.subTest(call):
                traced = ("-f", "-qq", "-o", "/dev/null", "-e", f"trace={call}", "-e",
                          f"inject={call}:signal=KILL:when=1", COLLECTOR)
                process = self.collect(*traced, program="strace", change={"ASAN_OPTIONS": "detect_leaks=0"})
                self.sendAll(*packets())
                process.wait(LIMIT)
                for name in filter(NAME.fullmatch, self.names()):
                    with open(os.path.join(self.crashes, name)) as file:
                        self.assertTrue(file.read().endswith("\n\nmain\n"))
                # The next one takes the socket's file over.
                following = self.collect()
                self.sendAll(*packets())
                self.assertIn("main", self.kept(following))
                self.end(following)
                os.remove(self.socket)

    def testOutOfDescriptors(self):
        process = self.collect(prepare=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (20, 20)))
        clients = [self.client(b"".join(packets(f"client {number} main()\r\n"))) for number in range(40)]
        reports = [self.kept(process)]
        processorTime = ~process.pid << 3 | 2  # clock_getcpuclockid(3)
        before = time.clock_gettime(processorTime)
        time.sleep(1.5)
        self.assertLess(time.clock_gettime(processorTime) - before, 0.3)
        for client in clients:
            client.close()
        self.assertEqual(len(set(reports + [self.kept(process) for _ in range(39)])), 40)

    def testLosesNothingWhileBusy(self):
        process = self.collect()
        two = packets("x" * 300)
        slow = self.client(two[0] + two[1][:50])
        process.send_signal(signal.SIGSTOP)
        slow.sendall(two[1][50:])
        self.sendAll(*[b"".join(packets(f"{number}\r\n" + LONG)) for number in range(20)])
        # Longer than a sender may be silent.
        time.sleep(1.2)
        process.send_signal(signal.SIGCONT)
        lengths = sorted(len(self.kept(process)) for _ in range(21))
        self.assertEqual(lengths[0], len("Source: tool\nVersion: 1.2\nDate: now\n\n") + 301)
        self.assertGreater(lengths[1], len(LONG.replace("\r", "")))

    def testFailures(self):
        def nothingFits():
            resource.setrlimit(resource.RLIMIT_FSIZE, (0, 0))

        process = self.collect(prepare=nothingFits)
        self.sendAll(*packets(), *packets())
        line = (f"quelto-collector: cannot keep a report in {self.crashes}: "
                "the disk is full or failing, or may not be written\n").encode()
        readUntil(process.stderr, 2 * line)
        self.end(process)
        os.chmod(self.crashes, 0o755)
        self.assertEqual(self.collect().wait(LIMIT), 1)
        os.chmod(self.crashes, 0o700)
        os.remove(self.socket)
        process = self.collect()
        process.stdout.close()
        self.sendAll(*packets(), *packets())
        until(lambda: len(self.names()) == 2)

    def testOptions(self):
        for words, status, stdout in ((("--help",), 0, b"usage"), (("--version",), 0, b"quelto-collector 2"),
                                      (("--prin",), 64, b""), (("--print", "x"), 64, b"")):
            result = self.runTool(*words, program=COLLECTOR)
            self.assertEqual((result.status, result.stdout[:len(stdout)] or stdout), (status, stdout), words)
            self.assertEqual(bool(result.stderr), status == 64)
        process = self.collect("--print")
        self.sendAll(*packets())
        self.assertEqual(readUntil(process.stdout, b"main\n\n"), b"Source: tool\nVersion: 1.2\nDate: now\n\nmain\n\n")
        process.stdout.close()
        self.sendAll(*packets())
        self.assertEqual((process.wait(LIMIT), self.names()), (1, []))
