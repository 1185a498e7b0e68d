"""Signatures of OAuth 1.0a by HMAC-SHA1 (RFC 5849)."""

from __future__ import annotations

import base64
import hashlib
import hmac
import secrets
import time
from typing import Dict, Iterable, Mapping, Tuple
from urllib.parse import parse_qsl, quote, urlsplit

Pairs = Iterable[Tuple[str, str]]


def percent(text: str) -> str:
    return quote(text, safe="-._~")


def base_text(method: str, url: str, fields: Pairs) -> str:
    """What is signed: the method, the address without its query, and all fields, those of the query included."""
    parts = urlsplit(url)
    host = (parts.hostname or "").lower()
    if ":" in host:
        host = "[%s]" % host
    usual = {"http": 80, "https": 443}.get(parts.scheme.lower())
    if parts.port is not None and parts.port != usual:
        host = "%s:%d" % (host, parts.port)
    place = "%s://%s%s" % (parts.scheme.lower(), host, parts.path or "/")
    whole = [*fields, *parse_qsl(parts.query, keep_blank_values=True)]
    encoded = sorted((percent(name), percent(value)) for name, value in whole)
    listed = "&".join("%s=%s" % pair for pair in encoded)
    return "&".join((method.upper(), percent(place), percent(listed)))


def signature(text: str, app_secret: str, token_secret: str) -> str:
    key = "%s&%s" % (percent(app_secret), percent(token_secret))
    digest = hmac.new(key.encode("ascii"), text.encode("ascii"), hashlib.sha1).digest()
    return base64.b64encode(digest).decode("ascii")


def signed_fields(
    method: str,
    url: str,
    fields: Mapping[str, str],
    app: Tuple[str, str],
    token: Tuple[str, str] = ("", ""),
) -> Dict[str, str]:
    """The OAuth fields of one request, signature included; `app` and `token` are pairs of key and secret.

    `fields` are the other fields that are signed. A nonce is never used twice, so sign every try anew.
    """
    oauth = {
        "oauth_consumer_key": app[0],
        "oauth_nonce": secrets.token_hex(16),
        "oauth_signature_method": "HMAC-SHA1",
        "oauth_timestamp": str(int(time.time())),
        "oauth_version": "1.0",
    }
    if token[0]:
        oauth["oauth_token"] = token[0]
    # Fields of the handshake, such as oauth_callback, are given by the caller and travel with the others.
    oauth.update({name: value for name, value in fields.items() if name.startswith("oauth_")})
    others = {name: value for name, value in fields.items() if not name.startswith("oauth_")}
    text = base_text(method, url, [*others.items(), *oauth.items()])
    oauth["oauth_signature"] = signature(text, app[1], token[1])
    return oauth


def authorization(oauth: Mapping[str, str]) -> Dict[str, str]:
    """The header that carries the OAuth fields."""
    listed = ", ".join('%s="%s"' % (percent(name), percent(value)) for name, value in sorted(oauth.items()))
    return {"Authorization": "OAuth " + listed}
