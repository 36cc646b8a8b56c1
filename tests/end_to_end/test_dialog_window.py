"""The dialogs in a window: with real keys, as assistive technology sees them, and what happens without one."""

import contextlib
import os
import plistlib
import re
import shutil
import signal
import subprocess
import tempfile

import gi

from dialog_surroundings import (C01, CONTENTS, DRIVER, E02, E03, HOST, DialogTest, childrenOf, endService, hasEnded,
                                 reapOthersThan, startService, waitUntil)
from surroundings import LIMIT, TOOL, readUntil

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402 (its version comes first)


# Draws nothing itself: by what is on the screen the tests know whether the dialog is drawn.
WINDOW_MANAGER = """<openbox_config xmlns="http://openbox.org/3.4/rc">
<theme><keepBorder>no</keepBorder></theme>
<keyboard><keybind key="A-F4"><action name="Close"/></keybind></keyboard>
<applications><application class="*"><decor>no</decor></application></applications>
</openbox_config>"""


class Keys(DialogTest):
    def write(self, path, text):
        path = f"{self.home}/{path}"
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w") as file:
            file.write(text)

    def assertFits(self):
        """The window fits on the screen and is as large as what is in it."""
        told = self.xdotool("getwindowfocus", "getwindowgeometry", "--shell").stdout.decode()
        left, top, width, height = (int(re.search(rf"^{name}=(\d+)$", told, re.MULTILINE)[1])
                                    for name in ("X", "Y", "WIDTH", "HEIGHT"))
        self.assertLessEqual(left + width, 800)
        self.assertLessEqual(top + height, 600)
        pixels = self.pixels(left, top, width, height)
        colours = list(zip(pixels[0::4], pixels[1::4], pixels[2::4]))
        background = colours[width * 3 + 3]
        filled = [place for place, colour in enumerate(colours) if colour != background]
        right, below = width - 1 - max(place % width for place in filled), height - 1 - filled[-1] // width
        # The buttons are the last thing in both directions, with the same margin.
        self.assertAlmostEqual(below, right, delta=2)

    def testFieldIsAnswered(self):
        self.addDisplay()
        for name, value, keys, answer in (
                ("a name", "", (":alice", "Return"), "[alice] remember"),
                ("the value as it stood", "alice", ("Return",), "[alice] remember"),
                ("the value changed", "alice", ("End", ":2", "Home", ":x", "Return"), "[xalice2] remember"),
                ("nothing", "", ("Return",), "[] remember"),
                ("blanks, as typed", "", (": a b ", "Return"), "[ a b ] remember"),
                ("through every control", "", (":bob", "Tab", "space", "Tab", "Tab", "Return"), "[bob] forget"),
                ("backwards", "", (":bob", "shift+Tab", "shift+Tab", "shift+Tab", "space", "shift+Tab", "Return"),
                 "[bob] forget"),
                ("Enter on the check box", "", (":bob", "Tab", "Return"), "[bob] remember"),
                ("that of the keypad", "", (":bob", "Tab", "space", "KP_Enter"), "[bob] forget"),
                ("all the way round", "", ("Tab", "Tab", "Tab", "Tab", ":bob", "Return"), "[bob] remember"),
                ("a letter being composed is given up alone", "", ("ctrl+shift+u", ":e9", "Escape", ":bob", "Return"),
                 "[bob] remember")):
            with self.subTest(name):
                process = self.askInWindow("field", HOST, value)
                self.press(*keys)
                self.assertEnds(process, answer.encode() + b"\n")

    def testLongTextsFitOnTheScreen(self):
        self.addDisplay()
        driver, long, huge = self.copiedDriver(), "h" * 300, "x" * 65534  # the most that a field takes
        keys = ("field_ssh_username", "remember_ssh_username", "button_ok", "button_cancel")
        # More than a request may hold: a text with one such letter takes twice the space there.
        self.writeTable("vantorSuiteSSH", **{key: key + "é" + huge * 50 for key in keys}, title_ssh_username=huge,
                        message_ssh_username="%1$@" * 1000)
        for name, host, value, language in (("long", long, long, "en"), ("huge", huge, huge, "en"),
                                            ("words", "word " * 13000, "", "de"), ("texts", huge, huge, "xx")):
            with self.subTest(name):
                process = self.askInWindow("field", host, value, program=driver, change={"AUTH_LANGUAGE": language})
                self.assertFits()
                self.press("Return")
                self.assertEnds(process, f"[{value}] remember\n".encode())

    def testWindowFitsItsTexts(self):
        self.addDisplay()
        for font, language in ((11, "de"), (11, "es"), (11, "ru"), (22, "ru")):
            self.write(".config/gtk-4.0/settings.ini", f"[Settings]\ngtk-font-name=Sans {font}\n")
            for words in ("field", HOST, "bob"), ("alert",), ("alert", "new_rsa_key"):
                with self.subTest(words, font=font, language=language):
                    process = self.askInWindow(*words, change={"AUTH_LANGUAGE": language})
                    self.assertFits()
                    self.press("Escape")
                    process.wait(LIMIT)

    def testPictureTellsTheKind(self):
        self.addDisplay()
        for words, colour in (("field", HOST, ""), "blue"), (("alert",), "red"):
            with self.subTest(words[0]):
                process = self.askInWindow(*words)
                area = self.pixels(24, 24, 64, 64)
                self.assertEqual("blue" if sum(area[0::4]) > sum(area[2::4]) else "red", colour)
                self.press("Escape")
                process.wait(LIMIT)

    def testFieldIsCancelled(self):
        self.addDisplay()
        for name, keys in (("the button", ("Tab", "Tab", "space")), ("the button by Enter", ("Tab", "Tab", "Return")),
                           ("Escape", (":alice", "Escape")), ("Escape elsewhere", ("Tab", "Escape"))):
            with self.subTest(name):
                process = self.askInWindow("field", HOST, "bob")
                self.press(*keys)
                self.assertEnds(process, stderr=C01, status=255)

    def testAlert(self):
        self.addDisplay()
        for name, keys, answer in (("Enter", ("Return",), b"true\n"), ("No", ("Tab", "Return"), b"false\n"),
                                   ("Yes", ("Tab", "Tab", "space"), b"true\n"), ("Escape", ("Escape",), b"false\n"),
                                   ("Escape elsewhere", ("Tab", "Escape"), b"false\n")):
            with self.subTest(name):
                process = self.askInWindow("alert")
                self.press(*keys)
                self.assertEnds(process, answer)

    def testKeysBeforeTheWindowStands(self):
        # Enter comes all the time. Whichever of them counts, the question was shown.
        self.addDisplay()
        keys = subprocess.Popen(["setpriv", "--pdeathsig", "TERM",
                                 "xdotool", "key", "--delay", "0", "--repeat", "1000000", "Return"],
                                env=self.environment)
        self.addCleanup(endService, keys)
        for attempt in range(5):
            with self.subTest(attempt=attempt):
                self.assertEnds(self.start("alert", program=DRIVER), b"true\n")

    def testWindowManagerCloses(self):
        self.addDisplay()
        self.write(".config/openbox/rc.xml", WINDOW_MANAGER)
        manager = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", "openbox"], env=self.environment,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(endService, manager)
        waitUntil(lambda: self.xdotool("get_desktop").returncode == 0)
        for name, words, expected in (("field", ("field", HOST, "bob"), {"stderr": C01, "status": 255}),
                                      ("alert", ("alert",), {"stdout": b"false\n"})):
            with self.subTest(name):
                process = self.askInWindow(*words, focus="getactivewindow")
                self.press("alt+F4")
                self.assertEnds(process, **expected)


class AssistiveTechnology(DialogTest):
    """The library and its bus serve the whole process."""

    @classmethod
    def setUpClass(cls):
        home = tempfile.mkdtemp(prefix="quelto-test-")
        cls.addClassCleanup(shutil.rmtree, home)
        cls.addClassCleanup(reapOthersThan, childrenOf(os.getpid()))
        bus, cls.address = startService("dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=FD",
                                        env={"HOME": home, "XDG_RUNTIME_DIR": home, "PATH": "/usr/bin:/bin"})
        cls.addClassCleanup(endService, bus)
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = cls.address
        Atspi.init()
        cls.addClassCleanup(Atspi.exit)
        Atspi.get_desktop(0).get_child_count()  # starts the rest of its programs

    def setUp(self):
        super().setUp()
        self.addDisplay()
        del self.environment["GTK_A11Y"]
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self.address

    def look(self, process):
        """The named parts of the window, in reading order: role, name, the object itself."""
        program = self.windowProgram(process)

        def walk(node):
            for part in filter(None, map(node.get_child_at_index, range(node.get_child_count()))):
                if part.get_role_name() in ("label", "text", "check box", "push button"):
                    yield part.get_role_name(), part.get_name(), part
                else:
                    yield from walk(part)

        def find():
            desktop = Atspi.get_desktop(0)
            for application in map(desktop.get_child_at_index, range(desktop.get_child_count())):
                if application and application.get_process_id() == program:
                    parts = list(walk(application))
                    return parts if [role for role, *_ in parts][-2:] == ["push button"] * 2 else None
        return waitUntil(find)

    def windowAround(self, part):
        while part.get_role_name() != "dialog":
            part = part.get_parent()
        return part

    def relations(self, part):
        relations = part.get_relation_set()
        return [(relation.get_relation_type(), relation.get_target(0).get_name()) for relation in relations]

    def testLettersBeyondAscii(self):
        process = self.askInWindow("field", HOST, "")
        field = self.look(process)[3][2]

        def isTyped():
            # The keyboard is changed for each letter, and a busy display may mix them up.
            self.press("ctrl+a", ":jürgen日本")
            with contextlib.suppress(TimeoutError):
                return waitUntil(lambda: Atspi.Text.get_text(field, 0, 99) == "jürgen日本", limit=2)
        waitUntil(isTyped)
        self.press("Return")
        self.assertEnds(process, "[jürgen日本] remember\n".encode())

    def testLanguages(self):
        for name, language, folder in (("none", "", "en"), ("German", "de", "de"), ("Japanese", "ja", "ja")):
            with self.subTest(name):
                with open(f"{CONTENTS}/Resources/{folder}.lproj/vantorSuiteSSH.strings", encoding="utf-8") as file:
                    text = dict(re.findall(r'^"(\w+)" = "(.*)";$', file.read(), re.MULTILINE))
                process = self.askInWindow("field", HOST, "bob", change={"AUTH_LANGUAGE": language})
                parts = self.look(process)
                self.assertEqual([part[:2] for part in parts], [
                    ("label", text["title_ssh_username"]),
                    ("label", text["message_ssh_username"].replace("%@", HOST)),
                    ("label", text["field_ssh_username"]), ("text", text["field_ssh_username"]),
                    ("check box", text["remember_ssh_username"]), ("push button", text["button_cancel"]),
                    ("push button", text["button_ok"])])
                field, checkBox = parts[3][2], parts[4][2]
                self.assertEqual(Atspi.Text.get_text(field, 0, Atspi.Text.get_character_count(field)), "bob")
                self.assertTrue(checkBox.get_state_set().contains(Atspi.StateType.CHECKED))
                runs = [Atspi.Text.get_attribute_run(part[2], 0, True)[0] for part in parts[:2]]
                self.assertEqual([int(run["weight"]) for run in runs], [700, 400])
                window = self.windowAround(field)
                self.assertEqual(window.get_name(), "queltoSSH " + text["title_ssh_username"])
                described = Atspi.RelationType.DESCRIBED_BY, parts[1][1]
                self.assertEqual(self.relations(window), [(Atspi.RelationType.LABELLED_BY, parts[0][1]), described])
                self.assertIn(described, self.relations(field))
                self.press("Escape")
                self.assertEnds(process, status=255,
                                stderr=f"queltoSSH(C01): {text['error_canceled']}\n".encode())

    def testAlert(self):
        process = self.askInWindow("alert")
        parts = self.look(process)
        default = parts[-1][2]
        self.assertTrue(default.get_state_set().contains(Atspi.StateType.FOCUSED))
        self.assertIn((Atspi.RelationType.DESCRIBED_BY, parts[1][1]), self.relations(default))
        self.assertEqual(self.windowAround(default).get_name(), "queltoSSH " + parts[0][1])
        self.press("Escape")
        self.assertEnds(process, b"false\n")

    def testTitlesMayBeEmpty(self):
        driver = self.copiedDriver()
        self.writeTable("vantorSuiteSSH", field_ssh_username="", remember_ssh_username="")
        for keys, answer in (((":alice", "Return"), b"[alice] remember\n"),
                             ((":alice", "Tab", "space", "Return"), b"[alice] forget\n")):
            with self.subTest(answer):
                process = self.askInWindow("field", HOST, "", program=driver, change={"AUTH_LANGUAGE": "xx"})
                _, message, *parts = [part[:2] for part in self.look(process)]
                self.assertEqual(parts[:2], [("text", message[1]), ("check box", message[1])])
                self.press(*keys)
                self.assertEnds(process, answer)

    def testLineBreaksOfATableStandInHeaderAndMessage(self):
        driver = self.copiedDriver()
        self.writeTable("vantorSuiteSSH", message_ssh_username="one\\n%@", **dict.fromkeys(
            ("title_ssh_username", "field_ssh_username", "remember_ssh_username", "button_cancel", "button_ok"),
            "one\\ntwo"))
        process = self.askInWindow("field", "a\nb", "", program=driver, change={"AUTH_LANGUAGE": "xx"})
        header, message, *titles = [name for _, name, _ in self.look(process)]
        self.assertEqual((header, message, *titles), ("one\ntwo", "one\na?b", *["one two"] * 5))

    def testMessageIsPlainText(self):
        for name, host, shown in (("markup", "<b>&amp;</b>", "<b>&amp;</b>"), ("broken markup", "<b>&", "<b>&"),
                                  ("underscores", "_a__b", "_a__b"),
                                  ("line ends and direction", "a\r\nb\u2028c\u202ed\u200f", "a??b?c?d?"),
                                  ("not UTF-8", b"caf\xe9.\xff", "caf\ufffd.\ufffd")):
            with self.subTest(name):
                process = self.askInWindow("field", host, "")
                self.assertIn(f"'{shown}'", self.look(process)[1][1])
                self.press("Escape")
                self.assertEnds(process, stderr=C01, status=255)

    def testTextSetFromOutsideIsOneLine(self):
        process = self.askInWindow("field", HOST, "")
        parts = self.look(process)
        Atspi.EditableText.set_text_contents(parts[3][2], "al\nic\t\u2028\x1be\r\n")
        Atspi.Action.do_action(parts[-1][2], 0)
        self.assertEnds(process, b"[alice] remember\n")


class Loss(DialogTest):
    def testWindowIsLost(self):
        def killProgram(process, _):
            os.kill(self.windowProgram(process), signal.SIGKILL)

        def endDisplay(_, server):
            server.terminate()

        field, alert = ("field", HOST, "bob"), ("alert",)
        failed, denied = {"stderr": E03, "status": 255}, {"stdout": b"false\n"}
        for name, words, lose, expected in (
                ("field, the program is killed", field, killProgram, failed),
                ("field, the display ends", field, endDisplay, failed),
                ("alert, the program is killed", alert, killProgram, denied),
                ("alert, the display ends", alert, endDisplay, denied)):
            with self.subTest(name):
                server = self.addDisplay()
                process = self.askInWindow(*words)
                lose(process, server)
                self.assertEnds(process, **expected)

    def testWindowGoesWithTheTool(self):
        self.addDisplay()
        for number in (signal.SIGKILL, signal.SIGTERM):
            with self.subTest(number.name):
                process = self.askInWindow("field", HOST, "bob")
                program = self.windowProgram(process)
                process.send_signal(number)
                self.assertEnds(process, status=-number)
                self.assertTrue(hasEnded(program))

    def testHungDisplay(self):
        self.addDisplay().send_signal(signal.SIGSTOP)
        with self.subTest("is given up"):
            process = self.start("field", HOST, "bob", program=DRIVER)
            program = self.windowProgram(process)
            self.assertEnds(process, stderr=E02, status=255, limit=30)
            self.assertTrue(hasEnded(program))
        with self.subTest("does not keep the program when the tool is gone"):
            process = self.start("field", HOST, "bob", program=DRIVER)
            program = self.windowProgram(process)
            waitUntil(lambda: any(link.startswith("socket:") for link in self.descriptors(program).values()))
            process.kill()
            self.assertTrue(hasEnded(program))


class WithoutWindow(DialogTest):
    def testTerminalIsAskedIfThereIsOne(self):
        self.addDisplay()
        there, nowhere = self.environment.pop("DISPLAY"), ":65000"
        for name, program, change in (
                ("no display", DRIVER, {}), ("no name of a display", DRIVER, {"DISPLAY": ""}),
                ("nobody at the display", DRIVER, {"DISPLAY": nowhere}),
                ("nobody at the Wayland display", DRIVER,
                 {"WAYLAND_DISPLAY": "nowhere", "XDG_RUNTIME_DIR": self.folder}),
                ("no program that draws", self.copiedDriver("quelto-dialog"), {"DISPLAY": there}),
                ("no way to write the request down", self.copiedDriver("libquelto_property_list.so"),
                 {"DISPLAY": there})):
            with self.subTest(name):
                # Well below the time limit for a display that hangs.
                failed = self.start("field", HOST, "bob", program=program, change=change)
                self.assertEnds(failed, stderr=E02, status=255, limit=8)
                denied = self.start("alert", program=program, change=change)
                self.assertEnds(denied, b"absent\n", limit=8)
                terminal, slave = self.openTerminal()
                process = self.askOnTerminal(slave, "field", HOST, "bob", program=program, change=change)
                readUntil(terminal, b"[bob] ")
                terminal.write(b"alice\nn\n")
                self.assertEndsOnTerminal(process, b"[alice] forget\n")

    def testNothingIsShownForWhatIsNoRequest(self):
        self.addDisplay()

        def frame(payload):
            return len(payload).to_bytes(4, "little") + payload

        for name, request in (("nothing in it", frame(b"")), ("no property list", frame(b"queltoSSH")),
                              ("no entries", frame(plistlib.dumps({}, fmt=plistlib.FMT_BINARY))),
                              ("no dictionary", frame(plistlib.dumps(["a"], fmt=plistlib.FMT_BINARY))),
                              ("endless", b"\xff\xff\xff\xff")):
            with self.subTest(name):
                reader, writer = os.pipe()
                self.addCleanup(os.close, writer)
                os.write(writer, request)
                process = self.start("-c", f'exec "$0" 3<&{reader} 4>&1', CONTENTS + "/Resources/quelto-dialog",
                                     program="/bin/bash", pass_fds=[reader])
                os.close(reader)
                self.assertEnds(process, status=1)


class Privacy(DialogTest):
    """What the program that draws the window gets, and what stays with ssh."""

    def testProgramGetsTheRequestAlone(self):
        self.addDisplay()
        leaked = os.dup2(os.open(self.folder, os.O_RDONLY), 200)
        self.addCleanup(os.close, leaked)
        process = self.askInWindow("field", "secret-host", "secret-user", pass_fds=[leaked])
        program = self.windowProgram(process)
        for name in ("cmdline", "environ"):
            with open(f"/proc/{program}/{name}", "rb") as file:
                self.assertNotIn(b"secret", file.read(), name)
        links = self.descriptors(program)
        self.assertEqual({links[fd] for fd in (0, 1, 2)}, {"/dev/null"})
        request, answers = links.pop(3), links.pop(4)
        self.assertEqual((request[:5], answers[:5]), ("pipe:", "pipe:"))
        outside = {*map(self.descriptors(process.pid).get, range(3)), self.folder, request, answers}
        self.assertEqual(outside & set(links.values()), set())
        self.press("Return")
        self.assertEnds(process, b"[secret-user] remember\n")

    def testStreamsStayWithSsh(self):
        ssh = self.program("cat", 'echo "$@" >&2\nexec cat')
        words, command = (HOST, "svnserve", "-t"), {"SSH_ORIGINAL": ssh}
        told = f"-l alice alice@{' '.join(words)}\n".encode()
        with self.subTest("terminal"):
            terminal, slave = self.openTerminal()
            process = self.askOnTerminal(slave, *words, program=TOOL, change=command, script='"$@" <<END\nearly\nEND')
            readUntil(terminal, b"username: ")
            terminal.write(b"alice\n\n")
            self.assertEndsOnTerminal(process, b"early\n", told)
        with self.subTest("window"):
            self.addDisplay()
            process = self.start(*words, program=TOOL, change=command)
            process.stdin.write(b"early\n")
            self.waitForWindow(process)
            self.press(":alice", "Return")
            self.assertEnds(process, b"early\n", told)
