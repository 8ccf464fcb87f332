"""The mailbox's folders, once it is known what their files hold: a folder has items of one kind."""

from __future__ import annotations

from .model import Folder, ItemKind, Stored
from .sources import unique

KINDS = list(ItemKind)
DEEPEST = 40  # folders within folders; the mailbox file's reader takes so many, with items within items in the last


def mailbox_folders(found: list[Folder]) -> list[Folder]:
    """The folders as the mailbox has them: those without anything left out, the input files' items by their kinds."""
    *folders, loose = found
    full = [folder for folder in folders if settle(folder)]
    full += [Folder(kind.folder_name, kind, items=items) for kind, items in _by_kind(loose)]
    return with_unique_names(full)


def _by_kind(folder: Folder) -> list[tuple[ItemKind, list[Stored]]]:
    kinds: dict[int, list[Stored]] = {}
    for source in folder.sources:
        if source.store:
            continue  # it is a store of its own
        for item in source.items:
            kinds.setdefault(item.kind, []).append(item)
    return [(KINDS[kind], kinds[kind]) for kind in sorted(kinds)]


def settle(folder: Folder, depth: int = 1) -> bool:
    """Gives a folder the items of the first kind that its files hold, subfolders those of the others; says whether there
    is anything in it. What lies deeper than a mailbox goes lies beside its deepest folders."""
    folder.folders = [sub for sub in folder.folders if settle(sub, depth + 1)]
    if depth >= DEEPEST - 1:
        below = [deeper for sub in folder.folders for deeper in sub.folders]
        for sub in folder.folders:
            sub.folders = []
        folder.folders = [sub for sub in folder.folders + below if sub.items]
    kinds = _by_kind(folder)
    if kinds:
        folder.kind, folder.items = kinds[0]
        folder.folders += [Folder(kind.folder_name, kind, items=items) for kind, items in kinds[1:]]
    else:
        below = {sub.kind for sub in folder.folders}
        folder.kind = below.pop() if len(below) == 1 else ItemKind.MAIL
    folder.folders = with_unique_names(folder.folders)
    return bool(folder.items or folder.folders)


def with_unique_names(folders: list[Folder]) -> list[Folder]:
    """Gives the second folder of a name a number, as no two folders in one place may share a name."""
    taken: dict[str, int] = {}
    for folder in folders:
        folder.name = unique(folder.name, taken)
    return folders
