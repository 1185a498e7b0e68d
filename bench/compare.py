#!/usr/bin/env python3
"""Runs ours and a peer, or a limit of the machine, in turn, pair by pair, and prints for each comparison
"RATIO name ours/peer median min max goal". See docs/performance.md."""

import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

MIB = 1 << 20


class Run:
    """What one program took: wall and processor time in seconds, and what it printed."""

    def __init__(self, command):
        with tempfile.TemporaryFile() as out:
            begun = time.monotonic()
            process = subprocess.Popen(command, stdout=out, stderr=subprocess.STDOUT)
            _, status, used = os.wait4(process.pid, 0)
            self.wall = time.monotonic() - begun
            process.returncode = os.waitstatus_to_exitcode(status)
            self.cpu = used.ru_utime + used.ru_stime
            out.seek(0)
            self.text = out.read().decode(errors="replace").strip()
        if process.returncode != 0:
            sys.exit(f"bench: {command[0]} ended with {process.returncode}: {self.text}")


class Comparisons:
    def __init__(self, programs, place, options):
        self.programs = programs
        self.place = place
        self.pairs = options.pairs
        self.bytes = options.mebibytes * MIB
        self.file = os.path.join(place, "video")
        self.runs = 0
        self.make_file(self.file, self.bytes)
        self.server = subprocess.Popen(
            [self.program("bench_server"), place], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
        )
        self.told = {}
        while "token" not in self.told:
            line = self.server.stdout.readline()
            if not line:
                sys.exit("bench: the server did not start")
            name, value = line.split()
            self.told[name] = value

    def close(self):
        self.server.stdin.close()
        self.server.wait()

    def program(self, name):
        return os.path.join(self.programs, name)

    @staticmethod
    def make_file(path, size):
        block = os.urandom(MIB)
        with open(path, "wb") as file:
            for _ in range(size // MIB):
                file.write(block)

    def ours(self, scheme, file=None):
        """An upload by the library, with a login in a cache of its own."""
        self.runs += 1
        cache = os.path.join(self.place, f"cache{self.runs}")
        os.mkdir(cache)
        command = [
            self.program("upload_host"),
            os.path.join(self.place, scheme + ".json"),
            cache,
            self.told["token"],
            file or self.file,
        ]
        if scheme == "https":
            command.append(self.told["authority"])
        run = Run(command)
        shutil.rmtree(cache)
        return run

    def curl(self, scheme):
        return Run(
            [
                "curl",
                "-s",
                "-S",
                "-f",
                "--cacert",
                self.told["authority"],
                "-o",
                os.devnull,
                "-T",
                self.file,
                self.told[scheme] + "/",
            ]
        )

    def loop(self, scheme):
        return Run([self.program("chunk_loop"), "loop", self.told[scheme] + "/", self.file, self.told["authority"]])

    def raw(self):
        return Run([self.program("chunk_loop"), "raw", self.told["http"], self.file])

    def requests(self, way):
        count = str(20 * self.pairs)
        run = Run([self.program("request_rounds"), way, self.told["https"] + "/request", self.told["authority"], count])
        return float(run.text)

    def compare(self, name, ours, peer, goals):
        """`goals` maps what is measured to what the ratio should be at most, or to nothing."""
        pairs = [(ours(), peer()) for _ in range(self.pairs)]
        for what, goal in goals.items():
            ratios = [getattr(one, what) / max(getattr(other, what), 1e-6) for one, other in pairs]
            tell(name if what == "wall" else f"{name}-{what}", ratios, goal)

    def upload_http(self):
        self.compare("upload-http", lambda: self.ours("http"), lambda: self.curl("http"), {"wall": 0.90, "cpu": 0.90})

    def upload_https(self):
        self.compare("upload-https", lambda: self.ours("https"), lambda: self.curl("https"), {"wall": 1.00})

    def upload_raw(self):
        self.compare("upload-raw", lambda: self.ours("http"), lambda: self.loop("http"), {"wall": 1.05, "cpu": None})

    def server_limit(self):
        """The server is not what is measured: a plain writer is faster than every client."""
        self.compare("server-limit", self.raw, lambda: self.loop("http"), {"wall": None})

    def request(self):
        ratios = [self.requests("ours") / self.requests("handle") for _ in range(self.pairs)]
        tell("request", ratios, 1.5)

    def memory(self):
        """The most memory of a large upload beside that of a small one, and of all of them in MiB."""
        small = os.path.join(self.place, "small")
        self.make_file(small, 0)
        os.truncate(small, 64 * MIB)
        large = os.path.join(self.place, "large")
        self.make_file(large, 0)
        os.truncate(large, max(self.bytes, 128 * MIB))
        pairs = [
            (float(self.ours("http", large).text), float(self.ours("http", small).text)) for _ in range(self.pairs)
        ]
        tell("memory", [one / other for one, other in pairs], 1.05)
        tell("memory-mib", [kib / 1024 for pair in pairs for kib in pair], 18)


def tell(name, ratios, goal):
    print(
        f"RATIO {name} ours/peer {statistics.median(ratios):.2f} {min(ratios):.2f} {max(ratios):.2f} "
        f"{'-' if goal is None else goal}",
        flush=True,
    )


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("programs", help="folder of the programs that are measured")
    parser.add_argument("names", nargs="*", metavar="NAME", help="comparisons; all when none is given")
    parser.add_argument("--pairs", type=int, default=9)
    parser.add_argument("--mebibytes", type=int, default=1024, help="size of the file")
    options = parser.parse_intermixed_args()
    known = ["server-limit", "upload-http", "upload-https", "upload-raw", "request", "memory"]
    for name in options.names:
        if name not in known:
            parser.error(f"no comparison {name}: {', '.join(known)}")
    with tempfile.TemporaryDirectory() as place:
        comparisons = Comparisons(options.programs, place, options)
        try:
            for name in options.names or known:
                getattr(comparisons, name.replace("-", "_"))()
        finally:
            comparisons.close()


if __name__ == "__main__":
    main()
