"""Vimeo: videos by the tus protocol, details by the API of version 3.4."""

from __future__ import annotations

import base64
from typing import Any, Dict, Iterator, List, Mapping, Optional
from urllib.parse import quote

from .account import Account
from .bodies import Body, FilePart, LocalFile, form, json_body
from .connection import Answer
from .errors import GONE, Discarded, Refused, TokenInvalid, Transient, UploadError
from .job import UploadJob
from .login import Login, require_token
from .oauth2 import OAuth2Uploader
from .outcome import removed_if_refused, transferred, went_on
from .replies import json_object, member, required_text, text_member
from .texts import chosen_privacy, split_tags, whole_number
from .wire import Wire, require_same_safety

ACCEPT = "application/vnd.vimeo.*+json;version=3.4"

PRIVACY = {
    "public": "anybody",
    "anybody": "anybody",
    "unlisted": "unlisted",
    "private": "nobody",
    "nobody": "nobody",
    "friends": "contacts",
    "contacts": "contacts",
    "disable": "disable",
}

LONGEST_TITLE = 128
LONGEST_DESCRIPTION = 5000
MOST_TAGS = 20

# What tells where an upload goes on.
KEPT = ("place", "link", "page")

# What one PATCH carries; after a broken connection at most this much is sent again.
CHUNK = 32 * 1024 * 1024


# An earlier request, which broke here, is still at work there.
LOCKED = 423
# An upload that is over: given up by the service, or done.
OVER = GONE | {403}


class Uploader(OAuth2Uploader):
    platform = "vimeo"
    login_service = "vimeoLogin"
    scope = "public private create edit delete upload"

    def _exchange_code(self, wire: Wire, code: str, verifier: str) -> Login:
        pair = "%s:%s" % (self.app_key, self.app_secret)
        headers = {"Accept": ACCEPT, "Authorization": "Basic " + base64.b64encode(pair.encode("utf-8")).decode("ascii")}
        body = form({"grant_type": "authorization_code", "code": code, "redirect_uri": self.redirect_url})
        address = self.address("vimeoToken")
        answer = wire.run(lambda: read(wire.exchange("POST", address, headers, body)), repeatable=False)
        return Login(
            self.platform,
            require_token(answer.get("access_token")),
            user_id=text_member(answer, "user", "uri"),
            user_name=text_member(answer, "user", "name"),
        )

    def _confirm(self, wire: Wire, login: Login) -> None:
        self._call(wire, login, "GET", "/me")

    def _read_account(self, wire: Wire) -> Account:
        me = self.authorized(wire, lambda login: self._call(wire, login, "GET", "/me"))
        found = self.authorized(wire, lambda login: self._call(wire, login, "GET", "/categories"))
        free = member(me, "upload_quota", "space", "free")
        return Account(
            hd=member(me, "upload_quota", "quota", "hd") is not False,
            sd=member(me, "upload_quota", "quota", "sd") is not False,
            space=free // (1024 * 1024) if isinstance(free, int) else 0,
            categories=tuple(text_member(entry, "name") for entry in entries(found) if text_member(entry, "name")),
        )

    def _revoke(self, wire: Wire, login: Login) -> None:
        self._call(wire, login, "DELETE", "/tokens")

    def _upload(self, job: UploadJob, wire: Wire) -> str:
        request = job.request
        view = chosen_privacy(request.privacy, PRIVACY)
        category = self._category_name(wire, request.category)
        self.check_thumbnail(request.thumbnail)
        service = self.address("vimeoApi")
        with LocalFile(request.path) as video, self.going_on(wire, service, request, video, KEPT) as kept:

            def remove() -> None:
                self._remove(wire, kept["place"])

            with removed_if_refused(kept, remove, self._debug):
                if not went_on(kept, lambda: self._send(job, wire, video, kept, asking=True), remove, self._debug):
                    created = self.authorized(wire, lambda login: self._create(wire, login, job, video.size, view))
                    link = require_same_safety(service, member(created, "upload", "upload_link"))
                    kept.update(place=required_text(created, "uri"), link=link, page=text_member(created, "link"))
                    self._send(job, wire, video, kept)
        place = kept["place"]
        self._describe(wire, place, split_tags(request.tags)[:MOST_TAGS], category)
        if request.thumbnail:
            self.afterwards("thumbnail", lambda: self._set_picture(wire, place, request.thumbnail))
        return kept["page"] or "https://vimeo.com/" + place.rsplit("/", 1)[-1]

    def _create(self, wire: Wire, login: Login, job: UploadJob, size: int, view: str) -> Dict[str, Any]:
        content = {
            "upload": {"approach": "tus", "size": str(size)},
            "name": job.request.title[:LONGEST_TITLE],
            "description": job.request.description[:LONGEST_DESCRIPTION],
            "privacy": {"view": view},
        }
        # Done twice it leaves an empty video behind that nobody sees.
        return self._call(wire, login, "POST", "/me/videos", json_body(content))

    def _send(self, job: UploadJob, wire: Wire, video: LocalFile, kept: Dict[str, str], asking: bool = False) -> None:
        place, link = kept["place"], require_same_safety(self.address("vimeoApi"), kept["link"])
        # Whoever has it may send to it.
        self.keep_secret(link)

        def send(offset: int) -> int:
            length = min(CHUNK, video.size - offset)
            part = TusPart(video.part(offset, length, lambda position: job.progress(position, video.size)))
            answer = wire.exchange("PATCH", link, {"Tus-Resumable": "1.0.0", "Upload-Offset": str(offset)}, part)
            if answer.status == 409:
                return ask(offset)
            if answer.status in OVER and self._is_complete(wire, place):
                return video.size
            if answer.status // 100 != 2:
                raise refusal(answer)
            return position_of(answer)

        def ask(offset: int) -> int:
            answer = wire.exchange("HEAD", link, {"Tus-Resumable": "1.0.0"})
            if answer.status in OVER and self._is_complete(wire, place):
                return video.size
            if answer.status // 100 != 2:
                raise refusal(answer)
            return position_of(answer)

        transferred(job, wire, video.size, CHUNK, send, ask, kept, asking)

    def _is_complete(self, wire: Wire, place: str) -> bool:
        query = "?fields=upload.status"
        video = self.authorized(wire, lambda login: self._call_once(wire, login, "GET", place, query=query))
        state = text_member(video, "upload", "status")
        if not state:
            raise Transient("Vimeo does not tell the video's state")
        if state == "error":
            raise Discarded("Vimeo: the upload has failed", 200)
        return state == "complete"

    def _remove(self, wire: Wire, place: str) -> None:
        self.authorized(wire, lambda login: self._call_once(wire, login, "DELETE", place))

    def _category_name(self, wire: Wire, category: str) -> str:
        """The last part of the category's address, which is what a video is given; the host says its title."""
        wanted = category.strip().lower()
        if not wanted:
            return ""
        found = self.authorized(wire, lambda login: self._call(wire, login, "GET", "/categories"))
        for entry in entries(found):
            name = text_member(entry, "uri").rsplit("/", 1)[-1]
            if name and wanted in (name.lower(), text_member(entry, "name").lower()):
                return name
        raise UploadError("Vimeo has no category %r" % category)

    def _describe(self, wire: Wire, place: str, tags: List[str], category: str) -> None:
        if tags:
            self.afterwards("tags", lambda: self._put(wire, place + "/tags", [{"name": tag} for tag in tags]))
        if category:
            self.afterwards("category", lambda: self._put(wire, place + "/categories", {"category": [category]}))

    def _put(self, wire: Wire, path: str, content: Any) -> None:
        self.authorized(wire, lambda login: self._call(wire, login, "PUT", path, json_body(content)))

    def _set_picture(self, wire: Wire, place: str, path: str) -> None:
        with LocalFile(path) as picture:
            slot = self.authorized(wire, lambda login: self._call(wire, login, "POST", place + "/pictures"))
            link = require_same_safety(self.address("vimeoApi"), slot.get("link"))
            answer = wire.run(lambda: wire.exchange("PUT", link, body=picture.whole()))
            if answer.status // 100 != 2:
                raise refusal(answer)
        uri = required_text(slot, "uri")
        self.authorized(wire, lambda login: self._call(wire, login, "PATCH", uri, json_body({"active": True})))

    def _call(self, wire: Wire, login: Login, method: str, path: str, body: Optional[Body] = None) -> Dict[str, Any]:
        return wire.run(lambda: self._call_once(wire, login, method, path, body))

    def _call_once(
        self, wire: Wire, login: Login, method: str, path: str, body: Optional[Body] = None, query: str = ""
    ) -> Dict[str, Any]:
        headers = {"Accept": ACCEPT, "Authorization": "Bearer " + login.access}
        address = self.address("vimeoApi") + quote(path, safe="/:") + query
        return read(wire.exchange(method, address, headers, body))


class TusPart(Body):
    """A stretch of the file under the content type that tus wants."""

    def __init__(self, part: FilePart) -> None:
        self._part = part
        self.length = part.length
        self.content_type = "application/offset+octet-stream"

    def blocks(self) -> Iterator[bytes]:
        return self._part.blocks()


def read(answer: Answer) -> Dict[str, Any]:
    if answer.status // 100 != 2:
        raise refusal(answer)
    return json_object(answer)


def refusal(answer: Answer) -> UploadError:
    content = json_object(answer)
    said = text_member(content, "developer_message") or text_member(content, "error")
    message = "Vimeo: " + (said or "status %d" % answer.status)
    if answer.status == LOCKED:
        return Transient(message)
    return TokenInvalid(message) if answer.status == 401 else Refused(message, answer.status)


def position_of(answer: Answer) -> int:
    position = whole_number(answer.header("Upload-Offset"))
    if position is None:
        raise Transient("Vimeo does not tell how far the upload is")
    return position


def entries(content: Mapping[str, Any]) -> List[Any]:
    data = content.get("data")
    return data if isinstance(data, list) else []
