"""Output functions and settings under the names that the zeka command uses, with unit and range."""

from __future__ import annotations

from typing import Callable, NamedTuple, Union

from . import functions as plain
from .errors import check_range


class OutputFunction(NamedTuple):
    name: str
    number: int  # for ZEKASetOutputFunction
    highest_hz: float  # 0.0: it has a period of its own
    variants: tuple[str, ...]
    what: str


_IEC_27 = ("aami3a", "aami3b", "aami3c", "aami3d", "aami4a", "aami4a_d", "aami4a_h", "aami4b", "aami4b_d", "aami4b_h")
_IEC_51 = (
    *("CAL05000", "CAL10000", "CAL15000", "CAL20000", "CAL30000", "CAL50000", "CAL20002", "CAL20100"),
    *("CAL20110", "CAL20160", "CAL20200", "CAL20210", "CAL20260", "CAL20500", "CAL20502", "CAL40000"),
)
_IEC_47 = ("triangles", "rr-0.8s", "rr-1.0s", "rr-3.0s", "rr-1.5s")
_LEADS = ("I", "II", "III", "V1", "V2", "V3", "V4", "V5", "V6")

OUTPUT_FUNCTIONS = {
    function.name: function
    for function in (
        OutputFunction("sine", 1, 500.0, (), "sine"),
        OutputFunction("triangle", 2, 500.0, (), "triangle"),
        OutputFunction("square", 3, 500.0, (), "square wave"),
        OutputFunction("rectangular-pulse", 4, 5.0, (), "one rectangular pulse in every period"),
        OutputFunction("triangular-pulse", 5, 5.0, (), "one triangular pulse in every period"),
        OutputFunction("exponential", 6, 5.0, (), "decay with a time constant of 50 ms in every period"),
        OutputFunction("ecg", 7, 6.0, (), "ECG of QRS and T wave"),
        OutputFunction("ecg-custom", 8, 6.0, (), "ECG with adjustable P, QRS, ST and T"),
        OutputFunction("iec-2-27", 9, 0.0, _IEC_27, "IEC 60601-2-27 test waveform"),
        OutputFunction("iec-2-51", 10, 0.0, _IEC_51, "IEC 60601-2-51 calibration waveform"),
        OutputFunction("biphasic", 13, 0.0, (), "two decays of opposite sign in every second"),
        OutputFunction("recording", 14, 0.0, (), "the recording that load() read"),
        OutputFunction("dynamic-range-input", 15, 0.0, (), "DC from -300 to 300 mV and back in 1220 s"),
        OutputFunction("iec-2-47", 16, 0.0, _IEC_47, "IEC 60601-2-47 pattern"),
        OutputFunction("ane20000", 17, 0.0, _LEADS, "IEC 60601-2-51 waveform ANE20000, one lead"),
        OutputFunction("samples", 18, 0.0, (), "the samples that load_samples() took"),
    )
}

SETTERS_OF_VARIANTS: dict[str, Callable[[int], int]] = {
    "iec-2-27": plain.SetSpecialWave227,
    "iec-2-51": plain.SetSpecialWave251,
    "iec-2-47": plain.SetSpecialWave247,
    "ane20000": plain.SetANE20000Lead,
}


def find_function(name: str) -> tuple[OutputFunction, int]:
    """ "iec-2-27:aami3b" or "iec-2-27:1" as the function and the number of its variant. Raises ValueError."""
    base, _, variant = name.partition(":")
    function = OUTPUT_FUNCTIONS.get(base)
    if function is None:
        raise ValueError(f"no output function is called {name!r}; they are {', '.join(OUTPUT_FUNCTIONS)}")
    if not variant:
        return function, 0
    by_name = {known.lower(): number for number, known in enumerate(function.variants)}
    by_name.update({str(number): number for number in range(len(function.variants))})
    if variant.lower() not in by_name:
        known = ", ".join(function.variants) or "without variants"
        raise ValueError(f"there is no {name}; {base} is {known}")
    return function, by_name[variant.lower()]


class Setting(NamedTuple):
    name: str
    unit: str
    low: float
    high: float
    stem: str  # of the setter and the getter
    what: str
    whole: bool = False
    channel: bool = False  # the setter takes a channel ahead of the value

    def check(self, value: float) -> Union[int, float]:
        """The value as the setter takes it. Raises what check_range() raises."""
        check_range(self.name, value, self.low, self.high, self.unit, self.whole)
        return int(value) if self.whole else float(value)

    def store(self, value: float) -> int:
        """Calls the setter; its result."""
        checked = self.check(value)
        setter: Callable[..., int] = getattr(plain, f"ZEKASet{self.stem}")
        return setter(0, checked) if self.channel else setter(checked)

    def read(self) -> float:
        getter: Callable[[], float] = getattr(plain, f"ZEKAGet{self.stem}")
        return getter()


# In the order in which they are set. The PR interval stands ahead of the P duration, which a short interval shortens:
# a duration that was asked for has the last word. The height switches pacing on, so it comes after all that shapes it.
SETTINGS = {
    setting.name: setting
    for setting in (
        Setting("amplitude", "mV", -10, 10, "Amplitude", "of the main signal"),
        Setting("frequency", "Hz", 0.017, 500, "Frequency", "periods per second"),
        Setting("pulse_width", "ms", 1, 300, "PulseWidth", "at its base"),
        Setting("qrs", "ms", 5, 200, "QRSDuration", "QRS duration"),
        Setting("t_wave", "mV", 0, 5, "TWave", "T wave height"),
        Setting("pr_interval", "ms", 0, 200, "PRInterval", "start of P to start of QRS"),
        Setting("p_duration", "ms", 50, 100, "PDuration", "P wave duration"),
        Setting("p_wave", "mV", 0, 2, "PWave", "P wave height"),
        Setting("qt_interval", "ms", 100, 900, "QTInterval", "start of QRS to end of T"),
        Setting("st_deviation", "mV", -2, 2, "STDeviation", "ST level"),
        Setting("st_segment", "ms", 100, 900, "STSegment", "weight of ST against T in what QRS leaves of QT"),
        Setting("t_duration", "ms", 100, 900, "TDuration", "weight of T against ST in what QRS leaves of QT"),
        Setting("dc_offset", "mV", -1000, 1000, "DCOffset", "level of the DC channel", whole=True, channel=True),
        Setting("pacing_width", "ms", 0.1, 3, "PacingDuration", "width of a pacing pulse"),
        Setting("pacing_rate", "per minute", 10, 360, "PacingRate", "of its own, not that of the signal", whole=True),
        Setting("overshoot", "mV", -5, 5, "OvershootAmplitude", "after a pulse, on the AC channel; the sign is dropped"),
        Setting("overshoot_time", "ms", 0, 100, "OvershootTimeConstant", "of the overshoot; 0: none", whole=True),
        Setting("pacing", "mV", -700, 700, "PacingAmplitude", "height of the pulses, on the DC channel; 0: none"),
    )
}
