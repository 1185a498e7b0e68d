"""Uploads beside the clients that a program would use instead."""

from rows.measure import Run, in_turn, ratios
from rows.workplace import MIB

# Both come from the system's packages (tools/setup.sh bench), and so does what runs them.
PYTHON = "/usr/bin/python3"
NODE = "/usr/bin/node"
NODE_MODULES = "/usr/share/nodejs"


def google(work, file):
    """Google's client for Python, a resumable upload in chunks of 2 MiB."""
    return Run([PYTHON, work.peer("google_client.py"), work.told["http"] + "/upload", file], sends=True)


def axios(work):
    command = [NODE, work.peer("node_client.js"), work.told["http"] + "/session", work.file]
    return Run(command, sends=True, NODE_PATH=NODE_MODULES)


def upload_google_client(work):
    pairs = in_turn(work.pairs, work.upload, lambda: google(work, work.file))
    return ratios("upload-google-client", pairs, wall=0.22)


def upload_node_client(work):
    return ratios("upload-node-client", in_turn(work.pairs, work.upload, lambda: axios(work)), wall=0.45)


def upload_small(work):
    """One chunk, from the start of the process on, by somebody who has signed in before."""
    file = work.make_file("chunk", 2 * MIB)
    pairs = in_turn(work.pairs, lambda: work.upload(file), lambda: google(work, file))
    return ratios("upload-small", pairs, wall=0.15)
