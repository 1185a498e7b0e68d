"""What can go wrong with an upload. Each text is fit for the host; secrets are masked where it leaves."""

from __future__ import annotations

from typing import Optional

# The one refusal of a question that tells that there is nothing.
NOT_FOUND = 404
# What was there once and is no more.
GONE = frozenset((NOT_FOUND, 410))


class UploadError(Exception):
    """The operation failed and trying again will not help."""


def in_doubt(why: object) -> str:
    return "%s; whether the video is out could not be found out" % why


class Stopped(UploadError):
    """The host stopped the upload."""

    def __init__(self) -> None:
        super().__init__("User cancelled!")


class TokenInvalid(UploadError):
    """The service does not accept the login any more; somebody has to sign in again."""


class Undecided(UploadError):
    """Nobody could be asked whether the service has published the video."""

    def __init__(self, why: object) -> None:
        super().__init__(in_doubt(why))
        self.why = why


class Refused(UploadError):
    """The service said no, with an HTTP status; `word` is its machine-readable reason where it gives one."""

    def __init__(self, text: str, status: int, word: str = "") -> None:
        super().__init__(text)
        self.status = status
        self.word = word


class Hindered(UploadError):
    """Something on the way to the service was in the way, of which the service knows nothing."""


class RenewalRefused(Hindered):
    """The login could not be renewed, which says nothing about it, nor about a video."""


class FileTrouble(UploadError):
    """The file can't be sent as it is."""


class FileUnreadable(FileTrouble, Hindered):
    """The file could not be read, which may pass: it is the same as before."""


class Discarded(Refused):
    """The service has thrown away what was sent, and has surely not published it."""


class Deferred(Refused):
    """A refusal that leaves what the service has of the video as it is: another day it may go on."""

    @classmethod
    def of(cls, refused: Refused) -> Deferred:
        return cls(str(refused), refused.status, refused.word)


def is_final(refused: Refused) -> bool:
    """Whether it tells that what the service had of the video is gone."""
    return isinstance(refused, Discarded) or refused.status in GONE


class Transient(UploadError):
    """A trouble that may pass: a broken connection or a service that is busy.

    `unprocessed` tells that the service did certainly not act on the request, so that even a request that must not
    be done twice can be sent again. `retry_after` is the pause in seconds that the service asked for. `offline` tells
    that nobody answered.
    """

    def __init__(
        self, text: str, unprocessed: bool = False, retry_after: Optional[float] = None, offline: bool = False
    ) -> None:
        super().__init__(text)
        self.unprocessed = unprocessed
        self.retry_after = retry_after
        self.offline = offline
        self.given_up = False


# What ends an upload that may go on when the host starts it again.
GOES_ON = (Stopped, TokenInvalid, Transient, Undecided, Hindered, Deferred)
