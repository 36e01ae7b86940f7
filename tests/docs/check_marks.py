#!/usr/bin/env python3
"""check_marks.py SOURCE PAGE... - where a page says by whom its lines are run (see page_lines.py), they are: a step of a
script is taken there, and the script is a lane of .ci/run; what is left to .ci/run itself is one of its commands. And the
other way round: every step that a script takes stands on the page. No other excuse is let through."""

import re
import sys
from pathlib import Path

from page_lines import blocks

ALL = ".ci/run"
STEPS = (ALL, "scripts/test-builds", "scripts/test-packages")


def commands_of(script):
    """Its commands, one by one, without the names that its lanes bear."""
    text = re.sub(r"(^|\s)#\s.*", "", script.read_text(), flags=re.M)
    text = re.sub(r'\blane "[^"]*" ', "\n", text)
    return {command.strip() for command in re.split(r"\n|&&|\|\||;", text)}


def complaints(source, pages):
    everything = commands_of(source / ALL)
    lanes = {ALL} | {command.split()[0] for command in everything if command}
    taken = {(script, page, step) for script in STEPS for command in commands_of(source / script)
             for page, step in re.findall(r"^as_told (\S+) (\S+)$", command)}
    told = set()
    for page in pages:
        text = (source / page).read_text()
        if "<!-- not run" in text:
            yield f"{page}: a block that nobody runs"
        for mark, lines in blocks(text):
            script, _, step = (mark or "").partition(", ")
            told.add((script, page, step))
            if mark == ALL:
                commands = (re.sub(r" +# .*", "", line) for line in lines)
                yield from (f"{page}: {ALL} does not run: {line}" for line in commands if line not in everything)
            elif mark and (script not in lanes or (script, page, step) not in taken):
                yield f"{page}: nobody runs what is left to: {mark}"
    yield from (f"{page} has no lines for {script}, {step}" for script, page, step in sorted(taken - told))


def main():
    found = list(complaints(Path(sys.argv[1]), sys.argv[2:]))
    print("\n".join(found))
    sys.exit(bool(found))


main()
