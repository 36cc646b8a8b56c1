"""The dialogs on a terminal: what they ask and take, and how they leave the terminal."""

import itertools
import os
import re
import signal
import termios
import tty

from dialog_surroundings import (
    ABSENT, ALERT, CANCELLED, FIELD, HOST, NO, NOT_CREATED, NOT_DISPLAYED, WAITING, YES, DialogTest, answered,
    childrenOf)
from surroundings import LIMIT, readUntil

QUESTION, REMEMBER = "SSH username: ", " [Y/n] "
BUTTONS = {"en": " [y/n] ", "de": "Ja / Nein [j/n] ", "es": " [s/n] "}


class Questions(DialogTest):
    def testField(self):
        for name, value, keys, expected in (
                ("a name, remembered", "", ("alice\n", "\n"), answered("[alice] remember")),
                ("forgotten", "", ("alice\n", "n\n"), answered("[alice] forget")),
                ("the value as it stood", "bob", ("\n", " YES \n"), answered("[bob] remember")),
                ("another one", "bob", ("alice\n", "No\n"), answered("[alice] forget")),
                ("nothing", "", ("\n", "\n"), answered("[] remember")),
                ("beyond ASCII", "", ("jürgen日本\n", "y\n"), answered("[jürgen日本] remember")),
                ("no control characters", "", ("a\x1bl\ti\x9bce\r\n", "y\n"), answered("[alice] remember")),
                ("corrected, in two pieces", "", ("alx\x7f\x04ice\n", "\n"), answered("[alice] remember")),
                ("asked until yes or no", "", ("alice\n", "maybe\n", "n\n"), answered("[alice] forget")),
                ("cancelled", "", ("\x04",), CANCELLED),
                ("cancelled at the check box", "", ("alice\n", "\x04"), CANCELLED)):
            with self.subTest(name):
                prompts = QUESTION + (f"[{value}] " if value else ""), REMEMBER, REMEMBER
                self.answerOnTerminal(("field", HOST, value), zip(prompts, keys), expected)

    def testAlert(self):
        for name, language, keys, expected in (
                ("yes", "en", ("y\n",), YES), ("no", "en", ("n\n",), NO),
                ("asked again", "en", ("\n", "maybe\n", "Y\n"), YES),
                ("cancelled", "en", ("\x04",), NO), ("cancelled after half a yes", "en", ("y\x04\x04",), NO),
                ("German yes", "de", ("J\n",), YES), ("English yes in German", "de", ("y\n",), YES),
                ("German word", "de", ("NEIN\n",), NO), ("German in English", "en", ("j\n", "n\n"), NO),
                ("Spanish letters composed otherwise", "es", ("si\u0301\n",), YES)):
            with self.subTest(name):
                self.answerOnTerminal(ALERT, zip(itertools.repeat(BUTTONS[language]), keys), expected,
                                      change={"AUTH_LANGUAGE": language})

    def testTextsCannotSteerTheTerminal(self):
        for name, host, shown, accepted in (
                ("escapes and a bell", b"a\x1b]0;x\x07b\x9b", "a?]0;x?b\ufffd", b"a]0;xb\x9b"),
                ("line ends", "a\r\nb\u2028c", "a??b?c", b"abc"),
                ("C1 and direction", "a\x9bb\u202ec", "a?b?c", "ab\u202ec".encode()),
                ("not UTF-8", b"caf\xe9\xff", "caf\ufffd\ufffd", b"caf\xe9\xff")):
            with self.subTest(name):
                output = self.answerOnTerminal(("field", host, host), (("] ", "\n"), (REMEMBER, "\n")),
                                               {"stdout": b"[" + accepted + b"] remember\n"})
                self.assertIn(f"'{shown}'", output)
                self.assertIn(f"[{shown}] ", output)
                self.assertIsNone(re.search("[^\r\n\x20-\x7e\ufffd]", output))

    def testTablesCannotBendAnAnswer(self):
        driver, change = self.copiedDriver(), {"AUTH_LANGUAGE": "xx"}
        usual, field = BUTTONS["en"], ("field", HOST, "")
        for name, texts, words, pairs, expected in (
                ("exchanged", {"terminal_yes_letter": "n", "terminal_no_letter": "y"}, ALERT,
                 ((usual, "n\n"),), NO),
                ("titles, too", {"button_yes": "No", "button_no": "Yes"}, ALERT, ((usual, "yes\n"),), YES),
                ("both the same", {"terminal_yes_letter": "x", "terminal_no_letter": "x"}, ALERT,
                 ((usual, "x\n"), (usual, "y\n")), YES),
                ("empty", {"terminal_yes_letter": "", "button_yes": " "}, ALERT,
                 ((usual, "\n"), (usual, "n\n")), NO),
                ("capitals", {"terminal_yes_letter": "J"}, ALERT, ((usual, "j\n"),), YES),
                ("steering hint", {"terminal_yes_no": "\\U001b[2J\\n"}, ALERT, (("No ?[2J  ", "y\n"),), YES),
                ("line breaks", {"gen_rsa_key_title": "one\\ntwo", "gen_rsa_key_mesg": "three\\r\\nfour\\U001b",
                                 "button_yes": "Oh\\nyes", "terminal_yes_no": "[y/n]"}, ALERT,
                 (("one\r\ntwo\r\nthree\r\nfour?\r\nOh yes / No [y/n] ", "oh yes\n"),), YES),
                ("at the check box", {"terminal_yes_no_default_yes": "\\U009b", "button_no": "Nein"}, field,
                 ((QUESTION, "alice\n"), (". ? ", "nein\n")), answered("[alice] forget")),
                ("without titles", {"field_ssh_username": "", "remember_ssh_username": ""}, FIELD,
                 ((" [bob] ", "alice\n"), (REMEMBER, "\n")), answered("[alice] remember"))):
            with self.subTest(name):
                self.writeTables(**texts)
                self.answerOnTerminal(words, pairs, expected, program=driver, change=change)
        with self.subTest("an error line is one line"):
            self.writeTables(error_create_dialog="a\\nqueltoSSH(E01): b\\U001b \\U200f\\U05d0")
            failed = self.start("field", HOST, "", program=driver, change=change)
            self.assertEnds(failed, stderr="queltoSSH(E02): a queltoSSH(E01): b \u200f\u05d0\n".encode(), status=255)

    def testTypedAheadIsNoAnswer(self):
        terminal, slave = self.openTerminal()
        terminal.write(b"typed ahead\n")
        readUntil(terminal, b"typed ahead\r\n")
        process = self.askOnTerminal(slave, "field", HOST, "")
        readUntil(terminal, QUESTION.encode())
        terminal.write(b"alice\n\n")
        self.assertEndsOnTerminal(process, b"[alice] remember\n")

    def testInTheBackgroundNothingIsAsked(self):
        for words, expected in (FIELD, NOT_CREATED), (ALERT, ABSENT):
            with self.subTest(words[0]):
                _, slave = self.openTerminal()
                process = self.askOnTerminal(slave, *words, script='set -m\n"$@" &\nwait $!')
                self.assertEndsOnTerminal(process, **expected)

    def testHangUpEndsIt(self):
        terminal, slave = self.openTerminal()
        process = self.askOnTerminal(slave, "field", HOST, "")
        readUntil(terminal, QUESTION.encode())
        terminal.close()
        # Its input has ended or failed, whichever it sees first; the signal goes to the leader of the session.
        stdout, stderr = process.communicate(timeout=LIMIT)
        self.assertEqual(stdout, b"status 255\n" + WAITING)
        self.assertIn(stderr, (NOT_DISPLAYED["stderr"], CANCELLED["stderr"]))


IUTF8 = 0o40000  # the module does not name it
# Of a terminal before the question: (index, what to set, what to clear).
MODES = {
    "as usual": ((tty.IFLAG, IUTF8, 0),),
    "bytes for letters": ((tty.IFLAG, 0, IUTF8),),
    "capitals lowered": ((tty.IFLAG, termios.IUCLC, 0),),
    "no echo": ((tty.LFLAG, 0, termios.ECHO),),
    "returns dropped": ((tty.IFLAG, termios.IGNCR, termios.ICRNL),),
    "eighth bits dropped": ((tty.IFLAG, termios.ISTRIP, 0),),
    "line ends turned": ((tty.IFLAG, termios.INLCR, 0), (tty.OFLAG, 0, termios.ONLCR))}
# The signals that end a process by default and can be handled; of the real-time ones the first and the last.
ENDING = set(signal.Signals) - {
    signal.SIGKILL, signal.SIGSTOP, signal.SIGCHLD, signal.SIGCONT, signal.SIGURG, signal.SIGWINCH, signal.SIGTSTP,
    signal.SIGTTIN, signal.SIGTTOU}


def prepare(slave, mode):
    if mode == "raw":
        tty.setraw(slave)
    modes = termios.tcgetattr(slave)
    for index, added, removed in MODES.get(mode, ()):
        modes[index] = (modes[index] | added) & ~removed
    if mode == "no keys":
        modes[tty.CC] = [b"\0"] * len(modes[tty.CC])
    termios.tcsetattr(slave, termios.TCSANOW, modes)
    return termios.tcgetattr(slave)


class Modes(DialogTest):
    """During a question the terminal takes lines and shows them; afterwards it is as before."""

    def testModesAreFoundAgain(self):
        def ended(number):
            # The shell that leads the session prints a message for most of them.
            isSilent = number in (signal.SIGINT, signal.SIGPIPE)
            return {"status": 128 + number, "stderr": b"" if isSilent else signal.strsignal(number).encode() + b"\n"}

        alice = answered("[alice] remember")
        for mode, end, expected in (
                ("as usual", "\x03", ended(signal.SIGINT)), ("raw", "alice\r\r", alice),
                ("raw", "\x04", CANCELLED), ("raw", "\x03", ended(signal.SIGINT)),
                ("as usual", "alice\n\n", alice), *(("raw", number, ended(number)) for number in ENDING),
                ("no echo", "alice\n\n", alice), ("no echo", "\x1c", ended(signal.SIGQUIT)),
                ("returns dropped", "alice\r\r", alice),
                ("eighth bits dropped", "jürgen\n\n", answered("[jürgen] remember")),
                ("line ends turned", "alice\n\n", alice), ("bytes for letters", "al\u00fc\x7fice\n\n", alice),
                ("capitals lowered", "Alice\n\n", answered("[Alice] remember")),
                ("no keys", "bob\x15alx\x7fice\n\n", alice), ("no keys", "\x04", CANCELLED),
                ("no keys", "\x03", ended(signal.SIGINT))):
            with self.subTest(mode, end=end):
                terminal, slave = self.openTerminal()
                found = prepare(slave, mode)
                process = self.askOnTerminal(slave, "field", HOST, "")
                shown = readUntil(terminal, QUESTION.encode())
                wanted = termios.ICANON | termios.ECHO | termios.ISIG
                self.assertEqual(termios.tcgetattr(slave)[tty.LFLAG] & wanted, wanted)
                self.assertNotRegex(shown, b"[^\r]\n", "a staircase")
                if isinstance(end, str):
                    terminal.write(end.encode())
                else:
                    [driver] = childrenOf(process.pid)
                    os.kill(driver, end)
                self.assertEndsOnTerminal(process, **expected,
                                          whenEnded=lambda: self.assertEqual(termios.tcgetattr(slave), found))

    def testModesAreFoundAgainFromTheBackground(self):
        terminal, slave = self.openTerminal()
        found = prepare(slave, "raw")
        # Ctrl-Z gives the terminal back to the shell, for which a stopped child has the status 148.
        script = 'set -m\n"$@"\nkill %1\nkill -CONT %1\nwhile wait %1; s=$?; [ $s = 148 ]; do :; done 2>&-; (exit $s)'
        process = self.askOnTerminal(slave, "field", HOST, "", script=script)
        readUntil(terminal, QUESTION.encode())
        terminal.write(b"\x1a")
        self.assertEndsOnTerminal(process, status=128 + signal.SIGTERM,
                                  whenEnded=lambda: self.assertEqual(termios.tcgetattr(slave), found))
