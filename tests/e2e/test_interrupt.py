"""Ctrl-C: the first ends through the interface, a second one at once."""

import pathlib
import signal
import subprocess
import time
import unittest

from harness import HostTest, SignedInTest, wait_until

MIB = 1024 * 1024


class InterruptOfALogin(HostTest):
    def test_ends_a_login_that_waits_for_the_browser(self):
        running = self.start_program("--sandbox", "--consent", "ask", "--json", "login", "youtube", "--no-browser")
        running.wait_for_event("login_url")
        running.interrupt()
        self.assert_ends(running.end(limit=30), 130)


class InterruptOfAQuestion(HostTest):
    def test_ends_the_wait_for_a_value(self):
        self.own_options()
        running = self.start_program("config", "set", "app-secret", "-", stdin=subprocess.PIPE)
        status = pathlib.Path("/proc/%d/status" % running.process.pid)

        def is_watching():
            (caught,) = [line for line in status.read_text().splitlines() if line.startswith("SigCgt:")]
            return int(caught.split()[1], 16) >> (signal.SIGINT - 1) & 1

        wait_until(is_watching, "the program's own end")
        running.interrupt()
        result = running.end(limit=30)
        self.assertEqual(result.code, 130, result)
        self.assert_one_line(result.err, "stopped while the value was waited for")


class InterruptOfAnUpload(SignedInTest):
    def test_stops_an_upload_between_two_chunks(self):
        fault = self.servers.fault("youtubeUploadChunk", "slowAnswer", delay=1000, times=0)
        running = self.start_upload(self.video(24 * MIB), "--json")
        running.wait_for_event("progress")
        running.interrupt()
        begin = time.monotonic()
        self.assert_ends(running.end(), 130)
        self.assertLess(time.monotonic() - begin, 34)

        self.assertGreaterEqual(self.servers.delivered(fault), 1)
        (upload,) = self.servers.uploads()
        self.assertFalse(upload["complete"])
        chunks = len(self.servers.requests("youtubeUploadChunk"))
        self.assertLess(chunks, 12)

    def test_second_one_ends_at_once(self):
        self.servers.fault("youtubeUploadChunk", "stall", nth=2, times=0)
        running = self.start_upload(self.video(24 * MIB))
        wait_until(lambda: len(self.servers.requests("youtubeUploadChunk")) == 2, "the stalled chunk")
        running.interrupt()
        running.out.wait_for(lambda line: line.startswith("stopping"), "the word that it stops")
        begin = time.monotonic()
        running.interrupt()
        self.assertEqual(running.end().code, 130)
        self.assertLess(time.monotonic() - begin, 20)

    def test_waits_35_seconds_at_most_for_a_stalled_chunk(self):
        self.servers.fault("youtubeUploadChunk", "stall", times=0)
        running = self.start_upload(self.video(24 * MIB), "--json")
        wait_until(lambda: self.servers.requests("youtubeUploadChunk"), "the stalled chunk")
        begin = time.monotonic()
        running.interrupt()
        self.assert_ends(running.end(), 130)
        self.assertLess(time.monotonic() - begin, 60)


if __name__ == "__main__":
    unittest.main()
