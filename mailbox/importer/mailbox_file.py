"""Writes folders and items as a mailbox file (docs/mailbox-format.md)."""

from __future__ import annotations

import binascii
import contextlib
import hashlib
import json
import operator
import os
import re
import stat
import tempfile
from collections.abc import Mapping
from dataclasses import dataclass
from datetime import datetime, timezone
from typing import Any, BinaryIO

from . import properties as p
from .model import Attachment, DataFolder, Folder, Item, Source, Stored, Value, Values
from .properties import Prop

STORE_SERVICE = {
    "uid": "51756F7276656C204D61696C626F7820",
    "dll": "mspst.dll",
    "entry": "PSTServiceEntry",
    "name": "PST",
    "displayName": "Imported files",
}
FOLDER_CLASS = p.tag(0x3613)
ATTACH_DATA = p.tag(0x3701, p.Kind.BINARY)
ACCESS_LIST = "system.posix_acl_access"  # the attribute in which Linux keeps a file's access list
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


def value_json(value: Value) -> Any:
    if isinstance(value, bytes):
        return binascii.b2a_base64(value, newline=False).decode("ascii")
    if isinstance(value, datetime):
        if value.tzinfo is not timezone.utc:
            value = value.astimezone(timezone.utc)
        return value.isoformat()[:-6] + "Z"
    if isinstance(value, list):
        return [value_json(element) for element in value]
    return value


def properties_json(values: Mapping[Prop, Value]) -> dict[str, Any]:
    return {
        name: value if type(value) is str else value_json(value) for name, value in sorted(values.items(), key=_first)
    }


_first = operator.itemgetter(0)


def item_text(message: dict[str, Any]) -> bytes:
    """An item's line in the file. Text that is not valid Unicode is written as its bytes."""
    try:
        return _encode(message).encode("utf-8")
    except UnicodeEncodeError:
        return _encode(_valid(message)).encode("utf-8")


_encode = json.JSONEncoder(ensure_ascii=False, check_circular=False).encode


def _valid(value: Any) -> Any:
    if isinstance(value, dict):
        return {name: _valid(inner) for name, inner in value.items()}
    if isinstance(value, list):
        return [_valid(inner) for inner in value]
    if isinstance(value, str) and re.search("[\ud800-\udfff]", value):
        return {"base64": binascii.b2a_base64(value.encode("utf-16-le", "surrogatepass"), newline=False).decode()}
    return value


def identifier(*names: str) -> str:
    """An entry identifier made of what a thing is and where it is, so that an import repeated gives the same."""
    text = "\0".join(names).encode("utf-8", "surrogatepass")
    return "00000000" + hashlib.sha256(text).hexdigest()[:32].upper()


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


def item_json(item: Item) -> dict[str, Any]:
    """An item as the file has it. Its place is unlike any other's, and so is its identifier."""
    moments = (item.values.get(prop) for prop in (p.LAST_MODIFICATION_TIME, p.CREATION_TIME))
    modified = next((moment for moment in moments if moment is not None), NO_TIME)
    item.values.put_new(p.LAST_MODIFICATION_TIME, modified)
    item.values.put_new(p.CREATION_TIME, modified)
    return {"id": identifier("item", item.place), **message_json(item)}


@dataclass
class Store:
    """A store of the mailbox file with its folders."""

    name: str
    folders: list[Folder]


class Writer:
    """Writes a mailbox file, the lines of its items out of the files that they were kept in. An item is one line, so that
    files compare line by line."""

    def __init__(self, stream: BinaryIO, spools: list[int]) -> None:
        self.stream = stream
        self.spools = spools
        self.special: dict[str, str] = {}

    def mailbox(self, stores: list[Store | Source]) -> None:
        self.put('{\n "format": "quorvel-mailbox",\n "version": 1,\n "services": [\n  ')
        self.put(f'{_json(STORE_SERVICE)}\n ],\n "stores": [')
        for number, store in enumerate(stores):
            self.put(",\n  " if number else "\n  ")
            if isinstance(store, Store):
                self.store(store, number)
            else:
                self.data_store(store)
        self.put("\n ]\n}\n")

    def store(self, store: Store, number: int) -> None:
        self.special = {}
        default = "" if number else ',\n   "default": true'
        within = f"{store.name}:" if number else ""
        self.put(f'{{\n   "id": "{identifier("store", store.name)}"{default}')
        self.put(f',\n   "service": "{STORE_SERVICE["uid"]}",\n   "properties": {_json({p.DISPLAY_NAME: store.name})}')
        self.put(f',\n   "root": {{\n    "id": "{identifier("root", within)}"')
        self.put(f',\n    "properties": {_json({p.DISPLAY_NAME: "Top of the mailbox"})}')
        self.folders(store.folders, within, 4)
        self.put(f'\n   }},\n   "special": {_json(self.special)}\n  }}')

    def data_store(self, source: Source) -> None:
        """A data file: a store with folders as they are, and with the names that it knows, in their order."""
        store = source.store
        self.put(f'{{\n   "id": "{identifier("store", source.place)}",\n   "service": "{STORE_SERVICE["uid"]}"')
        self.put(f',\n   "properties": {_json({p.DISPLAY_NAME: store.name})},\n   "names": {_json(store.names)}')
        self.put(f',\n   "special": {_json(store.special)},\n   "root": ')
        self.data_folder(store.root, source, 4)
        self.put("\n  }")

    def data_folder(self, folder: DataFolder, source: Source, depth: int) -> None:
        indent = "\n" + " " * depth
        self.put(f'{{{indent}"id": "{folder.id}",{indent}"properties": {_json(folder.properties)}')
        separator = f',{indent}"folders": [{indent} '
        for sub in folder.folders:
            self.put(separator)
            self.data_folder(sub, source, depth + 2)
            separator = f",{indent} "
        self.put(indent + "]" if folder.folders else "")
        self.items([source.items[number] for number in folder.items], indent)
        self.put(indent[:-1] + "}")

    def folders(self, folders: list[Folder], path: str, depth: int) -> None:
        indent = "\n" + " " * depth
        separator = f',{indent}"folders": [{indent} '
        for folder in folders:
            self.put(separator)
            self.folder(folder, f"{path}/{folder.name}", depth + 2)
            separator = f",{indent} "
        if folders:
            self.put(indent + "]")

    def folder(self, folder: Folder, path: str, depth: int) -> None:
        own, indent = identifier("folder", path), "\n" + " " * depth
        if service := SPECIAL_NAMES.get(folder.name.lower()):
            self.special.setdefault(service, own)
        values = {p.DISPLAY_NAME: folder.name, FOLDER_CLASS: folder.kind.container_class}
        self.put(f'{{{indent}"id": "{own}",{indent}"properties": {_json(values)}')
        self.folders(folder.folders, path, depth)
        self.items(folder.items, indent)
        self.put(indent[:-1] + "}")

    def items(self, items: list[Stored], indent: str) -> None:
        separator = f',{indent}"items": [{indent} '.encode()
        for item in items:
            self.stream.write(separator)
            self.stream.write(os.pread(self.spools[item.spool], item.length, item.start))
            separator = f",{indent} ".encode()
        self.put(indent + "]" if items else "")

    def put(self, text: str) -> None:
        self.stream.write(text.encode())


def _json(value: Any) -> str:
    return item_text(value).decode()


def is_mailbox(path: str) -> bool:
    """Whether a file is, by how it begins, a mailbox file; one with nothing in it is nobody's loss."""
    with open(path, "rb") as stream:
        head = stream.read(4096).strip()
    return not head or (head[:1] == b"{" and re.search(rb'"format"\s*:\s*"quorvel-mailbox"', head) is not None)


def write_file(path: str, stores: list[Store | Source], spools: list[int]) -> None:
    """Writes the file whole or not at all: whatever was there stays until the new one is complete on the disk. A link is
    followed, so that the file itself is new. Nobody can read it who could not read the old one; a fresh one is its owner's."""
    path = os.path.realpath(path)
    handle, new = tempfile.mkstemp(prefix=os.path.basename(path) + ".", suffix=".new", dir=os.path.dirname(path))
    try:
        with open(handle, "wb", buffering=1 << 18) as stream:
            Writer(stream, spools).mailbox(stores)
            with contextlib.suppress(FileNotFoundError):
                _give_rights(handle, path)
            stream.flush()
            os.fsync(stream.fileno())
        os.replace(new, path)
    except BaseException:
        os.unlink(new)
        raise


def _give_rights(handle: int, path: str) -> None:
    """Gives an open file the owner, group, mode and access list of another, as far as one may; rights of a group that it
    cannot be given are left out."""
    old = os.stat(path)
    mode = stat.S_IMODE(old.st_mode)
    for owner in (old.st_uid, -1):
        with contextlib.suppress(OSError):
            os.fchown(handle, owner, old.st_gid)
            break
    if os.fstat(handle).st_gid != old.st_gid:
        mode &= ~stat.S_IRWXG
    try:
        access = os.getxattr(path, ACCESS_LIST)
    except OSError:  # it has none, as most
        os.fchmod(handle, mode)
        return
    try:
        os.setxattr(handle, ACCESS_LIST, access)
    except OSError:  # without it, the group would get the rights of everybody on the list
        os.fchmod(handle, mode & ~stat.S_IRWXG)
