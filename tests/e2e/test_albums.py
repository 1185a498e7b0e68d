"""Albums that are fetched into a folder: names, manifest, failures, stops."""

import json
import re
import unittest

from harness import HostTest, sha256_of, wait_until

FLICKR = ("--key", "flickr-application-key", "--secret", "flickr-application-secret", "--token", "|flickr-token-ada")
INSTAGRAM = ("--token", "instagram-token-ada")
VIDEOS = ("--album", "FACEBOOK_VIDEO", "--token", "facebook-token-ada")


class Albums(HostTest):
    def setUp(self):
        super().setUp()
        self.servers = self.start_servers()
        self.target = self.folder / "album"

    def arguments(self, service, *options):
        return ["--cloud-config", self.servers.config, "media", service, "--download", self.target, *options]

    def fetch(self, service, *options):
        return self.run_program("--json", *self.arguments(service, *options))

    def manifest(self):
        whole = json.loads((self.target / "mediatransfer-manifest.json").read_text())
        self.assertEqual(whole["version"], 1)
        return {entry["id"]: entry for entry in whole["entries"]}

    def files(self):
        return sorted(path.name for path in self.target.iterdir() if path.name != "mediatransfer-manifest.json")

    def count(self, result, **expected):
        counted = result.named("album_done")
        self.assertEqual(len(counted), 1, result)
        self.assertEqual({key: counted[0][key] for key in expected}, expected, result)

    def assert_whole(self, stored):
        """Each file that the manifest calls stored is the one of its address."""
        entries = [entry for entry in self.manifest().values() if entry["status"] == "stored"]
        self.assertEqual(len(entries), stored)
        for entry in entries:
            path = self.target / entry["name"]
            described = self.servers.ask("media/" + entry["address"].rsplit("/", 1)[1])
            self.assertEqual((path.stat().st_size, sha256_of(path)), (entry["size"], described["sha256"]), entry)
        self.assertEqual(self.files(), sorted(entry["name"] for entry in entries))

    def test_each_service(self):
        for service, options, stored, unaddressed in (
            ("facebook", VIDEOS, 14, 0),
            ("flickr", FLICKR, 124, 13),
            ("instagram", INSTAGRAM, 75, 0),
        ):
            with self.subTest(service=service):
                self.target = self.folder / service / "deep"
                result = self.fetch(service, *options)
                self.assert_ends(result, 0)
                self.count(result, stored=stored, failed=0, there=0, unaddressed=unaddressed)
                self.assert_whole(stored)

    def test_one_failure_is_told_and_mended_by_the_next_call(self):
        for service, options, route, stored in (
            ("facebook", VIDEOS, "mediaVideo", 14),
            ("flickr", FLICKR, "mediaPicture", 124),
            ("instagram", INSTAGRAM, "mediaPicture", 75),
        ):
            for kind, members, part in (
                ("status", {"code": 503, "text": "no"}, "HTTP status 503"),
                ("resetAnswerAfter", {"bytes": 100}, "the transfer failed"),
            ):
                with self.subTest(service=service, kind=kind):
                    self.target = self.folder / (service + kind)
                    fault = self.servers.fault(route, kind, nth=3, **members)
                    plain = self.run_program("-q", *self.arguments(service, *options, "--jobs", 1))
                    self.assertEqual(plain.code, 1, plain)
                    self.assertEqual(self.servers.delivered(fault), 1)
                    self.assert_one_line(plain.err, part)
                    self.assertRegex(plain.out, rf"^{stored - 1} of \d+ entries stored in .*, 1 failed")
                    failed = [entry for entry in self.manifest().values() if entry["status"] == "failed"]
                    self.assertEqual(len(failed), 1)
                    self.assertTrue(plain.err.startswith(f"mediatransfer: {failed[0]['name']}: "), plain)
                    self.assert_whole(stored - 1)

                    again = self.fetch(service, *options)
                    self.assert_ends(again, 0)
                    self.count(again, stored=1, there=stored - 1, failed=0)
                    self.assert_whole(stored)

    def test_failure_in_json_lines(self):
        self.servers.fault("mediaVideo", "status", code=404, text="gone")
        result = self.fetch("facebook", *VIDEOS)
        self.assert_ends(result, 1)
        self.count(result, stored=13, failed=1)
        place = result.events.index(result.named("error")[0])
        self.assertEqual(
            result.events[place], {"event": "error", "code": 10, "text": "HTTP status 404", "cause": "refused"}
        )
        self.assertEqual(result.events[place + 1]["status"], "failed")

    def test_what_is_there_is_left_alone(self):
        self.assert_ends(self.fetch("facebook", *VIDEOS), 0)
        asked = len(self.servers.requests("mediaVideo"))
        result = self.fetch("facebook", *VIDEOS)
        self.count(result, stored=0, there=14)
        self.assertEqual({entry["status"] for entry in result.named("fetched")}, {"there"})
        self.assertEqual(len(self.servers.requests("mediaVideo")), asked)

    def test_what_has_gone_or_has_another_size_is_fetched_again(self):
        self.assert_ends(self.fetch("facebook", *VIDEOS), 0)
        names = self.files()
        (self.target / names[0]).unlink()
        (self.target / names[1]).write_bytes(b"torn")
        self.count(self.fetch("facebook", *VIDEOS), stored=2, there=12)
        self.assert_whole(14)

    def test_files_of_others_are_never_replaced(self):
        self.target.mkdir()
        (self.target / "30100000000000.MP4").write_text("mine")
        result = self.fetch("facebook", *VIDEOS)
        self.assert_ends(result, 0)
        own = self.target / "30100000000000.MP4"
        self.assertEqual(own.read_text(), "mine")
        own.unlink()
        self.assert_whole(14)

    def test_a_file_that_came_in_place_of_a_failed_one_is_not_replaced(self):
        self.servers.fault("mediaVideo", "status", nth=3, code=503, text="no")
        self.assertEqual(self.fetch("facebook", *VIDEOS).code, 1)
        failed = [entry for entry in self.manifest().values() if entry["status"] == "failed"]
        self.assertEqual(len(failed), 1)
        own = self.target / failed[0]["name"]
        own.write_text("mine")
        self.count(self.fetch("facebook", *VIDEOS), stored=1, there=13)
        self.assertEqual(own.read_text(), "mine")
        own.unlink()
        self.assert_whole(14)

    def test_the_longest_names_are_known_again(self):
        template = "a" * 300 + ".{ext}"
        self.assert_ends(self.fetch("facebook", *VIDEOS, "--name-template", template), 0)
        self.count(self.fetch("facebook", *VIDEOS, "--name-template", template), stored=0, there=14)
        self.assert_whole(14)

    def test_names_by_template(self):
        self.assert_ends(self.fetch("facebook", *VIDEOS, "--name-template", "{index} {type}.{ext}"), 0)
        self.assertEqual(self.files(), [f"{number:02} video.mp4" for number in range(1, 15)])
        ids = list(self.manifest())

        self.target = self.folder / "ids"
        self.assert_ends(self.fetch("facebook", *VIDEOS, "--name-template", "{id}"), 0)
        self.assertEqual(self.files(), sorted(ids))

    def test_names_that_are_alike_are_numbered(self):
        self.assert_ends(self.fetch("facebook", *VIDEOS, "--name-template", "clip.{ext}"), 0)
        self.assertEqual(self.files(), sorted(["clip.mp4"] + [f"clip ({number}).mp4" for number in range(2, 15)]))
        self.assert_whole(14)

    def test_manifest_of_somebody_else_leads_nowhere(self):
        self.assert_ends(self.fetch("facebook", *VIDEOS), 0)
        path = self.target / "mediatransfer-manifest.json"
        whole = json.loads(path.read_text())
        whole["entries"][0]["name"] = "../outside.mp4"
        path.write_text(json.dumps(whole))
        self.assertEqual(self.fetch("facebook", *VIDEOS).code, 0)
        self.assertFalse((self.folder / "outside.mp4").exists())

    def test_a_manifest_that_cannot_be_read_is_told_before_anything_is_asked(self):
        self.target.mkdir()
        for text in ("{", "[]", '{"version": 99, "entries": []}', '{"version": 1}', ""):
            (self.target / "mediatransfer-manifest.json").write_text(text)
            result = self.run_program(*self.arguments("facebook", *VIDEOS))
            self.assertEqual(result.code, 1, result)
            self.assert_one_line(result.err, "the manifest", "cannot be read")
        self.assertEqual(self.servers.requests("facebookVideos"), [])

    def test_several_at_once_and_no_more(self):
        self.servers.fault("mediaPicture", "slowAnswer", delay=100, times=0)
        running = self.start_program("--json", *self.arguments("instagram", *INSTAGRAM, "--jobs", 3))
        most = 0

        def all_come():
            nonlocal most
            most = max(most, len(list(self.servers_connections())))
            return running.process.poll() is not None

        wait_until(all_come, "the end")
        self.assert_ends(running.end(), 0)
        self.assertIn(most, (3, 4))

    def servers_connections(self):
        """Open connections to the stand-ins, as the kernel lists them."""
        port = f":{self.servers.port:04X}"
        with open("/proc/net/tcp", encoding="ascii") as table:
            for line in table:
                fields = line.split()
                if fields[2].endswith(port) and fields[3] == "01":
                    yield fields

    def test_ctrl_c_keeps_what_came(self):
        self.servers.fault("mediaVideo", "stallAnswerAfter", bytes=100, nth=6, times=0)
        running = self.start_program("--json", *self.arguments("facebook", *VIDEOS))
        for _ in range(5):
            running.wait_for_event("fetched", status="stored")
        running.interrupt()
        result = running.end()
        self.assert_ends(result, 130)
        self.count(result, stored=5, failed=0)
        self.assert_whole(5)
        statuses = [entry["status"] for entry in self.manifest().values()]
        self.assertEqual(statuses.count("pending"), 14 - 5)

    def test_a_process_that_is_killed_knows_its_files_again(self):
        self.servers.fault("mediaVideo", "stallAnswerAfter", bytes=100, nth=6, times=0)
        running = self.start_program("--json", *self.arguments("facebook", *VIDEOS))
        for _ in range(5):
            running.wait_for_event("fetched", status="stored")
        running.process.kill()
        running.process.wait()
        self.servers.ask("faults/clear", {})
        self.assert_ends(self.fetch("facebook", *VIDEOS), 0)
        self.assert_whole(14)

    def test_a_list_that_breaks_off_fetches_nothing(self):
        self.servers.fault("instagramMedia", "status", code=500, text="{}", nth=2)
        result = self.fetch("instagram", *INSTAGRAM)
        self.assert_ends(result, 1)
        self.assertEqual(self.servers.requests("mediaPicture"), [])
        self.assertFalse(self.target.exists())

    def test_dry_run_tells_names_and_fetches_nothing(self):
        plain = self.run_program(*self.arguments("facebook", *VIDEOS, "--dry-run"))
        self.assertEqual((plain.code, plain.complaints), (0, ""), plain)
        self.assertEqual(len(re.findall(r"^would fetch \d+\.mp4$", plain.out, re.MULTILINE)), 14, plain)
        self.assertEqual(plain.out.splitlines()[-1], f"14 of 14 entries would be fetched into {self.target}")
        self.assertFalse(self.target.exists())
        self.assertEqual(self.servers.requests("mediaVideo"), [])

        self.assert_ends(self.fetch("facebook", *VIDEOS), 0)
        (self.target / self.files()[0]).unlink()
        before = self.manifest()
        dry = self.fetch("facebook", *VIDEOS, "--dry-run")
        self.assert_ends(dry, 0)
        self.assertEqual([entry["status"] for entry in dry.named("fetched")], ["planned"] + ["there"] * 13)
        self.assertEqual((self.manifest(), len(self.files())), (before, 13))

    def test_tells_people_how_far_it_is(self):
        result = self.run_program(*self.arguments("facebook", *VIDEOS))
        lines = result.out.splitlines()
        self.assertEqual(lines[0], "14 entries")
        self.assertRegex(lines[-2], r"^14 of 14 done, \d+\.\d KiB$")
        self.assertEqual(lines[-1], f"14 of 14 entries stored in {self.target}")

    def test_no_secret_stands_in_the_manifest(self):
        self.assert_ends(self.fetch("flickr", *FLICKR), 0)
        text = (self.target / "mediatransfer-manifest.json").read_text()
        for secret in ("flickr-token-ada", "flickr-application", "?"):
            self.assertNotIn(secret, text)

    def test_wrong_use(self):
        for options, code, part in (
            (("--name-template", "{titel}"), 2, "did you mean title?"),
            (("--name-template", "a/{id}"), 2, "leads out of the folder"),
            (("--jobs", "0"), 2, "--jobs"),
            (("--jobs", "17"), 2, "--jobs"),
        ):
            result = self.run_program(*self.arguments("facebook", *VIDEOS, *options))
            self.assertEqual(result.code, code, result)
            self.assert_one_line(result.err, part)
        for options in (("--jobs", "2"), ("--name-template", "{id}"), ("--dry-run",)):
            result = self.run_program("media", "facebook", *VIDEOS, *options)
            self.assertEqual(result.code, 2, result)
            self.assert_one_line(result.err, "--download")
        self.target.write_text("a file")
        result = self.run_program(*self.arguments("facebook", *VIDEOS))
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "takes no files")


if __name__ == "__main__":
    unittest.main()
