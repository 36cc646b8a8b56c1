"""For the tests of the dialogs: a display of their own with real keys, and a real terminal. QUELTO_DIALOG_DRIVER names
the program that asks the questions."""

import contextlib
import ctypes
import fcntl
import os
import pty
import select
import shutil
import signal
import subprocess
import tempfile
import termios
import time

from surroundings import LIMIT, EndToEndTest, readUntil

DRIVER = os.path.abspath(os.environ["QUELTO_DIALOG_DRIVER"])
CONTENTS = os.path.dirname(os.path.dirname(DRIVER))

HOST = "host.example"
# Questions of the driver, and how it ends.
FIELD, ALERT = ("field", HOST, "bob"), ("alert",)
YES, NO, ABSENT = {"stdout": b"true\n"}, {"stdout": b"false\n"}, {"stdout": b"absent\n"}
NOT_CREATED = {"stderr": b"queltoSSH(E02): Failed to create username dialog.\n", "status": 255}
NOT_DISPLAYED = {"stderr": b"queltoSSH(E03): Failed to display username dialog.\n", "status": 255}
CANCELLED = {"stderr": b"queltoSSH(C01): Canceled.\n", "status": 255}

# Leads the session of a terminal, as a login shell would, so that the terminal outlives the question. Prints the status
# and then the rest of standard input.
LEADER = 'trap : HUP INT QUIT TERM\n%s\necho "status $?"\nexec cat'
# The caller's input for ssh, which the dialogs must not take.
WAITING = b"from svn\n"

# Orphans become children of this process, so that each test can find what it left running.
PR_SET_CHILD_SUBREAPER = 36
ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1)


def answered(text):
    return {"stdout": text.encode() + b"\n"}


def waitUntil(condition, limit=LIMIT):
    """Polls until the condition holds, and returns its value."""
    deadline = time.monotonic() + limit
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise TimeoutError("the condition has not come true")
        time.sleep(0.01)
    return result


def childrenOf(pid):
    try:
        with open(f"/proc/{pid}/task/{pid}/children") as file:
            return {int(child) for child in file.read().split()}
    except (FileNotFoundError, ProcessLookupError):
        return set()


def hasEnded(pid):
    """Waits until the process, our child or not, has ended; False when it does not end."""
    with contextlib.suppress(ProcessLookupError), open(os.pidfd_open(pid)) as process:
        return bool(select.select([process], [], [], LIMIT)[0])
    return True


def reapOthersThan(known):
    """Waits until all our other children have ended; one that is still running fails the test."""
    for pid in childrenOf(os.getpid()) - known:
        assert hasEnded(pid), "something is still running"
        os.waitpid(pid, 0)


def startService(*words, **options):
    """Starts a server that ends with us at the latest and writes its address to the descriptor that replaces the word
    FD; returns it and the address."""
    reader, writer = os.pipe()
    process = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", *(word.replace("FD", str(writer)) for word in words)],
                               pass_fds=[writer], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, **options)
    os.close(writer)
    with open(reader, "rb", buffering=0) as stream:
        return process, readUntil(stream, b"\n").decode().strip()


def endService(process):
    process.send_signal(signal.SIGCONT)
    process.terminate()
    process.wait(LIMIT)


class DialogTest(EndToEndTest):
    """The environment has neither display nor terminal; a test adds what it needs."""

    def setUp(self):
        super().setUp()
        self.addCleanup(reapOthersThan, childrenOf(os.getpid()))
        self.environment.update(LANG="C.UTF-8", GSETTINGS_BACKEND="memory")
        # A sanitizer would handle these signals otherwise.
        self.environment["ASAN_OPTIONS"] = ":".join([self.environment.get("ASAN_OPTIONS", ""), "handle_segv=0",
                                                     "handle_sigbus=0", "handle_sigfpe=0"])

    def copiedDriver(self, *without):
        """A copy of the driver in a bundle of its own, without some files."""
        def ignored(folder, names):
            isTests = folder.endswith("/Tests")
            return [name for name in names if name in without or isTests and name != os.path.basename(DRIVER)]

        self.contents = tempfile.mkdtemp(dir=self.folder) + "/Contents"
        shutil.copytree(CONTENTS, self.contents, ignore=ignored)
        return f"{self.contents}/Tests/{os.path.basename(DRIVER)}"

    def writeTables(self, **entries):
        """The same tables of the language "xx" in the bundle copied last."""
        content = "".join(f'{key} = "{text}";' for key, text in entries.items())
        for table in ("vantorSuiteSSH", "Localizable"):
            self.write(f"{self.contents}/Resources/xx.lproj/{table}.strings", content)

    def addDisplay(self):
        """Starts an X server without a window manager and returns it."""
        screen = tempfile.mkdtemp(dir=self.folder)
        server, number = startService("Xvfb", "-displayfd", "FD", "-screen", "0", "800x600x24", "-fbdir", screen,
                                      "-nocursor", "-nolisten", "tcp", "-noreset")
        self.addCleanup(endService, server)
        self.screen = screen + "/Xvfb_screen0"
        self.environment.update(DISPLAY=":" + number, GTK_A11Y="none")
        return server

    def startBeside(self, *words, **options):
        """Starts a program that ends with the test, and returns it."""
        program = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", *words], stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, **{"env": self.environment, **options})
        self.addCleanup(endService, program)
        return program

    def addKeyring(self):
        """Starts a bus with an open keyring, to which the environment leads then, and returns the keyring's daemon."""
        session = tempfile.mkdtemp(dir=self.folder)
        variables = {**os.environ, "HOME": self.home, "XDG_RUNTIME_DIR": session, "LANG": "C.UTF-8"}
        bus, address = startService("dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=FD",
                                    env=variables)
        self.addCleanup(endService, bus)
        variables["DBUS_SESSION_BUS_ADDRESS"] = address
        with open(self.write("password", "test")) as password:
            daemon = self.startBeside("gnome-keyring-daemon", "--foreground", "--components=secrets", "--unlock",
                                      env=variables, stdin=password)
        subprocess.run(["gdbus", "wait", "--session", "--timeout", str(LIMIT), "org.freedesktop.secrets"], check=True,
                       timeout=LIMIT, env=variables)
        self.environment.update(XDG_RUNTIME_DIR=session, DBUS_SESSION_BUS_ADDRESS=address)
        return daemon

    def xdotool(self, *words):
        return subprocess.run(["xdotool", *words], env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, timeout=LIMIT)

    def askInWindow(self, *words, program=DRIVER, focus="getwindowfocus", **options):
        """Starts the driver and waits for its window. `focus`: how to find the window that gets the keys."""
        process = self.start(*words, program=program, **options)
        self.waitForWindow(process, focus)
        return process

    def answerInWindow(self, words, keys, expected, **options):
        process = self.askInWindow(*words, **options)
        self.press(*keys)
        self.assertEnds(process, **expected)

    def waitForWindow(self, process, focus="getwindowfocus"):
        """Waits until the window gets the keys and is drawn, and its program has nothing left to do."""
        def isReady():
            program = self.windowProgram(process)
            if self.xdotool(focus, "getwindowpid").stdout != b"%d\n" % program:
                return False
            isDrawn = len(set(self.pixels(0, 0, 800, 600))) > 2  # the screen and a window not yet drawn are black
            with open(f"/proc/{program}/stat") as file:
                return isDrawn and file.read().split()[2] == "S"
        waitUntil(isReady)

    def pixels(self, left, top, width, height):
        """A part of the screen, four bytes a pixel: blue, green, red and one without meaning."""
        with open(self.screen, "rb") as file:
            file.seek(-800 * 600 * 4, os.SEEK_END)
            screen = file.read()
        return b"".join(screen[(row * 800 + left) * 4:][:width * 4] for row in range(top, top + height))

    def press(self, *keys):
        """Each a key's name, or a colon and a text to type, slowly: letters beyond ASCII get lost otherwise."""
        for key in keys:
            words = ["type", "--delay", "60", key[1:]] if key.startswith(":") else ["key", key]
            self.assertEqual(self.xdotool(*words).returncode, 0)

    def windowProgram(self, process):
        """The process id of the program that draws the window of a started tool."""
        def find():
            self.assertIsNone(process.poll(), "no window")
            for pid in childrenOf(process.pid):
                with contextlib.suppress(FileNotFoundError, ProcessLookupError), open(f"/proc/{pid}/comm") as file:
                    if file.read() == "quelto-dialog\n":
                        return pid
            return None
        return waitUntil(find)

    def descriptors(self, pid):
        """The open descriptors of a process and their targets."""
        links = {}
        for name in os.listdir(f"/proc/{pid}/fd"):
            with contextlib.suppress(FileNotFoundError):
                links[int(name)] = os.readlink(f"/proc/{pid}/fd/{name}")
        return links

    def assertEnds(self, process, stdout=b"", stderr=b"", status=0, limit=LIMIT):
        result = process.communicate(timeout=limit)
        self.assertEqual((process.returncode, *result), (status, stdout, stderr))

    def openTerminal(self):
        """Our end of a new terminal, and the program's."""
        master, slave = pty.openpty()
        terminal = os.fdopen(master, "r+b", buffering=0)
        self.addCleanup(os.close, slave)
        self.addCleanup(terminal.close)
        return terminal, slave

    def askOnTerminal(self, slave, *words, program=DRIVER, script='"$@"', **options):
        """Starts the driver on the terminal; its three streams are pipes."""
        process = self.start("-c", LEADER % script, "sh", program, *words, program="/bin/sh",
                             prepare=lambda: fcntl.ioctl(slave, termios.TIOCSCTTY, 0), **options)
        process.stdin.write(WAITING)
        return process

    def answerOnTerminal(self, words, pairs, expected, **options):
        """Waits for each prompt and types the answer; returns what the terminal showed."""
        terminal, slave = self.openTerminal()
        process = self.askOnTerminal(slave, *words, **options)
        shown = self.typeAnswers(terminal, pairs)
        self.assertEndsOnTerminal(process, **expected)
        return shown

    def typeAnswers(self, terminal, pairs):
        shown = b""
        for prompt, keys in pairs:
            shown += readUntil(terminal, prompt.encode())
            terminal.write(keys.encode())
        return shown.decode()

    def assertEndsOnTerminal(self, process, stdout=b"", stderr=b"", status=0, whenEnded=lambda: None):
        """Also checks that nothing was read from standard input. `whenEnded` runs while the session still lives."""
        told = readUntil(process.stdout, b"status ")
        whenEnded()
        rest, errors = process.communicate(timeout=LIMIT)
        self.assertEqual((told + rest, errors), (stdout + b"status %d\n" % status + WAITING, stderr))
