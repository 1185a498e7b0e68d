"""Bodies of requests. A body knows its length and can be produced again for another try."""

from __future__ import annotations

import contextlib
import json
import mimetypes
import os
import secrets
import stat
from typing import Any, BinaryIO, Callable, Iterator, List, Mapping, Optional, Tuple, Union
from urllib.parse import urlencode

from .errors import FileTrouble, FileUnreadable

BLOCK = 64 * 1024

# Pairs instead of a mapping where a name may come twice.
Fields = List[Tuple[str, str]]


class Body:
    """`blocks` may be called once for each try and yields `length` bytes."""

    length: int
    content_type: str

    def blocks(self) -> Iterator[bytes]:
        raise NotImplementedError


class Bytes(Body):
    def __init__(self, content: bytes, content_type: str = "application/octet-stream") -> None:
        self._content = content
        self.length = len(content)
        self.content_type = content_type

    def blocks(self) -> Iterator[bytes]:
        if self._content:
            yield self._content


def form(fields: Mapping[str, str]) -> Bytes:
    return Bytes(urlencode(fields).encode("ascii"), "application/x-www-form-urlencoded")


def json_body(value: Any) -> Bytes:
    return Bytes(json.dumps(value).encode("ascii"), "application/json; charset=UTF-8")


class LocalFile:
    """A file that is sent. Open from `with` to its end; used by one thread."""

    def __init__(self, path: str) -> None:
        self.name = os.path.basename(path)
        kind = mimetypes.guess_type(self.name)[0] or ""
        # Machines name strange kinds for some endings, ".ts" among them, which services refuse.
        self.content_type = kind if kind.startswith(("video/", "image/")) else "application/octet-stream"
        self._file = _open(path)
        status = os.fstat(self._file.fileno())
        self._begun = _state(status)
        self.size = status.st_size
        # Another file, and a later version of this one, has another; the last number counts what a time may hide.
        self.identity = (*self._begun, status.st_dev, status.st_ino, status.st_ctime_ns)
        if self.size == 0:
            self._file.close()
            raise FileTrouble("the file %s is empty" % path)

    def __enter__(self) -> LocalFile:
        return self

    def __exit__(self, *unused: object) -> None:
        # Nothing is written, so that a close that fails loses nothing.
        with contextlib.suppress(OSError):
            self._file.close()

    def part(self, offset: int, length: int, on_sent: Optional[Callable[[int], None]] = None) -> FilePart:
        """`on_sent` is told the position in the file that has been sent so far."""
        return FilePart(self, offset, length, on_sent)

    def whole(self) -> FilePart:
        return self.part(0, self.size)

    def read(self, offset: int, length: int) -> bytes:
        try:
            self._file.seek(offset)
            block = self._file.read(length)
            state = _state(os.fstat(self._file.fileno()))
        except OSError as error:
            raise FileUnreadable("cannot read the file %s: %s" % (self.name, error.strerror)) from None
        # Half of one version and half of the next would be a broken video.
        if len(block) != length or state != self._begun:
            raise FileTrouble("the file %s changed while it was being sent" % self.name)
        return block


def _state(status: os.stat_result) -> Tuple[int, int]:
    return status.st_size, status.st_mtime_ns


class FilePart(Body):
    """A stretch of a file, read block by block while it is sent."""

    def __init__(
        self, file: LocalFile, offset: int, length: int, on_sent: Optional[Callable[[int], None]] = None
    ) -> None:
        self._file = file
        self._offset = offset
        self._on_sent = on_sent
        self.length = length
        self.content_type = file.content_type

    def blocks(self) -> Iterator[bytes]:
        position, end = self._offset, self._offset + self.length
        while position < end:
            size = min(BLOCK, end - position)
            yield self._file.read(position, size)
            position += size
            if self._on_sent is not None:
                self._on_sent(position)


class Multipart(Body):
    """multipart/form-data: text fields first, then at most one file."""

    def __init__(
        self, fields: Fields, file_field: str = "", file_name: str = "", file: Optional[FilePart] = None
    ) -> None:
        boundary = "part-" + secrets.token_hex(16)
        head: List[str] = []
        for name, value in fields:
            disposition = 'Content-Disposition: form-data; name="%s"' % _quoted(name)
            head += ["--%s\r\n" % boundary, disposition, "\r\n\r\n", value, "\r\n"]
        if file is not None:
            names = (_quoted(file_field), _quoted(file_name))
            head += ["--%s\r\n" % boundary, 'Content-Disposition: form-data; name="%s"; filename="%s"\r\n' % names]
            head += ["Content-Type: %s\r\n\r\n" % file.content_type]
        self._head = "".join(head).encode("utf-8")
        self._file = file
        self._tail = ("%s--%s--\r\n" % ("\r\n" if file is not None else "", boundary)).encode("ascii")
        self.length = len(self._head) + (file.length if file is not None else 0) + len(self._tail)
        self.content_type = "multipart/form-data; boundary=" + boundary

    def blocks(self) -> Iterator[bytes]:
        yield self._head
        if self._file is not None:
            yield from self._file.blocks()
        yield self._tail


def _quoted(text: str) -> str:
    return text.replace('"', "%22").replace("\r", "%0D").replace("\n", "%0A")


def _open(path: str) -> BinaryIO:
    # The path is UTF-8 whatever the locale says, which an embedded interpreter may not have followed.
    name: Union[str, bytes] = path if os.name == "nt" else path.encode("utf-8")
    try:
        # A pipe would let the opening wait for ever.
        if not stat.S_ISREG(os.stat(name).st_mode):
            raise FileTrouble("cannot open the file %s: it is no regular file" % path)
        return open(name, "rb")
    except (OSError, ValueError) as error:
        reason = error.strerror if isinstance(error, OSError) else str(error)
        raise FileTrouble("cannot open the file %s: %s" % (path, reason)) from None
