"""Finds what there is to import: files by their names and beginnings, folders as they lie, Maildirs and mbox files.

Nothing is read here but the beginning of files whose names do not tell what they hold. Links within folders and special
files are not followed, and a file or folder that was met before is not met again.
"""

from __future__ import annotations

import os
import re
import stat
from collections.abc import Iterable

from .model import Folder, Passed, Report, Source

EXTENSIONS = {
    ".eml": "mail", ".mail": "mail", ".emlx": "emlx", ".msg": "message", ".oft": "message",
    ".pst": "data", ".ost": "data",
    ".mbox": "mbox", ".mbx": "mbox",
    ".vcf": "contacts", ".vcard": "contacts",
    ".ics": "calendar", ".ical": "calendar", ".icalendar": "calendar", ".ifb": "calendar", ".vcs": "calendar",
}  # fmt: skip

MAILDIR_PARTS = ("cur", "new")
MAILDIR_INFO = re.compile(r"[:!;]2,([A-Za-z]*)$")  # the separators that stand for the colon where none is allowed

SUBFOLDERS = ".sbd"  # at the end of a folder's name: what lies below the mbox file of that name
CLEAN_MARK, CLEAN_NEW = ".quorvel-duplicates", ".quorvel-new"  # what a clean leaves in its folders and beside files
PROFILE_MAILS = ("ImapMail", "Mail")  # where a mail program's profile keeps mails
COMPOUND_FILE = bytes.fromhex("D0CF11E0A1B11AE1")

# Files that people have and that are not read, so that the report can say what to do about them
NOT_READ = frozenset((".dbx", ".mbs", ".nsf", ".olk", ".olm", ".pab", ".tnef", ".wab"))
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


def format_of(path: str) -> str | Passed:
    """What a file holds: by its extension, else by how it begins; when it is nothing to import, what it is."""
    extension = os.path.splitext(path)[1].lower()
    if known := EXTENSIONS.get(extension):
        return known
    if extension == ".msf":
        return Passed.PROGRAM
    if extension == CLEAN_NEW:
        return Passed.KEPT
    if extension in NOT_READ or extension in PACKED:
        return Passed.FORMAT if extension in NOT_READ else Passed.PACKED
    with open(path, "rb") as file:
        head = file.read(SNIFFED)
    if head.startswith(b"From "):
        return "mbox"
    if not head and any(os.path.exists(path + suffix) for suffix in (".msf", SUBFOLDERS)):
        return "mbox"  # a mail program's folder without mails
    if head.startswith(COMPOUND_FILE) and "__properties_version1.0".encode("utf-16-le") in head:
        return "message"
    if head.startswith(b"!BDN"):
        return "data"
    start = head.removeprefix(b"\xef\xbb\xbf").lstrip()[:20].upper()
    if start.startswith(b"BEGIN:VCARD"):
        return "contacts"
    if start.startswith(b"BEGIN:VCALENDAR"):
        return "calendar"
    return "mail" if begins_as_mail(head) else Passed.OTHER


class Finder:
    """Walks through inputs. Each file found is in one folder's `sources`, and all are in `sources` in order."""

    def __init__(self, report: Report) -> None:
        self.report = report
        self.sources: list[Source] = []
        self.places: dict[str, int] = {}  # names of inputs
        self.met: set[tuple[int, int]] = set()  # files and folders by device and number

    def find(self, inputs: Iterable[str]) -> list[Folder]:
        """The folders of the mailbox: one for each input folder, Maildir and mbox file, and a last one, without a
        name, for the input files."""
        folders: list[Folder] = []
        loose = Folder("")
        for given in inputs:
            path = os.path.realpath(given)  # what a link that is named leads to was meant
            place = unique(os.path.basename(path) or "Imported", self.places)
            try:
                status = os.stat(path)
            except OSError as error:
                missing = isinstance(error, FileNotFoundError)
                self.report.problem(given, "there is no such file or folder" if missing else _reason(error))
                continue
            if stat.S_ISDIR(status.st_mode):
                self.directory(path, place, status, folders, os.path.basename(path) or "Imported")
            else:
                self.file(path, place, status, loose, folders)
        return [*folders, loose]

    def directory(self, path: str, place: str, status: os.stat_result, into: list[Folder], name: str) -> None:
        """Adds the folder of a directory with all below it."""
        if not self.is_first(status, place):
            return
        try:
            entries = sorted(os.scandir(path), key=lambda entry: entry.name)
        except OSError as error:
            self.report.problem(place, _reason(error))
            return
        folder = Folder(name)
        into.append(folder)
        below: list[tuple[str, str, os.stat_result, str]] = []
        names = {entry.name for entry in entries}
        if CLEAN_MARK in names:
            self.report.pass_over(place, Passed.KEPT)
            into.remove(folder)
            return
        if is_maildir(path):
            self.maildir(path, place, entries, folder)
            return
        is_profile = "prefs.js" in names and not names.isdisjoint(PROFILE_MAILS)
        for entry in entries:
            inner = f"{place}/{entry.name}"
            if entry.name.startswith("."):
                self.report.pass_over(inner, Passed.HIDDEN)
                continue
            if is_profile and entry.name not in PROFILE_MAILS:
                self.report.pass_over(inner, Passed.PROGRAM)
                continue
            try:
                status = entry.stat(follow_symlinks=False)
            except OSError as error:
                self.report.problem(inner, _reason(error))
                continue
            if not stat.S_ISDIR(status.st_mode):
                self.file(entry.path, inner, status, folder, folder.folders)
            elif entry.name.endswith(SUBFOLDERS) and entry.name.removesuffix(SUBFOLDERS) in names:
                below.append((entry.path, inner, status, entry.name.removesuffix(SUBFOLDERS)))
            else:
                self.directory(entry.path, inner, status, folder.folders, entry.name)
        for path, inner, status, name in below:
            found: list[Folder] = []
            self.directory(path, inner, status, found, name)
            for sub in found:
                _subfolder(folder, name).folders += sub.folders

    def file(self, path: str, place: str, status: os.stat_result, folder: Folder, folders: list[Folder]) -> None:
        """Adds a file to a folder, or to a folder of its own when it is one."""
        if not self.is_file(status, place):
            return
        try:
            kind = format_of(path)
        except OSError as error:
            self.report.problem(place, _reason(error))
            return
        if isinstance(kind, Passed):
            self.report.pass_over(place, kind)
        elif self.is_first(status, place):
            if kind == "mbox":
                folder = Folder(os.path.splitext(os.path.basename(path))[0])
                folders.append(folder)
            self.add(folder, path, place, kind, status)

    def add(self, folder: Folder, path: str, place: str, kind: str, status: os.stat_result, flags: str = "") -> None:
        identity = (status.st_dev, status.st_ino, status.st_size, status.st_mtime_ns, status.st_ctime_ns)
        source = Source(path, place, kind, status.st_size, identity, flags)
        folder.sources.append(source)
        self.sources.append(source)

    def maildir(self, path: str, place: str, entries: list[os.DirEntry[str]], folder: Folder) -> None:
        """A Maildir: its mails, its subfolders that are named `.Sub` or `.Sub.Deeper`, and Maildirs that simply lie
        in it."""
        for part in MAILDIR_PARTS:
            try:
                mails = sorted(os.scandir(os.path.join(path, part)), key=lambda entry: entry.name)
            except OSError as error:
                self.report.problem(f"{place}/{part}", _reason(error))
                continue
            for entry in mails:
                inner = f"{place}/{part}/{entry.name}"
                try:
                    status = entry.stat(follow_symlinks=False)
                except OSError as error:
                    self.report.problem(inner, _reason(error))
                    continue
                if self.is_file(status, inner) and self.is_first(status, inner):
                    info = MAILDIR_INFO.search(entry.name)
                    # Mails in new/ have not been seen; "P" alone would make one seen, so a blank says: nothing is known
                    self.add(folder, entry.path, inner, "mail", status, info[1] if info and info[1] else " ")
        for entry in entries:
            inner = f"{place}/{entry.name}"
            if entry.name in (*MAILDIR_PARTS, "tmp"):
                continue
            if entry.is_symlink():
                self.report.pass_over(inner, Passed.LINK)
            elif not entry.is_dir() or not is_maildir(entry.path):
                self.report.pass_over(inner, Passed.HIDDEN if entry.name.startswith(".") else Passed.OTHER)
            else:
                *above, last = entry.name.removeprefix(".").split(".") if entry.name.startswith(".") else [entry.name]
                target = folder
                for step in above:
                    target = _subfolder(target, step)
                found: list[Folder] = []
                self.directory(entry.path, inner, entry.stat(), found, last)
                for sub in found:
                    into = _subfolder(target, last)
                    into.sources += sub.sources
                    into.folders += sub.folders

    def is_file(self, status: os.stat_result, place: str) -> bool:
        """Whether it is an ordinary file; reported when it is none."""
        if not stat.S_ISREG(status.st_mode):
            self.report.pass_over(place, Passed.LINK if stat.S_ISLNK(status.st_mode) else Passed.SPECIAL)
            return False
        return True

    def is_first(self, status: os.stat_result, place: str) -> bool:
        """Whether a file or folder was not met before, by another name or way; reported when it was."""
        identity = (status.st_dev, status.st_ino)
        if identity in self.met:
            self.report.pass_over(place, Passed.TWICE)
            return False
        self.met.add(identity)
        return True


def _reason(error: OSError) -> str:
    return error.strerror or str(error)


def is_maildir(path: str) -> bool:
    return all(os.path.isdir(os.path.join(path, part)) for part in MAILDIR_PARTS)


def _subfolder(folder: Folder, name: str) -> Folder:
    for found in folder.folders:
        if found.name == name:
            return found
    folder.folders.append(Folder(name))
    return folder.folders[-1]


def unique(name: str, taken: dict[str, int]) -> str:
    """A name that no other in one place has: the second of a name gets a number."""
    found = name
    while found.lower() in taken:
        taken[name.lower()] += 1
        found = f"{name} ({taken[name.lower()]})"
    taken[found.lower()] = 1
    return found
