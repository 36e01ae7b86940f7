#!/usr/bin/env python3
"""make_stub.py - prints zeka/functions.pyi, the types of the plain functions, from the table of declarations:
    python3 bindings/python/make_stub.py >bindings/python/zeka/functions.pyi"""

import runpy
from pathlib import Path

TABLE = runpy.run_path(str(Path(__file__).parent / "zeka" / "_declarations.py"))["FUNCTIONS"]

WHOLE = "unsigned int", "unsigned long", "unsigned char", "int", "int64_t", "OutputLead", "IEC247_PATTERN"
ARGUMENTS = {
    "bool": "bool",
    "double": "float",
    "const char*": "_Text",
    "const wchar_t*": "_Text",
    "ZEKA_CONNECTION_CALLBACK": "Optional[Callable[[bool], object]]",
    "ZEKA_SIGNAL_CALLBACK": "Optional[Callable[[float, float], object]]",
    "ZEKA_FUNCTION_CALLBACK": "Optional[Callable[[int], object]]",
    "ZEKA_FREQUENCY_CALLBACK": "Optional[Callable[[float], object]]",
    "ZEKA_STATE_CALLBACK": "Optional[Callable[[int], object]]",
    "ZEKA_OFFSET_CALLBACK": "Optional[Callable[[int], object]]",
    "ZEKA_NOTIFY_CALLBACK": "Optional[Callable[[int, int, int], object]]",
    **dict.fromkeys(WHOLE, "int"),
}
RESULTS = {
    "void": "None",
    "bool": "bool",
    "double": "float",
    "const char*": "str",
    "int*": "ctypes._Pointer[ctypes.c_int]",
    "double*": "ctypes._Pointer[ctypes.c_double]",
    **dict.fromkeys(WHOLE, "int"),
}

print("# Made by make_stub.py from _declarations.py; a test compares.")
print("import ctypes")
print("import os")
print("from typing import Any, Callable, Optional, Union")
print()
print("from ._library import MODEL_INFORMATION as MODEL_INFORMATION")
print("from ._library import RAW_WAVEFORM_DATA as RAW_WAVEFORM_DATA")
print("from ._library import ZEKA_HW_INFORMATION as ZEKA_HW_INFORMATION")
print("from ._library import ZEKA_OUTPUT_STAGE as ZEKA_OUTPUT_STAGE")
print()
print("_Text = Union[str, bytes, os.PathLike[str], os.PathLike[bytes]]")
print()
print("__all__ = [")
for name in ("MODEL_INFORMATION", "RAW_WAVEFORM_DATA", "ZEKA_HW_INFORMATION", "ZEKA_OUTPUT_STAGE", *TABLE):
    print(f'    "{name}",')
print("]")
print()
for name, declaration in TABLE.items():
    inside = ", ".join(f"{p.name}: {ARGUMENTS.get(p.type, 'Any')}" for p in declaration.parameters)
    print(f"def {name}({inside}{', /' if inside else ''}) -> {RESULTS[declaration.result]}: ...")
