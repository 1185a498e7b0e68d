"""When and how often a request is tried again."""

from __future__ import annotations

import random
import time
from dataclasses import dataclass
from email.utils import parsedate_to_datetime
from datetime import datetime, timezone
from typing import Callable, Optional

from .errors import Transient
from .texts import whole_number

# The one busy answer that says that the request was not worked on: gateways send any other for a service that has acted.
TOO_MANY = 429
TIMED_OUT = 408
# What a server will never do.
NOT_IMPLEMENTED, VERSION_NOT_SUPPORTED = 501, 505


def is_busy(status: int) -> bool:
    """An answer that may be better at the next try."""
    if 500 <= status <= 599:
        return status not in (NOT_IMPLEMENTED, VERSION_NOT_SUPPORTED)
    return status in (TIMED_OUT, TOO_MANY)


@dataclass(frozen=True)
class RetryPolicy:
    """Seconds throughout. The pause doubles with every failure and is drawn from its upper half. `patience` is how long
    failures in a row are borne, however many, where nobody answers; `attempts` count where somebody does."""

    attempts: int = 6
    first_pause: float = 1.0
    longest_pause: float = 30.0
    # A service that asks for more is given up.
    longest_retry_after: float = 120.0
    patience: float = 0.0

    def pause_after(self, failures: int, retry_after: Optional[float]) -> Optional[float]:
        """How long to wait after that many failures in a row; None to give up."""
        if failures >= self.attempts:
            return None
        if retry_after is not None and retry_after > self.longest_retry_after:
            return None
        return max(self.drawn_pause(failures), retry_after or 0.0)

    def drawn_pause(self, failures: int) -> float:
        whole = min(self.longest_pause, self.first_pause * 2.0 ** min(failures - 1, 30))
        return random.uniform(whole / 2, whole)


class Setbacks:
    """Failures in a row, and whether to go on in spite of them. `clock` gives seconds."""

    def __init__(self, policy: RetryPolicy, clock: Callable[[], float]) -> None:
        self._policy = policy
        self._clock = clock
        self.forgive()

    def forgive(self) -> None:
        """Something moved on: the row ends."""
        self._failures = self._answered = 0
        self._since = 0.0

    def pause(self, trouble: Transient) -> Optional[float]:
        """How long to wait before the next try; None to give up."""
        now = self._clock()
        if self._failures == 0:
            self._since = now
        self._failures += 1
        if trouble.offline and now - self._since < self._policy.patience:
            return self._policy.drawn_pause(self._failures)
        self._answered += 1
        counted = self._answered if self._policy.patience else self._failures
        return self._policy.pause_after(counted, trouble.retry_after)

    def lasting(self) -> float:
        """Seconds since the row began."""
        return self._clock() - self._since


@dataclass(frozen=True)
class Looks:
    """How a service is watched at work: seconds between the first two looks, between two at most, and in all."""

    first: float
    longest: float
    longest_wait: float = 3600.0


# Uploads, whose host does not wait and whose networks come and go.
BACKGROUND = RetryPolicy(patience=600.0)

# Calls that the host waits for.
FOREGROUND = RetryPolicy(attempts=3, first_pause=0.5, longest_pause=2.0, longest_retry_after=5.0)

# What is borne outside.
ONE_TRY = RetryPolicy(attempts=1)


# The windows of limits last a minute. A service that names a later end means another window.
LONGEST_WINDOW = 60.0


def pause_asked_for(status: int, header: Callable[[str], Optional[str]]) -> Optional[float]:
    """The seconds that an answer asks to wait. Some services name the end of the limit's window instead."""
    now = _http_date(header("Date"))
    asked = retry_after_seconds(header("Retry-After"), now)
    if asked is None and status == TOO_MANY:
        asked = _window_seconds(header("X-RateLimit-Reset") or header("Ratelimit-Reset"), now)
    return asked


def retry_after_seconds(header: Optional[str], now: Optional[float] = None) -> Optional[float]:
    """The header is a number of seconds or a date; anything else counts as absent."""
    seconds = whole_number(header)
    if seconds is not None:
        return float(seconds)
    moment = _http_date(header)
    return None if moment is None else max(0.0, moment - (time.time() if now is None else now))


def _window_seconds(header: Optional[str], now: Optional[float]) -> Optional[float]:
    """The header is a number of seconds since the epoch, or a date as ISO 8601 writes it."""
    number = whole_number(header)
    try:
        moment = float(number) if number is not None else _moment(_iso_date(header or ""))
    except (ValueError, OverflowError, OSError):
        return None
    seconds = moment - (time.time() if now is None else now)
    return seconds if 0 < seconds <= LONGEST_WINDOW else None


def _iso_date(text: str) -> datetime:
    return datetime.fromisoformat(text.strip().replace("Z", "+00:00"))


def _http_date(text: Optional[str]) -> Optional[float]:
    try:
        return _moment(parsedate_to_datetime(text or ""))
    except (TypeError, ValueError, IndexError, OverflowError, OSError):
        return None


def _moment(date: datetime) -> float:
    # One of the three forms of dates in HTTP names no zone; all of them are in Greenwich time.
    return (date if date.tzinfo is not None else date.replace(tzinfo=timezone.utc)).timestamp()
