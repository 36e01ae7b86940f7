#!/usr/bin/env python3
"""page_lines.py PAGE SCRIPT STEP - prints the command lines of PAGE that SCRIPT runs in its step STEP; fails when there are none.

Command lines are those in ```sh blocks and in blocks behind four blanks; where such a block shows output too, its command
lines begin with "$ ". A block that run_page.py cannot run, because it builds, installs or takes minutes, says who does:

    <!-- run by: scripts/test-packages, compiler -->     lines that this script takes from here, in a step
    <!-- run by: .ci/run -->                             lines that stand in that script as they stand here

check_marks.py sees to it that this is so."""

import re
import sys
from pathlib import Path


def blocks(text):
    """(who runs it or None, lines) of every block of command lines."""
    language, mark, following, blank, found = None, None, False, True, []
    for line in text.splitlines():
        fence = re.match(r" *```(\w*)", line)
        if fence:
            language = None if language is not None else fence[1]
            if language == "sh":
                found.append((mark, []))
        elif language == "sh":
            found[-1][1].append(line)
        elif language is None and line.startswith("    ") and (following or blank):
            if not following:
                found.append((mark, []))
                following = True
            found[-1][1].append(line[4:])
        elif line.strip():
            following = False
        blank = not line.strip()
        marked = re.match(r"<!-- run by: (.+) -->$", line)
        if marked or line.strip():
            mark = marked[1] if marked else None
    for mark, lines in found:
        shown = [line[2:] for line in lines if line.startswith("$ ")]
        yield mark, shown or [line for line in lines if line.strip()]


def main():
    page, script, step = sys.argv[1:]
    wanted = [line for mark, lines in blocks(Path(page).read_text()) if mark == f"{script}, {step}" for line in lines]
    if not wanted:
        sys.exit(f"page_lines: {page} has no lines for {script}, {step}")
    print("\n".join(wanted))


if __name__ == "__main__":
    main()
