"""What must never appear in a text for the host."""

from __future__ import annotations

import threading
from typing import List, Set

from . import texts


class Mask:
    """Knows the secrets of one object. Safe from every thread."""

    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._secrets: Set[str] = set()

    def keep(self, *secrets: str) -> None:
        with self._lock:
            self._secrets.update(secrets)

    def secrets(self) -> List[str]:
        with self._lock:
            return list(self._secrets)

    def over(self, text: str) -> str:
        """The text as one line for the host."""
        return texts.message_for_host(text, self.secrets())
