"""Every example runs, and the virtual instrument measures what it says it plays."""

import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest

import zeka

SOURCES = Path(os.environ["ZEKA_EXAMPLES"])
BUILT = Path(os.environ["ZEKA_EXAMPLES_BUILT"])
COMMAND = os.environ.get("ZEKA_COMMAND")
PATIENCE_S = 60
THREADS = ThreadPoolExecutor()


def words(name, *arguments):
    place = SOURCES if "." in name else BUILT
    start = [sys.executable] if name.endswith(".py") else []
    return [*start, str(place / name), *map(str, arguments)]


def start(name, *arguments):
    return subprocess.Popen(words(name, *arguments), stdout=subprocess.PIPE, text=True)


def soon(call, *arguments, **options):
    """Begins a call now, ahead of the program that is then started, and gives its result later."""
    return THREADS.submit(call, *arguments, timeout=PATIENCE_S, **options)


def finish(process):
    """The rest of its output; it must have ended well."""
    text, _ = process.communicate(timeout=PATIENCE_S)
    assert process.returncode == 0, text
    return text


@pytest.fixture
def virtual():
    with zeka.simulated() as instrument:
        yield instrument


def test_connect_and_play(virtual):
    measured = soon(virtual.measure, 1)
    assert "playing on ZZE023A-210345" in finish(start("connect_and_play", 2))
    ac, _ = measured.result()
    assert ac.frequency_hz == pytest.approx(10, abs=0.01)
    assert ac.peak_to_peak_mv == pytest.approx(1, abs=0.001)
    assert not virtual.state.output_on


def test_upload(virtual):
    assert "stored: the instrument plays it without a host" in finish(start("upload", 60))
    state = virtual.state
    assert (state.waveform_stores, state.stored_function, state.stored_frequency_hz) == (1, 7, 1.0)


def test_paced_ecg(virtual):
    measured = soon(virtual.measure, 3)
    text = finish(start("paced_ecg", 4))
    _, dc = measured.result()
    assert dc.pulses_per_minute == pytest.approx(72, abs=0.1)
    assert float(re.search(r"([\d.]+) per minute", text).group(1)) == pytest.approx(72, abs=0.1)
    assert float(re.search(r"R wave ([\d.]+) mV", text).group(1)) == pytest.approx(0.875, abs=0.002)


def test_pulled_cable(virtual):
    program = start("pulled_cable", 2)
    lines = iter(program.stdout.readline, "")
    assert [next(lines).strip() for _ in range(2)] == ["waiting for an instrument", "playing"]
    virtual.capture(0.1, timeout=PATIENCE_S)
    virtual.unplug()
    assert next(lines).strip() == "the cable was pulled"
    virtual.plug(7)
    before = virtual.stats.played_samples
    assert next(lines).strip() == "playing"
    finish(program)
    assert virtual.stats.played_samples > before


def test_scan(virtual):
    text = finish(start("scan.py", 1, 40, 10))
    told = [float(hz) for hz in re.findall(r"([\d.]+) Hz", text)]
    assert len(told) >= 10 and told == sorted(told) and told[-1] == pytest.approx(40, abs=0.1)
    assert text.endswith("done\n")
    assert virtual.stats.played_samples >= 10 * 40000


def test_play_recording(virtual, tmp_path):
    path = tmp_path / "step.txt"
    path.write_text("1000\n1500\n2\nI,II\n" + "0,1.5\n" * 750 + "0,-1.5\n" * 750)
    played = soon(virtual.capture, 1.4)
    assert finish(start("play_recording.py", path, 1)) == "1500 samples\nplayed\n"
    ac = played.result().ac
    assert max(ac) == pytest.approx(1.5, abs=0.001) and min(ac) == pytest.approx(-1.5, abs=0.001)
    missing = subprocess.run(words("play_recording.py", tmp_path / "none.txt"), capture_output=True, text=True)
    assert missing.returncode == 1 and "cannot be opened" in missing.stderr


@pytest.mark.skipif(COMMAND is None, reason="the zeka command is not built")
def test_headless_ci():
    environment = dict(os.environ, PATH=f"{Path(COMMAND).parent}:{os.environ['PATH']}")
    environment.pop("ZEKA_PRIVATE_DEV", None)

    def job(*program):
        return subprocess.run(
            words("headless_ci.sh", *program), env=environment, capture_output=True, text=True, timeout=PATIENCE_S
        )

    done = job(BUILT / "connect_and_play", 2)
    assert done.returncode == 0 and done.stdout.endswith("all well\n"), done.stdout + done.stderr
    assert job("false").returncode == 1


def test_the_list_of_examples_is_whole():
    listed = set(re.findall(r"\]\(([\w.]+)\)", (SOURCES / "README.md").read_text()))
    assert listed >= {path.name for path in SOURCES.iterdir() if path.suffix in (".c", ".cpp", ".py", ".sh")}
    for name in listed & {path.name for path in SOURCES.iterdir()}:
        source = (SOURCES / name).read_text()
        row = next(line for line in (SOURCES / "README.md").read_text().splitlines() if f"]({name})" in line)
        for call in re.findall(r"`(\w+)`", row.rpartition("|")[0].rpartition("|")[2]):
            assert call in source, f"{name} does not use {call}"
