"""The manual page names what the tool reads, hands on and says, and its examples do what they say."""

import glob
import os
import re
import shutil

from dialog_surroundings import NOT_CREATED, DialogTest
from surroundings import TOOL, EndToEndTest, SvnTest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
HOST, OTHER = "svn.example.org", "other.example.org"


def textOf(path):
    with open(path) as file:
        return file.read()


PAGE = textOf(ROOT + "/docs/queltoSSH.1")


def withoutBreaks(command):
    return " ".join(command.replace("\\", "").split())


def example(word):
    """The one example that holds the word."""
    blocks = re.findall(r"^\.Bd -literal -offset indent\n(.*?)^\.Ed$", PAGE, re.MULTILINE | re.DOTALL)
    [text] = [block for block in blocks if word in block]
    return text.replace("\\e", "\\")


class Reference(EndToEndTest):
    def testNothingIsLeftOut(self):
        sources = "".join(map(textOf, glob.glob(ROOT + "/src/**/*.cc", recursive=True)))
        variables = set(re.findall(r'\b(?:environmentValue|isSet|set)\("([A-Z_]+)"', sources))
        self.assertLessEqual({"AUTH_STORE", "XDG_DATA_HOME", "SSH_HOST"}, variables)
        documented = set(re.findall(r"[A-Z_]+", " ".join(re.findall(r"^\.It Ev (.*)", PAGE, re.MULTILINE))))
        self.assertEqual(variables - documented, set())
        failures = re.findall(r'\{"(\w\d\d)", "\w+", "(.*)"\}', textOf(ROOT + "/src/ui/error_line.h"))
        lines = re.findall(r'^\.It "queltoSSH\((.*)\): (.*)"$', PAGE, re.MULTILINE)
        self.assertEqual(sorted(lines), sorted(failures))


class ListExample(EndToEndTest):
    def testServerInTheList(self):
        readMe = re.search(r"^    mkdir .+\n(    .+\n)+", textOf(ROOT + "/README.md"), re.MULTILINE)[0]
        for command in (readMe, example("sshservers")):
            shutil.rmtree(os.path.dirname(self.list), ignore_errors=True)
            self.assertEqual(self.runTool("-euc", command, program="/bin/sh").status, 0)
            self.assertEqual(self.runTool(HOST).record["arguments"],
                             ["-l", "alice", "-i", "~/.ssh/svn", "-p", "2222", "-o", "ServerAliveInterval=30", "-C",
                              "alice@" + HOST])


class TunnelExample(SvnTest):
    def testSchemeOfItsOwn(self):
        options = f"-F {self.path('ssh_config')}"
        os.mkdir(self.path("config"))
        with open(self.path("config/config"), "w") as file:
            file.write(example("[tunnels]"))
        for name, records, variable in (("found in PATH", f"127.0.0.1\t\t\t\t\t{options}\n", None),
                                        ("named by the variable", "", self.configured)):
            with self.subTest(name):
                self.writeList(records)
                result = self.runTool("--non-interactive", "--config-dir", self.path("config"), "info", "--show-item",
                                      "revision",
                                      f"svn+quelto://{self.server.user}@127.0.0.1:{self.server.port}{self.repository}",
                                      program="svn", change={"QUELTO_SSH": variable, "SHELL": "/bin/sh",
                                                             "PATH": os.path.dirname(TOOL) + ":/usr/bin:/bin"})
                self.assertEqual((result.status, result.stdout.strip()), (0, b"0"), result.stderr)


class ForgettingExamples(DialogTest):
    def testForgettingAName(self):
        for place, word, prepare in (("embedded", "sqlite3", lambda: None),
                                     ("secret-service", "secret-tool", self.addKeyring)):
            with self.subTest(place):
                prepare()
                self.environment["XDG_DATA_HOME"] = self.path(place)
                for host in (HOST, OTHER):
                    self.answerOnTerminal((host,), (("SSH username: ", "alice\n"), ("[Y/n] ", "\n")), {}, program=TOOL)
                self.assertEqual(textOf(self.path(place) + "/quelto/keychain-place").strip(), place)
                self.assertEqual(self.runTool(HOST).record["arguments"][:2], ["-l", "alice"])
                command = example(word)
                self.assertIn(withoutBreaks(command), withoutBreaks(textOf(ROOT + "/docs/CREDENTIALS.md")))
                command = command.replace("~/.local/share", self.path(place))
                self.assertEqual(self.runTool("-c", command, program="/bin/sh").status, 0)
                self.assertFailed(self.runTool(HOST), NOT_CREATED["stderr"])
                self.assertEqual(self.runTool(OTHER).record["arguments"][:2], ["-l", "alice"])
