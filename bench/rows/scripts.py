"""Uploads by the scripts."""

import os
import subprocess
import sys

from rows.measure import Result, Run, in_turn, ratios
from rows.uploads import put

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
LOGIN = "from pysocialnetwork.login import Login; print(Login('vimeo', 'token').to_text())"


def script_upload(work):
    """The script for Vimeo in requests of 32 MiB beside one PUT."""
    home = work.path("home")
    made = subprocess.run(
        [sys.executable, os.path.join(ROOT, "tools", "make_python_home"), home, "--python", "/usr/bin/python3"],
        check=True,
        stdout=subprocess.PIPE,
        text=True,
    )
    login = Run([sys.executable, "-c", LOGIN], PYTHONPATH=os.path.join(ROOT, "python_home")).text
    command = [work.program("script_host"), home + "/", login, work.file]
    services = work.path("services.json")
    pairs = in_turn(
        work.pairs,
        lambda: Run(command, sends=True, MEDIATRANSFER_PYTHON=made.stdout.strip(), MEDIATRANSFER_SERVICES=services),
        lambda: put(work, "http"),
    )
    return ratios("script-upload", pairs, wall=1.5) + [
        Result("script-upload-mib", [ours.told("kib") / 1024 for ours, _ in pairs], 60)
    ]
