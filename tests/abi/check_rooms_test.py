#!/usr/bin/env python3
"""check_rooms_test.py CHECKER - the checker of include directions finds each kind of line that it is there to find."""
import pathlib
import subprocess
import sys
import tempfile

REFUSED = {
    "src/link/a.cpp": '#include "signal/apply.h"',
    "src/util/a.cpp": '#include "signal/state.h"',
    "src/platform/a.h": '#include "link/port.h"',
    "src/signal/a.cpp": '  #  include "connection/lifecycle.h"',
    "src/stream/a.cpp": '#include "files/paths.h"',
    "src/files/a.cpp": '#include "../stream/burst.h"',
    "src/device/a.cpp": "extern int g_somebody_elses;",
    "src/device/b.cpp": '#include "neighbour.h"',
    "src/attic/a.cpp": "",
    "sim/a.cpp": '#include "device/packets.h"',
    "cli/a.cpp": '#include "signal/state.h"',
    "formats/a.cpp": '#include "cli/shell/failure.h"',
    "cli/strip/a.cpp": '#include "sim/run.h"',
    "cli/attic/a.cpp": '#include "attic.h"',
    "cli/marks/a.h": '#include "cli/marks/b.h"', # which includes it in turn, see below
}
ACCEPTED = {
    "src/link/a.cpp": '#include "signal/state.h"\n#include "zeka/zeka.h"\n#include "util/text.h"\n#include <vector>',
    "src/signal/a.cpp": '#include "stream/burst.h"\nextern "C" int f();',
    "src/stream/a.cpp": '#include "signal/generator.h"',
    "cli/playing/a.cpp": '#include "sim/run.h"\n#include "zeka/zeka.h"\n#include "cli/playing/a.h"',
}


def verdict(checker, files):
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        (root / "src").mkdir()
        for name, text in files.items():
            path = root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text + "\n", encoding="utf-8")
        return subprocess.run([sys.executable, checker, root], capture_output=True, text=True, check=False)


failures = []
for name, text in REFUSED.items():
    result = verdict(sys.argv[1], {"src/util/fine.h": "", "cli/marks/b.cpp": '#include "cli/marks/a.h"', name: text})
    if result.returncode == 0:
        failures.append(f"let through: {name}: {text}")
if (result := verdict(sys.argv[1], ACCEPTED)).returncode != 0:
    failures.append(f"refused what is right:\n{result.stdout}{result.stderr}")
print("\n".join(failures) or "every kind found")
sys.exit(1 if failures else 0)
