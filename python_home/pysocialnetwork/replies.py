"""Reading answers in JSON without trusting their shape."""

from __future__ import annotations

import json
from typing import Any, Dict, Optional

from .connection import Answer
from .errors import UploadError
from .texts import MOST_DIGITS, whole_number


def json_object(answer: Answer) -> Dict[str, Any]:
    """The object that the body is; an empty one for anything else."""
    try:
        return object_of(answer.body.decode("utf-8"))
    except ValueError:
        return {}


def object_of(text: str) -> Dict[str, Any]:
    try:
        value = json.loads(text, parse_int=_integer)
    except (ValueError, RecursionError):
        return {}
    return value if isinstance(value, dict) else {}


def _integer(digits: str) -> Optional[int]:
    return int(digits) if len(digits) <= MOST_DIGITS else None


def member(value: Any, *path: str) -> Any:
    """What stands at the end of the path; None where it does not lead on."""
    for name in path:
        value = value.get(name) if isinstance(value, dict) else None
    return value


def text_member(value: Any, *path: str) -> str:
    """A text, or a number as its decimal text; empty where there is neither. JSON can spell halves of letters, which
    nobody can send on: a text with one is none."""
    found = member(value, *path)
    if isinstance(found, str):
        return "" if any("\ud800" <= letter <= "\udfff" for letter in found) else found
    if isinstance(found, int) and not isinstance(found, bool):
        return str(found)
    return ""


def required_text(value: Any, *path: str) -> str:
    found = text_member(value, *path)
    if not found:
        raise UploadError("the service's answer lacks %s" % ".".join(path))
    return found


def required_number(value: Any, *path: str) -> int:
    """A number that is not negative, also where it is written as text."""
    number = whole_number(text_member(value, *path))
    if number is None:
        raise UploadError("the service's answer lacks %s" % ".".join(path))
    return number
