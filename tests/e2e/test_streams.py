"""Standard streams that are closed, full, or read by nobody."""

import os
import subprocess
import unittest

from harness import BIN, LIMIT, HostTest


class Streams(HostTest):
    def run_with_output(self, output, *arguments):
        done = subprocess.run(
            self.command(*arguments),
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=subprocess.PIPE,
            env=self.env,
            timeout=LIMIT,
            check=False,
        )
        return done.returncode, done.stderr.decode("utf-8")

    def assert_lost(self, output, *arguments):
        code, errors = self.run_with_output(output, *arguments)
        self.assertEqual(code, 1, errors)
        self.assertIn("mediatransfer: the standard output cannot be written", errors)

    def broken_pipe(self):
        read, write = os.pipe()
        os.close(read)
        self.addCleanup(os.close, write)
        return write

    def test_a_pipe_that_nobody_reads_ends_each_command(self):
        self.sign_in()
        video = self.video()
        for form in ((), ("--json",)):
            for command in (
                ("whoami", "youtube"),
                ("albums", "facebook"),
                ("login", "youtube"),
                ("upload", "youtube", video),
                ("sandbox",),
            ):
                with self.subTest(form=form, command=command):
                    self.assert_lost(self.broken_pipe(), *form, "--sandbox", *command)

    def test_help_into_a_pipe_that_nobody_reads(self):
        self.assert_lost(self.broken_pipe(), "--help")

    def test_a_full_disk_behind_the_output_is_told(self):
        self.sign_in()
        with open("/dev/full", "wb") as full:
            self.assert_lost(full, "--json", "--sandbox", "whoami", "youtube")

    def test_nothing_is_uploaded_when_nobody_hears_of_it(self):
        servers = self.start_servers()
        self.sign_in(servers)
        self.assert_lost(self.broken_pipe(), *self.with_servers(servers, "upload", "youtube", self.video()))
        self.assertEqual(servers.uploads(), [])

    def test_closed_streams_leave_files_and_connections_alone(self):
        # Without care the first file that is opened gets the number of the closed stream, and all that is printed.
        closing = 'exec "$0" "$@" <&- >&- 2>&-'
        for command in (("login", "youtube"), ("upload", "youtube", self.video()), ("whoami", "youtube")):
            program = [str(BIN / "mediatransfer"), "--sandbox", *map(str, command)]
            done = subprocess.run(["/bin/sh", "-c", closing, *program], env=self.env, timeout=LIMIT, check=False)
            self.assertEqual(done.returncode, 0, command)
        self.assertEqual(self.run_program("whoami", "youtube").code, 0)


if __name__ == "__main__":
    unittest.main()
