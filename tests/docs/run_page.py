#!/usr/bin/env python3
"""run_page.py SOURCE BUILD PAGE - runs every command line of a page, in a folder of its own that looks like the source tree.

Command lines are those in ```sh blocks and in blocks behind four blanks; where such a block shows output too, its command
lines begin with "$ ". A block that cannot be run stands behind <!-- not run: reason -->. Lines that drive an instrument find
the virtual one plugged in, on its fast clock; "until Ctrl-C" in a line's comment is taken at its word. Commands within
a sentence (`zeka play --seconds 2`) are looked up in the help: subcommand and options must be there. Fails when a line fails, or
when a picture that the page shows is missing."""

import fcntl
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

PATIENCE_S = 120
INTERRUPTED = 130
NOTHING_RUN = 77  # for CTest: skipped
COPIED = ("README.md", "bindings/python", "docs", "examples", "include")


def blocks(text):
    """(reason why it is not run or None, lines) of every block of command lines."""
    language, reason, following, blank, found = None, None, False, True, []
    for line in text.splitlines():
        fence = re.match(r" *```(\w*)", line)
        if fence:
            language = None if language is not None else fence[1]
            if language == "sh":
                found.append((reason, []))
        elif language == "sh":
            found[-1][1].append(line)
        elif language is None and line.startswith("    ") and (following or blank):
            if not following:
                found.append((reason, []))
                following = True
            found[-1][1].append(line[4:])
        elif line.strip():
            following = False
        blank = not line.strip()
        mark = re.match(r"<!-- not run: (.+) -->$", line)
        if mark or line.strip():
            reason = mark[1] if mark else None
    for reason, lines in found:
        shown = [line[2:] for line in lines if line.startswith("$ ")]
        yield reason, shown or [line for line in lines if line.strip()]


def mentioned(text):
    """The commands within sentences, once each."""
    sentences = re.sub(r"^ *```.*?^ *```", "", text, flags=re.M | re.S)
    return sorted({re.sub(r"\s+", " ", words) for words in re.findall(r"`(zeka [a-z][^`]*)`", sentences)})


def unknown_in(words, environment):
    """What of a mentioned command the command's own help does not know."""
    words = words.split(" -- ")[0].split(" | ")[0].split()
    page = subprocess.run([*words[:2], "--help"], env=environment, capture_output=True, text=True)
    if page.returncode:
        return words[:2]
    return [word for word in words[2:] if word.startswith("--") and not re.search(rf"{word.split('=')[0]}\b", page.stdout)]


def c_program(text):
    program = re.search(r"^```c\n(.*?)^```$", text, flags=re.M | re.S)
    return program[1] if program else ""


def lay_out(folder, source, build, text):
    """Fills the folder; the environment in which the lines run."""
    for name in COPIED:
        copy = shutil.copytree if (source / name).is_dir() else shutil.copy
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        copy(source / name, folder / name)
    (folder / "build").symlink_to(build)
    (folder / "bin").mkdir()
    (folder / "bin/zeka").symlink_to(build / "cli/zeka")
    my_program = folder / "my_program"  # the reader's
    my_program.write_text("#!/bin/sh\nexec zeka info\n")
    my_program.chmod(0o755)
    for name in ("example.c", "program.c"):
        (folder / name).write_text(c_program(text))
    environment = {**os.environ, "PATH": f"{folder / 'bin'}:{os.environ['PATH']}", "PYTHONDONTWRITEBYTECODE": "1"}
    if any("pkg-config" in line for reason, lines in blocks(text) if not reason for line in lines):
        installed = folder / "installed"
        subprocess.run(["cmake", "--install", build, "--prefix", installed], check=True, stdout=subprocess.DEVNULL)
        environment["PKG_CONFIG_PATH"] = str(next(installed.rglob("zeka.pc")).parent)
    return environment


def words_for(line, before):
    """The command that runs a line behind the exports before it, with an instrument plugged in where it needs one."""
    if re.search(r"\bzeka (play|sweep) .*--sim", line) and "--clock" not in line:
        line = line.replace("--sim", "--sim --clock fast")
    if "python3 examples/" in line:  # one that plays for half a minute, and knows by the samples how far it is
        line = line.replace(" sim ", " sim --clock fast ")
    script = ["sh", "-c", "\n".join([*before, line])]
    if " sim " in line or "--sim" in line or not re.match(r"(build/cli/)?zeka ", line):
        return script
    return ["zeka", "sim", "--quiet", "--clock", "fast", "--", *script]


def run(words, **options):
    done = subprocess.run(words, stdin=subprocess.DEVNULL, timeout=PATIENCE_S, **options)
    return done.returncode


def run_until_interrupted(words, **options):
    """Waits until it plays, presses Ctrl-C, and expects the status of a command that has ended in good order."""
    process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, start_new_session=True,
                               **options)
    for line in process.stderr:
        print(line, end="", flush=True)
        if line.startswith("playing"):
            os.killpg(process.pid, signal.SIGINT)
    status = process.wait(PATIENCE_S)
    return 0 if status == INTERRUPTED else status or "0, though it was interrupted"


def enter_private_world(build):
    """/dev and /var/lock of its own; where there are none, the machine's, in turn with the other tests."""
    if os.environ.get("ZEKA_PAGE_INSIDE"):
        return
    enter = str(build / "sim/zeka-private-dev")
    if subprocess.run([enter, "true"], stderr=subprocess.DEVNULL).returncode == 0:
        os.environ["ZEKA_PAGE_INSIDE"] = "1"
        os.execv(enter, [enter, sys.executable, *sys.argv])
    turn = os.open("/run/lock/zeka-tests", os.O_RDWR | os.O_CREAT | os.O_NOFOLLOW, 0o600)
    os.set_inheritable(turn, False)
    fcntl.flock(turn, fcntl.LOCK_EX)


def main():
    source, build, page = (Path(argument).resolve() for argument in sys.argv[1:])
    enter_private_world(build)
    text = page.read_text()
    missing = [picture for picture in re.findall(r"^!\[.*\]\((.*)\)$", text, flags=re.M)
               if not (page.parent / picture).is_file()]
    if missing:
        sys.exit(f"{page} shows pictures that are not there: {missing}")

    counts = {True: 0, False: 0}
    with tempfile.TemporaryDirectory() as folder:
        environment = lay_out(Path(folder), source, build, text)
        for words in mentioned(text):
            if unknown := unknown_in(words, environment):
                sys.exit(f"`{words}`: the command does not know {unknown}")
        for reason, lines in blocks(text):
            exports = []
            for line in lines:
                counts[reason is None] += 1
                print(f"not run ({reason}): {line}" if reason else line, flush=True)
                if reason:
                    continue
                if line.startswith("export "):
                    exports.append(line)
                    continue
                runner = run_until_interrupted if "until Ctrl-C" in line else run
                status = runner(words_for(line, exports), cwd=folder, env=environment)
                if status:
                    sys.exit(f"exit status {status}: {line}")
    print(f"{counts[True]} lines run, {counts[False]} not; {len(mentioned(text))} commands looked up")
    if not counts[True] and not mentioned(text):
        sys.exit(NOTHING_RUN)


main()
