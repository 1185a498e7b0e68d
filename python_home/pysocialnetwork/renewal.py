"""Calls with a login that is renewed when its time is over or the service does not take it."""

from __future__ import annotations

import threading
from typing import Callable, Optional, TypeVar

from .errors import TokenInvalid, UploadError
from .login import SAFETY_SECONDS, Login
from .tokenstore import TokenStore
from .wire import Wire

T = TypeVar("T")


class Renewal:
    """`renew` asks the service for a fresh login and returns None where there is none to have; `wanted` tells of a
    login that has not ended that it had better be renewed. `patience` gives the seconds to wait for another thread's
    renewal."""

    def __init__(
        self,
        store: TokenStore,
        renew: Callable[[Wire, Login], Optional[Login]],
        wanted: Callable[[Login], bool],
        patience: Callable[[], float],
        debug: Callable[[str], None],
    ) -> None:
        # Some services take a refresh token only once, so that two threads must not use the same one.
        self.lock = threading.Lock()
        self._store = store
        self._renew = renew
        self._wanted = wanted
        self._patience = patience
        self._debug = debug

    def authorized(self, wire: Wire, call: Callable[[Login], T]) -> T:
        """Makes a call with the login; once more with a renewed one when the service does not take it. A login that the
        service does not take either way is forgotten."""
        login = self.usable_login(wire)
        try:
            try:
                return call(login)
            except TokenInvalid:
                renewed = self._renewed(wire, login)
                if renewed is None:
                    raise
                login = renewed
                return call(login)
        except TokenInvalid:
            self._store.drop(login)
            raise

    def is_due(self, login: Login) -> bool:
        return login.has_expired(SAFETY_SECONDS) or self._wanted(login)

    def usable_login(self, wire: Wire) -> Login:
        login = self._store.login
        if login is None:
            raise TokenInvalid("nobody is signed in")
        if not self.is_due(login):
            return login
        renewed = self._renewed(wire, login)
        if renewed is not None:
            return renewed
        if login.has_expired():
            self._store.drop(login)
            raise TokenInvalid("the login has expired; sign in again")
        return login

    def _renewed(self, wire: Wire, stale: Login) -> Optional[Login]:
        if not self.lock.acquire(timeout=self._patience()):
            raise UploadError("the login is being renewed")
        try:
            current = self._store.login
            if current is None:
                raise TokenInvalid("nobody is signed in any more")
            if current.access != stale.access:
                return current
            try:
                renewed = self._renew(wire, stale)
            except TokenInvalid:
                self._store.drop(stale)
                raise
            if renewed is not None:
                self._store.set(renewed)
                self._debug("the login was renewed")
            return renewed
        finally:
            self.lock.release()
