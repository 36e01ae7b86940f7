"""The programs in the documents run as they stand there, in a fraction of their time."""

import re
import subprocess
import sys
from pathlib import Path

import pytest

TOP = Path(__file__).parents[3]
DOCUMENTS = ("README.md", "docs/start.md", "bindings/python/README.md")


def programs():
    for document in DOCUMENTS:
        text = (TOP / document).read_text()
        for number, program in enumerate(re.findall(r"^```python\n(.*?)^```$", text, flags=re.M | re.S)):
            if "..." not in program:  # not a whole one
                yield pytest.param(program, id=f"{document}-{number}")


@pytest.mark.parametrize("program", programs())
def test_a_program_runs_as_it_stands_there(program):
    hurried = re.sub(r"(seconds=|wait\()10\b", r"\g<1>0.2", program)
    hurried = hurried.replace("zeka.connect()", "zeka.connect(timeout=20)")  # a loaded machine
    if "simulated" not in program:
        hurried = f"import zeka\nvirtual = zeka.simulated()\n{hurried}"
    done = subprocess.run([sys.executable, "-c", hurried], capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done.stderr


def test_there_are_programs_to_run():
    assert len(list(programs())) >= 4


def anchors(text):
    """As GitHub and others make them of headings."""
    headings = re.findall(r"^#+ (.*)$", re.sub(r"^```.*?^```", "", text, flags=re.M | re.S), flags=re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-") for heading in headings}


def test_links_between_documents_lead_somewhere():
    tracked = subprocess.run(["git", "ls-files", "*.md"], cwd=TOP, capture_output=True, text=True).stdout.split()
    if not tracked:
        pytest.skip("not a git working tree")
    broken = []
    for document in map(TOP.joinpath, tracked):
        text = re.sub(r"^ *```.*?^ *```", "", document.read_text(), flags=re.M | re.S)
        for link in re.findall(r"\]\(([^)\s]+)\)", text):
            path, _, anchor = link.partition("#")
            target = document.parent / path if path else document
            if "://" in link:
                continue
            if not target.exists() or (anchor and target.suffix == ".md" and anchor not in anchors(target.read_text())):
                broken.append(f"{document.relative_to(TOP)}: {link}")
    assert broken == []
