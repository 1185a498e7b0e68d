"""What the library calls: the base of the six platforms, and the adapter between host and service.

Whose login it is stands in `tokenstore`, how it is kept fresh in `renewal`, an upload in `job`, and what no text may
hold in `masking`. The library calls each method by name, on a thread of the host. A method that raised would count as good in some
places, so none does: a failure is a neutral result and a text in `GetLastError`.
"""

from __future__ import annotations

import contextlib
import threading
import time
from abc import abstractmethod
from typing import Any, Callable, ClassVar, Collection, Dict, Iterator, Optional, TypeVar

from . import hostcallback, logincheck, texts, unfinished
from .account import Account
from .bodies import LocalFile
from .connection import TimeLimits
from .details import Details
from .errors import GOES_ON, UploadError
from .hostcallback import HostCallback
from .job import UploadJob, UploadSlot, VideoRequest, unexpected
from .login import Login
from .masking import Mask
from .renewal import Renewal
from .retry import BACKGROUND, FOREGROUND, ONE_TRY, RetryPolicy
from .services import Services
from .stopsignal import StopSignal
from .tokenstore import TokenStore
from .version import VERSION
from .wire import Wire

T = TypeVar("T")

# Results of VerifyRedirectURL.
ACCEPTED = 0
NOT_USABLE = 1
FAILED = 2

NO_LOGIN = "error"


class Uploader(Details):
    """The object behind one transfer of the host. Methods in the library's spelling are the library's protocol."""

    platform: ClassVar[str]

    # Tests shorten them.
    job_policy = BACKGROUND
    job_limits = TimeLimits()
    call_policy = FOREGROUND
    call_limits = TimeLimits(connect=10.0, silence=20.0, answer=20.0)
    clock = staticmethod(time.monotonic)

    def __init__(self) -> None:
        self.app_key = ""
        self.app_secret = ""
        self.redirect_url = ""
        self._brand = ""
        self._callback = HostCallback()
        self._mask = Mask()
        self._store = TokenStore(self._mask)
        self._renewal = Renewal(
            self._store,
            self._renew,
            self._wants_renewal,
            lambda: self.call_limits.answer,
            lambda: self.calling(ONE_TRY),
            self._debug,
        )
        self._slot = UploadSlot(self.platform, self._upload_now, self._report)
        self._services: Optional[Services] = None
        self._lock = threading.Lock()
        self._last_error = ""

    # --- Settings

    def SetCallback(self, capsule: Any) -> None:
        self._callback.set_capsule(capsule)

    def SetUserObj(self, user_object: int) -> None:
        self._callback.user_object = user_object

    # A null of the host's comes as None.

    def SetBrand(self, brand: Optional[str]) -> None:
        self._brand = "".join(letter for letter in brand or "" if letter.isascii() and letter.isalnum())

    def SetAppKey(self, key: Optional[str]) -> None:
        self.app_key = (key or "").strip()

    def SetAppSecret(self, secret: Optional[str]) -> None:
        self.app_secret = (secret or "").strip()
        self.keep_secret(self.app_secret)

    def SetRedirectURL(self, url: Optional[str]) -> None:
        self.redirect_url = (url or "").strip()

    # --- Login

    def GetLoginURL(self) -> str:
        return self._guarded(self._login_url, "")

    def VerifyRedirectURL(self, url: Optional[str]) -> int:
        return self._guarded(lambda: self._verify(url or ""), FAILED)

    def SetAccessToken(self, token: Optional[str]) -> int:
        return self._guarded(lambda: self._take_token(token or ""), 0)

    def GetAccessToken(self) -> str:
        return self._guarded(self._store.text, NO_LOGIN)

    def Logout(self) -> None:
        self._guarded(self._log_out, None)

    # --- What is known about the application and the user

    def GetAppKey(self) -> str:
        return texts.cut_bytes(self.app_key, texts.LONGEST_KEY)

    def GetAppSecret(self) -> str:
        return texts.cut_bytes(self.app_secret, texts.LONGEST_KEY)

    def GetUserName(self) -> str:
        login = self.login
        return login.user_name if login is not None else ""

    def GetVideoCategories(self) -> str:
        return texts.category_list(self._known_account().categories)

    def GetVideoHD(self) -> int:
        return int(self._known_account().hd)

    def GetVideoSD(self) -> int:
        return int(self._known_account().sd)

    def GetLimitSpace(self) -> int:
        return max(0, min(self._known_account().space, 2**31 - 1))

    def GetLastError(self) -> str:
        with self._lock:
            return self._last_error

    # --- Work

    def ShareLink(self, message: Optional[str], link: Optional[str], unused: str = "") -> None:
        self._guarded(lambda: self._share_now(message or "", link or ""), None)

    def StartUpload(
        self, path: str, title: str, description: str, privacy: str, tags: str, category: str, thumbnail: str = ""
    ) -> None:
        self._slot.start(VideoRequest(path, title, description, privacy, tags, category, thumbnail))

    def StopUpload(self) -> None:
        self._slot.stop()

    # --- What the platforms say

    @abstractmethod
    def _login_url(self) -> str:
        """The address for the browser, which begins a new login."""

    @abstractmethod
    def _finish_login(self, url: str) -> int:
        """`url` begins with the redirect address. Sets `login`; the result is that of VerifyRedirectURL."""

    @abstractmethod
    def _upload(self, job: UploadJob, wire: Wire) -> str:
        """Uploads the video and returns its address. Runs on the job's thread."""

    @abstractmethod
    def _confirm(self, wire: Wire, login: Login) -> None:
        """Asks the service for what only a good login gets. Raises TokenInvalid when it does not take this one."""

    def _renew(self, wire: Wire, login: Login) -> Optional[Login]:
        """A login with a fresh token; None where the platform can't renew this one. Raises TokenInvalid when the
        service says that it is over."""
        return None

    def _read_account(self, wire: Wire) -> Account:
        return Account()

    def _share(self, wire: Wire, message: str, link: str) -> None:
        raise UploadError("%s takes no links" % self.platform)

    def _revoke(self, wire: Wire, login: Login) -> None:
        """Ends the login at the service, where that can be done."""

    # --- For the platforms

    @property
    def login(self) -> Optional[Login]:
        return self._store.login

    def set_login(self, login: Optional[Login]) -> None:
        self._store.set(login)

    def keep_secret(self, *secrets: str) -> None:
        """These never appear in a text for the host."""
        self._mask.keep(*secrets)

    def address(self, key: str) -> str:
        if self._services is None:
            self._services = Services.from_environment()
        return self._services.address(key)

    def calling(self, policy: Optional[RetryPolicy] = None) -> Wire:
        """For calls that the host waits for."""
        return Wire(StopSignal(), policy or self.call_policy, self.call_limits, self._agent(), self._debug)

    def authorized(self, wire: Wire, call: Callable[[Login], T]) -> T:
        """Makes a call with the login; again with a renewed one when the service does not take it. A login that the
        service does not take either way is forgotten."""
        return self._renewal.authorized(wire, call)

    @contextlib.contextmanager
    def going_on(
        self, wire: Wire, service: str, request: VideoRequest, video: LocalFile, names: Collection[str]
    ) -> Iterator[Dict[str, str]]:
        """What is known of an upload of the same video to the same account that broke off, empty for none. What the
        caller has put there, which is to have these names, is kept if this one breaks off as well. `service` is the
        address that takes it in."""
        subject = unfinished.subject_of(service, self._renewal.usable_login(wire), video.identity, request)
        logouts = unfinished.kept.logouts(subject.user)
        waits = "the upload of the same video that was stopped is waited for"
        with unfinished.kept.at_work(subject, wire.stop, lambda: self._debug(waits)):
            values = unfinished.kept.take(subject, names)
            if values:
                self._debug("the upload goes on that broke off before")
            try:
                yield values
            except Exception as error:
                # What nobody foresaw tells nothing of the video.
                may_go_on = isinstance(error, GOES_ON) or not isinstance(error, UploadError)
                if values and may_go_on and unfinished.kept.keep(subject, values, logouts):
                    self._debug("what the service has of the video is kept for the next start")
                raise

    def afterwards(self, what: str, operation: Callable[[], None]) -> None:
        """A step on a video that is out already: neither a refusal nor a stop nor what nobody foresaw makes the upload a
        failure, since the next one of the file would make a second video."""
        try:
            operation()
        except UploadError as error:
            self.missing(what, error)
        except Exception as error:
            self.missing(what, UploadError(unexpected(error)))

    def missing(self, what: str, why: UploadError) -> None:
        self._debug(self._fail("the video is uploaded, but without its %s: %s" % (what, why)))

    def require_app(self, with_redirect: bool = True) -> None:
        if not self.app_key or not self.app_secret:
            raise UploadError("the application's key and secret are not set")
        if with_redirect and not self.redirect_url:
            raise UploadError("the application's redirect address is not set")

    # --- Behind the protocol

    def _verify(self, url: str) -> int:
        if not texts.same_place(url, self.redirect_url):
            self._fail("this is not the redirect address yet")
            return NOT_USABLE
        return self._finish_login(url)

    def _take_token(self, text: str) -> int:
        login = Login.from_text(text, self.platform)
        self.set_login(login)
        how = logincheck.wanted()
        with self.calling() as wire:
            if how:
                self._check(how, login, wire)
            elif self._renewal.is_due(login):
                self._renewal.usable_login(wire)
        return 1

    def _check(self, how: str, login: Login, wire: Wire) -> None:
        outcome = logincheck.verdict(how, login, lambda: self.authorized(wire, lambda now: self._confirm(wire, now)))
        if outcome != logincheck.GOOD:
            # Nor is the account asked for, which the host reads next.
            self._store.account.get(lambda: None)
        # The host finds it where it finds what went wrong.
        self._fail(outcome)

    def _wants_renewal(self, login: Login) -> bool:
        return False

    def _log_out(self) -> None:
        login, last = self.login, self._store.last
        self.set_login(None)
        # Also where the service has ended the login already.
        if last is not None:
            unfinished.kept.forget(last.user)
            self._renewal.forget(last.key)
        if login is not None:
            with self.calling() as wire:
                self._revoke(wire, login)

    def _share_now(self, message: str, link: str) -> None:
        with self.calling() as wire:
            self._share(wire, message, link)

    def _known_account(self) -> Account:
        if self.login is None:
            return Account()
        return self._store.account.get(lambda: self._guarded(self._ask_account, None))

    def _ask_account(self) -> Optional[Account]:
        with self.calling() as wire:
            return self._read_account(wire)

    def _upload_now(self, job: UploadJob) -> str:
        with Wire(job.stop, self.job_policy, self.job_limits, self._agent(), self._debug, self.clock) as wire:
            login = self.login
            wire.user = login.user_id if login is not None else ""
            return self._upload(job, wire)

    def _report(self, event: int, text: str) -> None:
        if event in (hostcallback.ERROR, hostcallback.TOKEN_INVALID):
            text = self._fail(text)
        self._callback.emit(event, text)

    def _debug(self, text: str) -> None:
        self._callback.emit(hostcallback.DEBUG, self._mask.over(text))

    def _guarded(self, operation: Callable[[], T], failed: T) -> T:
        with self._lock:
            self._last_error = ""
        try:
            return operation()
        except UploadError as error:
            self._fail(str(error))
        except Exception as error:  # the library takes a raised exception for success in places
            self._fail(unexpected(error))
        return failed

    def _fail(self, text: str) -> str:
        masked = self._mask.over(text)
        with self._lock:
            self._last_error = masked
        return masked

    def _agent(self) -> str:
        return (self._brand + " " if self._brand else "") + "media-transfer/" + VERSION
