#!/usr/bin/env python3
"""Rules of the house that no compiler knows. Prints each breach and ends with 1 when there is one."""

import pathlib
import re
import subprocess
import sys

# Every room of src/ and the rooms it may include: those named, and what these may include in turn. A row names only
# rooms of the rows before it, so that the arrows run one way.
ROOMS = {
    "platform/signals": (),
    "platform/threads": ("platform/signals",),
    "platform/secrets": (),
    "platform/files": ("platform/threads", "platform/secrets"),
    "platform/call_stack": ("platform/files",),
    "platform/user": ("platform/files",),
    "platform/run_loop": ("platform/files",),
    "platform/children": ("platform/files",),
    "platform/bundle": ("platform/files",),
    "platform/text": ("platform/bundle",),
    "platform/crypto": ("platform/bundle",),
    "platform/resources": ("platform/text", "platform/user"),
    "platform/dialog": ("platform/children", "platform/resources"),
    "util": ("platform/crypto", "platform/resources"),
    "ini": ("util",),
    "ui": ("platform/dialog", "util"),
    "keychain": ("platform/crypto", "platform/text", "platform/user"),
    "keychain/embedded": ("keychain",),
    "keychain/secret_service": ("keychain",),
    "crash": ("platform/call_stack", "platform/run_loop", "util"),
    "items": ("ini", "keychain", "ui"),
    "securefile": ("items",),
    "credentials": ("securefile",),
    "launcher": ("crash", "credentials"),
}
# Beside platform/ and programs/, these name libraries and headers of the system.
BACK_ENDS = ("keychain/embedded", "keychain/secret_service")
# Headers whose code allocates, locks or formats; none of them has a place in code that runs in a signal handler.
BANNED_IN_HANDLERS = {"string", "functional", "vector", "map", "memory", "mutex", "iostream", "sstream", "cstdio", "stdio.h"}
MAXIMUM_LINES = 500
MAXIMUM_README_LINES = 12

CODE = ("src/*.h", "src/*.cc", "programs/*.h", "programs/*.cc")
SOURCES = (*CODE, *(f"{folder}/*.{kind}" for folder in ("tests", "fuzz", "bench") for kind in ("h", "cc", "py")), "scripts/*")


def tracked(*patterns):
    command = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "--", *patterns]
    return [path for path in map(pathlib.Path, subprocess.check_output(command, text=True).splitlines()) if path.exists()]


def room_of(path):
    """The folder of a file, as an include names it."""
    return str(path.parent).removeprefix("src/")


def reachable_rooms():
    """Each room with all that it may include."""
    reach = {}
    for room, named in ROOMS.items():
        reach[room] = set(named).union(*(reach[other] for other in named))
    return reach


def arrows(included):
    """Which room includes which, against the rows."""
    reach = reachable_rooms()
    for room in ROOMS.keys() - {room_of(path) for path in included}:
        yield f"scripts/house_rules.py: there is no room {room}"
    for path, headers in included.items():
        room = room_of(path)
        if path.parts[0] != "src":
            continue
        if room not in ROOMS:
            yield f"{path}: its folder is no room of scripts/house_rules.py"
            continue
        for header in headers:
            other = str(pathlib.Path(header).parent)
            # What a module offers is for the room that opens it.
            is_own_module = other.startswith(room + "/") and header.endswith("_module.h")
            if other != room and other not in reach[room] and not is_own_module:
                yield f"{path}: {room} must not include {other}"


def circles(included):
    """Headers that include each other, however long the way round."""
    graph = {str(path).removeprefix("src/"): headers for path, headers in included.items()}
    done, way = set(), []

    def visit(name):
        if name in way:
            yield "circle of includes: " + " > ".join([*way[way.index(name):], name])
        elif name not in done:
            way.append(name)
            for header in graph.get(name, ()):
                yield from visit(header)
            way.pop()
            done.add(name)

    for name in graph:
        yield from visit(name)


def foreign_headers(path, text):
    """Headers of the system and of libraries, and those that a signal handler must not see."""
    in_handler = path.name.endswith(("_signal.cc", "_signal.h"))
    hides_them = path.parts[0] == "src" and path.parts[1] != "platform" and room_of(path) not in BACK_ENDS
    for name in re.findall(r"#include <([^>]+)>", text):
        if in_handler and name in BANNED_IN_HANDLERS:
            yield f"{path}: <{name}> in code that runs in a signal handler"
        if hides_them and not in_handler and ("/" in name or name.endswith(".h")):
            yield f"{path}: <{name}> belongs behind platform/"


def readmes(folders):
    for folder in sorted(folders):
        readme = folder / "README.md"
        if not readme.exists():
            yield f"{folder}: no README.md"
        elif len(readme.read_text().splitlines()) > MAXIMUM_README_LINES:
            yield f"{readme}: more than {MAXIMUM_README_LINES} lines"


def breaches():
    texts = {path: path.read_text() for path in tracked(*CODE)}
    included = {path: re.findall(r'#include "([^"]+)"', text) for path, text in texts.items()}
    yield from arrows(included)
    yield from circles(included)
    for path, text in texts.items():
        yield from foreign_headers(path, text)
    closes = [path for path, text in texts.items() for _ in re.findall(r"(?<![\w.>])(?:::)?close\(", text)]
    if len(closes) != 1:
        yield f"close( is called {len(closes)} times ({', '.join(map(str, closes))}); UniqueFd alone closes descriptors"
    for path in tracked(*SOURCES):
        if len(path.read_text().splitlines()) > MAXIMUM_LINES:
            yield f"{path}: more than {MAXIMUM_LINES} lines"
    yield from readmes({path.parent for path in texts} | {path.parent for path in tracked("src/*README.md")})


found = list(breaches())
print("\n".join(found), end="\n" if found else "")
sys.exit(1 if found else 0)
