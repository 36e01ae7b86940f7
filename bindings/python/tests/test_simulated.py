"""The virtual instrument in programs of their own, as a user starts them."""

import os
import subprocess
import sys

THREADED = "import threading; threading.Thread(target=threading.Event().wait, daemon=True).start(); "
PLUG = "import zeka; zeka.simulated().close(); print('plugged')"


def run(*words, **changes):
    environment = {name: value for name, value in os.environ.items() if name != "ZEKA_PRIVATE_DEV"}
    environment.update(changes)
    return subprocess.run([sys.executable, *words], capture_output=True, text=True, timeout=60, env=environment)


def test_a_fresh_process_plugs_in():
    done = run("-c", PLUG)
    assert (done.returncode, done.stdout) == (0, "plugged\n"), done.stderr


def test_after_the_library_was_called_it_is_refused_with_the_next_step():
    done = run("-c", "import zeka; zeka.ZEKAGetVersion(); " + PLUG)
    assert done.returncode == 1
    assert "python3 -m zeka.simulate" in done.stderr.splitlines()[-1]


def test_after_threads_were_started_the_launcher_helps(tmp_path):
    program = tmp_path / "program.py"
    program.write_text(THREADED + "import sys; print(sys.argv[1:]); " + PLUG)
    done = run("-m", "zeka.simulate", str(program), "one", "two")
    assert (done.returncode, done.stdout) == (0, "['one', 'two']\nplugged\n"), done.stderr


def test_a_missing_library_is_said_with_the_place_to_name_it():
    done = run("-c", "import zeka; zeka.connect()", ZEKA_LIBRARY="/nowhere/libzeka.so")
    assert done.returncode == 1
    assert "zeka.errors.LibraryNotFound: /nowhere/libzeka.so" in done.stderr and "ZEKA_LIBRARY" in done.stderr
    done = run("-m", "zeka.simulate", "program.py", ZEKA_SIM_LIBRARY="/nowhere/libzeka_sim.so")
    assert done.returncode == 1
    assert done.stderr.startswith("zeka.simulate: /nowhere/libzeka_sim.so") and done.stderr.count("\n") == 1
