"""The command: what it takes, what it prints, and its exit status."""

from __future__ import annotations

import argparse
import os
import sys
import tempfile
from collections import Counter
from datetime import tzinfo

from .folders import KINDS, mailbox_folders
from .mailbox_file import Store, Writer, is_mailbox, write_file
from .model import Folder, ItemKind, Report, Source
from .progress import Progress
from .reading import MBOX_BYTES, read_all, spools
from .sources import Finder
from .times import local_zone, named_zone
from .unchanged import Earlier, Told, fingerprint

ALL_READ, PARTLY_READ, NOTHING_DONE = 0, 1, 2

DESCRIPTION = "Makes a mailbox file from mails, contacts and calendars."
EPILOGUE = """\
INPUT is an .eml, .mbox, .vcf or .ics file, a Maildir, or a folder of these, read with all its
subfolders. Each folder, Maildir and mbox file becomes a folder of the mailbox; items of further kinds
in one folder go to subfolders named Contacts, Calendar, Tasks and Journal. Input files named one by one
go to the folders Mail, Contacts, Calendar, Tasks and Journal.

Exit status: 0 everything was read; 1 something could not be read or has no place in a mailbox, as the
report on standard error says; 2 nothing was done."""


def main(arguments: list[str] | None = None) -> int:
    options = parse(arguments)
    zone = named_zone(options.zone) if options.zone else local_zone()
    if zone is None:
        return fail(f"there is no time zone named {options.zone!r}; names are like Europe/Berlin")
    report = Report()
    finder = Finder(report)
    found = [(name, finder.find(paths)) for name, paths in [(options.name, options.input), *options.store]]
    earlier = None
    if options.output != "-":
        inputs = [path for paths in (options.input, *(paths for _, paths in options.store)) for path in paths]
        if refusal := refused_output(options.output, inputs, finder, options.force):
            return fail(refusal)
        earlier = Earlier(options.output, fingerprint(finder.sources, report, [str([options.name, options.store]), str(zone)]))
        if known := earlier.known():
            tell_all(known, options)
            return known.status
    try:
        return make(finder, found, options, zone, earlier)
    except OSError as error:
        return fail(f"{options.output}: {error.strerror or error}")


def make(
    finder: Finder, found: list[tuple[str, list[Folder]]], options: argparse.Namespace, zone: tzinfo, earlier: Earlier | None
) -> int:
    """Reads what was found and writes the mailbox."""
    report = finder.report
    to_file = options.output != "-"
    directory = os.path.dirname(os.path.abspath(options.output)) if to_file else tempfile.gettempdir()
    parts = sum(1 + source.size // MBOX_BYTES if source.format == "mbox" else 1 for source in finder.sources)
    handles = spools(max(1, min(options.jobs, parts)), directory)
    with Progress(finder.sources, options.quiet) as progress:
        read_all(finder.sources, report, zone, handles, progress.step)
    named = [Store(name, mailbox_folders(folders)) for name, folders in found]
    counts = Counter(KINDS[item.kind] for source in finder.sources for item in source.items)
    if not counts:
        tell(report.lines())
        return fail("nothing to import, so no mailbox is written")
    stores = [*named[:1], *(store for store in named[1:] if store.folders)]
    stores += [source for source in finder.sources if source.store]
    if to_file:
        write_file(options.output, stores, handles)
    else:
        Writer(sys.stdout.buffer, handles).mailbox(stores)
        sys.stdout.buffer.flush()
    status = ALL_READ if report.complete else PARTLY_READ
    told = Told(status, folder_lines(stores), sums(counts), report.summary(), report.lines())
    if earlier:
        earlier.keep(told)
    tell_all(told, options)
    return status


def parse(arguments: list[str] | None) -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="mailbox/import",
        description=DESCRIPTION,
        epilog=EPILOGUE,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument("input", nargs="+", metavar="INPUT", help="a file or a folder to read")
    parser.add_argument("-o", "--output", default="-", metavar="FILE.json", help="default: standard output")
    parser.add_argument("--force", action="store_true", help="overwrite a file that is no mailbox file, too")
    parser.add_argument("--store", nargs="+", action="append", default=[], metavar=("NAME", "INPUT"),
                        help="reads the INPUTs into a further store of this name, such as an archive; may be repeated")  # fmt: skip
    parser.add_argument("--name", default="Imported files", help="the display name of the mailbox's store")
    parser.add_argument("--zone", help="the time zone of days and of times without one; default: the local one")
    parser.add_argument("--report", metavar="FILE", help="the file of the report; its main points are shown all the same")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, metavar="N", help="processes that read; default: all")
    parser.add_argument("-q", "--quiet", action="store_true", help="say only what was lost, not what was read")
    options = parser.parse_args(arguments)
    if any(len(store) < 2 for store in options.store):
        parser.error("argument --store: NAME and at least one INPUT are needed")
    options.store = [(name, inputs) for name, *inputs in options.store]
    return options


def refused_output(output: str, inputs: list[str], finder: Finder, force: bool) -> str | None:
    """Why the output may not be written: something of the user's stands there. None when it may."""
    if not os.path.exists(output):
        return None
    if os.path.isdir(output):
        return f"{output} is a folder"
    if not os.path.isfile(output):
        return f"{output} is no file that can be replaced"
    status = os.stat(output)
    named = any(os.path.exists(path) and os.path.samefile(path, output) for path in inputs)
    if named or (status.st_dev, status.st_ino) in finder.met or (not is_mailbox(output) and within(output, inputs)):
        return f"{output} is one of the files to be read, and is not overwritten"
    return None if force or is_mailbox(output) else f"{output} exists and is no mailbox file; --force overwrites it"


def within(path: str, folders: list[str]) -> bool:
    """Whether a path lies below one of the folders."""
    real = os.path.realpath(path)
    return any(real.startswith(os.path.realpath(folder) + os.sep) for folder in folders)


def folder_lines(stores: list[Store | Source]) -> list[str]:
    """The folders with their counts, those of further stores behind their store's name."""
    out = []
    for number, store in enumerate(stores):
        if isinstance(store, Source):
            out += data_lines(store)
            continue
        for folder in store.folders:
            for path, sub in folder.walk(store.name if number else ""):
                if sub.items:
                    out.append(f"{path}: {sub.kind.counted(len(sub.items))}")
    return out


def data_lines(source: Source) -> list[str]:
    assert source.store
    out = []
    for path, folder in source.store.root.walk(source.store.name):
        if folder.items:
            out.append(f"{path}: {counted(Counter(KINDS[source.items[number].kind] for number in folder.items))}")
    return out


def sums(counts: Counter[ItemKind]) -> str:
    return f"in all: {counted(counts)}"


def counted(counts: Counter[ItemKind]) -> str:
    return ", ".join(kind.counted(counts[kind]) for kind in ItemKind if counts[kind])


def tell_all(told: Told, options: argparse.Namespace) -> None:
    """What became of the input: to standard error, or to the file of the report and the main points to standard error."""
    lines = ([] if options.quiet else [*told.folders, told.sums]) + told.report
    if not options.report:
        tell(lines)
        return
    with open(options.report, "w", encoding="utf-8", errors="replace") as stream:
        stream.writelines(line + "\n" for line in lines)
    tell([told.sums, *told.summary])


def tell(lines: list[str]) -> None:
    for line in lines:
        print(line.encode("utf-8", "replace").decode("utf-8"), file=sys.stderr)


def fail(text: str) -> int:
    print(f"mailbox/import: {text}", file=sys.stderr)
    return NOTHING_DONE


def run() -> None:
    """Entry point of the command; a reader that closes the pipe early is no reason for a trace."""
    sys.setrecursionlimit(10_000)  # folders lie in folders as deep as a path is long
    try:
        status = main()
    except BrokenPipeError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        status = NOTHING_DONE
    except KeyboardInterrupt:
        status = 130
    except Exception as error:
        status = fail(f"{type(error).__name__}: {error}; no mailbox was written")
    sys.exit(status)
