"""Facebook's login, behind which its own videos and Instagram's reels are published."""

from __future__ import annotations

from typing import Any, ClassVar, Dict, Mapping, Tuple
from urllib.parse import urlencode

from .graph import read
from .login import expiry, require_token
from .oauth2 import OAuth2Uploader
from .wire import Wire


class GraphUploader(OAuth2Uploader):
    """`graph_service` is the key of the address that tokens and objects are asked for at."""

    service_name: ClassVar[str]
    graph_service: ClassVar[str]

    def _long_token(self, wire: Wire, code: str) -> Tuple[str, int]:
        """A token for the code, and when it ends. The first one lives an hour or two, the exchanged one about sixty
        days."""
        app = {"client_id": self.app_key, "client_secret": self.app_secret}
        trade = {**app, "redirect_uri": self.redirect_url, "code": code}
        first = self._get(wire, "oauth/access_token", trade, repeatable=False)
        short = require_token(first.get("access_token"))
        self.keep_secret(short)
        exchange = {**app, "grant_type": "fb_exchange_token", "fb_exchange_token": short}
        answer = self._get(wire, "oauth/access_token", exchange)
        token = require_token(answer.get("access_token"))
        self.keep_secret(token)
        return token, expiry(answer)

    def _get(self, wire: Wire, path: str, query: Mapping[str, str], repeatable: bool = True) -> Dict[str, Any]:
        return wire.run(lambda: self._graph_once(wire, "GET", path, query), repeatable)

    def _graph_once(self, wire: Wire, method: str, path: str, query: Mapping[str, str]) -> Dict[str, Any]:
        return read(wire.exchange(method, self._graph(path) + "?" + urlencode(query)), self.service_name)

    def _graph(self, path: str) -> str:
        return "%s/%s" % (self.address(self.graph_service), path)
