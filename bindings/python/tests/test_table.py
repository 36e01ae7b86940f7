"""The table of declarations, the stub made from it and the names of the command, against what they stand for."""

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

import zeka
from zeka._declarations import FUNCTIONS, parse
from zeka._library import TYPES

PACKAGE = Path(zeka.__file__).parent
HEADER = Path(os.environ["ZEKA_HEADER"])


def declared():
    """The exported functions of the header, its comments taken out."""
    text = re.sub(r"/\*.*?\*/", "", HEADER.read_text(), flags=re.S)
    return parse(" ".join(re.findall(r"ZEKA_API([^;{}]*\));", text)))


def test_the_table_is_the_header():
    header = declared()
    assert len(header) > 140
    assert FUNCTIONS == header


def test_every_function_binds_with_types_that_are_known():
    for declaration in FUNCTIONS.values():
        assert declaration.result in TYPES or declaration.result in ("int*", "double*")
        native = getattr(zeka, declaration.name)._bind()
        assert len(native.argtypes) == len(declaration.parameters)


def test_the_stub_is_made_from_the_table():
    made = subprocess.run(
        [sys.executable, str(PACKAGE.parent / "make_stub.py")], capture_output=True, text=True, check=True
    )
    assert (PACKAGE / "functions.pyi").read_text() == made.stdout


@pytest.mark.skipif("ZEKA_COMMAND" not in os.environ, reason="the zeka command is not built")
def test_functions_and_settings_have_the_names_of_the_command():
    text = subprocess.run(
        [os.environ["ZEKA_COMMAND"], "play", "--help"], capture_output=True, text=True, check=True
    ).stdout
    listed = text[text.index("Output functions:") :]
    assert set(re.findall(r"^  ([a-z][a-z0-9-]+)  +\S", listed, flags=re.M)) <= set(zeka.OUTPUT_FUNCTIONS)
    options = set(re.findall(r"--([a-z-]+)", text))
    assert {name.replace("_", "-") for name in zeka.SETTINGS} <= options
