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
    if "simulated" in program:
        hurried = hurried.replace("with ", "import zeka\nwith ", 1)
    else:
        hurried = f"import zeka\nvirtual = zeka.simulated()\n{hurried}"
    done = subprocess.run([sys.executable, "-c", hurried], capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done.stderr


def test_there_are_programs_to_run():
    assert len(list(programs())) >= 4
