"""Answers of the Graph API, which Facebook and Instagram share."""

from __future__ import annotations

from typing import Any, Dict

from .connection import Answer
from .errors import NOT_FOUND, Discarded, Refused, TokenInvalid, Transient, UploadError
from .replies import json_object, object_of, required_number, text_member

# Error numbers of the Graph API.
TOKEN_ERRORS = frozenset((102, 190))
# Troubles of the service, and limits of calls that pass.
PASSING_ERRORS = frozenset((1, 2, 4, 17, 32, 341, 613))
# Something was wrong with the upload, which may be tried again unless the subcode tells what.
UPLOAD_TROUBLE = 6000

# An object that is not there; the status says something else.
NO_OBJECT = (100, 33)
# The number of a parameter that is not taken, as a refusal's word.
BAD_PARAMETER = "100"

# Error subcodes.
WRONG_OFFSET = 1363037
# A part that timed out, got lost or came in part; a server's error, a container that was not made or is not ready.
PASSING_SUBCODES = frozenset((1363019, 1363030, 1363033, 2207001, 2207008, 2207027, 2207032))
# The account is restricted, which does not pass although the number says so.
RESTRICTED = 2207051
# A container that has expired or broken: another one may do.
LOST_CONTAINER = frozenset((2207020, 2207053))


class WrongOffset(UploadError):
    """The service wants another stretch of the file; it says which."""

    def __init__(self, data: Any) -> None:
        self.start, self.end = next_stretch(_decoded(data))
        super().__init__("the service expects the part that begins at %d" % self.start)


class ContainerLost(Discarded):
    """What was uploaded can't be used any more, but uploading it anew may help."""


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


def next_stretch(value: Any) -> "tuple[int, int]":
    """The same, of an answer that may come better at the next try."""
    try:
        return stretch(value)
    except UploadError as error:
        raise Transient(str(error)) from None


def _failure(error: Dict[str, Any], status: int, service: str) -> UploadError:
    message = "%s: %s" % (service, text_member(error, "message") or "status %d" % status)
    code, subcode = error.get("code"), error.get("error_subcode")
    if subcode == WRONG_OFFSET:
        return WrongOffset(error.get("error_data"))
    if code in TOKEN_ERRORS:
        return TokenInvalid(message)
    if subcode in LOST_CONTAINER:
        return ContainerLost(message, status)
    passes = code in PASSING_ERRORS or subcode in PASSING_SUBCODES or (code == UPLOAD_TROUBLE and not subcode)
    if (passes and subcode != RESTRICTED) or error.get("is_transient") is True:
        return Transient(message)
    return Refused(message, NOT_FOUND if (code, subcode) == NO_OBJECT else status, str(code))


def _decoded(data: Any) -> Any:
    """The data of an error come as an object or as the text of one."""
    return object_of(data) if isinstance(data, str) else data
