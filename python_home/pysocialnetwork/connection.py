"""One HTTP/1.1 connection: opened here, through a proxy where the environment names one, and used by one thread."""

from __future__ import annotations

import base64
import contextlib
import http.client
import ipaddress
import os
import re
import selectors
import socket
import urllib.request
from dataclasses import dataclass
from email.message import Message
from typing import Iterator, Mapping, NamedTuple, Optional
from urllib.parse import SplitResult, unquote, urlsplit

from . import deadlines, dialing, tls
from .bodies import Body
from .errors import Hindered, Transient, UploadError
from .lookup import addresses_of
from .response import Response
from .retry import is_busy
from .stopsignal import StopSignal

LARGEST_ANSWER = 4 * 1024 * 1024
WINDOWS = os.name == "nt"


@dataclass(frozen=True)
class TimeLimits:
    """Seconds. `silence` is the longest time without a byte, `answer` the time from the sent request to its whole
    answer."""

    connect: float = 15.0
    silence: float = 60.0
    answer: float = 120.0


class Origin(NamedTuple):
    scheme: str
    host: str
    port: int

    def authority(self) -> str:
        host = "[%s]" % self.host if ":" in self.host else self.host
        usual = 443 if self.scheme == "https" else 80
        return host if self.port == usual else "%s:%d" % (host, self.port)


class Answer(NamedTuple):
    status: int
    headers: Message
    body: bytes

    def header(self, name: str) -> Optional[str]:
        return self.headers.get(name)


def origin_of(url: str) -> Origin:
    try:
        parts = urlsplit(url)
        port = parts.port
    except ValueError:
        raise UploadError("the service named an address that is no URL") from None
    if parts.scheme not in ("http", "https") or not parts.hostname:
        raise UploadError("the service named an address that is no URL")
    return Origin(parts.scheme, parts.hostname, port or (443 if parts.scheme == "https" else 80))


class Connection:
    """Close it when it has raised."""

    def __init__(self, origin: Origin, stop: StopSignal, limits: TimeLimits) -> None:
        self.origin = origin
        self._stop = stop
        self._limits = limits
        self._proxy = proxy_for(origin)
        self._socket: Optional[socket.socket] = None
        self._http = http.client.HTTPConnection(origin.host, origin.port)
        self._http.response_class = Response

    def open(self) -> None:
        """Trouble on the way here is `unprocessed`: nothing of a request has been sent yet."""
        try:
            self._open()
        except (OSError, http.client.HTTPException, UnicodeError) as error:
            self._stop.check()
            raise _trouble("cannot reach %s" % self.origin.host, error, unprocessed=True) from None

    def close(self) -> None:
        self._http.sock = None
        self._http.close()
        if self._socket is not None:
            # Whatever was sent is answered or lost: a close that fails changes nothing.
            with contextlib.suppress(OSError):
                self._stop.close(self._socket)
            self._socket = None

    def is_stale(self) -> bool:
        """Between exchanges a healthy connection has nothing to read."""
        if self._socket is None:
            return True
        with selectors.DefaultSelector() as selector:
            selector.register(self._socket, selectors.EVENT_READ)
            return bool(selector.select(0))

    def exchange(self, method: str, url: str, headers: Mapping[str, str], body: Optional[Body]) -> Answer:
        """Any status is an answer. Raises Transient when the connection breaks; close it then."""
        assert self._socket is not None
        self._stop.watch(self._socket)
        try:
            try:
                self._send(method, url, headers, body)
            except OSError:
                # A service that refuses a body may answer before it has read it whole, and hang up.
                return self._early_answer()
            return self._answer(self._limits.answer)
        except (OSError, http.client.HTTPException, ValueError) as error:
            self._stop.check()
            raise _trouble("the connection to %s broke" % self.origin.host, error) from None
        finally:
            self._stop.watch(None)

    @property
    def reusable(self) -> bool:
        return self._http.sock is not None

    # --- Opening

    def _open(self) -> None:
        proxy = self._proxy
        context = tls.client_context() if self.origin.scheme == "https" else None
        host, port = (proxy.hostname, proxy.port) if proxy is not None else (self.origin.host, self.origin.port)
        limit = self._limits.connect
        addresses = addresses_of(str(host), int(port or 80), self._stop, limit)
        connection = dialing.connect(addresses, self._stop, limit)
        self._use(connection)
        connection.settimeout(limit)
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        with self._deadline(self._limits.connect * 2):
            if proxy is not None and self.origin.scheme == "https":
                self._tunnel(connection, proxy)
            if context is not None:
                # Registered before the handshake, so that a stop breaks the handshake too.
                secured = context.wrap_socket(
                    connection, server_hostname=self.origin.host, do_handshake_on_connect=False
                )
                self._use(secured)
                secured.do_handshake()
        assert self._socket is not None
        self._socket.settimeout(self._limits.silence)
        self._http.sock = self._socket

    def _use(self, connection: socket.socket) -> None:
        self._socket = connection
        self._stop.watch(connection)

    def _tunnel(self, connection: socket.socket, proxy: SplitResult) -> None:
        host = "[%s]" % self.origin.host if ":" in self.origin.host else self.origin.host
        target = "%s:%d" % (host, self.origin.port)
        lines = ["CONNECT %s HTTP/1.1" % target, "Host: " + target]
        credentials = _credentials(proxy)
        if credentials:
            lines.append("Proxy-Authorization: " + credentials)
        connection.sendall(("\r\n".join(lines) + "\r\n\r\n").encode("ascii"))
        answer = http.client.HTTPResponse(connection, method="CONNECT")
        try:
            answer.begin()
            if answer.status // 100 != 2:
                refusal = "the proxy refused the connection with status %d" % answer.status
                raise Transient(refusal, unprocessed=True) if is_busy(answer.status) else Hindered(refusal)
        finally:
            answer.close()

    # --- Exchanging

    def _send(self, method: str, url: str, headers: Mapping[str, str], body: Optional[Body]) -> None:
        try:
            self._put_head(method, url, headers, body)
        except (ValueError, http.client.HTTPException):
            raise UploadError("a header or address of the request has characters that it must not have") from None
        self._http.endheaders()
        if body is not None:
            for block in body.blocks():
                self._stop.check()
                self._http.send(block)

    def _put_head(self, method: str, url: str, headers: Mapping[str, str], body: Optional[Body]) -> None:
        put = self._http.putheader
        self._http.putrequest(method, self._target(url), skip_host=True, skip_accept_encoding=True)
        put("Host", self.origin.authority())
        for name, value in headers.items():
            put(name, value)
        if self._proxy is not None and self.origin.scheme == "http":
            credentials = _credentials(self._proxy)
            if credentials:
                put("Proxy-Authorization", credentials)
        if body is not None:
            put("Content-Type", body.content_type)
            put("Content-Length", str(body.length))
        elif method in ("POST", "PUT", "PATCH"):
            put("Content-Length", "0")

    def _target(self, url: str) -> str:
        parts = urlsplit(url)
        target = (parts.path or "/") + ("?" + parts.query if parts.query else "")
        if self._proxy is not None and self.origin.scheme == "http":
            return "http://" + self.origin.authority() + target
        return target

    def _answer(self, limit: float) -> Answer:
        with self._deadline(limit):
            response = self._http.getresponse()
            assert isinstance(response, Response)
            body = response.read(LARGEST_ANSWER + 1)
            if len(body) > LARGEST_ANSWER:
                raise Transient("the answer of %s is larger than expected" % self.origin.host)
            if response.is_cut_off():
                raise http.client.IncompleteRead(body)
            keep = not response.will_close and response.isclosed()
            response.close()
        if not keep:
            self._http.close()
        return Answer(response.status, response.headers, body)

    def _early_answer(self) -> Answer:
        self._stop.check()
        answer = self._answer(min(5.0, self._limits.answer))
        self._http.close()
        return answer

    @contextlib.contextmanager
    def _deadline(self, seconds: float) -> Iterator[None]:
        """A peer that sends a byte now and then would outlast the limit of silence: its connection is broken."""

        def expire() -> None:
            current = self._socket
            if current is not None:
                self._stop.shut_down(current)

        deadline = deadlines.clock.start(seconds, expire)
        try:
            yield
        except (OSError, http.client.HTTPException, ValueError):
            if deadline.expired:
                raise socket.timeout("took longer than %d s" % seconds) from None
            raise
        finally:
            deadline.cancel()


def proxy_for(origin: Origin) -> Optional[SplitResult]:
    """The proxy that `http_proxy`, `https_proxy`, `all_proxy` and `no_proxy` choose; never one to this machine itself."""
    if is_loopback(origin.host):
        return None
    proxies = urllib.request.getproxies()
    address = proxies.get(origin.scheme) or proxies.get("all")
    if WINDOWS and address and not any(name.lower().endswith("_proxy") and os.environ[name] for name in os.environ):
        # Some versions of Python give the system's own proxy the kind of the addresses that it is for.
        address = re.sub("^https://", "http://", address)
    if not address or urllib.request.proxy_bypass(origin.host):
        return None
    if "://" not in address:
        address = "http://" + address
    try:
        parts = urlsplit(address)
        parts.port
    except ValueError:
        raise UploadError("the proxy of the environment is no URL") from None
    if parts.scheme != "http":
        # The rest of it may hold a password.
        raise UploadError(
            "the proxy of the environment is of the kind %s; uploads by scripts take http://[USER:PASSWORD@]HOST:PORT "
            "alone (in https_proxy), or go straight to hosts that no_proxy names" % (parts.scheme or "unknown")
        )
    if not parts.hostname:
        raise UploadError("the proxy of the environment names no host")
    return parts


def is_loopback(host: str) -> bool:
    try:
        return ipaddress.ip_address(host).is_loopback
    except ValueError:
        return host == "localhost" or host.endswith(".localhost")


def _credentials(proxy: SplitResult) -> str:
    if proxy.username is None:
        return ""
    pair = "%s:%s" % (unquote(proxy.username), unquote(proxy.password or ""))
    return "Basic " + base64.b64encode(pair.encode("utf-8")).decode("ascii")


def _trouble(what: str, error: BaseException, unprocessed: bool = False) -> UploadError:
    # Without the ssl module there is no certificate to refuse and no https either.
    if type(error).__name__ == "SSLCertVerificationError":
        reason = getattr(error, "verify_message", "") or "unknown"
        return Hindered("%s: its certificate is not accepted (%s)" % (what, reason))
    if isinstance(error, socket.timeout):
        reason = str(error) if "took" in str(error) else "timed out"
    elif isinstance(error, http.client.RemoteDisconnected):
        reason = "closed without an answer"
    elif isinstance(error, OSError):
        reason = error.strerror or str(error) or type(error).__name__
    else:
        reason = "the answer is incomplete or none of HTTP"
    return Transient("%s: %s" % (what, reason), unprocessed, offline=_is_silence(error))


def _is_silence(error: BaseException) -> bool:
    """Whether nobody answered, or not to the end. Who refuses TLS, or talks something else than HTTP, has answered."""
    if isinstance(error, OSError):
        return type(error).__name__ != "SSLError"
    return isinstance(error, http.client.IncompleteRead)
