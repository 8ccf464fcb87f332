"""The journal of a clean: one line of JSON for each step, on the disk before the step is taken.

A line that was cut short stands for a step that was not taken.
"""

from __future__ import annotations

import json
import os
from typing import Any

from .files import sync_folder

HEAD = {"format": "quorvel-clean-journal", "version": 1}


class Journal:
    """A journal that is being written; the file is made with the first step, or `further` steps are added to it."""

    def __init__(self, path: str, further: bool = False) -> None:
        self.path = path
        self.handle = os.open(path, os.O_RDWR | os.O_APPEND | os.O_CLOEXEC) if further else -1
        if further:  # half a line at the end stands for nothing, and nothing may stand behind it
            with open(path, "rb") as file:
                os.ftruncate(self.handle, file.read().rfind(b"\n") + 1)

    def write(self, **step: Any) -> None:
        if self.handle < 0:
            self.handle = os.open(self.path, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_APPEND | os.O_CLOEXEC, 0o600)
            self._line(HEAD)
            sync_folder(os.path.dirname(os.path.abspath(self.path)))
        self._line(step)

    def _line(self, step: dict[str, Any]) -> None:
        line = (json.dumps(step) + "\n").encode()
        before = os.fstat(self.handle).st_size
        try:
            while line:
                line = line[os.write(self.handle, line) :]
            os.fsync(self.handle)
        except OSError:
            os.ftruncate(self.handle, before)  # half a line in the middle would make the rest unreadable
            raise

    def close(self) -> None:
        if self.handle >= 0:
            os.close(self.handle)


def read_journal(path: str) -> list[dict[str, Any]]:
    """The steps of a journal in order; ValueError when it is none."""
    with open(path, encoding="utf-8") as file:
        lines = file.read().split("\n")
    steps: list[dict[str, Any]] = []
    for number, line in enumerate(lines):
        try:
            step = json.loads(line)
        except ValueError:
            if number == len(lines) - 1:  # cut short, or the empty text behind the last line
                break
            raise ValueError(f"line {number + 1} is damaged") from None
        steps.append(step)
    if not steps and lines == [lines[-1]] and json.dumps(HEAD).startswith(lines[-1]):
        return []  # killed before the first step
    if not steps or not isinstance(steps[0], dict) or steps[0].get("format") != HEAD["format"]:
        raise ValueError("it is no journal of a clean")
    if steps[0].get("version") != HEAD["version"]:
        raise ValueError("it is of another version")
    return steps[1:]
