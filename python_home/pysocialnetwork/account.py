"""What a service grants to the user who is signed in."""

from __future__ import annotations

import threading
import time
from dataclasses import dataclass
from typing import Callable, Optional, Tuple

# How long a service that did not tell is not asked again, seconds: hosts ask for one fact after the other.
PAUSE_AFTER_FAILURE = 30.0


@dataclass(frozen=True)
class Account:
    """Whether the service takes high and standard definition, the MiB that are free (0: not told), and its categories
    of videos."""

    hd: bool = True
    sd: bool = True
    space: int = 0
    categories: Tuple[str, ...] = ()


class AccountMemory:
    """Asks once for all facts. Safe from every thread; two that come at once may both ask."""

    def __init__(self) -> None:
        self._lock = threading.Lock()
        # How many users were asked about before this one.
        self._users = 0
        self.forget()

    def forget(self, another_user: bool = False) -> None:
        """What is being asked about another user is not kept either."""
        with self._lock:
            self._users += another_user
            self._known: Optional[Account] = None
            self._failed_at: Optional[float] = None

    def get(self, ask: Callable[[], Optional[Account]]) -> Account:
        """`ask` returns None when the service did not tell; the account is then one about which nothing is known."""
        with self._lock:
            known, failed_at, users = self._known, self._failed_at, self._users
        if known is not None:
            return known
        if failed_at is not None and time.monotonic() - failed_at < PAUSE_AFTER_FAILURE:
            return Account()
        found = ask()
        with self._lock:
            if users == self._users:
                self._known = found
                self._failed_at = time.monotonic()
        return found or Account()
