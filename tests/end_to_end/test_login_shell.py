"""ssh is the one that the login shell finds; whatever else the shell does leads to /usr/bin/ssh."""

import os
import select
import shlex

from surroundings import LIMIT, RECORDER, TOOL, EndToEndTest, readUntil

# Makes the real ssh print its settings for the destination instead of connecting.
SHOW_SETTINGS = ("-F", "/dev/null", "-G", "-p", "2222", "alice@host.invalid", "svnserve", "-t")
SETTINGS = {b"user alice", b"hostname host.invalid", b"port 2222"}


class LoginShell(EndToEndTest):
    def assertRuns(self, isFound, shell):
        """Either the ssh that the shell found has run or the real one."""
        result = self.runTool(*SHOW_SETTINGS, change={"SHELL": shell})
        settings = SETTINGS & set(result.stdout.splitlines())
        self.assertEqual((result.status, result.record is not None), (0, isFound))
        self.assertEqual(settings, set() if isFound else SETTINGS)

    def testWhatTheShellSays(self):
        self.ssh = self.program("with space/ssh", RECORDER)
        os.makedirs(self.path("bin"))
        os.symlink(TOOL, self.path("bin/ssh"))
        os.symlink(self.ssh, os.fsencode(self.folder) + b"/\xff")
        data = self.program("data", "exit 0", mode=0o644)
        say, much = f"echo '{self.ssh}'", "head -c 4194304 /dev/zero | tr '\\0'"
        for name, body, isFound in (
                ("the path", say, True),
                ("blanks around the path", f"printf '\\n\\t %s \\r\\n\\n' '{self.ssh}'", True),
                ("the path, and closes the output early", f"{say}; exec >&-; exit 0", True),
                ("the path, and something on standard error", f"echo noise >&2; {say}", True),
                ("noise before the path", f"echo Welcome; {say}", False),
                ("noise after the path", f"{say}; echo Bye", False),
                ("nothing", "exit 0", False),
                ("the path, and fails", f"{say}; exit 1", False),
                ("the path, and fails after closing the output", f"{say}; exec >&-; exit 3", False),
                ("the path, and dies", f"{say}; kill -KILL $$", False),
                ("4 MiB of noise", f"{much} x; {say}", False),
                ("4 MiB of blanks after the path", f"{say}; {much} ' '", False),
                ("a path that is not there", "echo /nonexistent/ssh", False),
                ("a folder", f"echo '{self.home}'", False),
                ("a file that is not executable", f"echo '{data}'", False),
                ("a path that is no text", f"printf '{self.folder}/\\377\\n'", False),
                ("the tool itself", f"echo '{TOOL}'", False),
                ("a link to the tool", f"echo '{self.path('bin/ssh')}'", False)):
            with self.subTest(name):
                self.assertRuns(isFound, self.program("shell", body))
        for shell in (self.path("missing"), self.home, TOOL, data, ""):
            with self.subTest("cannot be started", shell=shell):
                self.assertRuns(False, shell)

    def testRealShellsReadThePersonsProfile(self):
        self.write("home/.profile", f"PATH={shlex.quote(self.folder)}:/usr/bin:/bin\n")
        for shell in ("/bin/sh", "/bin/bash", None):
            with self.subTest(shell=shell):
                self.assertRuns(True, shell)

    def testBackgroundJobOfTheProfileIsNotWaitedFor(self):
        # The job keeps the shell's output open until the test writes to the FIFO; its end shows on the tool's
        # standard error, which it holds as well.
        fifo = self.path("fifo")
        os.mkfifo(fifo)
        held = os.open(fifo, os.O_RDWR)
        self.addCleanup(os.close, held)
        shell = self.program("shell", f"{{ read -r line <'{fifo}'; echo over >&2; }} &\necho '{self.ssh}'")
        process = self.start("alice@host", change={"SHELL": shell})
        self.addCleanup(os.write, held, b"\n")
        self.assertEqual(process.wait(LIMIT), 0)
        self.assertTrue(os.path.exists(self.ssh + ".record"))
        self.assertEqual(select.select([process.stderr], [], [], 0)[0], [], "the job has already ended")
        os.write(held, b"\n")
        self.assertEqual(readUntil(process.stderr, b"over\n"), b"over\n")
        self.assertEqual(os.read(process.stderr.fileno(), 1), b"")

    def testHowOftenAndWithWhatTheShellIsRun(self):
        log = self.path("log")
        shell = self.program("shell", f"printf '%s|' \"$@\" >>'{log}'; echo >>'{log}'; echo '{self.ssh}'")
        for original, runs in ((None, 1), ("ssh", 2), (" ssh\t", 2), (self.ssh, 1), (f"\t{self.ssh} ", 1)):
            with self.subTest(original=original):
                result = self.runTool("alice@host", change={"SHELL": shell, "SSH_ORIGINAL": original})
                self.assertEqual((result.status, result.record is not None), (0, True))
                with open(log) as file:
                    self.assertEqual(file.read(), "-l|-c|which ssh|\n" * runs)
                os.remove(log)
