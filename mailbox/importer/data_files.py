"""Data files (.pst, .ost) as a store of the mailbox: folders as they lie, items with every property of every type."""

from __future__ import annotations

import binascii
from typing import Any, Protocol

from . import mapi_values as values
from .mailbox_file import identifier
from .model import DataFolder, DataStore, ItemKind, Report
from .pff import Entry, Handle, Pff, PffError, attached_data, attached_item, child, count, recipients
from .pff import identifier as number_of

DEEPEST_NESTING = 30
BY_VALUE, EMBEDDED, OLE = 1, 5, 6
SEARCH_FOLDER = 3  # in the last five bits of a folder's number
# What a folder's number is in the store's own properties
SPECIAL = {0x35E0: "ipmSubtree", 0x35E2: "outbox", 0x35E3: "deletedItems", 0x35E4: "sentItems"}


class Sink(Protocol):
    """Takes an item as it is read and gives it a number."""

    def __call__(self, kind: ItemKind, item: dict[str, Any]) -> int: ...


def kind_of_class(message_class: str) -> ItemKind:
    """The kind of an item by its class."""
    lower = message_class.lower()
    for kind in (ItemKind.CONTACT, ItemKind.APPOINTMENT, ItemKind.TASK, ItemKind.JOURNAL):
        own = kind.message_class.lower()
        if lower == own or lower.startswith(own + "."):
            return kind
    mail = lower.startswith(("ipm.note", "ipm.schedule", "report.")) or lower in ("", "ipm")
    return ItemKind.MAIL if mail else ItemKind.OTHER


def own_names(pff: Pff) -> list[str]:
    """The names of the file's named properties in the order of their numbers in it."""
    return list(dict.fromkeys(values.name_text(*name) for _, name in sorted(pff.names.items()) if name))


def properties(entries: list[Entry], report: Report) -> dict[str, Any]:
    """The properties of an item as the mailbox file has them."""
    pages = {entry.identifier: int.from_bytes(entry.data[:4], "little") for entry in entries if entry.kind == 0x0003}
    charset = values.charset_of(pages.get(0x3FFD) or pages.get(0x3FDE, 0))
    found: dict[str, Any] = {}
    for entry in entries:
        if entry.identifier in values.OF_THE_FILE or not values.known(entry.kind):
            continue
        if entry.identifier >= 0x8000 and entry.name is None:
            report.unmapped["data file, a property whose name the file does not know"] += 1
            continue
        name = values.name_text(*entry.name) if entry.name else None
        parts = split_values(entry.kind, entry.data) if entry.kind & 0x1000 else entry.data
        value = None if parts is None else values.value(entry.kind, parts, charset)
        if value is None:
            report.unmapped["data file, a value that is none of its type"] += 1
            continue
        found[values.key(entry.identifier, entry.kind, name)] = value
    values.mend_subject(found)
    return found


def split_values(kind: int, data: bytes) -> list[bytes] | None:
    """The values of a multi-valued property: fixed ones stand in a row, others behind a table of their places."""
    size = values.SIZES.get(kind & 0x0FFF)
    if size:
        return [data[place : place + size] for place in range(0, len(data) - size + 1, size)]
    total = int.from_bytes(data[:4], "little")
    if total * 4 + 4 > max(len(data), 4):
        return None
    places = [int.from_bytes(data[4 * n : 4 * n + 4], "little") for n in range(1, total + 1)]
    return [data[begin:end] for begin, end in zip(places, [*places[1:], len(data)])]


class Reader:
    """Reads one file. Whatever is damaged in it costs the item or the property that it is in."""

    def __init__(self, path: str, place: str, report: Report, sink: Sink, source: dict[str, Any]) -> None:
        self.pff = Pff(path)
        self.place = place
        self.report = report
        self.sink = sink
        self.source = source
        self.numbers: dict[int, str] = {}  # identifiers of folders by their numbers in the file

    def store(self, name: str) -> DataStore:
        with self.pff.root() as item:
            if not item.found:
                raise PffError("it has no root folder")
            root = self.folder(item, self.place, 0)
        return DataStore(name, own_names(self.pff), self.special(), root)

    def special(self) -> dict[str, str]:
        """The store's special folders. An entry identifier of the file ends with the folder's number."""
        found: dict[str, str] = {}
        try:
            with self.pff.store() as item:
                entries = [entry for row in self.pff.rows(item) for entry in row] if item.found else []
        except PffError:
            return found
        for entry in entries:
            folder = self.numbers.get(int.from_bytes(entry.data[-4:], "little"))
            if entry.identifier in SPECIAL and folder:
                found[SPECIAL[entry.identifier]] = folder
        return found

    def problem(self, place: str, error: Exception) -> None:
        self.report.problem(place, f"damaged: {error}")

    def folder(self, item: Handle, place: str, depth: int) -> DataFolder:
        rows = [entry for row in self.pff.rows(item) for entry in row]
        found = properties(rows, self.report)
        kept = {key: value for key, value in found.items() if key[:4] in ("3001", "3004", "3613")}
        name = next((str(found[key]) for key in ("3001001F", "3001001E") if found.get(key)), "")
        number = number_of(item)
        folder = DataFolder(identifier("folder", self.place, str(number)), kept, name)
        self.numbers[number] = folder.id
        # A search folder lists items that lie in others
        contents = (("sub_message", False), ("sub_associated_content", True)) if number & 31 != SEARCH_FOLDER else ()
        for what, hidden in contents:
            for index in range(self.counted(item, what + "s", place)):
                inner = f"{place}#{index + 1}" if not hidden else f"{place}, hidden item {index + 1}"
                try:
                    with child(item, what, index) as message:
                        self.item(message, inner, folder, hidden)
                except PffError as error:
                    self.problem(inner, error)
        folders = self.counted(item, "sub_folders", place)
        if folders and depth >= DEEPEST_NESTING:
            self.report.problem(place, f"its {folders} folders lie deeper than is read")
            folders = 0
        for index in range(folders):
            try:
                with child(item, "sub_folder", index) as sub:
                    folder.folders.append(self.folder(sub, f"{place}/{index + 1}", depth + 1))
            except PffError as error:
                self.problem(f"{place}, folder {index + 1}", error)
        return folder

    def counted(self, item: Handle, what: str, place: str) -> int:
        try:
            return count(item, what)
        except PffError as error:
            self.problem(place, error)
            return 0

    def item(self, item: Handle, place: str, folder: DataFolder, hidden: bool) -> None:
        message = self.message(item, place, 0)
        message["properties"] |= self.source
        kind = kind_of_class(values.message_class(message["properties"]))
        whole = {"id": identifier("item", self.place, str(number_of(item))), **message}
        if hidden:
            whole["associated"] = True
        folder.items.append(self.sink(kind, whole))

    def message(self, item: Handle, place: str, depth: int) -> dict[str, Any]:
        found = properties([entry for row in self.pff.rows(item) for entry in row], self.report)
        message: dict[str, Any] = {"properties": found}
        try:
            with recipients(item) as table:
                if table.found and (rows := [properties(row, self.report) for row in self.pff.rows(table)]):
                    message["recipients"] = rows
        except PffError as error:
            self.problem(f"{place}, recipients", error)
        attachments = []
        for index in range(self.counted(item, "attachments", place)):
            try:
                with child(item, "attachment", index) as attachment:
                    attachments.append(self.attachment(attachment, place, depth))
            except PffError as error:
                self.problem(f"{place}, attachment {index + 1}", error)
        if attachments:
            message["attachments"] = attachments
        return message

    def attachment(self, attachment: Handle, place: str, depth: int) -> dict[str, Any]:
        found = properties([entry for row in self.pff.rows(attachment) for entry in row], self.report)
        for key in ("37010102", "3701000D"):
            found.pop(key, None)
        method = found.get("37050003", BY_VALUE)
        if method == EMBEDDED:
            with attached_item(attachment) as inner:
                if inner.found and depth < DEEPEST_NESTING:
                    return {"properties": found, "message": self.message(inner, place, depth + 1)}
            raise PffError("an attached item that is not there")
        if method in (BY_VALUE, OLE):
            data = binascii.b2a_base64(attached_data(attachment), newline=False).decode("ascii")
            found["37010102" if method == BY_VALUE else "3701000D"] = data
        return {"properties": found}
