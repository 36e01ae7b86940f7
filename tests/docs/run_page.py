#!/usr/bin/env python3
"""run_page.py SOURCE BUILD PAGE [MARK] - runs every command line of a page, in a folder of its own that looks like the source
tree; those that are left to others not, or with a mark only those that it stands before.

What a command line is and which of them are left to others: page_lines.py. Lines that drive an instrument find the virtual
one plugged in, on its fast clock; "until Ctrl-C" in a line's comment is taken at its word. Commands within a sentence
(`zeka play --seconds 2`) are looked up in the help: subcommand and options must be there. Fails when a line fails, when the lines
wrote the page itself and it is another one now, or when a picture that the page shows is missing."""

import fcntl
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

from page_lines import blocks

PATIENCE_S = 120
PATIENCE_WITH_MARKED_S = 900
INTERRUPTED = 130
NOTHING_RUN = 77  # for CTest: skipped
COPIED = ("README.md", "CONTRIBUTING.md", "bindings/python", "docs", "examples", "include")


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


def program(text, language, about=""):
    """The page's first program of a language that is about something."""
    programs = re.findall(rf"^```{language}\n(.*?)^```$", text, flags=re.M | re.S)
    return next((found for found in programs if about in found), "")


def write_script(path, line):
    path.write_text(f"#!/bin/sh\n{line}\n")
    path.chmod(0o755)


def python_with_pytest():
    """The first Python that has it: the one that comes first may be none of the system's."""
    for python in ("python3", "/usr/bin/python3"):
        if subprocess.run([python, "-c", "import pytest"], stderr=subprocess.DEVNULL).returncode == 0:
            return shutil.which(python)
    sys.exit("no Python has pytest (Debian: python3-pytest)")


def lay_out(folder, source, build, text):
    """Fills the folder; the environment in which the lines run."""
    for name in COPIED:
        copy = shutil.copytree if (source / name).is_dir() else shutil.copy
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        copy(source / name, folder / name)
    (folder / "build").symlink_to(build)
    (folder / "bin").mkdir()
    (folder / "bin/zeka").symlink_to(build / "cli/zeka")
    write_script(folder / "my_program", "exec zeka info")  # the reader's
    (folder / "example.c").write_text(program(text, "c"))
    (folder / "program.py").write_text(program(text, "python", "zeka.simulated()"))
    if "-m pytest" in text:
        write_script(folder / "bin/python3", f'exec {python_with_pytest()} "$@"')
    (folder / "my_tests").mkdir()
    (folder / "my_tests/test_program.py").write_text("def test_my_program():\n    import program\n")
    (folder / "pytest.ini").write_text("[pytest]\ntestpaths = my_tests\n")
    return {**os.environ, "PATH": f"{folder / 'bin'}:{os.environ['PATH']}", "PYTHONDONTWRITEBYTECODE": "1"}


def words_for(line, before, build):
    """The command that runs a line behind the exports before it, with an instrument plugged in where it needs one."""
    if re.search(r"\bzeka (play|sweep) .*--sim", line) and "--clock" not in line:
        line = line.replace("--sim", "--sim --clock fast")
    if "python3 examples/" in line:  # one that plays for half a minute, and knows by the samples how far it is
        line = line.replace(" sim ", " sim --clock fast ")
    if "-m zeka.simulate" in line and not before:  # which finds the module where the package puts it
        before = [f"export PYTHONPATH=$PWD/bindings/python ZEKA_LIBRARY={build}/src/libzeka.so "
                  f"ZEKA_SIM_LIBRARY={build}/sim/libzeka_sim.so"]
    script = ["sh", "-c", "\n".join([*before, line])]
    if " sim " in line or "--sim" in line or not re.match(r"(build/cli/)?zeka ", line):
        return script
    return ["zeka", "sim", "--quiet", "--clock", "fast", "--", *script]


def run(words, patience, **options):
    done = subprocess.run(words, stdin=subprocess.DEVNULL, timeout=patience, **options)
    return done.returncode


def run_until_interrupted(words, patience, **options):
    """Waits until it plays, presses Ctrl-C, and expects the status of a command that has ended in good order."""
    process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, start_new_session=True,
                               **options)
    for line in process.stderr:
        print(line, end="", flush=True)
        if line.startswith("playing"):
            os.killpg(process.pid, signal.SIGINT)
    status = process.wait(patience)
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
    source, build, page = (Path(argument).resolve() for argument in sys.argv[1:4])
    wanted = sys.argv[4] if len(sys.argv) > 4 else None
    patience = PATIENCE_WITH_MARKED_S if wanted else PATIENCE_S
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
        for mark, lines in blocks(text):
            exports = []
            for line in lines:
                counts[mark == wanted] += 1
                print(line if mark == wanted else f"run by {mark or 'the tests'}: {line}", flush=True)
                if mark != wanted:
                    continue
                if line.startswith("export "):
                    exports.append(line)
                    continue
                runner = run_until_interrupted if "until Ctrl-C" in line else run
                status = runner(words_for(line, exports, build), patience, cwd=folder, env=environment)
                if status:
                    sys.exit(f"exit status {status}: {line}")
        if (Path(folder) / page.relative_to(source)).read_text() != text:
            subprocess.run(["diff", page, Path(folder) / page.relative_to(source)])
            sys.exit(f"{page} is not what its own lines make of it")
    print(f"{counts[True]} lines run, {counts[False]} by others; {len(mentioned(text))} commands looked up")
    if not counts[True] and wanted:
        sys.exit(f"{page} has no lines for {wanted}")
    if not counts[True] and not mentioned(text):
        sys.exit(NOTHING_RUN)


main()
