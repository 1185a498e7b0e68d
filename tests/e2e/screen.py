"""A screen of one's own for programs with windows: Xvfb on a free display, a mouse and a keyboard, and pictures of it."""

import os
import pathlib
import struct
import subprocess
import tempfile
import zlib

from harness import LIMIT, Lines, wait_until

WIDTH, HEIGHT = 800, 660


class Screen:
    def __init__(self, folder):
        self._folder = pathlib.Path(tempfile.mkdtemp(dir=folder))
        read, write = os.pipe()
        self._process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", f"{WIDTH}x{HEIGHT}x24"]
            + ["-fbdir", str(self._folder), "-nolisten", "tcp", "-noreset"],
            pass_fds=(write,),
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        os.close(write)
        number = Lines(os.fdopen(read, "rb")).wait_for(str.isdigit, "a display's number")
        self.display = ":" + number

    def close(self):
        self._process.terminate()
        self._process.wait(LIMIT)

    def do(self, *words):
        """Something with the mouse or the keyboard, in xdotool's words."""
        done = subprocess.run(
            ["xdotool", *map(str, words)],
            env={**os.environ, "DISPLAY": self.display},
            capture_output=True,
            text=True,
            timeout=LIMIT,
            check=False,
        )
        return done.stdout.split() if done.returncode == 0 else []

    def window(self, title):
        return wait_until(lambda: self.do("search", "--onlyvisible", "--name", f"^{title}$"), "window " + title)[0]

    def press(self, window, key):
        """No window manager gives the focus."""
        self.do("windowfocus", window)
        wait_until(lambda: self.do("getwindowfocus") == [window], "the focus")
        self.do("key", key)

    def drag(self, start, end):
        """In steps, since a drag begins and a target is entered by moving."""
        self.do("mousemove", *start, "mousedown", 1)
        for step in range(1, 21):
            x, y = (round(a + (b - a) * step / 20) for a, b in zip(start, end))
            self.do("mousemove", x, y)
        self.do("mouseup", 1)

    def pixels(self):
        """Rows of (red, green, blue), out of the picture that the server keeps in a file."""
        data = (self._folder / "Xvfb_screen0").read_bytes()
        header = struct.unpack(">25I", data[:100])
        start, line, colours = header[0] + 12 * header[19], header[12], header[11] // 8
        rows = []
        for y in range(HEIGHT):
            row = data[start + y * line : start + y * line + WIDTH * colours]
            rows.append([(row[x + 2], row[x + 1], row[x]) for x in range(0, len(row), colours)])
        return rows

    def save(self, path):
        """The picture as a PNG file, for people."""
        raw = b"".join(b"\0" + bytes(value for pixel in row for value in pixel) for row in self.pixels())

        def chunk(kind, body):
            return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

        head = struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, 2, 0, 0, 0)
        picture = chunk(b"IHDR", head) + chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b"")
        pathlib.Path(path).write_bytes(b"\x89PNG\r\n\x1a\n" + picture)
