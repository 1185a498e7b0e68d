"""The stop of one upload: a flag that also ends a wait and breaks the connection in use."""

from __future__ import annotations

import socket
import threading
from typing import Optional

from .errors import Stopped


class StopSignal:
    """Set once, from any thread; the worker's waits and socket calls then end at once with `Stopped`."""

    def __init__(self) -> None:
        self._event = threading.Event()
        self._lock = threading.Lock()
        self._socket: Optional[socket.socket] = None

    def set(self) -> None:
        self._event.set()
        with self._lock:
            if self._socket is not None:
                _shut_down(self._socket)

    def is_set(self) -> bool:
        return self._event.is_set()

    def check(self) -> None:
        if self._event.is_set():
            raise Stopped()

    def wait(self, seconds: float) -> None:
        if self._event.wait(seconds):
            raise Stopped()

    def watch(self, connection: Optional[socket.socket]) -> None:
        """From now on `set` breaks this connection; None for none."""
        with self._lock:
            self._socket = connection
        if connection is not None:
            self.check()

    def shut_down(self, connection: socket.socket) -> None:
        """Wakes the thread that reads or writes; it closes the connection itself."""
        with self._lock:
            _shut_down(connection)

    def close(self, connection: socket.socket) -> None:
        """Closes under the lock, so that the others can't hit another file that got the same number."""
        with self._lock:
            if self._socket is connection:
                self._socket = None
            connection.close()


def _shut_down(connection: socket.socket) -> None:
    try:
        # The plain socket's function: that of a TLS socket would take the session away from the thread that uses it.
        socket.socket.shutdown(connection, socket.SHUT_RDWR)
    except OSError:
        pass  # not connected any more
