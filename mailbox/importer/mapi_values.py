"""Values as data files hold them, in the platform's own types, to values of the mailbox file."""

from __future__ import annotations

import binascii
import math
import struct
import uuid
from typing import Any

from .charsets import decode_bytes

# Kept by the file for itself: identifiers of things in it, and its table of names
OF_THE_FILE = frozenset((0x0E09, 0x0FF8, 0x0FF9, 0x0FFA, 0x0FFB, 0x0FFF, 0x67F2, 0x67F3))

_FIXED = {0x0002: "<h", 0x0003: "<i", 0x0004: "<f", 0x0005: "<d", 0x0006: "<q", 0x0007: "<d", 0x000A: "<I", 0x0014: "<q"}
SIZES = {0x0002: 2, 0x0003: 4, 0x0004: 4, 0x0005: 8, 0x0006: 8, 0x0007: 8, 0x000A: 4, 0x000B: 2, 0x0014: 8, 0x0040: 8,
         0x0048: 16}  # fmt: skip
_TEXTS = (0x001E, 0x001F)
CODE_PAGES = {65001: "utf-8", 20127: "us-ascii", 28591: "iso-8859-1", 50220: "iso-2022-jp", 51949: "euc-kr",
              20866: "koi8-r", 932: "cp932", 936: "gb18030", 949: "cp949", 950: "big5"}  # fmt: skip


def charset_of(code_page: int) -> str:
    return CODE_PAGES.get(code_page, f"cp{code_page}" if code_page else "cp1252")


def guid_text(data: bytes) -> str:
    return f"{{{str(uuid.UUID(bytes_le=data)).upper()}}}"


def single(kind: int, data: bytes, charset: str) -> Any:
    """One value; None when the bytes are none of its type."""
    if kind == 0x001F:
        data = data[: len(data) & ~1]
        return data.decode("utf-16-le", "surrogatepass").removesuffix("\0")
    if kind == 0x001E:
        return decode_bytes(data.rstrip(b"\0"), charset)[0]
    if kind in (0x0102, 0x000D):
        return binascii.b2a_base64(data, newline=False).decode("ascii")
    size = SIZES.get(kind)
    if size is None or len(data) < (1 if kind == 0x000B else size):
        return None
    if kind == 0x000B:
        return any(data[:2])
    if kind == 0x0048:
        return guid_text(data[:16])
    if kind == 0x0040:
        ticks = int.from_bytes(data[:8], "little")
        return ticks if ticks < 1 << 63 else {"base64": binascii.b2a_base64(data[:8], newline=False).decode()}
    (value,) = struct.unpack(_FIXED[kind], data[:size])
    if isinstance(value, float) and not math.isfinite(value):
        return {"base64": binascii.b2a_base64(data[:size], newline=False).decode()}
    return value


def value(kind: int, parts: bytes | list[bytes], charset: str) -> Any:
    """A value of any type, a multi-valued one given by its parts; None when it has no place in the file."""
    if isinstance(parts, list):
        found = [single(kind & 0x0FFF, part, charset) for part in parts]
        return None if any(part is None for part in found) else found
    return single(kind, parts, charset)


def known(kind: int) -> bool:
    base = kind & 0x0FFF
    return (kind == base or kind == base | 0x1000) and (base in SIZES or base in (*_TEXTS, 0x0102))


def key(identifier: int, kind: int, name: str | None) -> str:
    """The key of a property: of a named one by its name, else by its number."""
    return f"{name}:{kind:04X}" if name else f"{identifier:04X}{kind:04X}"


def name_text(guid: bytes, number: int, text: str | None) -> str:
    """A name as the mailbox file has it."""
    if text is None:
        return f"{guid_text(guid)}:0x{number:04X}"
    return f"{guid_text(guid)}:{'=' if text.startswith(('=', '0x', '0X')) else ''}{text}"


SUBJECT, PREFIX, NORMALIZED, TOPIC = 0x0037, 0x003D, 0x0E1D, 0x0070


def mend_subject(values: dict[str, Any]) -> None:
    """Data files store a subject behind two characters that say how long its prefix is."""
    for kind in ("001F", "001E"):
        subject = values.get(f"0037{kind}")
        if not isinstance(subject, str):
            continue
        prefix = values.get(f"003D{kind}", "")
        if subject[:1] == "\x01" and len(subject) > 1:
            length = max(ord(subject[1]) - 1, 0)
            subject = subject[2:]
            prefix = subject[:length]
            values[f"0037{kind}"] = subject
            if prefix:
                values[f"003D{kind}"] = prefix
        if isinstance(prefix, str) and subject.startswith(prefix):
            values.setdefault(f"0E1D{kind}", subject[len(prefix) :])


def message_class(values: dict[str, Any]) -> str:
    found = values.get("001A001F") or values.get("001A001E") or ""
    return found if isinstance(found, str) else ""
