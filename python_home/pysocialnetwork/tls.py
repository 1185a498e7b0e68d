"""The settings of https for the whole process: the authorities are read once, not for each call."""

from __future__ import annotations

import os
import threading
from typing import Any, Dict, Optional, Tuple

from .errors import UploadError

# What names other authorities than the system's.
VARIABLES = ("SSL_CERT_FILE", "SSL_CERT_DIR")

_lock = threading.Lock()
_contexts: Dict[Tuple[Optional[str], ...], Any] = {}


def client_context() -> Any:
    """One that many threads may use at once."""
    key = tuple(os.environ.get(name) for name in VARIABLES)
    with _lock:
        if key not in _contexts:
            _contexts[key] = _made()
        return _contexts[key]


def _made() -> Any:
    try:
        import ssl
    except ImportError:
        raise UploadError("this Python has no ssl module, which https needs") from None
    context = ssl.create_default_context()
    context.minimum_version = ssl.TLSVersion.TLSv1_2
    return context
