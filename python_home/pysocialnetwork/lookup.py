"""Looking a host's addresses up."""

from __future__ import annotations

import socket
import threading
from typing import Any, List

from .stopsignal import StopSignal

# Seconds between two looks at the stop, which can't wake this wait.
BETWEEN_LOOKS = 0.05


def addresses_of(host: str, port: int, stop: StopSignal, seconds: float) -> List[Any]:
    """What `getaddrinfo` tells. A look-up can neither be broken off nor limited, so that it gets a thread of its own,
    which is left behind when it takes too long or the upload is stopped."""
    found: List[Any] = []
    failures: List[BaseException] = []
    done = threading.Event()

    def look_up() -> None:
        try:
            found.extend(socket.getaddrinfo(host, port, type=socket.SOCK_STREAM))
        except Exception as error:  # the caller's to tell
            failures.append(error)
        finally:
            done.set()

    try:
        threading.Thread(target=look_up, name="look-up", daemon=True).start()
    except RuntimeError:
        raise OSError("no thread can be started") from None
    for _ in range(max(1, round(seconds / BETWEEN_LOOKS))):
        if done.wait(BETWEEN_LOOKS):
            break
        stop.check()
    else:
        raise socket.timeout("timed out")
    if failures:
        raise failures[0]
    return found
