"""python3 -m zeka.simulate [-m MODULE | PROGRAM.py] [ARGUMENT]... - runs a Python program in a private world, so that
it can call zeka.simulated() whenever it likes: before or after its threads, numpy and the library."""

from __future__ import annotations

import os
import runpy
import sys

from .errors import Error
from .virtual import enter_private_dev

_USAGE = "usage: python3 -m zeka.simulate [-m MODULE | PROGRAM.py] [ARGUMENT]..."


def main() -> None:
    words = sys.argv[1:]
    module = words[:1] == ["-m"]
    rest = words[1:] if module else words
    if not rest or rest[0] in ("-h", "--help"):
        print(_USAGE, file=sys.stdout if rest else sys.stderr)
        sys.exit(0 if rest else 2)
    try:
        enter_private_dev()
    except Error as error:
        sys.exit(f"zeka.simulate: {error}")
    sys.argv = rest
    if module:
        sys.path.insert(0, os.getcwd())
        runpy.run_module(rest[0], run_name="__main__", alter_sys=True)
    else:
        sys.path.insert(0, os.path.dirname(os.path.abspath(rest[0])))
        runpy.run_path(rest[0], run_name="__main__")


if __name__ == "__main__":
    main()
