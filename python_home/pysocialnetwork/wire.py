"""What an upload or a call of the host uses to talk to a service: requests, retries and resumption."""

from __future__ import annotations

import time
from typing import Callable, Dict, Mapping, Optional, TypeVar

from .bodies import Body
from .connection import Answer, Connection, Origin, TimeLimits, origin_of
from .errors import Deferred, Refused, Transient, UploadError, is_final
from .retry import TOO_MANY, Looks, RetryPolicy, Setbacks, is_busy, pause_asked_for
from .stopsignal import StopSignal

T = TypeVar("T")


class Wire:
    """Belongs to one thread; only its stop signal is set by others. Close it at the end."""

    def __init__(
        self,
        stop: StopSignal,
        policy: RetryPolicy,
        limits: TimeLimits,
        agent: str,
        debug: Callable[[str], None],
        clock: Callable[[], float] = time.monotonic,
    ) -> None:
        self.stop = stop
        # Whose upload it is, by the number of the user, where it is known: no other one's login counts in it.
        self.user = ""
        self._policy = policy
        self._limits = limits
        self._agent = agent
        self._debug = debug
        self._clock = clock
        self._idle: Dict[Origin, Connection] = {}

    def __enter__(self) -> Wire:
        return self

    def __exit__(self, *unused: object) -> None:
        for connection in self._idle.values():
            connection.close()
        self._idle.clear()

    def exchange(
        self, method: str, url: str, headers: Optional[Mapping[str, str]] = None, body: Optional[Body] = None
    ) -> Answer:
        """One try. Raises Transient when the connection breaks or the service is busy; redirections are answers."""
        self.stop.check()
        origin = origin_of(url)
        started = time.monotonic()
        connection = self._connection(origin)
        try:
            answer = connection.exchange(method, url, {"User-Agent": self._agent, **(headers or {})}, body)
        except BaseException:
            connection.close()
            raise
        if connection.reusable:
            self._idle[origin] = connection
        else:
            connection.close()
        # Paths and queries can hold secrets of the upload.
        self._debug("%s %s: %d after %.1f s" % (method, origin.host, answer.status, time.monotonic() - started))
        if is_busy(answer.status):
            raise Transient(
                "%s is busy (status %d)" % (origin.host, answer.status),
                unprocessed=answer.status == TOO_MANY,
                retry_after=pause_asked_for(answer.status, answer.header),
            )
        return answer

    def run(self, attempt: Callable[[], T], repeatable: bool = True) -> T:
        """Tries again after Transient; what is not repeatable only if the service did not work on it."""
        setbacks = self.setbacks()
        while True:
            try:
                return attempt()
            except Transient as trouble:
                if not (repeatable or trouble.unprocessed):
                    raise
                self.bear(setbacks, trouble)

    def setbacks(self) -> Setbacks:
        return Setbacks(self._policy, self._clock)

    def bear(self, setbacks: Setbacks, trouble: Transient) -> None:
        """Waits before the next try, or raises the trouble when there is to be none. One that was borne to the end
        inside of another row is not borne again."""
        seconds = None if trouble.given_up else setbacks.pause(trouble)
        if seconds is None:
            trouble.given_up = True
            raise trouble
        lasting = " (for %d s now)" % setbacks.lasting() if setbacks.lasting() >= 1 else ""
        self._debug("%s%s; next try in %.1f s" % (trouble, lasting, seconds))
        self.stop.wait(seconds)

    def watch(self, look: Callable[[], Optional[T]], looks: Looks, late: str) -> T:
        """Looks until there is something to see; `late` is the error's text when there never is."""
        seen = self.look_for(look, looks)
        if seen is None:
            raise UploadError(late)
        return seen

    def look_for(self, look: Callable[[], Optional[T]], looks: Looks) -> Optional[T]:
        """Looks until there is something to see, or as long as told."""
        pause, end = looks.first, self._clock() + looks.longest_wait
        while True:
            seen = look()
            if seen is not None or self._clock() >= end:
                return seen
            self.stop.wait(pause)
            pause = min(looks.longest, pause * 1.5)

    def transfer(
        self, offset: int, size: int, send: Callable[[int], int], ask: Callable[[int], int], asking: bool = False
    ) -> None:
        """Sends a file from `offset` to its end, or with `asking` from where the service is by now.

        `send(offset)` sends the next part and returns how far the service is then. After a trouble `ask(offset)`
        returns how far the service came, which may be before or after where the part began. Only news from beyond
        the farthest point forgives earlier failures, so that a service that turns in circles is given up. A refusal
        leaves what the service has, or may have of a part that broke off, unless it tells that it is gone.
        """
        setbacks = self.setbacks()
        farthest = offset
        broke_off = False
        while offset < size:
            try:
                reached = ask(offset) if asking else send(offset)
                if not 0 <= reached <= size:
                    raise Transient("the service tells a position outside the file")
                if not asking and reached <= offset:
                    raise Transient("the service did not take the part")
            except Transient as trouble:
                self.bear(setbacks, trouble)
                asking = True
                broke_off = broke_off or not trouble.unprocessed
                continue
            except Refused as refused:
                if is_final(refused) or not (farthest or asking or broke_off):
                    raise
                raise Deferred.of(refused) from None
            asking = False
            offset = reached
            if offset > farthest:
                farthest = offset
                setbacks.forgive()

    def _connection(self, origin: Origin) -> Connection:
        idle = self._idle.pop(origin, None)
        if idle is not None:
            if not idle.is_stale():
                return idle
            idle.close()
        connection = Connection(origin, self.stop, self._limits)
        try:
            connection.open()
        except BaseException:
            connection.close()
            raise
        return connection


def require_same_safety(service: str, address: object) -> str:
    """An address that a service handed out for the upload, which must be https where that of the service is."""
    if not isinstance(address, str):
        raise UploadError("the service named no address for the upload")
    if origin_of(service).scheme == "https" and not address.lower().startswith("https://"):
        raise UploadError("url invalid")
    origin_of(address)
    return address
