"""The dialogs in a window: with real keys, as assistive technology sees them, and what happens without one."""

import contextlib
import os
import plistlib
import re
import shutil
import signal
import tempfile

import gi

from dialog_surroundings import (
    ABSENT, ALERT, CANCELLED, CONTENTS, DRIVER, FIELD, HOST, NO, NOT_CREATED, NOT_DISPLAYED, YES, DialogTest,
    answered, childrenOf, endService, hasEnded, reapOthersThan, startService, waitUntil)
from surroundings import LIMIT, TOOL

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402 (its version comes first)

# Draws nothing itself: by what is on the screen the tests know whether the dialog is drawn.
WINDOW_MANAGER = """<openbox_config xmlns="http://openbox.org/3.4/rc">
<theme><keepBorder>no</keepBorder></theme>
<keyboard><keybind key="A-F4"><action name="Close"/></keybind></keyboard>
<applications><application class="*"><decor>no</decor></application></applications>
</openbox_config>"""


class Keys(DialogTest):
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

    def testField(self):
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
                self.answerInWindow(("field", HOST, value), keys, answered(answer))

    def testCancelAndAlert(self):
        self.addDisplay()
        for words, keys, expected in (
                (FIELD, ("Tab", "Tab", "space"), CANCELLED), (FIELD, ("Tab", "Tab", "Return"), CANCELLED),
                (FIELD, (":alice", "Escape"), CANCELLED), (FIELD, ("Tab", "Escape"), CANCELLED),
                (ALERT, ("Return",), YES), (ALERT, ("Tab", "Return"), NO), (ALERT, ("Escape",), NO),
                (ALERT, ("Tab", "Tab", "space"), YES), (ALERT, ("Tab", "Escape"), NO)):
            with self.subTest(words, keys=keys):
                self.answerInWindow(words, keys, expected)

    def testLongTextsFitOnTheScreen(self):
        self.addDisplay()
        driver, long, huge = self.copiedDriver(), "h" * 300, "x" * 65534  # the most that a field takes
        keys = ("field_ssh_username", "remember_ssh_username", "button_ok", "button_cancel")
        # More than a request may hold: a text with one such letter takes twice the space there.
        self.writeTables(**{key: key + "é" + huge * 50 for key in keys}, title_ssh_username=huge,
                         message_ssh_username="%1$@" * 1000)
        for name, host, value, language in (("long", long, long, "en"), ("huge", huge, huge, "en"),
                                            ("words", "word " * 13000, "", "de"), ("texts", huge, huge, "xx")):
            with self.subTest(name):
                process = self.askInWindow("field", host, value, program=driver, change={"AUTH_LANGUAGE": language})
                self.assertFits()
                self.press("Return")
                self.assertEnds(process, **answered(f"[{value}] remember"))

    def testWindowFitsItsTextsAndShowsItsKind(self):
        self.addDisplay()
        for font, language in ((11, "de"), (11, "es"), (11, "ru"), (22, "ru")):
            self.write("home/.config/gtk-4.0/settings.ini", f"[Settings]\ngtk-font-name=Sans {font}\n")
            for words, isBlue in (FIELD, True), (ALERT, False), (("alert", "new_rsa_key"), False):
                with self.subTest(words, font=font, language=language):
                    process = self.askInWindow(*words, change={"AUTH_LANGUAGE": language})
                    self.assertFits()
                    picture = self.pixels(24, 24, 64, 64)
                    self.assertEqual(sum(picture[0::4]) > sum(picture[2::4]), isBlue)
                    self.press("Escape")
                    process.wait(LIMIT)

    def testKeysBeforeTheWindowStands(self):
        # Enter comes all the time, with pauses that let the window draw. Whichever of them counts, the question was shown.
        self.addDisplay()
        self.startBeside("xdotool", "key", "--delay", "1", "--repeat", "1000000", "Return")
        for attempt in range(5):
            with self.subTest(attempt=attempt):
                self.assertEnds(self.start("alert", program=DRIVER), **YES)

    def testWindowManagerCloses(self):
        self.addDisplay()
        self.write("home/.config/openbox/rc.xml", WINDOW_MANAGER)
        self.startBeside("openbox")
        waitUntil(lambda: self.xdotool("get_desktop").returncode == 0)
        for words, expected in (FIELD, CANCELLED), (ALERT, NO):
            with self.subTest(words[0]):
                self.answerInWindow(words, ["alt+F4"], expected, focus="getactivewindow")


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

    def relations(self, part):
        return [(one.get_relation_type(), one.get_target(0).get_name()) for one in part.get_relation_set()]

    def assertIsDescribed(self, parts, first):
        """The window is named, labelled and described by its texts, and so is the part that has the keys."""
        window = first
        while window.get_role_name() != "dialog":
            window = window.get_parent()
        described = Atspi.RelationType.DESCRIBED_BY, parts[1][1]
        self.assertEqual(window.get_name(), "queltoSSH " + parts[0][1])
        self.assertEqual(self.relations(window), [(Atspi.RelationType.LABELLED_BY, parts[0][1]), described])
        self.assertIn(described, self.relations(first))
        self.assertTrue(first.get_state_set().contains(Atspi.StateType.FOCUSED))

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
        self.assertEnds(process, **answered("[jürgen日本] remember"))

    def testLanguages(self):
        for language, folder in ("", "en"), ("de", "de"), ("ja", "ja"):
            with self.subTest(language):
                with open(f"{CONTENTS}/Resources/{folder}.lproj/vantorSuiteSSH.strings", encoding="utf-8") as file:
                    text = dict(re.findall(r'^"(\w+)" = "(.*)";$', file.read(), re.MULTILINE))
                process = self.askInWindow(*FIELD, change={"AUTH_LANGUAGE": language})
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
                self.assertIsDescribed(parts, field)
                self.press("Escape")
                self.assertEnds(process, status=255,
                                stderr=f"queltoSSH(C01): {text['error_canceled']}\n".encode())
        with self.subTest("alert"):
            parts = self.look(self.askInWindow(*ALERT))
            self.assertIsDescribed(parts, parts[-1][2])

    def testTextsAreShownAsTheyAre(self):
        driver = self.copiedDriver()
        usual = {"field_ssh_username": "name", "remember_ssh_username": "box", "button_cancel": "no",
                 "button_ok": "yes", "title_ssh_username": "title", "message_ssh_username": "%@"}
        empty = {**usual, "field_ssh_username": "", "remember_ssh_username": ""}
        broken = {**dict.fromkeys(usual, "one\\ntwo"), "message_ssh_username": "one\\n%@"}
        around = ("title", "name", "name", "box", "no", "yes")
        for name, texts, host, message, others in (
                ("no titles", empty, HOST, HOST, ("title", HOST, HOST, "no", "yes")),
                ("line breaks", broken, "a\nb", "one\na?b", ("one\ntwo", *["one two"] * 5)),
                ("markup", usual, "<b>&amp;</b>", "<b>&amp;</b>", around),
                ("broken", usual, "<b>&", "<b>&", around), ("underscores", usual, "_a__b", "_a__b", around),
                ("line ends and direction", usual, "a\r\nb\u2028c\u202ed\u200f", "a??b?c?d?", around),
                ("not UTF-8", usual, b"caf\xe9.\xff", "caf\ufffd.\ufffd", around)):
            with self.subTest(name):
                self.writeTables(**texts)
                process = self.askInWindow("field", host, "", program=driver, change={"AUTH_LANGUAGE": "xx"})
                parts = self.look(process)
                self.assertEqual([part[1] for part in parts], [others[0], message, *others[1:]])
                if texts == empty:
                    self.press(":alice", "Tab", "space")
                else:
                    # Set from outside, a text is one line.
                    Atspi.EditableText.set_text_contents(parts[-4][2], "al\nic\t\u2028\x1be\r\n")
                Atspi.Action.do_action(parts[-1][2], 0)
                self.assertEnds(process, **answered(f"[alice] {'forget' if texts == empty else 'remember'}"))


class Loss(DialogTest):
    def testWindowIsLost(self):
        for words, lose, expected in (
                (FIELD, lambda process, program: process.kill(), {"status": -signal.SIGKILL}),
                (FIELD, lambda process, program: process.terminate(), {"status": -signal.SIGTERM}),
                (FIELD, lambda process, program: os.kill(program, signal.SIGKILL), NOT_DISPLAYED),
                (ALERT, lambda process, program: os.kill(program, signal.SIGKILL), NO),
                (FIELD, lambda process, program: server.terminate(), NOT_DISPLAYED),
                (ALERT, lambda process, program: server.terminate(), NO)):
            with self.subTest(words, expected=expected):
                server = self.addDisplay()
                process = self.askInWindow(*words)
                program = self.windowProgram(process)
                lose(process, program)
                self.assertEnds(process, **expected)
                self.assertTrue(hasEnded(program))

    def testHungDisplayIsGivenUp(self):
        self.addDisplay().send_signal(signal.SIGSTOP)
        process = self.start(*FIELD, program=DRIVER)
        program = self.windowProgram(process)
        self.assertEnds(process, **NOT_CREATED, limit=30)
        self.assertTrue(hasEnded(program))
        process = self.start(*FIELD, program=DRIVER)
        program = self.windowProgram(process)
        waitUntil(lambda: any(link.startswith("socket:") for link in self.descriptors(program).values()))
        process.kill()
        self.assertTrue(hasEnded(program), "the program stays when the tool is gone")


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
                for words, expected in (FIELD, NOT_CREATED), (ALERT, ABSENT):
                    self.assertEnds(self.start(*words, program=program, change=change), **expected, limit=8)
                self.answerOnTerminal(FIELD, (("[bob] ", "alice\nn\n"),), answered("[alice] forget"),
                                      program=program, change=change)

    def testNothingIsShownForWhatIsNoRequest(self):
        self.addDisplay()
        payloads = b"", b"queltoSSH", *(plistlib.dumps(one, fmt=plistlib.FMT_BINARY) for one in ({}, ["a"]))
        for request in (b"\xff" * 4, *(len(one).to_bytes(4, "little") + one for one in payloads)):
            with self.subTest(request):
                process = self.start("-c", 'exec "$0" 3<&0 4>&1', CONTENTS + "/Resources/quelto-dialog",
                                     program="/bin/bash")
                process.stdin.write(request)
                process.wait(LIMIT)
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
        self.assertEnds(process, **answered("[secret-user] remember"))

    def testStreamsStayWithSsh(self):
        ssh = self.program("cat", 'echo "$@" >&2\nexec cat')
        self.addDisplay()
        process = self.start(HOST, "svnserve", "-t", program=TOOL, change={"SSH_ORIGINAL": ssh})
        process.stdin.write(b"early\n")
        self.waitForWindow(process)
        self.press(":alice", "Return")
        self.assertEnds(process, b"early\n", f"-l alice alice@{HOST} svnserve -t\n".encode())
