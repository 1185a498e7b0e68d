"""Acts that a service must carry out once, such as publishing: after a lost answer it is asked what came of them."""

from __future__ import annotations

import time
from contextlib import contextmanager
from email.utils import parsedate_to_datetime
from typing import Callable, Iterator, Optional, TypeVar

from .connection import Answer
from .errors import Refused, Stopped, TokenInvalid, Transient, Undecided, UploadError
from .retry import Setbacks
from .wire import Wire

T = TypeVar("T")


def once(wire: Wire, act: Callable[[], T], find: Callable[[], Optional[T]]) -> T:
    """The result of `act`. It is done again only if the service did certainly not work on it, or if `find` finds
    nothing that came of it. An answer that says nothing has to be a Transient."""
    setbacks = wire.setbacks()
    lost = asking = False
    refusal: Optional[Refused] = None
    while True:
        try:
            if asking:
                found = find()
                if found is not None:
                    return found
                if refusal is not None:
                    raise refusal
                asking = False
            return act()
        except Transient as trouble:
            lost = asking = lost or not trouble.unprocessed
            _bear(wire, setbacks, trouble, lost)
        except Refused as error:
            # What is done already may be refused the second time.
            if asking or not lost:
                raise
            refusal, asking = error, True


def _bear(wire: Wire, setbacks: Setbacks, trouble: Transient, lost: bool) -> None:
    try:
        wire.bear(setbacks, trouble)
    except Transient:
        if not lost:
            raise
        raise Undecided("%s; whether the video is out could not be found out" % trouble) from None


@contextmanager
def removed_if_refused(remove: Callable[[], object], debug: Callable[[str], None]) -> Iterator[None]:
    """Takes away what the service has of a video that will never be whole. One whose upload broke off is kept, since
    it may go on."""
    try:
        yield
    except (Stopped, TokenInvalid, Transient, Undecided):
        raise
    except UploadError:
        try:
            remove()
            debug("the unfinished video is removed")
        except UploadError as trouble:
            debug("the unfinished video is left behind: %s" % trouble)
        raise


def moment_at_service(answer: Answer, started: float) -> float:
    """What the service's clock said when `time.monotonic` was `started`; ours may be wrong, or be set meanwhile."""
    try:
        now = parsedate_to_datetime(answer.header("Date") or "").timestamp()
    except (TypeError, ValueError, IndexError, OverflowError, OSError):
        now = time.time()
    return now - (time.monotonic() - started)
