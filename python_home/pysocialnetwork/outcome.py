"""Acts that a service must carry out once, such as publishing: after a lost answer it is asked what came of them."""

from __future__ import annotations

import time
from contextlib import contextmanager
from email.utils import parsedate_to_datetime
from typing import Callable, Dict, Iterator, Mapping, Optional, TypeVar

from .connection import Answer
from .errors import (
    GOES_ON,
    Deferred,
    Discarded,
    Refused,
    Stopped,
    TokenInvalid,
    Transient,
    Undecided,
    UploadError,
    in_doubt,
    is_final,
)
from .job import UploadJob
from .unfinished import MAYBE_OUT
from .wire import Wire

T = TypeVar("T")


def once(wire: Wire, act: Callable[[], T], find: Callable[[], Optional[T]], kept: Optional[Dict[str, str]] = None) -> T:
    """The result of `act`. It is done again only if the service did certainly not work on it, or if `find` finds
    nothing that came of it; an answer that says nothing has to be a Transient. `find` returns None only where surely
    nothing has come of it, and raises where nobody can tell. `kept` is the record of the upload, which tells whether
    an earlier act had no answer."""
    record = {} if kept is None else kept
    with undecided_if_sent(record):
        return _once(wire, act, find, record)


def _once(wire: Wire, act: Callable[[], T], find: Callable[[], Optional[T]], kept: Dict[str, str]) -> T:
    setbacks = wire.setbacks()
    asking = MAYBE_OUT in kept
    refusal: Optional[UploadError] = None
    while True:
        try:
            if asking:
                found = find()
                if found is not None:
                    return found
                if refusal is not None:
                    # The service may show late what came of an act, that of an earlier upload as well.
                    raise Undecided(refusal)
            asking = False
            with sending(kept):
                return act()
        except Transient as trouble:
            asking = MAYBE_OUT in kept
            wire.bear(setbacks, trouble)
        except (Stopped, TokenInvalid, Undecided):
            raise
        except UploadError as error:
            # What is done already may be refused the second time.
            if asking or MAYBE_OUT not in kept:
                raise
            refusal, asking = error, True


@contextmanager
def sending(kept: Dict[str, str], all_sent: Callable[[], bool] = lambda: True) -> Iterator[None]:
    """Around the request that makes the video public: where it ends without an answer, the record tells so from then
    on. `all_sent` is false where the service can't have had the whole request."""
    before = MAYBE_OUT in kept
    kept[MAYBE_OUT] = "yes"
    try:
        yield
    except UploadError as error:
        answered = not isinstance(error, (Stopped, Transient)) or getattr(error, "unprocessed", False)
        if not before and (answered or not all_sent()):
            del kept[MAYBE_OUT]
        raise


@contextmanager
def undecided_if_sent(kept: Mapping[str, str]) -> Iterator[None]:
    """Whatever goes wrong while the video may be out, or is out, is told as a doubt."""
    try:
        yield
    except (Stopped, Undecided, Discarded):
        raise
    except UploadError as error:
        if MAYBE_OUT not in kept:
            raise
        raise (TokenInvalid(in_doubt(error)) if isinstance(error, TokenInvalid) else Undecided(error)) from None


def transferred(
    job: UploadJob,
    wire: Wire,
    size: int,
    chunk: int,
    send: Callable[[int], int],
    ask: Callable[[int], int],
    kept: Dict[str, str],
    asking: bool,
) -> None:
    """As `Wire.transfer`, where the last part of the file makes the video whole and public."""

    def reach(position: int) -> int:
        if position < size:
            kept.pop(MAYBE_OUT, None)
        return position

    def send_part(offset: int) -> int:
        if offset + chunk < size:
            return reach(send(offset))
        job.position = offset
        with sending(kept, lambda: job.position >= size):
            return reach(send(offset))

    with undecided_if_sent(kept):
        wire.transfer(0, size, send_part, lambda offset: reach(ask(offset)), asking)


def went_on(
    kept: Dict[str, str],
    send: Callable[[], None],
    remove: Callable[[], object],
    debug: Callable[[str], None],
    is_gone: Callable[[Refused], bool] = lambda refused: False,
    finish: Callable[[], None] = lambda: None,
) -> bool:
    """Whether `send` and `finish` brought a video to its end whose upload broke off before. What the service has given up
    is removed, and its record is empty then. `is_gone` asks where a refusal does not say so itself. Of the refusals of
    `finish` those are Deferred that may pass."""
    if not kept:
        return False
    try:
        with deferring():
            send()
        finish()
    except Refused as refused:
        if not (is_final(refused) or is_gone(refused)):
            raise
        debug("%s; the upload begins anew" % refused)
        _removed(remove, debug)
        kept.clear()
    return bool(kept)


@contextmanager
def deferring(lasts: Callable[[Refused], bool] = lambda refused: False) -> Iterator[None]:
    """Around what goes on with a video of which the service has something: a refusal ends that only where it tells that
    it is gone. Any other may pass, and would meet a new video as well, but for one of which `lasts` knows better."""
    try:
        yield
    except Refused as refused:
        if isinstance(refused, Deferred) or is_final(refused) or lasts(refused):
            raise
        raise Deferred.of(refused) from None


def is_there(look: Callable[[], object]) -> bool:
    """Whether the service still has a video; one that it does not want to show is there."""
    try:
        look()
    except Refused as refused:
        return not is_final(refused)
    return True


@contextmanager
def removed_if_refused(
    kept: Dict[str, str], remove: Callable[[], object], debug: Callable[[str], None]
) -> Iterator[None]:
    """Takes away what the service has of a video that will never be out. One whose upload broke off is kept, since
    it may go on, and so is one that may be out, but where the service says that it is not."""
    try:
        yield
    except GOES_ON:
        raise
    except UploadError as error:
        if MAYBE_OUT in kept and not isinstance(error, Discarded):
            raise Undecided(error) from None
        if kept:
            _removed(remove, debug)
        raise


def _removed(remove: Callable[[], object], debug: Callable[[str], None]) -> None:
    """A stop leaves it for the next start."""
    try:
        remove()
        debug("the unfinished video is removed")
    except Stopped:
        raise
    except UploadError as trouble:
        debug("the unfinished video is left behind: %s" % trouble)


def moment_at_service(answer: Answer, started: float) -> float:
    """What the service's clock said when `time.monotonic` was `started`; ours may be wrong, or be set meanwhile."""
    try:
        now = parsedate_to_datetime(answer.header("Date") or "").timestamp()
    except (TypeError, ValueError, IndexError, OverflowError, OSError):
        now = time.time()
    return now - (time.monotonic() - started)
