"""A login that waits for the browser, for hosts that end meanwhile.

Where the environment variable `MEDIATRANSFER_LOGIN_FILE` names a file, a begun login is written there, for its owner
only, and the redirect address may be given to an object of another process. Without it a begun login lasts as long as
its object.
"""

from __future__ import annotations

import json
import os
import time
from typing import Optional, Sequence, Tuple

ENVIRONMENT_VARIABLE = "MEDIATRANSFER_LOGIN_FILE"

# Services forget an unfinished login far sooner.
LIFETIME = 3600.0
LARGEST_FILE = 64 * 1024


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
