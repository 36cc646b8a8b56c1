#!/usr/bin/env python3
"""Reads every source of src/ and programs/ with clang-tidy: clang_tidy.py BUILD_FOLDER, which is a build with Clang.

A source that passed is read again when it, a header of ours that it includes, its compile command or the list of checks
has changed. What it includes is known from the build; without one every source is read."""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import subprocess
import sys

CLANG_TIDY = "clang-tidy-14"
ROOT = pathlib.Path.cwd()
OURS = (ROOT / "src", ROOT / "programs")
BUILD = (ROOT / sys.argv[1]).resolve()
PASSED = BUILD / "clang-tidy-passed"


def is_ours(path):
    return any(path.is_relative_to(folder) for folder in OURS)


def headers_by_source():
    """Our files that each object was compiled from, by the source, which is the first of them."""
    text = subprocess.run(["ninja", "-C", BUILD, "-t", "deps"], capture_output=True, text=True, check=True).stdout
    found = {}
    for block in text.split("\n\n"):
        files = [(BUILD / line.strip()).resolve() for line in block.splitlines()[1:]]
        ours = sorted({file for file in files if is_ours(file)})
        for source in (file for file in ours if file.suffix == ".cc"):
            found[source] = ours
    return found


def state_of(entry, headers):
    """A digest of all that the result depends on; None when the headers are not known."""
    source = pathlib.Path(entry["file"])
    if source not in headers:
        return None
    digest = hashlib.sha256(entry["command"].encode())
    for file in (ROOT / ".clang-tidy", *headers[source]):
        digest.update(b"\0" + file.read_bytes() if file.exists() else b"\1")
    return digest.hexdigest()


def passes(entry, state):
    run = subprocess.run([CLANG_TIDY, "-p", BUILD, "--quiet", entry["file"]], capture_output=True, text=True)
    if run.returncode:
        print(run.stdout + run.stderr)
    elif state:
        stamp_of(entry).write_text(state)
    return run.returncode == 0


def stamp_of(entry):
    return PASSED / os.path.relpath(entry["file"], ROOT).replace("/", "__")


def main():
    PASSED.mkdir(exist_ok=True)
    headers = headers_by_source()
    stale = []
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        if is_ours(pathlib.Path(entry["file"])):
            state, stamp = state_of(entry, headers), stamp_of(entry)
            if not (state and stamp.exists() and stamp.read_text() == state):
                stale.append((entry, state))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(lambda each: passes(*each), stale))
    print(f"clang-tidy: {len(stale)} sources read")
    return 0 if all(results) else 1


sys.exit(main())
