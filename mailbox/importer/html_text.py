"""The plain text of an HTML body, for mails that have no other.

Bodies come from anywhere, so every step is linear in the length of the body, however its brackets and quotes are
broken: where nothing ends a tag or a comment, its first character is text.
"""

from __future__ import annotations

import html as entities
import re

_BREAKS = frozenset(
    "address article aside blockquote center dd div dl dt fieldset footer form h1 h2 h3 h4 h5 h6 header hr li nav ol"
    " p pre section table tr ul".split()
)
_MERGED = ("\n", "\n\n")
_PARAGRAPHS = frozenset("blockquote dl h1 h2 h3 h4 h5 h6 ol p pre table ul".split())
_HIDDEN = frozenset("head script style template title".split())
# What stands in these is no HTML up to their end tag
_RAW_ENDS = {name: re.compile(f"</{name}(?=[\\s/>])", re.IGNORECASE) for name in ("script", "style")}

_TAG_NAME = re.compile(r"/?[A-Za-z][^\s/>]{0,60}")
_BLANKS = re.compile(r"[ \t\r\n\f]+")


def _attribute(tag: str, name: str) -> str:
    """The value of an attribute in the text of a tag."""
    match = re.search(rf"[\s\"']{name}[ \t\r\n]*=[ \t\r\n]*(\"[^\"]*\"|'[^']*'|[^\s>]+)", tag, re.IGNORECASE)
    if not match:
        return ""
    value = match[1]
    return entities.unescape(value[1:-1] if value[0] in "\"'" and value[-1] == value[0] and len(value) > 1 else value)


class _Text:
    """Takes texts and tags in order and puts the text of the page together."""

    def __init__(self) -> None:
        self.out: list[str] = []
        self.hidden = 0
        self.preformatted = 0
        self.link = ""
        self.link_start = 0

    def start(self, name: str, tag: str) -> None:
        if name in _HIDDEN:
            self.hidden += 1
        elif name == "body":
            self.hidden = 0  # a head that was never closed ends here
        self.preformatted += name == "pre"
        self._break(name)
        if name == "li":
            self.out.append("* ")
        elif name in ("td", "th"):
            self.out.append("\t")
        elif name == "a":
            self.link = _attribute(tag, "href")
            self.link_start = len(self.out)
        elif name == "img":
            self.out.append(_attribute(tag, "alt"))

    def end(self, name: str) -> None:
        if name in _HIDDEN:
            self.hidden = 0 if name == "head" else max(0, self.hidden - 1)
        if name == "pre":
            self.preformatted = max(0, self.preformatted - 1)
        if name == "a" and self.link:
            shown = "".join(self.out[self.link_start :]).strip()
            target = self.link.removeprefix("mailto:")
            if shown != target and not self.link.startswith("#"):
                self.out.append(f" <{self.link}>")
            self.link = ""
        self._break(name)

    def text(self, data: str) -> None:
        if self.hidden or not data:
            return
        data = entities.unescape(data)
        if not self.preformatted:
            data = _BLANKS.sub(" ", data)
            if data == " " and self.out and self.out[-1] in _MERGED:
                return
        self.out.append(data)

    def _break(self, name: str) -> None:
        """Breaks around neighbouring blocks are one break, the wider one; those that the author set himself add up."""
        if name == "br":
            self.out.append("\n ")
        elif name in _BREAKS:
            new = "\n\n" if name in _PARAGRAPHS else "\n"
            if self.out and self.out[-1] in _MERGED:
                self.out[-1] = max(self.out[-1], new)
            else:
                self.out.append(new)


class _Ends:
    """Finds what ends a tag or comment. Each mark's last place is looked up once: behind it nothing is searched for."""

    def __init__(self, html: str) -> None:
        self.html = html
        self.last: dict[str, int] = {}

    def find(self, mark: str, start: int) -> int:
        if mark not in self.last:
            self.last[mark] = self.html.rfind(mark)
        return self.html.find(mark, start) if start <= self.last[mark] else -1

    def of_tag(self, start: int) -> int:
        """The place of the `>` that ends a tag, one within quotes passed over; -1 when there is none."""
        first = end = self.find(">", start)
        while end >= 0:
            quotes = [place for mark in "\"'" if (place := self.html.find(mark, start, end)) >= 0]
            # An apostrophe that no equals sign stands before opens nothing
            quote = min(quotes) if quotes else -1
            if quote < 0 or not self.html[start:quote].rstrip().endswith("="):
                return end
            closing = self.find(self.html[quote], quote + 1)
            if closing < 0:
                return end
            start = closing + 1
            end = self.find(">", start)
        return first


def _read(html: str, out: _Text) -> None:
    ends, begun, start = _Ends(html), 0, -1
    while (start := html.find("<", start + 1)) >= 0:
        name = _TAG_NAME.match(html, start + 1)
        if name:
            end = ends.of_tag(name.end())
        elif html.startswith("<!--", start):
            end = ends.find("-->", start + 4)
            end = end + 2 if end >= 0 else ends.find(">", start)
        elif html[start + 1 : start + 2] in ("!", "?", "/"):
            end = ends.find(">", start)
        else:
            continue
        if end < 0:
            continue
        out.text(html[begun:start])
        begun = end + 1
        if name:
            lower = name[0].lower()
            if lower[0] == "/":
                out.end(lower[1:])
            else:
                out.start(lower, html[name.end() : end])
                raw = _RAW_ENDS.get(lower)
                if raw and html[end - 1] != "/":
                    closing = raw.search(html, begun)
                    begun = closing.start() if closing else len(html)
        start = begun - 1
    out.text(html[begun:])


def html_to_text(html: str) -> str:
    """The text that a reader sees, blocks on lines of their own, links behind their text in angle brackets."""
    out = _Text()
    _read(html, out)
    text = "".join(out.out).replace("\xa0", " ")
    text = "\n".join(line.strip(" \t") for line in text.split("\n"))
    text = re.sub(r"\n{3,}", "\n\n", text).strip()
    return text + "\n" if text else ""
