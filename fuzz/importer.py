#!/usr/bin/python3
"""Damaged files: whatever bytes are lost, doubled or changed, the import ends, and what it makes can be written.

usage: importer.py [--rounds N] [--seed S] [FOLDER]

N rounds of each format, with the files below FOLDER as the corpus: the sample mailbox when none is named. The same seed gives the
same files. Message and data files are tried where FOLDER has some; what is not tried is said.
"""
from __future__ import annotations

import argparse
import json
import pathlib
import random
import sys
import tempfile
from zoneinfo import ZoneInfo

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "mailbox"))

from importer import reading  # noqa: E402
from importer.model import Report, Source  # noqa: E402

# How many in a hundred of the rounds are spent on a format: reading a data file takes long
FORMATS = (("mail", "*.eml", 100), ("emlx", "*.eml", 20), ("mbox", "*.mbox", 20), ("contacts", "*.vcf", 70),
           ("calendar", "*.ics", 70), ("message", "*.msg", 30), ("data", "*.[op]st", 1))


def overwritten(data: bytes, chance: random.Random) -> bytes:
    """A big file with bytes changed in many places, and now and then cut."""
    out = bytearray(data)
    for _ in range(chance.choice((5, 50, 500))):
        start = chance.randrange(len(out) - 8)
        out[start : start + chance.choice((1, 4, 8))] = chance.choice((b"\0", b"\xff" * 4, b"\x01", chance.randbytes(8)))
    return bytes(out[: chance.randrange(len(out))] if chance.random() < 0.2 else out)


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


class Spool(reading.Spool):
    """Takes lines and keeps none."""

    def __init__(self) -> None:
        self.end = 0

    def add(self, line: bytes) -> tuple[int, int]:
        line.decode("utf-8")
        json.loads(line)
        return 0, len(line)


def run(kind: str, files: list[pathlib.Path], rounds: int, seed: int) -> None:
    """Nothing but what is damaged is lost, and no guard is needed to hold the import together."""
    with tempfile.NamedTemporaryFile() as file:
        for turn in range(rounds):
            chance = random.Random(f"{kind} {seed} {turn}")
            path = files[turn % len(files)]
            data = path.read_bytes()
            if kind == "data":
                data = overwritten(data, chance)
            else:
                data = damaged(b"%d\n%s" % (len(data), data) if kind == "emlx" else data, chance)
            pathlib.Path(file.name).write_bytes(data)
            try:
                for task in reading.tasks_of(0, Source(file.name, path.name, kind, len(data)), Report()):
                    said = reading.perform(task, Spool(), ZoneInfo("Europe/Berlin")).report.problems
                    caught = [text for _, text in said if "cannot be read: " in text]
                    assert not caught, caught
            except BaseException:
                print(f"{kind}: seed {seed}, round {turn}: {path.name} damaged to {data[:3000]!r}", file=sys.stderr)
                raise


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=1000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("folder", nargs="?", type=pathlib.Path, default=ROOT / "samples")
    options = parser.parse_args()
    for kind, pattern, share in FORMATS:
        files = sorted(options.folder.rglob(pattern))
        rounds = -(-options.rounds * share // 100)
        if files:
            run(kind, files, rounds, options.seed)
        print(f"{kind}: {rounds} rounds" if files else f"{kind}: skipped, {options.folder} has no {pattern}")


if __name__ == "__main__":
    main()
