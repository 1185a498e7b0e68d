"""Connecting to the first of a host's addresses that answers, as RFC 8305 has it."""

from __future__ import annotations

import errno
import os
import selectors
import socket
import sys
import time
from typing import Any, Dict, List, Optional, Sequence

from .stopsignal import StopSignal

# Seconds that one address is ahead of the next: what a family costs that leads nowhere.
AHEAD = 0.25

# Seconds between two looks at the stop, which can't wake this wait.
BETWEEN_LOOKS = 0.05

_UNDER_WAY = frozenset((errno.EINPROGRESS, errno.EWOULDBLOCK, errno.EAGAIN, getattr(errno, "WSAEWOULDBLOCK", -1)))


def connect(addresses: Sequence[Any], stop: StopSignal, seconds: float) -> socket.socket:
    """A connected socket that blocks. `addresses` are as getaddrinfo gives them, and `seconds` the limit for all of them
    together. Raises the last OSError when none answers."""
    dialing = _Dialing(addresses)
    try:
        return dialing.answered(stop, time.monotonic() + seconds)
    finally:
        dialing.close()


def interleaved(addresses: Sequence[Any]) -> List[Any]:
    """The families in turn, each in its own order, that of the first address first."""
    families: Dict[int, List[Any]] = {}
    for address in addresses:
        families.setdefault(address[0], []).append(address)
    longest = max(map(len, families.values()), default=0)
    return [family[place] for place in range(longest) for family in families.values() if place < len(family)]


class _Dialing:
    def __init__(self, addresses: Sequence[Any]) -> None:
        self._waiting = interleaved(addresses)
        self._selector = selectors.DefaultSelector()
        self._failure: Optional[OSError] = None
        self._next_start = time.monotonic()

    def answered(self, stop: StopSignal, end: float) -> socket.socket:
        while True:
            stop.check()
            now = time.monotonic()
            if now >= end:
                raise socket.timeout("timed out")
            under_way = bool(self._selector.get_map())
            if self._waiting and (now >= self._next_start or not under_way):
                self._start(self._waiting.pop(0))
                self._next_start = now + AHEAD
                continue
            if not under_way:
                raise self._failure or OSError("no address")
            until = min(end, self._next_start) if self._waiting else end
            for key, _ in self._selector.select(min(BETWEEN_LOOKS, until - now)):
                connection = key.fileobj
                assert isinstance(connection, socket.socket)
                self._selector.unregister(connection)
                failed = connection.getsockopt(socket.SOL_SOCKET, socket.SO_ERROR)
                if not failed:
                    connection.setblocking(True)
                    return connection
                self._fail(connection, _failure(failed))

    def close(self) -> None:
        for key in list(self._selector.get_map().values()):
            assert isinstance(key.fileobj, socket.socket)
            key.fileobj.close()
        self._selector.close()

    def _start(self, address: Any) -> None:
        family, kind, protocol, _, place = address
        try:
            connection = socket.socket(family, kind, protocol)
        except OSError as error:  # a family that the system does not have
            self._failure = error
            return
        try:
            connection.setblocking(False)
            failed = connection.connect_ex(place)
            if failed and failed not in _UNDER_WAY:
                raise _failure(failed)
            self._selector.register(connection, selectors.EVENT_WRITE)
        except OSError as error:
            self._fail(connection, error)
        except BaseException:
            connection.close()
            raise

    def _fail(self, connection: socket.socket, error: OSError) -> None:
        """The next address need not wait any more."""
        connection.close()
        self._failure = error
        self._next_start = time.monotonic()


def _failure(number: int) -> OSError:
    if sys.platform == "win32":
        import ctypes

        return OSError(number, ctypes.FormatError(number))
    return OSError(number, os.strerror(number))
