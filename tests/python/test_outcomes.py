"""What became of a video when the answer of its last step is lost: asked first, never published twice."""

import contextlib
import time
import unittest
from email.utils import formatdate
from unittest import mock

from pysocialnetwork import outcome
from pysocialnetwork.connection import Answer, Connection
from pysocialnetwork.errors import (
    Deferred,
    Discarded,
    FileTrouble,
    FileUnreadable,
    Hindered,
    Refused,
    Stopped,
    TokenInvalid,
    Transient,
    Undecided,
    UploadError,
)
from pysocialnetwork.unfinished import MAYBE_OUT

from platformcase import answer
from sandboxed import ServicesCase, fresh_video
from support import QUICK, make_wire

FINISHED, ERROR = 2, 3
DOUBT = "%s; whether the video is out could not be found out"

# The request that makes a video public or whole, in uploads of one part, and which one of its route it is.
ENDS = {
    "facebook": ("facebookVideos", 3),
    "instagram": ("instagramPublish", 1),
    "twitch": ("twitchComplete", 1),
    "vimeo": ("vimeoUpload", 1),
    "flickr": ("flickrUpload", 1),
    "youtube": ("youtubeUploadChunk", 1),
}
# Where the service tells what became of it.
QUESTIONS = {
    "facebook": "facebookVideo",
    "instagram": "instagramStatus",
    "twitch": "twitchVideo",
    "vimeo": "vimeoUpload",
    "flickr": "flickrMethods",
    "youtube": "youtubeUploadChunk",
}

BEFORE = (
    {"kind": "closeAtOnce"},
    {"kind": "resetAtOnce"},
    *({"kind": "status", "code": code} for code in (500, 502, 504)),
)
AFTER = (
    {"kind": "resetAnswerAfter", "bytes": 0},
    {"kind": "resetAnswerAfter", "bytes": 20},
    {"kind": "truncatedBody", "bytes": 0},
)
# Only what answers with a content can answer rubbish.
RUBBISH = {"kind": "brokenJson"}


class LostEnds(ServicesCase):
    def test_a_question_that_is_refused_leaves_a_doubt_and_the_next_start_makes_no_second_video(self):
        for platform, (route, nth) in ENDS.items():
            if QUESTIONS[platform] == route:
                continue  # the question is the request that ends it
            with self.subTest(platform), fresh_video(5000) as (path, content):
                uploader = self.signed_in(platform)
                self.order(route, "resetAnswerAfter", nth=nth, bytes=0)
                first = {"instagram": 3, "flickr": 2}.get(platform, 1)
                self.order(QUESTIONS[platform], "status", nth=first, code=403, times=1000)
                host = self.start(uploader, path)
                end = host.wait_for_end()
                self.assertEqual((end.code, host.closing()), (ERROR, [end]))
                self.assertIn(DOUBT % "", end.text)
                self.order(QUESTIONS[platform], "status", code=403, times=1000)
                self.assertEqual(self.start(uploader, path).wait_for_end().code, ERROR)
                self.sandbox.post("/sandbox/faults/clear")
                host = self.start(uploader, path)
                self.assert_finished(host.wait_for_end(), host, content)

    def test_a_whole_video_that_is_not_named_is_not_sent_again(self):
        for fault in (RUBBISH, {"kind": "removeMember", "path": "id"}):
            with self.subTest(**fault), fresh_video(5000) as (path, content):
                uploader = self.signed_in("youtube")
                order = self.order("youtubeUploadChunk", times=1000, **fault)
                end = self.start(uploader, path).wait_for_end()
                self.assertEqual((end.code, self.delivered(order) > 1), (ERROR, True))
                self.assertIn(DOUBT % "", end.text)
                self.sandbox.post("/sandbox/faults/clear")
                host = self.start(uploader, path)
                self.assert_finished(host.wait_for_end(), host, content)

    def test_a_session_that_is_gone_when_all_was_sent_is_no_reason_to_send_it_again(self):
        with fresh_video(5000) as (path, content):
            uploader = self.signed_in("youtube")
            self.order("youtubeUploadChunk", "resetAnswerAfter", bytes=0)
            self.order("youtubeUploadChunk", "status", nth=2, code=404, times=1000)
            for _ in range(2):
                end = self.start(uploader, path).wait_for_end()
                self.assertEqual(end.code, ERROR)
                self.assertIn(DOUBT % "", end.text)
            self.assertEqual(len(self.stored(content)), 1)

    def test_a_session_that_is_gone_before_all_was_there_is_replaced(self):
        # Of a part in the midst: of the last one everything may be on its way when the trouble comes.
        lost_part = {"kind": "resetRequestAfter", "bytes": 1 << 20}
        # All was sent, and then the service says that it has nothing.
        never_came = {"kind": "closeAtOnce"}
        for size, lost, nth in ((12 << 20, lost_part, 2), (5000, never_came, 3)):
            with self.subTest(**lost):
                self.order("youtubeUploadChunk", **lost)
                gone = self.order("youtubeUploadChunk", "status", nth=nth, code=404)
                end, host, content = self.upload(self.signed_in("youtube"), size)
                self.assertEqual(self.delivered(gone), 1)
                self.assert_finished(end, host, content)

    def finished_once(self, platform, **fault):
        route, nth = ENDS[platform]
        order = self.order(route, nth=nth, **fault)
        uploader = self.signed_in(platform)
        end, host, content = self.upload(uploader, 5000)
        self.assertEqual(self.delivered(order), 1, "the trouble did not come")
        self.assert_finished(end, host, content)
        return uploader

    def test_an_end_that_the_service_has_not_heard_of_is_repeated(self):
        for platform in ENDS:
            for fault in BEFORE:
                with self.subTest(platform, **fault):
                    self.finished_once(platform, **fault)

    def test_an_end_whose_answer_is_lost_is_found(self):
        for platform in ENDS:
            for fault in (*AFTER, *([] if platform in ("twitch", "vimeo") else [RUBBISH])):
                with self.subTest(platform, **fault):
                    self.finished_once(platform, **fault)

    @contextlib.contextmanager
    def answered_behind_the_act(self, route, nth, status):
        """The service does its work on this request, and a gateway in front of it answers with the status."""
        plain, changed = Connection.exchange, []
        order = self.order(route, "slowAnswer", nth=nth)

        def exchange(connection, *request):
            answer = plain(connection, *request)
            if not changed and self.delivered(order):
                changed.append(answer.status)
                return Answer(status, {}, b"")
            return answer

        with mock.patch.object(Connection, "exchange", exchange):
            yield
        self.assertEqual(len(changed), 1, "the trouble did not come")

    def test_no_answer_of_a_gateway_says_that_nothing_was_done(self):
        for platform, (route, nth) in ENDS.items():
            for status in (503, 520, 524):
                with self.subTest(platform, status=status), self.answered_behind_the_act(route, nth, status):
                    self.assert_finished(*self.upload(self.signed_in(platform), 5000))

    def test_the_question_may_be_lost_as_well(self):
        for platform in ENDS:
            nth = 2 if QUESTIONS[platform] == ENDS[platform][0] else 1
            if platform == "instagram":
                nth = 3  # behind those that wait until the video is ready
            if platform == "flickr":
                nth = 2  # behind the one about what was there before
            faults = ({"kind": "resetAnswerAfter", "bytes": 0}, {"kind": "status", "code": 500}, RUBBISH)
            for fault in faults[: 2 if platform == "vimeo" else 3]:
                with self.subTest(platform, **fault):
                    asked = self.order(QUESTIONS[platform], nth=nth, **fault)
                    self.finished_once(platform, kind="resetAnswerAfter", bytes=0)
                    self.assertEqual(self.delivered(asked), 1, "the question was not lost")

    def test_a_service_that_cannot_be_asked_leaves_the_end_open(self):
        route, nth = ENDS["facebook"]
        self.order(route, "resetAnswerAfter", nth=nth, bytes=0)
        self.order(QUESTIONS["facebook"], "status", code=500, times=1000)
        end, host, content = self.upload(self.signed_in("facebook"), 5000)
        self.assertEqual((end.code, host.closing()), (ERROR, [end]))
        self.assertIn("could not be found out", end.text)
        self.assertEqual(len(self.stored(content)), 1)

    def test_the_same_video_again_is_no_answer_that_was_lost(self):
        for platform in ENDS:
            with self.subTest(platform), fresh_video(5000) as (path, content):
                uploader = self.signed_in(platform)
                ends = [self.start(uploader, path).wait_for_end() for _ in range(2)]
                self.assertEqual([end.code for end in ends], [FINISHED, FINISHED], ends)
                self.assertNotEqual(ends[0].text, ends[1].text)
                self.assertEqual(len(self.stored(content)), 2)

    def test_a_lost_answer_finds_the_new_video_and_not_an_old_one_with_its_title(self):
        for platform in ("instagram", "flickr"):
            with self.subTest(platform):
                uploader = self.signed_in(platform)
                first, _, _ = self.upload(uploader, 5000)
                route, nth = ENDS[platform]
                self.order(route, "resetAnswerAfter", nth=nth, bytes=0)
                self.assert_finished(*self.upload(uploader, 5000))
                self.assertEqual(first.code, FINISHED)


class Once(unittest.TestCase):
    def done(self, acts, finds=(), kept=None):
        """What comes of acts and questions that end as told, in their order."""
        waiting = {"act": list(acts), "find": list(finds)}
        seen = []

        def step(name):
            seen.append(name)
            result = waiting[name].pop(0)
            if isinstance(result, Exception):
                raise result
            return result

        with make_wire(QUICK) as wire:
            try:
                result = outcome.once(wire, lambda: step("act"), lambda: step("find"), kept)
            except UploadError as error:
                result = error
        return result, seen

    def test_what_was_not_worked_on_is_repeated_without_a_question(self):
        busy = Transient("busy", unprocessed=True)
        self.assertEqual(self.done([busy, busy, "done"]), ("done", ["act", "act", "act"]))

    def test_what_may_be_done_is_asked_after_first(self):
        lost = Transient("lost")
        self.assertEqual(self.done([lost], ["done"]), ("done", ["act", "find"]))
        self.assertEqual(self.done([lost, "done"], [None]), ("done", ["act", "find", "act"]))
        self.assertEqual(self.done([lost], [lost, "done"]), ("done", ["act", "find", "find"]))

    def test_a_question_that_was_not_worked_on_is_asked_again(self):
        lost, busy = Transient("lost"), Transient("busy", unprocessed=True)
        self.assertEqual(self.done([lost], [busy, "done"]), ("done", ["act", "find", "find"]))

    def test_a_refusal_after_a_lost_answer_may_mean_that_it_is_done(self):
        lost, refused = Transient("lost"), Refused("done already", 400)
        self.assertEqual(self.done([lost, refused], [None, "done"]), ("done", ["act", "find", "act", "find"]))
        # What the service does not show may still be out.
        result, seen = self.done([lost, refused], [None, None])
        self.assertEqual((str(result), type(result)), (DOUBT % "done already", Undecided))
        self.assertEqual(seen, ["act", "find", "act", "find"])
        self.assertEqual(self.done([refused]), (refused, ["act"]))

    def test_a_refusal_leaves_the_doubt_about_an_earlier_uploads_act(self):
        lost, refused, busy = Transient("lost"), Refused("done already", 400), Transient("x", unprocessed=True)
        for acts, finds in (
            ([refused], [None, None]),
            ([busy, refused], [None, lost, None, lost, None]),
            ([lost, refused], [None] * 3),
            ([refused], [None, Refused("no right", 403)]),
        ):
            kept = {MAYBE_OUT: "yes", "id": "7"}
            self.assertIsInstance(self.done(acts, finds, kept)[0], Undecided)
            self.assertEqual(kept, {MAYBE_OUT: "yes", "id": "7"})
        # By the next start the service may show it.
        self.assertEqual(self.done([], ["done"], kept)[0], "done")

    def test_tries_end(self):
        lost, busy = Transient("lost"), Transient("busy", unprocessed=True)
        result, seen = self.done([lost], [lost] * 10)
        self.assertEqual(str(result), DOUBT % "lost")
        self.assertEqual(seen.count("act"), 1)
        self.assertIs(self.done([busy] * 10)[0], busy)

    def test_a_question_that_is_refused_decides_nothing(self):
        lost, refused = Transient("lost"), Refused("no right to look", 403)
        for acts, finds in (([lost], [refused]), ([lost, refused], [None, refused])):
            result, _ = self.done(acts, finds)
            self.assertEqual((str(result), type(result)), (DOUBT % "no right to look", Undecided))

    def test_what_the_service_has_thrown_away_is_no_doubt(self):
        lost, discarded = Transient("lost"), Discarded("expired", 200)
        self.assertIs(self.done([lost], [discarded])[0], discarded)

    def test_a_login_that_ends_meanwhile_leaves_a_word_of_doubt(self):
        lost, ended = Transient("lost"), TokenInvalid("ended")
        for acts, finds in (([lost], [ended]), ([lost, ended], [None])):
            result, _ = self.done(acts, finds)
            self.assertEqual((str(result), type(result)), (DOUBT % "ended", TokenInvalid))
        self.assertIs(self.done([ended])[0], ended)

    def test_an_act_of_an_earlier_upload_is_asked_after_first(self):
        kept = {}
        self.done([Transient("lost")], [Transient("lost")] * 10, kept)
        self.assertEqual(self.done([], ["done"], kept), ("done", ["find"]))
        self.assertEqual(self.done([Stopped()], [], {})[1], ["act"])
        for error in (Refused("no", 400), TokenInvalid("ended"), Transient("busy", unprocessed=True)):
            kept = {}
            self.done([error] * 10, [], kept)
            self.assertEqual(kept, {}, error)

    def test_a_stop_is_no_trouble(self):
        stop = Stopped()
        self.assertIs(self.done([stop])[0], stop)


class Transferred(unittest.TestCase):
    def ended(self, sent):
        """What comes of a session that is gone, and of its record, behind a last part of ten bytes that broke off once so many
        were sent."""
        job = mock.Mock(position=0)
        kept = {}

        def send(offset):
            job.position = offset + sent
            raise Transient("broke off")

        def ask(offset):
            raise UploadError("gone")

        with make_wire(QUICK) as wire:
            try:
                outcome.transferred(job, wire, 10, 100, send, ask, kept, False)
            except UploadError as error:
                return type(error), kept

    def test_what_was_not_sent_whole_is_not_out(self):
        self.assertEqual(self.ended(9), (UploadError, {}))

    def test_what_was_sent_whole_may_be_out(self):
        self.assertEqual(self.ended(10), (Undecided, {MAYBE_OUT: "yes"}))


class WentOn(unittest.TestCase):
    def test_only_what_the_service_has_given_up_begins_anew(self):
        for error, told, anew in (
            (Refused("gone", 404), None, True),
            (Refused("gone", 410), None, True),
            (Discarded("thrown away", 200), None, True),
            (Refused("a limit", 403), Deferred, False),
            (Refused("of an unknown kind", 400), Deferred, False),
            (Refused("not made for this", 501), Deferred, False),
            (Transient("busy"), Transient, False),
            (FileTrouble("the file changed"), FileTrouble, False),
        ):
            kept, removed, ended = {"id": "7"}, [], None

            def send(error=error):
                raise error

            try:
                self.assertIs(outcome.went_on(kept, send, lambda: removed.append(1), lambda line: None), False)
            except UploadError as trouble:
                ended = type(trouble)
                self.assertEqual(str(trouble), str(error))
            self.assertEqual((ended, len(removed), kept), (told, int(anew), {} if anew else {"id": "7"}), error)

    def test_who_knows_better_is_asked(self):
        for gone in (True, False):
            kept, removed, asked = {"id": "7"}, [], []

            def send():
                raise Refused("a limit", 403, "limit")

            def is_gone(refused):
                asked.append((str(refused), refused.status, refused.word))
                return gone

            with contextlib.suppress(Deferred):
                outcome.went_on(kept, send, lambda: removed.append(1), lambda line: None, is_gone)
            self.assertEqual((asked, len(removed), bool(kept)), ([("a limit", 403, "limit")], int(gone), not gone))

    def test_a_video_that_is_gone_at_its_end_begins_anew_as_well(self):
        for error, gone, anew in (
            (Refused("gone", 404), False, True),
            (Refused("no such upload", 400), True, True),
            (Deferred("a limit", 403), True, True),
            (Refused("no such privacy", 400), False, False),
            (Deferred("a limit", 403), False, False),
            (Undecided("lost"), True, False),
        ):
            kept, removed, ended, steps = {"id": "7"}, [], None, []

            def finish(error=error):
                steps.append("finish")
                raise error

            def send():
                steps.append("send")

            try:
                outcome.went_on(
                    kept, send, lambda: removed.append(1), lambda line: None, lambda refused, gone=gone: gone, finish
                )
            except UploadError as trouble:
                ended = trouble
            self.assertEqual((ended, len(removed), bool(kept)), (None if anew else error, int(anew), not anew), error)
            self.assertEqual(steps, ["send", "finish"])

    def test_a_stop_during_the_removal_leaves_the_record(self):
        kept = {"id": "7"}

        def send():
            raise Refused("gone", 404)

        def remove():
            raise Stopped()

        with self.assertRaises(Stopped):
            outcome.went_on(kept, send, remove, lambda line: None)
        self.assertEqual(kept, {"id": "7"})
        with self.assertRaises(Stopped), outcome.removed_if_refused(kept, remove, lambda line: None):
            raise Refused("no", 400)


class RemovedIfRefused(unittest.TestCase):
    def test_only_what_will_never_be_whole_is_removed(self):
        for error, removed in (
            (Refused("no", 400), True),
            (FileTrouble("the file changed"), True),
            (FileUnreadable("the drive is away"), False),
            (Hindered("its certificate is not accepted"), False),
            (Stopped(), False),
            (Transient("busy"), False),
            (TokenInvalid("over"), False),
        ):
            calls, lines = [], []
            with self.assertRaises(type(error)), outcome.removed_if_refused(
                {"id": "7"}, lambda: calls.append(1), lines.append
            ):
                raise error
            self.assertEqual((len(calls), len(lines)), (int(removed), int(removed)), error)

    def test_what_may_be_out_is_removed_only_where_the_service_says_that_it_is_not(self):
        for error, told in (
            (Refused("gone", 404), Undecided),
            (FileTrouble("the file changed"), Undecided),
            (UploadError("what is kept makes no sense"), Undecided),
            (TokenInvalid("over"), TokenInvalid),
            (Discarded("thrown away", 200), Discarded),
        ):
            calls = []
            with self.assertRaises(told) as caught, outcome.removed_if_refused(
                {"id": "7", MAYBE_OUT: "yes"}, lambda: calls.append(1), lambda line: None
            ):
                raise error
            self.assertEqual(str(caught.exception), DOUBT % error if told is Undecided else str(error))
            self.assertEqual(len(calls), int(told is Discarded), error)

    def test_a_removal_that_fails_is_told_and_hides_nothing(self):
        def refuse():
            raise Refused("not yours", 403)

        lines = []
        with self.assertRaisesRegex(UploadError, "changed"), outcome.removed_if_refused(
            {"id": "7"}, refuse, lines.append
        ):
            raise UploadError("the file changed")
        self.assertEqual(lines, ["the unfinished video is left behind: not yours"])


class Moments(unittest.TestCase):
    def test_the_services_clock_counts_where_it_is_told(self):
        started = time.monotonic() - 60
        past = int(time.time()) - 100000
        dated = answer(200, {}, Date=formatdate(past, usegmt=True))
        self.assertAlmostEqual(outcome.moment_at_service(dated, started), past - 60, delta=2)
        for header in ({}, {"Date": "soon"}, {"Date": "Mon, 99 Foo 2020 00:00:00 GMT"}):
            moment = outcome.moment_at_service(answer(200, {}, **header), started)
            self.assertAlmostEqual(moment, time.time() - 60, delta=2)


if __name__ == "__main__":
    unittest.main()
