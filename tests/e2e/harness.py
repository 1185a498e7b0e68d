"""What the end-to-end tests share: the program as a process, stand-in servers in another, temporary folders.

With KBL_E2E_EMULATOR the program is one for Windows, and that is wine: it sees this system's files on its drive Z.

Nothing here sleeps to wait: every wait is for a condition, with a limit that a loaded machine with sanitizers keeps.
"""

import contextlib
import hashlib
import json
import os
import pathlib
import queue
import shutil
import signal
import socket
import sqlite3
import subprocess
import tempfile
import threading
import time
import unittest
import urllib.request

BIN = pathlib.Path(os.environ["KBL_E2E_BIN"])
MEDIA = pathlib.Path(os.environ["KBL_E2E_MEDIA"])
EMULATOR = os.environ.get("KBL_E2E_EMULATOR")
PROGRAM = [EMULATOR, str(BIN / "mediatransfer.exe")] if EMULATOR else [str(BIN / "mediatransfer")]
SECRET = "sandbox-app-secret"
LIMIT = 120

# Straight to 127.0.0.1, whatever proxies the machine's environment names.
opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))


def told(argument):
    """An argument as the program takes it."""
    if EMULATOR and isinstance(argument, pathlib.Path):
        return "Z:" + str(argument)
    return str(argument)


def seen(path):
    """A path that the program tells, as this system has it."""
    return pathlib.Path(path[len("Z:") :] if EMULATOR else path)


def text_of(output):
    """What a program wrote, with the same ends of lines on every system."""
    return output.decode("utf-8").replace("\r\n", "\n") if EMULATOR else output.decode("utf-8")


def wait_until(condition, what, limit=LIMIT):
    end = time.monotonic() + limit
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.02)
    raise AssertionError("waited in vain for " + what)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def accepts(port):
    with socket.socket() as probe:
        probe.settimeout(1)
        return probe.connect_ex(("127.0.0.1", port)) == 0


class Lines:
    """The lines of a process's stream, read by a thread of its own."""

    def __init__(self, stream):
        self._queue = queue.Queue()
        self.seen = []
        self._thread = threading.Thread(target=self._read, args=(stream,), daemon=True)
        self._thread.start()

    def _read(self, stream):
        for line in stream:
            self._queue.put(text_of(line).rstrip("\n"))
        stream.close()
        self._queue.put(None)

    def wait_for(self, condition, what, limit=LIMIT):
        """The first line, from now on, for which the condition holds."""
        end = time.monotonic() + limit
        while True:
            try:
                line = self._queue.get(timeout=max(0.01, end - time.monotonic()))
            except queue.Empty:
                raise AssertionError("no line with " + what + " in " + repr(self.seen)) from None
            if line is None:
                raise AssertionError("the output ended without " + what + ": " + repr(self.seen))
            self.seen.append(line)
            if condition(line):
                return line

    def rest(self):
        """All lines up to the end of the stream."""
        while (line := self._queue.get(timeout=LIMIT)) is not None:
            self.seen.append(line)
        return self.seen


class Result:
    def __init__(self, code, out, err):
        self.code = code
        self.out = out
        self.err = err

    @property
    def complaints(self):
        """The standard error but for the lines that a slow machine makes the program say: what it waits for."""
        return "".join(line for line in self.err.splitlines(True) if not line.startswith("waiting for "))

    @property
    def events(self):
        """The JSON lines of the standard output; every line has to be one."""
        return [json.loads(line) for line in self.out.splitlines()]

    def named(self, name):
        return [event for event in self.events if event["event"] == name]

    def __repr__(self):
        return f"exit {self.code}\n--- out\n{self.out}\n--- err\n{self.err}"


class Running:
    """A program that goes on while the test looks at it."""

    def __init__(self, command, env, stdin=subprocess.DEVNULL):
        self.process = subprocess.Popen(command, stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=env)
        self.out = Lines(self.process.stdout)
        self.err = Lines(self.process.stderr)

    def wait_for_event(self, name, **members):
        def fits(line):
            event = json.loads(line)
            return event["event"] == name and all(event.get(key) == value for key, value in members.items())

        return json.loads(self.out.wait_for(fits, f"event {name} {members}"))

    def say(self, line):
        """A line for the standard input, which has to be a pipe."""
        self.process.stdin.write(line.encode("utf-8") + b"\n")
        self.process.stdin.flush()

    def interrupt(self):
        self.process.send_signal(signal.SIGINT)

    def end(self, limit=LIMIT):
        code = self.process.wait(limit)
        return Result(code, "\n".join(self.out.rest()), "\n".join(self.err.rest()))

    def kill(self):
        if self.process.stdin is not None:
            self.process.stdin.close()
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait(LIMIT)


def kept_records(state, table):
    """The rows of a table of the stand-ins' state file, by their ids."""
    with contextlib.closing(sqlite3.connect(state)) as book:
        return {key: json.loads(record) for key, record in book.execute(f"select id, record from {table}")}


def lend_tokens(source, target):
    """Has one run of the stand-ins know the tokens of another, written as a third that shares the folder would."""
    with contextlib.closing(sqlite3.connect(target)) as book:
        book.execute("attach ? as other", (str(source),))
        with book:
            book.execute("update main.counter set change = change + 1")
            book.execute(
                "insert or replace into main.tokens"
                " select id, (select change from main.counter), record from other.tokens"
            )


class Servers:
    """The stand-in servers as a process of their own."""

    def __init__(self, folder, env, *options):
        own = pathlib.Path(tempfile.mkdtemp(dir=folder))
        self.config = own / "cloud-config.json"
        if "--state-dir" not in options:
            options = ("--state-dir", own, *options)
        self.state = pathlib.Path(options[options.index("--state-dir") + 1]) / "sandbox.db"
        command = [*PROGRAM, "--json", "sandbox", "--config-file", self.config, *options]
        self.running = Running([told(part) for part in command], env)
        event = self.running.wait_for_event("sandbox")
        self.url = event["url"]
        self.services = seen(event["script_services"])

    @property
    def port(self):
        return int(self.url.rsplit(":", 1)[1])

    def ask(self, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        with opener.open(self.url + "/sandbox/" + path, data, timeout=LIMIT) as reply:
            return json.load(reply)

    def fault(self, route, kind, **members):
        return self.ask("faults", {"route": route, "kind": kind, **members})["id"]

    def delivered(self, fault_id):
        return next(fault["delivered"] for fault in self.ask("faults") if fault["id"] == fault_id)

    def uploads(self):
        return self.ask("uploads")

    def kept(self, upload):
        """The bytes of an upload that the page plays."""
        with opener.open(self.url + "/sandbox/videos/" + upload["upload_id"], timeout=LIMIT) as reply:
            return reply.read()

    def requests(self, route):
        return self.ask("requests?route=" + route)

    def stop(self):
        self.running.kill()


class HostTest(unittest.TestCase):
    """A test with a data folder of its own, where nobody is signed in."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="mediatransfer-e2e-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.env = {
            key: value
            for key, value in os.environ.items()
            if not key.startswith("MEDIATRANSFER_")
            and not key.lower().endswith("_proxy")
            and key not in ("DISPLAY", "WAYLAND_DISPLAY", "XDG_CONFIG_HOME")
        }
        self.env["HOME"] = str(self.folder)
        self.env["XDG_DATA_HOME"] = str(self.folder / "data")
        if EMULATOR:
            # The user's own folder is one for all there, and no variable moves it. Wine keeps its server's socket in TMPDIR: in
            # another folder than the tests' own each process would start a server for itself, which takes seconds.
            self.env["MEDIATRANSFER_CACHE_DIR"] = told(self.folder / CACHE)
        else:
            self.env["TMPDIR"] = str(self.folder)

    def own_options(self):
        """Has the program keep its options for this test alone; returns their folder.

        On Windows that is the user's own, whatever the environment says: the test gets a Windows in which all but the users
        is the common one's.
        """
        if not EMULATOR:
            return self.folder / ".config" / "mediatransfer"
        common, own = pathlib.Path(self.env["WINEPREFIX"]), self.folder / "windows"
        (own / "drive_c").mkdir(parents=True)
        shutil.copytree(common / "dosdevices", own / "dosdevices", symlinks=True)
        for path in (*common.glob("*.reg"), common / ".update-timestamp"):
            shutil.copy2(path, own)
        for path in (common / "drive_c").iterdir():
            if path.name != "users":
                (own / "drive_c" / path.name).symlink_to(path)
        self.env["WINEPREFIX"] = str(own)
        server = pathlib.Path(EMULATOR).with_name("wineserver64")
        quiet = {"env": dict(self.env), "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, "check": False}
        self.addCleanup(subprocess.run, [server, "-k"], **quiet)
        # The services start here and stay: started by the program they would keep its output open, and end with it.
        subprocess.run([server, "--persistent"], **quiet)
        subprocess.run([EMULATOR, "wineboot"], **quiet)
        user = self.run_command([EMULATOR, "cmd", "/c", "echo %LOCALAPPDATA%"]).out.strip()
        return own / "drive_c" / user[len("C:\\") :].replace("\\", "/") / "mediatransfer"

    def command(self, *arguments):
        return [*PROGRAM, *[told(argument) for argument in arguments]]

    def run_command(self, command, stdout=subprocess.PIPE, **options):
        """Any program from its start to its end; the options are those of subprocess."""
        done = subprocess.run(
            [str(part) for part in command],
            stdin=subprocess.DEVNULL,
            stdout=stdout,
            stderr=subprocess.PIPE,
            timeout=LIMIT + 60,
            check=False,
            **{"env": self.env, **options},
        )
        return Result(done.returncode, text_of(done.stdout or b""), text_of(done.stderr))

    def run_program(self, *arguments, env=None):
        return self.run_command(self.command(*arguments), env={**self.env, **(env or {})})

    def start_program(self, *arguments, stdin=subprocess.DEVNULL):
        running = Running(self.command(*arguments), self.env, stdin)
        self.addCleanup(running.kill)
        return running

    def start_servers(self, *options):
        servers = Servers(self.folder, self.env, *options)
        self.addCleanup(servers.stop)
        return servers

    def with_servers(self, servers, *arguments):
        """Arguments of a command against these servers."""
        return ["--cloud-config", servers.config, "--app-secret", SECRET, *arguments]

    def sign_in(self, servers=None, platform="youtube"):
        shared = ["--sandbox"] if servers is None else self.with_servers(servers)
        result = self.run_program(*shared, "--json", "login", platform)
        self.assertEqual(result.code, 0, result)
        return result.named("login_done")[0]["user"]

    def signed_in(self, servers=None, platform="youtube"):
        """Somebody who signed in before the test began. A login takes the 3 s of its first poll, so it is made once a
        module, and each test gets a copy of its files and of what the stand-ins know of its tokens."""
        kind = "--sandbox" if servers is None else "servers"
        if kind not in donors:
            donors[kind] = Donor(kind)
        return donors[kind].lend(self.folder, servers, platform)

    def video(self, size=None, name="video.mp4"):
        """The sample video, filled up to `size` bytes with a box that players skip."""
        data = (MEDIA / "sample.mp4").read_bytes()
        if size is not None:
            rest = size - len(data)
            data += rest.to_bytes(4, "big") + b"free" + bytes(rest - 8)
        path = self.folder / name
        path.write_bytes(data)
        return path

    def sparse_file(self, size, name="sparse.mp4"):
        """A file of that size which takes no room on the disk."""
        path = self.folder / name
        with path.open("wb") as file:
            file.truncate(size)
        return path

    def assert_one_line(self, text, *parts):
        """One clear line of the program, with these parts in it, beside those that tell of waiting."""
        lines = [line for line in text.splitlines() if not line.startswith("waiting for ")]
        self.assertEqual(len(lines), 1, text)
        self.assertTrue(lines[0].startswith("mediatransfer: "), text)
        for part in parts:
            self.assertIn(part, lines[0])

    def assert_ends(self, result, code):
        """The exit code, and the same in the last JSON line."""
        self.assertEqual(result.code, code, result)
        self.assertEqual(result.events[-1], {"event": "done", "exit": code}, result)


class SignedInTest(HostTest):
    """Somebody is signed in to `PLATFORM`, on stand-in servers of the test's own."""

    PLATFORM = "youtube"

    def setUp(self):
        super().setUp()
        self.servers = self.start_servers()
        self.user = self.signed_in(self.servers, self.PLATFORM)

    def upload(self, path, *options):
        return self.run_program(*self.with_servers(self.servers, "upload", self.PLATFORM, path, *options))

    def start_upload(self, path, *options):
        return self.start_program(*self.with_servers(self.servers, "upload", self.PLATFORM, path, *options))


CACHE = "data/mediatransfer/cache"


def login_folders(folder, servers):
    """Where the program keeps the logins of a test, and their key; those of the stand-ins within it lie with these."""
    own = folder / CACHE
    if EMULATOR:
        stand_ins, key = own.with_name("cache.sandbox"), own.with_name("cache.key")
    else:
        stand_ins, key = own.with_name("sandbox"), own.parent
    return (own, key) if servers else (stand_ins / "cache", stand_ins)


class Donor:
    """Logins of one kind, in a folder of their own, for the tests to copy."""

    def __init__(self, kind):
        self._host = HostTest()
        self._host.setUp()
        self._servers = None if kind == "--sandbox" else self._host.start_servers()
        self._users = {}
        unittest.addModuleCleanup(self._end, kind)

    def _end(self, kind):
        del donors[kind]
        self._host.doCleanups()

    def lend(self, folder, servers, platform):
        """Copies the platform's login into a test's folder and returns its user."""
        if platform not in self._users:
            self._users[platform] = self._host.sign_in(self._servers, platform)
        (source, source_key), (target, target_key) = [
            login_folders(place, servers) for place in (self._host.folder, folder)
        ]
        for new in ((folder / CACHE).parent, target_key, target):
            new.mkdir(mode=0o700, parents=True, exist_ok=True)
        for path in source.glob(f"*{platform}*"):
            shutil.copy2(path, target)
        shutil.copy2(source_key / "cipher.key", target_key)
        if servers is None:
            shutil.copy2(source_key / "sandbox.db", target_key)
        else:
            lend_tokens(self._servers.state, servers.state)
            (target / f"{platform}_origin").write_text(servers.url + "\n")
        return self._users[platform]


donors = {}


def sha256_of(path):
    return hashlib.sha256(pathlib.Path(path).read_bytes()).hexdigest()
