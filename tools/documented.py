"""Runs the commands that the documents show, and ends with 1 if one of them fails.

    python3 tools/documented.py [DOCUMENT]...     (default: every document of the repository)

What runs are the fenced blocks marked `sh run`; one marked `save FILE` behind its language is written to that file. Those of a
document come in their order in one shell, which ends with the first failure. They find a tree like this one, with the
programs of build/release on the search path, a home folder of their own and a video `holiday.mp4`.
"""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import List

ROOT = Path(__file__).resolve().parent.parent
BLOCK = re.compile(r"^```(?:sh run|\w+ save (\S+))\n(.*?)^```$", re.MULTILINE | re.DOTALL)
LONGEST_SECONDS = 600
# Servers that a document starts in the background end with its shell.
PREAMBLE = "set -euo pipefail\ntrap 'kill $(jobs -p) 2>/dev/null || true' EXIT\n"


def documents() -> List[str]:
    command = ["git", "-C", str(ROOT), "ls-files", "--cached", "--others", "--exclude-standard", "*.md"]
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.splitlines()


def furnish(scratch: Path) -> Path:
    """A folder that looks like the repository, and can be written to."""
    tree = scratch / "checkout"
    tree.mkdir()
    for entry in ROOT.iterdir():
        if entry.name != ".git":
            (tree / entry.name).symlink_to(entry)
    shutil.copy(ROOT / "tests/media/sample.mp4", tree / "holiday.mp4")
    return tree


def environment(home: Path) -> "dict[str, str]":
    kept = {name: value for name, value in os.environ.items() if not name.startswith(("MEDIATRANSFER_", "XDG_"))}
    kept.pop("DISPLAY", None)
    kept["HOME"] = str(home)
    kept["PATH"] = "%s:%s" % (ROOT / "build/release/bin", kept["PATH"])
    return kept


def command(file: str, text: str) -> str:
    return "rm -f %s\ncat >%s <<'END OF THE BLOCK'\n%sEND OF THE BLOCK\n" % (file, file, text) if file else text


def run(document: str) -> bool:
    blocks = BLOCK.findall((ROOT / document).read_text(encoding="utf-8"))
    commands = "\n".join(command(file, text) for file, text in blocks)
    if not commands:
        return True
    with tempfile.TemporaryDirectory(prefix="documented-") as scratch:
        process = subprocess.Popen(
            ["bash", "-x", "-c", PREAMBLE + commands],
            cwd=furnish(Path(scratch)),
            env=environment(Path(scratch)),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            errors="replace",
            start_new_session=True,
        )
        try:
            printed, _ = process.communicate(timeout=LONGEST_SECONDS)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            printed = process.communicate()[0] + "\nstill running after %d s\n" % LONGEST_SECONDS
    print("documented: %s: %s" % (document, "ok" if process.returncode == 0 else "FAILED"))
    if process.returncode != 0:
        print(printed)
    return process.returncode == 0


results = [run(document) for document in sys.argv[1:] or documents()]
sys.exit(0 if all(results) else 1)
