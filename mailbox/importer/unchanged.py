"""Notices that nothing changed since the import that made a mailbox, so that it need not be made again.

Beside the mailbox file lies a small file, `FILE.import`, with a fingerprint of all that the import depends on: every
source's place, size, times and number, the options, the importer itself. It counts only for the very mailbox file that
it was written for.
"""

from __future__ import annotations

import contextlib
import dataclasses
import hashlib
import json
import os
from dataclasses import dataclass
from typing import Any

from .model import Report, Source

SUFFIX = ".import"


@dataclass
class Told:
    """What an import says at its end."""

    status: int
    folders: list[str]
    sums: str
    summary: list[str]
    report: list[str]


def fingerprint(sources: list[Source], report: Report, options: list[str]) -> str:
    """All that an import depends on, as a short text."""
    digest = hashlib.sha256()
    here = os.path.dirname(os.path.abspath(__file__))
    for entry in sorted(os.scandir(here), key=lambda entry: entry.name):
        if entry.name.endswith(".py"):
            status = entry.stat()
            digest.update(f"{entry.name} {status.st_size} {status.st_mtime_ns}\n".encode())
    digest.update("\n".join(options).encode("utf-8", "surrogatepass"))
    for place, why in [*report.passed, *report.problems]:
        digest.update(f"\n{why}\0{place}".encode("utf-8", "surrogatepass"))
    lines = (f"\n{source.path}\0{source.place}\0{source.flags}{source.identity}" for source in sources)
    digest.update("".join(lines).encode("utf-8", "surrogatepass"))
    return digest.hexdigest()


def _identity(path: str) -> list[int]:
    status = os.stat(path)
    return [status.st_dev, status.st_ino, status.st_size, status.st_mtime_ns]


class Earlier:
    """The import that made a mailbox before."""

    def __init__(self, mailbox: str, now: str) -> None:
        self.mailbox = mailbox
        self.path = mailbox + SUFFIX
        self.now = now

    def known(self) -> Told | None:
        """What the earlier import said, when one now would make the same; else None."""
        try:
            with open(self.path, encoding="utf-8") as stream:
                kept: dict[str, Any] = json.load(stream)
            if kept["fingerprint"] != self.now or kept["mailbox"] != _identity(self.mailbox):
                return None
            return Told(**kept["told"])
        except (OSError, ValueError, KeyError, TypeError):
            return None

    def keep(self, told: Told) -> None:
        """Remembers this import. Without it the next import reads everything again, which is no failure."""
        with contextlib.suppress(OSError):
            new = self.path + ".new"
            kept = {"fingerprint": self.now, "mailbox": _identity(self.mailbox), "told": dataclasses.asdict(told)}
            # As private as a mailbox: the report names what is in it.
            with open(new, "w", encoding="utf-8", errors="replace", opener=lambda path, flags: os.open(path, flags, 0o600)) as stream:
                json.dump(kept, stream)
            os.replace(new, self.path)
