"""The library that reads .pst and .ost files (libpff), as far as an import needs it.

Every function of the library answers 1, or 0 where there is nothing, or -1 with an error object; `_call` turns the
last into `PffError`. What the library hands out is owned by a `Handle`, which gives it back.
"""

from __future__ import annotations

import ctypes
from collections.abc import Iterator
from typing import Any

LIBRARY = "libpff.so.1"
READ_ONLY = 1
LARGEST = 1 << 31  # bytes of one value

_library: Any = None


class PffError(Exception):
    """What the library says about a damaged file, in its innermost words."""


def _call(name: str, *arguments: Any) -> int:
    global _library
    if _library is None:
        try:
            _library = ctypes.CDLL(LIBRARY)
        except OSError as error:
            raise PffError(f"{LIBRARY} is missing: install libpff1") from error
    problem = ctypes.c_void_p()
    answer = int(getattr(_library, f"libpff_{name}")(*arguments, ctypes.byref(problem)))
    if answer == -1:
        text = ctypes.create_string_buffer(512)
        _library.libpff_error_sprint(problem, text, ctypes.c_size_t(len(text)))
        _library.libpff_error_free(ctypes.byref(problem))
        raise PffError(text.value.decode("ascii", "replace").strip())
    return answer


class Handle:
    """Something of the library's, given back at the end of its life."""

    def __init__(self, maker: str, giver: str, *arguments: Any) -> None:
        self.pointer = ctypes.c_void_p()
        self.giver = giver
        self.found = _call(maker, *arguments, ctypes.byref(self.pointer)) == 1 and bool(self.pointer)

    def __enter__(self) -> Handle:
        return self

    def __exit__(self, *error: object) -> None:
        if self.pointer:
            _call(self.giver, ctypes.byref(self.pointer))


class Entry:
    """One property: number, type, bytes, and its name when it is a named one."""

    __slots__ = ("data", "identifier", "kind", "name")

    def __init__(self, pointer: ctypes.c_void_p, names: dict[int, tuple[bytes, int, str | None] | None]) -> None:
        self.identifier = _number(ctypes.c_uint32(), "record_entry_get_entry_type", pointer)
        self.kind = _number(ctypes.c_uint32(), "record_entry_get_value_type", pointer)
        if self.identifier >= 0x8000 and self.identifier not in names:
            names[self.identifier] = _name(pointer)
        self.name = names.get(self.identifier)
        size = _number(ctypes.c_size_t(), "record_entry_get_data_size", pointer)
        if size > LARGEST:
            raise PffError(f"a value of {size} bytes")
        buffer = ctypes.create_string_buffer(size or 1)
        if size:
            _call("record_entry_get_data", pointer, buffer, ctypes.c_size_t(size))
        self.data = buffer.raw[:size]


def _number(into: Any, name: str, *arguments: Any) -> int:
    _call(name, *arguments, ctypes.byref(into))
    return int(into.value)


def _name(entry: ctypes.c_void_p) -> tuple[bytes, int, str | None] | None:
    """Set, number and text of a name; None where the file's table has none."""
    pointer = ctypes.c_void_p()  # belongs to the file
    if _call("record_entry_get_name_to_id_map_entry", entry, ctypes.byref(pointer)) != 1 or not pointer:
        return None
    guid = ctypes.create_string_buffer(16)
    _call("name_to_id_map_entry_get_guid", pointer, guid, ctypes.c_size_t(16))
    if _number(ctypes.c_uint8(), "name_to_id_map_entry_get_type", pointer) == ord("n"):
        return guid.raw, _number(ctypes.c_uint32(), "name_to_id_map_entry_get_number", pointer), None
    size = _number(ctypes.c_size_t(), "name_to_id_map_entry_get_utf8_string_size", pointer)
    text = ctypes.create_string_buffer(min(size, 4096) + 1)
    _call("name_to_id_map_entry_get_utf8_string", pointer, text, ctypes.c_size_t(size))
    return guid.raw, 0, text.value.decode("utf-8", "replace")


class Pff:
    """An open file. `names` are the names of its named properties met so far, by their numbers in this file."""

    def __init__(self, path: str) -> None:
        self.names: dict[int, tuple[bytes, int, str | None] | None] = {}
        self.file = ctypes.c_void_p()
        _call("file_initialize", ctypes.byref(self.file))
        _call("file_open", self.file, path.encode("utf-8", "surrogateescape"), READ_ONLY)

    def root(self) -> Handle:
        return Handle("file_get_root_folder", "item_free", self.file)

    def store(self) -> Handle:
        return Handle("file_get_message_store", "item_free", self.file)

    def rows(self, item: Handle) -> Iterator[list[Entry]]:
        """The properties of an item; of a table such as the recipients, those of each row. A damaged one is left out."""
        for number in range(_number(ctypes.c_int(), "item_get_number_of_record_sets", item.pointer)):
            with Handle("item_get_record_set_by_index", "record_set_free", item.pointer, number) as row:
                entries = []
                for index in range(_number(ctypes.c_int(), "record_set_get_number_of_entries", row.pointer)):
                    try:
                        arguments = (row.pointer, index)
                        with Handle("record_set_get_entry_by_index", "record_entry_free", *arguments) as entry:
                            entries.append(Entry(entry.pointer, self.names))
                    except PffError:
                        continue
                yield entries


def identifier(item: Handle) -> int:
    return _number(ctypes.c_uint32(), "item_get_identifier", item.pointer)


def count(item: Handle, what: str) -> int:
    """The number of `sub_folders`, `sub_messages` or `sub_associated_contents` of a folder, or of `attachments`."""
    kind = "message" if what == "attachments" else "folder"
    return _number(ctypes.c_int(), f"{kind}_get_number_of_{what}", item.pointer)


def child(item: Handle, what: str, number: int) -> Handle:
    """One `sub_folder`, `sub_message` or `sub_associated_content` of a folder, or one `attachment` of a message."""
    kind = "message" if what == "attachment" else "folder"
    return Handle(f"{kind}_get_{what}", "item_free", item.pointer, number)


def recipients(item: Handle) -> Handle:
    return Handle("message_get_recipients", "item_free", item.pointer)


def attached_item(attachment: Handle) -> Handle:
    return Handle("attachment_get_item", "item_free", attachment.pointer)


def attached_data(attachment: Handle) -> bytes:
    size = _number(ctypes.c_uint64(), "attachment_get_data_size", attachment.pointer)
    if size > LARGEST:
        raise PffError(f"an attachment of {size} bytes")
    out = bytearray()
    buffer = ctypes.create_string_buffer(min(size, 1 << 20) or 1)
    while len(out) < size:
        read = _call("attachment_data_read_buffer", attachment.pointer, buffer, ctypes.c_size_t(len(buffer)))
        if read <= 0:
            raise PffError("an attachment that ends early")
        out += buffer.raw[:read]
    return bytes(out[:size])
