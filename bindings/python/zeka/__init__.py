"""Zeka: drives an ECG patient simulator on USB.

    import zeka

    with zeka.connect() as z:
        z.play("ecg", rate=72, pacing=5, seconds=10)

The plain functions of the C library are here under their own names (zeka.ZEKASetAmplitude), with the results that
include/zeka/zeka.h tells. On top of them stand connect() and the Instrument that it gives, whose failures are exceptions
(zeka.Error), and simulated(), which plugs a virtual instrument in."""

from . import errors, functions, instrument, signals, streams, virtual
from .errors import Error, Held, LibraryNotFound, NoAnswer, NotConnected, OutOfRange, Refused
from .functions import *
from .instrument import Identity, Instrument, Recording, connect, samples_of
from .signals import OUTPUT_FUNCTIONS, SETTINGS, OutputFunction, Setting
from .streams import Heard, Subscription
from .virtual import VirtualInstrument, measure, simulated

__all__ = [
    "OUTPUT_FUNCTIONS",
    "SETTINGS",
    "Error",
    "Heard",
    "Held",
    "Identity",
    "Instrument",
    "LibraryNotFound",
    "NoAnswer",
    "NotConnected",
    "OutOfRange",
    "OutputFunction",
    "Recording",
    "Refused",
    "Setting",
    "Subscription",
    "VirtualInstrument",
    "connect",
    "measure",
    "samples_of",
    "simulated",
    "instrument",
    "errors",
    "functions",
    "signals",
    "streams",
    "virtual",
]
__all__ += functions.__all__
