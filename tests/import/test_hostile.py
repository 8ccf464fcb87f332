"""Files that would take minutes or for ever, or end in a trace, where the import is careless."""

from __future__ import annotations

import os
import pathlib
import subprocess
import tempfile
import unittest

from support import ROOT


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
    "deep.eml": HEAD + "".join(f"Content-Type: multipart/mixed; boundary=b{n}\n\n--b{n}\n" for n in range(3000)),
    "deep.ics": "BEGIN:VCALENDAR\n" * 5000, "nested.eml": HEAD + "Content-Type: message/rfc822\n\n" * 3000,
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
