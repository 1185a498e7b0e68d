"""Twitch: a video is created, sent in numbered parts and completed.

The service has withdrawn this from its public API; applications that may still use it are served, to others the
service's refusal is told.
"""

from __future__ import annotations

from dataclasses import replace
from typing import Any, Dict, Mapping, Optional
from urllib.parse import quote, urlencode

from .bodies import LocalFile, form
from .connection import Answer
from .errors import NOT_FOUND, Refused, TokenInvalid, Transient
from .job import UploadJob
from .login import Login
from .oauth2 import RefreshingUploader
from .outcome import deferring, is_there, once, removed_if_refused, went_on
from .replies import json_object, member, required_number, required_text, text_member
from .texts import chosen_privacy
from .wire import Wire, require_same_safety

PRIVACY = {"public": "public", "private": "private"}

LONGEST_TITLE = 100
# Characters of one tag, and of all with the commas between.
LONGEST_TAG = 100
TAG_LIST = 500
BAD_REQUEST, WITHDRAWN = 400, 410

# States of a video that is not completed yet.
UNFINISHED_STATES = frozenset(("created", "uploading"))

# What tells where an upload goes on.
KEPT = ("place", "token", "name", "page", "sent")

# A part has 5 to 25 MiB, but for the last one.
PART = 20 * 1024 * 1024


class Uploader(RefreshingUploader):
    platform = "twitch"
    login_service = "twitchLogin"
    scope = "channel_editor"

    def _exchange_code(self, wire: Wire, code: str, verifier: str) -> Login:
        fields = {"grant_type": "authorization_code", "code": code, "redirect_uri": self.redirect_url}
        answer = self._token(wire, fields, repeatable=False)
        login = self.granted(answer)
        data = self._users(wire, login).get("data")
        user = data[0] if isinstance(data, list) and data else {}
        # A channel has the number of its user.
        name = text_member(user, "display_name") or text_member(user, "login")
        return replace(login, user_id=required_text(user, "id"), user_name=name)

    def _confirm(self, wire: Wire, login: Login) -> None:
        self._users(wire, login)

    def _users(self, wire: Wire, login: Login) -> Dict[str, Any]:
        headers = {"Client-Id": self.app_key, "Authorization": "Bearer " + login.access}
        address = self.address("twitchHelix") + "/users"
        return wire.run(lambda: read(wire.exchange("GET", address, headers)))

    def _token(self, wire: Wire, fields: Mapping[str, str], repeatable: bool = True) -> Dict[str, Any]:
        body = form({"client_id": self.app_key, "client_secret": self.app_secret, **fields})
        address = self.address("twitchToken")
        return wire.run(lambda: read(wire.exchange("POST", address, body=body), with_login=False), repeatable)

    def _ends_login(self, refusal: Refused) -> bool:
        return refusal.status in (400, 401) and refusal.word.lower() == "invalid refresh token"

    def _revoke(self, wire: Wire, login: Login) -> None:
        body = form({"client_id": self.app_key, "token": login.access})
        address = self.address("twitchRevoke")
        wire.run(lambda: read(wire.exchange("POST", address, body=body), with_login=False))

    def _upload(self, job: UploadJob, wire: Wire) -> str:
        request = job.request
        viewable = chosen_privacy(request.privacy, PRIVACY)
        self.leave_out("category", request.category)
        self.leave_out("thumbnail", request.thumbnail)
        service = self.address("twitchApi")
        with LocalFile(request.path) as video, self.going_on(wire, service, request, video, KEPT) as kept:

            def remove() -> None:
                self._video(wire, "DELETE", kept["name"])

            def is_gone(refused: Refused) -> bool:
                return not is_there(lambda: self._video(wire, "GET", kept["name"]))

            def send() -> None:
                self._send(job, wire, video, kept)

            def finish() -> None:
                self._complete(wire, kept)

            with removed_if_refused(kept, remove, self._debug):
                if not went_on(kept, send, remove, self._debug, is_gone, finish):
                    created = self.authorized(wire, lambda login: self._create(wire, login, job, viewable))
                    kept.update(
                        place=require_same_safety(service, member(created, "upload", "url")),
                        token=required_text(created, "upload", "token"),
                        name=required_text(created, "video", "_id").lstrip("v"),
                        page=text_member(created, "video", "url"),
                        sent="0",
                    )
                    send()
                    finish()
        return kept["page"] or "https://www.twitch.tv/videos/" + kept["name"]

    def _create(self, wire: Wire, login: Login, job: UploadJob, viewable: str) -> Dict[str, Any]:
        request = job.request
        query = urlencode(
            {
                "channel_id": login.user_id,
                "title": request.title[:LONGEST_TITLE],
                "description": request.description,
                "tag_list": ",".join(self.tags_within(request.tags, TAG_LIST, LONGEST_TAG)),
                "viewable": viewable,
            }
        )
        address = self.address("twitchApi") + "/videos?" + query
        # Done twice it leaves an empty video behind that nobody sees.
        return wire.run(lambda: read(wire.exchange("POST", address, self._headers(login))))

    def _headers(self, login: Login) -> Dict[str, str]:
        return {
            "Accept": "application/vnd.twitchtv.v5+json",
            "Client-ID": self.app_key,
            "Authorization": "OAuth " + login.access,
        }

    def _complete(self, wire: Wire, kept: Dict[str, str]) -> None:
        address = kept["place"] + "/complete?" + urlencode({"upload_token": kept["token"]})
        with deferring(lambda refused: refused.status == BAD_REQUEST):
            once(
                wire,
                lambda: read(wire.exchange("POST", address), with_login=False),
                lambda: self._completed(wire, kept["name"]),
                kept,
            )

    def _completed(self, wire: Wire, name: str) -> Optional[Dict[str, Any]]:
        try:
            video = self._video(wire, "GET", name)
        except Refused as refusal:
            if refusal.status != NOT_FOUND:
                raise
            return None
        state = text_member(video, "status")
        if not state:
            raise Transient("Twitch does not tell the video's state")
        return None if state in UNFINISHED_STATES else video

    def _video(self, wire: Wire, method: str, name: str) -> Dict[str, Any]:
        address = "%s/videos/%s" % (self.address("twitchApi"), quote(name, safe=""))
        return self.authorized(wire, lambda login: read(wire.exchange(method, address, self._headers(login))))

    def _send(self, job: UploadJob, wire: Wire, video: LocalFile, kept: Dict[str, str]) -> None:
        """From the end of what was sent before."""
        place, token = require_same_safety(self.address("twitchApi"), kept["place"]), kept["token"]
        self.keep_secret(token)

        def send(offset: int) -> int:
            length = min(PART, video.size - offset)
            part = video.part(offset, length, lambda position: job.progress(position, video.size))
            query = urlencode({"part": str(offset // PART + 1), "upload_token": token})
            read(wire.exchange("PUT", place + "?" + query, body=part), with_login=False)
            kept["sent"] = str(offset + length)
            return offset + length

        # Parts are taken whole or not at all, and may be sent again.
        wire.transfer(required_number(kept, "sent"), video.size, send, ask=lambda offset: offset)


def read(answer: Answer, with_login: bool = True) -> Dict[str, Any]:
    """Where no login was sent, a refusal says nothing about it: in the calls that make one, and beside the token of an
    upload."""
    content = json_object(answer)
    if answer.status // 100 == 2:
        return content
    message = "Twitch: " + (text_member(content, "message") or "status %d" % answer.status)
    if answer.status == WITHDRAWN:
        raise Refused("Twitch has withdrawn video uploads from its API (%s)" % message, answer.status)
    if answer.status == 401 and with_login:
        raise TokenInvalid(message)
    raise Refused(message, answer.status, text_member(content, "message"))
