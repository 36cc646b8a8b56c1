#!/usr/bin/env python3
"""Rules of the house that no compiler knows. Prints each breach and ends with 1 when there is one."""

import pathlib
import re
import subprocess
import sys

# Each folder may include itself and the folders that stand before it here.
LAYERS = ["platform", "util", "ini", "securefile", "crash", "ui", "credentials", "launcher"]
# Headers whose code allocates, locks or formats; none of them has a place in code that runs in a signal handler.
BANNED_IN_HANDLERS = {"string", "functional", "vector", "map", "memory", "mutex", "iostream", "sstream", "cstdio", "stdio.h"}
MAXIMUM_LINES = 500
MAXIMUM_README_LINES = 12


def tracked(*patterns):
    command = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "--", *patterns]
    return [pathlib.Path(line) for line in subprocess.check_output(command, text=True).splitlines()]


def breaches():
    closes = 0
    for path in tracked("src/*.h", "src/*.cc"):
        text = path.read_text()
        folder = path.parts[1]
        if len(text.splitlines()) > MAXIMUM_LINES:
            yield f"{path}: more than {MAXIMUM_LINES} lines"
        closes += len(re.findall(r"(?<![\w.>])(?:::)?close\(", text))
        for name in re.findall(r'#include "([^/"]+)/', text):
            if LAYERS.index(name) > LAYERS.index(folder):
                yield f"{path}: {folder} must not include {name}"
        for name in re.findall(r"#include <([^>]+)>", text):
            if path.name.endswith(("_signal.cc", "_signal.h")) and name in BANNED_IN_HANDLERS:
                yield f"{path}: <{name}> in code that runs in a signal handler"
            if folder != "platform" and not path.name.endswith("_signal.cc") and ("/" in name or name.endswith(".h")):
                yield f"{path}: <{name}> belongs behind platform/"
    if closes != 1:
        yield f"src: close( stands {closes} times; UniqueFd alone closes descriptors"
    for path in tracked("src/*/README.md"):
        if len(path.read_text().splitlines()) > MAXIMUM_README_LINES:
            yield f"{path}: more than {MAXIMUM_README_LINES} lines"
    for folder in sorted({path.parent for path in tracked("src/*/CMakeLists.txt")}):
        if folder.parent.name == "src" and not (folder / "README.md").exists():
            yield f"{folder}: no README.md"


found = list(breaches())
print("\n".join(found), end="\n" if found else "")
sys.exit(1 if found else 0)
