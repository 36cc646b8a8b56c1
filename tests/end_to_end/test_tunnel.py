"""svn works through the tool and a real sshd with what the URL, the list of servers and SVN_SSH say."""

import os
import subprocess

from surroundings import LIMIT, TOOL, EndToEndTest, SshServer


class Tunnel(EndToEndTest):
    def setUp(self):
        super().setUp()
        self.server = SshServer(self.folder)
        self.addCleanup(self.server.close)
        self.repository = self.path("repository")
        subprocess.run(["svnadmin", "create", self.repository], check=True, timeout=LIMIT)
        # Everything but the user and the port, and nothing of the person's own files.
        with open(self.path("ssh_config"), "w") as file:
            file.write(f"IdentityFile {self.server.identity}\nIdentitiesOnly yes\nIdentityAgent none\n"
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

    def assertWorks(self, name, svnSsh, url, tunnel):
        """A checkout and a commit, which must be the repository's next revision by our user."""
        copy = self.path(name.replace(" ", "-"))
        before = int(self.svnlook("youngest"))

        def step(*words):
            result = self.svn(svnSsh, *words, tunnel=tunnel)
            # The far shell reads the person's own start-up files, which may speak.
            self.assertEqual(result.status, 0, (words, result.stderr))

        step("checkout", url, copy)
        with open(copy + "/file-" + os.path.basename(copy), "w") as file:
            file.write(name)
        step("add", file.name)
        step("commit", "-m", name, copy)
        self.assertEqual((int(self.svnlook("youngest")), self.svnlook("author")), (before + 1, self.server.user))
        self.assertEqual(self.svnlook("log"), name)

    def testCheckoutAndCommit(self):
        server = self.server
        learned = self.path("learned_hosts")
        options = (f"-F none -o IdentitiesOnly=yes -o IdentityAgent=none -o BatchMode=yes -o LogLevel=ERROR"
                   f" -o StrictHostKeyChecking=no -o UserKnownHostsFile={learned}")
        everything = f"127.0.0.1\t{server.port}\t{server.user}\t{server.identity}\t\t{options}\n"
        onCommandLine = f"{self.configured} -l {server.user} -p {server.port} -i {server.identity}"
        for name, records, svnSsh, host, tunnel in (
                ("user in the URL and port in the list", f"127.0.0.1\t{server.port}\n", self.configured,
                 f"{server.user}@127.0.0.1", None),
                ("everything in the list", everything, self.tool, "127.0.0.1", None),
                ("user and port in the URL", "", self.configured, f"{server.user}@127.0.0.1:{server.port}", None),
                ("everything in SVN_SSH", "127.0.0.1\t1\tnobody\t/nonexistent\t\t-o BatchMode=maybe\n",
                 onCommandLine, "127.0.0.1", "yes")):
            with self.subTest(name):
                self.writeList(records)
                self.assertWorks(name, svnSsh, f"svn+ssh://{host}{self.repository}", tunnel)
        self.assertTrue(os.path.exists(learned), "the options of the list did not reach ssh")

    def testItIsTheToolThatDoesIt(self):
        user, port = self.server.user, self.server.port
        plain = f"ssh -F {self.path('ssh_config')}"
        for name, svnSsh, host, message in (
                ("plain ssh and a port in the URL", plain, f"{user}@127.0.0.1:{port}",
                 f"Could not resolve hostname 127.0.0.1:{port}"),
                ("no list of servers", self.tool, "127.0.0.1",
                 "queltoSSH(E02): Failed to create username dialog.")):
            with self.subTest(name):
                result = self.svn(svnSsh, "checkout", f"svn+ssh://{host}{self.repository}", self.path("copy"))
                self.assertEqual(result.status, 1)
                self.assertIn(message, result.stderr.decode())
        self.assertFalse(os.path.exists(self.path("copy/.svn/entries")))
