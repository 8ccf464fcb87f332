"""Takes a mail apart into headers and parts, no further than an import needs.

The standard library's parser reads a mail line by line and costs as much as all the rest of an import together; this
one cuts at the places where a mail's structure shows, found by searching. Every step is linear in the mail's length.
"""

from __future__ import annotations

import binascii
import email.message
import email.utils
import functools
import re

from .charsets import decode_bytes

DEEPEST_NESTING = 30
MOST_PARTS = 10_000  # of one multipart; what follows belongs to the last
LONGEST_CONTINUED = 10_000  # characters of a header whose parameters may be continued or encoded


class Part:
    """A mail or a part of one: its headers by name in lower case, each with its values in order, and its body."""

    __slots__ = ("body", "default_type", "head", "headers", "junk", "type_")

    def __init__(self, data: bytes, default_type: str = "text/plain") -> None:
        self.head, self.body = split_head(data)
        self.headers, self.junk, more = read_head(self.head)
        if more:
            self.body = more + b"\n" + self.body
        self.default_type = default_type
        self.type_: tuple[str, dict[str, str]] | None = None

    def header(self, name: str) -> str:
        """The value of the first header of a name in lower case, empty when there is none."""
        values = self.headers.get(name)
        return values[0] if values else ""

    def all(self, name: str) -> list[str]:
        return self.headers.get(name, [])

    def _type(self) -> tuple[str, dict[str, str]]:
        if self.type_ is None:
            value = self.header("content-type")
            self.type_ = value_and_parameters(value) if value else (self.default_type, {})
            if self.type_[0].count("/") != 1:
                self.type_ = (self.default_type if not value else "text/plain", self.type_[1])
        return self.type_

    @property
    def type(self) -> str:
        return self._type()[0]

    def parameter(self, name: str) -> str:
        """A parameter of the content type."""
        return self._type()[1].get(name, "")

    @property
    def disposition(self) -> tuple[str, dict[str, str]]:
        value = self.header("content-disposition")
        return value_and_parameters(value) if value else ("", {})

    @property
    def encoding(self) -> str:
        return self.header("content-transfer-encoding").strip().lower()

    def decoded(self) -> tuple[bytes, bool]:
        """The body without its transfer encoding, and whether it was undamaged."""
        encoding = self.encoding
        if encoding == "base64":
            return decode_base64(self.body)
        if encoding == "quoted-printable":
            return binascii.a2b_qp(self.body), True
        if encoding in ("x-uuencode", "uuencode", "uue", "x-uue"):
            return decode_uu(self.body)
        return self.body, True

    def parts(self) -> list[Part] | None:
        """The parts of a multipart; None when this is none, or nothing in it begins a part."""
        kind, parameters = self._type()
        if not kind.startswith("multipart/") or "boundary" not in parameters:
            return None
        inner = "message/rfc822" if kind == "multipart/digest" else "text/plain"
        found = split_parts(self.body, parameters["boundary"].rstrip().encode("utf-8", "surrogateescape"))
        return [Part(data, inner) for data in found] if found else None


_HEAD_END = re.compile(rb"\n\r?\n")


def split_head(data: bytes) -> tuple[bytes, bytes]:
    """The header lines, and what stands behind the blank line that ends them."""
    if data[:1] == b"\n" or data[:2] == b"\r\n":
        return b"", data[1 if data[:1] == b"\n" else 2 :]
    match = _HEAD_END.search(data)
    return (data[: match.start() + 1], data[match.end() :]) if match else (data, b"")


_FOLD = re.compile(r"\n(?![ \t])")
_NAME = re.compile(r"[!-9;-~]+\Z")

# Header lines one by one, for heads that hold something else as well
_HEADER_LINE = re.compile(rb"[!-9;-~]+[ \t]*:|[ \t]|>?From ")
_USUAL_HEADER = re.compile(
    rb"(?:x-[a-z-]+|from|to|cc|bcc|subject|date|message-id|received|return-path|reply-to|mime-version|content-[a-z-]+)"
    rb"[ \t]*:",
    re.IGNORECASE,
)


def read_head(head: bytes) -> tuple[dict[str, list[str]], list[str], bytes]:
    """The headers, the lines among them that are none, and the bytes at the end that belong to the body after all."""
    text = head.replace(b"\r\n", b"\n")
    if b"\r" not in text:
        try:
            return _fields(text.decode("utf-8")), [], b""
        except ValueError:  # a line that is no header, or bytes that are no UTF-8
            pass
    lines = head.splitlines(keepends=True)
    end = max((index + 1 for index, line in enumerate(lines) if _USUAL_HEADER.match(line)), default=0)
    junk = [header_text(line) for line in lines[:end] if not _HEADER_LINE.match(line)]
    more = next((index for index in range(end, len(lines)) if not _HEADER_LINE.match(lines[index])), len(lines))
    fields: list[tuple[str, list[bytes]]] = []
    for line in lines[:more]:
        name, colon, rest = line.partition(b":")
        if not _HEADER_LINE.match(line) or line.startswith((b"From ", b">From ")):
            continue
        if line[:1] in (b" ", b"\t"):
            if fields:
                fields[-1][1].append(line)
        elif colon:
            fields.append((name.strip().decode("latin-1").lower(), [rest]))
    headers: dict[str, list[str]] = {}
    for field, value in fields:
        headers.setdefault(field, []).append(_joined(value))
    return headers, junk, b"".join(lines[more:])


def _joined(lines: list[bytes]) -> str:
    return decode_bytes(b"".join(lines), "")[0].replace("\r", "").replace("\n", "").lstrip(" \t")


def _fields(text: str) -> dict[str, list[str]]:
    """The headers of a head in which every line is one; ValueError when some line is none."""
    headers: dict[str, list[str]] = {}
    for field in _FOLD.split(text):
        name, colon, value = field.partition(":")
        if not colon or not _NAME.match(name):
            if not field:
                continue
            raise ValueError(field)
        if "\n" in value:
            value = value.replace("\n", "")
        value = value.lstrip(" \t")
        name = name.lower()
        if name in headers:
            headers[name].append(value)
        else:
            headers[name] = [value]
    return headers


def header_text(data: bytes) -> str:
    """Header bytes as text with the line ends of the internet."""
    text = decode_bytes(data, "")[0].replace("\r\n", "\n")
    if "\r" in text:
        *ended, last = text.split("\n")
        text = "\n".join([*(line.rstrip("\r") for line in ended), last])
    return text.replace("\n", "\r\n")


_PARAMETER = re.compile(r';\s*([^\s=;"]+)\s*=\s*("(?:[^"\\]|\\.)*"|[^;]*)')


@functools.lru_cache(maxsize=1024)
def value_and_parameters(value: str) -> tuple[str, dict[str, str]]:
    """A header such as Content-Type: its value in lower case, and its parameters by their names in lower case."""
    main = value.partition(";")[0].strip().lower()
    parameters: dict[str, str] = {}
    for match in _PARAMETER.finditer(value):
        name, text = match[1].lower(), match[2]
        if "*" in name:
            return main, _continued(value)
        if text[:1] == '"' and text[-1:] == '"' and len(text) > 1:
            text = text[1:-1].replace("\\\\", "\\").replace('\\"', '"')
        else:
            text = text.strip().strip('"')
        parameters.setdefault(name, text)
    return main, parameters


def _continued(value: str) -> dict[str, str]:
    """Parameters that are split over several or encoded."""
    if len(value) > LONGEST_CONTINUED:
        return {}
    message = email.message.Message()
    message["content-type"] = value.replace("\r", " ").replace("\n", " ")
    try:
        found = message.get_params([])
        return {name.lower(): email.utils.collapse_rfc2231_value(text).strip() for name, text in found[1:]}
    except (ValueError, LookupError, TypeError):
        return {}


def split_parts(body: bytes, boundary: bytes) -> list[bytes]:
    """What stands between the lines that are boundaries, up to the one that is the last."""
    mark = b"--" + boundary
    found: list[bytes] = []
    begun, place = -1, -1
    while (place := body.find(mark, place + 1)) >= 0:
        if place and body[place - 1] not in b"\r\n":
            continue
        line_end = body.find(b"\n", place)
        rest = body[place + len(mark) : line_end if line_end >= 0 else len(body)].strip(b" \t\r")
        if rest not in (b"", b"--"):
            place = line_end - 1 if line_end >= 0 else len(body)
            continue
        if begun >= 0:
            end = place - 1 if body[place - 1 : place] in (b"\n", b"\r") else place
            found.append(body[begun : end - 1 if body[end - 1 : end + 1] == b"\r\n" else end])
        begun = line_end + 1 if line_end >= 0 else len(body)
        if rest == b"--":
            return found
        if len(found) >= MOST_PARTS:
            break
        place = max(begun - 1, place)
    if begun >= 0:
        found.append(body[begun:])
    return found


_BLANKS = b" \t\r\n"


def decode_base64(data: bytes) -> tuple[bytes, bool]:
    """The bytes that base64 stands for; of damaged base64, those of as many whole groups as there are."""
    digits = data.translate(None, _BLANKS)
    try:
        return binascii.a2b_base64(digits, strict_mode=True), True
    except ValueError:
        digits = re.sub(rb"[^A-Za-z0-9+/]", b"", digits)
        digits = digits[:-1] if len(digits) % 4 == 1 else digits
        return binascii.a2b_base64(digits + b"=" * (-len(digits) % 4)), False


def decode_uu(data: bytes) -> tuple[bytes, bool]:
    """The file that a uuencoded body holds; the body itself when it holds none."""
    lines = data.splitlines()
    begin = next((index for index, line in enumerate(lines) if line.startswith(b"begin ")), None)
    if begin is None:
        return data, False
    out = []
    for line in lines[begin + 1 :]:
        if line.strip() == b"end":
            return b"".join(out), True
        if line:
            try:  # some programs write a character too many at the end of a line
                out.append(binascii.a2b_uu(line[: (((line[0] - 32) & 63) * 4 + 5) // 3]))
            except ValueError:
                return b"".join(out), False
    return b"".join(out), False
