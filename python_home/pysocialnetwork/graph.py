"""Answers of the Graph API, which Facebook and Instagram share."""

from __future__ import annotations

import json
from typing import Any, Dict

from .connection import Answer
from .errors import Refused, TokenInvalid, Transient, UploadError
from .replies import json_object, required_number, text_member

# Error numbers of the Graph API.
TOKEN_ERRORS = frozenset((102, 190))
PASSING_ERRORS = frozenset((1, 2, 4, 17, 341))
WRONG_OFFSET = 1363037


class WrongOffset(UploadError):
    """The service wants another stretch of the file; it says which."""

    def __init__(self, data: Any) -> None:
        self.start, self.end = stretch(_decoded(data))
        super().__init__("the service expects the part that begins at %d" % self.start)


def read(answer: Answer, service: str) -> Dict[str, Any]:
    """The object of a good answer. Errors come with several statuses, 200 among them."""
    content = json_object(answer)
    error = content.get("error")
    if isinstance(error, dict):
        raise _failure(error, answer.status, service)
    if answer.status != 200:
        said = text_member(content, "error_message") or text_member(content, "debug_info", "message")
        raise Refused("%s: %s" % (service, said or "status %d" % answer.status), answer.status)
    return content


def stretch(value: Any) -> "tuple[int, int]":
    """The next part that the service wants, as positions in the file."""
    return required_number(value, "start_offset"), required_number(value, "end_offset")


def _failure(error: Dict[str, Any], status: int, service: str) -> UploadError:
    message = "%s: %s" % (service, text_member(error, "message") or "status %d" % status)
    code = error.get("code")
    if error.get("error_subcode") == WRONG_OFFSET:
        return WrongOffset(error.get("error_data"))
    if code in TOKEN_ERRORS:
        return TokenInvalid(message)
    if code in PASSING_ERRORS or error.get("is_transient") is True:
        return Transient(message)
    return Refused(message, status)


def _decoded(data: Any) -> Any:
    """The data of an error come as an object or as the text of one."""
    if not isinstance(data, str):
        return data
    try:
        return json.loads(data)
    except (ValueError, RecursionError):
        return None
