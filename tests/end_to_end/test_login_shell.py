"""ssh is the one that the login shell finds; whatever else the shell does leads to /usr/bin/ssh."""

import os
import select
import shlex

from surroundings import LIMIT, RECORDER, TOOL, EndToEndTest, readUntil

# Makes the real ssh print its settings for the destination instead of connecting.
SHOW_SETTINGS = ("-F", "/dev/null", "-G", "-p", "2222", "alice@host.invalid", "svnserve", "-t")


class LoginShell(EndToEndTest):
    def assertRanFoundSsh(self, result):
        self.assertIsNotNone(result.record, "the ssh that the shell found did not run")
        self.assertEqual((result.status, result.stdout), (0, b""))

    def assertRanFallback(self, result):
        self.assertIsNone(result.record, "the ssh that the shell found did run")
        self.assertEqual(result.status, 0)
        settings = result.stdout.splitlines()
        for line in (b"user alice", b"hostname host.invalid", b"port 2222"):
            self.assertIn(line, settings)

    def testWhatTheShellSays(self):
        found, fallback = self.assertRanFoundSsh, self.assertRanFallback
        self.ssh = self.program("with space/ssh", RECORDER)
        os.makedirs(self.path("bin"))
        os.symlink(TOOL, self.path("bin/ssh"))
        os.symlink(self.ssh, os.fsencode(self.folder) + b"/\xff")
        self.program("data", "exit 0", mode=0o644)
        say = f"echo '{self.ssh}'"
        for name, body, outcome in (
                ("the path", say, found),
                ("blanks around the path", f"printf '\\n\\t %s \\r\\n\\n' '{self.ssh}'", found),
                ("the path, and closes the output early", f"{say}; exec >&-; exit 0", found),
                ("the path, and something on standard error", f"echo noise >&2; {say}", found),
                ("noise before the path", f"echo Welcome; {say}", fallback),
                ("noise after the path", f"{say}; echo Bye", fallback),
                ("nothing", "exit 0", fallback),
                ("the path, and fails", f"{say}; exit 1", fallback),
                ("the path, and fails after closing the output", f"{say}; exec >&-; exit 3", fallback),
                ("the path, and dies", f"{say}; kill -KILL $$", fallback),
                ("4 MiB of noise", f"head -c 4194304 /dev/zero | tr '\\0' x; {say}", fallback),
                ("a path that is not there", "echo /nonexistent/ssh", fallback),
                ("a folder", f"echo '{self.home}'", fallback),
                ("a file that is not executable", f"echo '{self.path('data')}'", fallback),
                ("a path that is no text", f"printf '{self.folder}/\\377\\n'", fallback),
                ("the tool itself", f"echo '{TOOL}'", fallback),
                ("a link to the tool", f"echo '{self.path('bin/ssh')}'", fallback)):
            with self.subTest(name):
                shell = self.program("shell", body)
                outcome(self.runTool(*SHOW_SETTINGS, change={"SHELL": shell}))

    def testShellsThatCannotBeStarted(self):
        for name, shell in (("missing", self.path("missing")), ("a folder", self.home), ("the tool itself", TOOL),
                            ("not executable", self.program("data", "exit 0", mode=0o644)), ("empty", "")):
            with self.subTest(name):
                self.assertRanFallback(self.runTool(*SHOW_SETTINGS, change={"SHELL": shell}))

    def testRealShellsReadThePersonsProfile(self):
        with open(self.home + "/.profile", "w") as file:
            file.write(f"PATH={shlex.quote(self.folder)}:/usr/bin:/bin\n")
        for shell in ("/bin/sh", "/bin/bash", None):
            with self.subTest(shell=shell):
                self.assertRanFoundSsh(self.runTool(*SHOW_SETTINGS, change={"SHELL": shell}))

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
        for name, original, runs in (("once", None, 1), ("again for the bare name", "ssh", 2),
                                     ("again for the bare name among blanks", " ssh ", 2),
                                     ("once when a path is given", self.ssh, 1)):
            with self.subTest(name):
                result = self.runTool("alice@host", change={"SHELL": shell, "SSH_ORIGINAL": original})
                self.assertRanFoundSsh(result)
                with open(log) as file:
                    self.assertEqual(file.read(), "-l|-c|which ssh|\n" * runs)
                os.remove(log)
