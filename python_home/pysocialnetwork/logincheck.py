"""Whether a login that the host gives back is still good. The service is asked only where the host wants to know.

The environment variable `MEDIATRANSFER_LOGIN_CHECK` says how `SetAccessToken` looks at a login: "service" asks the
service, "stored" looks at the login alone and asks nobody.
"""

from __future__ import annotations

import os
from typing import Callable

from .errors import Refused, RenewalRefused, TokenInvalid, UploadError
from .login import Login

ENVIRONMENT_VARIABLE = "MEDIATRANSFER_LOGIN_CHECK"
SERVICE = "service"

# What the host finds in `GetLastError` where `SetAccessToken` took the login; a reason follows the last two.
GOOD = "good"
NOT_ASKED = "not asked"
UNREACHABLE = "unreachable: "
UNDECIDED = "undecided: "


def wanted() -> str:
    """Empty where the host does not ask."""
    return os.environ.get(ENVIRONMENT_VARIABLE, "")


def verdict(how: str, login: Login, ask: Callable[[], None]) -> str:
    """Raises TokenInvalid for a login that is over."""
    if how != SERVICE:
        if login.has_expired() and not login.refresh:
            raise TokenInvalid("the login has expired")
        return NOT_ASKED
    try:
        ask()
    except TokenInvalid:
        raise
    except (Refused, RenewalRefused) as error:
        return UNDECIDED + str(error)
    except UploadError as error:
        return UNREACHABLE + str(error)
    return GOOD
