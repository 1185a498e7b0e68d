"""The script that the library loads: makes the object behind an upload to a social network.

The library runs this text as module "pythonrt" and has put `python38.zip`, `pythondlls` and `pysocialnetwork` at the
end of `sys.path` before. The folder `pysocialnetwork` is a package, so the folder above it has to be there too.
"""

from __future__ import annotations

import importlib
import os
import sys
import threading
from typing import Any

PLATFORMS = ("facebook", "youtube", "vimeo", "flickr", "instagram", "twitch")

PACKAGE = "pysocialnetwork"


def _make_package_importable() -> None:
    for entry in reversed(sys.path):
        folder = os.path.normpath(entry)
        if os.path.basename(folder) == PACKAGE:
            home = os.path.dirname(folder)
            if home not in sys.path:
                sys.path.append(home)
            return


def _let_the_end_be_quiet() -> None:
    """CPython 3.8 expects at its end that the thread which first imported `threading` is still known, and complains if
    not. That thread is the host's and may be gone, so its lock is taken in its place."""
    shut_down = getattr(threading, "_shutdown")

    def take_lock_and_shut_down() -> None:
        lock = getattr(threading.main_thread(), "_tstate_lock")
        if lock is not None:
            lock.acquire(False)
        shut_down()

    setattr(threading, "_shutdown", take_lock_and_shut_down)


def CreateAuInstance(name: str) -> Any:
    """The uploader of a platform; its methods are told in `pysocialnetwork.uploader`."""
    if name not in PLATFORMS:
        raise ValueError("there is no uploader for %r" % name)
    return importlib.import_module(PACKAGE + "." + name).Uploader()


_make_package_importable()
if sys.version_info < (3, 9):
    _let_the_end_be_quiet()
