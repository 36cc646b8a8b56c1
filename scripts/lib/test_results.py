#!/usr/bin/env python3
"""Sums up what ctest wrote with --output-junit: test_results.py PASSED FAILED FILE..., where the numbers are of checks that
are no tests. Names each skipped test with its reason and each one that failed, and ends with "N passed, N failed"; a
skipped test is neither. Ends with 1 when anything failed."""

import pathlib
import re
import sys
import xml.etree.ElementTree


def reason_in(output):
    """Why a test says that it was skipped: GoogleTest on the line after the place, unittest in quotes."""
    found = re.search(r": Skipped\n(.+)", output) or re.search(r"skipped ['\"](.+)['\"]", output)
    return found[1] if found else "it does not say why"


def main(passed, failed, files):
    skipped = []
    for file in map(pathlib.Path, files):
        preset = file.parent.name
        for test in xml.etree.ElementTree.parse(file).getroot().iter("testcase"):
            mark = test.find("skipped")
            if test.get("status") == "run":
                passed += 1
            elif mark is not None and mark.get("message", "").startswith("SKIP_"):
                skipped.append(f"{preset}: {test.get('name')}: {reason_in(test.findtext('system-out', ''))}")
            else:
                failed += 1
                print(f"Failed: {preset}: {test.get('name')}")
    if skipped:
        print("Skipped, and so neither passed nor failed:", *skipped, sep="\n  ")
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


sys.exit(main(int(sys.argv[1]), int(sys.argv[2]), sys.argv[3:]))
