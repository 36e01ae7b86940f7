"""What goes wrong, as exceptions. All of them are zeka.Error."""

from __future__ import annotations

from typing import Any


class Error(Exception):
    """Anything that this module reports."""


class LibraryNotFound(Error, OSError):
    """libzeka, or the virtual instrument's library, cannot be loaded."""


class NotConnected(Error, ConnectionError):
    """No instrument was found, or the connection to it was lost."""


class NoAnswer(Error, TimeoutError):
    """The instrument is there, but did not answer or ask in time."""


class Held(Error):
    """A running sweep or test holds the setting."""


class Refused(Error):
    """The instrument or a file did not do what was asked."""


class OutOfRange(Error, ValueError):
    """A value outside its range; nothing was stored. Both ends belong to the range."""

    def __init__(self, name: str, value: Any, low: float, high: float, unit: str, whole: bool = False) -> None:
        kind = ", whole numbers" if whole else ""
        super().__init__(f"{name}: {value!r} lies outside {low:g} .. {high:g} {unit}{kind}".rstrip())
        self.name = name
        self.value = value
        self.low = low
        self.high = high
        self.unit = unit
        self.whole = whole

    def __reduce__(self) -> tuple[Any, ...]:
        """By its parts: a pool of processes hands it to its parent as any other exception."""
        return type(self), (self.name, self.value, self.low, self.high, self.unit, self.whole)


def check_range(name: str, value: Any, low: float, high: float, unit: str, whole: bool = False) -> None:
    """Raises OutOfRange, for NaN too, and TypeError for what is no number; both name the value."""
    try:
        inside = low <= value <= high and (not whole or value == int(value))
    except TypeError:
        raise TypeError(f"{name}: {value!r} is no number") from None
    if not inside:
        raise OutOfRange(name, value, low, high, unit, whole)
