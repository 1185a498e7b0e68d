"""Downloads to the standard output."""

import os
import pty
import subprocess
import unittest

from harness import LIMIT, HostTest, opener, wait_until


class StandardOutput(HostTest):
    PICTURE = "/media/pictures/7_640x640.jpg"

    def picture(self, servers):
        with opener.open(servers.url + self.PICTURE) as reply:
            return reply.read()

    def fetch(self, *arguments, **options):
        return subprocess.run(
            self.command(*arguments),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            timeout=LIMIT,
            check=False,
            env=self.env,
            **options,
        )

    def left_behind(self):
        return [path.name for path in self.folder.iterdir() if path.name.startswith("mediatransfer-")]

    def test_has_the_bytes_alone(self):
        servers = self.start_servers()
        for form in ((), ("--json",), ("-q",), ("-v", "-v")):
            done = self.fetch(*form, "download", servers.url + self.PICTURE, "-")
            self.assertEqual((done.returncode, done.stdout), (0, self.picture(servers)), done.stderr)
            told = done.stderr.decode()
            self.assertNotIn("stored in", told)
            self.assertEqual('{"event":"done","exit":0}' in told, form == ("--json",), told)
        self.assertEqual(self.left_behind(), [])

    def test_sends_nothing_of_a_transfer_that_fails(self):
        servers = self.start_servers()
        servers.fault("mediaPicture", "resetAnswerAfter", bytes=1000, times=0)
        for path in (self.PICTURE, "/media/pictures/none.jpg"):
            done = self.fetch("download", servers.url + path, "-")
            self.assertEqual((done.returncode, done.stdout), (1, b""), done.stderr)
            self.assertIn(b"mediatransfer: ", done.stderr)
        self.assertEqual(self.left_behind(), [])

    def test_a_reader_that_takes_no_more_is_told(self):
        servers = self.start_servers()
        read, write = os.pipe()
        os.close(read)
        self.addCleanup(os.close, write)
        result = self.run_command(self.command("-q", "download", servers.url + self.PICTURE, "-"), stdout=write)
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "the standard output cannot be written")
        with open("/dev/full", "wb") as full:
            result = self.run_command(self.command("-q", "download", servers.url + self.PICTURE, "-"), stdout=full)
        self.assertEqual(result.code, 1, result)
        self.assert_one_line(result.err, "the standard output cannot be written")

    def test_ctrl_c_ends_the_wait_for_a_reader(self):
        servers = self.start_servers()
        read, write = os.pipe()
        self.addCleanup(os.close, read)
        url = servers.url + "/media/pictures/1_4096x4096.jpg"
        with subprocess.Popen(
            self.command("download", url, "-"), stdout=write, stderr=subprocess.PIPE, env=self.env
        ) as process:
            os.close(write)
            self.addCleanup(process.kill)
            first = os.read(read, 1)
            process.send_signal(2)
            told = process.stderr.read()
            self.assertEqual((process.wait(LIMIT), first), (130, b"\xff"), told)
        wait_until(lambda: self.left_behind() == [], "the end of the temporary folder")

    def on_terminal(self, *arguments):
        master, slave = pty.openpty()
        self.addCleanup(os.close, master)
        with subprocess.Popen(
            self.command(*arguments), stdin=slave, stdout=slave, stderr=subprocess.PIPE, env=self.env
        ) as process:
            os.close(slave)
            told = process.stderr.read().decode()
            code = process.wait(LIMIT)
        return code, told, master

    def test_a_terminal_is_spared_what_is_no_text(self):
        servers = self.start_servers()
        code, told, _ = self.on_terminal("-q", "download", servers.url + self.PICTURE, "-")
        self.assertEqual(code, 2, told)
        self.assert_one_line(told, "no text", "give a FILE")

    def test_a_terminal_shows_text(self):
        servers = self.start_servers()
        code, told, master = self.on_terminal("-q", "download", servers.url + "/sandbox/uploads", "-")
        self.assertEqual((code, told), (0, ""))
        self.assertEqual(os.read(master, 2), b"[]")


if __name__ == "__main__":
    unittest.main()
