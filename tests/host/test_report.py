"""Reports for reading and for other programs: one HTML file that asks nobody for anything, cells that no spreadsheet runs, forms that hold."""

from __future__ import annotations

import csv
import html
import html.parser
import io
import json
import pathlib
import shutil
import subprocess
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
        self.assertFalse(tags & {"script", "img", "iframe", "object", "b" if "In<b>" in self.page else "script"})
        for tag, attributes in self.outline.elements:
            self.assertFalse([name for name in attributes if name.startswith("on")], f"<{tag}> has a handler")
            for name in ("src", "href"):
                self.assertIn((attributes.get(name) or "data:")[:5], ("data:", "#"), f"<{tag} {name}> points elsewhere")

    def browser(self, page: str, *arguments: str) -> subprocess.CompletedProcess[str]:
        (self.dir / "page.html").write_text(page, encoding="utf-8")
        return subprocess.run(
            ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-extensions",
             "--disable-background-networking", "--disable-component-update", "--disable-sync", "--enable-logging=stderr",
             f"--user-data-dir={self.dir / 'profile'}", *arguments, (self.dir / "page.html").as_uri()],
            capture_output=True, timeout=180, text=True, check=True)

    @unittest.skipUnless(shutil.which("chromium"), "no Chromium on this machine")
    def test_opens_in_a_browser_without_errors_or_requests(self) -> None:
        log = self.dir / "net.json"
        result = self.browser(self.page, f"--log-net-log={log}", "--dump-dom")
        self.assertIn("2 duplicates in 4 items", result.stdout)
        self.assertNotIn("CONSOLE", result.stderr, "the page wrote to the browser's console")
        requests = [line for line in pathlib.Path(log).read_text(errors="replace").splitlines()
                    if '"url":"http' in line and "example.org" in line]
        self.assertEqual(requests, [], "the page asked somebody for something")

    @unittest.skipUnless(shutil.which("chromium"), "no Chromium on this machine")
    def test_chart_on_a_narrow_screen(self) -> None:
        """At 400 pixels each folder is one block: name and count on a line, the bar below them in full width."""
        measure = """<script>document.body.dataset.boxes = JSON.stringify([...document.querySelectorAll('.bars .row')].map(
            row => [row, ...row.children].map(e => { const b = e.getBoundingClientRect(); return [b.left, b.top, b.right, b.bottom]; })));</script>"""
        page = "".join(line for line in self.page.splitlines(keepends=True) if "Content-Security-Policy" not in line)
        # The smallest window of a browser is wider than a telephone: the page stands in a frame.
        page = page.replace("</body>", measure + "</body>")
        (self.dir / "inner.html").write_text(page, encoding="utf-8")
        outer = ("<body><iframe src='inner.html' style='width:400px;height:900px;border:0'></iframe><script>onload = () => "
                 "{ document.body.dataset.boxes = frames[0].document.body.dataset.boxes; }</script></body>")
        dom = self.browser(outer, "--allow-file-access-from-files", "--dump-dom").stdout
        boxes = json.loads(html.unescape(dom.split('data-boxes="')[1].split('"')[0]))
        self.assertTrue(boxes)
        for row, name, bar, count in boxes:
            self.assertGreaterEqual(bar[1], max(name[3], count[3]) - 1, "the bar is below the name and the count")
            self.assertLess(abs((bar[2] - bar[0]) - (row[2] - row[0])), 2, "the bar has the full width")
            self.assertLessEqual(row[2], 400, "nothing reaches beyond the screen")

    @unittest.skipUnless(shutil.which("chromium") and shutil.which("pdftotext"), "no Chromium or pdftotext on this machine")
    def test_folded_groups_print(self) -> None:
        folded = self.page.replace('<details class="group" open>', '<details class="group">')
        self.browser(folded, f"--print-to-pdf={self.dir / 'page.pdf'}")
        text = subprocess.run(["pdftotext", self.dir / "page.pdf", "-"], capture_output=True, text=True, check=True).stdout
        self.assertIn("Kept: Mailbox/In", text)
        self.assertIn("A line of text.", text)


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
        self.assertEqual(rows[0], ["group", "copy", "store", "folder", "identifier", "subject", "reason"])
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
