"""The desktop example on a screen: a login in the browser, videos that are dragged in from another window, a curve of the
rate, a stop. KBL_E2E_PICTURES names a folder that keeps what it looked like."""

import os
import pathlib
import subprocess

import unittest

from harness import BIN, LIMIT, SECRET, HostTest, Lines, opener, sha256_of, wait_until
from screen import Screen

LIGHT_ACCENT = (48, 140, 198)
DARK_ACCENT = (94, 158, 255)


class Desktop(HostTest):
    def setUp(self):
        super().setUp()
        self.screen = Screen(self.folder)
        self.addCleanup(self.screen.close)
        # What opens addresses on a desktop; here it hands them to the test.
        self.opened = self.folder / "opened"
        tools = self.folder / "tools"
        tools.mkdir()
        browser = tools / "xdg-open"
        browser.write_text(f'#!/bin/sh\necho "$1" >"{self.opened}.new" && mv "{self.opened}.new" "{self.opened}"\n')
        browser.chmod(0o755)
        self.env["PATH"] = f"{tools}:{self.env['PATH']}"
        self.env["DISPLAY"] = self.screen.display
        self.env["QT_QPA_PLATFORM"] = "xcb"
        runtime = self.folder / "runtime"
        runtime.mkdir(mode=0o700)
        self.env["XDG_RUNTIME_DIR"] = str(runtime)

    def start(self, program, place, *arguments):
        process = subprocess.Popen(
            [BIN / program, *map(str, arguments), "-qwindowgeometry", place],
            env=self.env,
            stdout=subprocess.PIPE,
        )
        self.addCleanup(process.wait, LIMIT)
        self.addCleanup(process.kill)
        return Lines(process.stdout)

    def start_desktop(self, servers, *options):
        data = ("--cloud-config", servers.config, "--app-secret", SECRET, "--data-dir", self.folder / "desktop")
        self.start("desktop_upload", "560x640+0+0", *data, *options)
        return self.screen.window("Upload")

    def sign_in_by_hand(self, servers, window):
        self.screen.press(window, "alt+s")
        address = wait_until(lambda: self.opened.exists() and self.opened.read_text().strip(), "the browser")
        with opener.open(address, timeout=LIMIT) as page:
            self.assertIn("Allow", page.read().decode())
        login = servers.ask("logins")[-1]
        servers.ask("logins/decide", {"session_id": login["session_id"], "decision": "allow"})
        wait_until(lambda: servers.requests("googleUserInfo"), "a look at who that is")

    def drop(self, *videos):
        source = self.start("drag_source", "160x120+600+100", *videos)
        self.screen.window("Files")
        self.screen.drag((680, 160), (280, 400))
        source.wait_for(lambda line: line == "taken", "a drop that is taken")

    def count(self, colour):
        """Pixels of the window that have it, about."""
        return sum(
            all(abs(a - b) < 6 for a, b in zip(pixel, colour)) for row in self.screen.pixels() for pixel in row[:560]
        )

    def keep_picture(self, name):
        if folder := os.environ.get("KBL_E2E_PICTURES"):
            self.screen.save(pathlib.Path(folder) / f"{name}.png")

    def upload_slowly(self, name, accent, *options):
        servers = self.start_servers("--consent", "ask")
        window = self.start_desktop(servers, *options)
        self.sign_in_by_hand(servers, window)
        self.keep_picture(name + "-signed-in")
        before = self.count(accent)
        slow = servers.fault("youtubeUploadChunk", "slowRequest", times=0, bytes=65536, delay=15)
        videos = [self.video(12 * 1024 * 1024, f"film {number}.mp4") for number in (1, 2)]
        self.drop(*videos)
        wait_until(lambda: servers.delivered(slow) >= 4, "a few parts")
        wait_until(lambda: self.count(accent) > before + 500, "a bar and a curve")
        self.keep_picture(name + "-uploading")
        servers.ask("faults/clear", {})
        self.assertEqual(
            wait_until(
                lambda: [one["sha256"] for one in servers.uploads() if one["complete"]][1:] and servers.uploads(),
                "both videos",
            )[0]["sha256"],
            sha256_of(videos[0]),
        )
        self.assertEqual(servers.uploads()[1]["sha256"], sha256_of(videos[1]))
        return servers, window

    def test_in_the_light(self):
        self.upload_slowly("light", LIGHT_ACCENT)
        self.keep_picture("light-done")

    def test_in_the_dark(self):
        self.upload_slowly("dark", DARK_ACCENT, "--dark")
        self.keep_picture("dark-done")

    def test_stop(self):
        servers = self.start_servers("--consent", "ask")
        window = self.start_desktop(servers)
        self.sign_in_by_hand(servers, window)
        slow = servers.fault("youtubeUploadChunk", "slowRequest", times=0, bytes=65536, delay=15)
        self.drop(self.video(40 * 1024 * 1024, "long.mp4"))
        wait_until(lambda: servers.delivered(slow) >= 2, "two parts")
        self.screen.press(window, "alt+t")
        servers.ask("faults/clear", {})
        # The next one goes, the stopped one does not go on.
        self.drop(self.video(1024 * 1024, "short.mp4"))
        wait_until(lambda: any(one["complete"] for one in servers.uploads()), "the next video")
        self.assertEqual([one["complete"] for one in servers.uploads()], [False, True])
        self.keep_picture("stopped")


if __name__ == "__main__":
    unittest.main()
