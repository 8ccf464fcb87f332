"""Takes back what a journal says was done, the last step first. Steps that were not taken, or are taken back already,
need nothing, so it may run as often as one likes."""

from __future__ import annotations

import contextlib
import os
from collections.abc import Callable
from typing import Any

from .clean import removed_part, replace
from .files import MARK_TEXT, Left, digest, read, reason, rename
from .journal import Journal
from .locks import locked

Tell = Callable[[str], None]


def undo(steps: list[dict[str, Any]], journal: Journal, tell: Tell) -> tuple[int, int]:
    """How many steps were taken back, and how many could not be."""
    back = failed = 0
    # What a process that was killed left in the way goes first: its locks would look like another program's
    for step in sorted(reversed(steps), key=lambda step: step["act"] not in ("file", "lock")):
        try:
            if UNDO[step["act"]](step, journal):
                back += 1
                tell(f"put back: {step['path']}")
        except Left as left:
            failed += 1
            tell(f"not put back: {step['path']}: {left}")
        except OSError as error:
            failed += 1
            tell(f"not put back: {step['path']}: {reason(error)}")
    return back, failed


def _move(step: dict[str, Any], journal: Journal) -> bool:
    path, moved = step["path"], step["to"]
    if not os.path.lexists(moved):
        if not os.path.lexists(path):
            raise Left(f"it is neither there nor at {moved}")
        return False
    if digest(read(moved)) != step["digest"]:
        raise Left(f"{moved} changed since it was moved")
    if os.path.lexists(path):
        if digest(read(path)) != step["digest"]:
            raise Left(f"something else has its name; it is kept as {moved}")
        os.unlink(moved)
    else:
        rename(moved, path)
    return True


def _take(step: dict[str, Any], journal: Journal) -> bool:
    path, kept = step["path"], step["kept"]
    with contextlib.suppress(FileNotFoundError):
        os.unlink(step["new"])  # what was about to take the file's place, and did not
    old = read(path)[: step["newLength"] + sum(length for _, length in step["spans"])]
    if digest(old) == step["oldDigest"]:  # killed before the file was written, or undone before
        # By now another clean may have given the name to entries that came into the file since
        if os.path.lexists(kept) and removed_part(old, step["spans"], path).startswith(read(kept)):
            os.unlink(kept)
        return False
    if not os.path.lexists(kept):
        raise Left(f"{kept}, which kept what was taken out of it, is not there")
    aside = read(kept)
    if digest(aside) != step["keptDigest"]:
        raise Left(f"{kept} changed since")
    with locked(path, journal):
        now = read(path)
        length = step["newLength"]
        if digest(now[:length]) != step["newDigest"]:
            raise Left(f"it changed since; what was taken out of it is kept as {kept}")
        restored = _inserted(now[:length], aside, step["spans"])
        if digest(restored) != step["oldDigest"]:
            raise Left(f"what was taken out of it is kept as {kept}")
        replace(path, now, restored + now[length:])  # what came in since stays behind it
    os.unlink(kept)
    return True


def _inserted(data: bytes, aside: bytes, spans: list[list[int]]) -> bytes:
    """The file as it was: each entry in its old place. A calendar's entries stand behind a head in what was kept."""
    total = sum(length for _, length in spans)
    head = aside.find(b"PRODID:-//Quorvel//Duplicates//EN")
    place = aside.find(b"\n", head) + 1 if head >= 0 and len(aside) != total else 0
    out, copied = [], 0
    for offset, length in spans:
        before = offset - sum(len(part) for part in out)
        out.append(data[copied : copied + before])
        copied += before
        out.append(aside[place : place + length])
        place += length
    return b"".join([*out, data[copied:]])


def _folder(step: dict[str, Any], journal: Journal) -> bool:
    with contextlib.suppress(OSError):  # something else is in it by now
        os.rmdir(step["path"])
    return False


def _mark(step: dict[str, Any], journal: Journal) -> bool:
    folder = os.path.dirname(step["path"])
    with contextlib.suppress(OSError):
        if os.listdir(folder) == [os.path.basename(step["path"])] and MARK_TEXT.startswith(read(step["path"])):
            os.unlink(step["path"])
    return False


def _file(step: dict[str, Any], journal: Journal) -> bool:
    with contextlib.suppress(FileNotFoundError):
        os.unlink(step["path"])
    return False


def _lock(step: dict[str, Any], journal: Journal) -> bool:
    with contextlib.suppress(FileNotFoundError):
        status = os.lstat(step["path"])
        if (status.st_ino, status.st_dev, status.st_mtime_ns) == (step["number"], step["device"], step["made"]):
            os.unlink(step["path"])
    return False


UNDO: dict[str, Callable[[dict[str, Any], Journal], bool]] = {
    "move": _move, "take": _take, "folder": _folder, "mark": _mark, "file": _file, "lock": _lock
}  # fmt: skip
