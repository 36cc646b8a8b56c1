"""The dialogs on a terminal: what they ask and take, and how they leave the terminal."""

import os
import re
import signal
import termios
import tty

from dialog_surroundings import C01, E02, E03, HOST, WAITING, DialogTest, childrenOf
from surroundings import LIMIT, readUntil

QUESTION = b"SSH username: "
REMEMBER = b" [Y/n] "
BUTTONS = b" [y/n] "


class Questions(DialogTest):
    def answer(self, words, pairs, change=None, **expected):
        """Waits for each prompt and types behind it; returns what the terminal showed."""
        terminal, slave = self.openTerminal()
        process = self.askOnTerminal(slave, *words, change=change)
        shown = b""
        for prompt, keys in pairs:
            shown += readUntil(terminal, prompt)
            terminal.write(keys)
        self.assertEndsOnTerminal(process, **expected)
        return shown

    def testField(self):
        for name, value, pairs, answer in (
                ("a name, remembered", "", ((QUESTION, b"alice\n"), (REMEMBER, b"\n")), "[alice] remember"),
                ("forgotten", "", ((QUESTION, b"alice\n"), (REMEMBER, b"n\n")), "[alice] forget"),
                ("the value as it stood", "bob", ((QUESTION + b"[bob] ", b"\n"), (REMEMBER, b" YES \n")),
                 "[bob] remember"),
                ("another one", "bob", ((QUESTION + b"[bob] ", b"alice\n"), (REMEMBER, b"No\n")), "[alice] forget"),
                ("nothing", "", ((QUESTION, b"\n"), (REMEMBER, b"\n")), "[] remember"),
                ("letters beyond ASCII", "", ((QUESTION, "jürgen日本\n".encode()), (REMEMBER, b"y\n")),
                 "[jürgen日本] remember"),
                ("corrected, in two pieces", "", ((QUESTION, b"alx\x7f\x04ice\n"), (REMEMBER, b"\n")),
                 "[alice] remember"),
                ("asked until it is yes or no", "",
                 ((QUESTION, b"alice\n"), (REMEMBER, b"maybe\n"), (REMEMBER, b"n\n")), "[alice] forget")):
            with self.subTest(name):
                self.answer(("field", HOST, value), pairs, stdout=answer.encode() + b"\n")

    def testFieldIsCancelled(self):
        for name, pairs in (("at the field", ((QUESTION, b"\x04"),)),
                            ("at the check box", ((QUESTION, b"alice\n"), (REMEMBER, b"\x04")))):
            with self.subTest(name):
                self.answer(("field", HOST, ""), pairs, status=255, stderr=C01)

    def testAlert(self):
        yes, no, mute = b"true\n", b"false\n", {}
        for name, change, pairs, answer in (
                ("yes", mute, ((BUTTONS, b"y\n"),), yes), ("no", mute, ((BUTTONS, b"n\n"),), no),
                ("asked again", mute, ((BUTTONS, b"\n"), (BUTTONS, b"maybe\n"), (BUTTONS, b"Y\n")), yes),
                ("cancelled", mute, ((BUTTONS, b"\x04"),), no),
                ("German yes", {"AUTH_LANGUAGE": "de"}, ((b"Ja / Nein [j/n] ", b"J\n"),), yes),
                ("English yes in German", {"AUTH_LANGUAGE": "de"}, ((b" [j/n] ", b"y\n"),), yes),
                ("German letter in English", mute, ((BUTTONS, b"j\n"), (BUTTONS, b"n\n")), no)):
            with self.subTest(name):
                self.answer(("alert",), pairs, change=change, stdout=answer)

    def testTextsCannotSteerTheTerminal(self):
        for name, host, shown in (
                ("escapes and a bell", b"a\x1b]0;x\x07b\x9b", "a?]0;x?b\ufffd"),
                ("line ends", "a\r\nb\u2028c", "a??b?c"),
                ("C1 and direction", "a\x9bb\u202ec", "a?b?c"), ("not UTF-8", b"caf\xe9\xff", "caf\ufffd\ufffd")):
            with self.subTest(name):
                output = self.answer(("field", host, host), ((b"] ", b"\n"), (REMEMBER, b"\n")),
                                     stdout=b"[" + os.fsencode(host) + b"] remember\n")
                self.assertIn(f"'{shown}'".encode(), output)
                self.assertIn(f"[{shown}] ".encode(), output)
                self.assertIsNone(re.search("[^\r\n\x20-\x7e\ufffd]", output.decode()))

    def testTypedAheadIsNoAnswer(self):
        terminal, slave = self.openTerminal()
        terminal.write(b"typed ahead\n")
        readUntil(terminal, b"typed ahead\r\n")
        process = self.askOnTerminal(slave, "field", HOST, "")
        readUntil(terminal, QUESTION)
        terminal.write(b"alice\n\n")
        self.assertEndsOnTerminal(process, b"[alice] remember\n")

    def testInTheBackgroundNothingIsAsked(self):
        for words, expected in ((("field", HOST, "bob"), {"status": 255, "stderr": E02}),
                                (("alert",), {"stdout": b"absent\n"})):
            with self.subTest(words[0]):
                _, slave = self.openTerminal()
                process = self.askOnTerminal(slave, *words, script='set -m\n"$@" &\nwait $!')
                self.assertEndsOnTerminal(process, **expected)

    def testHangUpEndsIt(self):
        terminal, slave = self.openTerminal()
        process = self.askOnTerminal(slave, "field", HOST, "")
        readUntil(terminal, QUESTION)
        terminal.close()
        # Its input has ended or failed, whichever it sees first; the signal goes to the leader of the session.
        stdout, stderr = process.communicate(timeout=LIMIT)
        self.assertEqual(stdout, b"status 255\n" + WAITING)
        self.assertIn(stderr, (E03, C01))


def makeRaw(slave):
    tty.setraw(slave)


def hideKeys(slave):
    modes = termios.tcgetattr(slave)
    modes[tty.LFLAG] &= ~termios.ECHO
    termios.tcsetattr(slave, termios.TCSANOW, modes)


class Modes(DialogTest):
    """The terminal takes lines and shows them while a question stands, and is then as it was found."""

    def testModesAreFoundAgain(self):
        def press(keys):
            return lambda terminal, _: terminal.write(keys)

        def send(number):
            def toTheDriver(_, process):
                [driver] = childrenOf(process.pid)
                os.kill(driver, number)
            return toTheDriver

        def ended(number, told=b""):
            # The shell that leads the session has a word for some of them.
            return {"status": 128 + number, "stderr": told}

        answered, cancelled = {"stdout": b"[alice] remember\n"}, {"status": 255, "stderr": C01}
        for name, find, end, expected in (
                ("as usual, answered", lambda slave: None, press(b"alice\n\n"), answered),
                ("as usual, Ctrl-C", lambda slave: None, press(b"\x03"), ended(signal.SIGINT)),
                ("raw, answered", makeRaw, press(b"alice\r\r"), answered),
                ("raw, cancelled", makeRaw, press(b"\x04"), cancelled),
                ("raw, Ctrl-C", makeRaw, press(b"\x03"), ended(signal.SIGINT)),
                ("raw, SIGTERM", makeRaw, send(signal.SIGTERM), ended(signal.SIGTERM, b"Terminated\n")),
                ("raw, SIGHUP", makeRaw, send(signal.SIGHUP), ended(signal.SIGHUP, b"Hangup\n")),
                ("no echo, answered", hideKeys, press(b"alice\n\n"), answered),
                ("no echo, SIGQUIT", hideKeys, press(b"\x1c"), ended(signal.SIGQUIT, b"Quit\n"))):
            with self.subTest(name):
                terminal, slave = self.openTerminal()
                find(slave)
                found = termios.tcgetattr(slave)
                process = self.askOnTerminal(slave, "field", HOST, "")
                shown = readUntil(terminal, QUESTION)
                flags = termios.tcgetattr(slave)[tty.LFLAG]
                wanted = termios.ICANON | termios.ECHO | termios.ISIG
                self.assertEqual(flags & wanted, wanted)
                self.assertNotRegex(shown, b"[^\r]\n", "a staircase")
                end(terminal, process)
                self.assertEndsOnTerminal(process, **expected,
                                          whenEnded=lambda: self.assertEqual(termios.tcgetattr(slave), found))
