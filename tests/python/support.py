"""What the tests of the script package share: small servers on 127.0.0.1, and a host that listens to events.

Nothing here sleeps to wait; every wait is for a condition and has a generous limit.
"""

import collections
import contextlib
import ctypes
import http.server
import os
import random
import socket
import ssl
import subprocess
import tempfile
import threading
import time
import unittest
from unittest import mock

from pysocialnetwork import hostcallback
from pysocialnetwork.connection import TimeLimits
from pysocialnetwork.retry import Looks, RetryPolicy
from pysocialnetwork.stopsignal import StopSignal
from pysocialnetwork.wire import Wire

LIMIT = 60
QUICK = RetryPolicy(attempts=4, first_pause=0.01, longest_pause=0.05)
PROXIES = ("http_proxy", "https_proxy", "all_proxy", "no_proxy")

Request = collections.namedtuple("Request", "method path headers body")
Event = collections.namedtuple("Event", "user code text")


def wait_until(condition, what, limit=LIMIT):
    end = time.monotonic() + limit
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.005)
    raise AssertionError("waited in vain for " + what)


class Reply:
    """An answer of a `Server`; `drop` hangs up instead, after that many bytes of the request's body."""

    def __init__(self, status=200, body=b"", headers=(), drop=None):
        self.status = status
        self.body = body if isinstance(body, bytes) else body.encode("utf-8")
        self.headers = dict(headers)
        self.drop = drop


class Server:
    """Answers each request by `answer(request)`, or by `refuse(head)` before it has read the body."""

    def __init__(self, answer, refuse=None):
        self.requests = []
        self.connections = 0
        self._answer = answer
        self._refuse = refuse or (lambda request: None)
        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), self._handler())
        self._server.daemon_threads = True
        self.port = self._server.server_address[1]
        self.url = "http://127.0.0.1:%d" % self.port
        self._thread = threading.Thread(target=self._server.serve_forever, args=(0.02,), daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *unused):
        self._server.shutdown()
        self._server.server_close()
        self._thread.join(LIMIT)

    def _handler(self):
        server = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def setup(self):
                super().setup()
                server.connections += 1

            def handle_any(self):
                head = Request(self.command, self.path, self.headers, b"")
                early = server._refuse(head)
                if early is not None:
                    if early.drop is not None:
                        self.rfile.read(early.drop)
                        return self.hang_up()
                    return self.send(early, close=True)
                body = self.rfile.read(int(self.headers.get("Content-Length") or 0))
                request = Request(self.command, self.path, self.headers, body)
                server.requests.append(request)
                reply = server._answer(request)
                if reply.drop is not None:
                    return self.hang_up()
                self.send(reply)

            def hang_up(self):
                self.close_connection = True
                with contextlib.suppress(OSError):
                    self.connection.shutdown(socket.SHUT_RDWR)

            def send(self, reply, close=False):
                self.send_response(reply.status)
                for name, value in reply.headers.items():
                    self.send_header(name, value)
                if "Content-Length" not in reply.headers:
                    self.send_header("Content-Length", str(len(reply.body)))
                if close:
                    self.send_header("Connection", "close")
                self.end_headers()
                if self.command != "HEAD":
                    # One that was stopped does not wait for it.
                    with contextlib.suppress(OSError):
                        self.wfile.write(reply.body)

            def log_message(self, *unused):
                pass

        for method in ("GET", "HEAD", "POST", "PUT", "PATCH", "DELETE", "CONNECT"):
            setattr(Handler, "do_" + method, Handler.handle_any)
        return Handler


class TlsServer(Server):
    """The same behind the certificate and key of these files."""

    def __init__(self, answer, certificate, key):
        super().__init__(answer)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate, key)
        # Shaken hands are for the thread of each connection.
        self._server.socket = context.wrap_socket(self._server.socket, server_side=True, do_handshake_on_connect=False)
        self.url = "https://127.0.0.1:%d" % self.port


def make_certificate(folder):
    """The files of a certificate for this machine and for service.invalid, and of its key."""
    certificate, key = os.path.join(folder, "c.pem"), os.path.join(folder, "k.pem")
    kind = ["-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2"]
    names = ["-subj", "/CN=test", "-addext", "subjectAltName=IP:127.0.0.1,DNS:service.invalid"]
    subprocess.run(
        ["openssl", "req", *kind, *names, "-keyout", key, "-out", certificate],
        check=True,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
    )
    return certificate, key


@contextlib.contextmanager
def raw_server(serve):
    """`serve(connection)` talks to each connection on a thread of its own; yields the port."""
    listener = socket.create_server(("127.0.0.1", 0))

    def serve_and_close(connection):
        with contextlib.suppress(OSError):
            serve(connection)
        connection.close()

    def accept():
        while True:
            try:
                connection, _ = listener.accept()
            except OSError:
                return
            threading.Thread(target=serve_and_close, args=(connection,), daemon=True).start()

    threading.Thread(target=accept, daemon=True).start()
    try:
        yield listener.getsockname()[1]
    finally:
        with contextlib.suppress(OSError):
            listener.shutdown(socket.SHUT_RDWR)
        listener.close()


def in_turn(*replies):
    """Answers with each reply once, in their order, and with the last one from then on."""
    waiting = list(replies)
    return lambda request: waiting.pop(0) if len(waiting) > 1 else waiting[0]


def make_wire(policy=QUICK, limits=None, stop=None, debug=None):
    lines = debug if debug is not None else []
    return Wire(stop or StopSignal(), policy, limits or TimeLimits(5, LIMIT, LIMIT), "tester", lines.append)


def environment(**variables):
    """The environment with these variables and without proxies."""
    kept = {name: value for name, value in os.environ.items() if name.lower() not in PROXIES}
    return mock.patch.dict(os.environ, {**kept, **variables}, clear=True)


class WireCase(unittest.TestCase):
    """Without the proxies of the environment."""

    def setUp(self):
        clean = environment()
        clean.start()
        self.addCleanup(clean.stop)


class Host:
    """The library's side of a callback: a capsule around a native function, and the events that came."""

    def __init__(self, on_event=None):
        self.events = []
        self._on_event = on_event

        @hostcallback._Function
        def entry(user, code, text):
            event = Event(user, code, text.decode("utf-8"))
            self.events.append(event)
            if self._on_event is not None:
                self._on_event(event)

        self._entry = entry

    def attach(self, uploader, user=0x1234567890):
        uploader.SetCallback(self.capsule(b"SetCallback"))
        uploader.SetUserObj(user)
        return uploader

    def capsule(self, name):
        self._name = name  # the capsule does not copy it
        new = ctypes.PYFUNCTYPE(ctypes.py_object, ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p)(
            ("PyCapsule_New", ctypes.pythonapi)
        )
        return new(ctypes.cast(self._entry, ctypes.c_void_p), name, None)

    def of(self, *codes):
        return [event for event in list(self.events) if event.code in codes]

    def closing(self):
        return self.of(hostcallback.FINISHED, hostcallback.ERROR, hostcallback.TOKEN_INVALID)

    def wait_for_end(self, number=1):
        return wait_until(lambda: self.closing()[number - 1 : number], "the upload's end")[0]

    def texts(self):
        return "\n".join(event.text for event in list(self.events))


def quick(uploader):
    """The same uploader with short pauses, for an impatient test."""
    uploader.job_policy = QUICK
    uploader.call_policy = QUICK
    uploader.looks = Looks(first=0.01, longest=0.05)
    uploader.doubts = Looks(first=0.01, longest=0.05, longest_wait=0.02)
    return uploader


@contextlib.contextmanager
def video_file(size=100000, suffix=".mp4"):
    content = random.Random(size).getrandbits(8 * size).to_bytes(size, "little")
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "vidéo mit Blank" + suffix)
        with open(path, "wb") as file:
            file.write(content)
        yield path, content


def relay(connection, port):
    """Carries bytes both ways until both sides have ended."""
    with socket.create_connection(("127.0.0.1", port)) as other:

        def carry(source, target):
            with contextlib.suppress(OSError):
                while True:
                    block = source.recv(65536)
                    if not block:
                        break
                    target.sendall(block)
                target.shutdown(socket.SHUT_WR)

        back = threading.Thread(target=carry, args=(other, connection), daemon=True)
        back.start()
        carry(connection, other)
        back.join(LIMIT)
