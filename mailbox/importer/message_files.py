"""Message files (.msg): one item with every property of every type, out of the streams of a compound file."""

from __future__ import annotations

import binascii
import contextlib
import io
import re
import struct
from typing import Any

import olefile

from . import mapi_values as values
from .model import Report

DEEPEST_NESTING = 30
BY_VALUE, EMBEDDED, OLE = 1, 5, 6
PROPERTIES = "__properties_version1.0"
NAMES = "__nameid_version1.0"
_VALUE = re.compile(r"__substg1\.0_([0-9A-Fa-f]{4})([0-9A-Fa-f]{4})\Z")
_PARTS = re.compile(r"__substg1\.0_([0-9A-Fa-f]{4})([0-9A-Fa-f]{4})-([0-9A-Fa-f]{8})\Z")
_ROW = struct.Struct("<HHI8s")
PS_MAPI = bytes.fromhex("2803020000000000c000000000000046")
PS_PUBLIC_STRINGS = bytes.fromhex("2903020000000000c000000000000046")

class Damaged(Exception):
    """What a file lacks that nothing can be read without."""


Tree = dict[str, Any]  # names to streams' bytes, or to further storages


def read_message(data: bytes, place: str, report: Report) -> dict[str, Any]:
    """The item of a message file as the mailbox file has it."""
    tree: Tree = {}
    with contextlib.suppress(OSError, ValueError, IndexError, OverflowError, struct.error):
        with olefile.OleFileIO(io.BytesIO(data)) as file:
            # A damaged chain of sectors can go round: nothing is read that says it is longer than the file
            if file.root is None or file.root.size > len(data):
                raise Damaged("it is damaged: a stream is longer than the file")
            tree = _tree(file, len(data), place, report)
    if PROPERTIES not in tree:
        raise Damaged("it is no message file, or a damaged one")
    return Reader(tree, place, report).message(tree, 32, 0)


def _tree(file: olefile.OleFileIO, size: int, place: str, report: Report) -> Tree:
    root: Tree = {}
    read = 0
    for path in file.listdir(streams=True, storages=False):
        node = root
        for name in path[:-1]:
            node = node.setdefault(name, {})
            if not isinstance(node, dict):
                break
        if isinstance(node, dict):
            try:
                if read > 2 * size or file.get_size(path) > size:
                    raise OSError("longer than the file")
                node[path[-1]] = file.openstream(path).read()
                read += len(node[path[-1]])
            except (OSError, ValueError, IndexError, OverflowError, struct.error) as error:
                report.problem(place, f"damaged: {'/'.join(path)}: {error}")
    return root


def read_names(tree: Tree) -> list[str | None]:
    """The names of named properties, in the order of their numbers from 0x8000."""
    storage = tree.get(NAMES, {})
    guids, rows, texts = (
        stream if isinstance(stream := storage.get(f"__substg1.0_000{n}0102"), bytes) else b"" for n in (2, 3, 4)
    )
    names: list[str | None] = []
    for place in range(0, len(rows) - 7, 8):
        number, kind_and_set, index = struct.unpack_from("<IHH", rows, place)
        which = kind_and_set >> 1
        guid = {1: PS_MAPI, 2: PS_PUBLIC_STRINGS}.get(which) or guids[16 * (which - 3) : 16 * (which - 2)]
        names += [None] * (index + 1 - len(names))
        if which == 0 or len(guid) != 16:
            continue
        text = None
        if kind_and_set & 1:
            length = int.from_bytes(texts[number : number + 4], "little")
            text = texts[number + 4 : number + 4 + (length & ~1)].decode("utf-16-le", "replace")
        names[index] = values.name_text(guid, number, text)
    return names


class Reader:
    """Reads one file's storages."""

    def __init__(self, tree: Tree, place: str, report: Report) -> None:
        self.place = place
        self.report = report
        self.names = read_names(tree)
        self.charset = "cp1252"

    def message(self, tree: Tree, head: int, depth: int) -> dict[str, Any]:
        before = self.charset
        self.charset = self.charset_of(tree, head) or before
        message: dict[str, Any] = {"properties": self.properties(tree, head)}
        values.mend_subject(message["properties"])
        rows = [self.properties(inner, 8) for inner in self.storages(tree, "__recip_version1.0_#")]
        if rows:
            message["recipients"] = rows
        attachments = [
            self.attachment(inner, depth) for inner in self.storages(tree, "__attach_version1.0_#")
        ]
        if attachments:
            message["attachments"] = attachments
        self.charset = before
        return message

    def storages(self, tree: Tree, prefix: str) -> list[Tree]:
        """The rows of a table, in the order of their numbers."""
        return [tree[name] for name in sorted(tree) if name.startswith(prefix) and isinstance(tree[name], dict)]

    def rows(self, tree: Tree, head: int) -> list[tuple[int, int, bytes]]:
        stream = tree.get(PROPERTIES)
        data = stream[head:] if isinstance(stream, bytes) else b""
        return [(number, kind, value) for kind, number, _, value in _ROW.iter_unpack(data[: len(data) // 16 * 16])]

    def charset_of(self, tree: Tree, head: int) -> str | None:
        pages = {number: int.from_bytes(value[:4], "little") for number, kind, value in self.rows(tree, head)}
        page = pages.get(0x3FFD) or pages.get(0x3FDE)
        return values.charset_of(page) if page else None

    def properties(self, tree: Tree, head: int) -> dict[str, Any]:
        found: dict[str, Any] = {}
        for number, kind, data in self.rows(tree, head):
            if kind in values.SIZES and values.SIZES[kind] <= 8:
                self.put(found, number, kind, data)
        parts: dict[tuple[int, int], dict[int, bytes]] = {}
        for name, stream in tree.items():
            if not isinstance(stream, bytes):
                continue
            if match := _PARTS.match(name):
                parts.setdefault((int(match[1], 16), int(match[2], 16)), {})[int(match[3], 16)] = stream
            elif match := _VALUE.match(name):
                number, kind = int(match[1], 16), int(match[2], 16)
                size = values.SIZES.get(kind & 0x0FFF)
                if not kind & 0x1000:
                    self.put(found, number, kind, stream)
                elif size:
                    self.put(found, number, kind, [stream[n : n + size] for n in range(0, len(stream) // size * size, size)])
                elif not stream:
                    self.put(found, number, kind, [])
        for (number, kind), pieces in parts.items():
            if kind & 0x1000:
                self.put(found, number, kind, [pieces[n] for n in sorted(pieces)])
        return found

    def put(self, found: dict[str, Any], number: int, kind: int, data: bytes | list[bytes]) -> None:
        if number in values.OF_THE_FILE or not values.known(kind):
            return
        name = None
        if number >= 0x8000:
            index = number - 0x8000
            name = self.names[index] if index < len(self.names) else None
            if name is None:
                self.report.unmapped["message file, a property whose name the file does not know"] += 1
                return
        value = values.value(kind, data, self.charset)
        if value is None:
            self.report.unmapped["message file, a value that is none of its type"] += 1
            return
        found[values.key(number, kind, name)] = value

    def attachment(self, tree: Tree, depth: int) -> dict[str, Any]:
        found = self.properties(tree, 8)
        method = found.get("37050003", BY_VALUE)
        inner = tree.get("__substg1.0_3701000D")
        if method == EMBEDDED and isinstance(inner, dict) and depth < DEEPEST_NESTING:
            return {"properties": found, "message": self.message(inner, 24, depth + 1)}
        if method == EMBEDDED:
            self.report.problem(self.place, "an attached item that is not there")
            found["37050003"] = BY_VALUE
        if method == OLE and isinstance(inner, dict):
            # The platform hands out an OLE object as one stream: the storage, which only another writer could make
            self.report.unmapped["message file, an OLE object"] += 1
            found["3701000D"] = binascii.b2a_base64(_flat(inner), newline=False).decode("ascii")
        elif method == BY_VALUE:
            found.setdefault("37010102", "")
        return {"properties": found}


def _flat(tree: Tree) -> bytes:
    """The streams of a storage one behind the other, which tells whether two are the same."""
    return b"".join(_flat(tree[name]) if isinstance(tree[name], dict) else tree[name] for name in sorted(tree))
