"""Whose login an object has, and what the service grants to that user."""

from __future__ import annotations

import threading
from dataclasses import replace
from typing import NamedTuple, Optional

from . import texts
from .account import AccountMemory
from .errors import UploadError
from .login import Login
from .masking import Mask
from .unfinished import user_of


class Traces(NamedTuple):
    """Of a login, without its secrets: whose it was, as `unfinished.user_of` tells it, and its key."""

    user: str
    key: str


class TokenStore:
    """Safe from every thread."""

    def __init__(self, mask: Mask) -> None:
        self.account = AccountMemory()
        self._mask = mask
        self._lock = threading.Lock()
        self._login: Optional[Login] = None
        self._last: Optional[Traces] = None

    @property
    def login(self) -> Optional[Login]:
        with self._lock:
            return self._login

    @property
    def last(self) -> Optional[Traces]:
        """Of the login, or of the one that was there before it was dropped."""
        with self._lock:
            return self._last

    def set(self, login: Optional[Login]) -> None:
        with self._lock:
            self._put(login)

    def replace(self, login: Login, by: Optional[Login]) -> bool:
        """Sets another login in place of this one, but not of one that has taken its place meanwhile."""
        with self._lock:
            same = self._login is not None and self._login.access == login.access
            if same:
                self._put(by)
            return same

    def drop(self, login: Login) -> None:
        """Forgets this login, but none that has taken its place."""
        self.replace(login, None)

    def text(self) -> str:
        """The login as the host keeps it."""
        login = self.login
        if login is None:
            raise UploadError("nobody is signed in")
        if login.has_expired() and not login.refresh:
            raise UploadError("the login has expired")
        return login.to_text()

    def _put(self, login: Optional[Login]) -> None:
        another_user = True
        if login is not None:
            # A service's texts of any length or with broken letters must not keep the token from the host.
            name = texts.cut_bytes(login.user_name, texts.LONGEST_USER_NAME)
            login = replace(login, user_name=name, user_id=texts.cut_bytes(login.user_id, texts.LONGEST_USER_ID))
            self._mask.keep(*login.secrets())
            another_user = self._login is None or user_of(self._login) != user_of(login)
            self._last = Traces(user_of(login), login.key())
        self._login = login
        self.account.forget(another_user)
