"""What is asked for is what the virtual instrument measures, and what callbacks and recordings tell."""

import array
import gc
import math
import os
import subprocess
import sys
import textwrap
import threading

import pytest

import zeka


def test_a_sine_arrives_as_it_was_asked_for(z, virtual):
    z.play("sine", frequency=10, amplitude=2)
    ac, _ = virtual.measure(seconds=1)
    assert ac.frequency_hz == pytest.approx(10, abs=0.01)
    assert ac.peak_to_peak_mv == pytest.approx(2, abs=0.001)
    assert virtual.stats.sequence_gaps == 0
    z.stop()
    assert not z.playing and not virtual.state.output_on


def test_what_plays_now_does_not_hold_the_next_frequency_down(z):
    for running, hz in (("rectangular-pulse", 5.0), ("ecg", 6.0)):
        z.play(running, frequency=hz)
        z.play("sine", frequency=100)
        z.wait(0.4)  # two periods of what ran before
        assert z.get("frequency") == 100


def test_a_paced_ecg_has_its_pulses_and_tells_them(z, virtual):
    corners = z.pacing_corners()
    with corners:
        z.play("ecg", rate=120, pacing=5, pacing_width=2)
        _, dc = virtual.measure(seconds=2)
        rectangle = [next(corners) for _ in range(4)]
    assert dc.pulses_per_minute == pytest.approx(120, abs=0.1)
    assert dc.pulse_height_mv == pytest.approx(5, abs=0.05)
    assert [height for _, height in rectangle] == [0, 5, 5, 0]
    assert rectangle[2][0] - rectangle[1][0] == pytest.approx(0.002)


def test_points_come_every_quarter_millisecond_until_the_output_stops(z):
    points = z.points()
    z.play("triangle", frequency=5)
    told = [next(points) for _ in range(2000)]
    gaps = [after[0] - before[0] for before, after in zip(told, told[1:])]
    assert max(gaps) == pytest.approx(0.00025) and min(gaps) == pytest.approx(0.00025)
    assert max(mv for _, mv in told) == pytest.approx(0.5, abs=0.001)
    z.stop()
    for _ in points:  # what was heard by then, and ends
        pass


def test_a_listener_is_kept_alive_and_may_raise(z, monkeypatch):
    raised = threading.Event()
    monkeypatch.setattr(sys, "unraisablehook", lambda what: raised.set())

    def listen(seconds, mv):
        raise RuntimeError("in a callback")

    with z.on_points(listen):
        del listen
        gc.collect()
        z.play("sine")
        assert raised.wait(20)
        z.stop()
    assert z.connected


def test_a_sweep_tells_where_it_is(z):
    with z.sweep(1.0, 100.0, seconds=10) as frequencies:
        told = [next(frequencies) for _ in range(50)]
    assert told == sorted(told) and 1.0 <= told[0] < told[-1] < 30.0


def test_a_recording_is_what_the_instrument_played(z, virtual):
    z.play("square", frequency=4, amplitude=1, dc_offset=100)
    sent = z.record(0.5)
    played = virtual.capture(0.5)
    assert len(sent.ac) == 20000 and sent.rate == 40000
    for mine, theirs in ((sent.ac, played.ac), (sent.dc, played.dc)):
        assert max(mine) == pytest.approx(max(theirs), abs=0.05)
        assert min(mine) == pytest.approx(min(theirs), abs=0.05)
    assert math.isclose(sum(sent.dc) / len(sent.dc), 100, abs_tol=0.05)


def test_samples_and_files_are_played(z, virtual, tmp_path):
    ramp = [index / 500 - 1 for index in range(1000)]
    assert z.load_samples(ramp, [50.0] * 1000, rate=1000) == 1000
    z.play("samples")
    ac, dc = virtual.measure(seconds=2)
    assert ac.frequency_hz == pytest.approx(1, abs=0.01)
    assert ac.peak_to_peak_mv == pytest.approx(2, abs=0.01)
    assert dc.mean_mv == pytest.approx(50, abs=0.1)
    z.stop()

    path = tmp_path / "ramp.txt"
    assert zeka.OutputRaw(1000, len(ramp), array.array("d", ramp), "I", path) == 0
    assert z.load(path, channel=0) == 1000
    with pytest.raises(zeka.Refused, match="no such channel"):
        z.load(path, channel=1)
    with pytest.raises(zeka.Refused, match="cannot be opened"):
        z.load(tmp_path / "absent.txt")


def test_a_waveform_is_stored_for_playing_alone(z, virtual):
    z.store("ecg", rate=60)
    state = virtual.state
    assert (state.waveform_stores, state.stored_function, state.stored_frequency_hz) == (1, 7, 1.0)
    assert state.stored_samples == zeka.GetPixelNumberByFrequency(1.0)


def test_numpy_arrays_are_given_and_taken_where_it_is_there(z):
    numpy = pytest.importorskip("numpy")
    wave = zeka.samples_of("iec-2-51:CAL10000")
    assert isinstance(wave.ac, numpy.ndarray) and wave.ac.shape == (1000,) and wave.rate == 1000
    assert z.load_samples(wave.ac, rate=wave.rate) == 1000
    assert zeka.DumpRawData(numpy.zeros(4), 4, "/dev/null") == 0
    with pytest.raises(TypeError):
        zeka.DumpRawData(numpy.zeros(4, dtype=numpy.float32), 4, "/dev/null")


def test_a_process_that_ends_while_it_streams_and_listens_ends_cleanly(virtual):
    program = textwrap.dedent(
        """
        import zeka
        z = zeka.connect(timeout=20)
        z.play("sine")
        points = z.points()
        next(points)
        z.on_points(lambda seconds, mv: None)
        print("playing")
        """
    )
    done = subprocess.run(
        [sys.executable, "-c", program], capture_output=True, text=True, timeout=60, env=dict(os.environ)
    )
    assert (done.returncode, done.stdout, done.stderr) == (0, "playing\n", "")
    assert not virtual.state.output_on


def test_a_fork_that_ends_leaves_the_connection_and_the_virtual_instrument_alone():
    program = textwrap.dedent(
        """
        import os, sys, zeka
        virtual = zeka.simulated(5)
        z = zeka.connect(port=5, timeout=20)
        z.play("sine")
        points = z.points()
        for _ in range(5):
            next(points)
            child = os.fork()
            if child == 0:
                try:
                    zeka.connect(timeout=0)
                except zeka.Refused:
                    sys.exit(0)
            assert os.waitpid(child, 0)[1] == 0
        assert z.connected and virtual.state.output_on
        z.close()
        """
    )
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stderr) == (0, "")


def test_a_lost_instrument_is_told_and_found_again(z, virtual):
    changes = []
    changed = threading.Semaphore(0)

    def note(connected):
        changes.append(connected)
        changed.release()

    z.on_connection(note)
    virtual.unplug()
    assert changed.acquire(timeout=20)
    virtual.plug(5)
    assert changed.acquire(timeout=20)
    assert changes == [False, True]
    z.play("sine", seconds=0.2)


def test_the_output_stage_is_told_in_one_record(z):
    stage = zeka.ZEKA_OUTPUT_STAGE()
    assert zeka.ZEKASetInputImpedanceMode(2, 3) == 0
    assert zeka.ZEKASetSignalGroundToGNDGround(1, True) == 0
    assert zeka.ZEKAGetOutputStage(stage) == 0
    assert list(stage.impedanceMode) == [0, 0, 3, 0]
    assert list(stage.signalGround) == [0, 1, 0, 0]
    stage.size = 4
    assert zeka.ZEKAGetOutputStage(stage) == -2
