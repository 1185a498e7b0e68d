"""Uploads that broke off, kept in memory so that the next one of the same video goes on where the service stands."""

from __future__ import annotations

import hashlib
import threading
import time
from contextlib import contextmanager
from typing import Callable, Collection, Dict, Iterator, List, NamedTuple, Optional, Tuple

from .job import VideoRequest
from .login import Login
from .stopsignal import StopSignal

# Seconds; services keep what is unfinished for a day or longer.
LIFETIME = 24 * 3600.0
MOST = 100
# Seconds between two looks for the end of a stopped upload.
LOOK_PAUSE = 0.02

# In a record: the video may be out, since a request that makes it public ended without an answer.
MAYBE_OUT = "maybe out"


class Record(Dict[str, str]):
    """What is kept of an upload, and since when: what is put there once it was empty is another
    upload's."""

    since: Optional[float] = None

    def clear(self) -> None:
        super().clear()
        self.since = None

    def __delitem__(self, name: str) -> None:
        super().__delitem__(name)
        if not self:
            self.since = None


class Subject(NamedTuple):
    """Whose video is meant, which file, and what is said of it. Anything else is another upload."""

    service: str
    user: str
    file: Tuple[int, ...]
    details: Tuple[str, ...]


def subject_of(service: str, login: Login, file: Tuple[int, ...], request: VideoRequest) -> Subject:
    """`service` is the address that takes the video in, `file` what tells the file from any other and from its own later
    versions."""
    details = (request.title, request.description, request.privacy, request.tags, request.category, request.thumbnail)
    return Subject(service, user_of(login), file, details)


def user_of(login: Login) -> str:
    # A token that is renewed changes, the user's number does not; some logins have none.
    secret = hashlib.sha256((login.refresh or login.access).encode("utf-8", "surrogatepass")).hexdigest()
    return login.platform + (" number " + login.user_id if login.user_id else " token " + secret)


class Unfinished:
    """Safe from every thread. What is taken out is gone, so that no two uploads go on with the same."""

    def __init__(self, clock: Callable[[], float] = time.monotonic) -> None:
        self._clock = clock
        self._lock = threading.Lock()
        self._kept: Dict[Subject, Tuple[float, Dict[str, str]]] = {}
        self._logouts: Dict[str, int] = {}
        self._at_work: List[Tuple[Subject, StopSignal]] = []

    @contextmanager
    def at_work(self, subject: Subject, stop: StopSignal, waits: Callable[[], None] = lambda: None) -> Iterator[None]:
        """For the time of an upload. Another one of the same that was stopped ends before it begins, whichever object
        that belongs to: what it leaves to go on with is known at its end. One that was stopped does not begin.
        `waits` is told of the wait."""
        work = (subject, stop)
        if not self._begins(work):
            waits()
            stop.wait(LOOK_PAUSE)
            while not self._begins(work):
                stop.wait(LOOK_PAUSE)
        try:
            yield
        finally:
            with self._lock:
                self._at_work.remove(work)

    def take(self, subject: Subject, names: Collection[str]) -> Record:
        """What was kept of it; empty where there is nothing, nothing that a service still knows, or not what these names
        stand for, with or without `MAYBE_OUT`."""
        with self._lock:
            self._drop_old()
            record = self._kept.pop(subject, None)
        values = Record()
        if record is not None:
            values.update(record[1])
            values.since = record[0]
        usable = values.keys() - {MAYBE_OUT} == set(names) and all(
            isinstance(value, str) and value.isprintable() for value in values.values()
        )
        return values if usable else Record()

    def logouts(self, user: str) -> int:
        """How often this user's uploads were forgotten so far."""
        with self._lock:
            return self._logouts.get(user, 0)

    def keep(self, subject: Subject, values: Dict[str, str], logouts: int = 0) -> bool:
        """False and nothing, where the user has logged out since `logouts` was told. However often it is kept again,
        its day is that of its beginning."""
        with self._lock:
            if logouts != self._logouts.get(subject.user, 0):
                return False
            self._drop_old()
            self._kept.pop(subject, None)
            since = values.since if isinstance(values, Record) else None
            self._kept[subject] = (self._clock() if since is None else since, values)
            while len(self._kept) > MOST:
                self._kept.pop(next(iter(self._kept)))
            return True

    def forget(self, user: str) -> None:
        """All that was kept of this user's uploads; `user` is as `user_of` tells it."""
        with self._lock:
            self._logouts[user] = self._logouts.get(user, 0) + 1
            self._kept = {subject: record for subject, record in self._kept.items() if subject.user != user}

    def _begins(self, work: Tuple[Subject, StopSignal]) -> bool:
        with self._lock:
            if any(other == work[0] and stop.is_set() for other, stop in self._at_work):
                return False
            # Its successor may be at work already, to whom what was kept belongs.
            work[1].check()
            self._at_work.append(work)
            return True

    def _drop_old(self) -> None:
        oldest = self._clock() - LIFETIME
        for subject in [subject for subject, (since, _) in self._kept.items() if since <= oldest]:
            del self._kept[subject]


kept = Unfinished()
