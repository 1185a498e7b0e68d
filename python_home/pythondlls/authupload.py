"""The script that the library loads: makes the object behind an upload to a social network.

The library runs this text as module "pythonrt" and has put `python38.zip`, `pythondlls` and `pysocialnetwork` at the
end of `sys.path` before. The folder `pysocialnetwork` is a package, and is imported as one from where it lies: the
interpreter may be a host's, whose path may lead to others of that name, or of the standard library's.
"""

from __future__ import annotations

import os
import sys

PLATFORMS = ("facebook", "youtube", "vimeo", "flickr", "instagram", "twitch")

FOLDER = "pysocialnetwork"
# Nobody else's.
PACKAGE = "_mediatransfer_pysocialnetwork"


def _load_package() -> None:
    # The library's entry is the last of the name.
    folder = next(entry for entry in reversed(sys.path) if os.path.basename(os.path.normpath(entry)) == FOLDER)
    place = os.path.join(folder, "ownimports.py")
    names = {"__name__": PACKAGE + ".ownimports", "__file__": place}
    with open(place, "rb") as file:
        exec(compile(file.read(), place, "exec"), names)
    names["load_package"](PACKAGE, os.path.normpath(folder))  # type: ignore[operator]


def CreateAuInstance(name: str) -> object:
    """The uploader of a platform; its methods are told in `pysocialnetwork.uploader`."""
    if name not in PLATFORMS:
        raise ValueError("there is no uploader for %r" % name)
    return __import__(PACKAGE + "." + name, fromlist=("Uploader",)).Uploader()


_load_package()
