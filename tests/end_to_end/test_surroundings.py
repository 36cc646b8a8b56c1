"""Whatever state the caller leaves the tool in, ssh gets three streams, a closed environment and the caller's own
signal state."""

import os
import re
import shutil
import signal

from surroundings import TOOL, EndToEndTest


class Descriptors(EndToEndTest):
    def testClosedStreamsAreTheNullDevice(self):
        for name, closed in (("standard input", {0}), ("standard output", {1}), ("standard error", {2}),
                             ("all", {0, 1, 2})):
            with self.subTest(name):
                result = self.runTool("alice@host", prepare=lambda: [os.close(fd) for fd in closed])
                found = result.record["descriptors"]
                self.assertEqual(set(found), {"0", "1", "2"})
                self.assertEqual({int(fd) for fd, link in found.items() if link == "/dev/null"}, closed)
                self.assertEqual(result.status, 0)

    def testDescriptorsOfTheCallerStayOutside(self):
        low = os.open("/", os.O_RDONLY)
        self.addCleanup(os.close, low)
        high = os.dup2(low, 200)
        self.addCleanup(os.close, high)
        leaked = {str(low), str(high)}
        for name, program, expected in (("through the tool", TOOL, set()), ("without it", self.ssh, leaked)):
            with self.subTest(name):
                record = self.runTool("alice@host", program=program, pass_fds=(low, high)).record
                self.assertEqual(set(record["descriptors"]), {"0", "1", "2"} | expected)


def numbers(names):
    return [signal.Signals["SIG" + name] for name in names.split()]


class Signals(EndToEndTest):
    def testIgnoredAndBlockedSignalsReachSshAsTheyWere(self):
        # Says on standard error which signals are ignored or blocked, and touches none; an interpreter does.
        lister = self.program("lister", "#!/usr/bin/env -S --list-signal-handling /usr/bin/true\n")
        for name, program, ignored, blocked, expected in (
                ("nothing", TOOL, "", "", {}),
                ("as svn leaves them", TOOL, "PIPE XFSZ", "", {"PIPE": "IGNORE", "XFSZ": "IGNORE"}),
                ("what the tool forwards", TOOL, "TERM INT", "QUIT",
                 {"TERM": "IGNORE", "INT": "IGNORE", "QUIT": "BLOCK"}),
                ("both at once", TOOL, "HUP", "HUP USR1", {"HUP": "BLOCK,IGNORE", "USR1": "BLOCK"}),
                ("the children's signal is not ignored", TOOL, "CHLD", "", {}),
                ("without the tool it is", lister, "CHLD", "", {"CHLD": "IGNORE"})):
            with self.subTest(name):
                def prepare():
                    for number in numbers(ignored):
                        signal.signal(number, signal.SIG_IGN)
                    signal.pthread_sigmask(signal.SIG_BLOCK, numbers(blocked))

                result = self.runTool("alice@host", program=program, prepare=prepare,
                                      change={"SSH_ORIGINAL": lister})
                self.assertEqual(dict(re.findall(r"(\w+) +\( *\d+\): (.*)", result.stderr.decode())), expected)
                self.assertEqual(result.status, 0)

    def testStatusSurvivesACallerThatIgnoresItsChildren(self):
        result = self.runTool("alice@host", change={"SSH_ORIGINAL": self.program("seven", "exit 7")},
                              prepare=lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))
        self.assertEqual(result.status, 7)


class Folders(EndToEndTest):
    def testDeletedCurrentFolder(self):
        gone = self.path("gone")

        def prepare():
            os.mkdir(gone)
            os.chdir(gone)
            os.rmdir(gone)

        result = self.runTool("alice@host", prepare=prepare)
        self.assertEqual((result.status, result.record["folder"]), (0, gone + " (deleted)"))

    def testHomeOfTheList(self):
        database = self.path("database-home")
        self.writeList("host\t22\tfrom-database\n", home=database)
        self.writeList("host\t22\tfrom-relative\n", home=self.path("relative"))
        self.writeList("host\t22\tfrom-variable\n")
        variables = self.withPasswordDatabase("somebody", database)
        for name, home, user in (("absolute", self.home, "from-variable"), ("not set", None, "from-database"),
                                 ("relative", "relative", "from-database"), ("empty", "", "from-database")):
            with self.subTest(name):
                record = self.runTool("host", change={**variables, "HOME": home}).record
                self.assertEqual(record["arguments"][:2], ["-l", user])
                homes = [entry for entry in record["environment"] if entry.startswith("HOME=")]
                self.assertEqual(homes, [] if home is None else ["HOME=" + home])


class ClosedEnvironment(EndToEndTest):
    ALWAYS = {"LC_ALL": "en_US.UTF-8", "LANG": "en_US.UTF-8", "DISPLAY": "NONE", "AUT_APPGROUP": "org.quelto.suite",
              "USER": "somebody", "AUTH_LANGUAGE": "", "SSH_USER": "alice", "SSH_HOST": "Host", "SSH_PORT": "22"}

    def setUp(self):
        super().setUp()
        # The tool among copies of its own neighbours, to choose whether the ask-pass helper is there.
        contents = self.path("app/Contents")
        shutil.copytree(os.path.dirname(os.path.dirname(os.path.realpath(TOOL))), contents, symlinks=True)
        self.tool = contents + "/Resources/queltoSSH"
        self.helper = contents + "/Resources/queltoAut"
        if os.path.exists(self.helper):
            os.remove(self.helper)
        self.variables = {**self.withPasswordDatabase("somebody", self.home), "HOME": None}

    def assertEnvironment(self, words, change, expected):
        record = self.runTool(*words, program=self.tool, change={**self.variables, **change}).record
        everything = {"AUTH_KEYCHAIN": self.path("marker"), **self.ALWAYS, **expected}
        self.assertEqual(record["environment"], sorted(f"{k}={v}" for k, v in everything.items()))

    def testExactlyTheseVariables(self):
        kept = {"SSH_AUTH_SOCK": "/run/agent", "LOGNAME": "login", "HOME": self.home, "AUTH_LANGUAGE": "de"}
        for name, words, change, expected in (
                ("the caller has next to none", ["alice@Host"], {}, {}),
                ("the caller has many", ["alice@Host"],
                 {**kept, "USER": "liar", "DISPLAY": ":0", "LANG": "C", "LC_CTYPE": "C", "SSH_TUNNEL": "yes",
                  "AUTH_STORE": "1", "SVN_SSH": "ssh", "TOKEN": "secret", "LD_LIBRARY_PATH": "/lib",
                  "SSH_ASKPASS": "/theirs", "SSH_ASKPASS_REQUIRE": "force"}, kept),
                ("empty values are values", ["alice@Host"], {"SSH_AUTH_SOCK": "", "LOGNAME": "", "HOME": ""},
                 {"SSH_AUTH_SOCK": "", "LOGNAME": "", "HOME": ""}),
                ("a port", ["alice@Host:2222"], {}, {"SSH_PORT": "2222"}),
                ("a group on the command line", ["-Z", "other", "alice@Host"], {}, {"AUT_APPGROUP": "other"}),
                ("a group in the environment", ["-Z", "other", "alice@Host"], {"SSH_APPGROUP": " third\n"},
                 {"AUT_APPGROUP": "third"})):
            with self.subTest(name):
                self.assertEnvironment(words, change, expected)

    def testAskPassHelperOfTheBundle(self):
        shutil.copy(self.ssh, self.helper)
        self.assertEnvironment(["alice@Host"], {}, {"SSH_ASKPASS": self.helper})


class Libraries(EndToEndTest):
    def testKnownUserNameLoadsNoModule(self):
        self.writeList("host\t22\talice\n")
        for destination in ("alice@host", "host"):
            with self.subTest(destination):
                record = self.runTool(destination).record
                names = [os.path.basename(file) for file in record["callersFiles"]]
                libraries = {name.split(".so")[0] for name in names if ".so" in name}
                runtime = {"libasan", "libubsan", "libtsan", "libstdc++", "libgcc_s", "libm"}
                self.assertEqual(libraries - runtime, {"ld-linux-x86-64", "libc"})
