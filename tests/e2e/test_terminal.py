"""The progress bar, on a terminal of the test's own."""

import os
import pty
import re
import struct
import subprocess
import fcntl
import termios
import unittest

from harness import LIMIT, HostTest


class Terminal(HostTest):
    def run_on_terminal(self, *arguments, columns=100):
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 25, columns, 0, 0))
        with subprocess.Popen(
            self.command(*arguments), stdin=slave, stdout=slave, stderr=slave, env=self.env
        ) as process:
            os.close(slave)
            text = b""
            while True:
                try:
                    part = os.read(master, 65536)
                except OSError:  # the terminal's other end was closed
                    break
                if not part:
                    break
                text += part
            code = process.wait(LIMIT)
        os.close(master)
        return code, text.decode("utf-8")

    def setUp(self):
        super().setUp()
        self.env["NO_COLOR"] = "1"

    def wants_colours(self):
        self.env.update({"TERM": "xterm", "NO_COLOR": ""})

    def test_bar_result_and_table_heads_have_colours(self):
        self.signed_in()
        self.wants_colours()
        code, text = self.run_on_terminal("--sandbox", "upload", "youtube", self.video(5 * 1024 * 1024))
        self.assertEqual(code, 0, text)
        self.assertRegex(text, r"\r\x1b\[K\[\x1b\[32m#+\x1b\[0m-+\]  ?\d+%")
        self.assertRegex(text, r"\[\x1b\[32m#+\x1b\[0m\] 100%")
        self.assertRegex(text, r"\n\x1b\[32muploaded\x1b\[0m: https://\S+\r\n$")
        code, text = self.run_on_terminal("--sandbox", "status")
        self.assertEqual(code, 0, text)
        self.assertTrue(text.startswith("\x1b[1mPROFILE"), text)

    def test_errors_have_a_colour(self):
        self.wants_colours()
        code, text = self.run_on_terminal("--sandbox", "whoami", "youtube")
        self.assertEqual(code, 1, text)
        self.assertTrue(text.startswith("\x1b[31mmediatransfer:\x1b[0m nobody is signed in"), text)

    def test_bar_shows_percent_bytes_rate_and_time_left(self):
        self.signed_in()
        code, text = self.run_on_terminal("--sandbox", "upload", "youtube", self.video(25 * 1024 * 1024))
        self.assertEqual(code, 0, text)
        self.assertRegex(text, r"\r\x1b\[K\[#+-+\]  ?\d+%  \d+\.\d/25\.0 MiB  \d+\.\d [KMG]iB/s  \d+:\d\d left")
        self.assertRegex(text, r"\[#+\] 100%  25\.0/25\.0 MiB  \d+\.\d [KMG]iB/s\r?\n")
        self.assertRegex(text, r"\nuploaded: https://\S+/watch\?v=\S+\r\n$")

    def test_bar_fits_a_narrow_terminal(self):
        self.signed_in()
        code, text = self.run_on_terminal("--sandbox", "upload", "youtube", self.video(5 * 1024 * 1024), columns=40)
        self.assertEqual(code, 0, text)
        for bar in re.findall(r"\r\x1b\[K([^\r\n]*)", text):
            self.assertLess(len(bar), 40, bar)

    def test_download_has_the_same_bar(self):
        target = self.folder / "picture.jpg"
        code, text = self.run_on_terminal("--sandbox", "download", "/media/pictures/1_4096x4096.jpg", target)
        self.assertEqual(code, 0, text)
        self.assertRegex(text, r"\r\x1b\[K\[#+\] 100%  (\d+\.\d)/\1 [KM]iB  \d+\.\d [KMG]iB/s\r?\n")
        self.assertTrue(text.endswith(f"stored in {target}\r\n"), text)

    def test_states_have_colours(self):
        self.wants_colours()
        code, text = self.run_on_terminal("--sandbox", "doctor")
        self.assertEqual(code, 0, text)
        self.assertIn("\x1b[32mok\x1b[0m       configuration: ", text)
        self.assertIn("\x1b[33mwarning\x1b[0m  python home: ", text)

    def test_colours_can_be_refused(self):
        for name, value in (("NO_COLOR", "1"), ("TERM", "dumb")):
            self.env.update({"TERM": "xterm", "NO_COLOR": "", name: value})
            code, text = self.run_on_terminal("--sandbox", "doctor")
            self.assertEqual(code, 0, text)
            self.assertNotIn("\x1b", text)

    def test_json_lines_stay_json_lines(self):
        self.signed_in()
        code, text = self.run_on_terminal("--sandbox", "--json", "upload", "youtube", self.video())
        self.assertEqual(code, 0, text)
        self.assertNotIn("\x1b", text)


if __name__ == "__main__":
    unittest.main()
