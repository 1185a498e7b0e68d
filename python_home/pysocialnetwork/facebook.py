"""Facebook: videos by the Graph API's resumable upload (start, transfer, finish)."""

from __future__ import annotations

import json
from typing import Any, Dict, List, Mapping, Optional, Tuple
from urllib.parse import quote

from .account import Account
from .bodies import Fields, FilePart, LocalFile, Multipart, form
from .errors import NOT_FOUND, FileTrouble, Refused, Transient, Undecided, UploadError
from .graph import BAD_PARAMETER, WrongOffset, next_stretch, read, stretch
from .graphlogin import GraphUploader
from .job import UploadJob, VideoRequest
from .login import Login
from .outcome import deferring, is_there, once, removed_if_refused, went_on
from .replies import member, required_text, text_member
from .texts import chosen_privacy
from .wire import Wire

NAME = "Facebook"

PRIVACY = {
    "public": "EVERYONE",
    "everyone": "EVERYONE",
    "friends": "ALL_FRIENDS",
    "all_friends": "ALL_FRIENDS",
    "friends_of_friends": "FRIENDS_OF_FRIENDS",
    "private": "SELF",
    "self": "SELF",
}

CATEGORIES = (
    "BEAUTY_FASHION",
    "BUSINESS",
    "CARS_TRUCKS",
    "COMEDY",
    "CUTE_ANIMALS",
    "ENTERTAINMENT",
    "FAMILY",
    "FOOD_HEALTH",
    "HOME",
    "LIFESTYLE",
    "MUSIC",
    "NEWS",
    "POLITICS",
    "SCIENCE",
    "SPORTS",
    "TECHNOLOGY",
    "VIDEO_GAMING",
    "OTHER",
)

LONGEST_TITLE = 255

# What tells where an upload goes on.
SESSION = ("upload_session_id", "video_id", "start_offset", "end_offset")

# States of a video behind its "finish", where the phase of its publication is not told.
FINISHED_STATES = frozenset(("processing", "ready"))


class Uploader(GraphUploader):
    platform = "facebook"
    service_name = NAME
    graph_service = "facebookGraph"
    login_service = "facebookLogin"
    scope = "public_profile,publish_video"

    def _exchange_code(self, wire: Wire, code: str, verifier: str) -> Login:
        token, expires = self._long_token(wire, code)
        me = self._me(wire, token)
        return Login(
            self.platform, token, expires=expires, user_id=required_text(me, "id"), user_name=text_member(me, "name")
        )

    def _confirm(self, wire: Wire, login: Login) -> None:
        self._me(wire, login.access)

    def _me(self, wire: Wire, token: str) -> Dict[str, Any]:
        return self._get(wire, "me", {"fields": "id,name", "access_token": token})

    def _read_account(self, wire: Wire) -> Account:
        return Account(categories=CATEGORIES)

    def _share(self, wire: Wire, message: str, link: str) -> None:
        self.authorized(wire, lambda login: self._post_link(wire, login, message, link))

    def _post_link(self, wire: Wire, login: Login, message: str, link: str) -> None:
        fields = {"message": message, "link": link, "access_token": login.access}
        address = self._graph("me/feed")
        # Posted twice it would stand there twice.
        wire.run(lambda: read(wire.exchange("POST", address, body=form(fields)), NAME), repeatable=False)

    def _revoke(self, wire: Wire, login: Login) -> None:
        wire.run(lambda: self._graph_once(wire, "DELETE", "me/permissions", {"access_token": login.access}))

    def _upload(self, job: UploadJob, wire: Wire) -> str:
        request = job.request
        details = self._details(request)
        self.check_thumbnail(request.thumbnail)
        service = self.address("facebookGraphVideo")
        with LocalFile(request.path) as video, self.going_on(wire, service, request, video, SESSION) as kept:

            def remove() -> None:
                self._remove(wire, kept["video_id"])

            def is_gone(refused: Refused) -> bool:
                # A session that is over is none of the parameters that are taken.
                return concerns_parameters(refused) and not is_there(lambda: self._show(wire, kept["video_id"]))

            def send() -> None:
                self._transfer(job, wire, video, kept)

            def finish() -> None:
                with deferring(concerns_parameters):
                    self._finish(job, wire, kept, [("upload_session_id", kept["upload_session_id"]), *details])

            with removed_if_refused(kept, remove, self._debug):
                if not went_on(kept, send, remove, self._debug, is_gone, finish):
                    self._start(wire, video, kept)
                    send()
                    finish()
        return "https://www.facebook.com/watch/?v=" + kept["video_id"]

    def _start(self, wire: Wire, video: LocalFile, kept: Dict[str, str]) -> None:
        size = [("file_size", str(video.size))]
        started = self.authorized(wire, lambda login: self._phase(wire, login, "start", size))
        stretch(started)
        kept.update({name: required_text(started, name) for name in SESSION})

    def _transfer(self, job: UploadJob, wire: Wire, video: LocalFile, kept: Dict[str, str]) -> None:
        """From the stretch that the service wanted last, which is kept as it says another one."""
        stretch(kept)
        session = kept["upload_session_id"]

        def send(offset: int) -> int:
            length = min(int(kept["end_offset"]), video.size) - offset
            if length <= 0:
                raise UploadError("the service asks for an empty part")
            part = video.part(offset, length, lambda position: job.progress(position, video.size))
            fields = [("upload_session_id", session), ("start_offset", str(offset))]
            try:
                answer = self.authorized(
                    wire,
                    lambda login: self._phase_once(wire, login, "transfer", fields, "video_file_chunk", video, part),
                )
                start, end = next_stretch(answer)
            except WrongOffset as other:
                start, end = other.start, other.end
            if end <= start < video.size:
                raise Transient("the service asks for an empty part")
            if start <= video.size:
                kept.update(start_offset=str(start), end_offset=str(end))
            return start

        # A part again is the question how far the service came: a wrong one is answered with the right one.
        wire.transfer(int(kept["start_offset"]), video.size, send, ask=lambda offset: send(int(kept["start_offset"])))

    def _details(self, request: VideoRequest) -> Fields:
        privacy = chosen_privacy(request.privacy, PRIVACY)
        fields: Fields = [
            ("title", request.title[:LONGEST_TITLE]),
            ("description", request.description),
            ("privacy", json.dumps({"value": privacy}, separators=(",", ":"))),
        ]
        # The service's own tags are numbers of its catalogue, and only pages have them.
        self.leave_out("tags", request.tags)
        if request.category:
            category = request.category.strip().upper().replace(" ", "_")
            if category not in CATEGORIES:
                raise UploadError("Facebook has no category %r" % request.category)
            fields.append(("content_category", category))
        return fields

    def _finish(self, job: UploadJob, wire: Wire, kept: Dict[str, str], details: Fields) -> None:
        if not job.request.thumbnail:
            return self._publish(wire, kept, details, None)
        try:
            with LocalFile(job.request.thumbnail) as picture:
                return self._publish(wire, kept, details, picture)
        except (Refused, FileTrouble, Undecided) as error:
            trouble = error.why if isinstance(error, Undecided) else error
            if not isinstance(trouble, (Refused, FileTrouble)):
                raise
            # What else may have been wrong is wrong without the picture, too.
            self._publish(wire, kept, details, None)
            self.missing("thumbnail", trouble)

    def _publish(self, wire: Wire, kept: Dict[str, str], details: Fields, picture: Optional[LocalFile]) -> None:
        part = picture.whole() if picture is not None else None

        def publish(login: Login) -> bool:
            answer = self._phase_once(wire, login, "finish", details, "thumb", picture, part)
            if answer.get("success") is False:
                raise UploadError("Facebook did not publish the video")
            if answer.get("success") is not True:
                raise Transient("Facebook does not tell whether it published the video")
            return True

        name = kept["video_id"]
        once(wire, lambda: self.authorized(wire, publish), lambda: self._is_out(wire, name) or None, kept)

    def _is_out(self, wire: Wire, name: str) -> bool:
        try:
            video = self._show(wire, name)
        except Refused as refusal:
            if refusal.status != NOT_FOUND:
                raise
            return False  # a video that is not published may not be shown
        phase = member(video, "status", "publishing_phase")
        if phase is not None:
            return text_member(phase, "publish_status") == "published" or text_member(phase, "status") in (
                "in_progress",
                "complete",
            )
        state = text_member(video, "status", "video_status")
        if not state:
            raise Transient("Facebook does not tell the video's state")
        return state in FINISHED_STATES and video.get("published") is not False

    def _show(self, wire: Wire, name: str) -> Dict[str, Any]:
        query = {"fields": "status,published"}
        return self.authorized(wire, lambda login: self._video(wire, login, "GET", name, query))

    def _remove(self, wire: Wire, name: str) -> None:
        self.authorized(wire, lambda login: self._video(wire, login, "DELETE", name, {}))

    def _video(self, wire: Wire, login: Login, method: str, name: str, query: Mapping[str, str]) -> Dict[str, Any]:
        return self._graph_once(wire, method, quote(name, safe=""), {**query, "access_token": login.access})

    def _phase(self, wire: Wire, login: Login, phase: str, fields: Fields) -> Dict[str, Any]:
        return wire.run(lambda: self._phase_once(wire, login, phase, fields, "", None, None))

    def _phase_once(
        self,
        wire: Wire,
        login: Login,
        phase: str,
        fields: Fields,
        file_field: str,
        file: Optional[LocalFile],
        part: Optional[FilePart],
    ) -> Dict[str, Any]:
        whole: List[Tuple[str, str]] = [("access_token", login.access), ("upload_phase", phase), *fields]
        body = Multipart(whole, file_field, file.name if file is not None else "", part)
        return read(wire.exchange("POST", self.address("facebookGraphVideo") + "/me/videos", body=body), NAME)


def concerns_parameters(refused: Refused) -> bool:
    return refused.word == BAD_PARAMETER
