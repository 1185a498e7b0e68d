"""What the host says about a video, as far as the platforms treat it alike."""

from __future__ import annotations

from abc import ABC, abstractmethod
from typing import ClassVar, List

from . import texts
from .bodies import LocalFile


class Details(ABC):
    platform: ClassVar[str]

    @abstractmethod
    def _debug(self, text: str) -> None:
        """A line for the log."""

    def check_thumbnail(self, path: str) -> None:
        """Before the video is sent: a picture that can't be read would be noticed too late."""
        if path:
            with LocalFile(path):
                pass

    def leave_out(self, what: str, value: str) -> None:
        """Tells that the platform has no place for what the host gave."""
        if value:
            self._debug("%s takes no %s" % (self.platform, what))

    def tags_within(self, tags: str, limit: int, longest: int, quotes: bool = False) -> List[str]:
        """What of the host's tags the platform has room for, told where that is not all."""
        wanted = texts.split_tags(tags)
        kept = texts.tags_that_fit(wanted, limit, longest, quotes)
        if len(kept) < len(wanted):
            self._debug("%s has no room for %d of %d tags" % (self.platform, len(wanted) - len(kept), len(wanted)))
        return kept
