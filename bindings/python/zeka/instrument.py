"""The connected instrument: zeka.connect() and what it gives."""

from __future__ import annotations

import array
import ctypes
import math
import os
import time
from typing import Any, Callable, Mapping, NamedTuple, Optional, Sequence, Union

from . import functions as plain
from . import streams
from ._library import of_the_parent
from .errors import Held, NoAnswer, NotConnected, Refused, check_range
from .signals import OUTPUT_FUNCTIONS, SETTERS_OF_VARIANTS, SETTINGS, OutputFunction, find_function

SAMPLES_PER_SECOND = 40000
COUNTS_PER_MV = 6400.0  # of a recorded AC word
_BURST = 700  # samples
_PER_MINUTE = 60.0
_LOOK_S = 0.02
_LONGEST_TIMEOUT_S = 4294967.0  # as many ms as 32 bits hold
_STALL_S = 3.0  # without a sample: the instrument has stopped asking
_NOISES = {"off": 0, "50": 1, "60": 2, "random": 3}
_BESIDE = ("rate", "second_pulse", "noise", "noise_amplitude", "drift", "drift_frequency")  # the table of settings
_SECOND_PULSES = {None: 0, 150: 1, 250: 2}  # ms beside the first one: pulse mode


class Recording(NamedTuple):
    """Samples of both channels in mV: numpy arrays where numpy is there, else arrays of the module array."""

    rate: float
    ac: Any
    dc: Any

    def __repr__(self) -> str:
        """Short: at a prompt nobody wants to read 40000 numbers a second."""
        return f"<Recording of {len(self.ac)} samples, {self.rate:g} per second>"


class Identity(NamedTuple):
    serial: str  # "ZZE023A-210345"
    model: str  # "ZE023A"
    library: str  # version, "1.0.5.2"


def connect(port: Optional[int] = None, timeout: float = 5.0) -> Instrument:
    """The instrument at /dev/ttyACM<port>, or the first one that answers. Raises NotConnected after `timeout` seconds.

    One process drives one instrument: while it is connected another call raises Refused. Leave the with block, or call
    close(), before connecting again; after a loss that may be left out.

    Ctrl-C is heard when the search is over: the library offers no way to end it that could not also end the connection
    after it. To wait long for an instrument, call this with a short timeout again and again."""
    _check("port", port, 0, 127, "")
    _check("timeout", timeout, 0.0, _LONGEST_TIMEOUT_S, "s")
    if of_the_parent():
        raise Refused("connect: a child of a connected process cannot connect; fork first, or start the child by 'spawn'")
    if plain.ZEKAIsConnected():  # a second ZEKAConnect would fail, and end the connection that is there
        raise Refused("connect: this process is connected already; use that connection, or close() it first")
    if plain.ZEKAConnect(-1 if port is None else port, round(timeout * 1000.0)) != 1:
        where = "on any port" if port is None else f"at /dev/ttyACM{port}"
        raise NotConnected(f"no instrument {where} within {timeout:g} s; 'zeka doctor' says what is in the way")
    return Instrument()


def samples_of(name: str) -> Recording:
    """A standard test waveform as the library's tables have it, in mV, dc empty: "iec-2-27:aami3b", "iec-2-51:CAL10000",
    "iec-2-47:rr-0.8s". Needs no instrument."""
    function, variant = find_function(name)
    readers: dict[str, tuple[Callable[..., Any], float]] = {
        "iec-2-27": (plain.GetSpecialWave227Array, 1e-3),
        "iec-2-51": (plain.GetSpecialWave251Array, 1e-3),
        "iec-2-47": (plain.GetSpecialWave247Array, 1.0),
    }
    if function.name not in readers:
        raise ValueError(f"{name} has no table; {', '.join(readers)} have")
    read, to_mv = readers[function.name]
    length, rate = ctypes.c_uint(), ctypes.c_uint()
    table = read(variant, ctypes.byref(length), ctypes.byref(rate))
    values = array.array("d", (value * to_mv for value in table[: length.value]))
    return Recording(float(rate.value), as_numpy(values), as_numpy(array.array("d")))


def as_numpy(values: array.array[float]) -> Any:
    """The same memory as a numpy array, where numpy is there."""
    try:
        import numpy
    except ImportError:
        return values
    return numpy.frombuffer(values, dtype=numpy.float64) if len(values) else numpy.empty(0)


def require(result: int, what: str) -> None:
    """Turns a setter's result into an exception; 0 is none."""
    if result == 0:
        return
    if result <= -3:
        raise Held(f"{what}: held by a running sweep or test; stop that first")
    if result == -2:
        raise Refused(f"{what}: refused; it does not go together with what is set")
    if not plain.ZEKAIsConnected():
        raise NotConnected(f"{what}: no instrument is connected; look after its cable and connect again")
    raise NoAnswer(f"{what}: the instrument asked for no samples within 3 s; unplug it and plug it in again")


class Instrument:
    """The connected instrument; made by connect(). The end of a with block stops the output and frees the port.

    Settings stay from one play() to the next; reset() takes them back."""

    def __enter__(self) -> Instrument:
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    def close(self) -> None:
        """Stops the output and frees the port. From any state, as often as you like."""
        plain.ZEKAFree()

    @property
    def connected(self) -> bool:
        return bool(plain.ZEKAIsConnected())

    @property
    def playing(self) -> bool:
        """Whether a signal streams; not any more once the instrument is lost."""
        return streams.streaming()

    @property
    def identity(self) -> Identity:
        info = plain.MODEL_INFORMATION()
        if plain.ZEKAGetDeviceInformation(ctypes.byref(info)) != 1:
            raise NotConnected("no instrument is connected; look after its cable and connect again")
        code = info.ModelCode
        version = plain.ZEKAGetVersion()
        return Identity(
            plain.ZEKAGetSerialNumber(),
            f"{code[0]:c}{code[1]:c}{code[2]:02X}{code[3]:02X}",
            ".".join(str(version >> shift & 0xFF) for shift in (24, 16, 8, 0)),
        )

    # ------------------------------------------------------------------------------------------- settings and signals

    def set(
        self,
        *,
        rate: Optional[float] = None,
        second_pulse: Optional[int] = None,
        noise: Union[str, int, None] = None,
        noise_amplitude: Optional[float] = None,
        drift: Optional[float] = None,
        drift_frequency: Optional[float] = None,
        **settings: float,
    ) -> None:
        """Changes settings, while a signal streams too. Names, units and ranges: zeka.SETTINGS; beside those

        rate             heart rate per minute, in the place of frequency
        second_pulse     a second pacing pulse so many ms beside the first one: 150 or 250; 0 for none
        noise            "off", "50" or "60" (hum in Hz), "random"; noise_amplitude in mV peak to peak, 0.01 .. 5
        drift            slow triangle in mV peak to peak, 1 .. 8, 0 for none; drift_frequency in Hz, 0.05 .. 2

        All values are checked before the first is stored. Raises OutOfRange, NotConnected, NoAnswer, Held."""
        beside = (rate, second_pulse, noise, noise_amplitude, drift, drift_frequency)
        _check_all({**settings, **dict(zip(_BESIDE, beside))})
        if rate is not None:
            settings["frequency"] = rate / _PER_MINUTE
        for setting in SETTINGS.values():
            if setting.name in settings:
                require(setting.store(settings[setting.name]), setting.name)
        if second_pulse is not None:
            require(plain.ZEKASetPacingPulseMode(_SECOND_PULSES.get(second_pulse, 0)), "second_pulse")
        self._set_noise(None if noise is None else str(noise), noise_amplitude)
        self._set_drift(drift, drift_frequency)

    def _set_noise(self, noise: Optional[str], amplitude: Optional[float]) -> None:
        if noise is None and amplitude is None:
            return
        kind = plain.GetECG2_27_NoiseFreq() if noise is None else _NOISES[noise]
        height = plain.GetECG2_27_NoiseAmp() if amplitude is None else float(amplitude)
        require(plain.SetECG2_27_Noise(kind, height), "noise")

    def _set_drift(self, height: Optional[float], hz: Optional[float]) -> None:
        if hz is not None:
            require(plain.SetECG2_27_AAMIDriftTestFreq(float(hz)), "drift_frequency")
        if height:
            require(plain.SetECG2_27_AAMIDriftTestAmp(float(height)), "drift")
        if height is not None:
            require(plain.SetECG2_27_AAMIDriftTest(bool(height)), "drift")

    def get(self, name: str) -> float:
        """A setting of zeka.SETTINGS, or the rate, as the library has it now."""
        if name == "rate":
            return plain.ZEKAGetFrequency() * _PER_MINUTE
        if name not in SETTINGS:
            raise ValueError(f"there is no setting {name}; there are rate, {', '.join(SETTINGS)}")
        return SETTINGS[name].read()

    def play(self, function: str, *, seconds: Optional[float] = None, once: bool = False, **settings: Any) -> None:
        """Plays an output function, for instance "ecg" or "iec-2-27:aami3b" (zeka.OUTPUT_FUNCTIONS), with settings as
        set() takes them.

        Returns when the signal streams; with `seconds` when it has played so long and the output is off. `once` plays a
        standard waveform, a recording or samples once. Raises what set() raises, ValueError for an unknown function."""
        selected, variant = find_function(function)
        _check_frequency(selected, settings)
        _check_all(settings)
        if _held_down_by_the_running_one(settings):
            self.stop()
        self.set(**settings)
        if selected.name in SETTERS_OF_VARIANTS:
            SETTERS_OF_VARIANTS[selected.name](variant)
        plain.SetStandardWaveformLoop(not once)
        plain.ZEKAEnableLoop(not once)
        require(plain.ZEKASetOutputFunction(selected.number), selected.name)
        if seconds is not None:
            self.wait(seconds)
            self.stop()

    def stop(self) -> None:
        """Switches the output off."""
        require(plain.ZEKASetOutputFunction(0), "stop")

    def wait(self, seconds: float = math.inf) -> bool:
        """Waits until the playback has ended by itself: True; False when `seconds` were over first. Raises NotConnected
        when the instrument is lost meanwhile."""
        end = time.monotonic() + seconds
        while True:
            if not plain.ZEKAIsConnected():
                raise NotConnected("the connection to the instrument was lost; look after its cable and connect again")
            if not plain.ZEKAIsPlaying():
                return True
            left = end - time.monotonic()
            if left <= 0.0:
                return False
            time.sleep(min(left, _LOOK_S))

    def reset(self) -> None:
        """Output off and the settings back to the defaults; see ZEKAReset for what stays."""
        plain.ZEKAReset()

    def breathe(
        self,
        per_minute: int,
        *,
        ratio: int = 1,
        apnea: int = 0,
        baseline: int = 0,
        amplitude: int = 0,
        rate: int = 0,
    ) -> None:
        """Lets the ECGs breathe, `per_minute` 1 .. 200 times, until the output stops; 0 ends it before.

        ratio        breathing out takes so many times as long as in, 1 .. 10
        apnea        no breath in the last so many seconds of each minute, 0 .. 59
        baseline     wander of the baseline, 0 .. 100 % of the amplitude
        amplitude    swing of the QRS, 0 .. 100 % of the amplitude
        rate         swing of the heart rate, 0 .. 50 %

        The percentages are those of amplitude and frequency at this moment: set these before."""
        _check_whole("per_minute", per_minute, 0, 200, "breaths per minute")
        _check_whole("ratio", ratio, 1, 10, "")
        _check_whole("apnea", apnea, 0, 59, "s")
        _check_whole("baseline", baseline, 0, 100, "%")
        _check_whole("amplitude", amplitude, 0, 100, "%")
        _check_whole("rate", rate, 0, 50, "%")
        done = plain.EnableRespiration(per_minute > 0) == 1
        if done and per_minute > 0:
            numbers = (int(number) for number in (per_minute, ratio, apnea, baseline, amplitude, rate))
            done = plain.SetRespireAlgorithmParam(*numbers) == 1
        require(0 if done else -1, "breathe")

    def sweep(self, start: float, stop: float, seconds: float) -> streams.Heard[float]:
        """A sine from `start` up to `stop` Hz, 0.67 .. 500, within 10 .. 180 s. Returns at once with an iterator over the
        frequencies as they are played, one a burst (17.5 ms), which ends with the sweep."""
        _check("start", start, 0.67, 500.0, "Hz")
        _check("stop", stop, 0.67, 500.0, "Hz")
        if not start < stop:
            raise Refused(f"sweep: it runs upwards, and {stop:g} Hz does not lie above {start:g} Hz")
        _check_whole("seconds", seconds, 10, 180, "s")
        heard = streams.frequencies()
        try:
            require(plain.ZEKASetFrequencyScan(True, int(seconds), float(start), float(stop)), "sweep")
        except BaseException:
            heard.close()
            raise
        return heard

    # ------------------------------------------------------------------------------------------ recordings and samples

    def load(self, path: Union[str, os.PathLike[str]], channel: Optional[int] = None) -> int:
        """Loads a recording for "recording" and returns its number of samples: with a channel (from 0) from a
        multi-channel text file, without from a single-channel one, or from a binary one that is called *.bin."""
        name = os.fspath(path)
        if channel is not None:
            count, errors = plain.LoadECGtxt(name, channel), _TEXT_ERRORS
        elif name.lower().endswith(".bin"):
            count, errors = plain.LoadECGBin(name), _BINARY_ERRORS
        else:
            count, errors = plain.LoadECGtxtSingle(name), _SINGLE_ERRORS
        if count <= 0:
            raise Refused(f"{name}: {errors.get(count, 'no samples')} (code {count})")
        return int(count)

    def load_samples(self, ac: Sequence[float], dc: Optional[Sequence[float]] = None, *, rate: float) -> int:
        """Takes samples in mV for "samples": AC limited to -5 .. 5, DC to -1000 .. 1000, 100 to 40000 per second."""
        _check("rate", rate, 100.0, 40000.0, "per second")
        if dc is not None and len(dc) != len(ac):
            raise ValueError(f"dc has {len(dc)} samples, ac has {len(ac)}")
        first = (ctypes.c_double * len(ac))(*ac)
        second = (ctypes.c_double * len(ac))(*(dc if dc is not None else ()))
        data = plain.RAW_WAVEFORM_DATA(float(rate), len(ac), first, second)
        count = plain.ZEKALoadRawData(ctypes.byref(data))
        if count <= 0:
            raise Refused("load_samples: no samples, or no memory for them")
        return int(count)

    def record(self, seconds: float) -> Recording:
        """What is sent to the instrument from now on, 40000 samples per second of both channels. AC in mV while no
        respiration is enabled. Raises NotConnected or NoAnswer when the samples stop coming, Refused when none have come
        for 3 s because nothing plays."""
        check_range("seconds", seconds, 0.0, 3600.0, "s")
        length = max(1, round(seconds * SAMPLES_PER_SECOND))
        blank = array.array("d", [math.nan])
        ac, dc = blank * length, blank * length
        if not plain.EnableRecordRaw(ac, dc, length):
            raise Refused("record: another recording is under way")
        try:
            came, since = 0, time.monotonic()
            while came < length:
                ahead = min(came + _BURST, length)
                if not math.isnan(dc[ahead - 1]):
                    came, since = ahead, time.monotonic()
                elif not plain.ZEKAIsConnected():
                    require(-1, "record")
                elif time.monotonic() - since > _STALL_S:
                    if not plain.ZEKAIsPlaying():
                        raise Refused("record: nothing plays; play() a signal first")
                    require(-1, "record")
                else:
                    time.sleep(_LOOK_S)
        finally:
            plain.DisableRecordRaw()  # the library no longer touches the arrays
        ac = array.array("d", (counts / COUNTS_PER_MV for counts in ac))
        return Recording(float(SAMPLES_PER_SECOND), as_numpy(ac), as_numpy(dc))

    # ------------------------------------------------------------------------------------------ the instrument's own

    def upload(self, function: str, **settings: Any) -> None:
        """Uploads one period of a function (sine to ecg-custom) and lets the instrument play it on its own. Whether it
        does is not told."""
        selected, _ = find_function(function)
        if not 1 <= selected.number <= 8:
            raise ValueError(f"{selected.name} cannot be uploaded; sine to ecg-custom can")
        _check_frequency(selected, settings)
        self.set(**settings)
        require(plain.ZEKAOutputSignal(selected.number), "upload")

    def store(self, function: str, **settings: Any) -> None:
        """Stores one period of a function in the instrument, which then plays it without a host. Stops a stream first;
        takes up to 20 s. Raises Refused when a step was not confirmed."""
        selected, _ = find_function(function)
        if not 1 <= selected.number <= 8:
            raise ValueError(f"{selected.name} cannot be stored; sine to ecg-custom can")
        _check_frequency(selected, settings)
        self.set(**settings)
        self.stop()
        if plain.ZEKASaveToStandaloneMode(selected.number) != 1:
            require(0 if plain.ZEKAIsConnected() else -1, "store")
            raise Refused(f"store: the instrument did not confirm {selected.name}; try again")

    def set_channel(
        self,
        channel: int,
        *,
        lead: Optional[int] = None,
        impedance: Optional[int] = None,
        ground: Optional[bool] = None,
    ) -> None:
        """Lead switch, input impedance network (0 .. 3) and signal ground of an output channel, 0 .. 3."""
        _check_whole("channel", channel, 0, 3, "")
        _check("impedance", impedance, 0, 3, "")
        if lead is not None:
            result = plain.ZEKASetOutputLead(channel, lead)
            if result == -2:
                raise Refused(f"lead: the instrument did not confirm it for channel {channel}; try again")
            require(result, "lead")
        if impedance is not None:
            require(plain.ZEKASetInputImpedanceMode(channel, impedance), "impedance")
        if ground is not None:
            require(plain.ZEKASetSignalGroundToGNDGround(channel, ground), "ground")

    # --------------------------------------------------------------------------------------------------- what is heard

    def points(self) -> streams.Heard[tuple[float, float]]:
        """Every 10th sample of the AC channel as (seconds since the start, mV), 4000 per second."""
        return streams.signal_points()

    def pacing_corners(self) -> streams.Heard[tuple[float, float]]:
        """Each pacing pulse as the four corners of a rectangle, (seconds, mV)."""
        return streams.pacing_corners()

    def on_points(self, listener: Callable[[float, float], Any]) -> streams.Subscription:
        """Calls the listener for every 10th sample, on the library's thread and under its lock: it must return well
        within 17.5 ms for 70 calls. points() is the relaxed form."""
        return streams.Subscription((streams.SIGNAL,), listener)

    def on_pacing(self, listener: Callable[[float, float], Any]) -> streams.Subscription:
        return streams.Subscription((streams.PACING, streams.SIGNAL), listener)

    def on_frequency(self, listener: Callable[[float], Any]) -> streams.Subscription:
        return streams.Subscription((streams.FREQUENCY,), listener)

    def on_function(self, listener: Callable[[int], Any]) -> streams.Subscription:
        return streams.Subscription((streams.FUNCTION,), listener)

    def on_connection(self, listener: Optional[Callable[[bool], Any]]) -> None:
        """Hears False when the instrument is lost and True when one has been found again, which is looked for about
        once a second; None for nobody. A new connection starts with nothing playing."""
        if not plain.ZEKAInit(listener):
            raise Refused("on_connection: the library's thread could not be started")


_TEXT_ERRORS = {
    -1: "cannot be opened",
    -2: "the rate is missing or lies outside 100 .. 40000 per second",
    -3: "the number of samples is missing or 0",
    -4: "the number of channels is missing or 0",
    -5: "the channel names are missing",
    -6: "no memory",
    -7: "no such channel, or a line with too few values",
}
_SINGLE_ERRORS = {
    -1: "cannot be opened",
    -2: "the rate is missing or 0",
    -3: "the number of samples is missing or 0",
    -4: "no memory",
}
_BINARY_ERRORS = {
    -1: "cannot be opened",
    -2: "the rate is missing or lies outside 30 .. 5000 per second",
    -3: "the number of samples is missing or lies outside 1 .. 20000000",
    -4: "no memory",
}


def _check_all(given: Mapping[str, Any]) -> None:
    """Every value that set() takes; None stands for one of those beside the table that was not given."""
    rate, noise, pulse, drift = (given.get(name) for name in ("rate", "noise", "second_pulse", "drift"))
    if rate is not None and "frequency" in given:
        raise TypeError("rate and frequency say the same; give one of them")
    _check("rate", rate, 1.02, 30000.0, "per minute")
    settings = {name: value for name, value in given.items() if name not in _BESIDE}
    unknown = settings.keys() - SETTINGS.keys()
    if unknown:
        known = ", ".join((*SETTINGS, *_BESIDE))
        raise TypeError(f"there is no setting {', '.join(sorted(unknown))}; there are {known}")
    for name, value in settings.items():
        SETTINGS[name].check(value)
    if pulse not in (*_SECOND_PULSES, 0):
        raise ValueError(f"second_pulse: {pulse!r} is none of 0, 150, 250 ms")
    if noise is not None and str(noise) not in _NOISES:
        raise ValueError(f"noise: {noise!r} is none of {', '.join(_NOISES)}")
    _check("noise_amplitude", given.get("noise_amplitude"), 0.01, 5.0, "mV")
    _check("drift_frequency", given.get("drift_frequency"), 0.05, 2.0, "Hz")
    if drift:
        _check("drift", drift, 1.0, 8.0, "mV")


def _check_frequency(selected: OutputFunction, settings: Mapping[str, Any]) -> None:
    """The function's own ceiling, in the words in which the value was given."""
    if selected.highest_hz:
        highest = selected.highest_hz
        _check(f"rate of {selected.name}", settings.get("rate"), 1.02, highest * _PER_MINUTE, "per minute")
        _check(f"frequency of {selected.name}", settings.get("frequency"), 0.017, highest, "Hz")


def _held_down_by_the_running_one(settings: Mapping[str, Any]) -> bool:
    """Whether what plays now would refuse, or pull down at its next period, the frequency that is meant for the next."""
    rate, hz = settings.get("rate"), settings.get("frequency")
    hz = rate / _PER_MINUTE if rate is not None else hz
    running = plain.ZEKAGetOutputFunction()
    ceiling = next((known.highest_hz for known in OUTPUT_FUNCTIONS.values() if known.number == running), 0.0)
    return hz is not None and 0.0 < ceiling < hz


def _check_whole(name: str, value: float, low: int, high: int, unit: str) -> None:
    check_range(name, value, low, high, unit, whole=True)


def _check(name: str, value: Optional[float], low: float, high: float, unit: str) -> None:
    if value is not None:
        check_range(name, value, low, high, unit)
