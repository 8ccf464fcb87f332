"""The steps on files that cleaning is made of. Each is safe to be killed in: what it touches is in its old place, in its
new place, or in both, and nothing that exists is ever written over."""

from __future__ import annotations

import contextlib
import hashlib
import os
import stat

MARK = ".quorvel-duplicates"  # in a folder of ours, so that an import passes it over
MARK_TEXT = b"Duplicates that were taken out of the files beside this folder. An import passes it over.\n"


class Left(Exception):
    """Why a file is left alone, in a sentence."""


def reason(error: OSError) -> str:
    return (error.strerror or str(error)).lower()


def read(path: str, offset: int = 0, length: int = -1) -> bytes:
    """The bytes of an ordinary file, or some of them."""
    try:
        handle = os.open(path, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK | os.O_CLOEXEC)
    except FileNotFoundError:
        raise Left("it is no longer there") from None
    except OSError as error:
        raise Left(f"it cannot be read: {reason(error)}") from error
    with open(handle, "rb") as file:
        if not stat.S_ISREG(os.fstat(handle).st_mode):
            raise Left("it is no longer a file")
        file.seek(offset)
        return file.read(length)


def digest(data: bytes) -> str:
    return hashlib.sha256(data).hexdigest()


def sync_folder(path: str) -> None:
    """Makes the names in a folder last. Some file systems cannot, and keep them in order all the same."""
    with contextlib.suppress(OSError):
        handle = os.open(path, os.O_RDONLY | os.O_DIRECTORY)
        try:
            os.fsync(handle)
        finally:
            os.close(handle)


def rename(source: str, target: str) -> None:
    """Moves a file to a name that nothing has."""
    try:
        os.link(source, target, follow_symlinks=False)
    except FileExistsError:
        raise
    except OSError:  # a file system without links
        if os.path.lexists(target):
            raise FileExistsError(target) from None
        os.rename(source, target)
    else:
        sync_folder(os.path.dirname(target))
        try:
            os.unlink(source)
        except OSError:  # it may be read but not taken away; where it is gone all the same, the target is all that there is
            if os.path.lexists(source) and os.path.samefile(source, target):
                os.unlink(target)
                raise
    sync_folder(os.path.dirname(target))
    sync_folder(os.path.dirname(source))


def write_new(path: str, data: bytes, like: str | None = None) -> None:
    """Writes a file that is not there yet, with the rights and the owner of another. What cannot be written whole is not
    left behind."""
    handle = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o600)
    try:
        with open(handle, "wb") as file:
            file.write(data)
            file.flush()
            os.fsync(file.fileno())
            if like is not None:
                status = os.stat(like)
                with contextlib.suppress(OSError):  # only the owner's own program may give it to somebody else
                    os.fchown(file.fileno(), status.st_uid, status.st_gid)
                os.fchmod(file.fileno(), stat.S_IMODE(status.st_mode))
    except BaseException:
        os.unlink(path)
        raise


def free_name(path: str) -> str:
    """The path, or the first with a number before the extension that nothing has."""
    stem, extension = os.path.splitext(path)
    number, found = 1, path
    while os.path.lexists(found):
        number += 1
        found = f"{stem} ({number}){extension}"
    return found
