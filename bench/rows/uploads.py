"""Uploads of large files beside the programs and the limits that they compete with."""

import os

from rows.measure import Result, Run, in_turn, ratios
from rows.workplace import MIB

# Numbers of createEMTUpTransfer.
TIKTOK = 6

LARGEST_FORM = 52428799


def put(work, scheme):
    """The plain command-line tool: one PUT of the large file."""
    return work.curl("-o", os.devnull, "-T", work.file, work.told[scheme] + "/")


def upload_http(work):
    pairs = in_turn(work.pairs, work.upload, lambda: put(work, "http"))
    return ratios("upload-http", pairs, wall=0.90, cpu=0.90)


def upload_https(work):
    pairs = in_turn(work.pairs, lambda: work.upload(server="https"), lambda: put(work, "https"))
    return ratios("upload-https", pairs, wall=1.00)


def upload_raw(work):
    return ratios("upload-raw", in_turn(work.pairs, work.upload, work.chunk_loop), wall=1.05, cpu=None)


def server_limit(work):
    """The server is not what is measured: a plain writer is faster than every client."""
    raw = [work.program("chunk_loop"), "raw", work.told["http"], work.file]
    return ratios("server-limit", in_turn(work.pairs, lambda: Run(raw), work.chunk_loop), wall=None)


def memory(work):
    """The most memory of a large upload beside that of a small one, and of all of them in MiB."""
    small = work.make_hollow_file("small", 64 * MIB)
    large = work.make_hollow_file("large", max(work.scaled(1024 * MIB), 128 * MIB))
    pairs = in_turn(work.pairs, lambda: work.upload(large).told("kib"), lambda: work.upload(small).told("kib"))
    return [
        Result("memory", [one / other for one, other in pairs], 1.05),
        Result("memory-mib", [kib / 1024 for pair in pairs for kib in pair], 18),
    ]


def multipart(work):
    """A form with the largest file that is taken, in a process that runs. The tool's start counts with it."""
    file = work.make_file("form", LARGEST_FORM)
    form = f"video=@{file};type=application/octet-stream"
    pairs = in_turn(
        work.pairs,
        lambda: work.upload(file, platform=TIKTOK, rounds=3).timed_by_itself(),
        lambda: work.curl("-o", os.devnull, "-F", form, work.told["http"] + "/"),
    )
    return ratios("multipart", pairs, wall=0.95)
