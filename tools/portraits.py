"""Makes the pictures of the README, docs/pictures/terminal.svg and page.png, of real runs of build/release.

    python3 tools/portraits.py

The first shows what a terminal shows of the program at its own stand-ins; the second the stand-ins' page in a headless browser
(Debian: chromium), with an upload that runs slowly and one that has ended. Look at both before they go in.
"""

import json
import os
import pty
import re
import shutil
import signal
import subprocess
import tempfile
import time
import urllib.request
from html import escape
from pathlib import Path
from typing import Dict, List

ROOT = Path(__file__).resolve().parent.parent
PICTURES = ROOT / "docs/pictures"
COMMANDS = (
    ["mediatransfer", "--sandbox", "login", "youtube"],
    ["mediatransfer", "--sandbox", "upload", "youtube", "holiday.mp4", "--title", "At the sea"],
    ["mediatransfer", "--sandbox", "download", "/media/pictures/7_960x720.jpg", "picture.jpg"],
    ["mediatransfer", "--sandbox", "verify", "youtube"],
)
LINE_PX, COLUMN_PX, MARGIN_PX = 19, 8.05, 18


def environment(home: Path) -> Dict[str, str]:
    kept = {name: value for name, value in os.environ.items() if not name.startswith(("MEDIATRANSFER_", "XDG_"))}
    kept.pop("DISPLAY", None)
    path = "%s:%s" % (ROOT / "build/release/bin", kept["PATH"])
    return dict(kept, HOME=str(home), TERM="xterm", COLUMNS="96", NO_COLOR="1", PATH=path)


def shown(printed: str) -> List[str]:
    """The lines as they stand in the end: of one that was written over, what came last."""
    lines = []
    for line in printed.replace("\r\n", "\n").rstrip("\n").split("\n"):
        lines.append(re.sub(r"\x1b\[[0-9;]*[A-Za-z]", "", line.split("\r")[-1]))
    return lines


def in_a_terminal(command: List[str], home: Path) -> List[str]:
    process, terminal = pty.fork()
    if process == 0:
        os.chdir(home)
        os.execvpe(command[0], command, environment(home))
    printed = b""
    while True:
        try:
            part = os.read(terminal, 65536)
        except OSError:  # the end, on Linux
            break
        if not part:
            break
        printed += part
    os.close(terminal)
    if os.waitpid(process, 0)[1] != 0:
        raise SystemExit("portraits: %s failed: %r" % (command, printed))
    return shown(printed.decode())


def terminal_picture(lines: List[str]) -> str:
    width = round(max(len(line) for line in lines) * COLUMN_PX + 2 * MARGIN_PX)
    height = len(lines) * LINE_PX + 2 * MARGIN_PX
    rows = []
    for number, line in enumerate(lines):
        colour = "#8fd18a" if line.startswith("$ ") else "#dfe5ee"
        y = MARGIN_PX + number * LINE_PX + 13
        rows.append(
            '<text x="%d" y="%d" fill="%s" xml:space="preserve">%s</text>' % (MARGIN_PX, y, colour, escape(line))
        )
    return (
        '<svg xmlns="http://www.w3.org/2000/svg" width="%d" height="%d" viewBox="0 0 %d %d" role="img">\n'
        "<title>The program in a terminal</title>\n"
        '<rect width="100%%" height="100%%" rx="8" fill="#161b24"/>\n'
        '<g font-family="DejaVu Sans Mono, Menlo, Consolas, monospace" font-size="13.4">\n%s\n</g>\n</svg>\n'
    ) % (width, height, width, height, "\n".join(rows))


def draw_terminal(home: Path) -> None:
    lines = []  # type: List[str]
    for command in COMMANDS:
        words = ['"%s"' % word if " " in word else word for word in command]
        lines += ["$ " + " ".join(words)] + in_a_terminal(command, home) + [""]
    (PICTURES / "terminal.svg").write_text(terminal_picture(lines[:-1]), encoding="utf-8")


def order(address: str, what: str, body: Dict[str, object]) -> None:
    data = json.dumps(body).encode()
    with urllib.request.urlopen(urllib.request.Request(address + what, data)) as answer:
        answer.read()


def draw_page(home: Path) -> None:
    config = home / "servers.json"
    kept = dict(environment(home), MEDIATRANSFER_APP_SECRET="sandbox-app-secret")

    def start(*arguments: str) -> "subprocess.Popen[bytes]":
        command = ["mediatransfer", *arguments]
        return subprocess.Popen(command, cwd=home, env=kept, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def run(*arguments: str) -> None:
        if start("--cloud-config", str(config), *arguments).wait(60) != 0:
            raise SystemExit("portraits: %s failed" % " ".join(arguments))

    running = [start("sandbox", "--config-file", str(config))]
    try:
        while not config.exists() or config.stat().st_size == 0:
            time.sleep(0.1)
        address = re.sub(r"(http://[^/]*)/.*", r"\1", next(iter(json.loads(config.read_text()).values())))
        run("login", "youtube")
        shutil.copy(ROOT / "tests/media/sample.mp4", home / "garden.mp4")
        run("upload", "youtube", "garden.mp4", "--title", "In the garden")
        slow = {"route": "youtubeUploadChunk", "kind": "slowRequest", "times": 100, "bytes": 65536, "delay": 25}
        order(address, "/sandbox/faults", dict(slow, nth=1))
        running.append(
            start("--cloud-config", str(config), "upload", "youtube", "holiday.mp4", "--title", "At the sea")
        )
        time.sleep(6)  # as far as the picture shows it
        subprocess.run(
            ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--window-size=1100,760"]
            + ["--user-data-dir=%s" % (home / "browser"), "--blink-settings=preferredColorScheme=1"]
            + ["--timeout=4000", "--screenshot=%s" % (PICTURES / "page.png"), address + "/"],
            check=True,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            timeout=60,
        )
    finally:
        for process in reversed(running):
            process.send_signal(signal.SIGTERM)
            process.wait(30)


def main() -> None:
    with tempfile.TemporaryDirectory(prefix="portraits-") as scratch:
        home = Path(scratch)
        (home / "holiday.mp4").write_bytes(os.urandom(25 << 20))
        draw_terminal(home)
        draw_page(home)


main()
