"""The plain functions of libzeka under their own names, with the results that include/zeka/zeka.h tells: numbers, no
exceptions. What they do, and their units and ranges, stands there."""

from ._declarations import FUNCTIONS as _FUNCTIONS
from ._library import MODEL_INFORMATION, RAW_WAVEFORM_DATA, ZEKA_HW_INFORMATION, ZEKA_OUTPUT_STAGE, PlainFunction

globals().update({name: PlainFunction(declaration) for name, declaration in _FUNCTIONS.items()})

__all__ = ["MODEL_INFORMATION", "RAW_WAVEFORM_DATA", "ZEKA_HW_INFORMATION", "ZEKA_OUTPUT_STAGE", *_FUNCTIONS]
