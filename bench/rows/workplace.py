"""The servers, files and programs that the rows share."""

import json
import os
import subprocess
import sys

from rows.measure import SERVERS_CORE, Run

MIB = 1 << 20


class Workplace:
    def __init__(self, programs, place, options):
        self.programs = programs
        self.place = place
        self.pairs = options.pairs
        self.is_quick = options.quick
        self.file = self.make_file("video", self.scaled(1024 * MIB))
        self.caches = 0
        self.logins = {}
        self.server = subprocess.Popen(
            ["taskset", "-c", str(min(SERVERS_CORE)), self.program("bench_server"), place],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        self.told = {}
        while "token" not in self.told:
            line = self.server.stdout.readline()
            if not line:
                sys.exit("bench: the server did not start")
            name, value = line.split()
            self.told[name] = value
        self.authorities = self.all_authorities()

    def close(self):
        self.server.stdin.close()
        self.server.wait()

    def all_authorities(self):
        """Those of the system and the server's, which ours trusts: who speaks to real services reads as many."""
        defaults = subprocess.run(["curl-config", "--ca"], stdout=subprocess.PIPE, text=True, check=True).stdout.strip()
        path = self.path("authorities.pem")
        with open(path, "wb") as bundle:
            for name in (defaults, self.told["authority"]):
                with open(name, "rb") as part:
                    bundle.write(part.read() + b"\n")
        return path

    def account_server(self):
        with open(self.path("http.json"), encoding="utf-8") as file:
            return json.load(file)["urlLFServerClientCredentials"].rsplit("/", 1)[0]

    def program(self, name):
        return os.path.join(self.programs, name)

    @staticmethod
    def peer(name):
        """A peer that is no program of the build."""
        return os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "peers", name)

    def path(self, name):
        return os.path.join(self.place, name)

    def scaled(self, size):
        """A size of the full measurement, or its place in a quick one."""
        return min(size, 32 * MIB) if self.is_quick else size

    def make_file(self, name, size):
        """A file of random bytes, made once."""
        path = self.path(name)
        if os.path.exists(path) and os.path.getsize(path) == size:
            return path
        block = os.urandom(MIB)
        with open(path, "wb") as file:
            for begin in range(0, size, MIB):
                file.write(block[: min(MIB, size - begin)])
        return path

    def make_hollow_file(self, name, size):
        """A file of zeros that takes no room."""
        path = self.path(name)
        with open(path, "wb") as file:
            file.truncate(size)
        return path

    def fresh_cache(self):
        self.caches += 1
        cache = self.path(f"cache{self.caches}")
        os.mkdir(cache)
        return cache

    def upload(self, file=None, server="http", sends=True, **options):
        """An upload by the library, of somebody who has signed in before; `options` are those of upload_host."""
        cache = self.signed_in(options.get("platform"))
        if server == "https":
            options["authority"] = self.told["authority"]
        return Run(self.upload_command(cache, "-", file or self.file, server, options), sends=sends)

    def signed_in(self, platform=None):
        """A cache with a user of the platform."""
        if platform not in self.logins:
            cache = self.fresh_cache()
            chunk = self.make_file("chunk", 2 * MIB)
            options = {} if platform is None else {"platform": platform}
            Run(self.upload_command(cache, self.told["token"], chunk, options=options))
            self.logins[platform] = cache
        return self.logins[platform]

    def upload_command(self, cache, token, file, server="http", options=()):
        command = [self.program("upload_host"), self.path(server + ".json"), cache, token, file]
        for name, value in dict(options).items():
            command += ["--" + name, str(value)]
        return command

    def curl(self, *arguments):
        return Run(["curl", "-s", "-S", "-f", "--cacert", self.authorities, *arguments], sends=True)

    def chunk_loop(self, scheme="http"):
        """A bare libcurl loop of the chunks of the large file, in its best form."""
        url = self.told[scheme] + "/"
        return Run([self.program("chunk_loop"), "loop", url, self.file, self.authorities], sends=True)
