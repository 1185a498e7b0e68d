"""Flickr: login by OAuth 1.0a, signed multipart upload, and tickets that tell when the video is ready."""

from __future__ import annotations

import time
import xml.etree.ElementTree
from typing import Any, Dict, List, Mapping, Optional, Set, Tuple
from urllib.parse import parse_qs, urlencode

from .account import Account
from .begun import PendingLogin
from .bodies import FilePart, LocalFile, Multipart
from .connection import Answer
from .errors import Discarded, Refused, TokenInvalid, Transient, Undecided, UploadError
from .job import UploadJob, VideoRequest
from .login import Login, require_token
from .oauth1 import authorization, signed_fields
from .oauth2 import single_values
from .outcome import moment_at_service, once, undecided_if_sent
from .replies import json_object, member, required_number, text_member
from .retry import Looks
from .texts import chosen_privacy, split_tags, whole_number
from .unfinished import MAYBE_OUT
from .uploader import ACCEPTED, NOT_USABLE, Uploader as BaseUploader
from .wire import Wire

# is_public, is_friend, is_family
PRIVACY = {
    "public": "100",
    "friends": "010",
    "family": "001",
    "friends_family": "011",
    "private": "000",
}

LONGEST_TITLE = 255

# The newest photos and videos, among which one may be whose answer was lost.
LISTING = "flickr.people.getPhotos"
MOST_LISTED = 50
NEWEST = {"user_id": "me", "per_page": str(MOST_LISTED), "extras": "date_upload,media"}
# Among the numbers of what was there before: not all of it was told.
AND_MORE = "more"
# By how many seconds the service's times may differ among themselves.
TIME_TOLERANCE = 10.0

TICKET_RUNNING, TICKET_READY, TICKET_FAILED = "0", "1", "2"

# What is known of a video that may be at Flickr: the ticket once there is one, what was there before it, and when it was
# sent.
KEPT = ("ticket", "known", "started")

# Error numbers of the API.
TOKEN_ERRORS = frozenset(("98", "99"))
# The video is there already, as far as the service was told to look.
DUPLICATE = "9"
# The service was not there, or could not write: nothing was done.
PASSING_ERRORS = frozenset(("105", "106"))


class Uploader(BaseUploader):
    platform = "flickr"

    # Tests shorten them.
    looks = Looks(first=1.0, longest=15.0)
    # While nobody knows whether a video came: it is listed when it is ready.
    doubts = Looks(first=1.0, longest=15.0, longest_wait=120.0)

    def __init__(self) -> None:
        super().__init__()
        self._pending = PendingLogin(self.platform, self.keep_secret)

    def _login_url(self) -> str:
        self.require_app()
        with self.calling() as wire:
            answer = self._handshake(wire, "/request_token", {"oauth_callback": self.redirect_url}, ("", ""))
        if answer.get("oauth_callback_confirmed") != "true":
            raise UploadError("Flickr did not accept the redirect address")
        token, secret = token_pair(answer)
        self._pending.begin(token, secret)
        query = urlencode({"oauth_token": token, "perms": "write"})
        return self.address("flickrOauth") + "/authorize?" + query

    def _finish_login(self, url: str) -> int:
        query = single_values(url)
        if not query.keys() & {"oauth_verifier", "error", "denied"}:
            self._fail("the redirect address carries no verifier yet")
            return NOT_USABLE
        begun = query.get("denied", "") or query.get("oauth_token", "")
        pending = (begun, self._pending.secret_of(begun, "token"))
        self._pending.end()
        if "oauth_verifier" not in query or "denied" in query:
            raise UploadError("the login was refused")
        self.keep_secret(query["oauth_verifier"])
        with self.calling() as wire:
            answer = self._handshake(wire, "/access_token", {"oauth_verifier": query["oauth_verifier"]}, pending)
        token, secret = token_pair(answer)
        name = answer.get("fullname", "") or answer.get("username", "")
        self.set_login(Login(self.platform, token, secret=secret, user_id=answer.get("user_nsid", ""), user_name=name))
        return ACCEPTED

    def _confirm(self, wire: Wire, login: Login) -> None:
        self._upload_status(wire, login)

    def _upload_status(self, wire: Wire, login: Login) -> Dict[str, Any]:
        return self._rest(wire, login, "flickr.people.getUploadStatus", {})

    def _read_account(self, wire: Wire) -> Account:
        status = self.authorized(wire, lambda login: self._upload_status(wire, login))
        bandwidth = member(status, "user", "bandwidth")
        unlimited = text_member(bandwidth, "unlimited") == "1"
        remaining = whole_number(text_member(bandwidth, "remainingkb")) or 0
        return Account(space=0 if unlimited else remaining // 1024)

    def _upload(self, job: UploadJob, wire: Wire) -> str:
        request = job.request
        fields = self._fields(request)
        self.leave_out("category", request.category)
        self.leave_out("thumbnail", request.thumbnail)
        service = self.address("flickrUpload")
        with LocalFile(request.path) as video, self.going_on(wire, service, request, video, KEPT) as kept:
            photo = "" if kept.get("ticket") else self._post(job, wire, video, fields, kept)
            with undecided_if_sent(kept):
                photo = photo or self._wait_for(wire, kept["ticket"])
        return "https://www.flickr.com/photos/%s/%s" % (wire.user or "me", photo)

    def _fields(self, request: VideoRequest) -> Dict[str, str]:
        seen_by = chosen_privacy(request.privacy, PRIVACY)
        fields = {
            "title": request.title[:LONGEST_TITLE],
            "description": request.description,
            "tags": " ".join('"%s"' % tag.replace('"', "") if " " in tag else tag for tag in split_tags(request.tags)),
            "is_public": seen_by[0],
            "is_friend": seen_by[1],
            "is_family": seen_by[2],
            "async": "1",
        }
        return {name: value for name, value in fields.items() if value}

    def _post(
        self, job: UploadJob, wire: Wire, video: LocalFile, fields: Mapping[str, str], kept: Dict[str, str]
    ) -> str:
        """The video's number where the service has it already; else the ticket is kept. The upload can't be resumed. Sent
        again after the service may have had all of it, it has the service look for a twin."""
        if not kept:
            kept.update(ticket="", known=" ".join(sorted(self._listed(wire))), started="0")
        known = set(kept["known"].split())
        job.position = 0

        def send(login: Login, asked: Mapping[str, str]) -> Tuple[str, str]:
            job.position = 0
            part = video.part(0, video.size, lambda position: job.progress(position, video.size))
            return self._post_once(wire, login, asked, video, part)

        def attempt(login: Login) -> Tuple[str, str]:
            if not again:
                kept["started"] = "%d" % time.monotonic()
                return send(login, fields)
            ticket, twin = send(login, {**fields, "dedup_check": "1"})
            # The service names one twin, which says nothing of what came of the first request where it is an older one.
            if twin and not self._is_new(wire, twin, required_number(kept, "started"), known):
                raise Undecided("Flickr has the file already, maybe from before")
            return ticket, twin

        again = MAYBE_OUT in kept

        def act() -> Tuple[str, str]:
            nonlocal again
            try:
                return self.authorized(wire, attempt)
            except Transient as trouble:
                trouble.unprocessed = trouble.unprocessed or job.position < video.size
                again = again or not trouble.unprocessed
                raise
            except Refused as refusal:
                # What is not listed may still be on its way.
                raise Undecided(refusal) if again else refusal from None

        def find() -> Optional[Tuple[str, str]]:
            return self._posted_since(wire, required_number(kept, "started"), fields.get("title", ""), known)

        try:
            kept["ticket"], photo = once(wire, act, find, kept)
        except UploadError:
            if not again and job.position < video.size:
                kept.clear()
            raise
        return photo

    def _listed(self, wire: Wire) -> Set[str]:
        """The numbers of what is there already, which no lost answer can have been about."""
        try:
            found = self.authorized(wire, lambda login: self._rest(wire, login, LISTING, NEWEST))
        except Refused as refusal:
            self._debug("what is there already is not told: %s" % refusal)
            return {AND_MORE}
        numbers = {text_member(entry, "id") for entry in photos(found)}
        return numbers | {AND_MORE} if len(numbers) >= MOST_LISTED else numbers

    def _is_new(self, wire: Wire, twin: str, started: float, known: Set[str]) -> bool:
        """Whether a twin came after `started`. One that did comes into the list when it is ready."""
        if twin in known or AND_MORE not in known:
            return twin not in known

        def look() -> Optional[bool]:
            recent = self._since(wire, started)
            return any(text_member(entry, "id") == twin for entry in recent) or None

        return wire.look_for(look, self.doubts) is not None

    def _since(self, wire: Wire, started: float) -> List[Any]:
        """What is listed and came after `started`."""
        answer, content = self.authorized(wire, lambda login: self._ask(wire, login, LISTING, NEWEST))
        earliest = moment_at_service(answer, started) - TIME_TOLERANCE
        return [entry for entry in photos(content) if is_since(entry, earliest)]

    def _post_once(
        self, wire: Wire, login: Login, fields: Mapping[str, str], video: LocalFile, part: FilePart
    ) -> Tuple[str, str]:
        url = self.address("flickrUpload")
        header = authorization(signed_fields("POST", url, fields, self._app(), (login.access, login.secret)))
        return ticket_of(wire.exchange("POST", url, header, Multipart(list(fields.items()), "photo", video.name, part)))

    def _posted_since(self, wire: Wire, started: float, title: str, known: Set[str]) -> Optional[Tuple[str, str]]:
        """The video that came after `started`, for which it is waited a while."""

        def look() -> Optional[str]:
            fresh = (entry for entry in self._since(wire, started) if is_video(entry, title))
            return next((name for name in (text_member(entry, "id") for entry in fresh) if name not in known), None)

        found = wire.look_for(look, self.doubts)
        return None if found is None else ("", found)

    def _wait_for(self, wire: Wire, ticket: str) -> str:
        def look() -> Optional[str]:
            answer = self.authorized(
                wire, lambda login: self._rest(wire, login, "flickr.photos.upload.checkTickets", {"tickets": ticket})
            )
            state = ticket_state(answer, ticket)
            complete = text_member(state, "complete")
            if complete == TICKET_READY and text_member(state, "photoid"):
                return text_member(state, "photoid")
            if complete == TICKET_FAILED:
                raise Discarded("Flickr could not make a video of the file", 200)
            if complete != TICKET_RUNNING:
                raise UploadError("Flickr does not tell whether it made a video of the file")
            return None

        return wire.watch(look, self.looks, "Flickr has not made a video of the file in time")

    def _rest(self, wire: Wire, login: Login, method: str, arguments: Mapping[str, str]) -> Dict[str, Any]:
        return wire.run(lambda: self._ask(wire, login, method, arguments)[1])

    def _ask(
        self, wire: Wire, login: Login, method: str, arguments: Mapping[str, str]
    ) -> Tuple[Answer, Dict[str, Any]]:
        service = self.address("flickrRest")
        fields = {"method": method, "format": "json", "nojsoncallback": "1", **arguments}
        oauth = signed_fields("GET", service, fields, self._app(), (login.access, login.secret))
        answer = wire.exchange("GET", service + "?" + urlencode({**fields, **oauth}))
        content = json_object(answer)
        if answer.status == 200 and "stat" not in content:
            raise Transient("Flickr's answer can't be read")
        if content.get("stat") != "ok":
            raise failure(answer, text_member(content, "code"), text_member(content, "message"))
        return answer, content

    def _handshake(self, wire: Wire, path: str, fields: Mapping[str, str], token: Tuple[str, str]) -> Dict[str, str]:
        url = self.address("flickrOauth") + path

        def attempt() -> Dict[str, str]:
            oauth = signed_fields("GET", url, fields, self._app(), token)
            answer = wire.exchange("GET", url + "?" + urlencode(oauth))
            if answer.status != 200:
                raise failure(answer)
            return form_answer(answer)

        return wire.run(attempt)

    def _app(self) -> Tuple[str, str]:
        self.require_app(with_redirect=False)
        return self.app_key, self.app_secret


def form_answer(answer: Answer) -> Dict[str, str]:
    try:
        fields = parse_qs(answer.body.decode("utf-8"), max_num_fields=64)
    except ValueError:
        return {}
    return {name: values[0] for name, values in fields.items()}


def token_pair(answer: Mapping[str, str]) -> Tuple[str, str]:
    return require_token(answer.get("oauth_token")), require_token(answer.get("oauth_token_secret"))


def ticket_of(answer: Answer) -> Tuple[str, str]:
    """The ticket; or nothing, and the number of the twin that the service found."""
    # An answer of the service needs no entities, and they could blow it up.
    if answer.status != 200 or b"<!" in answer.body:
        raise failure(answer)
    try:
        reply = xml.etree.ElementTree.fromstring(answer.body)
    except xml.etree.ElementTree.ParseError:
        raise Transient("Flickr's answer to the upload is no XML") from None
    problem = reply.find("err")
    if problem is not None:
        twin = problem.get("duplicate_photo_id", "")
        if problem.get("code") == DUPLICATE and whole_number(twin) is not None:
            return "", twin
        raise failure(answer, problem.get("code", ""), problem.get("msg", ""))
    ticket = (reply.findtext("ticketid") or "").strip()
    if reply.get("stat") != "ok" or not ticket:
        raise Transient("Flickr's answer to the upload has no ticket")
    return ticket, ""


def photos(content: Mapping[str, Any]) -> List[Any]:
    found = member(content, "photos", "photo")
    return found if isinstance(found, list) else []


def is_since(entry: Any, moment: float) -> bool:
    posted = whole_number(text_member(entry, "dateupload"))
    return posted is not None and posted >= moment


def is_video(entry: Any, title: str) -> bool:
    """Without a title the service makes one of its own."""
    return text_member(entry, "media") == "video" and title in ("", text_member(entry, "title"))


def ticket_state(answer: Mapping[str, Any], ticket: str) -> Any:
    found = member(answer, "uploader", "ticket")
    if not isinstance(found, list):
        return None
    return next((entry for entry in found if text_member(entry, "id") == ticket), None)


def failure(answer: Answer, code: str = "", message: str = "") -> UploadError:
    """From the API's number and text, or from the problem that OAuth reports as a form."""
    problem = form_answer(answer).get("oauth_problem", "")
    text = "Flickr: " + (message or problem or "status %d" % answer.status)
    if code in TOKEN_ERRORS or problem in ("token_rejected", "token_revoked", "token_expired"):
        return TokenInvalid(text)
    if code in PASSING_ERRORS:
        return Transient(text, unprocessed=True)
    return Refused(text, answer.status)
