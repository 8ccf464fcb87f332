"""Carries out a plan, file by file. Whatever prevents one file's part of it leaves that file alone, and the rest goes on."""

from __future__ import annotations

import contextlib
import os
import re
from collections.abc import Callable

from .files import MARK, MARK_TEXT, Left, digest, free_name, read, reason, rename, sync_folder, write_new
from .journal import Journal
from .locks import locked
from .plan import Move, Place, Plan, root_of

FOLDER = "Duplicates"
NEW = ".quorvel-new"  # at the end of the name of a file that is about to take another's place
_ENTRY = re.compile(rb"BEGIN:(?:VCARD|VEVENT|VTODO|VJOURNAL|VFREEBUSY)", re.IGNORECASE)
Tell = Callable[[str], None]


class Cleaner:
    """Takes duplicates out of files. Without a journal it only says what it would do."""

    def __init__(self, plan: Plan, inputs: list[str], imported: int, journal: Journal | None, tell: Tell) -> None:
        self.plan = plan
        self.inputs = inputs
        self.imported = imported  # when, in nanoseconds
        self.journal = journal
        self.tell = tell
        self.removed: dict[str, list[tuple[int, int]]] = {}  # spans taken out of files in this run
        self.folders: dict[str, str] = {}  # ours, by the folder that they are in
        self.moved = self.left = 0

    def run(self) -> None:
        for path, moves in self.plan.by_file().items():
            try:
                if not moves[0].place.number or self.is_all(path, moves):
                    self.move(path, moves)
                else:
                    self.take_out(path, moves)
            except Left as left:
                self.leave(moves, path, str(left))
            except OSError as error:
                self.leave(moves, path, reason(error))
            except MemoryError:
                self.leave(moves, path, "it does not fit into memory")

    def is_all(self, path: str, moves: list[Move]) -> bool:
        """Whether nothing is left of a file without these entries. An mbox file stays, as mail programs want it."""
        data = read(path)
        spans = sorted((move.place.offset, move.place.length) for move in moves)
        return not data.startswith(b"From ") and not _ENTRY.search(without(data, spans))

    def leave(self, moves: list[Move], path: str, why: str) -> None:
        self.left += len(moves)
        self.tell(f"left alone: {path}: {why}")

    def check(self, place: Place, what: str = "it") -> bytes:
        """The bytes of an item, which must be those that were imported."""
        if place.digest is None:
            self.check_data_file(place, what)
            return b""
        if place.number:
            spans = self.removed.get(place.path, [])
            start = place.offset - sum(length for offset, length in spans if offset < place.offset)
            data = read(place.path, start, place.length)
        else:
            data = read(place.path)
        if digest(data) != place.digest:
            raise Left(f"{what} changed since it was imported")
        return data

    def check_data_file(self, place: Place, what: str) -> None:
        """An item of a data file has no bytes of its own: the file must be as old as the import."""
        try:
            status = os.stat(place.path)
        except OSError as error:
            raise Left(f"{what} cannot be read: {reason(error)}") from error
        if max(status.st_mtime_ns, status.st_ctime_ns) >= self.imported:
            raise Left(f"{what} is in a data file that changed since it was imported")

    def checked(self, moves: list[Move]) -> list[Move]:
        """The moves whose item and kept copy are what they were; the others are named."""
        found = []
        for move in moves:
            try:
                self.check(move.place)
                try:
                    self.check(move.kept, "the copy that stays")
                except Left as left:
                    raise Left(f"{move.kept}: {left}") from None
                found.append(move)
            except Left as left:
                self.leave([move], str(move.place), str(left))
        return found

    def target(self, path: str) -> str:
        """Where a file, or what is taken out of it, goes: the same place in a folder beside its root, or in it when nothing
        can be moved beside it."""
        root = root_of(path, self.inputs)
        beside = os.path.dirname(root)
        if os.path.isdir(root) and not holds(beside, root):
            beside = root
        return os.path.join(self.folder(beside), os.path.relpath(path, beside))

    def folder(self, beside: str) -> str:
        """The folder of ours in a folder; somebody else's folder of the name is not used."""
        if beside not in self.folders:
            number, found = 1, os.path.join(beside, FOLDER)
            while os.path.lexists(found) and not os.path.exists(os.path.join(found, MARK)):
                number += 1
                found = os.path.join(beside, f"{FOLDER} ({number})")
            self.folders[beside] = found
        return self.folders[beside]

    def make_folders(self, path: str, journal: Journal) -> None:
        """The folders down to that of a path, of a Maildir all three; each is noted before it is made."""
        top = next(folder for folder in self.folders.values() if path.startswith(folder + os.sep))
        parent = os.path.dirname(path)
        wanted = [top, parent]
        if os.path.basename(parent) in ("cur", "new"):
            wanted += [os.path.join(os.path.dirname(parent), part) for part in ("cur", "new", "tmp")]
        mark = os.path.join(top, MARK)
        for folder in wanted:
            missing, above = [], folder
            while not os.path.isdir(above):
                missing.append(above)
                above = os.path.dirname(above)
            for made in reversed(missing):
                journal.write(act="folder", path=made)
                os.mkdir(made, 0o700)
                sync_folder(os.path.dirname(made))
            if folder == top and not os.path.exists(mark):
                journal.write(act="mark", path=mark)
                write_new(mark, MARK_TEXT)
                sync_folder(top)

    def move(self, path: str, moves: list[Move]) -> None:
        """Moves a file of which nothing stays."""
        good = self.checked(moves)
        if len(good) < len(moves):
            if good:
                self.take_out(path, good)
            return
        target = free_name(self.target(path))
        if self.journal:
            self.make_folders(target, self.journal)
            target = free_name(target)
            data = read(path)
            self.journal.write(act="move", path=path, to=target, digest=digest(data))
            rename(path, target)
        self.moved += len(moves)
        self.said(f"{path} to {target}", moves)

    def take_out(self, path: str, moves: list[Move]) -> None:
        """Writes a file without some of its entries, which a file of the same kind keeps."""
        kept = free_name(self.target(path))
        with locked(path, self.journal):
            moves = sorted(self.checked(moves), key=lambda move: move.place.number)
            if not moves:
                return
            old = read(path)
            spans = sorted((move.place.offset, move.place.length) for move in moves)
            if self.journal:
                new = without(old, spans)
                aside = removed_part(old, spans, path)
                self.make_folders(kept, self.journal)
                kept = free_name(kept)
                self.journal.write(act="take", path=path, kept=kept, new=path + NEW, spans=spans, oldDigest=digest(old),
                                   newDigest=digest(new), newLength=len(new), keptDigest=digest(aside))  # fmt: skip
                write_new(kept, aside, path)
                sync_folder(os.path.dirname(kept))
                replace(path, old, new)
                self.removed[path] = [*self.removed.get(path, []), *spans]
        self.moved += len(moves)
        numbers = ", ".join(f"#{move.place.number}" for move in moves)
        self.said(f"{numbers} of {path} to {kept}", moves)

    def said(self, what: str, moves: list[Move]) -> None:
        self.tell(f"{'moved' if self.journal else 'would move'}: {what}")
        for move in moves:
            self.tell(f"    {move.title or '(no subject)'}; {move.kept} stays")


def holds(beside: str, root: str) -> bool:
    """Whether files can be renamed from a folder into the one that it is in: not from a disk's top, nor from a home."""
    return os.access(beside, os.W_OK, effective_ids=True) and os.stat(beside).st_dev == os.stat(root).st_dev


def without(data: bytes, spans: list[tuple[int, int]]) -> bytes:
    """The bytes without some spans of them, which are in order."""
    out, place = [], 0
    for offset, length in spans:
        out.append(data[place:offset])
        place = offset + length
    return b"".join([*out, data[place:]])


def removed_part(data: bytes, spans: list[tuple[int, int]], path: str) -> bytes:
    """The spans as a file of the same kind: a calendar's stand within what every calendar begins and ends with."""
    entries = b"".join(data[offset : offset + length] for offset, length in spans)
    if b"BEGIN:VCALENDAR" in data[:200].upper() and not entries.upper().startswith(b"BEGIN:VCALENDAR"):
        end = b"\r\n" if b"\r\n" in data else b"\n"
        head = end.join((b"BEGIN:VCALENDAR", b"VERSION:2.0", b"PRODID:-//Quorvel//Duplicates//EN", b""))
        return head + entries + (b"" if entries.endswith(b"\n") else end) + b"END:VCALENDAR" + end
    return entries


def replace(path: str, old: bytes, new: bytes) -> None:
    """Puts new bytes in a file's place, when it still holds the old ones."""
    with contextlib.suppress(FileNotFoundError):
        os.unlink(path + NEW)  # of a clean that was killed: the journal's own, never anybody's
    write_new(path + NEW, new, path)
    if read(path) != old:
        os.unlink(path + NEW)
        raise Left("it changed just now")
    os.rename(path + NEW, path)
    sync_folder(os.path.dirname(path))
