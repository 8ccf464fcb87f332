"""Damaged files: whatever bytes are lost, doubled or changed, the import ends, and what it makes can be written."""

from __future__ import annotations

import json
import os
import pathlib
import random
import subprocess
import tempfile
import unittest

from support import BERLIN, DATA, ROOT, SAMPLES

from importer import reading
from importer.model import Report, Source


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


class Damage(unittest.TestCase):
    def test_files_of_every_format(self) -> None:
        """Nothing but what is damaged is lost, and no guard is needed to hold the import together."""
        table = [("mail", SAMPLES, "*.eml", 1000), ("emlx", SAMPLES, "*.eml", 200), ("mbox", SAMPLES, "*.mbox", 200),
                 ("contacts", SAMPLES, "*.vcf", 700), ("calendar", SAMPLES, "*.ics", 700),
                 ("message", DATA, "*.msg", 300 if DATA.is_dir() else 0), ("data", DATA, "*.[op]st", 6 if DATA.is_dir() else 0)]  # fmt: skip
        chance = random.Random(20240304)
        with tempfile.NamedTemporaryFile() as file:
            for kind, top, pattern, rounds in table:
                files = sorted(pathlib.Path(top).rglob(pattern))
                for turn in range(rounds):
                    path = files[turn % len(files)]
                    data = path.read_bytes()
                    if kind == "data":
                        data = overwritten(data, chance)
                    else:
                        data = damaged(b"%d\n%s" % (len(data), data) if kind == "emlx" else data, chance)
                    pathlib.Path(file.name).write_bytes(data)
                    source = Source(file.name, path.name, kind, len(data))
                    for task in reading.tasks_of(0, source, Report()):
                        said = reading.perform(task, Spool(), BERLIN).report.problems
                        caught = [text for _, text in said if "cannot be read: " in text]
                        self.assertFalse(caught, f"turn {turn}, {path.name} damaged to {data[:3000]!r}")


HEAD = "From: a@example.org\nSubject: x\nDate: Mon, 4 Mar 2024 12:00:00 +0000\n"
HTML = HEAD + "MIME-Version: 1.0\nContent-Type: text/html; charset=utf-8\n\n"
EVENT = "BEGIN:VCALENDAR\nBEGIN:VEVENT\n{}\nEND:VEVENT\nEND:VCALENDAR\n"
ZONE = """BEGIN:VCALENDAR\nBEGIN:VTIMEZONE\nTZID:my\n{}END:VTIMEZONE\nBEGIN:VEVENT\nDTSTART;TZID=my:20240101T000000
END:VEVENT\nEND:VCALENDAR\n"""
RULE = "BEGIN:STANDARD\nDTSTART:19700101T000000\nTZOFFSETFROM:+0200\nTZOFFSETTO:+0100\nRRULE:FREQ=YEARLY{}\nEND:STANDARD\n"

# Each would take minutes or for ever where some step takes the square of the length, or ends in a trace
HOSTILE: dict[str, str] = {
    "keys": "Key: value\r\n" * 40,
    "returns.eml": "\r" * 100_000, "returns-in-head.eml": HEAD + "\r" * 100_000, "returns.vcf": "\r" * 100_000 + "x",
    "tags.eml": HTML + "<a" * 100_000, "comments.eml": HTML + "<!--" * 50_000, "quotes.eml": HTML + "<a =\"'>" * 30_000,
    "section.eml": HTML + "<![foo[", "blanks.eml": HTML + "<pre>" + " " * 200_000 + "x",
    "words.eml": HEAD + "X: y\nSubject: " + "=?u?q?" * 20_000 + "\n\n",
    "parentheses.eml": HEAD + "To: " + "(" * 50_000 + "\n\n", "parameters.eml": HEAD + "Content-Type: " + "a;" * 50_000,
    "parts.eml": HEAD + "Content-Type: multipart/mixed; boundary=b\n\n" + "--b\n\nx\n" * 10_000,
    "nested.eml": HEAD + "Content-Type: message/rfc822\n\n" * 3000,
    "charset.eml": HEAD + "Content-Type: text/plain; charset=idna\nContent-Transfer-Encoding: base64\n\nQUJ*D\xff",
    "punycode.vcf": "BEGIN:VCARD\nNOTE;CHARSET=punycode;ENCODING=QUOTED-PRINTABLE:" + "a=FF-" * 50_000,
    "photo.vcf": "BEGIN:VCARD\nPHOTO;ENCODING=b:\n" + ("QUJD" * 19 + "\n") * 80_000 + "END:VCARD\n",
    "unknown.vcf": "BEGIN:VCARD\n" + "X-A:b\n" * 20_000, "children.vcf": "BEGIN:VCARD\n"
    + "".join(f"X-CHILD:{number}\n" for number in range(20_000)),
    "last-day.ics": EVENT.format("DTSTART:99991231T235959Z"), "ends.ics": EVENT.format("DTSTART:99991231\nDURATION:P9D"),
    "task.ics": EVENT.replace("VEVENT", "VTODO").format("DTSTART:99991231\nDURATION:P9D"),
    "until.ics": ZONE.format(RULE.format(";UNTIL=99999999T999999Z")), "rules.ics": ZONE.format(RULE.format("") * 2000),
    "standing.ics": ZONE.format(RULE.format(";INTERVAL=0")),
    "zone.ics": EVENT.format("DTSTART;TZID=" + "a/" * 30_000 + ":20240101T000000"),
}  # fmt: skip


class Hostile(unittest.TestCase):
    """Whatever lies in a folder, the import reads what can be read, in a time that grows with the bytes alone."""

    def test_a_folder_of_the_worst_files(self) -> None:
        with tempfile.TemporaryDirectory() as name:
            top = pathlib.Path(name, "box")
            for part in ("cur", "new", "tmp"):
                (top / "maildir" / part).mkdir(parents=True)
            for place in ("one", "two", "cur/three"):
                (top / "maildir" / place).symlink_to(top / "maildir")
            os.mkfifo(top / "maildir/new/pipe")
            os.mkfifo(top / "pipe.eml")
            for name, text in HOSTILE.items():
                (top / name).write_text(text, "latin-1", newline="")
            (top / "z-good.eml").write_text(HEAD + "\nbody")
            result = subprocess.run([ROOT / "mailbox/import", top], text=True, capture_output=True, timeout=600)
        self.assertEqual(result.returncode, 1, result.stderr[-2000:])
        self.assertIn('"body"', result.stdout, "a good mail behind bad ones is read")
        self.assertIn("passed over, links: 3;", result.stderr)
        self.assertIn("passed over, neither files nor folders: 2\n", result.stderr)
        self.assertNotIn("Error", result.stderr, "the guard is for what nobody thought of")


if __name__ == "__main__":
    unittest.main()
