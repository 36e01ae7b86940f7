#!/usr/bin/env python3
"""check_reliability.py PAGE BUILD PROGRAM... - every row of the page's tables names a test, every test that it names exists,
and every test of PROGRAM, which ctest does not run, stands on it. A name may hold "*". Tests of the connection that stand in no row
are listed, and fail nothing: not each of them is about a fault."""

import fnmatch
import re
import subprocess
import sys
from pathlib import Path

ABOUT_FAULTS = r"(Loss|Free|Lifecycle|Daemon|Connection|Exchanges|Search|LockFile|Unload|Port|Terminal|Monitor|FaultLoop|EveryCall)\."


def run(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def plain(name):
    """Without the name of the instantiation, which stands ahead of the suite's."""
    return re.sub(r"^\w+/(?=\w+\.)", "", name)


def tests_of(build):
    return {plain(name) for name in re.findall(r"Test +#\d+: (\S+)", run("ctest", "--test-dir", build, "-N"))}


def cases_of(program):
    suite = ""
    for line in run(program, "--gtest_list_tests").splitlines():
        word = line.split("#")[0].strip()
        if line.startswith("  "):
            yield plain(suite + word)
        else:
            suite = word


def rows(page):
    cells = [[cell.strip() for cell in line.strip().strip("|").split(" | ")]
             for line in page.read_text().splitlines() if line.startswith("| ")]
    return [row for row in cells if row[-1] != "shown by"]


def complaints(page, build, programs):
    driven = {case for program in programs for case in cases_of(program)}
    tests = tests_of(build) | driven
    named = set()
    for row in rows(page):
        names = re.findall(r"`(\w+[./][\w*/]+)`", row[-1])
        if len(row) != 4 or not names:
            yield f"a row that names no test: {row[0]}"
        named.update(names)
    found = {name: set(fnmatch.filter(tests, name)) for name in named}
    yield from (f"no such test: {name}" for name in sorted(named) if not found[name])
    shown = set().union(*found.values()) if found else set()
    yield from (f"stands in no row: {test}" for test in sorted(driven - shown))
    for test in sorted(tests - driven - shown):
        if re.match(ABOUT_FAULTS, test):
            print(f"in no row: {test}")


def main():
    found = list(complaints(Path(sys.argv[1]), sys.argv[2], sys.argv[3:]))
    print("\n".join(found))
    sys.exit(bool(found))


main()
