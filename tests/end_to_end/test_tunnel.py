"""svn works through the tool and a real sshd with what the URL, the list of servers and SVN_SSH say."""

import os

from surroundings import SvnTest


class Tunnel(SvnTest):
    def testCheckoutAndCommit(self):
        server = self.server
        learned = self.path("learned_hosts")
        options = ("-F none -o IdentitiesOnly=yes -o IdentityAgent=none -o BatchMode=yes -o LogLevel=ERROR"
                   f" -o StrictHostKeyChecking=no -o UserKnownHostsFile={learned}")
        everything = f"127.0.0.1\t{server.port}\t{server.user}\t{server.identity}\t\t{options}\n"
        onCommandLine = f"{self.configured} -l {server.user} -p {server.port} -i {server.identity}"
        rows = (("user in the URL and port in the list", f"127.0.0.1\t{server.port}\n", self.configured,
                 f"{server.user}@127.0.0.1", None),
                ("everything in the list", everything, self.tool, "127.0.0.1", None),
                ("user and port in the URL", "", self.configured, f"{server.user}@127.0.0.1:{server.port}", None),
                ("everything in SVN_SSH", "127.0.0.1\t1\tnobody\t/nonexistent\t\t-o BatchMode=maybe\n",
                 onCommandLine, "127.0.0.1", "yes"))
        for revision, (name, records, svnSsh, host, tunnel) in enumerate(rows, 1):
            with self.subTest(name):
                self.writeList(records)
                copy = self.path(f"copy {revision}")
                file = self.write(f"{copy}/file {revision}", name)
                # svn takes the file that is already there into the copy.
                for words in (("checkout", f"svn+ssh://{host}{self.repository}", copy), ("add", file),
                              ("commit", "-m", name, copy)):
                    result = self.svn(svnSsh, *words, tunnel=tunnel)
                    # The far shell reads the person's own start-up files, which may speak.
                    self.assertEqual(result.status, 0, (words, result.stderr))
                self.assertEqual([self.svnlook(what) for what in ("youngest", "author", "log")],
                                 [str(revision), server.user, name])
        self.assertTrue(os.path.exists(learned), "the options of the list did not reach ssh")

    def testItIsTheToolThatDoesIt(self):
        plain, user = f"ssh -F {self.path('ssh_config')}", self.server.user
        for svnSsh, host, message in (
                (plain, f"{user}@127.0.0.1:{self.server.port}", "Could not resolve hostname 127.0.0.1:"),
                (self.tool, "127.0.0.1", "queltoSSH(E02): Failed to create username dialog.")):
            with self.subTest(message):
                result = self.svn(svnSsh, "checkout", f"svn+ssh://{host}{self.repository}", self.path("copy"))
                self.assertEqual(result.status, 1)
                self.assertIn(message, result.stderr.decode())
