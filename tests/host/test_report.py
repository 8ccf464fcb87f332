"""The HTML report: one file that asks nobody for anything, escapes everything, and opens in a browser."""

from __future__ import annotations

import html.parser
import json
import pathlib
import shutil
import subprocess
import unittest

from support import HostTest, folder, mail, mailbox

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

    def test_nothing_of_the_mailbox_becomes_markup(self) -> None:
        tags = {tag for tag, _ in self.outline.elements}
        self.assertFalse(tags & {"script", "img", "iframe", "object", "b" if "In<b>" in self.page else "script"})
        for tag, attributes in self.outline.elements:
            self.assertFalse([name for name in attributes if name.startswith("on")], f"<{tag}> has a handler")
            for name in ("src", "href"):
                self.assertIn((attributes.get(name) or "data:")[:5], ("data:", "#"), f"<{tag} {name}> points elsewhere")

    @unittest.skipUnless(shutil.which("chromium"), "no Chromium on this machine")
    def test_opens_in_a_browser_without_errors_or_requests(self) -> None:
        log = self.dir / "net.json"
        result = subprocess.run(
            ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-extensions",
             "--disable-background-networking", "--disable-component-update", "--disable-sync", "--enable-logging=stderr",
             f"--user-data-dir={self.dir / 'profile'}", f"--log-net-log={log}", "--dump-dom", (self.dir / "report.html").as_uri()],
            capture_output=True, timeout=180, text=True, check=True)
        self.assertIn("2 duplicates in 4 items", result.stdout)
        self.assertNotIn("CONSOLE", result.stderr, "the page wrote to the browser's console")
        requests = [line for line in pathlib.Path(log).read_text(errors="replace").splitlines()
                    if '"url":"http' in line and "example.org" in line]
        self.assertEqual(requests, [], "the page asked somebody for something")


if __name__ == "__main__":
    unittest.main()
