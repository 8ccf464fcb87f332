"""The command: what it takes, what it prints, and its exit status."""

from __future__ import annotations

import argparse
import os
import sys
import time

from .clean import Cleaner
from .journal import Journal, read_journal
from .plan import make_plan
from .undo import undo

ALL_DONE, PARTLY_DONE, NOTHING_DONE = 0, 1, 2

DESCRIPTION = "Takes duplicates out of the files that a mailbox was imported from, and puts them back."
EPILOGUE = """\
REPORT is what `quorvel scan --format json`, or `quorvel clean --plan`, wrote of MAILBOX: it says which copy stays.
Without --yes nothing is done: every file is named with what would be done.

Exit status: 0 everything was done; 1 something was left alone or could not be put back, and was named;
2 nothing was done."""


def main(arguments: list[str] | None = None) -> int:
    options = parse(arguments)
    if options.undo:
        return take_back(options.undo)
    try:
        plan = make_plan(options.mailbox, options.report)
        imported = os.stat(options.mailbox).st_mtime_ns
    except (OSError, ValueError, KeyError) as error:
        return fail(str(error))
    journal = Journal(options.journal or time.strftime("quorvel-clean-%Y%m%d-%H%M%S.journal")) if options.yes else None
    if journal and plan.moves:  # whoever is interrupted must know what undoes what was done
        tell(f"journal: {os.path.abspath(journal.path)}")
    for name, why in plan.staying:
        tell(f"stays: {name}: {why}")
    inputs = [os.path.realpath(path) for path in options.input]
    cleaner = Cleaner(plan, inputs, imported, journal, tell)
    try:
        cleaner.run()
    finally:
        if journal:
            journal.close()
    mails = f"{cleaner.moved} duplicate{'' if cleaner.moved == 1 else 's'}"
    if not journal:
        tell(f"{mails} would be moved; nothing was done. Add --yes to do it.")
    elif cleaner.moved:
        tell(f"{mails} moved. To put everything back: --undo {os.path.abspath(journal.path)}")
    else:
        tell("nothing was moved")
    return PARTLY_DONE if cleaner.left else ALL_DONE


def take_back(path: str) -> int:
    try:
        steps = read_journal(path)
        journal = Journal(path, further=True)
    except (OSError, ValueError) as error:
        return fail(f"{path}: {error}")
    try:
        back, failed = undo(steps, journal, tell)
    finally:
        journal.close()
    tell(f"{back} put back" + (f", {failed} not" if failed else ""))
    return PARTLY_DONE if failed else ALL_DONE


def parse(arguments: list[str] | None) -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="mailbox/clean", description=DESCRIPTION, epilog=EPILOGUE,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)  # fmt: skip
    parser.add_argument("--mailbox", metavar="MAILBOX", help="the mailbox file that the files were imported into")
    parser.add_argument("--report", metavar="REPORT", help="the program's report on it")
    parser.add_argument("--yes", action="store_true", help="do it")
    parser.add_argument("--journal", metavar="FILE", help="the journal; default: a new file here, with the time in its name")
    parser.add_argument("--undo", metavar="JOURNAL", help="put back what the journal says was moved")
    parser.add_argument("--merge", nargs="?", const="all", help=argparse.SUPPRESS)
    parser.add_argument("input", nargs="*", metavar="INPUT", help="what was imported")
    options = parser.parse_args(arguments)
    if options.merge:
        sys.exit(fail("files are moved as they are: --merge completes items of a mailbox, with quorvel clean"))
    if not options.undo and not (options.mailbox and options.report):
        parser.error("--mailbox and --report are needed, or --undo")
    return options


def tell(line: str) -> None:
    """A line on the terminal; what a title or a name holds besides letters does nothing there."""
    print("".join(c if c.isprintable() else "\N{REPLACEMENT CHARACTER}" for c in line), flush=True)


def fail(text: str) -> int:
    print(f"mailbox/clean: {text}", file=sys.stderr)
    return NOTHING_DONE


def run() -> None:
    try:
        status = main()
    except KeyboardInterrupt:
        status = 130
    except OSError as error:  # the journal cannot be written: nothing more is done without it
        status = fail(f"{error.filename or 'the journal'}: {error.strerror or error}")
    sys.exit(status)
