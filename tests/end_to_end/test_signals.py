"""A signal that ends the tool ends ssh first, and a second one ends the tool at once."""

import signal

from surroundings import LIMIT, TOOL, EndToEndTest, readUntil

# In ssh's place: names every signal that arrives and ends with 42 when its input does. A blocked SIGTERM is waited
# for. The descriptor makes sure that a signal just before the wait is seen. It does not outlive a test that failed.
WAITING_SSH = """#!/usr/bin/python3 -IS
import os, select, signal, sys
def tell(number):
    os.write(1, signal.Signals(number).name.encode() + b"\\n")
arrived, arrival = os.pipe()
os.set_blocking(arrival, False)
signal.set_wakeup_fd(arrival)
for name in ("SIGTERM", "SIGINT", "SIGQUIT", "SIGHUP"):
    signal.signal(signal.Signals[name], lambda number, frame: None)
signal.alarm(60)
blocked = signal.SIGTERM in signal.pthread_sigmask(signal.SIG_BLOCK, ())
os.write(1, b"ready, blocked\\n" if blocked else b"ready\\n")
if blocked:
    tell(signal.sigwait([signal.SIGTERM]))
while True:
    ready = select.select([0, arrived], [], [])[0]
    if arrived in ready:
        tell(*os.read(arrived, 1))
    elif not os.read(0, 1):
        sys.exit(42)
"""


class Signals(EndToEndTest):
    def startWaiting(self, ssh=WAITING_SSH, ready=b"ready\n", **options):
        process = self.start("alice@host", change={"SSH_ORIGINAL": self.program("waiting", ssh)}, **options)
        self.assertEqual(readUntil(process.stdout, ready), ready)
        return process

    def assertTells(self, process, number, told=b"SIGTERM\n"):
        process.send_signal(number)
        self.assertEqual(readUntil(process.stdout, b"\n"), told)

    def assertEnds(self, process, status):
        """Lets ssh end, which must have nothing more to tell."""
        process.stdin.close()
        process.stdin = None
        self.assertEqual((process.communicate(timeout=LIMIT), process.returncode), ((b"", b""), status))

    def testEachReachesSshAsOneTermination(self):
        def ignore():
            signal.signal(signal.SIGTERM, signal.SIG_IGN)

        def block():
            signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])

        for number, prepare, ready in (
                (signal.SIGTERM, None, b"ready\n"), (signal.SIGINT, None, b"ready\n"),
                (signal.SIGQUIT, None, b"ready\n"), (signal.SIGTERM, ignore, b"ready\n"),
                (signal.SIGTERM, block, b"ready, blocked\n")):
            with self.subTest(number.name, prepare=prepare):
                process = self.startWaiting(ready=ready, prepare=prepare)
                self.assertTells(process, number)
                self.assertIsNone(process.poll(), "the tool has not waited for ssh")
                self.assertEnds(process, 42)
        with self.subTest("without the tool the signal keeps its name"):
            process = self.start(program=self.path("waiting"))
            readUntil(process.stdout, b"ready\n")
            self.assertTells(process, signal.SIGINT, b"SIGINT\n")

    def testSecondSignalEndsTheTool(self):
        for first, second in ((signal.SIGTERM, signal.SIGTERM), (signal.SIGTERM, signal.SIGINT),
                              (signal.SIGINT, signal.SIGQUIT), (signal.SIGQUIT, signal.SIGTERM)):
            with self.subTest(first=first.name, second=second.name):
                process = self.startWaiting()
                self.assertTells(process, first)
                process.send_signal(second)
                self.assertEqual(process.wait(LIMIT), -second)
                self.assertEnds(process, -second)

    def testSvnEndsATunnel(self):
        # It closes its ends of the streams, sends SIGTERM once to the process that it started, and waits.
        # This ssh ends by a signal only.
        process = self.startWaiting(ssh="echo ready; exec /bin/sleep 60")
        process.stdin.close()
        process.stdout.close()
        process.terminate()
        self.assertEqual(process.wait(LIMIT), 15)
        self.assertEqual(process.stderr.read(), b"", "ssh has outlived the tool or has complained")
