"""Whose login an object has, and what the service grants to that user."""

from __future__ import annotations

import threading
from dataclasses import replace
from typing import Optional

from . import texts
from .account import AccountMemory
from .errors import UploadError
from .login import Login
from .masking import Mask


class TokenStore:
    """Safe from every thread."""

    def __init__(self, mask: Mask) -> None:
        self.account = AccountMemory()
        self._mask = mask
        self._lock = threading.Lock()
        self._login: Optional[Login] = None
        self._last: Optional[Login] = None

    @property
    def login(self) -> Optional[Login]:
        with self._lock:
            return self._login

    @property
    def last(self) -> Optional[Login]:
        """The login, or the one that was there before it was dropped."""
        with self._lock:
            return self._last

    def set(self, login: Optional[Login]) -> None:
        if login is not None:
            # A service's texts of any length or with broken letters must not keep the token from the host.
            name = texts.cut_bytes(login.user_name, texts.LONGEST_USER_NAME)
            login = replace(login, user_name=name, user_id=texts.cut_bytes(login.user_id, texts.LONGEST_USER_ID))
            self._mask.keep(*login.secrets())
        with self._lock:
            self._login = login
            self._last = login or self._last
        self.account.forget()

    def drop(self, login: Login) -> None:
        """Forgets this login, but none that has taken its place."""
        current = self.login
        if current is not None and current.access == login.access:
            self.set(None)

    def text(self) -> str:
        """The login as the host keeps it."""
        login = self.login
        if login is None:
            raise UploadError("nobody is signed in")
        if login.has_expired() and not login.refresh:
            raise UploadError("the login has expired")
        return login.to_text()
