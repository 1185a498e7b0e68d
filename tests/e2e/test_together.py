"""Commands that run at the same time on one login, whose refresh token is good once."""

import concurrent.futures
import os
import unittest

from harness import SignedInTest, wait_until
from scripted import Scripted, make_home

PROCESSES = int(os.environ.get("KBL_E2E_PROCESSES", "4"))
ROUNDS = int(os.environ.get("KBL_E2E_ROUNDS", "4"))


def setUpModule():
    make_home()


class Together(SignedInTest):
    def verify(self, *options):
        return self.run_program(*self.with_servers(self.servers, *options, "verify", "youtube"))

    def assert_all_good(self, calls):
        with concurrent.futures.ThreadPoolExecutor(PROCESSES) as pool:
            for result in pool.map(lambda call: call(), calls):
                self.assertEqual((result.code, result.complaints), (0, ""), result)

    def test_no_login_is_lost(self):
        self.assert_all_good([self.verify] * (PROCESSES * ROUNDS))
        renewals = [request["status"] for request in self.servers.requests("token")]
        self.assertEqual(renewals, [200] * (PROCESSES * ROUNDS))
        self.assertEqual(self.verify().code, 0)

    def test_uploads_at_once(self):
        video = self.video()
        upload = self.with_servers(self.servers, "upload", "youtube", video)
        self.assert_all_good([lambda: self.run_program(*upload)] * PROCESSES + [self.verify] * PROCESSES)
        self.assertEqual(len([upload for upload in self.servers.uploads() if upload["complete"]]), PROCESSES)
        self.assertEqual(self.verify().code, 0)

    def hold(self):
        """A command that holds the login until its stalled renewal goes on."""
        fault = self.servers.fault("token", "stall")
        holder = self.start_program(*self.with_servers(self.servers, "--json", "verify", "youtube"))
        wait_until(lambda: self.servers.delivered(fault) == 1, "the stalled renewal")
        return holder

    def test_second_command_says_that_it_waits(self):
        holder = self.hold()
        second = self.start_program(*self.with_servers(self.servers, "verify", "youtube"))
        second.out.wait_for(lambda line: line == "waiting for another command that uses the login", "the word")
        self.assertEqual(len(self.servers.requests("token")), 1)
        self.servers.ask("faults/release", {})
        self.assert_ends(holder.end(), 0)
        self.assertEqual(second.end().code, 0)

    def test_ctrl_c_ends_the_wait(self):
        holder = self.hold()
        second = self.start_program(*self.with_servers(self.servers, "verify", "youtube"))
        second.out.wait_for(lambda line: line.startswith("waiting for"), "the word")
        second.interrupt()
        self.assertEqual(second.end().code, 130)
        self.servers.ask("faults/release", {})
        self.assert_ends(holder.end(), 0)

    def test_killed_command_leaves_no_lock(self):
        self.hold().kill()
        self.assertEqual(self.verify().code, 0)

    def test_looking_at_a_login_waits_for_nobody(self):
        holder = self.hold()
        result = self.run_program("--json", "whoami", "youtube")
        self.assertEqual(result.named("user")[0]["user"], self.user)
        self.assertIsNone(holder.process.poll())

    def test_upload_holds_the_login_only_while_it_is_renewed(self):
        fault = self.servers.fault("youtubeUploadChunk", "stall")
        running = self.start_program(*self.with_servers(self.servers, "--json", "upload", "youtube", self.video()))
        wait_until(lambda: self.servers.delivered(fault) == 1, "the stalled chunk")
        self.assertEqual(self.verify().code, 0)
        self.servers.ask("faults/release", {})
        self.assert_ends(running.end(), 0)
        self.assertEqual(self.verify().code, 0)

    def test_upload_holds_the_login_until_its_last_word_about_it_is_stored(self):
        # The first account token is the verification's, the second the upload's own.
        fault = self.servers.fault("clientCredentials", "stall", nth=2)
        running = self.start_program(*self.with_servers(self.servers, "--json", "upload", "youtube", self.video()))
        wait_until(lambda: self.servers.delivered(fault) == 1, "the stalled account token")
        second = self.start_program(*self.with_servers(self.servers, "verify", "youtube"))
        second.out.wait_for(lambda line: line.startswith("waiting for"), "the word")
        self.servers.ask("faults/release", {})
        self.assert_ends(running.end(), 0)
        self.assertEqual(second.end().code, 0)
        self.assertEqual(self.verify().code, 0)

    def test_upload_that_learns_nothing_lets_go_of_the_login(self):
        self.servers.fault("clientCredentials", "replaceMember", nth=2, path="data", text="[]")
        running = self.start_program(*self.with_servers(self.servers, "--json", "upload", "youtube", self.video()))
        wait_until(lambda: len(self.servers.requests("clientCredentials")) == 2, "the account token")
        self.assertEqual(self.verify().code, 0)
        self.assertIsNone(running.process.poll())


class ScriptsTogether(Scripted):
    def test_no_login_is_lost(self):
        servers = self.start_services()
        self.sign_in_there("twitch")
        for _ in range(2):
            servers.ask("tokens/expire", {})
            with concurrent.futures.ThreadPoolExecutor(PROCESSES) as pool:
                for result in pool.map(lambda _: self.run_program("verify", "twitch"), range(PROCESSES)):
                    self.assertEqual((result.code, result.complaints), (0, ""), result)

    def test_login_stored_during_an_upload_stays(self):
        servers = self.start_services()
        self.sign_in_there("twitch")
        fault = servers.fault("twitchVideos", "stall")
        running = self.start_program("--json", "upload", "twitch", self.video())
        wait_until(lambda: servers.delivered(fault) == 1, "the stalled upload")
        servers.ask("tokens/expire", {})
        self.sign_in_there("twitch")
        stored = self.kept_login("twitch").read_bytes()
        servers.ask("faults/release", {})
        self.assert_ends(running.end(), 0)
        renewed = [request["status"] for request in servers.requests("twitchToken")]
        self.assertEqual(renewed, [200, 200, 200], "two logins, and the upload's own renewal")
        self.assertEqual(self.kept_login("twitch").read_bytes(), stored)


if __name__ == "__main__":
    unittest.main()
