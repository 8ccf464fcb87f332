"""The line on a terminal that says how far an import is."""

from __future__ import annotations

import sys
import time
from types import TracebackType

from .model import Source

INTERVAL = 0.2  # seconds between two states of the line


class Progress:
    """Shows files, rate and time left while files are read; nothing where nobody looks."""

    def __init__(self, sources: list[Source], quiet: bool) -> None:
        self.shown = not quiet and sys.stderr.isatty()
        self.files_in_all = len(sources)
        self.bytes_in_all = sum(source.size for source in sources) or 1
        self.files = self.bytes = 0
        self.begun = self.last = time.monotonic()

    def __enter__(self) -> Progress:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None) -> None:
        if self.shown:
            print("\r\x1b[K", end="", file=sys.stderr, flush=True)

    def step(self, files: int, size: int) -> None:
        self.files += files
        self.bytes += size
        now = time.monotonic()
        if self.shown and now - self.last >= INTERVAL:
            self.last = now
            print(f"\r\x1b[K{self.line(now - self.begun)}", end="", file=sys.stderr, flush=True)

    def line(self, seconds: float) -> str:
        """The state after so many seconds. The time left goes by bytes, as files differ in size."""
        share = min(self.bytes / self.bytes_in_all, 1)
        left = seconds / share - seconds if share else 0
        return (
            f"{self.files:,} of {self.files_in_all:,} files, {self.bytes / 1e6:,.0f} of {self.bytes_in_all / 1e6:,.0f} MB,"
            f" {self.files / seconds if seconds else 0:,.0f} files a second, {left:,.0f} s left"
        )
