"""Texts on their way to the host or to a service: masked, cut and mapped."""

from __future__ import annotations

import re
from typing import Iterable, List, Mapping, Optional, Set
from urllib.parse import quote, quote_plus, urlsplit

from .errors import UploadError

# Hosts keep a text of the interface in a buffer of 1024 bytes.
LONGEST_MESSAGE = 1023
LONGEST_USER_NAME = 99
LONGEST_USER_ID = 255
LONGEST_KEY = 127
LONGEST_CATEGORIES = 2047

# Of a number that a service can mean; reading a million of them would stop all of Python.
MOST_DIGITS = 20

# Shorter ones would mask ordinary words.
_SHORTEST_SECRET = 4
_CONTROLS = re.compile("[\\x00-\\x1f\\x7f]+")


def cut_bytes(text: str, limit: int) -> str:
    """The longest beginning that takes no more than `limit` bytes as UTF-8."""
    return text.encode("utf-8", "replace")[:limit].decode("utf-8", "ignore")


def whole_number(text: Optional[str]) -> Optional[int]:
    """The number of a text of ASCII digits alone; None for any other. Blanks around it are no matter."""
    digits = (text or "").strip()
    return int(digits) if digits.isascii() and digits.isdigit() and len(digits) <= MOST_DIGITS else None


def message_for_host(text: str, secrets: Iterable[str]) -> str:
    """One line without secrets: answers of services may quote what they were sent."""
    forms: Set[str] = set()
    for secret in secrets:
        if len(secret) >= _SHORTEST_SECRET:
            forms.update((secret, quote(secret, safe=""), quote_plus(secret)))
    for form in sorted(forms, key=len, reverse=True):
        text = text.replace(form, "***")
    return cut_bytes(_CONTROLS.sub(" ", text).strip(), LONGEST_MESSAGE)


def split_tags(tags: str) -> List[str]:
    """Tags stand between commas, semicolons or line ends; a leading # is dropped, a tag named twice kept once."""
    found: List[str] = []
    for part in re.split(r"[,;\r\n]+", tags):
        tag = part.strip().lstrip("#").strip()
        if tag and tag not in found:
            found.append(tag)
    return found


def tags_that_fit(tags: Iterable[str], limit: int, longest: int, quotes: bool = False) -> List[str]:
    """The tags that make a list of at most `limit` characters, the commas between them counted; and the quotes that a
    service may put around a tag with a blank. One that is longer than `longest` or too much is left out."""
    kept: List[str] = []
    room = limit + 1
    for tag in tags:
        cost = len(tag) + 1 + (2 if quotes and " " in tag else 0)
        if len(tag) <= longest and cost <= room:
            kept.append(tag)
            room -= cost
    return kept


def category_list(names: Iterable[str]) -> str:
    """Each name is followed by a bar; names that don't fit into the host's field whole are left out."""
    text = ""
    for name in names:
        entry = name.replace("|", "/").encode("utf-8", "replace").decode("utf-8") + "|"
        if len((text + entry).encode("utf-8")) > LONGEST_CATEGORIES:
            break
        text += entry
    return text


def chosen_privacy(privacy: str, names: Mapping[str, str]) -> str:
    """The service's word for the host's. Without one it is private; an unknown one is no reason to guess."""
    word = privacy.strip().lower() or "private"
    if word not in names:
        raise UploadError("the privacy %r is not known; use one of: %s" % (privacy, ", ".join(names)))
    return names[word]


def same_place(url: str, redirect_url: str) -> bool:
    """Whether the browser has reached the redirect address, whatever query it carries."""
    try:
        reached, wanted = urlsplit(url.strip()), urlsplit(redirect_url)
    except ValueError:
        return False
    return bool(redirect_url) and (reached.scheme.lower(), reached.netloc.lower(), reached.path or "/") == (
        wanted.scheme.lower(),
        wanted.netloc.lower(),
        wanted.path or "/",
    )
