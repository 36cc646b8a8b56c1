"""The string tables and icons of the bundle: complete, well-formed, and translated without loss."""

import os
import pathlib
import re
import struct
import unittest

BUNDLE = pathlib.Path(__file__).parents[2] / "bundle"
RESOURCES = pathlib.Path(os.environ["QUELTO_RESOURCES"])
LANGUAGES = {"en", "de", "fr", "es", "it", "pt-BR", "ja", "zh-Hans", "ru"}
# The keys that programs ask for, some of them outside this tree.
KEYS = {
    "vantorSuiteSSH": {
        "error_invalid_environment", "error_create_dialog", "error_display_dialog", "error_run_ssh", "error_canceled",
        "title_ssh_username", "message_ssh_username", "field_ssh_username", "remember_ssh_username", "button_ok",
        "button_cancel", "keychain_ssh_account", "keychain_access_name"},
    "consts": {"app_title", "ssh_name"},
    "Localizable": {
        "keychain_item_prefix", "gen_rsa_key_title", "gen_rsa_key_mesg", "new_rsa_key_title", "new_rsa_key_mesg",
        "button_yes", "button_no", "rsa_key_label", "keychain_access_name", "terminal_yes_no_default_yes",
        "terminal_yes_no", "terminal_yes_letter", "terminal_no_letter"}}
SOURCES = "".join(path.read_text() for path in BUNDLE.parent.glob("src/*/*.[ch]*"))
# The table of the tool's own dialogs and errors.
OWN = re.search(r'std::string localizedTable = "(\w+)"', SOURCES)[1]
# How the sources write a key and its default, and the table that they ask; None when they write that as well, or mean
# the default one.
DEFAULTS = (
    (r'\.(\w+)Id = "(?P<key>\w+)",\s*\.\1Default =\s*"(?P<text>[^"]*)"'
     r'(?=[^;]*?\.\w*[tT]able = (?:std::string\()?(?P<table>[\w.:"]+)|)', None),
    (r'textWithPrefix\("(?P<key>\w+)", "(?P<text>[^"]*)"\)', "Localizable"),
    (r'\btext\("(?P<key>\w+)", "(?P<text>[^"]*)", \{', OWN),
    (r'constexpr FatalError \w+\{"\w+", "(?P<key>\w+)", "(?P<text>[^"]*)"\}', OWN),
    (r'localizedString\("(?P<key>\w+)", (?P<table>"\w*"|[\w.:]+), "(?P<text>[^"]*)"\)', None),
    (r'word\("(?P<key>\w+)", "(?P<text>[^"]*)"\)', "Localizable"))
# Other names of tables in the sources.
TABLE_NAMES = {"": "Localizable", "ui::defaultGlobalLocalizedTable": "Localizable", "program.localizedTable": OWN}
# The most characters that the window shows of a title, by the beginning of its key; it cuts longer ones.
WINDOW = (BUNDLE.parent / "programs/dialog/dialog_window.cc").read_text()
LIMITS = {beginning: int(re.search(rf"constexpr std::size_t {name} = (\d+);", WINDOW)[1]) for beginning, name in (
    ("button", "longestTitle"), ("field", "longestTitle"), ("remember", "longestCheckBoxTitle"))}
BLANKS = re.compile(r"^\s*|\s*$")
TEXT = r'"((?:[^"\\]|\\["\\n])*)"'
ENTRY = re.compile(rf"\s+|/\*.*?\*/|{TEXT}\s*=\s*{TEXT}\s*;", re.DOTALL)
ICONS = {"prompt.png": 64, "prompt@2x.png": 128, "warning.png": 64, "warning@2x.png": 128}


def parse(path):
    text = path.read_bytes().decode()
    entries = [entry for entry in ENTRY.findall(text) if entry != ("", "")]
    if ENTRY.sub("", text) or len(dict(entries)) < len(entries):
        raise ValueError(f"{path}: {ENTRY.sub('', text) or 'a key given twice'}")
    return dict(entries)


def placeholders(value):
    """Sorted, the plain ones numbered by their order; None for a text that mixes both kinds."""
    found = re.findall(r"%(?:\d+\$)?.?", value, re.DOTALL)
    if "%@" in found and any("$" in one for one in found):
        return None
    plain = iter(range(1, len(found) + 1))
    return sorted(f"%{next(plain)}$@" if one == "%@" else one for one in found)


class Bundle(unittest.TestCase):
    def testTables(self):
        folders = {path.stem: path for path in BUNDLE.glob("*.lproj")}
        self.assertLessEqual(LANGUAGES, folders.keys())
        for language, folder in folders.items():
            self.assertEqual({path.stem for path in folder.glob("*.strings")}, KEYS.keys(), language)
            for table, keys in KEYS.items():
                with self.subTest(f"{language} {table}"):
                    path = folder / f"{table}.strings"
                    entries, english = parse(path), parse(folders["en"] / path.name)
                    self.assertTrue(path.read_bytes().endswith(b"\n"), "no line end at the end")
                    self.assertEqual(entries.keys(), keys)
                    for key, value in entries.items():
                        self.assertNotIn(value.strip(), ("", key))
                        self.assertIsNotNone(placeholders(value), key)
                        self.assertEqual(placeholders(value), placeholders(english[key]), key)
                        self.assertEqual(BLANKS.findall(value), BLANKS.findall(english[key]), key)
                        self.assertLessEqual(len(value), LIMITS.get(key.split("_")[0], len(value)), key)
                    if "terminal_yes_letter" in entries:
                        yes, no = entries["terminal_yes_letter"], entries["terminal_no_letter"]
                        hints = entries["terminal_yes_no_default_yes"], entries["terminal_yes_no"]
                        self.assertEqual(hints, (f"[{yes.upper()}/{no}]", f"[{yes}/{no}]"))

    def testDefaultsAreTheEnglishTexts(self):
        english = {table: parse(BUNDLE / "en.lproj" / f"{table}.strings") for table in KEYS}
        for pattern, table in DEFAULTS:
            found = {}
            for match in re.finditer(pattern, SOURCES):
                name = table or (match["table"] or "").strip('"')
                found[TABLE_NAMES.get(name, name), match["key"]] = match["text"]
            self.assertGreater(len(found), 1, pattern)
            self.assertEqual(found, {(table, key): english[table].get(key) for table, key in found})

    def testIcons(self):
        for name, size in ICONS.items():
            with self.subTest(name):
                header = (BUNDLE / "icons" / name).read_bytes()[:24]
                self.assertEqual((header[:8], header[12:16]), (b"\x89PNG\r\n\x1a\n", b"IHDR"))
                self.assertEqual(struct.unpack(">II", header[16:]), (size, size))

    def testBuildHoldsThem(self):
        for path in [*BUNDLE.glob("*.lproj/*.strings"), *BUNDLE.glob("icons/*.png")]:
            built = RESOURCES / (path.name if path.suffix == ".png" else path.relative_to(BUNDLE))
            self.assertEqual(built.read_bytes(), path.read_bytes(), built)


unittest.main()
