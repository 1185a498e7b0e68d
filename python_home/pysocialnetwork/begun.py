"""A login that waits for the browser, also for hosts that end meanwhile.

Where the environment variable `MEDIATRANSFER_LOGIN_FILE` names a file, a begun login is written there, for its owner
only, and the redirect address may be given to an object of another process. Without it a begun login lasts as long as
its object.
"""

from __future__ import annotations

import hmac
import json
import os
import time
from typing import Callable, Optional, Sequence, Tuple

from .errors import UploadError

ENVIRONMENT_VARIABLE = "MEDIATRANSFER_LOGIN_FILE"

# Services forget an unfinished login far sooner.
LIFETIME = 3600.0
LARGEST_FILE = 64 * 1024


class PendingLogin:
    """The one login of an object that waits. The redirect address brings its `mark` back; its `secret`, which may be
    empty, proves to the service who has begun it."""

    def __init__(self, platform: str, keep_secret: Callable[[str], None]) -> None:
        self.values: Optional[Tuple[str, str]] = None
        self._platform = platform
        self._keep_secret = keep_secret

    def begin(self, mark: str, secret: str) -> None:
        self._keep_secret(secret)
        self.values = (mark, secret)
        keep(self._platform, self.values)

    def secret_of(self, mark: str, name: str) -> str:
        """Raises UploadError for an address of another login, which must not cost the user the one that is going on.
        `name` is what the service calls the mark."""
        if self.values is None:
            self.values = self._begun_elsewhere()
        if self.values is None:
            raise UploadError("no login has been begun")
        if not hmac.compare_digest(_bytes(mark), _bytes(self.values[0])):
            raise UploadError("the redirect address belongs to another login (its %s differs)" % name)
        return self.values[1]

    def end(self) -> None:
        self.values = None
        forget()

    def _begun_elsewhere(self) -> Optional[Tuple[str, str]]:
        values = recall(self._platform, 2)
        if values is None:
            return None
        self._keep_secret(values[1])
        return values[0], values[1]


def _bytes(text: str) -> bytes:
    return text.encode("utf-8", "surrogatepass")


def keep(platform: str, values: Sequence[str]) -> None:
    path = _path()
    if not path:
        return
    content = json.dumps({"platform": platform, "begun": time.time(), "values": list(values)})
    forget()
    try:
        # A new file, so that nobody else has it open.
        handle = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600)
        with os.fdopen(handle, "w", encoding="utf-8") as file:
            file.write(content)
    except OSError:
        pass  # this object can still finish it


def recall(platform: str, count: int) -> Optional[Tuple[str, ...]]:
    """The values of the platform's begun login when there is one that is not too old."""
    path = _path()
    if not path:
        return None
    try:
        with open(path, encoding="utf-8") as file:
            content = json.loads(file.read(LARGEST_FILE))
        values, begun = content["values"], content["begun"]
        known = content["platform"] == platform and isinstance(begun, float) and 0 <= time.time() - begun < LIFETIME
    except (OSError, ValueError, KeyError, TypeError, RecursionError):
        return None
    if not known or not isinstance(values, list) or len(values) != count:
        return None
    return tuple(values) if all(isinstance(value, str) for value in values) else None


def forget() -> None:
    path = _path()
    try:
        if path:
            os.remove(path)
    except OSError:
        pass


def _path() -> str:
    return os.environ.get(ENVIRONMENT_VARIABLE, "")
