"""Login by OAuth 2: the code flow with state, and with PKCE where the service takes it."""

from __future__ import annotations

import base64
import hashlib
import secrets
from abc import abstractmethod
from dataclasses import replace
from typing import Any, ClassVar, Dict, Mapping, Optional
from urllib.parse import parse_qs, urlencode, urlsplit

from .begun import PendingLogin
from .errors import Refused, TokenInvalid, UploadError
from .login import Login, expiry, require_token
from .uploader import ACCEPTED, NOT_USABLE, Uploader
from .wire import Wire


class OAuth2Uploader(Uploader):
    login_service: ClassVar[str]
    scope: ClassVar[str]
    uses_pkce: ClassVar[bool] = False
    extra_login_fields: ClassVar[Mapping[str, str]] = {}

    def __init__(self) -> None:
        super().__init__()
        self._pending = PendingLogin(self.platform, self.keep_secret)

    @abstractmethod
    def _exchange_code(self, wire: Wire, code: str, verifier: str) -> Login:
        """The login that the code stands for; the code is good once."""

    def _login_url(self) -> str:
        self.require_app()
        state, verifier = secrets.token_urlsafe(24), secrets.token_urlsafe(48) if self.uses_pkce else ""
        fields = {
            "client_id": self.app_key,
            "redirect_uri": self.redirect_url,
            "response_type": "code",
            "scope": self.scope,
            "state": state,
            **self.extra_login_fields,
        }
        if verifier:
            digest = hashlib.sha256(verifier.encode("ascii")).digest()
            fields["code_challenge"] = base64.urlsafe_b64encode(digest).decode("ascii").rstrip("=")
            fields["code_challenge_method"] = "S256"
        address = self.address(self.login_service)
        self._pending.begin(state, verifier)
        return address + "?" + urlencode(fields)

    def _finish_login(self, url: str) -> int:
        query = single_values(url)
        if not query.keys() & {"code", "error"}:
            self._fail("the redirect address carries no code yet")
            return NOT_USABLE
        verifier = self._pending.secret_of(query.get("state", ""), "state")
        self._pending.end()
        if "error" in query:
            raise UploadError("the login was refused: " + (query.get("error_description") or query["error"]))
        self.keep_secret(query["code"])
        with self.calling() as wire:
            self.set_login(self._exchange_code(wire, query["code"], verifier))
        return ACCEPTED


class RefreshingUploader(OAuth2Uploader):
    """For services that give a refresh token beside the access token."""

    @abstractmethod
    def _token(self, wire: Wire, fields: Mapping[str, str], repeatable: bool = True) -> Dict[str, Any]:
        """The token endpoint's answer to these fields and the application's own."""

    @abstractmethod
    def _ends_login(self, refusal: Refused) -> bool:
        """Whether the token endpoint says that the refresh token is no good any more. Everything else, such as a page
        of a gateway on the way, says nothing about the login."""

    def granted(self, answer: Mapping[str, Any]) -> Login:
        """The login of a first token answer, its secrets kept out of texts from now on."""
        login = Login(
            self.platform,
            require_token(answer.get("access_token")),
            refresh=refresh_token(answer),
            expires=expiry(answer),
        )
        self.keep_secret(*login.secrets())
        return login

    def _renew(self, wire: Wire, login: Login) -> Optional[Login]:
        if not login.refresh:
            return None
        self.require_app(with_redirect=False)
        try:
            answer = self._token(wire, {"grant_type": "refresh_token", "refresh_token": login.refresh})
        except Refused as error:
            if self._ends_login(error):
                raise TokenInvalid("the login cannot be renewed; sign in again (%s)" % error) from None
            raise
        return replace(
            login,
            access=require_token(answer.get("access_token")),
            expires=expiry(answer),
            refresh=refresh_token(answer) or login.refresh,
        )


def refresh_token(answer: Mapping[str, Any]) -> str:
    return require_token(answer["refresh_token"]) if answer.get("refresh_token") else ""


def single_values(url: str) -> Dict[str, str]:
    """Names of the query that come once, and not empty: one that comes twice means nothing."""
    try:
        fields = parse_qs(urlsplit(url.strip()).query, max_num_fields=64)
    except ValueError:
        return {}
    return {name: values[0] for name, values in fields.items() if len(values) == 1}
