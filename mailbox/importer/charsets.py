"""Bytes to text, in the character sets that mails and contacts name, rightly or not."""

from __future__ import annotations

import codecs
import functools

# Names of character sets that mails use and Python does not know, or that mean more than they say
CHARSETS = {
    "ansi": "cp1252", "ascii": "cp1252", "us-ascii": "cp1252", "iso-8859-1": "cp1252", "latin1": "cp1252",
    "default": "cp1252", "x-ansi": "cp1252", "win-1250": "cp1250", "win-1251": "cp1251", "win-1252": "cp1252",
    "utf8mb4": "utf-8", "unicode-1-1-utf-7": "utf-7", "unicode-1-1-utf-8": "utf-8", "unicode": "utf-16",
    "gb2312": "gb18030", "gbk": "gb18030", "x-gbk": "gb18030", "chinesebig5": "big5", "x-x-big5": "big5",
    "ks_c_5601-1987": "cp949", "x-euc-kr": "cp949", "euc-kr": "cp949", "shift_jis": "cp932", "x-sjis": "cp932",
    "x-euc-jp": "euc_jp", "iso-8859-8-i": "iso-8859-8", "x-mac-roman": "mac_roman", "macintosh": "mac_roman",
    "x-mac-cyrillic": "mac_cyrillic",
}  # fmt: skip


# Encodings of Python that no mail is written in: some turn bytes into bytes, some take the square of the length
NO_CHARSETS = frozenset(("idna", "punycode", "undefined", "unicode-escape", "raw-unicode-escape", "unicode_escape",
                         "raw_unicode_escape", "mbcs", "oem"))  # fmt: skip


@functools.lru_cache(maxsize=256)
def is_charset(name: str) -> bool:
    if len(name) > 40:
        return False
    try:
        codec = codecs.lookup(name)
        b"".decode(name)
    except (LookupError, ValueError):
        return False
    return codec.name not in NO_CHARSETS


def decode_bytes(data: bytes, charset: str) -> tuple[str, bool]:
    """Text in a named character set, and whether the name was right. Where it was not: UTF-8 if it is that, else
    Windows-1252."""
    name = CHARSETS.get(charset.strip().lower(), charset.strip()) or "cp1252"
    # A text that calls itself plain ASCII or Latin and is valid UTF-8 beyond ASCII is UTF-8 in truth
    for candidate in ("utf-8", "cp1252") if name == "cp1252" else (name,) if is_charset(name) else ():
        try:
            return data.decode(candidate), True
        except ValueError:
            continue
    try:
        return data.decode("utf-8"), False
    except UnicodeDecodeError:
        return data.decode("cp1252", "replace"), name == "cp1252"
