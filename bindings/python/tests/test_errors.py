"""What is refused, and how that is said."""

import array
import ctypes
import math
import pickle
import threading

import pytest

import zeka


def test_ranges_are_those_of_the_library(z):
    for setting in zeka.SETTINGS.values():
        step = 1 if setting.whole else 0.0009
        setter = getattr(zeka, f"ZEKASet{setting.stem}")
        number = int if setting.whole else float
        channel = (0,) if setting.channel else ()
        for end in (setting.low, setting.high):
            z.set(**{setting.name: end})
            assert setting.name == "overshoot" or z.get(setting.name) == end
        for beyond in (setting.low - step, setting.high + step):
            if beyond >= 0 or setting.stem not in ("PacingRate", "OvershootTimeConstant"):  # unsigned in C
                assert setter(*channel, number(beyond)) == -2, setting.name
            with pytest.raises(zeka.OutOfRange):
                z.set(**{setting.name: beyond})


def test_a_refused_value_is_named_with_its_range_and_nothing_is_stored(z):
    with pytest.raises(zeka.OutOfRange, match=r"amplitude: 12\.5 lies outside -10 \.\. 10 mV") as caught:
        z.set(frequency=3.0, amplitude=12.5)
    assert (caught.value.name, caught.value.value, caught.value.low, caught.value.high) == ("amplitude", 12.5, -10, 10)
    assert isinstance(caught.value, ValueError)
    assert z.get("frequency") == 1.0
    for wrong in (math.nan, math.inf):
        with pytest.raises(zeka.OutOfRange):
            z.set(frequency=wrong)
    with pytest.raises(zeka.OutOfRange, match="whole numbers"):
        z.set(dc_offset=0.5)
    with pytest.raises(zeka.OutOfRange, match=r"rate of ecg: 400 lies outside 1\.02 \.\. 360 per minute"):
        z.play("ecg", rate=400)
    with pytest.raises(zeka.OutOfRange, match="rate of ecg"):
        z.store("ecg", rate=400)
    with pytest.raises(zeka.OutOfRange, match=r"baseline: 101 lies outside 0 \.\. 100 %"):
        z.breathe(15, baseline=101)
    with pytest.raises(TypeError, match="amplitude: '1' is no number"):
        z.set(amplitude="1")
    with pytest.raises(ValueError, match="there is no setting amplitute"):
        z.get("amplitute")
    with pytest.raises(TypeError, match="there is no setting amplitute"):
        z.set(amplitute=1)
    with pytest.raises(ValueError, match="aami3a"):
        z.play("iec-2-27:nothing")
    assert not z.playing


def test_a_refused_value_survives_a_pool_of_processes():
    with pytest.raises(zeka.OutOfRange) as caught:
        zeka.SETTINGS["dc_offset"].check(0.5)
    again = pickle.loads(pickle.dumps(caught.value))
    assert str(again) == str(caught.value) and vars(again) == vars(caught.value)


def test_a_sweep_holds_the_frequency(z):
    with z.sweep(1.0, 10.0, seconds=10):
        with pytest.raises(zeka.Held, match="frequency"):
            z.set(frequency=5.0)


def test_a_missing_instrument_is_said(virtual):
    virtual.unplug()
    with pytest.raises(zeka.NotConnected, match="no instrument at /dev/ttyACM3 within 0 s"):
        zeka.connect(port=3, timeout=0)
    with pytest.raises(zeka.NotConnected):
        zeka.Instrument().set(amplitude=1)
    with pytest.raises(zeka.NotConnected):
        zeka.Instrument().identity


def test_a_second_connect_is_refused_and_leaves_the_first_alone(z):
    with pytest.raises(zeka.Refused, match="connected already"):
        zeka.connect(timeout=0)
    assert z.connected


def test_a_recording_of_nothing_is_not_blamed_on_the_instrument(z):
    with pytest.raises(zeka.Refused, match="nothing plays"):
        z.record(0.1)


@pytest.mark.parametrize("listen", [lambda z: z.points(), lambda z: z.sweep(1.0, 100.0, seconds=180)])
def test_a_pulled_cable_ends_an_iterator(z, virtual, listen):
    heard = listen(z)
    if not z.playing:
        z.play("sine")
    next(heard)
    virtual.unplug()
    for _ in heard:  # a loop that never ends is what this would find
        pass
    assert not z.connected and not z.playing


def test_a_pulled_cable_ends_a_wait(z, virtual):
    z.play("sine")
    puller = threading.Timer(0.2, virtual.unplug)
    puller.start()
    with pytest.raises(zeka.NotConnected, match="lost"):
        z.wait(60)
    puller.join()


def test_plain_functions_answer_with_numbers_and_check_their_arguments(z):
    assert zeka.ZEKASetAmplitude(11.0) == -2
    assert zeka.ZEKAGetSerialNumber() == "ZZE023A-210345"
    assert zeka.LoadECGBin("/no/such/file") == -1
    with pytest.raises(TypeError, match="takes 1 arguments, not 2"):
        zeka.ZEKASetAmplitude(1.0, 2.0)
    with pytest.raises(ctypes.ArgumentError):
        zeka.ZEKASetOutputFunction(1.5)
    with pytest.raises(TypeError, match="buffer of double"):
        zeka.DumpRawData(array.array("f", [0.0] * 4), 4, "/dev/null")
