#!/usr/bin/env python3
"""check_functions_test.py CHECKER - the checker finds each way to write an output function as a number."""
import pathlib
import subprocess
import sys
import tempfile

REFUSED = [
    "if (g_MainOutput == 15)",
    "if (zeka::Peek(g_MainOutput) != 16)",
    "return function == 7 || IsOther(function);",
    "if (8 == function)",
    "if (row.function >= 9)",
    "(void)ZEKASetOutputFunction(0);",
    "zeka::Publish(g_MainOutput, 0);",
    "constexpr int kPatternFunction = 16;",
    "switch (g_MainOutput) {\ncase 4:\n}",
]
ACCEPTED = """if (g_MainOutput == ZEKA_FUNCTION_SINE) // not 15, function == 15
switch (g_MainNoise) {
case 1:
}
switch (function) {
case ZEKA_FUNCTION_SINE:
}
if (mode == 2)
"""


def verdict(checker, text):
    with tempfile.TemporaryDirectory() as folder:
        room = pathlib.Path(folder) / "src" / "signal"
        room.mkdir(parents=True)
        (room / "a.cpp").write_text(text + "\n", encoding="utf-8")
        return subprocess.run([sys.executable, checker, folder], capture_output=True, text=True, check=False)


failures = [f"let through: {text}" for text in REFUSED if verdict(sys.argv[1], text).returncode == 0]
if (result := verdict(sys.argv[1], ACCEPTED)).returncode != 0:
    failures.append(f"refused what is right:\n{result.stdout}{result.stderr}")
print("\n".join(failures) or "every kind found")
sys.exit(1 if failures else 0)
