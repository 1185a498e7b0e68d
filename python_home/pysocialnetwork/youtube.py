"""YouTube: videos by Google's resumable upload."""

from __future__ import annotations

import re
from dataclasses import replace
from typing import Any, Dict, List, Mapping, Optional
from urllib.parse import urlencode

from .account import Account
from .bodies import Body, LocalFile, form, json_body
from .connection import Answer, origin_of
from .errors import GONE, Refused, TokenInvalid, Transient, UploadError
from .job import UploadJob, VideoRequest
from .login import Login
from .oauth2 import RefreshingUploader
from .outcome import transferred
from .replies import json_object, member, text_member
from .texts import chosen_privacy, cut_bytes, whole_number
from .wire import Wire, require_same_safety

PRIVACY = {"public": "public", "unlisted": "unlisted", "private": "private"}

# Of a thumbnail; the last one is that of a file whose name tells no kind.
PICTURES = frozenset(("image/jpeg", "image/png", "application/octet-stream"))

LONGEST_TITLE = 100
LONGEST_DESCRIPTION_BYTES = 5000
# Characters of all tags, with a comma between two and quotes around one with a blank.
TAG_LIST = 500

# Google wants multiples of 256 KiB, but for the last part.
CHUNK = 8 * 1024 * 1024

# How many sessions one upload may use up: a file whose session has expired is sent from its beginning.
SESSIONS = 2

# Whose categories count where the user's country is not known, or the service has none for it.
FALLBACK_REGION = "US"

RESUME = 308
# Of a session of an earlier upload that is over.
OVER_LATER = GONE | {400}
PASSING_REASONS = frozenset(("rateLimitExceeded", "userRateLimitExceeded", "backendError"))
# Of a login that does not count any more. The status alone is no proof: a user without a channel gets it as well.
LOGIN_REASONS = frozenset(("authError", "authorizationRequired", "expired", "required"))
LOGIN_STATUS = "UNAUTHENTICATED"
NO_CHANNEL = "youtubeSignupRequired"


class SessionExpired(UploadError):
    def __init__(self) -> None:
        super().__init__("YouTube has given the upload up; start it again")


class Uploader(RefreshingUploader):
    platform = "youtube"
    login_service = "googleLogin"
    scope = "https://www.googleapis.com/auth/youtube.upload https://www.googleapis.com/auth/youtube.readonly"
    uses_pkce = True
    # Only with both does Google give a refresh token again to somebody who has consented before.
    extra_login_fields = {"access_type": "offline", "prompt": "consent"}

    def _exchange_code(self, wire: Wire, code: str, verifier: str) -> Login:
        fields = {"grant_type": "authorization_code", "code": code, "redirect_uri": self.redirect_url}
        answer = self._token(wire, {**fields, "code_verifier": verifier}, repeatable=False)
        login = self.granted(answer)
        channel = first_item(self._channels(wire, login))
        return replace(login, user_id=text_member(channel, "id"), user_name=text_member(channel, "snippet", "title"))

    def _confirm(self, wire: Wire, login: Login) -> None:
        self._channels(wire, login)

    def _channels(self, wire: Wire, login: Login) -> Dict[str, Any]:
        return self._get(wire, login, "/channels", {"part": "snippet", "mine": "true"})

    def _token(self, wire: Wire, fields: Mapping[str, str], repeatable: bool = True) -> Dict[str, Any]:
        body = form({"client_id": self.app_key, "client_secret": self.app_secret, **fields})
        address = self.address("googleToken")
        return wire.run(lambda: read(wire.exchange("POST", address, body=body)), repeatable)

    def _read_account(self, wire: Wire) -> Account:
        return Account(categories=tuple(text_member(item, "snippet", "title") for item in self._categories(wire)))

    def _ends_login(self, refusal: Refused) -> bool:
        return refusal.word == "invalid_grant"

    def _revoke(self, wire: Wire, login: Login) -> None:
        body = form({"token": login.refresh or login.access})
        address = self.address("googleRevoke")
        wire.run(lambda: read(wire.exchange("POST", address, body=body)))

    def _upload(self, job: UploadJob, wire: Wire) -> str:
        resource = self._resource(wire, job.request)
        self.check_thumbnail(job.request.thumbnail)
        with LocalFile(job.request.path) as video:
            name = self._send_whole(job, wire, video, resource)
        if job.request.thumbnail:
            self.afterwards("thumbnail", lambda: self._set_thumbnail(wire, name, job.request.thumbnail))
        return "https://www.youtube.com/watch?v=" + name

    def _send_whole(self, job: UploadJob, wire: Wire, video: LocalFile, resource: Mapping[str, Any]) -> str:
        """The number of the video."""
        used, service = 0, self.address("youtubeUpload")
        with self.going_on(wire, service, job.request, video, ("session",)) as kept:
            while True:
                former = "session" in kept
                if not former:
                    kept["session"] = self.authorized(
                        wire, lambda login: self._open_session(wire, login, video, resource)
                    )
                # Whoever has it may send to it.
                self.keep_secret(require_same_safety(service, kept["session"]))
                try:
                    return self._send(job, wire, video, kept, former)
                except SessionExpired:
                    del kept["session"]
                    used += not former
                    if used == SESSIONS:
                        raise
                    self._debug("YouTube has given the upload up; it begins anew")

    def _resource(self, wire: Wire, request: VideoRequest) -> Dict[str, Any]:
        privacy = chosen_privacy(request.privacy, PRIVACY)
        snippet: Dict[str, Any] = {
            "title": request.title[:LONGEST_TITLE],
            "description": cut_bytes(request.description, LONGEST_DESCRIPTION_BYTES),
            "tags": self.tags_within(request.tags, TAG_LIST, TAG_LIST, quotes=True),
        }
        if request.category:
            snippet["categoryId"] = self._category_id(wire, request.category)
        return {"snippet": snippet, "status": {"privacyStatus": privacy}}

    def _category_id(self, wire: Wire, category: str) -> str:
        """The service wants the number; the host says the title or the number."""
        wanted = category.strip().lower()
        for item in self._categories(wire):
            name = text_member(item, "id")
            if name and wanted in (name.lower(), text_member(item, "snippet", "title").lower()):
                return name
        raise UploadError("YouTube has no category %r" % category)

    def _categories(self, wire: Wire) -> List[Any]:
        region = self._region(wire)
        try:
            found = self._categories_of(wire, region)
        except Refused:
            if region == FALLBACK_REGION:
                raise
            found = {}
        if not items(found) and region != FALLBACK_REGION:
            found = self._categories_of(wire, FALLBACK_REGION)
        return [item for item in items(found) if member(item, "snippet", "assignable") is not False]

    def _categories_of(self, wire: Wire, region: str) -> Dict[str, Any]:
        query = {"part": "snippet", "regionCode": region}
        return self.authorized(wire, lambda login: self._get(wire, login, "/videoCategories", query))

    def _region(self, wire: Wire) -> str:
        """The country of the user's channel, where its owner has named one."""
        try:
            channel = first_item(self.authorized(wire, lambda login: self._channels(wire, login)))
        except Refused:
            return FALLBACK_REGION
        country = text_member(channel, "snippet", "country").upper()
        return country if re.fullmatch("[A-Z]{2}", country) else FALLBACK_REGION

    def _open_session(self, wire: Wire, login: Login, video: LocalFile, resource: Mapping[str, Any]) -> str:
        service = self.address("youtubeUpload")
        headers = {
            **bearer(login),
            "X-Upload-Content-Length": str(video.size),
            "X-Upload-Content-Type": video.content_type,
        }
        address = service + "/videos?uploadType=resumable&part=snippet,status"

        def attempt() -> Answer:
            answer = wire.exchange("POST", address, headers, json_body(resource))
            read(answer)
            return answer

        # A session that nothing is sent to leaves no video behind, so a second one does no harm.
        session = require_same_safety(service, wire.run(attempt).header("Location"))
        return session

    def _send(self, job: UploadJob, wire: Wire, video: LocalFile, kept: Dict[str, str], asking: bool) -> str:
        session, names = kept["session"], [""]
        over = OVER_LATER if asking else GONE

        def put(content_range: str, body: Optional[Body]) -> int:
            try:
                answer = self.authorized(wire, lambda login: self._put(wire, login, session, content_range, body))
            except Refused as refused:
                if refused.status not in over:
                    raise
                raise SessionExpired() from None
            reached = received(answer) if answer.status == RESUME else video.size
            if reached < video.size:
                return reached
            names.append(text_member(json_object(answer), "id"))
            if not names[-1]:
                raise Transient("YouTube has all of the video but does not name it")
            return reached

        def send(offset: int) -> int:
            end = min(offset + CHUNK, video.size)
            part = video.part(offset, end - offset, lambda position: job.progress(position, video.size))
            return put("bytes %d-%d/%d" % (offset, end - 1, video.size), part)

        def ask(offset: int) -> int:
            return put("bytes */%d" % video.size, None)

        transferred(job, wire, video.size, CHUNK, send, ask, kept, asking)
        return names[-1]

    def _put(self, wire: Wire, login: Login, session: str, content_range: str, body: Optional[Body]) -> Answer:
        headers = {**self._session_login(login, session), "Content-Range": content_range}
        answer = wire.exchange("PUT", session, headers, body)
        if answer.status != RESUME:
            read(answer)
        return answer

    def _session_login(self, login: Login, session: str) -> Dict[str, str]:
        """The session's address authorizes by itself, so that a foreign host need not see the token."""
        return bearer(login) if origin_of(session) == origin_of(self.address("youtubeUpload")) else {}

    def _set_thumbnail(self, wire: Wire, name: str, path: str) -> None:
        address = self.address("youtubeUpload") + "/thumbnails/set?" + urlencode({"videoId": name})
        with LocalFile(path) as picture:
            if picture.content_type not in PICTURES:
                raise UploadError(
                    "YouTube takes pictures of the kinds JPEG and PNG alone, not %s" % picture.content_type
                )
            self.authorized(
                wire,
                lambda login: wire.run(lambda: read(wire.exchange("POST", address, bearer(login), picture.whole()))),
            )

    def _get(self, wire: Wire, login: Login, path: str, query: Mapping[str, str]) -> Dict[str, Any]:
        address = self.address("youtubeApi") + path + "?" + urlencode(query)
        return wire.run(lambda: read(wire.exchange("GET", address, bearer(login))))


def bearer(login: Login) -> Dict[str, str]:
    return {"Authorization": "Bearer " + login.access}


def read(answer: Answer) -> Dict[str, Any]:
    content = json_object(answer)
    if answer.status // 100 == 2:
        return content
    # The API tells an object, the token endpoint a word and its description.
    said = text_member(content, "error", "message") or text_member(content, "error_description")
    message = "YouTube: " + (said or text_member(content, "error") or "status %d" % answer.status)
    why = reasons(content)
    if NO_CHANNEL in why:
        raise Refused("YouTube: the user has no channel yet; make one on youtube.com first", answer.status)
    if answer.status == 401 and (why & LOGIN_REASONS or member(content, "error", "status") == LOGIN_STATUS):
        raise TokenInvalid(message)
    if answer.status == 403 and why & PASSING_REASONS:
        raise Transient(message)
    raise Refused(message, answer.status, text_member(content, "error"))


def reasons(content: Mapping[str, Any]) -> "set[str]":
    errors = member(content, "error", "errors")
    return {text_member(error, "reason") for error in errors} if isinstance(errors, list) else set()


def received(answer: Answer) -> int:
    """How many bytes the service has; without the header none yet."""
    header = answer.header("Range")
    if header is None:
        return 0
    match = re.fullmatch(r"(?:bytes=)?0-([0-9]+)", header.strip())
    last = whole_number(match.group(1)) if match is not None else None
    if last is None:
        raise Transient("YouTube does not tell how far the upload is")
    return last + 1


def items(content: Mapping[str, Any]) -> List[Any]:
    found = content.get("items")
    return found if isinstance(found, list) else []


def first_item(content: Mapping[str, Any]) -> Any:
    found = items(content)
    return found[0] if found else {}
