"""What the end-to-end tests stand on: a home of their own, programs in the place of ssh and of the login shell,
bounded runs of the tool, and a real sshd. QUELTO_SSH names the tool."""

import contextlib
import json
import os
import pwd
import resource
import select
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import types
import unittest

TOOL = os.path.abspath(os.environ["QUELTO_SSH"])

# Seconds for any one step: far above what it takes, and no test waits that long unless something hangs.
LIMIT = 20

# Stands in for ssh and writes down what it was started with. The environment is read from the kernel, since the
# interpreter may have changed its own copy; the descriptors before anything is opened.
RECORDER = r"""#!/usr/bin/python3 -IS
import json, os, sys
links = [(fd, "/proc/self/fd/" + fd) for fd in os.listdir("/proc/self/fd")]
# Not the one that listed them.
descriptors = {fd: os.readlink(link) for fd, link in links if os.path.lexists(link)}
environment = open("/proc/self/environ", "rb").read().split(b"\0")[:-1]
try:
    callersFiles = sorted({line.split()[-1] for line in open(f"/proc/{os.getppid()}/maps") if "/" in line})
except OSError:
    callersFiles = []  # the caller has ended
with open(sys.argv[0] + ".record", "w") as file:
    json.dump({"arguments": sys.argv[1:], "environment": list(map(os.fsdecode, environment)),
               "descriptors": descriptors, "callersFiles": callersFiles, "folder": os.readlink("/proc/self/cwd")}, file)
"""


def readUntil(stream, expected):
    """Reads until `expected` has come, and returns all that came."""
    text = b""
    deadline = time.monotonic() + LIMIT
    while expected not in text:
        if not select.select([stream], [], [], max(0, deadline - time.monotonic()))[0]:
            raise TimeoutError(f"no {expected!r} in {text!r}")
        piece = os.read(stream.fileno(), 4096)
        if not piece:
            raise EOFError(f"no {expected!r} in {text!r}")
        text += piece
    return text


class EndToEndTest(unittest.TestCase):
    """Every test gets a folder of its own with a home, a recording ssh and a login shell that finds it."""

    maxDiff = None

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="quelto-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.home = self.path("home")
        self.list = self.home + "/.quelto/sshservers"
        os.makedirs(os.path.dirname(self.list))
        self.ssh = self.program("ssh", RECORDER)
        shell = self.program("shell", f"printf '%s\\n' '{self.ssh}'")
        self.environment = {"HOME": self.home, "SHELL": shell, "AUTH_KEYCHAIN": self.path("marker"),
                            "PATH": "/usr/bin:/bin"}
        self.environment.update((k, v) for k, v in os.environ.items() if k.endswith("SAN_OPTIONS"))

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, text, mode=0o644):
        """Writes a file of ours and returns its path."""
        path = self.path(name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(path, mode)
        return path

    def program(self, name, text, mode=0o755):
        """Writes a script, of the shell when it does not say otherwise, and returns its path."""
        return self.write(name, text if text.startswith("#!") else "#!/bin/sh\n" + text + "\n", mode)

    def writeList(self, content, home=None, mode=0o600):
        self.write(self.list if home is None else home + "/.quelto/sshservers", content, mode)

    def withPasswordDatabase(self, name, home):
        """The variables that put the current user into a password database under another name."""
        database = self.write("passwd", f"{name}:x:{os.getuid()}:{os.getgid()}::{home}:/bin/sh\n")
        sanitizer = self.environment.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
        return {"LD_PRELOAD": "libnss_wrapper.so", "NSS_WRAPPER_PASSWD": database,
                "NSS_WRAPPER_GROUP": "/etc/group", "ASAN_OPTIONS": sanitizer}

    def start(self, *words, program=TOOL, change=None, prepare=None, **options):
        """Starts the tool. `change`: variables to set, or to remove (None); `prepare` runs in the child first."""
        variables = {**self.environment, **(change or {})}

        def inChild():
            resource.setrlimit(resource.RLIMIT_CORE, (0, resource.getrlimit(resource.RLIMIT_CORE)[1]))
            if prepare:
                prepare()

        for stream in ("stdin", "stdout", "stderr"):
            options.setdefault(stream, subprocess.PIPE)
        process = subprocess.Popen([program, *words], bufsize=0, cwd=self.folder, start_new_session=True,
                                   env={k: v for k, v in variables.items() if v is not None},
                                   preexec_fn=inChild, **options)
        self.addCleanup(self.end, process)
        return process

    def end(self, process):
        """Ends what still runs of a started process and closes our ends of its streams."""
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait(LIMIT)
        for stream in (process.stdin, process.stdout, process.stderr):
            if stream:
                stream.close()

    def runTool(self, *words, input=b"", **options):
        """Runs the tool to its end: status, stdout, stderr and what the recording ssh wrote down, None if it
        did not run."""
        record = self.ssh + ".record"
        with contextlib.suppress(FileNotFoundError):
            os.remove(record)
        process = self.start(*words, **options)
        try:
            stdout, stderr = process.communicate(input, timeout=LIMIT)
        finally:
            self.end(process)
        result = types.SimpleNamespace(status=process.returncode, stdout=stdout, stderr=stderr, record=None)
        with contextlib.suppress(FileNotFoundError), open(record) as file:
            result.record = json.load(file)
        return result

    def assertFailed(self, result, line):
        self.assertEqual((result.status, result.stdout, result.stderr), (255, b"", line))
        self.assertIsNone(result.record)


class SshServer:
    """A real sshd on a free loopback port that lets the current user in with one key."""

    def __init__(self, folder):
        self.user = pwd.getpwuid(os.getuid()).pw_name
        self.identity = folder + "/identity"
        self.knownHosts = folder + "/known_hosts"
        for key in (self.identity, folder + "/host_key"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", key], check=True, timeout=LIMIT)
        if os.geteuid() == 0:
            # The empty folder that root's sshd insists on; the system's own service makes it when it starts.
            os.makedirs("/run/sshd", mode=0o755, exist_ok=True)
        if not any(self.listens(folder) for _ in range(10)):
            raise RuntimeError("no free port")
        with open(folder + "/host_key.pub") as key, open(self.knownHosts, "w") as file:
            file.write(f"[127.0.0.1]:{self.port} {key.read()}")

    def listens(self, folder):
        """Starts sshd on a port that was free a moment ago; False when somebody else has taken it since."""
        with socket.create_server(("127.0.0.1", 0)) as probe:
            self.port = probe.getsockname()[1]
        with open(folder + "/sshd_config", "w") as file:
            file.write(f"ListenAddress 127.0.0.1\nPort {self.port}\nHostKey {folder}/host_key\nUsePAM no\n"
                       f"AuthorizedKeysFile {self.identity}.pub\nAllowUsers {self.user}\nPidFile none\n"
                       "StrictModes no\nPasswordAuthentication no\nKbdInteractiveAuthentication no\n"
                       "PermitUserRC no\n")
        sshd = shutil.which("sshd", path="/usr/sbin:/usr/local/sbin:/usr/bin")
        # Bounded, so that it does not outlive a test run that was killed.
        self.process = subprocess.Popen(["timeout", "100", sshd, "-D", "-e", "-f", folder + "/sshd_config"],
                                        bufsize=0, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE)
        try:
            readUntil(self.process.stderr, b"Server listening")
            return True
        except EOFError as error:
            self.close()
            if "Address already in use" not in str(error):
                raise
            return False

    def close(self):
        self.process.terminate()
        self.process.wait(LIMIT)
        self.process.stderr.close()


class SvnTest(EndToEndTest):
    """A repository behind a real sshd, and svn with nothing of the person's own files."""

    def setUp(self):
        super().setUp()
        self.server = SshServer(self.folder)
        self.addCleanup(self.server.close)
        self.repository = self.path("repository")
        subprocess.run(["svnadmin", "create", self.repository], check=True, timeout=LIMIT)
        # Everything but the user and the port, and nothing of the person's own files.
        self.write("ssh_config", f"IdentityFile {self.server.identity}\nIdentitiesOnly yes\nIdentityAgent none\n"
                   f"BatchMode yes\nUserKnownHostsFile {self.server.knownHosts}\nConnectTimeout 5\n")
        # A path may hold a space, and svn splits the value like a shell.
        self.tool = f'"{TOOL}"'
        self.configured = f"{self.tool} -F {self.path('ssh_config')}"

    def svn(self, svnSsh, *words, tunnel=None):
        # Nobody is asked for long about a host name that cannot exist.
        change = {"SVN_SSH": svnSsh, "SSH_TUNNEL": tunnel, "SHELL": "/bin/sh", "RES_OPTIONS": "timeout:1 attempts:1"}
        return self.runTool("--non-interactive", "--config-dir", self.path("config"), *words,
                            program="svn", change=change)

    def svnlook(self, what):
        return subprocess.run(["svnlook", what, self.repository], check=True, timeout=LIMIT,
                              capture_output=True, text=True).stdout.strip()
