"""The virtual instrument in this process: zeka.simulated().

Its node, /dev/ttyACM<n>, needs a /dev that may be written. So the process moves into a private world, as the command
'zeka sim' makes one for a program: the machine's own instruments are out of sight from then on, programs that are
started find the virtual one. An ordinary user's process can do that only while it has a single thread: before the first
call of the library, and before numpy where numpy brings threads. Where that is too late, start the program with

    python3 -m zeka.simulate PROGRAM.py ...

which moves first and runs the program then."""

from __future__ import annotations

import array
import ctypes
import errno
import os
from typing import Any, NamedTuple, Optional

from . import _library
from .errors import Error, LibraryNotFound, NotConnected
from .instrument import SAMPLES_PER_SECOND, Recording, as_numpy

SONAME = "libzeka_sim.so.1"


class Channel(NamedTuple):
    """What a bench would read off one output; NaN where the window does not show it. pulse_* are the excursions beyond
    half of the way from the resting level to the farther extreme; their height is signed."""

    minimum_mv: float
    maximum_mv: float
    peak_to_peak_mv: float
    mean_mv: float
    rms_mv: float
    frequency_hz: float
    pulse_height_mv: float
    pulse_width_ms: float
    pulses_per_minute: float


class Stats(NamedTuple):
    """What the instrument counted since it was made; worst_answer_us is NaN before the first answer."""

    bursts: int
    requests: int
    played_samples: int
    sequence_gaps: int
    underruns: int
    bad_headers: int
    commands: int
    unknown_bytes: int
    worst_answer_us: float


class State(NamedTuple):
    """What the instrument is doing, and what was stored in it."""

    plugged: bool
    output_on: bool  # the host streams
    memory_playing: bool  # the uploaded period is being played
    port: int  # -1: none
    waveform_stores: int  # times a waveform was stored for playing without a host
    stored_samples: int  # of its period
    stored_function: int  # 0: none
    stored_frequency_hz: float


class _CHANNEL(ctypes.Structure):
    _fields_ = [(name, ctypes.c_double) for name in Channel._fields]


class _STATS(ctypes.Structure):
    _fields_ = [(name, ctypes.c_double if name.endswith("_us") else ctypes.c_uint64) for name in Stats._fields]


class _STATE(ctypes.Structure):
    _fields_ = [
        ("plugged", ctypes.c_bool),
        ("output_on", ctypes.c_bool),
        ("memory_playing", ctypes.c_bool),
        ("port", ctypes.c_int),
        ("waveform_stores", ctypes.c_uint32),
        ("stored_samples", ctypes.c_uint32),
        ("stored_function", ctypes.c_uint32),
        ("stored_frequency_hz", ctypes.c_double),
    ]


_loaded: Optional[ctypes.CDLL] = None


def _sim() -> ctypes.CDLL:
    """libzeka_sim: the file that ZEKA_SIM_LIBRARY names, else what the system finds."""
    global _loaded
    if _loaded is None:
        path = os.environ.get("ZEKA_SIM_LIBRARY") or SONAME
        try:
            sim = ctypes.CDLL(path)
        except OSError as error:
            raise LibraryNotFound(
                f"{path} cannot be loaded ({error}); install the virtual instrument, or name the file in the "
                "environment variable ZEKA_SIM_LIBRARY"
            ) from error
        handle, doubles = ctypes.c_void_p, ctypes.POINTER(ctypes.c_double)
        sim.zeka_sim_new.restype = handle
        sim.zeka_sim_new.argtypes = [ctypes.c_bool]
        sim.zeka_sim_in_private_dev.restype = ctypes.c_bool
        sim.zeka_sim_last_error.restype = ctypes.c_char_p
        sim.zeka_sim_free.restype = None
        sim.zeka_sim_free.argtypes = [handle]
        sim.zeka_sim_plug.argtypes = [handle, ctypes.c_int]
        sim.zeka_sim_unplug.argtypes = [handle]
        sim.zeka_sim_capture.argtypes = [handle, ctypes.c_size_t, ctypes.c_uint, doubles, doubles]
        sim.zeka_sim_measure.argtypes = [doubles, ctypes.c_size_t, ctypes.POINTER(_CHANNEL)]
        sim.zeka_sim_stats.argtypes = [handle, ctypes.POINTER(_STATS)]
        sim.zeka_sim_state.argtypes = [handle, ctypes.POINTER(_STATE)]
        _loaded = sim
    return _loaded


def _require(result: int, what: str) -> None:
    if result != 0:
        raise Error(f"{what}: {_sim().zeka_sim_last_error().decode('utf-8', 'replace')}")


def enter_private_dev() -> None:
    """Moves this process into a private world, for good; see the module. Does nothing inside one."""
    sim = _sim()
    if sim.zeka_sim_in_private_dev():
        return
    later = "start the program with 'python3 -m zeka.simulate PROGRAM.py' instead"
    if _library.loaded():
        raise Error(f"simulated: the library has been called already; call zeka.simulated() first, or {later}")
    result = sim.zeka_sim_enter_private_dev()
    if result == errno.EBUSY:
        raise Error(f"simulated: this process runs several threads already; call zeka.simulated() earlier, or {later}")
    if result != 0 and not os.access("/dev", os.W_OK):
        _require(result, "simulated")
    os.environ["ZEKA_PRIVATE_DEV"] = "1" if result == 0 else "0"  # for programs that are started with a copy of it


def simulated(port: Optional[int] = 0, *, fast: bool = False) -> VirtualInstrument:
    """Plugs a virtual instrument in at /dev/ttyACM<port>, with None into no port yet; the end of a with block pulls it.
    `fast` plays every burst at once instead of in real time.

        with zeka.simulated() as virtual, zeka.connect() as z:
            z.play("sine", frequency=10)
            print(virtual.measure(seconds=1)[0].frequency_hz)

    Raises zeka.Error where the process cannot move into a private world; see zeka.virtual."""
    enter_private_dev()
    virtual = VirtualInstrument(fast=fast)
    if port is not None:
        virtual.plug(port)
    return virtual


class VirtualInstrument:
    """A virtual instrument; made by simulated()."""

    def __init__(self, *, fast: bool = False) -> None:
        self._handle: Optional[int] = _sim().zeka_sim_new(fast)
        self._port = 0
        self._process = os.getpid()
        if not self._handle:
            _require(-1, "simulated")

    def __enter__(self) -> VirtualInstrument:
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def close(self) -> None:
        """Pulls and forgets it; in a fork of its process only forgets it, for it is the parent's."""
        handle, self._handle = getattr(self, "_handle", None), None
        if handle and self._process == os.getpid():
            _sim().zeka_sim_free(handle)

    def plug(self, port: Optional[int] = None) -> None:
        """Plugs it in, at the last port or another one."""
        port = self._port if port is None else port
        _require(_sim().zeka_sim_plug(self._handle, port), "plug")
        self._port = port

    def unplug(self) -> None:
        """Pulls the cable."""
        _require(_sim().zeka_sim_unplug(self._handle), "unplug")

    def capture(self, seconds: float = 1.0, timeout: Optional[float] = None) -> Recording:
        """What both outputs play from now on, in mV (AC as without respiration). Raises NotConnected when that much is
        not played within `timeout` seconds, 10 more than it takes where none is given. Ctrl-C is heard after that."""
        count = max(1, round(seconds * SAMPLES_PER_SECOND))
        ac, dc = array.array("d", [0.0]) * count, array.array("d", [0.0]) * count
        patience = seconds + 10.0 if timeout is None else timeout
        room = ctypes.c_double * count
        result = _sim().zeka_sim_capture(
            self._handle, count, round(patience * 1000.0), room.from_buffer(ac), room.from_buffer(dc)
        )
        if result == errno.ETIMEDOUT:
            raise NotConnected(f"capture: {seconds:g} s of signal were not played within {patience:g} s")
        _require(result, "capture")
        return Recording(float(SAMPLES_PER_SECOND), as_numpy(ac), as_numpy(dc))

    def measure(self, seconds: float = 1.0, timeout: Optional[float] = None) -> tuple[Channel, Channel]:
        """AC and DC over a window of the next samples."""
        window = self.capture(seconds, timeout)
        return measure(window.ac), measure(window.dc)

    @property
    def stats(self) -> Stats:
        told = _STATS()
        _require(_sim().zeka_sim_stats(self._handle, ctypes.byref(told)), "stats")
        return Stats(*(getattr(told, name) for name in Stats._fields))

    @property
    def state(self) -> State:
        told = _STATE()
        _require(_sim().zeka_sim_state(self._handle, ctypes.byref(told)), "state")
        return State(*(getattr(told, name) for name in State._fields))


def measure(millivolts: Any) -> Channel:
    """Levels and timing of a window of one channel, 40000 values per second."""
    values = (ctypes.c_double * len(millivolts))(*millivolts)
    told = _CHANNEL()
    _require(_sim().zeka_sim_measure(values, len(values), ctypes.byref(told)), "measure")
    return Channel(*(getattr(told, name) for name in Channel._fields))
