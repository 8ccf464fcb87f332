"""Damaged files: whatever bytes are lost, doubled or changed, the import ends, and what it makes can be written."""

from __future__ import annotations

import json
import pathlib
import random
import unittest
from collections.abc import Callable, Iterable

from support import BERLIN, SAMPLES

from importer.calendars import read_calendar
from importer.contacts import read_contacts
from importer.mail import read_mail
from importer.mailbox_file import Identifiers, item_json
from importer.model import Item, Report


def one_mail(data: bytes, place: str, report: Report) -> Iterable[Item]:
    return filter(None, [read_mail(data, place, report)])


def calendars(data: bytes, place: str, report: Report) -> Iterable[Item]:
    return read_calendar(data, place, report, BERLIN)


def damaged(data: bytes, chance: random.Random) -> bytes:
    """A few cuts, doubled pieces and changed bytes; the bytes that formats turn on are the likeliest."""
    out = bytearray(data)
    for _ in range(chance.randint(1, 6)):
        start = chance.randrange(len(out) + 1)
        end = min(len(out), start + chance.choice((1, 1, 2, 10, 200)))
        match chance.randrange(4):
            case 0:
                del out[start:end]
            case 1:
                out[start:start] = out[start:end]
            case 2:
                out[start:end] = bytes(chance.choice(b'\x00\xff\x80:;,="\\\n\r <>@?0Z') for _ in range(end - start))
            case 3:
                out[start:start] = chance.choice(
                    (b"=?utf-8?b?", b"\xed\xa0\x80", b"--", b"BEGIN:", b"99999999T", b"=\n")
                )
    return bytes(out)


class Damage(unittest.TestCase):
    def survive(self, pattern: str, read: Callable[[bytes, str, Report], Iterable[Item]], rounds: int) -> None:
        files = sorted(pathlib.Path(SAMPLES).rglob(pattern))
        self.assertTrue(files)
        chance = random.Random(20240304)
        for turn in range(rounds):
            path = files[turn % len(files)]
            data = damaged(path.read_bytes(), chance)
            try:
                items = list(read(data, path.name, Report()))
                text = json.dumps([item_json(item, "folder", Identifiers()) for item in items], ensure_ascii=False)
                text.encode("utf-8")
            except Exception as error:
                raise AssertionError(f"turn {turn}, {path.name} damaged to {data!r}") from error

    def test_mails(self) -> None:
        self.survive("*.eml", one_mail, 2000)

    def test_contacts(self) -> None:
        self.survive("*.vcf", read_contacts, 1500)

    def test_calendars(self) -> None:
        self.survive("*.ics", calendars, 1500)


if __name__ == "__main__":
    unittest.main()
