"""Uploads of large files beside the programs and the limits that they compete with."""

import os

from rows.measure import Result, Run, in_turn, ratios
from rows.workplace import MIB

# Numbers of createEMTUpTransfer.
YOUTUBE = 1
TIKTOK = 6
DOUYIN = 7

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
    """The server is not what is measured: a writer that copies nothing is faster than every client."""
    raw = [work.program("chunk_loop"), "raw", work.told["http"], work.file]
    return ratios("server-limit", in_turn(work.pairs, lambda: Run(raw, sends=True), work.chunk_loop), wall=None)


def memory(work):
    """The most memory of uploads of all sizes, and how far it is apart among them, in MiB."""
    sizes = [64, 128, 256] if work.is_quick else [64, 1024, 10240]
    files = [work.make_hollow_file(f"hollow{size}", size * MIB) for size in sizes]
    rounds = [[work.upload(file).told("kib") / 1024 for file in files] for _ in range(work.pairs)]
    return [
        Result("memory-growth-mib", [max(peaks) - min(peaks) for peaks in rounds], 1),
        Result("memory-mib", [peak for peaks in rounds for peak in peaks], 18),
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


def parts(work):
    """Parts of 4 MiB, in processes that run. Both ask the account server first, and keep its token."""
    file = work.make_file("parts", work.scaled(100 * MIB))
    account = [work.account_server(), work.path("token.db")]
    loop = [work.program("chunk_loop"), "parts", work.told["http"] + "/", file, "3", *account]
    pairs = in_turn(
        work.pairs,
        lambda: work.upload(file, platform=DOUYIN, rounds=3).timed_by_itself(),
        lambda: Run(loop, sends=True).timed_by_itself(),
    )
    return ratios("parts", pairs, wall=1.05)


def parallel(work):
    """A hundred uploads at once beside one of as many bytes, and the memory that each of them takes. They may use
    both cores, of which the servers have one."""
    one = work.make_hollow_file("one", work.scaled(20 * MIB) // (10 if work.is_quick else 1))
    count = 100
    whole = work.make_hollow_file("whole", count * os.path.getsize(one))
    pairs = in_turn(
        work.pairs,
        lambda: work.upload(one, sends=False, uploads=count).timed_by_itself(),
        lambda: work.upload(whole, sends=False).timed_by_itself(),
    )
    more = [(many.told("kib") - single.told("kib")) / 1024 / count for many, single in pairs]
    return ratios("parallel", pairs, wall=1.3) + [Result("parallel-mib", more, 6)]


def idle(work):
    """Wake-ups a second while nothing happens: of an upload whose server stands still, without and with somebody who
    hears of bytes, and of a login whose user has not come back."""
    seconds = 2 if work.is_quick else 10
    file = work.make_hollow_file("stalled", 32 * MIB)

    def stalled(platform):
        return work.upload(file, server="stall", platform=platform, stalled=seconds).told("wakeups")

    def login():
        command = [work.program("login_host"), work.path("waiting.json"), work.fresh_cache(), str(seconds)]
        return Run(command).told("wakeups")

    rounds = [(stalled(YOUTUBE), stalled(TIKTOK), login()) for _ in range(work.pairs)]
    return [
        Result(name, list(figures), goal)
        for name, figures, goal in zip(("idle", "idle-progress", "idle-login"), zip(*rounds), (2, 45, 2))
    ]


def event(work):
    """From the answer of a chunk to the host's function, a hundred uploads at once: milliseconds of 99 of 100."""
    file = work.make_hollow_file("event", work.scaled(20 * MIB) // (10 if work.is_quick else 1))

    def once():
        cache = work.fresh_cache()
        run = Run([work.program("event_host"), work.path("http.json"), cache, work.told["token"], file, "100"])
        return run.told("milliseconds")

    return [Result("event-ms", [once() for _ in range(work.pairs)], 1)]
