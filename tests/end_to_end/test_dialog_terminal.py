"""The dialogs on a terminal: what they ask and take, and how they leave the terminal."""

import os
import re
import signal
import termios
import tty

from dialog_surroundings import C01, DRIVER, E02, E03, HOST, WAITING, DialogTest, childrenOf
from surroundings import LIMIT, readUntil

QUESTION = b"SSH username: "
REMEMBER = b" [Y/n] "
BUTTONS = b" [y/n] "


class Questions(DialogTest):
    def answer(self, words, pairs, program=DRIVER, change=None, **expected):
        """Waits for each prompt and types the answer; returns what the terminal showed."""
        terminal, slave = self.openTerminal()
        process = self.askOnTerminal(slave, *words, program=program, change=change)
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
                ("no control characters", "", ((QUESTION, b"a\x1bl\ti\xc2\x9bce\r\n"), (REMEMBER, b"y\n")),
                 "[alice] remember"),
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
                ("cancelled after half a yes", mute, ((BUTTONS, b"y\x04\x04"),), no),
                ("German yes", {"AUTH_LANGUAGE": "de"}, ((b"Ja / Nein [j/n] ", b"J\n"),), yes),
                ("English yes in German", {"AUTH_LANGUAGE": "de"}, ((b" [j/n] ", b"y\n"),), yes),
                ("German words", {"AUTH_LANGUAGE": "de"}, ((b" [j/n] ", b"NEIN\n"),), no),
                ("Spanish letters composed otherwise", {"AUTH_LANGUAGE": "es"},
                 ((b" [s/n] ", "si\u0301\n".encode()),), yes),
                ("German letter in English", mute, ((BUTTONS, b"j\n"), (BUTTONS, b"n\n")), no)):
            with self.subTest(name):
                self.answer(("alert",), pairs, change=change, stdout=answer)

    def testTextsCannotSteerTheTerminal(self):
        for name, host, shown, accepted in (
                ("escapes and a bell", b"a\x1b]0;x\x07b\x9b", "a?]0;x?b\ufffd", b"a]0;xb\x9b"),
                ("line ends", "a\r\nb\u2028c", "a??b?c", b"abc"),
                ("C1 and direction", "a\x9bb\u202ec", "a?b?c", "ab\u202ec".encode()),
                ("not UTF-8", b"caf\xe9\xff", "caf\ufffd\ufffd", b"caf\xe9\xff")):
            with self.subTest(name):
                output = self.answer(("field", host, host), ((b"] ", b"\n"), (REMEMBER, b"\n")),
                                     stdout=b"[" + accepted + b"] remember\n")
                self.assertIn(f"'{shown}'".encode(), output)
                self.assertIn(f"[{shown}] ".encode(), output)
                self.assertIsNone(re.search("[^\r\n\x20-\x7e\ufffd]", output.decode()))

    def testTablesCannotBendAnAnswer(self):
        driver, yes, no = self.copiedDriver(), b"true\n", b"false\n"
        for name, words, pairs, answer in (
                ("exchanged", {"terminal_yes_letter": "n", "terminal_no_letter": "y"}, ((BUTTONS, b"n\n"),), no),
                ("titles exchanged", {"button_yes": "No", "button_no": "Yes"}, ((BUTTONS, b"yes\n"),), yes),
                ("both the same", {"terminal_yes_letter": "x", "terminal_no_letter": "x"},
                 ((BUTTONS, b"x\n"), (BUTTONS, b"y\n")), yes),
                ("empty", {"terminal_yes_letter": "", "button_yes": " "}, ((BUTTONS, b"\n"), (BUTTONS, b"n\n")), no),
                ("capitals", {"terminal_yes_letter": "J"}, ((BUTTONS, b"j\n"),), yes),
                ("a hint that steers", {"terminal_yes_no": "\\U001b[2J\\n"}, ((b"No ?[2J  ", b"y\n"),), yes),
                ("line breaks", {"gen_rsa_key_title": "one\\ntwo", "gen_rsa_key_mesg": "three\\r\\nfour\\U001b",
                                 "button_yes": "Oh\\nyes", "terminal_yes_no": "[y/n]"},
                 ((b"one\r\ntwo\r\nthree\r\nfour?\r\nOh yes / No [y/n] ", b"oh yes\n"),), yes)):
            with self.subTest(name):
                self.writeTable("Localizable", **words)
                self.answer(("alert",), pairs, program=driver, change={"AUTH_LANGUAGE": "xx"}, stdout=answer)
        with self.subTest("behind the check box"):
            self.writeTable("Localizable", terminal_yes_no_default_yes="\\U009b", button_no="Nein")
            self.answer(("field", HOST, ""), ((QUESTION, b"alice\n"), (b". ? ", b"nein\n")), program=driver,
                        change={"AUTH_LANGUAGE": "xx"}, stdout=b"[alice] forget\n")
        with self.subTest("without titles"):
            self.writeTable("vantorSuiteSSH", field_ssh_username="", remember_ssh_username="")
            self.answer(("field", HOST, "bob"), ((b" [bob] ", b"alice\n"), (b" ? ", b"\n")), program=driver,
                        change={"AUTH_LANGUAGE": "xx"}, stdout=b"[alice] remember\n")
        with self.subTest("an error line is one line"):
            self.writeTable("vantorSuiteSSH", error_create_dialog="a\\nqueltoSSH(E01): b\\U001b \\U200f\\U05d0")
            failed = self.start("field", HOST, "", program=driver, change={"AUTH_LANGUAGE": "xx"})
            self.assertEnds(failed, stderr="queltoSSH(E02): a queltoSSH(E01): b \u200f\u05d0\n".encode(), status=255)

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


def change(*changes):
    """Prepares a terminal: (index of the modes, what to set, what to clear), or all keys switched off."""
    def prepare(slave):
        modes = termios.tcgetattr(slave)
        for index, added, removed in changes:
            modes[index] = (modes[index] | added) & ~removed
        if not changes:
            modes[tty.CC] = [b"\0"] * len(modes[tty.CC])
        termios.tcsetattr(slave, termios.TCSANOW, modes)
    return prepare


IUTF8 = 0o40000  # the module does not name it
# Asks for no change at all.
asUsual = change((tty.IFLAG, IUTF8, 0))
countBytes = change((tty.IFLAG, 0, IUTF8))
lowerCapitals = change((tty.IFLAG, termios.IUCLC, 0))
hideKeys = change((tty.LFLAG, 0, termios.ECHO))
dropReturns = change((tty.IFLAG, termios.IGNCR, termios.ICRNL))
dropEighthBits = change((tty.IFLAG, termios.ISTRIP, 0))
turnLineEnds = change((tty.IFLAG, termios.INLCR, 0), (tty.OFLAG, 0, termios.ONLCR))
takeKeysAway = change()
# The signals that end a process by default and can be handled; of the real-time ones the first and the last.
ENDING = set(signal.Signals) - {
    signal.SIGKILL, signal.SIGSTOP, signal.SIGCHLD, signal.SIGCONT, signal.SIGURG, signal.SIGWINCH, signal.SIGTSTP,
    signal.SIGTTIN, signal.SIGTTOU}


class Modes(DialogTest):
    """During a question the terminal takes lines and shows them; afterwards it is as before."""

    def testModesAreFoundAgain(self):
        def press(keys):
            return lambda terminal, _: terminal.write(keys)

        def send(number):
            def toTheDriver(_, process):
                [driver] = childrenOf(process.pid)
                os.kill(driver, number)
            return toTheDriver

        def ended(number):
            # The shell that leads the session prints a message for most of them.
            isSilent = number in (signal.SIGINT, signal.SIGPIPE)
            return {"status": 128 + number, "stderr": b"" if isSilent else signal.strsignal(number).encode() + b"\n"}

        answered, cancelled = {"stdout": b"[alice] remember\n"}, {"status": 255, "stderr": C01}
        for name, prepare, end, expected in (
                ("as usual, answered", asUsual, press(b"alice\n\n"), answered),
                ("as usual, Ctrl-C", asUsual, press(b"\x03"), ended(signal.SIGINT)),
                ("raw, answered", tty.setraw, press(b"alice\r\r"), answered),
                ("raw, cancelled", tty.setraw, press(b"\x04"), cancelled),
                ("raw, Ctrl-C", tty.setraw, press(b"\x03"), ended(signal.SIGINT)),
                *((f"raw, {number.name}", tty.setraw, send(number), ended(number)) for number in ENDING),
                ("no echo, answered", hideKeys, press(b"alice\n\n"), answered),
                ("no echo, SIGQUIT", hideKeys, press(b"\x1c"), ended(signal.SIGQUIT)),
                ("returns dropped, answered", dropReturns, press(b"alice\r\r"), answered),
                ("eighth bits dropped, answered", dropEighthBits, press("jürgen\n\n".encode()),
                 {"stdout": "[jürgen] remember\n".encode()}),
                ("line ends turned, answered", turnLineEnds, press(b"alice\n\n"), answered),
                ("bytes for letters, corrected", countBytes, press("al\u00fc\x7fice\n\n".encode()), answered),
                ("capitals lowered, answered", lowerCapitals, press(b"Alice\n\n"),
                 {"stdout": b"[Alice] remember\n"}),
                ("no keys, corrected", takeKeysAway, press(b"bob\x15alx\x7fice\n\n"), answered),
                ("no keys, cancelled", takeKeysAway, press(b"\x04"), cancelled),
                ("no keys, Ctrl-C", takeKeysAway, press(b"\x03"), ended(signal.SIGINT))):
            with self.subTest(name):
                terminal, slave = self.openTerminal()
                prepare(slave)
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

    def testModesAreFoundAgainFromTheBackground(self):
        terminal, slave = self.openTerminal()
        tty.setraw(slave)
        found = termios.tcgetattr(slave)
        # Ctrl-Z gives the terminal back to the shell, for which a stopped child has the status 148.
        script = 'set -m\n"$@"\nkill %1\nkill -CONT %1\nwhile wait %1; s=$?; [ $s = 148 ]; do :; done 2>&-; (exit $s)'
        process = self.askOnTerminal(slave, "field", HOST, "", script=script)
        readUntil(terminal, QUESTION)
        terminal.write(b"\x1a")
        self.assertEndsOnTerminal(process, status=128 + signal.SIGTERM,
                                  whenEnded=lambda: self.assertEqual(termios.tcgetattr(slave), found))
