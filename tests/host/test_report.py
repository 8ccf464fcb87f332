"""Reports for reading and for other programs: one HTML file that asks nobody for anything, cells that no spreadsheet runs, forms that hold."""

from __future__ import annotations

import base64
import csv
import hashlib
import html.parser
import io
import json
import re
import unittest

from support import ROOT, HostTest, folder, mail, mailbox

HOSTILE = "<script>alert(1)</script>\"'&<img src=http://example.org/x onerror=alert(2)>"


class Outline(html.parser.HTMLParser):
    """Elements and attributes of a page, and its text."""

    def __init__(self, page: str) -> None:
        super().__init__()
        self.elements: list[tuple[str, dict[str, str | None]]] = []
        self.text = ""
        self.feed(page)

    def handle_starttag(self, tag: str, attrs: list[tuple[str, str | None]]) -> None:
        self.elements.append((tag, dict(attrs)))

    def handle_data(self, data: str) -> None:
        self.text += data


class Report(HostTest):
    def setUp(self) -> None:
        super().setUp()
        long = "A line of text.\r\n" * 40
        self.write(mailbox(
            folder(1, "In<b>ox", "IPF.Note", [mail(1, subject=HOSTILE), mail(2, subject=HOSTILE.upper()), mail(3, body=long), mail(4, body=long)])))
        self.run_program("scan", "--format", "html", "--output", "report.html", status=1)
        self.page = (self.dir / "report.html").read_text(encoding="utf-8")
        self.outline = Outline(self.page)

    def test_what_a_reader_looks_for(self) -> None:
        text = self.outline.text
        self.assertIn("2 duplicates in 4 items", text)
        self.assertIn("2 kept, 2 duplicates", text)
        self.assertIn(HOSTILE, text, "the subject reads as it was written")
        self.assertIn("Kept: Mailbox/In<b>ox#1", text)
        self.assertIn("A line of text.", text)

    def test_rows_that_are_compared_as_equal_are_not_marked(self) -> None:
        """The store's own size of a copy is another; what was compared is the size of subject, text and attachments."""
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1), mail(2, properties={"65E20102": "A" * 400})])))
        page = self.run_program("scan", "--format", "html", status=1)
        self.assertNotIn("differs\"", page.split("</style>")[1])
        self.assertRegex(page, r"Size of subject, body and attachments</th><td>42</td><td>42</td>")
        matrix = json.loads(self.run_program("compare", "Inbox#1", "Inbox#2", "--format", "json", status=0))
        self.assertEqual({tuple(row["marks"]) for row in matrix["rows"]}, {(1, 1)})

    def test_nothing_of_the_mailbox_becomes_markup(self) -> None:
        tags = {tag for tag, _ in self.outline.elements}
        self.assertFalse(tags & {"img", "iframe", "object", "b" if "In<b>" in self.page else "img"})
        scripts = re.findall(r"<script([^>]*)>(.*?)</script", self.page, re.S | re.I)
        self.assertEqual([attributes for attributes, _ in scripts], [' type="application/json" id="data"', ' type="text/plain" id="values"', ""])
        self.assertFalse([text for _, text in scripts if "<!--" in text])
        digest = base64.b64encode(hashlib.sha256(scripts[-1][1].encode()).digest()).decode()
        self.assertIn(f"script-src 'sha256-{digest}'\"", self.page, "the page permits its own script alone")
        for tag, attributes in self.outline.elements:
            self.assertFalse([name for name in attributes if name.startswith("on")], f"<{tag}> has a handler")
            for name in ("src", "href"):
                self.assertIn((attributes.get(name) or "data:")[:5], ("data:", "#"), f"<{tag} {name}> points elsewhere")


class Forms(HostTest):
    """Reports and files for other programs."""

    def test_no_cell_of_a_csv_report_is_run(self) -> None:
        subjects = ["=1+1", "+1", "-1", "@SUM(A1)", " =1+1", "\t=1+1", "a,b \"c\"", "x;=1+1", "x\";=1+1", "plain"]
        self.write(mailbox(folder(1, "=Inbox", "IPF.Note", [
            mail(2 * i + twice, subject=subject, body=str(i)) for i, subject in enumerate(subjects) for twice in (0, 1)])))
        report = self.scan(status=1)
        text = self.run_program("scan", "--format", "csv", status=1)
        self.assertTrue(text.startswith("\ufeff"), "spreadsheets are not told that this is UTF-8")
        rows = list(csv.reader(io.StringIO(text[1:], newline=""), strict=True))
        self.assertEqual(rows[0], ["group", "copy", "store", "folder", "identifier", "subject", "reason", "merge"])
        listed = [[str(number), copy, item["folder"].split("/")[0], item["entryId"]] for number, group in enumerate(report["groups"], 1)
                  for copy, items in (("keep", [group["keep"]]), ("duplicate", group["duplicates"])) for item in items]
        self.assertEqual([[row[0], row[1], row[2].lstrip("'"), row[4]] for row in rows[1:]], listed)
        for separator in ",;\t":
            for line in text[1:].split("\r\n"):
                for cell in line.split(separator):
                    self.assertNotRegex(cell, r"^[\"\s]*[=+\-@]", f"a formula, where cells part at {separator!r}: {line}")

    def test_files_are_as_their_schemas_say(self) -> None:
        for file in sorted((ROOT / "host/definitions").glob("*.json")):
            definitions = json.loads(file.read_text(encoding="utf-8"))
            with self.subTest(file.name):
                self.assert_valid(definitions, "definitions" if "kind" in definitions else file.stem)
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1), mail(2), mail(3)])))
        self.run_program("clean", "--yes", "--undo-file", "undo.jsonl", status=0)
        self.run_program("clean", "--undo", "undo.jsonl", status=0)
        lines = [json.loads(line) for line in (self.dir / "undo.jsonl").read_text(encoding="utf-8").splitlines()]
        self.assertEqual({name for line in lines for name in line} - {"check", "format", "version"}, {"target", "move", "moved", "end", "back"})
        for line in lines:
            self.assert_valid(line, "undo")
            with self.assertRaises(AssertionError, msg="a member too many passes"):
                self.assert_valid({**line, "more": 1}, "undo")


if __name__ == "__main__":
    unittest.main()
