"""When and how often a request is tried again."""

from __future__ import annotations

import random
import time
from dataclasses import dataclass
from email.utils import parsedate_to_datetime
from typing import Optional

# Answers that may be better at the next try.
BUSY = frozenset((408, 429, 500, 502, 503, 504))
# Of those, the ones that say that the request was not worked on.
UNPROCESSED = frozenset((429, 503))


@dataclass(frozen=True)
class RetryPolicy:
    """Seconds throughout. The pause doubles with every failure and is drawn from its upper half."""

    attempts: int = 6
    first_pause: float = 1.0
    longest_pause: float = 30.0
    # A service that asks for more is given up.
    longest_retry_after: float = 120.0

    def pause_after(self, failures: int, retry_after: Optional[float]) -> Optional[float]:
        """How long to wait after that many failures in a row; None to give up."""
        if failures >= self.attempts:
            return None
        if retry_after is not None and retry_after > self.longest_retry_after:
            return None
        whole = min(self.longest_pause, self.first_pause * 2.0 ** (failures - 1))
        return max(random.uniform(whole / 2, whole), retry_after or 0.0)


# Calls that the host waits for.
FOREGROUND = RetryPolicy(attempts=3, first_pause=0.5, longest_pause=2.0, longest_retry_after=5.0)


def retry_after_seconds(header: Optional[str], now: Optional[float] = None) -> Optional[float]:
    """The header is a number of seconds or a date; anything else counts as absent."""
    if header is None:
        return None
    text = header.strip()
    if text.isascii() and text.isdigit() and len(text) < 10:
        return float(text)
    try:
        moment = parsedate_to_datetime(text).timestamp()
    except (TypeError, ValueError, IndexError, OverflowError):
        return None
    return max(0.0, moment - (time.time() if now is None else now))
