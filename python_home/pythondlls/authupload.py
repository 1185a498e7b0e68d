"""The script that the library loads: makes the object behind an upload to a social network.

The library runs this text as module "pythonrt" and has put `python38.zip`, `pythondlls` and `pysocialnetwork` at the
end of `sys.path` before. The folder `pysocialnetwork` is a package, so the folder above it has to be there too.
"""

from __future__ import annotations

import importlib
import os
import sys
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


def CreateAuInstance(name: str) -> Any:
    """The uploader of a platform; its methods are told in `pysocialnetwork.uploader`."""
    if name not in PLATFORMS:
        raise ValueError("there is no uploader for %r" % name)
    return importlib.import_module(PACKAGE + "." + name).Uploader()


_make_package_importable()
