"""What is to be done: the decisions of the program's report, and where the items lie."""

from __future__ import annotations

import base64
import json
import os
import re
from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import Any

_SET = "{B0A5B6C1-6C1D-4E0F-9B57-2D2B6A7C51E4}"
_PATH, _PLACE, _OFFSET, _LENGTH, _DIGEST = (
    f"{_SET}:{name}" for name in ("Path:001F", "Place:0003", "Offset:0014", "Length:0014", "Digest:0102")
)
_ITEM_LINE = re.compile(rb'\s*\{"id": "([0-9A-F]+)"')
FORMATS = (("quorvel-report", 2), ("quorvel-plan", 1))
DATA_FILES = (".pst", ".ost")


@dataclass(frozen=True)
class Place:
    """Where an item lies: a file, or the entry `number` of one; `digest` of its bytes, None where it has none."""

    path: str
    number: int = 0
    offset: int = 0
    length: int = 0
    digest: str | None = None

    def __str__(self) -> str:
        return f"{self.path}#{self.number}" if self.number else self.path

    @property
    def is_data_file(self) -> bool:
        return self.path.lower().endswith(DATA_FILES)


@dataclass
class Move:
    """A duplicate that is to go, and the copy that stays."""

    title: str
    place: Place
    kept: Place


@dataclass
class Plan:
    """All that is to be done, by files; and what stays, each with why."""

    moves: list[Move] = field(default_factory=list)
    staying: list[tuple[str, str]] = field(default_factory=list)

    def by_file(self) -> dict[str, list[Move]]:
        found: dict[str, list[Move]] = {}
        for move in self.moves:
            found.setdefault(move.place.path, []).append(move)
        return found


def places(mailbox: str) -> dict[str, Place]:
    """Where the items of a mailbox file lie, by their identifiers."""
    found: dict[str, Place] = {}
    with open(mailbox, "rb") as file:
        for line in file:
            match = _ITEM_LINE.match(line)
            if not match or _SET.encode() not in line:
                continue
            values = json.loads(line.strip().rstrip(b","))["properties"]
            if isinstance(path := values.get(_PATH), dict):  # the name is no text: nothing is done about it
                continue
            digest = values.get(_DIGEST)
            found[match[1].decode()] = Place(path, values.get(_PLACE, 0), values.get(_OFFSET, 0), values.get(_LENGTH, 0),
                                             base64.b64decode(digest).hex() if digest else None)  # fmt: skip
    return found


def _groups(report: str) -> Iterator[dict[str, Any]]:
    with open(report, encoding="utf-8") as file:
        found = json.load(file)
    if (found.get("format"), found.get("version")) not in FORMATS:
        raise ValueError(f"{report} is no report, and no plan, of this version of the program")
    yield from found["groups"]


def make_plan(mailbox: str, report: str) -> Plan:
    """What the report says is to move, where it lies in files that may be changed. What stays anywhere stays."""
    where = places(mailbox)
    plan = Plan()
    groups = list(_groups(report))
    kept = {group["keep"]["entryId"] for group in groups}
    for group in groups:
        keep = where.get(group["keep"]["entryId"])
        for item in group["duplicates"]:
            place = where.get(item["entryId"])
            name = str(place) if place else item.get("place") or f"{item['folder']}#{item['number']}"
            if item["move"] is not True:
                why = item.get("why") or item.get("fate") or "the program holds it back"
            elif place is None or keep is None:
                why = "it is not known where it, or the copy that stays, lies"
            elif item["entryId"] in kept:
                why = "another group keeps it"
            elif place.is_data_file:
                why = "data files are never written"
            elif place.digest is None:
                why = "its file cannot be cut there"
            elif place == keep:
                why = "it is the copy that stays"
            else:
                plan.moves.append(Move(item.get("title", ""), place, keep))
                continue
            plan.staying.append((name, why))
    return plan


def root_of(path: str, inputs: list[str]) -> str:
    """The input that a file was found in: the longest that holds it; the file itself when none does."""
    holding = [root for root in inputs if path == root or path.startswith(root.rstrip(os.sep) + os.sep)]
    return max(holding, key=len, default=path)
