"""Uploads of each resumable platform that break off, against the sandbox's services, and are started again."""

import itertools
import unittest
from dataclasses import replace
from unittest import mock

from pysocialnetwork import bodies, dialing, twitch, vimeo, youtube
from pysocialnetwork.retry import BACKGROUND
from pysocialnetwork.stopsignal import StopSignal

from sandboxed import CARRIER, ServicesCase, fresh_video
from support import Host
from test_patience import MINUTE, Clock

FINISHED, ERROR = 2, 3
# What Facebook's stand-in asks for at a time.
PART = 4 << 20
RESUMABLE = ("facebook", "youtube", "vimeo", "instagram")

BREAKS = (("closeAtOnce", {}), ("status", {"code": 503}), ("resetAnswerAfter", {"bytes": 0}))
# Where those that go on with what is there ask how far it is, or whether it is.
QUESTIONS = {
    "facebook": ("facebookVideo",),
    "youtube": (),
    "vimeo": ("vimeoDetails",),
    "instagram": ("instagramStatus",),
    "twitch": ("twitchVideo",),
}
# The last request of an upload of one part, and where the service tells what became of it.
ENDS = {
    "facebook": ("facebookVideos", 3, "facebookVideo"),
    "instagram": ("instagramPublish", 1, "instagramStatus"),
    "youtube": ("youtubeUploadChunk", 1, "youtubeUploadChunk"),
    "vimeo": ("vimeoUpload", 1, "vimeoUpload"),
    "twitch": ("twitchComplete", 1, "twitchVideo"),
    "flickr": ("flickrUpload", 1, "flickrMethods"),
}


class GoingOn(ServicesCase):
    size = 9 << 20

    def setUp(self):
        super().setUp()
        for module, name, part in ((youtube, "CHUNK", PART), (vimeo, "CHUNK", PART), (twitch, "PART", 5 << 20)):
            smaller = mock.patch.object(module, name, part)
            smaller.start()
            self.addCleanup(smaller.stop)

    def uploads(self):
        return {entry["media_id"] for entry in self.sandbox.get("/sandbox/uploads")}

    def broken_off(self, platform, path, kind="closeAtOnce", **more):
        """Something of the video arrives, then nothing does."""
        uploader = self.signed_in(platform)
        route, nth = CARRIER[platform]
        first = self.order(route, "resetRequestAfter", nth=nth, bytes=PART) if platform == "instagram" else None
        order = self.order(route, kind, nth=nth + 1, times=1000, **more)
        end = self.start(uploader, path).wait_for_end()
        self.assertEqual(end.code, ERROR, end.text)
        self.assertGreaterEqual(self.delivered(order), 1)
        if first is not None:
            self.assertEqual(self.delivered(first), 1)
        self.sandbox.post("/sandbox/faults/clear")
        return uploader

    def test_the_next_start_goes_on_with_the_same_video(self):
        for platform in RESUMABLE:
            # Where the lost answer is that of a whole video, as Instagram's, the upload does not end there.
            for kind, more in BREAKS[: 2 if platform == "instagram" else 3]:
                with self.subTest(platform, kind=kind), fresh_video(self.size) as (path, content):
                    before = self.uploads()
                    uploader = self.broken_off(platform, path, kind, **more)
                    begun = self.uploads() - before
                    self.assertEqual(len(begun), 1)
                    host = self.start(uploader, path)
                    video = self.assert_finished(host.wait_for_end(), host, content)
                    self.assertEqual(self.uploads() - before, begun)
                    self.assertEqual({video["media_id"]}, begun)
                    self.assertIn("the upload goes on that broke off before", host.texts())
                    # All that arrived the first time stays there.
                    self.assertGreaterEqual(int(host.of(1)[0].text), 33)

    def test_what_the_service_has_given_up_begins_anew(self):
        for platform in RESUMABLE:
            with self.subTest(platform), fresh_video(self.size) as (path, content):
                uploader = self.broken_off(platform, path)
                route = "instagramStatus" if platform == "instagram" else CARRIER[platform][0]
                order = self.order(route, "status", code=404)
                host = self.start(uploader, path)
                self.assert_finished(host.wait_for_end(), host, content)
                self.assertEqual(self.delivered(order), 1)
                self.assertIn("anew", host.texts())
                if platform in ("facebook", "vimeo"):
                    self.assertIn("the unfinished video is removed", host.texts())

    def refused(self, uploader, path, routes, code):
        """A start that is refused on these routes; how often it met each."""
        orders = [self.order(route, "status", code=code, times=1000) for route in routes]
        host = self.start(uploader, path)
        end = host.wait_for_end()
        self.assertEqual(end.code, ERROR)
        self.assertRegex(end.text, r"status %d\b" % code)
        self.assertNotIn("anew", host.texts())
        self.assertNotIn("removed", host.texts())
        met = [self.delivered(order) for order in orders]
        self.sandbox.post("/sandbox/faults/clear")
        return met

    def goes_on(self, uploader, path, content, before, begun):
        host = self.start(uploader, path)
        self.assert_finished(host.wait_for_end(), host, content)
        self.assertIn("the upload goes on that broke off before", host.texts())
        self.assertEqual((len(begun), self.uploads() - before), (1, begun))

    def test_a_refusal_that_may_pass_keeps_what_the_service_has(self):
        for platform, questions in QUESTIONS.items():
            with self.subTest(platform), fresh_video(self.size) as (path, content):
                before, uploader = self.uploads(), self.broken_off(platform, path)
                begun = self.uploads() - before
                carrier = CARRIER[platform][0]
                # YouTube says so of a session that has gone.
                for code in (403, 501, 429) if platform == "youtube" else (403, 400, 501, 429):
                    self.assertGreaterEqual(self.refused(uploader, path, [carrier], code)[0], 1)
                met = self.refused(uploader, path, [*questions, carrier], 403)
                # Instagram asks before it sends, Facebook only about a session that is none.
                self.assertEqual(met, {"facebook": [0, 1], "instagram": [1, 0]}.get(platform, [1] * len(met)))
                self.goes_on(uploader, path, content, before, begun)

    def test_a_refusal_in_the_middle_of_the_first_run_keeps_what_is_there(self):
        for platform in QUESTIONS:
            with self.subTest(platform), fresh_video(self.size) as (path, content):
                before, uploader = self.uploads(), self.signed_in(platform)
                route, nth = CARRIER[platform]
                if platform == "instagram":
                    first = self.order(route, "resetRequestAfter", nth=nth, bytes=PART)
                    order = self.order("instagramStatus", "status", code=403, times=1000)
                else:
                    first = None
                    order = self.order(route, "status", nth=nth + 1, code=403, times=1000)
                host = self.start(uploader, path)
                end = host.wait_for_end()
                self.assertEqual(end.code, ERROR)
                self.assertRegex(end.text, r"status 403\b")
                self.assertNotIn("removed", host.texts())
                self.assertEqual([self.delivered(each) for each in (first, order) if each], [1] * (1 + bool(first)))
                self.sandbox.post("/sandbox/faults/clear")
                self.goes_on(uploader, path, content, before, self.uploads() - before)

    def test_a_refusal_of_the_first_part_leaves_nothing(self):
        for platform in QUESTIONS:
            with self.subTest(platform), fresh_video(self.size) as (path, content):
                uploader = self.signed_in(platform)
                route, nth = CARRIER[platform]
                order = self.order(route, "status", nth=nth, code=403, times=1000)
                host = self.start(uploader, path)
                self.assertEqual(host.wait_for_end().code, ERROR)
                self.assertEqual(self.delivered(order), 1)
                removable = platform in ("facebook", "vimeo", "twitch")
                self.assertEqual("the unfinished video is removed" in host.texts(), removable)
                self.assertNotIn("kept for the next start", host.texts())
                self.sandbox.post("/sandbox/faults/clear")
                host = self.start(uploader, path)
                self.assert_finished(host.wait_for_end(), host, content)
                self.assertNotIn("goes on", host.texts())

    def test_a_refusal_that_passes_costs_no_container(self):
        with fresh_video(self.size) as (path, content):
            before, uploader = self.uploads(), self.signed_in("instagram")
            for route in ("instagramPublish", "instagramStatus", "instagramPublish"):
                order = self.order(route, "status", code=403, times=1000)
                end = self.start(uploader, path).wait_for_end()
                self.assertEqual((end.code, end.text), (ERROR, "Instagram: status 403"))
                self.assertGreaterEqual(self.delivered(order), 1)
                self.sandbox.post("/sandbox/faults/clear")
            host = self.start(uploader, path)
            self.assert_finished(host.wait_for_end(), host, content)
            self.assertEqual(len(self.uploads() - before), 1)

    def test_one_that_may_be_out_is_asked_after_and_not_published_again(self):
        for platform, (route, nth, question) in ENDS.items():
            with self.subTest(platform), fresh_video(5000) as (path, content):
                uploader = self.signed_in(platform)
                self.order(route, "resetAnswerAfter", nth=nth, times=1000, bytes=0)
                if question != route:
                    # Instagram is asked before as well, until the video is ready, and Flickr what is there already.
                    nth = {"instagram": 3, "flickr": 2}.get(platform, 1)
                    self.order(question, "status", code=500, nth=nth, times=1000)
                end = self.start(uploader, path).wait_for_end()
                self.assertEqual(end.code, ERROR)
                self.assertIn("whether the video is out could not be found out", end.text)
                self.assertEqual(len(self.stored(content)), 1)
                self.sandbox.post("/sandbox/faults/clear")
                host = self.start(uploader, path)
                end = host.wait_for_end()
                self.assertEqual(end.code, FINISHED, end.text)
                self.assertEqual(len(self.stored(content)), 1)

    def test_a_gateways_answer_behind_the_last_step_makes_no_second_video(self):
        for platform, (route, nth, _) in ENDS.items():
            for code in (503, 520, 524):
                with self.subTest(platform, code=code), fresh_video(5000) as (path, content):
                    uploader = self.signed_in(platform)
                    order = self.order(route, "statusAfterAct", nth=nth, code=code)
                    host = self.start(uploader, path)
                    end = host.wait_for_end()
                    self.assertEqual((end.code, self.delivered(order)), (FINISHED, 1), end.text)
                    self.assertEqual(len(self.stored(content)), 1)
                    self.assertNotIn("removed", host.texts())

    def test_a_gateways_answer_to_a_part_goes_on_behind_it(self):
        for platform in QUESTIONS:
            with self.subTest(platform), fresh_video(self.size) as (path, content):
                before, uploader = self.uploads(), self.signed_in(platform)
                route, nth = CARRIER[platform]
                order = self.order(route, "statusAfterAct", nth=nth, code=520)
                host = self.start(uploader, path)
                self.assert_finished(host.wait_for_end(), host, content)
                self.assertEqual((self.delivered(order), len(self.uploads() - before)), (1, 1))

    def test_a_stop_and_a_start_at_once_go_on_with_the_same_video(self):
        for platform, in_another in itertools.product((*RESUMABLE[:3], "twitch"), (False, True)):
            with self.subTest(platform, in_another=in_another), fresh_video(self.size) as (path, content):
                before, uploader = self.uploads(), self.signed_in(platform)
                second, stopped = uploader, []
                if in_another:
                    second = self.uploader(platform)
                    second.set_login(uploader.login)

                def on_event(event):
                    if event.code == 1 and int(event.text) >= 50 and not stopped:
                        stopped.append(event)
                        uploader.StopUpload()
                        second.StartUpload(path, "T", "", "", "", "")

                host = Host(on_event)
                for each in (uploader, second):
                    host.attach(each)
                uploader.StartUpload(path, "T", "", "", "", "")
                ends = {host.wait_for_end(number).code for number in (1, 2)}
                self.assertEqual(ends, {FINISHED, ERROR}, host.texts())
                self.assertIn("the upload goes on that broke off before", host.texts())
                self.assertEqual(len(self.stored(content)), 1)
                self.assertEqual(len(self.uploads() - before), 1)

    def test_a_close_that_fails_is_none_of_the_videos_business(self):
        open_file, close_socket, failed = bodies._open, StopSignal.close, []

        class Failing:
            """A file whose close fails."""

            def __init__(self, path):
                self._file = open_file(path)

            def __getattr__(self, name):
                return getattr(self._file, name)

            def close(self):
                self._file.close()
                failed.append("file")
                raise OSError(5, "Input/output error")

        def close(stop, connection):
            close_socket(stop, connection)
            failed.append("socket")
            raise OSError(104, "Connection reset by peer")

        for platform in ENDS:
            with self.subTest(platform), fresh_video(5000) as (path, content):
                uploader = self.signed_in(platform)
                failed.clear()
                with mock.patch.object(bodies, "_open", Failing), mock.patch.object(StopSignal, "close", close):
                    host = self.start(uploader, path)
                    self.assert_finished(host.wait_for_end(), host, content)
                self.assertEqual(set(failed), {"file", "socket"})

    def test_a_wait_for_flickrs_ticket_goes_on(self):
        with fresh_video(5000) as (path, content):
            uploader = self.signed_in("flickr")
            self.order("flickrMethods", "status", code=500, nth=2, times=1000)
            self.assertEqual(self.start(uploader, path).wait_for_end().code, ERROR)
            self.sandbox.post("/sandbox/faults/clear")
            host = self.start(uploader, path)
            self.assert_finished(host.wait_for_end(), host, content)

    def test_a_video_of_which_flickr_has_not_had_all_begins_anew(self):
        with fresh_video(self.size) as (path, content):
            uploader = self.signed_in("flickr")
            self.order("flickrUpload", "resetRequestAfter", times=1000, bytes=1 << 20)
            end = self.start(uploader, path).wait_for_end()
            self.assertEqual(end.code, ERROR)
            self.assertNotIn("whether the video is out", end.text)
            self.sandbox.post("/sandbox/faults/clear")
            host = self.start(uploader, path)
            self.assert_finished(host.wait_for_end(), host, content)
            self.assertNotIn("goes on", host.texts())

    def test_who_logs_out_meanwhile_leaves_nothing_behind(self):
        with fresh_video(self.size) as (path, content):
            uploader = self.signed_in("youtube")
            done = []

            def on_event(event):
                if event.code == 1 and not done:
                    done.append(event)
                    uploader.Logout()

            host = Host(on_event)
            host.attach(uploader)
            uploader.StartUpload(path, "A title", "What it shows", "", "tag", "")
            self.assertNotEqual(host.wait_for_end().code, FINISHED)
            self.assertNotIn("kept for the next start", host.texts())
            again = self.start(self.signed_in("youtube"), path)
            self.assert_finished(again.wait_for_end(), again, content)
            self.assertNotIn("goes on", again.texts())

    def test_another_user_who_signs_in_meanwhile_does_not_get_the_rest(self):
        for platform in ("facebook", "youtube", "instagram"):
            with self.subTest(platform), fresh_video(self.size) as (path, content):
                uploader = self.signed_in(platform)
                other = replace(uploader.login, user_id=uploader.login.user_id + "0")

                def on_event(event):
                    if event.code == 1 and uploader.login != other:
                        uploader.set_login(other)

                host = Host(on_event)
                host.attach(uploader)
                uploader.StartUpload(path, "T", "", "", "", "")
                end = host.wait_for_end()
                self.assertEqual(end.code, 4, end.text)
                self.assertIn("another user has signed in meanwhile", end.text)
                self.assertEqual(uploader.login, other)

    def test_another_user_begins_a_video_of_its_own(self):
        people = [user["open_id"] for user in self.sandbox.get("/sandbox/users")]
        self.addCleanup(self.sandbox.post, "/sandbox/users/choose", open_id=people[0])
        for platform in RESUMABLE:
            with self.subTest(platform), fresh_video(self.size) as (path, content):
                before = self.uploads()
                self.sandbox.post("/sandbox/users/choose", open_id=people[0])
                first = self.broken_off(platform, path)
                self.sandbox.post("/sandbox/users/choose", open_id=people[1])
                second = self.signed_in(platform)
                self.assertNotEqual(first.login.user_id, second.login.user_id)
                host = self.start(second, path)
                self.assert_finished(host.wait_for_end(), host, content)
                self.assertNotIn("goes on", host.texts())
                # What the first one left is still there.
                host = self.start(first, path)
                self.assertEqual(host.wait_for_end().code, FINISHED)
                self.assertIn("the upload goes on that broke off before", host.texts())
                self.assertEqual((len(self.uploads() - before), len(self.copies(content))), (2, 2))

    def without_network(self, platform, path, seconds):
        """The host and the clock of an upload that the network leaves for so long when a part of it has arrived."""
        uploader, clock, gone_until = self.signed_in(platform), Clock(), [0.0]
        uploader.job_policy, uploader.clock = BACKGROUND, clock.time
        connect = dialing.connect

        def dial(*arguments):
            if clock.now < gone_until[0]:
                raise OSError(101, "Network is unreachable")
            return connect(*arguments)

        def on_event(event):
            if event.code == 1 and not gone_until[0]:
                gone_until[0] = clock.now + seconds

        host = Host(on_event)
        host.attach(uploader)
        route, nth = CARRIER[platform]
        self.order(route, "resetRequestAfter", nth=nth, bytes=PART // 2)
        with mock.patch.object(dialing, "connect", dial):
            with mock.patch.object(StopSignal, "wait", lambda stop, pause: clock.wait(pause)):
                uploader.StartUpload(path, "A title", "What it shows", "", "tag", "")
                end = host.wait_for_end()
        return end, host, clock.now - gone_until[0]

    def test_ten_minutes_without_a_network_are_borne(self):
        for platform in RESUMABLE:
            with self.subTest(platform), fresh_video(self.size) as (path, content):
                before = self.uploads()
                end, host, beyond = self.without_network(platform, path, 9 * MINUTE)
                self.assert_finished(end, host, content)
                self.assertGreaterEqual(beyond, 0)
                self.assertIn("Network is unreachable (for ", host.texts())
                self.assertEqual(len(self.uploads() - before), 1)
            with self.subTest(platform, minutes=11), fresh_video(self.size) as (path, content):
                before = self.uploads()
                end, _, beyond = self.without_network(platform, path, 11 * MINUTE)
                self.assertEqual(end.code, ERROR)
                self.assertLess(beyond, 0)
                host = self.start(self.signed_in(platform), path)
                self.assert_finished(host.wait_for_end(), host, content)
                self.assertEqual(len(self.uploads() - before), 1)


if __name__ == "__main__":
    unittest.main()
