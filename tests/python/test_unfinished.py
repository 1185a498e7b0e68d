"""Uploads that broke off and go on when the host starts them again."""

import os
import threading
import time
import unittest
from dataclasses import replace
from unittest import mock

from pysocialnetwork import unfinished, youtube
from pysocialnetwork.bodies import LocalFile
from pysocialnetwork.errors import Refused, Stopped, UploadError
from pysocialnetwork.job import VideoRequest
from pysocialnetwork.login import Login
from pysocialnetwork.stopsignal import StopSignal
from pysocialnetwork.unfinished import Unfinished, subject_of

import support
from support import LIMIT, Host, Reply, Server, quick

FINISHED, ERROR, TOKEN_INVALID = 2, 3, 4
REQUEST = VideoRequest("p", "T", "D", "private", "a,b", "Music", "")
FILE = (1, 2, 3)


class Records(unittest.TestCase):
    def setUp(self):
        self.now = 0.0
        self.unfinished = Unfinished(lambda: self.now)

    def take(self, subject):
        return self.unfinished.take(subject, ("session",))

    def subject(self, service="https://s", login=None, file=FILE, **details):
        request = VideoRequest(**{**vars(REQUEST), **details})
        return subject_of(service, login or Login("youtube", "t", user_id="1"), file, request)

    def test_what_is_taken_is_gone(self):
        self.unfinished.keep(self.subject(), {"session": "s"})
        self.assertEqual(self.take(self.subject()), {"session": "s"})
        self.assertEqual(self.take(self.subject()), {})

    def test_anything_else_is_another_upload(self):
        self.unfinished.keep(self.subject(), {"session": "s"})
        for other in (
            self.subject(service="https://other"),
            self.subject(file=(1, 2, 4)),
            self.subject(login=Login("youtube", "t", user_id="2")),
            self.subject(login=Login("youtube", "t")),
            self.subject(login=Login("vimeo", "t", user_id="1")),
            *(self.subject(**{name: "other"}) for name in vars(REQUEST) if name != "path"),
        ):
            self.assertEqual(self.take(other), {}, other)
        self.assertEqual(self.take(self.subject(path="another name of it")), {"session": "s"})

    def test_a_user_without_a_number_is_known_by_what_a_renewal_keeps(self):
        def user(**fields):
            return self.subject(login=Login("youtube", **fields))

        self.assertEqual(user(access="a", refresh="r"), user(access="b", refresh="r"))
        self.assertNotEqual(user(access="a", refresh="r"), user(access="a", refresh="q"))
        self.assertNotEqual(user(access="a"), user(access="b"))
        self.assertNotIn("secret-token", repr(user(access="secret-token")))

    def test_what_is_too_old_is_not_tried(self):
        self.unfinished.keep(self.subject(), {"session": "s"})
        self.now = unfinished.LIFETIME
        # Nor is it held on to.
        self.unfinished.keep(self.subject(title="U"), {"session": "t"})
        self.assertEqual(len(self.unfinished._kept), 1)
        self.assertEqual(self.take(self.subject()), {})

    def test_what_breaks_off_again_and_again_ends_a_day_after_it_began(self):
        hours = 0
        self.unfinished.keep(self.subject(), {"session": "s"})
        while hours < 100:
            hours += 1
            self.now = hours * 3600.0
            values = self.take(self.subject())
            if not values:
                break
            self.unfinished.keep(self.subject(), values)
        self.assertEqual(hours, 24)
        # One that began anew has a day of its own.
        for emptied in (lambda values: values.clear(), lambda values: values.__delitem__("session")):
            self.unfinished.keep(self.subject(), {"session": "s"})
            self.now += unfinished.LIFETIME - 1
            values = self.take(self.subject())
            emptied(values)
            values.update(session="t")
            self.unfinished.keep(self.subject(), values)
            self.now += unfinished.LIFETIME - 1
            self.assertEqual(self.take(self.subject()), {"session": "t"})

    def test_a_users_uploads_are_forgotten_alone(self):
        other = Login("youtube", "t", user_id="2")
        for subject in (self.subject(), self.subject(title="U"), self.subject(login=other)):
            self.unfinished.keep(subject, {"session": "s"})
        self.unfinished.forget(unfinished.user_of(Login("youtube", "renewed", user_id="1")))
        self.assertEqual((self.take(self.subject()), self.take(self.subject(title="U"))), ({}, {}))
        self.assertEqual(self.take(self.subject(login=other)), {"session": "s"})

    def test_what_breaks_off_after_a_logout_is_not_kept(self):
        user = self.subject().user
        before = self.unfinished.logouts(user)
        self.unfinished.forget(user)
        self.unfinished.keep(self.subject(), {"session": "s"}, before)
        self.assertEqual(self.take(self.subject()), {})
        self.unfinished.keep(self.subject(), {"session": "s"}, self.unfinished.logouts(user))
        self.assertEqual(self.take(self.subject()), {"session": "s"})

    def test_a_stopped_one_of_the_same_ends_first(self):
        first, second = StopSignal(), StopSignal()
        begun, ended, waits = [], threading.Event(), []

        def begin():
            with self.unfinished.at_work(self.subject(), StopSignal(), lambda: waits.append(1)):
                begun.append(ended.is_set())

        with self.unfinished.at_work(self.subject(), first):
            begin()
            first.set()
            # Another upload does not wait, and one that waits can be stopped.
            with self.unfinished.at_work(self.subject(title="U"), StopSignal()):
                second.set()
            with self.assertRaises(Stopped), self.unfinished.at_work(self.subject(), second):
                pass
            waiting = threading.Thread(target=begin)
            waiting.start()
            waiting.join(3 * unfinished.LOOK_PAUSE)
            self.assertEqual(begun, [False])
            ended.set()
        waiting.join(LIMIT)
        self.assertEqual((begun, waits), ([False, True], [1]))

    def test_one_that_is_stopped_before_it_begins_takes_nothing_from_its_successor(self):
        self.unfinished.keep(self.subject(), {"session": "s"})
        stopped = StopSignal()
        stopped.set()
        with self.unfinished.at_work(self.subject(), StopSignal()):
            with self.assertRaises(Stopped), self.unfinished.at_work(self.subject(), stopped):
                self.fail("it began")
            self.assertEqual(self.take(self.subject()), {"session": "s"})

    def test_rubbish_is_nothing(self):
        for values in ({"session": 5}, {"other": "s"}, {"session": "s", "other": "s"}, {"session": None}):
            self.unfinished.keep(self.subject(), values)
            self.assertEqual(self.take(self.subject()), {}, values)

    def test_the_oldest_make_room(self):
        for number in range(unfinished.MOST + 1):
            self.unfinished.keep(self.subject(file=(number,)), {"session": str(number)})
        self.assertEqual(self.take(self.subject(file=(0,))), {})
        self.assertEqual(self.take(self.subject(file=(1,))), {"session": "1"})


class FileIdentities(unittest.TestCase):
    def identity(self, path):
        with LocalFile(path) as file:
            return file.identity

    def test_a_file_that_changed_is_another_whatever_its_times_say(self):
        with support.video_file(100) as (path, content):
            first, status = self.identity(path), os.stat(path)
            self.assertEqual(self.identity(path), first)
            support.wait_until(lambda: time.time_ns() - status.st_ctime_ns > 50_000_000, "the times' grain")
            with open(path, "r+b") as file:
                file.write(b"other")
            os.utime(path, ns=(status.st_atime_ns, status.st_mtime_ns))
            self.assertEqual(os.stat(path).st_mtime_ns, status.st_mtime_ns)
            self.assertNotEqual(self.identity(path), first)


class Sessions:
    """YouTube's uploads: sessions that keep what they got."""

    def __init__(self):
        self.reset()

    def reset(self):
        self.contents = {}
        self.asked = []
        self.videos = []
        self.break_at = None
        self.refuse = None

    def respond(self, request):
        if request.method == "POST":
            name = "/session%d" % len(self.contents)
            self.contents[name] = b""
            return Reply(200, "{}", {"Location": self.url + name})
        name, span = request.path, request.headers["Content-Range"][len("bytes ") :]
        asking = span.startswith("*/")
        self.asked.append((name, span))
        if self.refuse is not None and asking:
            return Reply(self.refuse, "{}")
        if not asking:
            self.contents[name] = self.contents[name][: int(span.split("-")[0])] + request.body
        if self.break_at is not None and len(self.contents[name]) >= self.break_at:
            return Reply(drop=0)
        if len(self.contents[name]) == int(span.split("/")[1]):
            if name not in self.videos:
                self.videos.append(name)
            return Reply(200, '{"id": "video-%s"}' % name[1:])
        last = len(self.contents[name]) - 1
        return Reply(308, headers={"Range": "bytes=0-%d" % last} if last >= 0 else {})


class GoingOn(unittest.TestCase):
    def setUp(self):
        for change in (support.environment(), mock.patch.object(youtube, "CHUNK", 1000)):
            change.start()
            self.addCleanup(change.stop)
        own = mock.patch.object(unfinished, "kept", Unfinished())
        own.start()
        self.addCleanup(own.stop)
        self.sessions = Sessions()
        server = Server(self.sessions.respond)
        self.sessions.url = server.url
        server.__enter__()
        self.addCleanup(server.__exit__)
        video = support.video_file(3000)
        self.path, self.content = video.__enter__()
        self.addCleanup(video.__exit__, None, None, None)

    def uploader(self, **login):
        uploader = quick(youtube.Uploader())
        uploader.address = lambda key: self.sessions.url
        uploader.set_login(Login("youtube", **{"access": "token", "user_id": "1", **login}))
        return uploader

    def upload(self, uploader=None, title="T", on_event=None):
        host = Host(on_event)
        host.attach(uploader or self.uploader()).StartUpload(self.path, title, "", "", "", "")
        return host.wait_for_end(), host

    def broken_off(self, at=2000):
        self.sessions.break_at = at
        end, host = self.upload()
        self.assertEqual(end.code, ERROR, end.text)
        self.assertIn("what the service has of the video is kept for the next start", host.texts())
        self.sessions.break_at = None
        self.sessions.asked.clear()

    def assert_one_video(self, end, session="/session0"):
        self.assertEqual((end.code, end.text), (FINISHED, "https://www.youtube.com/watch?v=video-" + session[1:]))
        self.assertEqual(self.sessions.videos, [session])
        self.assertEqual(self.sessions.contents[session], self.content)

    def test_the_next_upload_goes_on_where_the_service_stands(self):
        self.broken_off()
        end, host = self.upload()
        self.assertEqual(self.sessions.asked, [("/session0", "*/3000"), ("/session0", "2000-2999/3000")])
        self.assert_one_video(end)
        self.assertIn("the upload goes on that broke off before", host.texts())
        self.assertNotIn("session0", "".join(event.text for event in host.of(99)))

    def test_one_whose_last_answer_was_lost_is_not_sent_again(self):
        self.broken_off(at=3000)
        end, _ = self.upload()
        self.assertEqual(self.sessions.asked, [("/session0", "*/3000")])
        self.assert_one_video(end)

    def test_one_that_was_stopped_goes_on_too(self):
        uploader = self.uploader()

        def stop(event):
            if event.code == 1:
                uploader.StopUpload()

        end, _ = self.upload(uploader, on_event=stop)
        self.assertEqual(end.text, "User cancelled!")
        end, _ = self.upload()
        self.assert_one_video(end)

    def test_who_logs_out_leaves_nothing_behind(self):
        self.broken_off()
        self.uploader().Logout()
        end, _ = self.upload()
        self.assertEqual(end.code, FINISHED)
        self.assertNotIn("/session0", dict(self.sessions.asked))

    def test_who_logs_out_after_the_login_has_ended_leaves_nothing_behind_either(self):
        uploader = self.uploader()
        end, _ = self.upload(uploader, on_event=lambda event: event.code == 1 and uploader.set_login(None))
        self.assertEqual(end.code, TOKEN_INVALID)
        self.assertEqual(len(unfinished.kept._kept), 1)
        uploader.Logout()
        self.assertEqual(len(unfinished.kept._kept), 0)

    def test_what_nobody_foresaw_is_no_reason_to_begin_anew(self):
        with mock.patch.object(youtube, "received", side_effect=ZeroDivisionError):
            end, _ = self.upload()
        self.assertIn("unexpected", end.text)
        end, _ = self.upload()
        self.assert_one_video(end)

    def test_one_that_breaks_off_again_goes_on_again(self):
        self.broken_off(at=1000)
        self.broken_off(at=2000)
        end, _ = self.upload()
        self.assertEqual(len(self.sessions.contents), 1)
        self.assert_one_video(end)

    def test_a_finished_one_is_forgotten(self):
        self.broken_off()
        self.upload()
        self.upload()
        self.assertEqual(self.sessions.videos, ["/session0", "/session1"])

    def test_other_words_another_user_and_a_changed_file_begin_anew(self):
        self.broken_off()
        for number, how in enumerate((dict(title="U"), dict(uploader=self.uploader(user_id="2"))), 1):
            self.upload(**how)
            self.assertEqual(self.sessions.videos[-1], "/session%d" % number)
        with open(self.path, "ab") as file:
            file.write(b"more")
        self.assertEqual(self.upload()[0].code, FINISHED)
        self.assertEqual(self.sessions.videos[-1], "/session3")

    def test_a_session_that_the_service_has_given_up_costs_nothing_but_the_question(self):
        for status in (400, 404, 410):
            with self.subTest(status):
                self.sessions.reset()
                self.broken_off()
                self.sessions.refuse = status
                end, _ = self.upload(title="T")
                self.assertEqual(self.sessions.asked[0], ("/session0", "*/3000"))
                self.assert_one_video(end, "/session1")

    def test_a_session_that_is_refused_for_now_goes_on_another_time(self):
        self.broken_off()
        for status in (403, 409, 501):
            self.sessions.refuse = status
            end, _ = self.upload()
            self.assertEqual((end.code, end.text), (ERROR, "YouTube: status %d" % status))
        self.sessions.refuse = None
        end, _ = self.upload()
        self.assert_one_video(end)
        self.assertEqual(len(self.sessions.contents), 1)

    def test_a_login_that_is_not_renewed_for_now_says_nothing_of_the_session(self):
        for error in (Refused("another application", 400), Refused("no page", 404), UploadError("no key")):
            with self.subTest(error):
                self.sessions.reset()
                for _ in range(2):
                    with mock.patch.object(youtube.Uploader, "_renew", side_effect=error):
                        uploader = self.uploader(refresh="r")

                    def on_event(event):
                        if event.code == 1:
                            uploader.set_login(replace(uploader.login, expires=1))

                    end, _ = self.upload(uploader, on_event=on_event)
                    self.assertEqual((end.code, end.text), (ERROR, str(error)))
                end, _ = self.upload()
                self.assert_one_video(end)
                self.assertEqual(len(self.sessions.contents), 1)

    def test_two_at_once_do_not_go_on_with_the_same(self):
        self.broken_off()
        hosts = []
        for _ in range(2):
            host = Host()
            uploader = host.attach(self.uploader())
            hosts.append(host)
            uploader.StartUpload(self.path, "T", "", "", "", "")
        self.assertEqual([host.wait_for_end().code for host in hosts], [FINISHED, FINISHED])
        self.assertEqual(sorted(self.sessions.videos), ["/session0", "/session1"])


if __name__ == "__main__":
    unittest.main()
