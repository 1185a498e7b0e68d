"""Answers of HTTP/1.1 that know when they were cut off, which the standard library reads without complaint."""

from __future__ import annotations

import http.client
from typing import Any


class _Lines:
    """A file whose lines have to be whole. In the head of an answer its end may not come either."""

    def __init__(self, file: Any) -> None:
        self._file = file
        self.in_head = True
        self.cut = False

    def readline(self, *limit: int) -> bytes:
        line: bytes = self._file.readline(*limit)
        if not line.endswith(b"\n") and (line or self.in_head):
            self.cut = True
        return line

    def __getattr__(self, name: str) -> Any:
        return getattr(self._file, name)


class Response(http.client.HTTPResponse):
    """Raises IncompleteRead for a head that ends with the connection. Ask `is_cut_off` when the body is read."""

    _lines: Any = None

    def begin(self) -> None:
        if self._lines is not None:
            return
        self._lines = _Lines(self.fp)
        setattr(self, "fp", self._lines)
        super().begin()
        if self._lines.cut:
            raise http.client.IncompleteRead(b"")
        self._lines.in_head = False

    def is_cut_off(self) -> bool:
        """`length` counts what is still to come. A body that ends with the connection has to be announced, since one
        that was cut off looks the same."""
        if self.length or self._lines.cut:
            return True
        announced = self.getheader("Connection", "").lower() == "close" or self.version < 11
        return self.length is None and not self.chunked and not announced
