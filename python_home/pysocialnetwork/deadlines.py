"""One thread for all the deadlines of the process."""

from __future__ import annotations

import atexit
import heapq
import itertools
import os
import threading
import time
from typing import Callable, List, Optional, Tuple

# Seconds without a deadline after which the thread ends.
IDLE = 10.0


class Deadline:
    """Calls `expire` once, on the clock's thread, unless it is cancelled first."""

    def __init__(self, expire: Callable[[], None]) -> None:
        self._expire = expire
        self._lock = threading.Lock()
        self._over = False
        self.expired = False

    def cancel(self) -> None:
        """Afterwards `expire` is not running and never will be."""
        with self._lock:
            self._over = True
            self._expire = _nothing

    def is_over(self) -> bool:
        return self._over

    def strike(self) -> None:
        with self._lock:
            if not self._over:
                self._over = self.expired = True
                self._expire()


def _nothing() -> None:
    pass


class DeadlineClock:
    def __init__(self, idle: float = IDLE) -> None:
        self._idle = idle
        self._serial = itertools.count()
        self._closed = False
        self.begin_anew()

    def begin_anew(self) -> None:
        """In the child of a fork: the thread stays behind, perhaps with the lock in its hands."""
        self._changed = threading.Condition()
        self._waiting: List[Tuple[float, int, Deadline]] = []
        self._thread: Optional[threading.Thread] = None

    def start(self, seconds: float, expire: Callable[[], None]) -> Deadline:
        """`expire` must be short: all the other deadlines wait for it."""
        deadline = Deadline(expire)
        with self._changed:
            heapq.heappush(self._waiting, (time.monotonic() + seconds, next(self._serial), deadline))
            if self._thread is None and not self._closed:
                thread = threading.Thread(target=self._run, name="deadlines", daemon=True)
                try:
                    thread.start()
                except RuntimeError:
                    deadline.cancel()
                    raise OSError("no thread can be started") from None
                self._thread = thread
            if self._waiting[0][2] is deadline:
                self._changed.notify()
        return deadline

    def close(self) -> None:
        with self._changed:
            self._closed = True
            thread = self._thread
            self._changed.notify()
        if thread is not None:
            thread.join()

    def _run(self) -> None:
        while True:
            deadline = self._next()
            if deadline is None:
                return
            deadline.strike()

    def _next(self) -> Optional[Deadline]:
        """The next one whose time has come; None when the thread is to end."""
        with self._changed:
            idle_until = time.monotonic() + self._idle
            while not self._closed:
                while self._waiting and self._waiting[0][2].is_over():
                    heapq.heappop(self._waiting)
                now = time.monotonic()
                if self._waiting and self._waiting[0][0] <= now:
                    return heapq.heappop(self._waiting)[2]
                if self._waiting:
                    idle_until = now + self._idle
                elif now >= idle_until:
                    break
                self._changed.wait((self._waiting[0][0] if self._waiting else idle_until) - now)
            self._thread = None
            return None


clock = DeadlineClock()
atexit.register(clock.close)
if hasattr(os, "register_at_fork"):  # not on Windows
    os.register_at_fork(after_in_child=clock.begin_anew)
