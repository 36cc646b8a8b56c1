"""Whatever state the caller leaves the tool in, ssh gets three streams, a closed environment and the caller's own
signal state."""

import os
import re
import shutil
import signal

from surroundings import TOOL, EndToEndTest


class State(EndToEndTest):
    def testClosedStreamsAreTheNullDevice(self):
        for closed in ({0}, {1}, {2}, {0, 1, 2}):
            with self.subTest(closed=closed):
                result = self.runTool("alice@host", prepare=lambda: [os.close(fd) for fd in closed])
                found = result.record["descriptors"]
                self.assertEqual((result.status, set(found)), (0, {"0", "1", "2"}))
                self.assertEqual({int(fd) for fd, link in found.items() if link == "/dev/null"}, closed)

    def testDescriptorsOfTheCallerStayOutside(self):
        low = os.open("/", os.O_RDONLY)
        self.addCleanup(os.close, low)
        high = os.dup2(low, 200)
        self.addCleanup(os.close, high)
        for program, leaked in (TOOL, set()), (self.ssh, {str(low), str(high)}):
            record = self.runTool("alice@host", program=program, pass_fds=(low, high)).record
            self.assertEqual(set(record["descriptors"]), {"0", "1", "2"} | leaked, program)

    def testIgnoredAndBlockedSignalsReachSshAsTheyWere(self):
        # Says on standard error which signals are ignored or blocked, and touches none; an interpreter does.
        # The status is lost where the children's signal stays ignored.
        lister = self.program("lister", "#!/usr/bin/env -S --list-signal-handling /usr/bin/false\n")

        def numbers(names):
            return [signal.Signals["SIG" + name] for name in names.split()]

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
                found = dict(re.findall(r"(\w+) +\( *\d+\): (.*)", result.stderr.decode()))
                self.assertEqual((result.status, found), (1, expected))

    def testDeletedCurrentFolder(self):
        def prepare():
            os.mkdir(self.path("gone"))
            os.chdir(self.path("gone"))
            os.rmdir(self.path("gone"))

        result = self.runTool("alice@host", prepare=prepare)
        self.assertEqual((result.status, result.record["folder"]), (0, self.path("gone") + " (deleted)"))

    def testHomeOfTheList(self):
        database = self.path("database-home")
        relative = self.path("relative")
        for home, user in (database, "database"), (relative, "relative"), (self.home, "variable"):
            self.writeList(f"host\t22\t{user}\n", home=home)
        variables = self.withPasswordDatabase("somebody", database)
        for home in (self.home, None, "relative", ""):
            with self.subTest(home=home):
                record = self.runTool("host", change={**variables, "HOME": home}).record
                self.assertEqual(record["arguments"][1], "variable" if home == self.home else "database")
                homes = [entry for entry in record["environment"] if entry.startswith("HOME=")]
                self.assertEqual(homes, [] if home is None else ["HOME=" + home])

    def testKnownUserNameLoadsNoModule(self):
        self.writeList("host\t22\talice\n")
        for destination in ("alice@host", "host"):
            with self.subTest(destination):
                names = map(os.path.basename, self.runTool(destination).record["callersFiles"])
                libraries = {name.split(".so")[0] for name in names if ".so" in name}
                sanitizers = {"libasan", "libubsan", "libtsan"}
                runtime = sanitizers | {"libstdc++", "libgcc_s", "libm"} if libraries & sanitizers else set()
                self.assertEqual(libraries - runtime, {"ld-linux-x86-64", "libc"})


class ClosedEnvironment(EndToEndTest):
    def testExactlyTheseVariables(self):
        # The tool among copies of its own neighbours, to choose whether the ask-pass helper is there.
        contents = self.path("app/Contents")
        shutil.copytree(os.path.dirname(os.path.dirname(os.path.realpath(TOOL))), contents, symlinks=True)
        helper = contents + "/Resources/queltoAut"
        if os.path.exists(helper):
            os.remove(helper)
        # In this order, but for those without a value.
        usual = {"LC_ALL": "en_US.UTF-8", "LANG": "en_US.UTF-8", "DISPLAY": "NONE",
                 "AUT_APPGROUP": "org.quelto.suite", "SSH_ASKPASS": None, "USER": "somebody",
                 "AUTH_KEYCHAIN": self.path("marker"), "AUTH_LANGUAGE": "", "SSH_USER": "alice",
                 "SSH_HOST": "Host", "SSH_PORT": "22", "SSH_AUTH_SOCK": None, "LOGNAME": None, "HOME": None}
        variables = {**self.withPasswordDatabase("somebody", self.home), "HOME": None}
        kept = {"SSH_AUTH_SOCK": "/run/agent", "LOGNAME": "login", "HOME": self.home, "AUTH_LANGUAGE": "de"}
        empty = dict.fromkeys(("SSH_AUTH_SOCK", "LOGNAME", "HOME", "AUTH_KEYCHAIN"), "")
        for name, words, change, expected in (
                ("the caller has next to none", ["alice@Host"], {}, {}),
                ("the caller has many", ["alice@Host"],
                 {**kept, "USER": "liar", "DISPLAY": ":0", "LANG": "C", "LC_CTYPE": "C", "SSH_TUNNEL": "yes",
                  "AUTH_STORE": "1", "SVN_SSH": "ssh", "TOKEN": "secret", "LD_LIBRARY_PATH": "/lib",
                  "SSH_ASKPASS": "/theirs", "SSH_ASKPASS_REQUIRE": "force"}, kept),
                ("empty values are values", ["alice@Host"], empty, empty),
                ("blanks of the path", ["alice@Host"], {"AUTH_KEYCHAIN": " /k "}, {"AUTH_KEYCHAIN": " /k "}),
                ("a port", ["alice@Host:-5"], {}, {"SSH_PORT": "-5"}),
                ("a group on the command line", ["-Z", "other", "alice@Host"], {}, {"AUT_APPGROUP": "other"}),
                ("a group in the environment", ["-Z", "other", "alice@Host"], {"SSH_APPGROUP": " third\n"},
                 {"AUT_APPGROUP": "third"}),
                ("an empty group", ["-Z", "other", "alice@Host"], {"SSH_APPGROUP": ""}, {"AUT_APPGROUP": ""}),
                ("the ask-pass helper of the bundle", ["alice@Host"], {}, {"SSH_ASKPASS": helper})):
            with self.subTest(name):
                if "SSH_ASKPASS" in expected:
                    shutil.copy(self.ssh, helper)
                record = self.runTool(*words, program=contents + "/Resources/queltoSSH",
                                      change={**variables, **change}).record
                self.assertEqual(record["environment"],
                                 [f"{k}={v}" for k, v in {**usual, **expected}.items() if v is not None])
