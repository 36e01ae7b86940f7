"""Finds and loads libzeka, and turns its declarations into callables. The library is loaded by the first call, not by
the import: from then on it has a thread of its own, which forbids zeka.simulated() to an ordinary user."""

from __future__ import annotations

import atexit
import ctypes
import os
import threading
from typing import Any, Callable, Optional

from ._declarations import FUNCTIONS, Declaration, Parameter
from .errors import LibraryNotFound

SONAME = "libzeka.so.1"


class MODEL_INFORMATION(ctypes.Structure):
    """What the instrument says of itself in the identity exchange."""

    _fields_ = [
        ("ModelCode", ctypes.c_ubyte * 4),
        ("nSerialNumber", ctypes.c_uint),
        ("nSerialBlock", ctypes.c_uint),
    ]


class ZEKA_HW_INFORMATION(ctypes.Structure):
    """Hardware information of the connected instrument, each 0 to 255."""

    _fields_ = [
        (name, ctypes.c_uint)
        for name in ("nStoredInfo0", "nStoredInfo1", "nQueryInfo", "nHWSetting0", "nHWSetting1")
    ]


class ZEKA_OUTPUT_STAGE(ctypes.Structure):
    """How the output stage is set, an element for each channel. `size` is set when one is made."""

    _fields_ = [
        ("size", ctypes.c_uint),
        ("lead", ctypes.c_int * 4),
        ("impedanceMode", ctypes.c_int * 4),
        ("signalGround", ctypes.c_int * 4),
        ("dcSource", ctypes.c_int * 4),
    ]

    def __init__(self) -> None:
        super().__init__(size=ctypes.sizeof(type(self)))


class RAW_WAVEFORM_DATA(ctypes.Structure):
    """A recording in memory, for ZEKALoadRawData."""

    _fields_ = [
        ("frequency", ctypes.c_double),
        ("count", ctypes.c_int),
        ("ac", ctypes.POINTER(ctypes.c_double)),
        ("dc", ctypes.POINTER(ctypes.c_double)),
    ]


# A call through CDLL releases the interpreter lock; a callback through CFUNCTYPE takes it. So a setter that waits for
# the library's lock never keeps a callback, which runs under that lock, from running.
CALLBACKS: dict[str, Any] = {
    "ZEKA_CONNECTION_CALLBACK": ctypes.CFUNCTYPE(None, ctypes.c_bool),
    "ZEKA_SIGNAL_CALLBACK": ctypes.CFUNCTYPE(None, ctypes.c_double, ctypes.c_double),
    "ZEKA_FUNCTION_CALLBACK": ctypes.CFUNCTYPE(None, ctypes.c_int),
    "ZEKA_FREQUENCY_CALLBACK": ctypes.CFUNCTYPE(None, ctypes.c_double),
    "ZEKA_STATE_CALLBACK": ctypes.CFUNCTYPE(None, ctypes.c_int),
    "ZEKA_OFFSET_CALLBACK": ctypes.CFUNCTYPE(None, ctypes.c_int),
    "ZEKA_NOTIFY_CALLBACK": ctypes.CFUNCTYPE(None, ctypes.c_uint, ctypes.c_uint, ctypes.c_ulong),
}

TYPES: dict[str, Any] = {
    "void": None,
    "bool": ctypes.c_bool,
    "int": ctypes.c_int,
    "unsigned int": ctypes.c_uint,
    "unsigned long": ctypes.c_ulong,
    "unsigned char": ctypes.c_ubyte,
    "int64_t": ctypes.c_int64,
    "double": ctypes.c_double,
    "OutputLead": ctypes.c_int,
    "IEC247_PATTERN": ctypes.c_int,
    "const char*": ctypes.c_char_p,
    "const wchar_t*": ctypes.c_wchar_p,
    "char**": ctypes.POINTER(ctypes.c_char_p),
    "void*": ctypes.c_void_p,
    "int*": ctypes.POINTER(ctypes.c_int),
    "unsigned int*": ctypes.POINTER(ctypes.c_uint),
    "unsigned char*": ctypes.POINTER(ctypes.c_ubyte),
    "double*": ctypes.POINTER(ctypes.c_double),
    "MODEL_INFORMATION*": ctypes.POINTER(MODEL_INFORMATION),
    "ZEKA_OUTPUT_STAGE*": ctypes.POINTER(ZEKA_OUTPUT_STAGE),
    "RAW_WAVEFORM_DATA*": ctypes.POINTER(RAW_WAVEFORM_DATA),
    **CALLBACKS,
}

_loading = threading.Lock()
_loaded: Optional[ctypes.CDLL] = None


def loaded() -> bool:
    return _loaded is not None


def library() -> ctypes.CDLL:
    """The loaded libzeka: the file that ZEKA_LIBRARY names, else what the system finds."""
    global _loaded
    with _loading:
        if _loaded is None:
            _loaded = _load()
            atexit.register(_at_exit)
            os.register_at_fork(before=_before_fork, after_in_child=_after_fork)
        return _loaded


def _load() -> ctypes.CDLL:
    path = os.environ.get("ZEKA_LIBRARY") or SONAME
    try:
        return ctypes.CDLL(path)
    except OSError as error:
        raise LibraryNotFound(
            f"{path} cannot be loaded ({error}); install it, or name the file in the environment variable ZEKA_LIBRARY"
        ) from error


_parents_connection = False
_connected_at_fork = False


def _before_fork() -> None:
    """In the parent: the child's library knows nothing of the connection any more."""
    global _connected_at_fork
    _connected_at_fork = _parents_connection or bool(library().ZEKAIsConnected())


def _after_fork() -> None:
    """In the child: the connection is its parent's, and so are the callbacks' threads."""
    global _parents_connection
    _parents_connection = _connected_at_fork


def of_the_parent() -> bool:
    """Whether this is a fork of a process that was connected."""
    return _parents_connection


def _at_exit() -> None:
    """No thread of the library may call into an interpreter that has ended."""
    if _parents_connection:
        return
    native = library()
    for declaration in FUNCTIONS.values():
        if len(declaration.parameters) == 1 and declaration.parameters[0].type in CALLBACKS:
            if declaration.name != "ZEKAInit":
                getattr(native, declaration.name)(CALLBACKS[declaration.parameters[0].type]())
    native.ZEKAFree()


class _Listener:
    """A C callback that lives for good and calls whatever listens now: the library may still be inside a callback when
    another one takes its place."""

    def __init__(self, kind: Any) -> None:
        self.listener: Optional[Callable[..., Any]] = None
        self.native = kind(self._call)

    def _call(self, *values: Any) -> None:
        listener = self.listener
        if listener is not None:
            listener(*values)


class PlainFunction:
    """One function of the library under its own name. It takes str, bytes or path-like objects for text; Python
    functions or None for callbacks; ctypes objects, arrays and writable buffers (numpy arrays too) for pointers."""

    def __init__(self, declaration: Declaration) -> None:
        self.__name__ = self.__qualname__ = declaration.name
        self.__doc__ = f"{_text(declaration)}\n\ninclude/zeka/zeka.h says what it does."
        self._declaration = declaration
        self._native: Any = None
        self._listeners: dict[Any, _Listener] = {}

    def __repr__(self) -> str:
        return f"<zeka function {_text(self._declaration)}>"

    def __call__(self, *values: Any) -> Any:
        parameters = self._declaration.parameters
        if len(values) != len(parameters):
            raise TypeError(f"{_text(self._declaration)} takes {len(parameters)} arguments, not {len(values)}")
        if self._native is None:
            self._native = self._bind()
        # A registration with a number ahead of the callback keeps a table by that number.
        key = values[0] if len(values) > 1 else None
        result = self._native(*[self._converted(p, value, key) for p, value in zip(parameters, values)])
        return result.decode("utf-8", "replace") if isinstance(result, bytes) else result

    def _bind(self) -> Any:
        native = getattr(library(), self._declaration.name)
        native.restype = TYPES[self._declaration.result]
        native.argtypes = [TYPES[parameter.type] for parameter in self._declaration.parameters]
        return native

    def _converted(self, parameter: Parameter, value: Any, key: Any) -> Any:
        kind = TYPES[parameter.type]
        if parameter.type in CALLBACKS:
            return self._callback(kind, value, key)
        if parameter.type == "const char*" and value is not None:
            return os.fsencode(value)
        if parameter.type == "const wchar_t*" and value is not None:
            return os.fsdecode(value)
        if parameter.type.endswith("*") and hasattr(kind, "_type_") and not isinstance(value, ctypes.Array):
            return _pointer(kind, value)
        return value

    def _callback(self, kind: Any, value: Any, key: Any) -> Any:
        listener = self._listeners.get(key)
        if listener is None:
            listener = self._listeners[key] = _Listener(kind)
        listener.listener = value
        return kind() if value is None else listener.native


def _pointer(kind: Any, value: Any) -> Any:
    """A record as a pointer to it, a buffer of the right element type as one to its first element; whatever else as it
    is."""
    if isinstance(value, ctypes.Structure):
        return ctypes.byref(value)
    try:
        view = memoryview(value)
    except TypeError:
        return value  # None, byref(), a pointer: ctypes knows
    element = kind._type_
    if view.itemsize != ctypes.sizeof(element) or view.format not in _FORMATS.get(element, ()):
        raise TypeError(f"a buffer of {element.__name__[2:]} is needed, not one of format {view.format!r}")
    if not view.c_contiguous or view.readonly:
        raise TypeError("the buffer must be writable and without gaps")
    return ctypes.cast((element * 1).from_buffer(view), kind) if view.nbytes else kind()


_FORMATS: dict[Any, tuple[str, ...]] = {
    ctypes.c_double: ("d", "<d", "@d"),
    ctypes.c_int: ("i", "<i", "@i"),
    ctypes.c_uint: ("I", "<I", "@I"),
    ctypes.c_ubyte: ("B", "<B", "@B"),
}


def _text(declaration: Declaration) -> str:
    inside = ", ".join(f"{parameter.type} {parameter.name}" for parameter in declaration.parameters)
    return f"{declaration.result} {declaration.name}({inside})"
