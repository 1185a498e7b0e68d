"""The addresses of the services, in one table that a JSON file can replace in part.

The environment variable `MEDIATRANSFER_SERVICES` names the file: one object from key to address.
"""

from __future__ import annotations

import json
import os
from typing import Dict, Mapping, Optional
from urllib.parse import urlsplit

from .errors import UploadError

ENVIRONMENT_VARIABLE = "MEDIATRANSFER_SERVICES"

# The version of the Graph API that Facebook and Instagram are spoken to in; each lives about two years.
GRAPH_VERSION = "v24.0"

DEFAULTS: Mapping[str, str] = {
    "facebookLogin": "https://www.facebook.com/" + GRAPH_VERSION + "/dialog/oauth",
    "facebookGraph": "https://graph.facebook.com/" + GRAPH_VERSION,
    "facebookGraphVideo": "https://graph-video.facebook.com/" + GRAPH_VERSION,
    "googleLogin": "https://accounts.google.com/o/oauth2/v2/auth",
    "googleToken": "https://oauth2.googleapis.com/token",
    "googleRevoke": "https://oauth2.googleapis.com/revoke",
    "youtubeApi": "https://www.googleapis.com/youtube/v3",
    "youtubeUpload": "https://www.googleapis.com/upload/youtube/v3",
    "vimeoLogin": "https://api.vimeo.com/oauth/authorize",
    "vimeoToken": "https://api.vimeo.com/oauth/access_token",
    "vimeoApi": "https://api.vimeo.com",
    "flickrOauth": "https://www.flickr.com/services/oauth",
    "flickrRest": "https://api.flickr.com/services/rest",
    "flickrUpload": "https://up.flickr.com/services/upload",
    "instagramLogin": "https://www.facebook.com/" + GRAPH_VERSION + "/dialog/oauth",
    "instagramGraph": "https://graph.facebook.com/" + GRAPH_VERSION,
    "instagramUpload": "https://rupload.facebook.com/ig-api-upload/" + GRAPH_VERSION,
    "twitchLogin": "https://id.twitch.tv/oauth2/authorize",
    "twitchToken": "https://id.twitch.tv/oauth2/token",
    "twitchRevoke": "https://id.twitch.tv/oauth2/revoke",
    "twitchHelix": "https://api.twitch.tv/helix",
    "twitchApi": "https://api.twitch.tv/kraken",
}


# Keys of earlier versions, whose services are not called any more.
RETIRED = frozenset(("instagramToken", "instagramApi"))


class Services:
    """Address by key, without a slash at the end."""

    def __init__(self, replacements: Optional[Mapping[str, str]] = None) -> None:
        self._addresses: Dict[str, str] = dict(DEFAULTS)
        for key, address in (replacements or {}).items():
            if key not in RETIRED:
                self._addresses[key] = _checked(key, address)

    @classmethod
    def from_environment(cls, environment: Optional[Mapping[str, str]] = None) -> Services:
        """Raises UploadError when the file that the environment names can't be used."""
        path = (os.environ if environment is None else environment).get(ENVIRONMENT_VARIABLE, "")
        return cls(_read(path)) if path else cls()

    def address(self, key: str) -> str:
        return self._addresses[key]


def _read(path: str) -> Dict[str, str]:
    try:
        with open(path, "rb") as file:
            content = json.loads(file.read().decode("utf-8"))
    except (OSError, ValueError, RecursionError) as error:
        raise UploadError("cannot read the service addresses in %s: %s" % (path, error)) from None
    if not isinstance(content, dict):
        raise UploadError("the service addresses in %s are no JSON object" % path)
    return content


def _checked(key: str, address: object) -> str:
    if key not in DEFAULTS:
        raise UploadError("there is no service with the key %r" % key)
    if not isinstance(address, str):
        raise UploadError("the address of the service %s is no text" % key)
    try:
        parts = urlsplit(address)
        parts.port
    except ValueError:
        raise UploadError("the address of the service %s is no URL" % key) from None
    if parts.scheme not in ("http", "https") or not parts.hostname:
        raise UploadError("the address of the service %s is no URL" % key)
    return address.rstrip("/")
