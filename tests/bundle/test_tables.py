"""The string tables and icons of the bundle: complete, well-formed, and translated without loss."""

import os
import pathlib
import re
import struct
import unittest

BUNDLE = pathlib.Path(__file__).parents[2] / "bundle"
RESOURCES = pathlib.Path(os.environ["QUELTO_RESOURCES"])
LANGUAGES = {"en", "de", "fr", "es", "it", "pt-BR", "ja", "zh-Hans", "ru"}
TABLES = {"vantorSuiteSSH", "consts", "Localizable"}
TEXT = r'"((?:[^"\\]|\\["\\n])*)"'
TOKEN = re.compile(rf"\s+|/\*.*?\*/|{TEXT}\s*=\s*{TEXT}\s*;", re.DOTALL)
ICONS = {"prompt.png": 64, "prompt@2x.png": 128, "warning.png": 64, "warning@2x.png": 128}


def parse(path):
    text, entries, at = path.read_bytes().decode(), {}, 0
    while at < len(text):
        token = TOKEN.match(text, at)
        if not token or token[1] in entries:
            raise ValueError(f"{path}, character {at}: {'key stands twice' if token else 'not an entry'}")
        if token[1] is not None:
            entries[token[1]] = token[2]
        at = token.end()
    return entries


def placeholders(value):
    """Sorted, the plain ones numbered by their order; None for both kinds in one text, which mean nothing together."""
    found = re.findall(r"%(?:\d+\$)?.?", value, re.DOTALL)
    if "%@" in found and any("$" in one for one in found):
        return None
    plain = iter(range(1, len(found) + 1))
    return sorted(f"%{next(plain)}$@" if one == "%@" else one for one in found)


def blanks(value):
    return value[: len(value) - len(value.lstrip())], value[len(value.rstrip()) :]


class Bundle(unittest.TestCase):
    def testTables(self):
        folders = {path.stem: path for path in BUNDLE.glob("*.lproj")}
        self.assertLessEqual(LANGUAGES, folders.keys())
        for language, folder in folders.items():
            self.assertEqual({path.stem for path in folder.glob("*.strings")}, TABLES, language)
            for table in sorted(TABLES):
                with self.subTest(f"{language} {table}"):
                    path = folder / f"{table}.strings"
                    entries, english = parse(path), parse(folders["en"] / path.name)
                    self.assertTrue(path.read_bytes().endswith(b"\n"), "no line end at the end")
                    self.assertEqual(entries.keys(), english.keys())
                    for key, value in entries.items():
                        self.assertTrue(value.strip(), f"{key} is empty")
                        self.assertNotEqual(value, key)
                        self.assertIsNotNone(placeholders(value), key)
                        self.assertEqual(placeholders(value), placeholders(english[key]), key)
                        self.assertEqual(blanks(value), blanks(english[key]), key)
                    if "terminal_yes_letter" in entries:
                        yes, no = entries["terminal_yes_letter"], entries["terminal_no_letter"]
                        hints = entries["terminal_yes_no_default_yes"], entries["terminal_yes_no"]
                        self.assertEqual(hints, (f"[{yes.upper()}/{no}]", f"[{yes}/{no}]"))

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


if __name__ == "__main__":
    unittest.main()
