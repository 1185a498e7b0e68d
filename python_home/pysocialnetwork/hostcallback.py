"""The way back to the host: a native function whose address comes in a capsule."""

from __future__ import annotations

import ctypes
from typing import Any

PROGRESS = 1
FINISHED = 2
ERROR = 3
TOKEN_INVALID = 4
DEBUG = 99

_CAPSULE_NAME = b"SetCallback"

# (user object, event, text). ctypes gives the interpreter lock up around a function of this kind.
_Function = ctypes.CFUNCTYPE(None, ctypes.c_ssize_t, ctypes.c_uint32, ctypes.c_char_p)


class HostCallback:
    """Calls the host from any thread; without a capsule it does nothing."""

    def __init__(self) -> None:
        self._capsule: Any = None
        self._function: Any = None
        self.user_object = 0

    def set_capsule(self, capsule: Any) -> None:
        # A prototype of our own: the attributes of ctypes.pythonapi are shared with everybody in the process.
        get_pointer = ctypes.PYFUNCTYPE(ctypes.c_void_p, ctypes.py_object, ctypes.c_char_p)(
            ("PyCapsule_GetPointer", ctypes.pythonapi)
        )
        self._function = _Function(get_pointer(capsule, _CAPSULE_NAME))
        self._capsule = capsule

    def emit(self, event: int, text: str) -> None:
        function = self._function
        if function is not None:
            function(self.user_object, event, text.replace("\0", " ").encode("utf-8", "replace"))
