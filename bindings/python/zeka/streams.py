"""The library's callbacks as iterators. A callback only puts what it hears into a queue, so that a slow loop never
makes the instrument run dry; a loop that is more than a minute behind loses the oldest values."""

from __future__ import annotations

import queue
import threading
from typing import Any, Callable, Generic, Iterator, TypeVar

from . import functions as plain

T = TypeVar("T")

_KEPT = 60 * 4000  # signal points in a minute
_LOOK_S = 0.05


def streaming() -> bool:
    """Whether samples can still come. The library's own answer stays as it was at a loss, until the next connection."""
    return bool(plain.ZEKAIsPlaying() and plain.ZEKAIsConnected())


class _Feed:
    """One registration of the library that any number of listeners share; registered while there is one.

    Listeners come and go on any thread, also inside a callback, and where the garbage collector finds one forgotten. So
    nobody waits here: the dictionary's steps are whole by themselves, and who finds a registration under way leaves the
    rest to its maker, who looks again."""

    def __init__(self, register: Callable[..., None]) -> None:
        self._register = register
        self._listeners: dict[object, Callable[..., Any]] = {}
        self._registered = False
        self._registering = threading.Lock()

    def add(self, listener: Callable[..., Any]) -> object:
        """Its token, for remove()."""
        token = object()
        self._listeners[token] = listener
        self._follow()
        return token

    def remove(self, token: object, *, forgotten: bool = False) -> None:
        """A forgotten one is only dropped: the collector is no place to call the library from."""
        self._listeners.pop(token, None)
        if not forgotten:
            self._follow()

    def _follow(self) -> None:
        while self._registered != bool(self._listeners):
            if not self._registering.acquire(blocking=False):
                return
            try:
                wanted = bool(self._listeners)
                self._register(self._call if wanted else None)
                self._registered = wanted
            finally:
                self._registering.release()

    def _call(self, *values: Any) -> None:
        for listener in list(self._listeners.values()):
            listener(*values)


SIGNAL = _Feed(plain.ZEKARegisterSignalOutputCallback)
PACING = _Feed(plain.ZEKARegisterPacingOutputCallback)
FREQUENCY = _Feed(plain.ZEKARegisterFrequencyCallback)
FUNCTION = _Feed(plain.ZEKARegisterOutputFunctionCallback)
BASELINE_RESET = _Feed(plain.RegisterBaselineResetCB)
DC_STEP = _Feed(plain.RegisterSyncDCOffsetCB)


def _ignore(*_: Any) -> None:
    """The pacing callback runs only while a signal callback is registered."""


class Subscription:
    """A function of the application that the library calls until close() or the end of a with block."""

    def __init__(self, feeds: tuple[_Feed, ...], listener: Callable[..., Any]) -> None:
        first, *others = feeds
        self._parts = [(first, first.add(listener))]
        self._parts += [(feed, feed.add(_ignore)) for feed in others]

    @property
    def open(self) -> bool:
        return bool(self._parts)

    def close(self, *, forgotten: bool = False) -> None:
        parts, self._parts = self._parts, []
        for feed, token in parts:
            feed.remove(token, forgotten=forgotten)

    def __enter__(self) -> Subscription:
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()


class _Inbox(Generic[T]):
    """What a callback puts and a loop takes. Apart from Heard, so that a forgotten Heard can be collected."""

    def __init__(self, value: Callable[..., T], last: Callable[..., bool]) -> None:
        self.queue: queue.SimpleQueue[T] = queue.SimpleQueue()
        self.ended = False
        self._value = value
        self._last = last

    def hear(self, *values: Any) -> None:
        if self._last(*values):
            self.ended = True
            return
        if self.queue.qsize() >= _KEPT:
            self.queue.get()
        self.queue.put(self._value(*values))


class Heard(Generic[T]):
    """An iterator over what a callback tells, from its making on. It ends when the output has stopped, or the
    instrument is lost, and everything heard has been handed over; close() or the end of a with block ends it too."""

    def __init__(self, feeds: tuple[_Feed, ...], value: Callable[..., T], last: Callable[..., bool]) -> None:
        self._inbox: _Inbox[T] = _Inbox(value, last)
        self._subscription = Subscription(feeds, self._inbox.hear)

    def __iter__(self) -> Iterator[T]:
        return self

    def __next__(self) -> T:
        while True:
            # Looked at before the queue: what was put in until then is in it.
            over = self._inbox.ended or not self._subscription.open or not streaming()
            try:
                return self._inbox.queue.get(timeout=0 if over else _LOOK_S)
            except queue.Empty:
                if over:
                    self.close()
                    raise StopIteration from None

    def close(self) -> None:
        """Hears no more."""
        self._subscription.close()

    def __del__(self) -> None:
        subscription = getattr(self, "_subscription", None)
        if subscription is not None:
            subscription.close(forgotten=True)

    def __enter__(self) -> Heard[T]:
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()


def _point(seconds: float, mv: float) -> tuple[float, float]:
    return seconds, mv


def _frequency(hz: float) -> float:
    return hz


def _below_zero(first: float, *_: Any) -> bool:
    """The mark of an end: time or frequency -1.0."""
    return first < 0.0


def signal_points() -> Heard[tuple[float, float]]:
    return Heard((SIGNAL,), _point, _below_zero)


def pacing_corners() -> Heard[tuple[float, float]]:
    return Heard((PACING, SIGNAL), _point, _below_zero)


def frequencies() -> Heard[float]:
    return Heard((FREQUENCY,), _frequency, _below_zero)
