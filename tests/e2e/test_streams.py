"""Standard streams that are closed, full, or read by nobody."""

import os
import unittest

from harness import HostTest


class Streams(HostTest):
    def assert_lost(self, output, *arguments):
        result = self.run_command(self.command(*arguments), stdout=output)
        self.assertEqual(result.code, 1, result)
        self.assertIn("mediatransfer: the standard output cannot be written", result.err)

    def broken_pipe(self):
        read, write = os.pipe()
        os.close(read)
        self.addCleanup(os.close, write)
        return write

    def test_a_pipe_that_nobody_reads_ends_each_command(self):
        self.signed_in()
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
        self.signed_in()
        with open("/dev/full", "wb") as full:
            self.assert_lost(full, "--json", "--sandbox", "whoami", "youtube")

    def test_nothing_is_uploaded_when_nobody_hears_of_it(self):
        servers = self.start_servers()
        self.signed_in(servers)
        self.assert_lost(self.broken_pipe(), *self.with_servers(servers, "upload", "youtube", self.video()))
        self.assertEqual(servers.uploads(), [])

    def test_closed_streams_leave_files_and_connections_alone(self):
        # Without care the first file that is opened gets the number of the closed stream, and all that is printed.
        closing = 'exec "$0" "$@" <&- >&- 2>&-'
        for command in (("login", "youtube"), ("upload", "youtube", self.video()), ("whoami", "youtube")):
            program = self.command("--sandbox", *command)
            self.assertEqual(self.run_command(["/bin/sh", "-c", closing, *program]).code, 0, command)
        self.assertEqual(self.run_program("--sandbox", "whoami", "youtube").code, 0)


if __name__ == "__main__":
    unittest.main()
