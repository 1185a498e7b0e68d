"""Listings and downloads of Facebook, Flickr and Instagram, good and bad."""

import http.server
import threading
import unittest

from harness import HostTest, opener, sha256_of, told, wait_until

MEBI = 1024 * 1024


class UnknownSize(http.server.BaseHTTPRequestHandler):
    """Answers with five MiB and does not say so beforehand."""

    protocol_version = "HTTP/1.1"

    def do_GET(self):
        self.send_response(200)
        self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()
        for _ in range(5):
            self.wfile.write(b"%x\r\n" % MEBI + bytes(MEBI) + b"\r\n")
        self.wfile.write(b"0\r\n\r\n")

    def log_message(self, *arguments):
        pass


FLICKR = ("--key", "flickr-application-key", "--secret", "flickr-application-secret")


class Media(HostTest):
    def with_media(self, servers, *arguments):
        return ["--cloud-config", servers.config, *arguments]

    def listed(self, servers, *arguments):
        result = self.run_program(*self.with_media(servers, "--json", *arguments))
        self.assert_ends(result, 0)
        return result.events[:-1]

    def test_albums_of_facebook(self):
        servers = self.start_servers()
        albums = self.listed(servers, "albums", "facebook", "--token", "facebook-token-ada")
        self.assertEqual(len(albums), 58)
        self.assertEqual(albums[2], {"event": "album", "id": "10100200000000", "name": "Zürich", "more": 1})
        self.assertEqual(albums[-1], {"event": "album", "id": "FACEBOOK_VIDEO", "name": "VIDEOS", "more": 0})

    def test_photos_of_an_album(self):
        servers = self.start_servers()
        album = self.listed(servers, "albums", "facebook", "--token", "facebook-token-bruno")[0]["id"]
        media = self.listed(servers, "media", "facebook", "--album", album, "--token", "facebook-token-bruno")
        self.assertEqual(len(media), 5)
        self.assertEqual(media[0]["type"], 0)
        self.assertTrue(media[0]["url"].endswith("_960x720.jpg"))
        self.assertEqual(media[-1], {"event": "media", "type": 0, "url": "", "thumbnail": "", "more": 0})

    def test_videos_of_facebook(self):
        servers = self.start_servers()
        media = self.listed(servers, "media", "facebook", "--album", "FACEBOOK_VIDEO", "--token", "facebook-token-ada")
        self.assertEqual([entry["type"] for entry in media[:-1]], [1] * 14)

    def test_flickr_under_both_signatures(self):
        servers = self.start_servers()
        new = self.listed(servers, "media", "flickr", *FLICKR, "--token", "flickr-token-ada|flickr-secret-ada")
        old = self.listed(servers, "media", "flickr", *FLICKR, "--token", "|flickr-token-ada")
        self.assertEqual(len(new), 138)
        self.assertEqual(old, new)
        requests = servers.requests("flickrPhotos")
        self.assertEqual(sum("oauth_signature=" in request["target"] for request in requests), 3)
        self.assertEqual(sum("api_sig=" in request["target"] for request in requests), 3)

    def test_instagram(self):
        servers = self.start_servers()
        media = self.listed(servers, "media", "instagram", "--token", "instagram-token-ada")
        self.assertEqual(len(media), 76)
        self.assertEqual(sum(entry["type"] for entry in media), 15)

    def test_inside_the_process_with_the_stand_ins_own_tokens(self):
        for command, count in ((("albums", "facebook"), 58), (("media", "flickr"), 138), (("media", "instagram"), 76)):
            result = self.run_program("--sandbox", "--json", *command)
            self.assert_ends(result, 0)
            self.assertEqual(len(result.events), count + 1)

    def test_tables_for_people(self):
        servers = self.start_servers()
        albums = self.run_program(*self.with_media(servers, "albums", "facebook", "--token", "facebook-token-bruno"))
        self.assertEqual(albums.code, 0, albums)
        self.assertEqual(
            albums.out.splitlines(),
            [
                "ALBUM               NAME",
                "10200000000000      Holidays",
                "10200100000000      Garden & House",
                "10200200000000      Zürich",
                "FACEBOOK_VIDEO      VIDEOS",
                "4 albums",
            ],
        )
        nothing = self.run_program(*self.with_media(servers, "media", "instagram", "--token", "instagram-token-mei"))
        self.assertEqual((nothing.code, nothing.out), (0, "0 entries\n"))

    def test_token_from_a_file_or_the_environment(self):
        servers = self.start_servers()
        file = self.folder / "token"
        file.write_text("instagram-token-ada\n")
        self.assertEqual(len(self.listed(servers, "media", "instagram", "--token", f"@{file}")), 76)
        result = self.run_program(
            *self.with_media(servers, "--json", "media", "instagram"),
            env={"MEDIATRANSFER_TOKEN": "instagram-token-ada"},
        )
        self.assert_ends(result, 0)

    def test_download_is_the_file_that_was_listed(self):
        servers = self.start_servers()
        media = self.listed(servers, "media", "flickr", *FLICKR, "--token", "|flickr-token-ada")
        target = self.folder / "Bild ü.jpg"
        result = self.run_program(*self.with_media(servers, "--json", "download", media[0]["url"], target))
        self.assert_ends(result, 0)
        described = servers.ask("media/" + media[0]["url"].rsplit("/", 1)[1])
        self.assertEqual(sha256_of(target), described["sha256"])
        last = result.named("progress")[-1]
        self.assertEqual(
            last, {"event": "progress", "bytes": described["size"], "total": described["size"], "finished": 1}
        )

    def test_download_for_people(self):
        target = self.folder / "video.mp4"
        result = self.run_program("--sandbox", "download", "/media/videos/7.mp4", target)
        self.assertEqual(result.code, 0, result)
        self.assertRegex(result.out.splitlines()[0], r"^100% of 57\.\d KiB")
        self.assertEqual(result.out.splitlines()[-1], f"stored in {told(target)}")
        self.assertEqual(target.read_bytes()[4:8], b"ftyp")

    def test_download_of_an_error_status_fails_and_leaves_the_former_file(self):
        servers = self.start_servers()
        target = self.folder / "x.jpg"
        target.write_text("former")
        missing = servers.url + "/media/pictures/none.jpg"
        plain = self.run_program("download", missing, target)
        self.assertEqual(plain.code, 1, plain)
        self.assert_one_line(plain.err, "HTTP status 404", "check the address", "--keep-errors")
        self.assertEqual(target.read_text(), "former")
        lines = self.run_program("--json", "download", missing, target)
        self.assert_ends(lines, 1)
        self.assertEqual(
            lines.named("error"), [{"event": "error", "code": 10, "text": "HTTP status 404", "cause": "refused"}]
        )

        kept = self.run_program("download", missing, target, "--keep-errors")
        self.assertEqual(kept.code, 0, kept)
        self.assertNotEqual(target.read_text(), "former")

    def test_download_without_any_configuration(self):
        servers = self.start_servers()
        target = self.folder / "picture.jpg"
        result = self.run_program("download", servers.url + "/media/pictures/7_64x64.jpg", target)
        self.assertEqual(result.code, 0, result)
        with opener.open(servers.url + "/media/pictures/7_64x64.jpg") as reply:
            self.assertEqual(target.read_bytes(), reply.read())

    def test_wrong_token(self):
        servers = self.start_servers()
        for command, code in (
            (("albums", "facebook"), 190),
            (("media", "facebook", "--album", "1"), 190),
            (("media", "flickr", *FLICKR), 98),
            (("media", "instagram"), 400),
        ):
            result = self.run_program(*self.with_media(servers, "--json", *command, "--token", "wrong|x"))
            self.assert_ends(result, 1)
            self.assertEqual(result.named("error")[0]["code"], code)
            plain = self.run_program(*self.with_media(servers, *command, "--token", "wrong|x"))
            self.assertEqual(plain.code, 1, plain)
            self.assert_one_line(plain.err, "the service said no", str(code), "--token")

    def test_dead_server_and_unwritable_file(self):
        servers = self.start_servers()
        picture = servers.url + "/media/pictures/7_64x64.jpg"
        result = self.run_program("download", picture, self.folder / ("x" * 300))
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "Image save path open error.", "check the folder")
        servers.stop()
        result = self.run_program("download", picture, self.folder / "x.jpg")
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "Couldn't connect to server", "check the network")
        self.assertFalse((self.folder / "x.jpg").exists())

    def test_target_is_looked_at_before_anything_is_fetched(self):
        servers = self.start_servers()
        picture = servers.url + "/media/pictures/7_64x64.jpg"
        for target, code, part in (
            (self.folder / "missing" / "x.jpg", 1, "make it first"),
            (self.folder, 1, "is a folder"),
            ("", 2, "FILE is empty"),
        ):
            result = self.run_program("download", picture, target)
            self.assertEqual(result.code, code, result)
            self.assert_one_line(result.err, part)
        self.assertEqual(servers.requests("mediaPicture"), [])

    def test_download_of_unknown_size(self):
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), UnknownSize)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        target = self.folder / "file"
        result = self.run_program("download", f"http://127.0.0.1:{server.server_port}/file", target)
        self.assertEqual(result.code, 0, result)
        *amounts, last = result.out.splitlines()
        self.assertRegex(amounts[-1], r"^5\.0 MiB, \d+\.\d [KMG]iB/s$")
        self.assertLessEqual(len(amounts), 4)
        self.assertEqual(last, f"stored in {told(target)}")
        self.assertEqual(target.stat().st_size, 5 * MEBI)

    def test_wrong_use(self):
        for command, part in (
            (("albums", "facebook"), "--token"),
            (("media", "facebook", "--token", "t"), "--album"),
            (("media", "flickr", "--token", "t"), "--key"),
            (("media", "flickr", "--token", "t", "--key", "k"), "--secret"),
            (("media", "vimeo"), "vimeo"),
            (("albums", "flickr"), "flickr"),
        ):
            result = self.run_program(*command)
            self.assertEqual(result.code, 2, result)
            self.assert_one_line(result.err, part)

    def test_ctrl_c_stops_a_stalled_list(self):
        servers = self.start_servers()
        servers.fault("facebookAlbums", "stall")
        running = self.start_program(
            *self.with_media(servers, "--json", "albums", "facebook", "--token", "facebook-token-ada")
        )
        self.wait_for_requests(servers, "facebookAlbums", 1)
        running.interrupt()
        result = running.end()
        self.assert_ends(result, 130)
        self.assertEqual(len(result.events), 1)

    def test_ctrl_c_stops_a_stalled_download(self):
        servers = self.start_servers()
        servers.fault("mediaPicture", "stallAnswerAfter", bytes=1000)
        target = self.folder / "x.jpg"
        running = self.start_program("download", servers.url + "/media/pictures/7_640x640.jpg", target)
        running.out.wait_for(lambda line: "% of" in line, "a first amount")
        running.interrupt()
        result = running.end()
        self.assertEqual(result.code, 130, result)
        self.assertEqual(result.out.splitlines()[-1], "stopped")
        self.assertFalse(target.exists())

    def wait_for_requests(self, servers, route, count):
        wait_until(lambda: len(servers.requests(route)) >= count, f"{count} requests of {route}")


if __name__ == "__main__":
    unittest.main()
