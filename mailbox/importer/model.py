"""What the readers make and the writer takes: items with their recipients and attachments, folders, and the report."""

from __future__ import annotations

import enum
import os
from collections import Counter
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass, field
from datetime import datetime
from typing import Any, NamedTuple, cast

from . import properties as p
from .properties import Prop

Value = str | int | float | bool | bytes | datetime | list[str] | list[bytes]


class Values(dict[Prop, Value]):
    """Property values. `put` leaves out what is empty, so that a missing value and an empty one stay one thing."""

    def __init__(self, values: Mapping[Prop, Value] | None = None) -> None:
        super().__init__(values or {})
        self._seen: dict[Prop, set[str]] = {}  # the texts of lists, for quick membership

    def put(self, prop: Prop, value: Value | None) -> None:
        if value is None or value == "" or value == b"" or value == []:
            return
        self[prop] = value

    def put_new(self, prop: Prop, value: Value | None) -> bool:
        """Puts the value where none is yet; says whether the value is now (or already was) the property's."""
        if prop not in self:
            self.put(prop, value)
            return True
        return self[prop] == value

    def add_texts(self, prop: Prop, texts: Iterable[str], once: bool = False) -> None:
        """Appends to a list of texts; `once` leaves out empty texts and those that it holds already."""
        known = self.get(prop)
        found = cast("list[str]", known if isinstance(known, list) else [])
        if prop not in self._seen:
            self._seen[prop] = set(found)
        seen = self._seen[prop]
        for text in texts:
            if not once or (text and text not in seen):
                found.append(text)
                seen.add(text)
        self.put(prop, found)

    def put_person(self, person: p.Person, name: str, address: str) -> None:
        """A person without a name shows the address as the name, as mail clients do."""
        self.put(person.name, name or address)
        if address:
            self.put(person.address_type, "SMTP")
            self.put(person.address, address)
            self.put(person.smtp_address, address)

    def text(self, prop: Prop) -> str:
        value = self.get(prop, "")
        return value if isinstance(value, str) else ""


class ItemKind(enum.Enum):
    """Kinds of items, each with the class of its items and of the folders that hold them. The order is the order in
    which a folder with several kinds gives itself to the first and subfolders to the others."""

    MAIL = ("mail", "IPM.Note", "IPF.Note", "Mail")
    CONTACT = ("contact", "IPM.Contact", "IPF.Contact", "Contacts")
    APPOINTMENT = ("appointment", "IPM.Appointment", "IPF.Appointment", "Calendar")
    TASK = ("task", "IPM.Task", "IPF.Task", "Tasks")
    JOURNAL = ("journal entry", "IPM.Activity", "IPF.Journal", "Journal")
    OTHER = ("item of another kind", "IPM", "IPF.Note", "Other")

    def __init__(self, label: str, message_class: str, container_class: str, folder_name: str) -> None:
        self.label = label
        self.message_class = message_class
        self.container_class = container_class
        self.folder_name = folder_name

    def counted(self, count: int) -> str:
        plural = {ItemKind.JOURNAL: "journal entries", ItemKind.OTHER: "items of another kind"}
        return f"{count} {self.label if count == 1 else plural.get(self, self.label + 's')}"


TO, CC, BCC = 1, 2, 3
BY_VALUE, BY_REFERENCE, EMBEDDED = 1, 2, 5


@dataclass
class Recipient:
    """One recipient."""

    name: str
    address: str
    type: int
    extra: Values = field(default_factory=Values)

    def values(self) -> Values:
        values = Values(self.extra)
        values.put_person(p.RECIPIENT, self.name, self.address)
        values.put(p.RECIPIENT_TYPE, self.type)
        return values


@dataclass
class Attachment:
    """One attachment: `data` for a file, `item` for an embedded item, `path` for a reference."""

    name: str
    mime_type: str = ""
    data: bytes = b""
    item: Item | None = None
    path: str = ""
    extra: Values = field(default_factory=Values)

    def values(self) -> Values:
        """All properties but the data or the item itself."""
        method = EMBEDDED if self.item else BY_REFERENCE if self.path else BY_VALUE
        values = Values(self.extra)
        values.put(p.ATTACH_METHOD, method)
        values.put(p.DISPLAY_NAME, self.name)
        if self.item is None:
            stem, dot, extension = self.name.rpartition(".")
            values.put(p.ATTACH_LONG_FILENAME, self.name)
            values.put(p.ATTACH_FILENAME, short_file_name(self.name))
            values.put(p.ATTACH_EXTENSION, dot + extension if dot and stem else None)
        values.put(p.ATTACH_LONG_PATHNAME, self.path)
        values.put(p.ATTACH_MIME_TAG, self.mime_type)
        values.put_new(p.ATTACH_RENDERING_POSITION, -1)
        return values


def short_file_name(name: str) -> str:
    """The 8.3 form of a file name, as a mail client keeps it beside the long one."""
    stem, dot, extension = name.rpartition(".")
    if not (dot and stem):
        stem, extension = name, ""
    short = "".join(c for c in stem if c.isalnum() or c in "_-")
    if len(short) > 8 or short != stem:
        short = short[:6] + "~1"
    extension = "".join(c for c in extension if c.isalnum())[:3]
    return f"{short}.{extension}" if extension else short


@dataclass
class Item:
    """One item. `place` tells people where it came from; it also names the item within its folder."""

    kind: ItemKind
    place: str = ""
    lines: tuple[int, int] = (0, 0)  # of its file, the first and the last
    values: Values = field(default_factory=Values)
    recipients: list[Recipient] = field(default_factory=list)
    attachments: list[Attachment] = field(default_factory=list)

    def __post_init__(self) -> None:
        self.values.put_new(p.MESSAGE_CLASS, self.kind.message_class)

    def keep_unmapped(self, line: str) -> None:
        self.values.add_texts(p.UNMAPPED, [line])


@dataclass
class DataFolder:
    """A folder of a data file; its items are numbers into the list of those read."""

    id: str
    properties: dict[str, Any]
    name: str
    items: list[int] = field(default_factory=list)
    folders: list[DataFolder] = field(default_factory=list)

    def walk(self, above: str) -> Iterator[tuple[str, DataFolder]]:
        """This folder, by the path of the one above it, and all below it, each with its path."""
        yield above, self
        for folder in self.folders:
            yield from folder.walk(f"{above}/{folder.name}")


@dataclass
class DataStore:
    """What a data file holds beside its items."""

    name: str
    names: list[str]
    special: dict[str, str]
    root: DataFolder


class Stored(NamedTuple):
    """An item that was read: its kind by place in the list of kinds, and where its line of the mailbox file is kept."""

    kind: int
    spool: int
    start: int
    length: int


@dataclass(slots=True)
class Source:
    """A file to be read. `flags` are those of a Maildir; `identity` tells whether it changed since."""

    path: str
    place: str
    format: str
    size: int
    identity: tuple[int, ...] = ()
    flags: str = ""
    items: list[Stored] = field(default_factory=list)
    store: DataStore | None = None  # of a data file


@dataclass
class Folder:
    """A folder below the mailbox's root: the files that it is read from, then the items of one kind."""

    name: str
    kind: ItemKind = ItemKind.MAIL
    folders: list[Folder] = field(default_factory=list)
    sources: list[Source] = field(default_factory=list)
    items: list[Stored] = field(default_factory=list)

    def walk(self, above: str = "") -> Iterable[tuple[str, Folder]]:
        """This folder and all below it, each with its path."""
        path = f"{above}/{self.name}" if above else self.name
        yield path, self
        for folder in self.folders:
            yield from folder.walk(path)


class Passed(enum.Enum):
    """Why something was passed over, each with what a person can do about it."""

    FORMAT = "of a format that is not read", "have the program that wrote it save .eml, .mbox, .vcf or .ics files"
    PACKED = "packed", "unpack first"
    TWICE = "named twice", "read once"
    LINK = "links", "name what they lead to"
    SPECIAL = "neither files nor folders", ""
    DELETED = "deleted in their mail program, which still keeps them", ""
    PROGRAM = "a mail program's own notes", ""
    KEPT = "kept by an earlier clean", "the duplicates that were taken out lie there"
    HIDDEN = "hidden", "name one by itself to have it read"
    OTHER = "neither mail nor contact nor calendar", ""

    def __init__(self, text: str, way_out: str) -> None:
        self.text = text
        self.way_out = way_out


@dataclass
class Report:
    """What became of the input. `problems` are losses; `unmapped` counts what is kept only as text; `passed` is what was
    not read and need not be."""

    problems: list[tuple[str, str]] = field(default_factory=list)
    unmapped: Counter[str] = field(default_factory=Counter)
    passed: list[tuple[str, Passed]] = field(default_factory=list)

    def pass_over(self, place: str, why: Passed) -> None:
        self.passed.append((place, why))

    def problem(self, place: str, text: str) -> None:
        self.problems.append((place, text))

    def take(self, other: Report) -> None:
        """Adds what another process reported."""
        self.problems.extend(other.problems)
        self.unmapped.update(other.unmapped)
        self.passed.extend(other.passed)

    @property
    def complete(self) -> bool:
        return not self.problems and not self.unmapped

    def lines(self) -> list[str]:
        """The report as a person reads it. The same problem at one place is reported once, with its count."""
        out: list[str] = []
        if self.problems:
            out.append(f"could not be read, or only in part ({len(self.problems)}):")
            for (place, text), count in Counter(self.problems).items():
                out.append(f"  {place}: {text}" + (f" ({count} times)" if count > 1 else ""))
        if self.unmapped:
            out.append(f"not mapped, kept with the item as text where there is one ({self.unmapped.total()}):")
            width = max(len(name) for name in self.unmapped)
            for name, count in sorted(self.unmapped.items()):
                out.append(f"  {name:{width}}  {count}")
        for why, places in self._passed():
            out.append(passed_over(why, places))
            out.extend(f"  {place}" for place in places)
        return out

    def summary(self) -> list[str]:
        """The main points of the report."""
        return [passed_over(why, places) for why, places in self._passed()]

    def _passed(self) -> Iterator[tuple[Passed, list[str]]]:
        for why in Passed:
            places = [place for place, reason in self.passed if reason is why]
            if places:
                yield why, places


def passed_over(why: Passed, places: list[str]) -> str:
    """One sentence on what was passed over for one reason."""
    extensions: Counter[str] = Counter()
    if why in (Passed.FORMAT, Passed.PACKED):
        extensions.update(os.path.splitext(place)[1].lower() for place in places)
    out = f"passed over, {why.text}: {len(places)}"
    if extensions:
        out += f" ({', '.join(sorted(extensions))})"
    return f"{out}; {why.way_out}" if why.way_out else out


def shortened(text: str, length: int = 60) -> str:
    """A line as the report shows it."""
    text = " ".join(text.split())
    return text if len(text) <= length else text[: length - 3] + "..."
