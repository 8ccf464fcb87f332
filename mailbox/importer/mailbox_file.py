"""Writes folders and items as a mailbox file (docs/mailbox-format.md)."""

from __future__ import annotations

import base64
import functools
import hashlib
import json
import os
import re
import tempfile
from collections.abc import Iterator, Mapping
from dataclasses import dataclass, field
from datetime import datetime, timezone
from typing import Any, TextIO

from . import properties as p
from .model import Attachment, Folder, Item, Value, Values
from .properties import Prop

STORE_SERVICE = {
    "uid": "51756F7276656C204D61696C626F7820",
    "dll": "mspst.dll",
    "entry": "PSTServiceEntry",
    "name": "PST",
    "displayName": "Imported files",
}
FOLDER_CLASS = Prop("", 0x3613, "", p.Kind.UNICODE)
ATTACH_DATA = Prop("", 0x3701, "", p.Kind.BINARY)
# An item whose file names no time at all: any fixed moment will do, as long as every import gives the same
NO_TIME = datetime(2000, 1, 1, tzinfo=timezone.utc)
# Folders that serve as one of a store's special folders, by their names in lower case
SPECIAL_NAMES = {
    "inbox": "inbox",
    "outbox": "outbox",
    "sent": "sentItems",
    "sent items": "sentItems",
    "deleted items": "deletedItems",
    "trash": "deletedItems",
}


@functools.cache
def key(prop: Prop) -> str:
    if not prop.set:
        return f"{prop.id:04X}{prop.kind:04X}"
    return f"{name_text(prop)}:{prop.kind:04X}"


def name_text(prop: Prop) -> str:
    """A named property without its type, as a store lists it."""
    return f"{prop.set}:{prop.text or f'0x{prop.id:04X}'}"


def value_json(value: Value) -> Any:
    if isinstance(value, datetime):
        return value.astimezone(timezone.utc).replace(tzinfo=None).isoformat() + "Z"
    if isinstance(value, bytes):
        return base64.b64encode(value).decode("ascii")
    if isinstance(value, list):
        return [value_json(element) for element in value]
    if isinstance(value, str) and any("\ud800" <= char <= "\udfff" for char in value):
        return {"base64": base64.b64encode(value.encode("utf-16-le", "surrogatepass")).decode("ascii")}
    return value


def properties_json(values: Mapping[Prop, Value]) -> dict[str, Any]:
    by_key = {key(prop): prop for prop in values}
    return {name: value_json(values[by_key[name]]) for name in sorted(by_key)}


class Identifiers:
    """Entry identifiers made of what a thing is called and where it is, so that an import repeated gives the same."""

    def __init__(self) -> None:
        self._given: set[str] = set()

    def of(self, *names: str) -> str:
        for turn in range(1_000_000):
            text = "\0".join((*names, str(turn)))
            found = "00000000" + hashlib.sha256(text.encode("utf-8", "surrogatepass")).hexdigest()[:32].upper()
            if found not in self._given:
                self._given.add(found)
                return found
        raise AssertionError("a million things of one name")


def message_json(item: Item) -> dict[str, Any]:
    message: dict[str, Any] = {"properties": properties_json(item.values)}
    if item.recipients:
        message["recipients"] = [properties_json(recipient.values()) for recipient in item.recipients]
    if item.attachments:
        message["attachments"] = [attachment_json(attachment) for attachment in item.attachments]
    return message


def attachment_json(attachment: Attachment) -> dict[str, Any]:
    values = attachment.values()
    if attachment.item is not None:
        return {"properties": properties_json(values), "message": message_json(attachment.item)}
    if not attachment.path:
        values[ATTACH_DATA] = attachment.data
    return {"properties": properties_json(values)}


def item_json(item: Item, path: str, identifiers: Identifiers) -> dict[str, Any]:
    moments = (item.values.get(prop) for prop in (p.LAST_MODIFICATION_TIME, p.CREATION_TIME))
    modified = next((moment for moment in moments if moment is not None), NO_TIME)
    item.values.put_new(p.LAST_MODIFICATION_TIME, modified)
    item.values.put_new(p.CREATION_TIME, modified)
    return {"id": identifiers.of("item", path, item.place), **message_json(item)}


def folder_json(folder: Folder, above: str, identifiers: Identifiers, special: dict[str, str]) -> dict[str, Any]:
    path = f"{above}/{folder.name}"
    found: dict[str, Any] = {
        "id": identifiers.of("folder", path),
        "properties": properties_json(Values({p.DISPLAY_NAME: folder.name, FOLDER_CLASS: folder.kind.container_class})),
    }
    if service := SPECIAL_NAMES.get(folder.name.lower()):
        special.setdefault(service, found["id"])
    if folder.folders:
        found["folders"] = [folder_json(sub, path, identifiers, special) for sub in folder.folders]
    if folder.items:
        found["items"] = [item_json(item, path, identifiers) for item in folder.items]
    return found


@dataclass
class Store:
    """A store of the mailbox. `names` are the named properties that it knows, in the order of their identifiers, where
    that order means something; those that are not listed follow as they are used."""

    name: str
    folders: list[Folder]
    names: list[Prop] = field(default_factory=list)


def store_json(store: Store, number: int, identifiers: Identifiers) -> dict[str, Any]:
    # Each identifier is the only one of its file, so that whoever knows no store finds the right item too
    within = f"{store.name}:" if number else ""
    special: dict[str, str] = {}
    root = {
        "id": identifiers.of("root", within) if within else identifiers.of("root"),
        "properties": properties_json(Values({p.DISPLAY_NAME: "Top of the mailbox"})),
        "folders": [folder_json(folder, within, identifiers, special) for folder in store.folders],
    }
    return {
        "id": identifiers.of("store", store.name),
        **({} if number else {"default": True}),
        "service": STORE_SERVICE["uid"],
        "properties": properties_json(Values({p.DISPLAY_NAME: store.name})),
        **({"names": list(map(name_text, store.names))} if store.names else {}),
        "special": special,
        "root": root,
    }


def mailbox_json(stores: list[Store]) -> dict[str, Any]:
    """The whole file. The first store is the default one."""
    identifiers = Identifiers()
    all_stores = [store_json(store, number, identifiers) for number, store in enumerate(stores)]
    return {"format": "quorvel-mailbox", "version": 1, "services": [STORE_SERVICE], "stores": all_stores}


# The members that are written over several lines; an item is one line, so that files compare line by line
_OPENED = frozenset(("", "services", "stores", "root", "folders", "items"))


def chunks(value: Any, name: str = "", depth: int = 0) -> Iterator[str]:
    """The file's text in pieces, indented down to the items."""
    new_line = "\n" + " " * (depth + 1)
    if isinstance(value, list) and name in _OPENED and value:
        yield "["
        for index, element in enumerate(value):
            yield ("," if index else "") + new_line
            yield from chunks(element, name if name in ("stores", "folders") else "element", depth + 1)
        yield new_line[:-1] + "]"
    elif isinstance(value, dict) and name in _OPENED and value:
        yield "{"
        for index, (member, inner) in enumerate(value.items()):
            yield ("," if index else "") + new_line + json.dumps(member) + ": "
            yield from chunks(inner, member if member in _OPENED else "member", depth + 1)
        yield new_line[:-1] + "}"
    else:
        yield json.dumps(value, ensure_ascii=False)


def write(mailbox: dict[str, Any], stream: TextIO) -> None:
    stream.writelines(chunks(mailbox))
    stream.write("\n")


def is_mailbox(path: str) -> bool:
    """Whether a file is, by how it begins, a mailbox file; one with nothing in it is nobody's loss."""
    with open(path, "rb") as stream:
        head = stream.read(4096).strip()
    return not head or (head[:1] == b"{" and re.search(rb'"format"\s*:\s*"quorvel-mailbox"', head) is not None)


def write_file(mailbox: dict[str, Any], path: str) -> None:
    """Writes the file whole or not at all: whatever was there stays until the new one is complete on the disk."""
    directory = os.path.dirname(os.path.abspath(path))
    handle, new = tempfile.mkstemp(prefix=os.path.basename(path) + ".", suffix=".new", dir=directory)
    try:
        with open(handle, "w", encoding="utf-8", newline="\n") as stream:
            write(mailbox, stream)
            stream.flush()
            os.fsync(stream.fileno())
        umask = os.umask(0)
        os.umask(umask)
        os.chmod(new, 0o666 & ~umask)
        os.replace(new, path)
    except BaseException:
        os.unlink(new)
        raise
