"""Ctrl-C: the first ends through the interface, a second one at once."""

import time
import unittest

from harness import HostTest, wait_until

MIB = 1024 * 1024


class Interrupt(HostTest):
    def test_ends_a_login_that_waits_for_the_browser(self):
        running = self.start_program("--sandbox", "--consent", "ask", "--json", "login", "youtube", "--no-browser")
        running.wait_for_event("login_url")
        running.interrupt()
        self.assert_ends(running.end(limit=30), 130)

    def test_stops_an_upload_between_two_chunks(self):
        servers = self.start_servers()
        self.sign_in(servers)
        fault = servers.fault("youtubeUploadChunk", "slowAnswer", delay=1000, times=0)
        running = self.start_program(*self.with_servers(servers, "--json", "upload", "youtube", self.video(24 * MIB)))
        running.wait_for_event("progress")
        running.interrupt()
        begin = time.monotonic()
        self.assert_ends(running.end(), 130)
        self.assertLess(time.monotonic() - begin, 34)

        self.assertGreaterEqual(servers.delivered(fault), 1)
        (upload,) = servers.uploads()
        self.assertFalse(upload["complete"])
        chunks = len(servers.requests("youtubeUploadChunk"))
        self.assertLess(chunks, 12)

    def test_second_one_ends_at_once(self):
        servers = self.start_servers()
        self.sign_in(servers)
        servers.fault("youtubeUploadChunk", "stall", nth=2, times=0)
        running = self.start_program(*self.with_servers(servers, "upload", "youtube", self.video(24 * MIB)))
        wait_until(lambda: len(servers.requests("youtubeUploadChunk")) == 2, "the stalled chunk")
        running.interrupt()
        running.out.wait_for(lambda line: line.startswith("stopping"), "the word that it stops")
        begin = time.monotonic()
        running.interrupt()
        self.assertEqual(running.end().code, 130)
        self.assertLess(time.monotonic() - begin, 20)

    def test_waits_35_seconds_at_most_for_a_stalled_chunk(self):
        servers = self.start_servers()
        self.sign_in(servers)
        servers.fault("youtubeUploadChunk", "stall", times=0)
        running = self.start_program(*self.with_servers(servers, "--json", "upload", "youtube", self.video(24 * MIB)))
        wait_until(lambda: servers.requests("youtubeUploadChunk"), "the stalled chunk")
        begin = time.monotonic()
        running.interrupt()
        self.assert_ends(running.end(), 130)
        self.assertLess(time.monotonic() - begin, 60)


if __name__ == "__main__":
    unittest.main()
