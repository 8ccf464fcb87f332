"""The command: what it takes, what it prints, and its exit status."""

from __future__ import annotations

import argparse
import os
import sys
from collections import Counter

from .mailbox_file import Store, is_mailbox, mailbox_json, write, write_file
from .model import ItemKind, Report
from .sources import Importer
from .times import local_zone, named_zone

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
    inputs = [(options.name, options.input), *((name, paths) for name, *paths in options.store)]
    read = [path for _, paths in inputs for path in paths]
    if options.output != "-" and (refusal := refused_output(options.output, read, options.force)):
        return fail(refusal)
    report = Report()
    stores = [Store(name, Importer(report, zone).read(paths)) for name, paths in inputs]
    counts = Counter(
        item.kind for store in stores for folder in store.folders for _, sub in folder.walk() for item in sub.items
    )
    if not counts:
        tell(report.lines())
        return fail("nothing to import, so no mailbox is written")
    mailbox = mailbox_json(stores)
    try:
        if options.output == "-":
            write(mailbox, sys.stdout)
            sys.stdout.flush()
        else:
            write_file(mailbox, options.output)
    except OSError as error:
        return fail(f"{options.output}: {error.strerror or error}")
    if not options.quiet:
        tell(summary(stores, counts))
    tell(report.lines())
    return ALL_READ if report.complete else PARTLY_READ


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
    parser.add_argument("-q", "--quiet", action="store_true", help="say only what was lost, not what was read")
    options = parser.parse_args(arguments)
    if any(len(store) < 2 for store in options.store):
        parser.error("argument --store: NAME and at least one INPUT are needed")
    return options


def refused_output(output: str, inputs: list[str], force: bool) -> str | None:
    """Why the output may not be written: something of the user's stands there. None when it may."""
    if not os.path.exists(output):
        return None
    if os.path.isdir(output):
        return f"{output} is a folder"
    read = (os.path.join(folder, name) for path in inputs for folder, _, names in os.walk(path) for name in names)
    if any(os.path.exists(path) and os.path.samefile(path, output) for path in inputs) or (
        not is_mailbox(output) and any(os.path.exists(path) and os.path.samefile(path, output) for path in read)
    ):
        return f"{output} is one of the files to be read, and is not overwritten"
    return None if force or is_mailbox(output) else f"{output} exists and is no mailbox file; --force overwrites it"


def summary(stores: list[Store], counts: Counter[ItemKind]) -> list[str]:
    """The folders with their counts, those of further stores behind their store's name, and the sums."""
    out = []
    for number, store in enumerate(stores):
        for folder in store.folders:
            for path, sub in folder.walk(store.name if number else ""):
                if sub.items:
                    out.append(f"{path}: {sub.kind.counted(len(sub.items))}")
    out.append("in all: " + ", ".join(kind.counted(counts[kind]) for kind in ItemKind if counts[kind]))
    return out


def tell(lines: list[str]) -> None:
    for line in lines:
        print(line.encode("utf-8", "replace").decode("utf-8"), file=sys.stderr)


def fail(text: str) -> int:
    print(f"mailbox/import: {text}", file=sys.stderr)
    return NOTHING_DONE


def run() -> None:
    """Entry point of the command; a reader that closes the pipe early is no reason for a trace."""
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
