"""What takes long says what it waits for."""

import socket
import unittest

from harness import SignedInTest, wait_until
from scripted import Scripted, make_home


def setUpModule():
    make_home()


class Waiting(SignedInTest):
    def start_stalled(self, route, *arguments):
        """A command whose exchange the servers hold back until they are told to go on."""
        fault = self.servers.fault(route, "stall")
        running = self.start_program(*self.with_servers(self.servers, *arguments))
        wait_until(lambda: self.servers.delivered(fault) == 1, "the stalled exchange")
        return running

    def assert_goes_on(self, running, line):
        running.err.wait_for(lambda one: one == line, line)
        self.servers.ask("faults/release", {})
        result = running.end()
        self.assertEqual(result.code, 0, result)
        self.assertEqual(result.err.splitlines().count(line), 1, result)

    def test_for_the_account_server(self):
        for command in ("verify", "login"):
            with self.subTest(command):
                running = self.start_stalled("clientCredentials", command, "youtube")
                self.assert_goes_on(running, "waiting for the account server")

    def test_for_the_profile_of_a_login(self):
        running = self.start_stalled("youtubeCategories", "login", "youtube")
        self.assert_goes_on(running, "waiting for youtube to complete the login")

    def test_for_an_upload(self):
        running = self.start_stalled("youtubeUploadChunk", "upload", "youtube", self.video())
        self.assert_goes_on(running, "waiting for youtube to take the video; what it refuses is tried again")

    def test_for_a_list(self):
        running = self.start_stalled("facebookAlbums", "albums", "facebook", "--token", "facebook-token-ada")
        self.assert_goes_on(running, "waiting for facebook")

    def test_quiet_and_json_lines_say_nothing_of_it(self):
        albums = ("albums", "facebook", "--token", "facebook-token-ada")
        silent = [self.start_stalled("facebookAlbums", option, *albums) for option in ("--quiet", "--json")]
        # Who began later and has told it shows that the others would have.
        self.assert_goes_on(self.start_stalled("facebookAlbums", *albums), "waiting for facebook")
        for running in silent:
            result = running.end()
            self.assertEqual((result.code, result.err), (0, ""), result)

    def test_for_a_download(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            url = f"http://127.0.0.1:{server.getsockname()[1]}"
            running = self.start_program("download", url + "/x", self.folder / "x")
            connection, _ = server.accept()
            with connection:
                running.err.wait_for(lambda line: line == "waiting for " + url, "the word")
                running.interrupt()
                self.assertEqual(running.end().code, 130)

    def test_for_the_addresses_of_the_doctor(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            config = self.folder / "silent.json"
            config.write_text('{"urlOther": "http://127.0.0.1:%d/"}' % server.getsockname()[1])
            running = self.start_program("--cloud-config", config, "doctor")
            connection, _ = server.accept()
            with connection:
                running.err.wait_for(lambda line: line == "waiting for the addresses to answer", "the word")
                running.interrupt()
                self.assertEqual(running.end().code, 130)


class WaitingScripts(Scripted):
    def test_for_the_service_of_a_script(self):
        servers = self.start_services()
        self.sign_in_there("twitch")
        servers.ask("tokens/expire", {})
        fault = servers.fault("twitchToken", "stall")
        running = self.start_program("verify", "twitch")
        wait_until(lambda: servers.delivered(fault) == 1, "the stalled renewal")
        running.err.wait_for(lambda line: line == "waiting for twitch", "the word")
        servers.ask("faults/release", {})
        self.assertEqual(running.end().code, 0)


if __name__ == "__main__":
    unittest.main()
