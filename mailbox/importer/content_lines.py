"""Content lines, the form that vCard and iCalendar share: `group.NAME;PARAM=value:value`.

Splitting is done here rather than by the libraries that read the values, because a file with one bad line shall lose
that line only, and because values must come through exactly as they were written.
"""

from __future__ import annotations

import base64
import binascii
import quopri
import re
from collections.abc import Iterator
from dataclasses import dataclass, field

from .charsets import decode_bytes
from .model import Report, shortened


DEEPEST_NESTING = 50


@dataclass
class Line:
    """One content line. Parameter names are upper case; a parameter without a name (`TEL;HOME;FAX`) is a TYPE."""

    name: str
    value: str
    params: dict[str, list[str]] = field(default_factory=dict)
    group: str = ""
    source: str = ""
    number: int = 0

    def param(self, name: str) -> str:
        values = self.params.get(name)
        return values[0] if values else ""

    @property
    def types(self) -> list[str]:
        """The TYPE parameters in upper case and in order, `TYPE=home,fax` and `TYPE="home,fax"` taken apart."""
        return [part.strip().upper() for value in self.params.get("TYPE", []) for part in value.split(",") if part]

    @property
    def encoding(self) -> str:
        return self.param("ENCODING").upper()

    @property
    def is_base64(self) -> bool:
        return self.encoding in ("BASE64", "B")

    def text(self) -> str:
        """The value with its escapes resolved."""
        return unescape(self.value)

    def data(self) -> bytes | None:
        """The bytes of a base64 value or of a `data:` address; None when the value is neither or is damaged."""
        value = self.value
        if value.startswith("data:"):
            head, comma, value = value.partition(",")
            if not comma or not head.endswith(";base64"):
                return None
        elif not self.is_base64:
            return None
        value = "".join(value.split()).rstrip("=")
        try:
            return base64.b64decode(value + "=" * (-len(value) % 4), validate=True)
        except (binascii.Error, ValueError):
            return None


@dataclass
class Component:
    """A component (VCARD, VEVENT ...) with its lines and the components in it."""

    name: str
    number: int
    end: int = 0  # the number of its last line; 0 where it is no part of the file by itself
    lines: list[Line] = field(default_factory=list)
    components: list[Component] = field(default_factory=list)

    def first(self, name: str) -> Line | None:
        return next((line for line in self.lines if line.name == name), None)


_ESCAPE = re.compile(r"\\([nN]|.)", re.DOTALL)


def unescape(text: str) -> str:
    r"""Resolves \n, \, \; and \\ (and \: as some programs write it); other escapes keep their backslash."""

    def plain(match: re.Match[str]) -> str:
        char = match[1]
        if char in "nN":
            return "\n"
        return char if char in ',;:\\"' else match[0]

    return _ESCAPE.sub(plain, text)


def split_unescaped(text: str, separator: str) -> list[str]:
    """The fields of a structured value (N, ADR, ORG, CATEGORIES), each with its escapes resolved."""
    fields, start, index = [], 0, 0
    while index < len(text):
        if text[index] == "\\":
            index += 1
        elif text[index] == separator:
            fields.append(text[start:index])
            start = index + 1
        index += 1
    fields.append(text[start:])
    return [unescape(part).strip() for part in fields]


_MARKS = re.compile('[";:]')


def _cuts(text: str) -> tuple[list[int], int]:
    """The places of the semicolons before the value and of the colon that begins it; -1 when there is no colon."""
    quoted = False
    semicolons = []
    for mark in _MARKS.finditer(text):
        if mark[0] == '"':
            quoted = not quoted
        elif quoted:
            continue
        elif mark[0] == ";":
            semicolons.append(mark.start())
        else:
            return semicolons, mark.start()
    return semicolons, -1


_NAME = re.compile(r"(?:([A-Za-z0-9_-]+)\.)?([A-Za-z0-9_-]+)$")
_ENCODINGS = frozenset(("QUOTED-PRINTABLE", "BASE64", "B", "7BIT", "8BIT"))


def split_line(text: str, number: int = 0) -> Line | None:
    """One unfolded line taken apart; None when it is no content line."""
    semicolons, colon = _cuts(text)
    if colon < 0:
        # A quotation mark that is never closed hides the colon: read the line without regard to quoting
        colon = text.find(":")
        semicolons = [match.start() for match in re.finditer(";", text[: max(colon, 0)])]
        if colon < 0:
            return None
    ends = [*semicolons, colon]
    match = _NAME.match(text[: ends[0]].strip())
    if not match:
        return None
    line = Line(match[2].upper().replace("_", "-"), text[colon + 1 :], {}, match[1] or "", text, number)
    for start, end in zip(ends, ends[1:]):
        name, equals, value = text[start + 1 : end].partition("=")
        name, value = name.strip().upper(), value.strip()
        if not equals:
            name, value = ("ENCODING" if name in _ENCODINGS else "TYPE"), name
        if name:
            line.params.setdefault(name, []).extend(_param_values(value))
    return line


def _param_values(text: str) -> list[str]:
    values, start, quoted = [], 0, False
    for index, char in enumerate(text):
        if char == '"':
            quoted = not quoted
        elif char == "," and not quoted:
            values.append(text[start:index])
            start = index + 1
    values.append(text[start:])
    return [value.strip().strip('"') for value in values]


@dataclass
class Decoded:
    """A file's text. A file that is not UTF-8 is held byte for byte, until each line's CHARSET is known."""

    text: str
    bytewise: bool

    def value(self, value: str, charset: str) -> str:
        if not self.bytewise:
            return value
        return decode_bytes(value.encode("latin-1", "replace"), charset)[0]


def decode_file(data: bytes) -> Decoded:
    for mark, charset in ((b"\xef\xbb\xbf", "utf-8"), (b"\xff\xfe", "utf-16-le"), (b"\xfe\xff", "utf-16-be")):
        if data.startswith(mark):
            return Decoded(data[len(mark) :].decode(charset, "replace"), False)
    try:
        return Decoded(data.decode("utf-8"), False)
    except UnicodeDecodeError:
        return Decoded(data.decode("latin-1"), True)


def split_lines(text: str) -> Iterator[str]:
    """The lines of a text, ended by LF, by CR, or by LF with any number of CR before it."""
    *ended, last = text.split("\n")
    for part in ended:
        yield from part.rstrip("\r").split("\r")
    yield from last.split("\r")


def unfold(text: str) -> Iterator[tuple[str, int]]:
    """Logical lines with their numbers. Blank lines, which some programs put into a fold, count for nothing; a
    quoted-printable value goes on after a `=` at the end of a line."""
    parts: list[str] = []
    start, quoted = 0, False
    for number, line in enumerate(split_lines(text), 1):
        if quoted:
            parts.append("\n" + line)
        elif line[:1] in (" ", "\t"):
            parts.append(line[1:])
        elif line:
            if parts:
                yield "".join(parts), start
            parts, start = [line], number
        else:
            continue
        quoted = line.endswith("=") and (quoted or "QUOTED-PRINTABLE" in line.upper())
    if parts:
        yield "".join(parts), start


_BASE64_LINE = re.compile(r"[A-Za-z0-9+/=\s]+")


def read_lines(data: bytes, place: str, report: Report) -> Iterator[Line]:
    """The content lines of a file, values decoded from quoted-printable and their character set, escapes still in."""
    decoded = decode_file(data)
    last: Line | None = None
    more: list[str] = []  # what the last line's base64 goes on with, put together once
    for text, number in unfold(decoded.text):
        if not text.strip():
            continue
        line = split_line(text, number)
        if line is None and last is not None and last.is_base64 and _BASE64_LINE.fullmatch(text):
            more.append(text.strip())  # base64 that goes on without the blank of a folded line
            continue
        if last is not None:
            last.value += "".join(more)
            yield last
        more = []
        last = None
        if line is None:
            report.problem(f"{place}:{number}", f"not a content line: {shortened(text)}")
            continue
        charset = line.param("CHARSET")
        if line.encoding == "QUOTED-PRINTABLE":
            raw = quopri.decodestring(line.value.encode("latin-1" if decoded.bytewise else "utf-8"))
            line.value = decode_bytes(raw, charset)[0].replace("\r\n", "\n")
        else:
            line.value = decoded.value(line.value, charset)
        line.source = decoded.value(line.source, charset)
        last = line
    if last is not None:
        last.value += "".join(more)
        yield last


def read_components(data: bytes, place: str, report: Report) -> list[Component]:
    """A file's components as a tree. A component that is not ended ends with the one around it, or with the file."""
    root = Component("", 0)
    open_components = [root]
    for line in read_lines(data, place, report):
        name = line.value.strip().upper()
        if line.name == "BEGIN":
            if len(open_components) > DEEPEST_NESTING:
                report.problem(f"{place}:{line.number}", f"BEGIN:{name} is nested too deep")
                continue
            component = Component(name, line.number)
            open_components[-1].components.append(component)
            open_components.append(component)
        elif line.name == "END":
            depth = next((i for i in range(len(open_components) - 1, 0, -1) if open_components[i].name == name), 0)
            if not depth:
                report.problem(f"{place}:{line.number}", f"END:{name} ends nothing")
                continue
            if open_components[depth - 1].name in ("", "VCALENDAR"):
                open_components[depth].end = line.number
            for unended in open_components[depth + 1 :]:
                report.problem(f"{place}:{unended.number}", f"BEGIN:{unended.name} is not ended")
            del open_components[depth:]
        elif len(open_components) == 1:
            report.problem(f"{place}:{line.number}", f"a line outside any component: {shortened(line.source)}")
        else:
            open_components[-1].lines.append(line)
    for unended in open_components[1:]:
        report.problem(f"{place}:{unended.number}", f"BEGIN:{unended.name} is not ended")
    return root.components
