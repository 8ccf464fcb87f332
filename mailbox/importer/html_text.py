"""The plain text of an HTML body, for mails that have no other."""

from __future__ import annotations

import re
from html.parser import HTMLParser

_BREAKS = frozenset(
    "address article aside blockquote center dd div dl dt fieldset footer form h1 h2 h3 h4 h5 h6 header hr li nav ol"
    " p pre section table tr ul".split()
)
_MERGED = ("\n", "\n\n")
_PARAGRAPHS = frozenset("blockquote dl h1 h2 h3 h4 h5 h6 ol p pre table ul".split())
_HIDDEN = frozenset("head script style template title".split())


class _Text(HTMLParser):
    def __init__(self) -> None:
        super().__init__(convert_charrefs=True)
        self.out: list[str] = []
        self.hidden = 0
        self.preformatted = 0
        self.link = ""
        self.link_start = 0

    def handle_starttag(self, tag: str, attrs: list[tuple[str, str | None]]) -> None:
        if tag in _HIDDEN:
            self.hidden += 1
        elif tag == "body":
            self.hidden = 0  # a head that was never closed ends here
        self.preformatted += tag == "pre"
        self._break(tag)
        values = dict(attrs)
        if tag == "li":
            self.out.append("* ")
        elif tag in ("td", "th"):
            self.out.append("\t")
        elif tag == "a":
            self.link = values.get("href") or ""
            self.link_start = len(self.out)
        elif tag == "img":
            self.out.append(values.get("alt") or "")

    def handle_endtag(self, tag: str) -> None:
        if tag in _HIDDEN:
            self.hidden = 0 if tag == "head" else max(0, self.hidden - 1)
        if tag == "pre":
            self.preformatted = max(0, self.preformatted - 1)
        if tag == "a" and self.link:
            shown = "".join(self.out[self.link_start :]).strip()
            target = self.link.removeprefix("mailto:")
            if shown != target and not self.link.startswith("#"):
                self.out.append(f" <{self.link}>")
            self.link = ""
        self._break(tag)

    def handle_data(self, data: str) -> None:
        if self.hidden:
            return
        if not self.preformatted:
            data = re.sub(r"[ \t\r\n\f]+", " ", data)
            if data == " " and self.out and self.out[-1] in _MERGED:
                return
        self.out.append(data)

    def _break(self, tag: str) -> None:
        """Breaks around neighbouring blocks are one break, the wider one; those that the author set himself add up."""
        if tag == "br":
            self.out.append("\n ")
        elif tag in _BREAKS:
            new = "\n\n" if tag in _PARAGRAPHS else "\n"
            if self.out and self.out[-1] in _MERGED:
                self.out[-1] = max(self.out[-1], new)
            else:
                self.out.append(new)


def html_to_text(html: str) -> str:
    """The text that a reader sees, blocks on lines of their own, links behind their text in angle brackets."""
    parser = _Text()
    parser.feed(html)
    parser.close()
    text = "".join(parser.out).replace("\xa0", " ")
    text = re.sub(r"[ \t]*\n[ \t]*", "\n", text)
    text = re.sub(r"\n{3,}", "\n\n", text).strip()
    return text + "\n" if text else ""
