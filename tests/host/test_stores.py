"""Meetings in a mailbox and an archive, in which the names stand behind other tags."""

from __future__ import annotations

import json
import subprocess
import unittest

from support import CLASS, NAME, ROOT, SAMPLES, SUBJECT, HostTest, folder, mailbox

DATA = ROOT.parent / "shared" / "data"
SET = "{00062002-0000-0000-C000-000000000046}"
START, DURATION, PLACE = f"{SET}:0x820D:0040", f"{SET}:0x8213:0003", f"{SET}:0x8208:001F"

WHOLE_DAY, SERIES = f"{SET}:0x8215:000B", f"{SET}:0x8223:000B"


def meeting(number: int, subject: str, day: int, minutes: int, place: str = "", reverse: bool = False, **more: object) -> dict:
    """A store's names take their tags in the order of their first use."""
    named = [(START, f"2024-07-{day:02}T09:00:00Z"), (DURATION, minutes)] + ([(PLACE, place)] if place else [])
    properties = {CLASS: "IPM.Appointment", SUBJECT: subject, **dict(reversed(named) if reverse else named), **more.get("flags", {})}
    return {"id": f"{0xE1000000 + number:016X}", "properties": properties}


class Stores(HostTest):
    def write_stores(self, first: list[dict], second: list[dict]) -> None:
        box = mailbox(folder(1, "Calendar", "IPF.Appointment", first))
        other = mailbox(folder(2, "Past", "IPF.Appointment", second), store="00000000D1D2D3D4")["stores"][0]
        other.update({"default": False, "properties": {NAME: "Archive"}})
        other["root"]["id"] = "00000000D0000000"
        self.write({**box, "stores": [*box["stores"], other]})

    def test_meetings_of_two_stores(self) -> None:
        cases = [
            ("false friends in the archive", [meeting(1, "Other", 1, 30, "Hall")],
             [meeting(2, "Team meeting", 10, 60, "Room 1", True), meeting(3, "Team meeting", 14, 120, "Room 2")],
             [], ("Past#1", "Past#2"), ["Start", "Duration in minutes", "Location"]),
            ("one meeting in both", [meeting(1, "Team meeting", 10, 60, "Room 1")],
             [meeting(2, "Team meeting", 10, 60, "Room 1", True), meeting(3, "Team meeting", 10, 60, "Room 2")],
             [["Calendar#1", "Past#1"]], ("Calendar#1", "Past#2"), ["Location"]),
            ("the first store never used a place", [meeting(1, "Lunch", 1, 30)],
             [meeting(2, "Interview", 3, 45, "Room 1", True), meeting(3, "Interview", 3, 45, "Room 2"),
              meeting(4, "Interview", 3, 45, "Room 1")],
             [["Past#1", "Past#3"]], ("Past#1", "Past#2"), ["Location"]),
            ("the first store never had a whole day or a series", [meeting(1, "Team meeting", 10, 60)],
             [meeting(2, "Team meeting", 10, 60, reverse=True, flags={WHOLE_DAY: False, SERIES: False}),
              meeting(3, "Holiday", 12, 1440, flags={WHOLE_DAY: True, SERIES: True})],
             [["Calendar#1", "Past#1"]], ("Past#1", "Past#2"),
             ["Subject", "Start", "Whole days", "Duration in minutes", "Recurring"]),
        ]
        for about, first, second, groups, (a, b), apart in cases:
            with self.subTest(about):
                self.write_stores(first, second)
                self.assertEqual(self.groups(self.scan("--kind", "appointment", status=1 if groups else 0)), groups)
                matrix = json.loads(self.run_program("compare", a, b, "--format", "json", status=0))
                self.assertEqual(matrix["apart"], apart)
                rows = {row["property"]: row["marks"] for row in matrix["rows"]}
                self.assertEqual([rows[name] for name in apart], [[1, 2]] * len(apart))
                for group in groups:
                    text = self.run_program("scan", "--explain", group[0], group[1], status=0)
                    self.assertIn("they are duplicates", text)

    def test_the_samples_with_their_archive(self) -> None:
        subprocess.run(["/usr/bin/python3", ROOT / "mailbox" / "import", "--output", self.box, SAMPLES, "--store", "Archive",
                        ROOT / "samples-archive"], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        across = [group["keep"]["title"] for group in self.scan("--kind", "appointment", status=1)["groups"]
                  if any("Archive" in item["folder"].split("/")[0] for item in [group["keep"], *group["duplicates"]])]
        self.assertEqual(across, ["Safety drill"], "the drill on Quay 3, and not the meeting in another place")

    @unittest.skipUnless(DATA.is_dir(), "no real data beside the tree")
    def test_a_data_file_and_message_files_by_their_named_properties(self) -> None:
        """The groups are those of a sort by the values; the data file and the message files give the names other numbers."""
        subprocess.run(["/usr/bin/python3", ROOT / "mailbox" / "import", "-q", "--output", self.box, DATA / "pst/account.ost",
                        DATA / "msg"], stderr=subprocess.DEVNULL)  # fmt: skip
        wanted: dict[tuple, list[str]] = {}

        def sort(place: dict, path: str) -> None:
            for number, item in enumerate(place.get("items", []), 1):
                values = item["properties"]
                if values.get(CLASS, "").startswith("IPM.Appointment") and "associated" not in item:
                    key = tuple(values[f"{SET}:{name}"] for name in ("0x8213:0003", "0x8215:000B", "0x8223:000B"))
                    wanted.setdefault(key, []).append(f"{path}#{number}")
            for sub in place.get("folders", []):
                sort(sub, f"{path}/{sub['properties'][NAME]}")

        for store in self.read()["stores"]:
            sort(store["root"], store["properties"][NAME])
        groups = sorted(sorted(group) for group in wanted.values() if len(group) > 1)
        self.assertGreaterEqual(sum({"account", "Imported files"} == {place.split("/")[0] for place in group} for group in groups), 3)
        definition = self.dir / "three.json"
        definition.write_text(json.dumps({"kind": "appointment", "algorithm": "identical", "keep": "most-filled", "properties": [
            {"property": f"Appointment.{name}", "method": "exact"} for name in ("Duration", "AllDayEvent", "IsRecurring")]}))
        found = self.scan("--kind", "appointment", "--definitions", str(definition), status=1)["groups"]
        places = [sorted(f"{item['folder']}#{item['number']}" for item in [group["keep"], *group["duplicates"]]) for group in found]
        self.assertEqual(sorted(places), groups)

    def test_contacts_of_one_identifier_are_not_taken_for_one(self) -> None:
        contact = {"id": "00000000E2000001", "properties": {CLASS: "IPM.Contact", "3A06001F": "Ann", "3A11001F": "Lee",
                   "{00062004-0000-0000-C000-000000000046}:0x8005:001F": "Lee, Ann"}}
        self.write_stores([], [])
        box = self.read()
        for number, store in enumerate(box["stores"]):
            store["root"]["folders"] = [folder(5 + number, "Contacts", "IPF.Contact", [contact])]
        self.write(box)
        report = json.loads(self.run_program("similar", "--format", "json", status=0))
        self.assertEqual((report["clusters"], report["unreadable"]), ([], []))
        self.assertEqual(len(report["sameIdentifier"]), 1)
        # The number of a name is another name's in another store.
        for number, (store, names) in enumerate(zip(box["stores"], (("8083", "8083"), ("8062",)), strict=True)):
            store["root"]["folders"] = [folder(5 + number, "Contacts", "IPF.Contact", [
                {"id": f"00000000E30000{number}{n}", "properties": {**contact["properties"], "3A11001F": "", f"{{00062004-0000-0000-C000-000000000046}}:0x{name}:001F": "ann@example.org"}}
                for n, name in enumerate(names)])]
        self.write(box)
        alike = json.loads(self.run_program("similar", "--format", "json", status=1))["similar"]
        self.assertEqual([[one["folder"] for one in found["contacts"]] for found in alike], [["Mailbox/Contacts"] * 2], "e-mail and another name's text")


if __name__ == "__main__":
    unittest.main()
