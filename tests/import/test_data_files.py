"""Data files and message files: what the importer reads of them, held against what others read of the same bytes."""

from __future__ import annotations

import base64
import json
import re
import unittest
from typing import Any

import olefile
from support import COMMON, DATA
from test_command import run, walk

LENGTHS = {"0002": 2, "0003": 4, "000B": 2, "0014": 8, "0040": 8, "0005": 8}


def items(store: dict[str, Any]) -> list[tuple[str, dict[str, Any]]]:
    return [(path, item) for path, folder in walk(store["root"]) for item in folder.get("items", [])]


@unittest.skipUnless(DATA.is_dir(), "no real data beside the tree")
class MessageFiles(unittest.TestCase):
    def test_every_plain_value_of_every_file(self) -> None:
        """Texts and bytes from the streams, numbers from the rows, read without the importer."""
        files = sorted((DATA / "msg").glob("*.msg"))
        found = json.loads(run(*files).stdout)["stores"][0]
        by_path = {item["properties"]["{B0A5B6C1-6C1D-4E0F-9B57-2D2B6A7C51E4}:Path:001F"]: item for _, item in items(found)}
        self.assertEqual(len(by_path), len(files))
        compared = 0
        for file in files:
            item = by_path[str(file)]
            with olefile.OleFileIO(str(file)) as raw:
                entries = raw.listdir()
                recipients = {path[0] for path in entries if path[0].startswith("__recip")}
                self.assertEqual(len(item.get("recipients", [])), len(recipients), file.name)
                attachments = {path[0] for path in entries if path[0].startswith("__attach")}
                self.assertEqual(len(item.get("attachments", [])), len(attachments), file.name)
                for (name, *more) in entries:
                    match = re.fullmatch("__substg1.0_([0-7][0-9A-F]{3})(001F|0102)", name)
                    if more or not match or match[1] in ("0037", "0FF9", "0FFF", "0E1D", "003D"):
                        continue
                    data = raw.openstream(name).read()
                    expected = data.decode("utf-16-le") if match[2] == "001F" else base64.b64encode(data).decode()
                    self.assertEqual(item["properties"][match[1] + match[2]], expected.rstrip("\0"), f"{file.name} {name}")
                    compared += 1
                rows = raw.openstream("__properties_version1.0").read()[32:]
                for row in (rows[place : place + 16] for place in range(0, len(rows) - 15, 16)):
                    number, kind = int.from_bytes(row[2:4], "little"), int.from_bytes(row[:2], "little")
                    if number < 0x8000 and kind in (0x0003, 0x0014, 0x0040) and f"{number:04X}" not in ("0FF9",):
                        size = LENGTHS[f"{kind:04X}"]
                        expected_number = int.from_bytes(row[8 : 8 + size], "little", signed=kind != 0x0040)
                        self.assertEqual(item["properties"][f"{number:04X}{kind:04X}"], expected_number, file.name)
                        compared += 1
        self.assertGreater(compared, 700)

    def test_items_within_items_and_names(self) -> None:
        found = json.loads(run(DATA / "msg/msgInMsgInMsg.msg", DATA / "msg/A_daily_1.msg").stdout)["stores"][0]
        kinds = dict(items(found))
        depth, item = 0, kinds["Mail"]
        while inner := next((a["message"] for a in item.get("attachments", []) if "message" in a), None):
            depth, item = depth + 1, inner
        self.assertEqual(depth, 2)
        daily = kinds["Calendar"]["properties"]
        start = "{00062002-0000-0000-C000-000000000046}:0x820D:0040"
        self.assertEqual(daily[start], daily[f"{COMMON}:0x8516:0040"], "two names of one moment")


@unittest.skipUnless(DATA.is_dir(), "no real data beside the tree")
class DataFiles(unittest.TestCase):
    def test_an_account_with_its_holidays(self) -> None:
        result = run(DATA / "pst/account.ost", DATA / "pst/enron.pst")
        self.assertEqual(result.returncode, 0, result.stderr)
        first, account, enron = json.loads(result.stdout)["stores"]
        self.assertEqual(items(first), [])
        self.assertGreater(len(account["names"]), 100)
        self.assertEqual(len(set(account["names"])), len(account["names"]))
        holidays = [item for path, item in items(account) if path.endswith("/United States holidays") and "associated" not in item]
        self.assertEqual(len(holidays), 160)
        for item in holidays:
            values = item["properties"]
            start, end = (values[f"{{00062002-0000-0000-C000-000000000046}}:0x{number}:0040"] for number in ("820D", "820E"))
            self.assertEqual((end - start) % (24 * 3600 * 10**7), 0, "holidays last whole days")
            self.assertEqual(values["00600040"], start, "the plain property says the same as the named one")
        self.assertEqual(len(items(enron)), 71)
        for _, item in items(enron):
            kinds = {1: "To", 2: "Cc", 3: "Bcc"}
            shown = {kind: [r["3001001F"] for r in item.get("recipients", []) if kinds.get(r["0C150003"]) == kind] for kind in kinds.values()}
            for tag, kind in (("0E04001F", "To"), ("0E03001F", "Cc")):
                if item["properties"].get(tag):
                    # The sender's program wrote the addresses in its own way in the two places
                    self.assertEqual(len(item["properties"][tag].split("; ")), len(shown[kind]))


if __name__ == "__main__":
    unittest.main()
