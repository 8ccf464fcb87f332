"""The locks that mail programs respect on an mbox file: a file of its name with .lock behind it, and the system's; and the
one that a mail program holds on its profile as long as it runs, with open files that nobody may replace under it.

They are those of the standard library's `mailbox` module. That one's lock file stays behind when its process is killed;
here the journal knows the lock file before it is there, so undoing takes it away and no other program's.
"""

from __future__ import annotations

import contextlib
import fcntl
import os
from collections.abc import Iterator
from typing import IO

from .files import Left, sync_folder
from .journal import Journal

HELD = "a mail program holds its lock"
PROFILE, PROFILE_LOCK = "prefs.js", ".parentlock"


@contextlib.contextmanager
def locked(path: str, journal: Journal | None) -> Iterator[None]:
    """Holds the locks of an mbox file; without a journal, or of another file, there is nothing to hold."""
    with open(path, "rb+" if journal else "rb") as file, contextlib.ExitStack() as profiles:
        if journal is None or file.read(5) != b"From ":
            yield
            return
        for profile in _profiles(path):
            _hold(profiles.enter_context(open(profile, "rb+")))
        lock = path + ".lock"
        _make(lock, journal)
        try:
            _hold(file)
            yield
        finally:
            os.unlink(lock)
            sync_folder(os.path.dirname(lock))


def _hold(file: IO[bytes]) -> None:
    try:
        fcntl.lockf(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except OSError:
        raise Left(HELD) from None


def _profiles(path: str) -> Iterator[str]:
    """The lock files of the mail programs' profiles that a file lies in."""
    while (above := os.path.dirname(path)) != path:
        path = above
        lock = os.path.join(path, PROFILE_LOCK)
        if os.path.exists(os.path.join(path, PROFILE)) and os.path.exists(lock):
            yield lock


def _make(lock: str, journal: Journal) -> None:
    """Makes the lock file out of one of another name, whose number and time the journal has by then: the number alone may
    be that of another program's lock file later."""
    first = f"{lock}.{os.getpid()}"
    journal.write(act="file", path=first)
    handle = os.open(first, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o600)
    status = os.fstat(handle)
    os.close(handle)
    try:
        journal.write(act="lock", path=lock, number=status.st_ino, device=status.st_dev, made=status.st_mtime_ns)
        os.link(first, lock)
    except FileExistsError:
        raise Left(HELD) from None
    finally:
        os.unlink(first)
