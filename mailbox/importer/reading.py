"""Reads files into lines of the mailbox file, in processes beside the one that writes it.

A process puts the lines of its items into a file of its own without a name, its spool, and reports where; so nothing
that was read is held in memory, and whoever kills the import leaves nothing behind. A reader that ends its process costs
the file that it was reading.
"""

from __future__ import annotations

import contextlib
import hashlib
import multiprocessing
import multiprocessing.connection
import os
import re
import tempfile
from collections import deque
from collections.abc import Callable, Iterable, Iterator
from dataclasses import dataclass, field
from datetime import tzinfo
from typing import Any, BinaryIO

from . import properties as p
from .mail import Origin, header_time, read_mail
from .mailbox_file import identifier, item_json, item_text, value_json
from .model import Item, ItemKind, Passed, Report, Source, Stored

BATCH_BYTES = 1 << 20  # of files that a process is given at once
BATCH_FILES = 100
MBOX_BYTES = 8 << 20  # of an mbox file
KINDS = {kind: number for number, kind in enumerate(ItemKind)}


@dataclass
class Task:
    """A source, or some of the mails of an mbox file: those from number `first` on, which begin at `start`."""

    number: int  # of the source
    source: Source
    start: int = 0
    end: int = 0
    first: int = 1


@dataclass
class Outcome:
    """What a process found in one task."""

    number: int
    start: int
    items: list[tuple[int, int, int]] = field(default_factory=list)  # kind, start and length in the spool
    report: Report = field(default_factory=Report)
    store: Any = None
    bytes: int = 0


def file_bytes(source: Source) -> bytes:
    """A file's bytes; it may have been replaced by something that would block since it was found."""
    handle = os.open(source.path, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK | os.O_CLOEXEC)
    try:
        data = os.read(handle, source.size + 1)
        if len(data) != source.size:  # it grew or shrank, or the system gives it in pieces
            parts = [data]
            while data:
                data = os.read(handle, 1 << 20)
                parts.append(data)
            data = b"".join(parts)
        return data
    finally:
        os.close(handle)


@dataclass(slots=True)
class Found:
    """An item and where its bytes lie: in the file as a whole, or from `offset` as entry `number`."""

    kind: ItemKind
    place: str
    item: Item | dict[str, Any]
    data: bytes | None = None  # None: it has no bytes of its own
    number: int = 0
    offset: int = 0


def _whole(item: Item | None, data: bytes) -> list[Found]:
    return [Found(item.kind, item.place, item, data)] if item else []


def _mail(task: Task, report: Report, local: tzinfo) -> Iterable[Found]:
    data = file_bytes(task.source)
    return _whole(read_mail(data, task.source.place, report, Origin(task.source.flags)), data)


_EMLX_FLAGS = re.compile(rb"<key>flags</key>\s{0,99}<integer>(\d{1,19})</integer>")
EMLX_BITS = {0: "S", 1: "T", 2: "R", 4: "F", 6: "D", 8: "P"}


def _emlx(task: Task, report: Report, local: tzinfo) -> Iterable[Found]:
    """A mail behind a line with its length, and behind it a list of properties with its flags."""
    data = file_bytes(task.source)
    line, _, rest = data.partition(b"\n")
    if not line.strip().isdigit() or len(line) > 20:
        report.problem(task.source.place, "no .emlx file: its first line is no length")
        return []
    length = int(line)
    if length > len(rest):
        report.problem(task.source.place, "the mail is cut short")
    match = _EMLX_FLAGS.search(rest, length)
    bits = int(match[1]) if match else 1
    flags = "".join(letter for bit, letter in EMLX_BITS.items() if bits >> bit & 1) or " "
    return _whole(read_mail(rest[:length], task.source.place, report, Origin(flags)), data)


def _contacts(task: Task, report: Report, local: tzinfo) -> Iterable[Found]:
    from .contacts import read_contacts

    data = file_bytes(task.source)
    return _entries(data, read_contacts(data, task.source.place, report))


def _calendar(task: Task, report: Report, local: tzinfo) -> Iterable[Found]:
    from .calendars import read_calendar  # it loads much, and few imports need it

    data = file_bytes(task.source)
    return _entries(data, read_calendar(data, task.source.place, report, local))


def _entries(data: bytes, items: list[Item]) -> Iterator[Found]:
    """Items with the bytes of their lines. A file of two bytes a character has no lines to cut at."""
    starts = [] if data.startswith((b"\xff\xfe", b"\xfe\xff")) else line_starts(data)
    for number, item in enumerate(items, 1):
        first, last = item.lines
        if starts and last:
            start = starts[first - 1] if first > 1 else 3 if data.startswith(b"\xef\xbb\xbf") else 0
            end = starts[last] if last < len(starts) else len(data)
            yield Found(item.kind, item.place, item, data[start:end], number, start)
        else:
            yield Found(item.kind, item.place, item, None, number)


_LINE_ENDS = re.compile(rb"\r+\n?|\n")


def line_starts(data: bytes) -> list[int]:
    """Where the lines of a file begin, counted as content lines are."""
    starts = [0]
    for match in _LINE_ENDS.finditer(data):
        if match[0].endswith(b"\n"):
            starts.append(match.end())
        else:
            starts.extend(range(match.start() + 1, match.end() + 1))
    return starts


_QUOTED_FROM = re.compile(rb"^>(?=>*From )", re.MULTILINE)
_EXPUNGED = re.compile(rb"^X-Mozilla-Status: [0-9A-Fa-f]{3}[89A-Fa-f]\r?$", re.MULTILINE | re.IGNORECASE)


def _mbox(task: Task, report: Report, local: tzinfo) -> Iterator[Found]:
    """Mails of an mbox file. Lines quoted as `>From ` lose one mark; a mail marked as deleted is left out."""
    with open(task.source.path, "rb") as file:
        file.seek(task.start)
        data = file.read(task.end - task.start)
    start = 0
    for number in range(task.first, task.first + data.count(b"\nFrom ") + 1):
        end = data.find(b"\nFrom ", start) + 1 or len(data)
        whole, offset, start = data[start:end], task.start + start, end
        place = f"{task.source.place}#{number}"
        envelope, _, mail = whole.partition(b"\n")
        head_end = mail.find(b"\n\n")
        if _EXPUNGED.search(mail, 0, head_end if head_end >= 0 else len(mail)):
            report.pass_over(place, Passed.DELETED)
            continue
        if mail.endswith((b"\n\n", b"\n\r\n")):  # the blank line belongs to the next envelope
            mail = mail[:-1].removesuffix(b"\r")
        delivered = header_time(envelope.decode("latin-1").strip().partition(" ")[2].partition(" ")[2])
        item = read_mail(_QUOTED_FROM.sub(b"", mail), place, report, Origin(delivered=delivered))
        if item:
            yield Found(ItemKind.MAIL, place, item, whole, number, offset)


def _message(task: Task, report: Report, local: tzinfo) -> Iterable[Found]:
    from .data_files import kind_of_class
    from .mapi_values import message_class
    from .message_files import Damaged, read_message

    data, place = file_bytes(task.source), task.source.place
    try:
        message = read_message(data, place, report)
    except Damaged as error:
        report.problem(place, str(error))
        return []
    kind = kind_of_class(message_class(message["properties"]))
    return [Found(kind, place, {"id": identifier("item", place), **message}, data)]


Reader = Callable[[Task, Report, tzinfo], Iterable[Found]]
READERS: dict[str, Reader] = {"mail": _mail, "emlx": _emlx, "mbox": _mbox, "contacts": _contacts,
                              "calendar": _calendar, "message": _message}  # fmt: skip


def source_values(source: Source, found: Found) -> dict[str, Any]:
    """What an item knows about where it comes from."""
    values: dict[str, Any] = {p.SOURCE_PATH: source.path}
    if found.number:
        values[p.SOURCE_PLACE] = found.number
    if found.data is not None:
        values[p.SOURCE_DIGEST] = hashlib.sha256(found.data).digest()
        if found.number:
            values[p.SOURCE_OFFSET] = found.offset
            values[p.SOURCE_LENGTH] = len(found.data)
    return values


def mail_starts(file: BinaryIO) -> Iterator[int]:
    """Where the second and further mails of an mbox file begin. It is not mapped: so it takes no memory."""
    file.seek(0)
    base, rest = 0, b""
    while block := file.read(MBOX_BYTES):
        data = rest + block
        place = -1
        while (place := data.find(b"\nFrom ", place + 1)) >= 0:
            yield base + place + 1
        rest = data[-5:]  # the first letters of what the next block may go on with
        base += len(data) - len(rest)


def tasks_of(number: int, source: Source, report: Report) -> Iterator[Task]:
    """A source as tasks: an mbox file is cut between mails, any other is one."""
    if source.format != "mbox":
        yield Task(number, source)
        return
    if not source.size:  # one without mails
        return
    try:
        with open(source.path, "rb") as file:
            if file.read(5) != b"From ":
                report.problem(source.place, "no mbox file: it does not begin with a From line")
                return
            start, first, mails = 0, 1, 1
            for place in mail_starts(file):
                if place - start >= MBOX_BYTES:
                    yield Task(number, source, start, place, first)
                    start, first, mails = place, first + mails, 0
                mails += 1
            yield Task(number, source, start, file.tell(), first)
    except OSError as error:
        report.problem(source.place, error.strerror or str(error))


def batches(sources: list[Source], report: Report) -> Iterator[list[Task]]:
    """The tasks in order, small ones together."""
    batch: list[Task] = []
    weight = 0
    for number, source in enumerate(sources):
        for task in tasks_of(number, source, report):
            batch.append(task)
            weight += (task.end - task.start) or source.size
            if weight >= BATCH_BYTES or len(batch) >= BATCH_FILES:
                yield batch
                batch, weight = [], 0
    if batch:
        yield batch


def perform(task: Task, spool: Spool, local: tzinfo) -> Outcome:
    """Reads a task's items into the spool. Whatever a file holds, the others are read."""
    outcome = Outcome(task.number, task.start, bytes=(task.end - task.start) or task.source.size)
    report = outcome.report
    try:
        if task.source.format == "data":
            outcome.store = _data_file(task.source, outcome, spool)
        else:
            for found in READERS[task.source.format](task, report, local):
                values = source_values(task.source, found)
                if isinstance(found.item, Item):
                    found.item.values.update(values)
                    whole = item_json(found.item)
                else:
                    found.item["properties"] |= {key: value_json(value) for key, value in values.items()}
                    whole = found.item
                outcome.items.append((KINDS[found.kind], *spool.add(item_text(whole))))
    except OSError as error:
        report.problem(task.source.place, error.strerror or str(error))
    except MemoryError:
        report.problem(task.source.place, "it does not fit into memory")
    except Exception as error:
        report.problem(task.source.place, f"it cannot be read: {type(error).__name__}: {error}")
    return outcome


def _data_file(source: Source, outcome: Outcome, spool: Spool) -> Any:
    from . import data_files
    from .pff import PffError

    def keep(kind: ItemKind, item: dict[str, Any]) -> int:
        outcome.items.append((KINDS[kind], *spool.add(item_text(item))))
        return len(outcome.items) - 1

    try:
        reader = data_files.Reader(source.path, source.place, outcome.report, keep, {p.SOURCE_PATH: source.path})
        return reader.store(os.path.splitext(os.path.basename(source.path))[0])
    except PffError as error:
        outcome.report.problem(source.place, f"damaged: {error}")
        return None


class Spool:
    """A file without a name that lines are added to."""

    def __init__(self, handle: int) -> None:
        self.file = os.fdopen(handle, "ab", buffering=1 << 18, closefd=False)
        self.end = self.file.seek(0, os.SEEK_END)

    def add(self, line: bytes) -> tuple[int, int]:
        self.file.write(line)
        start, self.end = self.end, self.end + len(line)
        return start, len(line)


def _serve(
    channel: multiprocessing.connection.Connection, inherited: list[multiprocessing.connection.Connection], handle: int, local: tzinfo
) -> None:
    """The life of a reading process: batches in, outcomes out, until the process that writes is gone. It would never see
    that if it kept the other ends of the channels, which it has from that one."""
    for other in inherited:
        other.close()
    spool = Spool(handle)
    with contextlib.suppress(EOFError, KeyboardInterrupt, BrokenPipeError):
        while True:
            outcomes: list[Outcome] | OSError = []
            try:
                outcomes = [perform(task, spool, local) for task in channel.recv()]
                spool.file.flush()
            except OSError as error:  # the disk is full: nothing more can be read
                outcomes = error
            channel.send(outcomes)


class Process:
    """One reading process, and what it was given."""

    def __init__(self, number: int, handle: int, local: tzinfo, others: list[Process]) -> None:
        self.number = number
        self.channel, theirs = multiprocessing.Pipe()
        context = multiprocessing.get_context("fork")
        inherited = [self.channel, *(other.channel for other in others if not other.channel.closed)]
        self.process = context.Process(target=_serve, args=(theirs, inherited, handle, local), daemon=True)
        self.process.start()
        theirs.close()
        self.batch: list[Task] = []

    def give(self, batch: list[Task]) -> None:
        self.batch = batch
        self.channel.send(batch)

    def end(self) -> None:
        """Whatever it is at: what it has read so far is in its spool, and nobody waits for the rest."""
        self.channel.close()
        self.process.kill()
        self.process.join()


def spools(count: int, directory: str) -> list[int]:
    """Files without names, which vanish with the processes that hold them."""
    found = []
    for _ in range(count):
        handle, path = tempfile.mkstemp(prefix=".import-", dir=directory)
        os.unlink(path)
        found.append(handle)
    return found


def read_all(
    sources: list[Source], report: Report, local: tzinfo, handles: list[int], progress: Callable[[int, int], Any]
) -> None:
    """Reads the sources, each getting its items. `progress` is told of files and bytes."""
    outcomes: list[list[tuple[int, Outcome]]] = [[] for _ in sources]  # by source, each with its spool
    waiting: deque[list[Task]] = deque()
    more = batches(sources, report)
    processes: list[Process] = []
    for number, handle in enumerate(handles):
        processes.append(Process(number, handle, local, processes))

    def next_batch() -> list[Task] | None:
        return waiting.popleft() if waiting else next(more, None)

    idle = list(processes)
    busy: dict[Any, Process] = {}
    try:
        while True:
            while idle and (batch := next_batch()):
                process = idle.pop()
                process.give(batch)
                busy[process.channel] = process
            if not busy:
                break
            for channel in multiprocessing.connection.wait(list(busy)):
                process = busy.pop(channel)
                try:
                    received = process.channel.recv()
                except (EOFError, ConnectionResetError):
                    _bury(process, waiting, report)
                    handle = handles[process.number]
                    processes[processes.index(process)] = process = Process(process.number, handle, local, processes)
                    received = []
                if isinstance(received, OSError):
                    raise received
                for outcome in received:
                    outcomes[outcome.number].append((process.number, outcome))
                    progress(1 if sources[outcome.number].format != "mbox" else 0, outcome.bytes)
                idle.append(process)
    finally:
        for process in processes:
            process.end()
    for source, found in zip(sources, outcomes):
        for spool, outcome in sorted(found, key=lambda pair: pair[1].start):  # the parts of an mbox file in order
            source.items += [Stored(kind, spool, start, length) for kind, start, length in outcome.items]
            outcome.items.clear()
            source.store = outcome.store
            report.take(outcome.report)


def _bury(process: Process, waiting: deque[list[Task]], report: Report) -> None:
    """A process ended over its batch: the tasks are tried one by one, and the one that ends it alone is reported."""
    if len(process.batch) > 1:
        waiting.extend([task] for task in process.batch)
    else:
        report.problem(process.batch[0].source.place, "it cannot be read: it ended the process that read it")
    process.end()
