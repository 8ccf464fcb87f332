"""Finds what there is to import: files by their names and contents, folders as they lie, Maildirs and mbox files."""

from __future__ import annotations

import mailbox
import os
import re
import stat
from collections.abc import Callable, Iterable
from datetime import tzinfo

from .calendars import read_calendar
from .contacts import read_contacts
from .mail import Origin, header_time, read_mail
from .model import Folder, Item, ItemKind, Passed, Report

EXTENSIONS = {
    ".eml": "mail", ".msg": "mail", ".mail": "mail",
    ".mbox": "mbox", ".mbx": "mbox",
    ".vcf": "contacts", ".vcard": "contacts",
    ".ics": "calendar", ".ical": "calendar", ".icalendar": "calendar", ".ifb": "calendar", ".vcs": "calendar",
}  # fmt: skip

MAILDIR_PARTS = ("cur", "new")
MAILDIR_INFO = re.compile(r"[:!;]2,([A-Za-z]*)$")  # the separators that stand for the colon where none is allowed

# Files that people have and that are not read, so that the report can say what to do about them
NOT_READ = frozenset((".dbx", ".mbs", ".nsf", ".oft", ".olk", ".olm", ".pab", ".tnef", ".wab"))
PACKED = frozenset((".7z", ".bz2", ".gz", ".rar", ".tar", ".tgz", ".xz", ".zip", ".zst"))

# Fields that a mail without a telling name must have near its beginning
_HEADER_NAME = re.compile(rb"[!-9;-~]{1,100}:")
TELLING_HEADERS = frozenset((b"from:", b"date:", b"subject:", b"received:", b"message-id:", b"return-path:"))
SNIFFED = 4096


def begins_as_mail(head: bytes) -> bool:
    """Whether there is a telling header before the first line that is none."""
    for line in head.split(b"\n"):
        if line[:1] in (b" ", b"\t"):
            continue
        name = _HEADER_NAME.match(line)
        if not name:
            return False
        if name[0].lower() in TELLING_HEADERS:
            return True
    return False


def kind_of_file(path: str) -> str | Passed:
    """What a file holds: by its extension, else by how it begins; when it is nothing to import, what it is."""
    extension = os.path.splitext(path)[1].lower()
    kind = EXTENSIONS.get(extension, "")
    if extension in NOT_READ or extension in PACKED:
        return Passed.FORMAT if extension in NOT_READ else Passed.PACKED
    with open(path, "rb") as file:
        head = file.read(SNIFFED)
    if head.startswith(b"From ") and kind in ("", "mail") and not kind:
        return "mbox"
    if kind:
        return kind
    start = head.removeprefix(b"\xef\xbb\xbf").lstrip()[:20].upper()
    if start.startswith(b"BEGIN:VCARD"):
        return "contacts"
    if start.startswith(b"BEGIN:VCALENDAR"):
        return "calendar"
    return "mail" if begins_as_mail(head) else Passed.OTHER


class Importer:
    """Reads inputs into folders. `local` is the zone for days and for times without a zone."""

    def __init__(self, report: Report, local: tzinfo) -> None:
        self.report = report
        self.local = local
        self.read_already: set[tuple[int, int]] = set()  # files and folders by device and number
        self.readers: dict[str, Callable[[bytes, str], Iterable[Item]]] = {
            "mail": lambda data, place: filter(None, [read_mail(data, place, report)]),
            "contacts": lambda data, place: read_contacts(data, place, report),
            "calendar": lambda data, place: read_calendar(data, place, report, local),
        }

    def read(self, inputs: list[str]) -> list[Folder]:
        """The folders of the mailbox: one for each input folder, Maildir and mbox file, and one for each kind of item
        among the input files."""
        folders: list[Folder] = []
        loose: list[Item] = []
        for path in inputs:
            name = os.path.basename(os.path.abspath(path)) or "Imported"
            path = os.path.realpath(path)  # what a link that is named leads to was meant
            if not os.path.exists(path):
                self.report.problem(path, "there is no such file or folder")
            elif os.path.isdir(path):
                folders += self.directory(path, name, name)
            else:
                found, items = self.file(path, name)
                folders += found
                loose += items
        for kind in ItemKind:
            items = [item for item in loose if item.kind is kind]
            if items:
                folders.append(Folder(kind.folder_name, kind, [], items))
        return with_unique_names(folders)

    def directory(self, path: str, name: str, place: str) -> list[Folder]:
        """The folder of a directory with all below it; none when nothing in it is to be imported."""
        try:
            entries = sorted(os.scandir(path), key=lambda entry: entry.name)
            if not self.is_first(os.stat(path), place):
                return []
        except OSError as error:
            self.report.problem(place, error.strerror or str(error))
            return []
        if is_maildir(path):
            return self.maildir(path, name, place)
        subfolders: list[Folder] = []
        items: list[Item] = []
        for entry in entries:
            inner = f"{place}/{entry.name}"
            if entry.name.startswith("."):
                self.report.pass_over(inner, Passed.HIDDEN)
            elif entry.is_symlink():
                self.report.pass_over(inner, Passed.LINK)
            elif entry.is_dir():
                subfolders += self.directory(entry.path, entry.name, inner)
            else:
                found, read = self.file(entry.path, inner)
                subfolders += found
                items += read
        return [folder_of(name, items, subfolders)] if items or subfolders else []

    def file(self, path: str, place: str) -> tuple[list[Folder], list[Item]]:
        """What one file holds: a folder when it is an mbox file, else items."""
        try:
            status = os.lstat(path)
            if not stat.S_ISREG(status.st_mode):
                self.report.pass_over(place, Passed.LINK if stat.S_ISLNK(status.st_mode) else Passed.SPECIAL)
                return [], []
            kind = kind_of_file(path)
            if isinstance(kind, Passed):
                self.report.pass_over(place, kind)
                return [], []
            if not self.is_first(status, place):
                return [], []
            if kind == "mbox":
                return [self.mbox(path, place)], []
            with open(path, "rb") as file:
                return [], list(self.readers[kind](file.read(), place))
        except OSError as error:
            self.report.problem(place, error.strerror or str(error))
        except Exception as error:  # whatever a file holds, the others are read
            self.report.problem(place, f"it cannot be read: {type(error).__name__}: {error}")
        return [], []

    def is_first(self, status: os.stat_result, place: str) -> bool:
        """Whether a file or folder was not met before, by another name or way; reported when it was."""
        identity = (status.st_dev, status.st_ino)
        if identity in self.read_already:
            self.report.pass_over(place, Passed.TWICE)
            return False
        self.read_already.add(identity)
        return True

    def mbox(self, path: str, place: str) -> Folder:
        """The mails of an mbox file, in a folder named after it. Lines quoted as `>From ` lose one mark."""
        folder = Folder(os.path.splitext(os.path.basename(path))[0])
        with open(path, "rb") as file:
            if not file.read(5) == b"From ":
                self.report.problem(place, "no mbox file: it does not begin with a From line")
                return folder
        box = mailbox.mbox(path, create=False)
        try:
            for number, key in enumerate(box.keys(), 1):
                with box.get_file(key, from_=True) as file:
                    first, _, data = file.read().partition(b"\n")
                data = re.sub(rb"^>(?=>*From )", b"", data, flags=re.MULTILINE)
                delivered = header_time(first.decode("latin-1").strip().partition(" ")[2].partition(" ")[2])
                item = read_mail(data, f"{place}#{number}", self.report, Origin(delivered=delivered))
                if item:
                    folder.items.append(item)
        finally:
            box.close()
        return folder

    def maildir(self, path: str, name: str, place: str) -> list[Folder]:
        """A Maildir as a folder: its mails, its subfolders that are named `.Sub` or `.Sub.Deeper`, and Maildirs that
        simply lie in it."""
        folder = Folder(name)
        for part in MAILDIR_PARTS:
            for file_name in _names(os.path.join(path, part)):
                inner = f"{place}/{part}/{file_name}"
                info = MAILDIR_INFO.search(file_name)
                try:
                    inner_path = os.path.join(path, part, file_name)
                    status = os.lstat(inner_path)
                    if not stat.S_ISREG(status.st_mode):
                        self.report.pass_over(inner, Passed.LINK if stat.S_ISLNK(status.st_mode) else Passed.SPECIAL)
                        continue
                    if not self.is_first(status, inner):
                        continue
                    with open(inner_path, "rb") as file:
                        data = file.read()
                except OSError as error:
                    self.report.problem(inner, error.strerror or str(error))
                    continue
                # Mails in new/ have not been seen; "P" alone would make one seen, so a blank says: nothing is known
                item = read_mail(data, inner, self.report, Origin(info[1] if info and info[1] else " "))
                if item:
                    folder.items.append(item)
        for entry in _names(path):
            inner_path = os.path.join(path, entry)
            if entry in (*MAILDIR_PARTS, "tmp"):
                continue
            if os.path.islink(inner_path):
                self.report.pass_over(f"{place}/{entry}", Passed.LINK)
                continue
            if not is_maildir(inner_path):
                self.report.pass_over(f"{place}/{entry}", Passed.HIDDEN if entry.startswith(".") else Passed.OTHER)
                continue
            if not self.is_first(os.stat(inner_path), f"{place}/{entry}"):
                continue
            *above, last = entry.removeprefix(".").split(".") if entry.startswith(".") else [entry]
            target = folder
            for step in above:
                target = _subfolder(target, step)
            for found in self.maildir(inner_path, last, f"{place}/{entry}"):
                _merge(target, found)
        return [folder]


def _names(path: str) -> list[str]:
    try:
        return sorted(os.listdir(path))
    except OSError:
        return []


def is_maildir(path: str) -> bool:
    return all(os.path.isdir(os.path.join(path, part)) for part in MAILDIR_PARTS)


def _subfolder(folder: Folder, name: str) -> Folder:
    for found in folder.folders:
        if found.name == name:
            return found
    folder.folders.append(Folder(name))
    return folder.folders[-1]


def _merge(target: Folder, folder: Folder) -> None:
    into = _subfolder(target, folder.name)
    into.items += folder.items
    into.folders += folder.folders


def folder_of(name: str, items: list[Item], subfolders: list[Folder]) -> Folder:
    """The folder of a directory: it takes the items of the first kind that it has, subfolders take the others."""
    kinds = [kind for kind in ItemKind if any(item.kind is kind for item in items)]
    main = kinds[0] if kinds else _kind_of_all(subfolders)
    folder = Folder(name, main, subfolders, [item for item in items if item.kind is main])
    for kind in kinds[1:]:
        folder.folders.append(Folder(kind.folder_name, kind, [], [item for item in items if item.kind is kind]))
    folder.folders = with_unique_names(folder.folders)
    return folder


def _kind_of_all(folders: list[Folder]) -> ItemKind:
    """The kind of a folder that has no items of its own: its subfolders', when they agree."""
    kinds = {folder.kind for folder in folders}
    return kinds.pop() if len(kinds) == 1 else ItemKind.MAIL


def with_unique_names(folders: list[Folder]) -> list[Folder]:
    """Gives the second folder of a name a number, as no two folders in one place may share a name."""
    taken: set[str] = set()
    for folder in folders:
        name, number = folder.name, 1
        while folder.name.lower() in taken:
            number += 1
            folder.name = f"{name} ({number})"
        taken.add(folder.name.lower())
    return folders
