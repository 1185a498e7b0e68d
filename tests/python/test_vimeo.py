"""What is special about Vimeo: its offsets, its errors, its quotas."""

import unittest
from unittest import mock

from pysocialnetwork import vimeo
from pysocialnetwork.errors import TokenInvalid

from platformcase import ERROR, FINISHED, PlatformCase, answer, as_reply
from support import Host, Reply, in_turn, video_file


class Vimeo(PlatformCase):
    module = vimeo

    def tus(self, *moves):
        waiting = list(moves)

        def respond(request):
            if request.method == "POST":
                return as_reply({"uri": "/videos/5", "upload": {"upload_link": server.url + "/tus"}}, 201)
            return Reply(204) if request.method == "DELETE" else waiting.pop(0)

        server = self.serve(respond)
        return server

    @staticmethod
    def at(offset, status=204):
        return Reply(status, b"", {"Upload-Offset": str(offset)})

    def test_the_upload_goes_on_where_the_service_is(self):
        with self.tus(
            self.at(2000), self.at(1000, 409), self.at(1000, 200), self.at(1000, 200), self.at(5000)
        ) as server:
            self.assertEqual(self.upload().text, "https://vimeo.com/5")
            # Whoever has the address may send to it.
            self.assertEqual(self.uploader._mask.over("at " + server.url + "/tus"), "at ***")
            moves = [(r.method, r.headers["Upload-Offset"]) for r in server.requests[1:]]
        self.assertEqual(moves[0], ("PATCH", "0"))
        self.assertEqual(moves[-1], ("PATCH", "1000"))
        self.assertIn(("HEAD", None), moves)

    def test_an_upload_that_is_locked_is_asked_after(self):
        with self.tus(Reply(423), Reply(423), self.at(3000, 200), self.at(5000)) as server:
            self.assertEqual(self.upload().code, FINISHED)
            methods = [request.method for request in server.requests[1:]]
        self.assertEqual(methods, ["PATCH", "HEAD", "HEAD", "PATCH"])

    def test_an_upload_that_is_refused_is_removed(self):
        for status in (400, 404, 410):
            with self.tus(Reply(status), Reply(404)) as server:
                self.assertEqual(self.upload().code, ERROR)
                last = server.requests[-1]
            self.assertEqual((last.method, last.path), ("DELETE", "/vimeoApi/videos/5"))

    def test_an_answer_without_an_offset_is_none(self):
        for reply in (Reply(204), self.at("x"), self.at(-1)):
            with self.tus(reply, self.at(5000)) as server:
                self.assertEqual(self.upload().code, FINISHED)
                self.assertEqual([request.method for request in server.requests], ["POST", "PATCH", "HEAD"])

    def test_a_whole_video_of_which_the_service_tells_nonsense_is_left_there(self):
        for reply in (Reply(204), self.at(6000)):
            with self.tus(*[reply] * 20) as server:
                end = self.upload()
                self.assertEqual(end.code, ERROR)
                self.assertIn("whether the video is out", end.text)
                self.assertNotIn("DELETE", [request.method for request in server.requests])

    def test_an_upload_that_is_over_is_complete_where_the_video_says_so(self):
        complete = as_reply({"upload": {"status": "complete"}})
        for status in (403, 404, 410):
            for moves in ([Reply(status), complete], [Reply(502), Reply(status), complete]):
                with self.tus(*moves) as server:
                    self.assertEqual(self.upload().code, FINISHED)
                    self.assertEqual(server.requests[-1].path, "/vimeoApi/videos/5?fields=upload.status")
            for reply, told in ((as_reply({"upload": {"status": "in_progress"}}), status), (Reply(404), 404)):
                with self.tus(Reply(status), reply):
                    self.assertEqual(self.upload().text, "Vimeo: status %d" % told)
            # What the service does not tell decides nothing, nor does a refusal.
            for reply, text in (
                (as_reply({"upload": []}), "does not tell the video's state"),
                (Reply(403), "status 403"),
            ):
                with self.tus(Reply(502), *[Reply(status), reply] * 9) as server:
                    self.assertIn(text + "; whether the video is out", self.upload().text)
                    self.assertNotIn("DELETE", [request.method for request in server.requests])

    def test_a_refusal_of_an_upload_that_goes_on_is_decided_by_the_video(self):
        in_progress = as_reply({"upload": {"status": "in_progress"}})
        for state, methods in (
            (in_progress, ["HEAD", "GET"]),
            (Reply(404), ["HEAD", "GET", "DELETE", "POST", "PATCH", "PATCH"]),
        ):
            host = Host()
            host.attach(self.uploader)
            moves = [Reply(502)] * 4 + [Reply(403), state, self.at(3000), self.at(5000)]
            chunk = mock.patch.object(vimeo, "CHUNK", 3000)
            with chunk, video_file(5000) as (path, _), self.tus(*moves) as server:
                for number in (1, 2):
                    before = len(server.requests)
                    self.uploader.StartUpload(path, "T", "", "", "", "")
                    end = host.wait_for_end(number)
                self.assertEqual([request.method for request in server.requests[before:]], methods)
            self.assertEqual(end.code, ERROR if state is in_progress else FINISHED, end.text)

    def test_an_upload_that_the_service_tells_as_failed_begins_anew(self):
        failed = as_reply({"upload": {"status": "error"}})
        host = Host()
        host.attach(self.uploader)
        moves = [self.at(3000), Reply(400), Reply(403), failed, self.at(3000), self.at(5000)]
        chunk = mock.patch.object(vimeo, "CHUNK", 3000)
        with chunk, video_file(5000) as (path, _), self.tus(*moves) as server:
            for number in (1, 2):
                before = len(server.requests)
                self.uploader.StartUpload(path, "T", "", "", "", "")
                end = host.wait_for_end(number)
                self.assertEqual(end.code == FINISHED, number == 2, end.text)
            methods = [request.method for request in server.requests[before:]]
        self.assertEqual(methods, ["HEAD", "GET", "DELETE", "POST", "PATCH", "PATCH"])

    def test_a_video_that_was_not_made_at_once_is_made_again(self):
        created = as_reply({"uri": "/videos/5", "upload": {"upload_link": ""}}, 201)
        with self.serve(in_turn(Reply(500), created)) as server:
            self.upload()
            self.assertEqual([request.path for request in server.requests[:2]], ["/vimeoApi/me/videos"] * 2)

    def test_the_upload_address_must_be_as_safe_as_the_service(self):
        created = {"uri": "/videos/5", "upload": {"upload_link": "ftp://x/"}}
        with self.serve(in_turn(as_reply(created, 201))):
            self.assertIn("no URL", self.upload().text)

    def test_the_upload_addresses_of_a_protected_service_are_protected(self):
        unprotected = {"uri": "/videos/5", "upload": {"upload_link": "http://uploads.example/tus"}}
        asked = self.serve_protected(answer(201, unprotected))
        end = self.upload()
        self.assertEqual((end.code, end.text), (ERROR, "url invalid"))
        self.assertEqual(len(asked), 1)

    def test_the_place_of_the_thumbnail_of_a_protected_service_is_protected(self):
        created = {"uri": "/videos/5", "upload": {"upload_link": "https://uploads.example/tus"}}
        slot = {"uri": "/pictures/1", "link": "http://uploads.example/picture"}
        asked = self.serve_protected(
            answer(201, created),
            answer(204, b"", **{"Upload-Offset": "5000"}),
            answer(201, slot),
        )
        with video_file(10, ".png") as (picture, _):
            end = self.upload(thumbnail=picture)
        self.assertEqual(end.text, "https://vimeo.com/5")
        self.assertIn("url invalid", self.uploader.GetLastError())
        self.assertNotIn("http://uploads.example/picture", asked)

    def test_errors_are_told_in_the_services_words(self):
        self.assertIsInstance(vimeo.refusal(answer(401, {"error": "bad token"})), TokenInvalid)
        self.assertEqual(str(vimeo.refusal(answer(400, {"error": "a", "developer_message": "b"}))), "Vimeo: b")
        self.assertEqual(str(vimeo.refusal(answer(500, b"<"))), "Vimeo: status 500")

    def test_quotas_that_are_not_told_are_no_limits(self):
        with self.serve(in_turn(as_reply({}))), self.uploader.calling() as wire:
            account = self.uploader._read_account(wire)
        self.assertEqual((account.hd, account.sd, account.space, account.categories), (True, True, 0, ()))
        quota = {"upload_quota": {"space": {"free": 3 << 20}, "quota": {"hd": False, "sd": True}}}
        with self.serve(in_turn(as_reply(quota))), self.uploader.calling() as wire:
            account = self.uploader._read_account(wire)
        self.assertEqual((account.hd, account.sd, account.space), (False, True, 3))


if __name__ == "__main__":
    unittest.main()
