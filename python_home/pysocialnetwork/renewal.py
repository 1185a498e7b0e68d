"""Calls with a login that is renewed when its time is over or the service does not take it."""

from __future__ import annotations

import threading
import time
from contextlib import contextmanager
from typing import Callable, Dict, Iterator, Optional, TypeVar
from weakref import WeakValueDictionary

from .errors import Hindered, Refused, RenewalRefused, TokenInvalid, Transient, UploadError
from .login import SAFETY_SECONDS, Login
from .tokenstore import TokenStore
from .wire import Wire

T = TypeVar("T")

# How often a call renews the login that the service does not take: the first one that it is given may be another
# object's, which has ended as well.
MOST_RENEWALS = 2
# Seconds between two looks for a stop while another thread renews the login.
LOOK_PAUSE = 0.05


class Renewal:
    """`renew` asks the service for a fresh login and returns None where there is none to have; `wanted` tells of a
    login that has not ended that it had better be renewed. `patience` gives the seconds to wait for another thread's
    renewal. `calling` makes the wire of one try: neither a stop of the upload nor its patience are any of it, since a
    refresh token that is good once is lost with the answer, and others wait meanwhile."""

    def __init__(
        self,
        store: TokenStore,
        renew: Callable[[Wire, Login], Optional[Login]],
        wanted: Callable[[Login], bool],
        patience: Callable[[], float],
        calling: Callable[[], Wire],
        debug: Callable[[str], None],
    ) -> None:
        # Some services take a refresh token only once, so that two threads must not use the same one.
        self.lock = threading.Lock()
        self._store = store
        self._renew = renew
        self._wanted = wanted
        self._patience = patience
        self._calling = calling
        self._debug = debug

    def authorized(self, wire: Wire, call: Callable[[Login], T]) -> T:
        """Makes a call with the login; again with a renewed one when the service does not take it. A login that the
        service does not take either way is forgotten."""
        login = self.usable_login(wire)
        try:
            for _ in range(MOST_RENEWALS):
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
        of_same_user(wire, login)
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
        """Between two tries others have their turn."""
        return wire.run(lambda: self._renewed_once(wire, stale))

    def _renewed_once(self, wire: Wire, stale: Login) -> Optional[Login]:
        with held(self.lock, wire, self._patience()):
            current = self._store.login
            if current is None:
                raise TokenInvalid("nobody is signed in any more")
            if current.access != stale.access:
                return of_same_user(wire, current)
            renewed = self._renewed_in_turn(wire, stale)
        wire.stop.check()
        return renewed

    def _renewed_in_turn(self, wire: Wire, stale: Login) -> Optional[Login]:
        while True:
            spent = renewals.newest(stale)
            with renewals.turn(spent, wire, self._patience()):
                newest = renewals.newest(stale)
                # Else another object has spent it meanwhile.
                if newest.key() == spent.key():
                    return self._renewed_now(wire, stale, newest)

    def _renewed_now(self, wire: Wire, stale: Login, newest: Login) -> Optional[Login]:
        if newest.access != stale.access and not self.is_due(newest):
            return self._put(wire, stale, newest)
        try:
            with self._calling() as wire:
                renewed = self._renew(wire, newest)
        except Transient as trouble:
            # A row that ended in there is none of the caller's, whose own request was not sent or was answered.
            raise Transient(
                str(trouble), unprocessed=True, retry_after=trouble.retry_after, offline=trouble.offline
            ) from None
        except TokenInvalid:
            self._store.drop(stale)
            raise
        except Refused as refused:
            raise RenewalRefused(str(refused)) from None
        except UploadError as error:
            raise Hindered(str(error)) from None
        if renewed is None:
            return None
        renewals.keep(newest, renewed)
        self._debug("the login was renewed")
        return self._put(wire, stale, renewed)

    def _put(self, wire: Wire, stale: Login, fresh: Login) -> Login:
        """What the host has done meanwhile counts more than a renewal."""
        if self._store.replace(stale, fresh):
            return fresh
        current = self._store.login
        if current is None:
            renewals.forget(fresh.key())
            raise TokenInvalid("nobody is signed in any more")
        return of_same_user(wire, current)

    def forget(self, key: str) -> None:
        """All logins that this one came from, or that came of it; `key` is as `Login.key` tells it."""
        renewals.forget(key)


class Renewals:
    """What became of logins that several objects of the process may have. Safe from every thread."""

    MOST = 100

    def __init__(self) -> None:
        self._lock = threading.Lock()
        # Gone with the last who holds one or waits for it.
        self._turns: "WeakValueDictionary[str, threading.Lock]" = WeakValueDictionary()
        self._successors: Dict[str, Login] = {}

    @contextmanager
    def turn(self, login: Login, wire: Wire, patience: float) -> Iterator[None]:
        """A refresh token that is good once is used by one object at a time."""
        with self._lock:
            turn = self._turns.setdefault(login.key(), threading.Lock())
        with held(turn, wire, patience):
            yield

    def newest(self, login: Login) -> Login:
        with self._lock:
            for _ in range(self.MOST):
                successor = self._successors.get(login.key(), login)
                if successor.key() == login.key():
                    return successor
                login = successor
        return login

    def keep(self, stale: Login, renewed: Login) -> None:
        with self._lock:
            self._successors.pop(stale.key(), None)
            self._successors[stale.key()] = renewed
            while len(self._successors) > self.MOST:
                self._successors.pop(next(iter(self._successors)))

    def forget(self, key: str) -> None:
        """All logins that this one came from, or that came of it."""
        with self._lock:
            chain, before = {key}, 0
            while len(chain) != before:
                before = len(chain)
                for stale, renewed in self._successors.items():
                    if stale in chain or renewed.key() in chain:
                        chain |= {stale, renewed.key()}
            self._successors = {stale: renewed for stale, renewed in self._successors.items() if stale not in chain}


@contextmanager
def held(lock: threading.Lock, wire: Wire, patience: float) -> Iterator[None]:
    """A stop ends the wait for another thread's renewal, too."""
    end = time.monotonic() + patience
    while not lock.acquire(timeout=max(0.0, min(LOOK_PAUSE, end - time.monotonic()))):
        wire.stop.check()
        if time.monotonic() >= end:
            # Of the service nobody has heard.
            raise Transient("the login is being renewed", unprocessed=True, offline=True)
    try:
        yield
    finally:
        lock.release()


renewals = Renewals()


def of_same_user(wire: Wire, login: Login) -> Login:
    """The rest of one user's upload is no business of another one's."""
    if wire.user and login.user_id and wire.user != login.user_id:
        raise TokenInvalid("another user has signed in meanwhile")
    return login
