"""Instagram: a container, the resumable upload into it, its state, and its publication as a reel."""

from __future__ import annotations

import time
from datetime import datetime
from typing import Any, Dict, Mapping, Optional
from urllib.parse import quote, urlencode

from .bodies import LocalFile, form
from .connection import Answer
from .errors import GONE, NOT_FOUND, Deferred, Discarded, Refused, TokenInvalid, Transient, UploadError
from .graph import BAD_PARAMETER, ContainerLost, read
from .graphlogin import GraphUploader
from .job import UploadJob, VideoRequest
from .login import Login
from .outcome import moment_at_service, once
from .replies import json_object, member, required_text, text_member
from .retry import Looks
from .texts import split_tags
from .unfinished import MAYBE_OUT
from .wire import Wire

NAME = "Instagram"

LONGEST_CAPTION = 2200
MOST_TAGS = 30

# By how many seconds the service's times may differ among themselves.
TIME_TOLERANCE = 60.0

# Of a container: the fields, and the values of the first.
STATE = "status_code,status"
STATES = frozenset(("IN_PROGRESS", "FINISHED", "PUBLISHED", "ERROR", "EXPIRED"))

# How many containers one upload may use up.
CONTAINERS = 2

# Errors of the host that takes the video in: the part has to begin elsewhere or to come again; the video too.
LOST_PARTS = frozenset(("OffsetInvalidError", "PartialRequestError"))
LOST_VIDEO = "ProcessingFailedError"


class Uploader(GraphUploader):
    platform = "instagram"
    service_name = NAME
    graph_service = "instagramGraph"
    login_service = "instagramLogin"
    # The service takes videos as bytes behind Facebook's login alone.
    scope = "instagram_basic,instagram_content_publish,pages_show_list,pages_read_engagement"

    # Tests shorten them.
    looks = Looks(first=2.0, longest=60.0)

    def _exchange_code(self, wire: Wire, code: str, verifier: str) -> Login:
        token, expires = self._long_token(wire, code)
        account = self._account_of(wire, token)
        name = text_member(account, "username")
        return Login(self.platform, token, expires=expires, user_id=required_text(account, "id"), user_name=name)

    def _account_of(self, wire: Wire, token: str) -> Any:
        """The first account that is connected to a page of those that the user chose in the login."""
        query = {"fields": "instagram_business_account{id,username}", "access_token": token}
        pages = self._get(wire, "me/accounts", query).get("data")
        accounts = [member(page, "instagram_business_account") for page in pages] if isinstance(pages, list) else []
        found = [account for account in accounts if text_member(account, "id")]
        if not found:
            raise UploadError("Instagram: none of the user's Facebook pages is connected to a professional account")
        if len(found) > 1:
            self._debug("Instagram: %d accounts may be used; it is the first" % len(found))
        return found[0]

    def _confirm(self, wire: Wire, login: Login) -> None:
        self._look(wire, login, login.user_id, "username")

    def _upload(self, job: UploadJob, wire: Wire) -> str:
        request = job.request
        # Who sees a reel is a setting of the account.
        self.leave_out("privacy of a single video", request.privacy)
        self.leave_out("category", request.category)
        self.leave_out("thumbnail from a file", request.thumbnail)
        user = self.GetUserName()
        with LocalFile(request.path) as video:
            published = self._published(job, wire, video)
        if not published:
            self._debug("the reel is published, but the service does not name it")
            return "https://www.instagram.com/" + user
        seen: Dict[str, Any] = {}
        # The reel is there: without its address the upload is no failure.
        self.afterwards("address", lambda: seen.update(self._permalink(wire, published)))
        return text_member(seen, "permalink") or published

    def _published(self, job: UploadJob, wire: Wire, video: LocalFile) -> str:
        """The reel's number; empty where the answer that names it was lost."""
        used, sent = 0, False
        with self.going_on(wire, self.address("instagramUpload"), job.request, video, ("container",)) as kept:
            while True:
                former = "container" in kept
                if not former:
                    kept["container"] = self.authorized(
                        wire, lambda login: self._make_container(wire, login, job.request)
                    )
                try:
                    if MAYBE_OUT not in kept:
                        self._send(job, wire, video, kept["container"], former)
                    sent = True
                    return self._publish(wire, kept, caption(job.request))
                except Refused as trouble:
                    lost = isinstance(trouble, ContainerLost) or (former and trouble.status in GONE)
                    used += not former
                    if not lost and (former or sent) and not isinstance(trouble, Discarded):
                        raise Deferred.of(trouble) from None
                    if not lost or used == CONTAINERS:
                        raise
                    kept.clear()
                    sent = False
                    self._debug("%s; the video is uploaded anew" % trouble)

    def _permalink(self, wire: Wire, published: str) -> Dict[str, Any]:
        return self.authorized(wire, lambda login: self._look(wire, login, published, "permalink"))

    def _make_container(self, wire: Wire, login: Login, request: VideoRequest) -> str:
        fields = {"media_type": "REELS", "upload_type": "resumable", "caption": caption(request)}
        # A container that is never published ends by itself, so a second one does no harm.
        body = form({**fields, "access_token": login.access})
        address = self._graph(quote(login.user_id) + "/media")
        answer = wire.run(lambda: read(wire.exchange("POST", address, body=body), NAME))
        return required_text(answer, "id")

    def _send(self, job: UploadJob, wire: Wire, video: LocalFile, container: str, asking: bool) -> None:
        address = self.address("instagramUpload") + "/" + quote(container, safe="")

        def send(offset: int) -> int:
            part = video.part(offset, video.size - offset, lambda position: job.progress(position, video.size))
            self.authorized(wire, lambda login: self._send_once(wire, login, address, offset, video.size, part))
            return video.size

        def ask(offset: int) -> int:
            state = self.authorized(wire, lambda login: self._stand(wire, login, container))
            if text_member(state, "status_code") in ("ERROR", "EXPIRED"):
                raise ContainerLost(unusable(state), 200)
            if text_member(state, "status_code") in ("FINISHED", "PUBLISHED"):
                return video.size
            reached = member(state, "video_status", "uploading_phase", "bytes_transferred")
            if isinstance(reached, int) and not isinstance(reached, bool):
                return reached
            require_state(state)
            return 0

        wire.transfer(0, video.size, send, ask, asking)

    def _send_once(self, wire: Wire, login: Login, address: str, offset: int, size: int, part: Any) -> None:
        headers = {"Authorization": "OAuth " + login.access, "offset": str(offset), "file_size": str(size)}
        answer = wire.exchange("POST", address, headers, part)
        refuse_part(answer)
        if read(answer, NAME).get("success") is not True:
            raise Transient("Instagram does not say that it took the video")

    def _wait_for(self, wire: Wire, container: str) -> str:
        """The state in which nothing is left to wait for: FINISHED, or PUBLISHED."""

        def look() -> Optional[str]:
            state = self.authorized(wire, lambda login: wire.run(lambda: self._state(wire, login, container)))
            code = text_member(state, "status_code")
            if code in ("FINISHED", "PUBLISHED"):
                return code
            if code == "EXPIRED":
                raise ContainerLost(unusable(state), 200)
            if code == "ERROR":
                raise Discarded(unusable(state), 200)
            return None

        return wire.watch(look, self.looks, "Instagram has not got the video ready in time")

    def _publish(self, wire: Wire, kept: Dict[str, str], text: str) -> str:
        """The reel's number; empty where the answer that names it was lost and the account does not show it."""
        started, container = time.monotonic(), kept["container"]

        def find() -> Optional[str]:
            if self._wait_for(wire, container) != "PUBLISHED":
                return None
            found = [""]
            self.afterwards("address", lambda: found.append(self._newest(wire, started, text)))
            return found[-1]

        def publish() -> str:
            return self.authorized(wire, lambda login: self._publish_once(wire, login, container))

        if MAYBE_OUT not in kept:
            # One that an upload before published is found, too.
            published = find()
            if published is not None:
                return published
        return once(wire, publish, find, kept)

    def _newest(self, wire: Wire, started: float, text: str) -> str:
        """The number of the reel with this caption that came out after `started`."""

        def ask(login: Login) -> str:
            query = urlencode({"fields": "id,caption,timestamp,media_product_type", "access_token": login.access})
            answer = wire.exchange("GET", self._graph(quote(login.user_id) + "/media") + "?" + query)
            return reel_since(read(answer, NAME), moment_at_service(answer, started) - TIME_TOLERANCE, text)

        return self.authorized(wire, lambda login: wire.run(lambda: ask(login)))

    def _publish_once(self, wire: Wire, login: Login, container: str) -> str:
        fields = {"creation_id": container, "access_token": login.access}
        address = self._graph(quote(login.user_id) + "/media_publish")
        published = text_member(read(wire.exchange("POST", address, body=form(fields)), NAME), "id")
        if not published:
            raise Transient("Instagram does not name the reel")
        return published

    def _state(self, wire: Wire, login: Login, container: str) -> Dict[str, Any]:
        return require_state(self._look_once(wire, login, container, STATE))

    def _stand(self, wire: Wire, login: Login, container: str) -> Dict[str, Any]:
        """The state, with how much of the video has come. No page lists that field, so that it may be refused."""
        try:
            return self._look_once(wire, login, container, STATE + ",video_status")
        except Refused as refused:
            if refused.word != BAD_PARAMETER or refused.status == NOT_FOUND:
                raise
            return self._look_once(wire, login, container, STATE)

    def _look(self, wire: Wire, login: Login, name: str, fields: str) -> Dict[str, Any]:
        return wire.run(lambda: self._look_once(wire, login, name, fields))

    def _look_once(self, wire: Wire, login: Login, name: str, fields: str) -> Dict[str, Any]:
        query = {"fields": fields, "access_token": login.access}
        return self._graph_once(wire, "GET", quote(name, safe=""), query)


def unusable(state: Mapping[str, Any]) -> str:
    said = text_member(state, "status") or text_member(state, "status_code")
    return "Instagram could not use the video: " + said


def require_state(state: Dict[str, Any]) -> Dict[str, Any]:
    if text_member(state, "status_code") not in STATES:
        raise Transient("Instagram does not tell the state of the video")
    return state


def refuse_part(answer: Answer) -> None:
    """Raises what the host of the uploads says in its own form of errors."""
    problem = member(json_object(answer), "debug_info")
    kind, said = text_member(problem, "type"), text_member(problem, "message")
    message = "Instagram: " + (said or kind or "status %d" % answer.status)
    if answer.status == 401:
        raise TokenInvalid(message)
    if kind in LOST_PARTS or member(problem, "retriable") is True:
        raise Transient(message)
    if kind == LOST_VIDEO:
        raise ContainerLost(message, answer.status)
    if problem is not None:
        raise Refused(message, answer.status)


def reel_since(content: Mapping[str, Any], moment: float, text: str) -> str:
    found = content.get("data")
    for entry in found if isinstance(found, list) else []:
        try:
            posted = datetime.strptime(text_member(entry, "timestamp"), "%Y-%m-%dT%H:%M:%S%z").timestamp()
        except (ValueError, OverflowError):
            continue
        same = text_member(entry, "caption").strip() == text.strip()
        if posted >= moment and same and text_member(entry, "media_product_type") == "REELS":
            return text_member(entry, "id")
    return ""


def caption(request: VideoRequest) -> str:
    """Title, description and hashtags in paragraphs, since a reel has nothing but a caption."""
    words = ("".join(letter for letter in tag if letter.isalnum() or letter == "_") for tag in split_tags(request.tags))
    text = "\n\n".join(filter(None, (request.title, request.description)))
    room = max(0, MOST_TAGS - text.count("#"))
    hashtags = " ".join("#" + word for word in list(filter(None, words))[:room])
    return "\n\n".join(filter(None, (text, hashtags)))[:LONGEST_CAPTION]
