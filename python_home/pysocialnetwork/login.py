"""A login at a platform, and the one opaque text in which the host keeps it."""

from __future__ import annotations

import base64
import binascii
import hashlib
import json
import time
import zlib
from dataclasses import dataclass, replace
from typing import Any, List, Mapping, Optional

from .errors import UploadError
from .texts import whole_number

# The host's field has 4096 bytes, the ending zero included.
LONGEST_TEXT = 4095
LARGEST_CONTENT = 64 * 1024
MARK = "mt1."

# A token that ends within this time is renewed before it is used.
SAFETY_SECONDS = 120
LONG_AGO = 1


@dataclass(frozen=True)
class Login:
    """`secret` is the token secret of OAuth 1.0a. `expires` counts seconds since the epoch, 0 for never."""

    platform: str
    access: str
    refresh: str = ""
    secret: str = ""
    expires: int = 0
    obtained: int = 0
    user_id: str = ""
    user_name: str = ""

    def has_expired(self, margin: float = 0.0) -> bool:
        return self.expires != 0 and time.time() + margin >= self.expires

    def secrets(self) -> List[str]:
        return [self.access, self.refresh, self.secret]

    def key(self) -> str:
        """What tells it from any other and holds no secret; a renewal that keeps the refresh token keeps it."""
        secret = "%s %s" % (self.platform, self.refresh or self.access)
        return hashlib.sha256(secret.encode("utf-8", "surrogatepass")).hexdigest()

    def to_text(self) -> str:
        """Of a login too long for the host the access token is left out where it can be renewed."""
        text = self._packed()
        if len(text) > LONGEST_TEXT and self.refresh:
            text = replace(self, access="", expires=LONG_AGO)._packed()
        if len(text) > LONGEST_TEXT:
            raise UploadError("the login is too long to be kept")
        return text

    def _packed(self) -> str:
        content = [
            self.platform,
            self.access,
            self.refresh,
            self.secret,
            self.expires,
            self.obtained,
            self.user_id,
            self.user_name,
        ]
        packed = zlib.compress(json.dumps(content, ensure_ascii=False, separators=(",", ":")).encode("utf-8"), 9)
        return MARK + base64.urlsafe_b64encode(packed).decode("ascii").rstrip("=")

    @classmethod
    def from_text(cls, text: str, platform: str) -> Login:
        """Raises UploadError for a text that `to_text` did not make for this platform."""
        try:
            values = _unpack(text)
        except (ValueError, binascii.Error, zlib.error, RecursionError):
            raise UploadError("the access token is damaged or none of this uploader") from None
        kinds = (str, str, str, str, int, int, str, str)
        if not isinstance(values, list) or [type(value) for value in values] != list(kinds):
            raise UploadError("the access token is damaged or none of this uploader")
        login = cls(*values)
        if login.platform != platform:
            raise UploadError("the access token belongs to another platform")
        if login.access or not login.refresh or login.expires != LONG_AGO:
            require_token(login.access)
        return login


def _unpack(text: str) -> Any:
    if not text.startswith(MARK) or len(text) > LONGEST_TEXT:
        raise ValueError
    packed = base64.b64decode(text[len(MARK) :] + "=" * (-len(text[len(MARK) :]) % 4), b"-_", validate=True)
    # A small text can unpack to gigabytes.
    inflater = zlib.decompressobj()
    content = inflater.decompress(packed, LARGEST_CONTENT)
    if not inflater.eof or inflater.unused_data:
        raise ValueError
    return json.loads(content.decode("utf-8"))


def require_token(value: object) -> str:
    """A token travels in headers and addresses, so it is printable ASCII without blanks."""
    if not isinstance(value, str) or not value or not value.isascii() or not value.isprintable() or " " in value:
        raise UploadError("the service gave no usable token")
    return value


def expiry(answer: Mapping[str, Any], now: Optional[float] = None) -> int:
    """When the token of a token answer ends; 0 when the answer does not say."""
    seconds = answer.get("expires_in")
    if isinstance(seconds, str):
        seconds = whole_number(seconds)
    if not isinstance(seconds, (int, float)) or isinstance(seconds, bool) or not 0 < seconds < 10**10:
        return 0
    return int((time.time() if now is None else now) + seconds)
