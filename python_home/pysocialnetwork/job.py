"""One upload on a thread of its own, from the host's request to its one closing event."""

from __future__ import annotations

import atexit
import threading
import time
from dataclasses import dataclass
from typing import Callable, Optional, Set

from . import hostcallback
from .errors import Stopped, TokenInvalid, UploadError
from .stopsignal import StopSignal

# How long the end of the interpreter waits for uploads that it stops.
EXIT_PATIENCE = 2.0


@dataclass(frozen=True)
class VideoRequest:
    """What the host wants uploaded, as it says it. Texts may be empty but for the path."""

    path: str
    title: str
    description: str
    privacy: str
    tags: str
    category: str
    thumbnail: str = ""


class UploadJob:
    """`work` returns the video's address. `report` is called on the job's thread: progress, then one closing event."""

    def __init__(
        self,
        name: str,
        request: VideoRequest,
        work: Callable[[UploadJob], str],
        report: Callable[[int, str], None],
    ) -> None:
        self.request = request
        self.stop = StopSignal()
        self._work = work
        self._report = report
        # How far into the file the requests of this upload have come.
        self.position = 0
        self._percent = -1
        self._over = False
        self._thread = threading.Thread(target=self._run, name="upload-" + name, daemon=True)

    def start(self) -> None:
        self._thread.start()

    def join(self, seconds: Optional[float] = None) -> None:
        self._thread.join(seconds)

    def is_running(self) -> bool:
        """False from before the closing event, so that the host may start the next upload when it hears it."""
        return not self._over

    def progress(self, position: int, size: int) -> None:
        """Only news is told, and 100 is kept for the end: the service still has work when all bytes are there."""
        self.position = position
        percent = min(99, position * 100 // size)
        if percent > self._percent:
            self._percent = percent
            self._report(hostcallback.PROGRESS, str(percent))

    def _run(self) -> None:
        with _running_lock:
            _running.add(self)
        try:
            address = self._work(self)
            closing = (hostcallback.FINISHED, address)
            self._report(hostcallback.PROGRESS, "100")
        except Exception as error:  # the thread's boundary: whatever happened, the host hears of it
            closing = self._failure(error)
        self._over = True
        self._report(*closing)
        with _running_lock:
            _running.discard(self)

    def _failure(self, error: Exception) -> "tuple[int, str]":
        if self.stop.is_set():
            return hostcallback.ERROR, str(Stopped())
        if isinstance(error, TokenInvalid):
            return hostcallback.TOKEN_INVALID, str(error)
        if isinstance(error, UploadError):
            return hostcallback.ERROR, str(error)
        return hostcallback.ERROR, unexpected(error)


class UploadSlot:
    """The place for one upload at a time. `work` and `report` are those of its jobs."""

    def __init__(self, name: str, work: Callable[[UploadJob], str], report: Callable[[int, str], None]) -> None:
        self.job: Optional[UploadJob] = None
        self._lock = threading.Lock()
        self._name = name
        self._work = work
        self._report = report

    def start(self, request: VideoRequest) -> None:
        """A second upload beside the first leaves that one alone and ends with an event of its own."""
        with self._lock:
            before = self.job
            busy = before is not None and before.is_running() and not before.stop.is_set()
            job = UploadJob(self._name, request, _refuse_second if busy else self._work, self._report)
            if not busy:
                self.job = job
        try:
            job.start()
        except RuntimeError as error:
            with self._lock:
                self.job = None if self.job is job else self.job
            self._report(hostcallback.ERROR, "cannot start a thread: %s" % error)

    def stop(self) -> None:
        with self._lock:
            job = self.job
        if job is not None:
            job.stop.set()


def _refuse_second(job: UploadJob) -> str:
    raise UploadError("an upload is running already")


def unexpected(error: Exception) -> str:
    """Names the place and not the text, which may hold anything."""
    trace = error.__traceback__
    while trace is not None and trace.tb_next is not None:
        trace = trace.tb_next
    place = "%s:%d" % (trace.tb_frame.f_globals.get("__name__"), trace.tb_lineno) if trace is not None else "nowhere"
    return "unexpected %s at %s" % (type(error).__name__, place)


_running: Set[UploadJob] = set()
_running_lock = threading.Lock()


@atexit.register
def _stop_all() -> None:
    """Lets uploads close their connections and tell their end before the interpreter goes."""
    with _running_lock:
        jobs = list(_running)
    for job in jobs:
        job.stop.set()
    end = time.monotonic() + EXIT_PATIENCE
    for job in jobs:
        job.join(max(0.0, end - time.monotonic()))
