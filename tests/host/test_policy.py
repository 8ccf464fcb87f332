"""Which copy stays, what would be lost with the others, and what is not moved: tables of copies and of what becomes of them."""

from __future__ import annotations

import json
import os
import re
import unittest
import unittest.mock

from support import (BODY, CLASS, MODIFIED, NICKNAME, SUBJECT, HostTest, attachment, contact, folder, inventory, mail, mailbox)

FLAGS, STATUS, FLAG, VERB, ARRIVED = "0E070003", "0E170003", "10900003", "10810003", "0E060040"
CATEGORIES = "{00020329-0000-0000-C000-000000000046}:Keywords:101F"
TO_ANN = [{"0C150003": 1, "3001001F": "Ann", "3002001F": "SMTP", "3003001F": "Ann@example.org"}]

# Folders in their order, the one that is kept last first: an order of folders that decides shows.
PLACES = {"Papierkorb": 1, "Thrown": 2, "Junk E-mail": 3, "Outbox": 4, "Drafts": 5, "Archive": 6, "Year": 7, "Sent": 8, "Projects": 9, "Inbox": 10}
BELOW = {"Thrown": "Papierkorb", "Year": "Archive"}
CRM, DATES = "{00020329-0000-0000-C000-000000000046}:crmid:001F", "{00062002-0000-0000-C000-000000000046}:"
FIRST_OF_ALL = "all equal in this: the first in the order of the folders"

# Subject, where its copies are (a star: marked as deleted), the one that stays, why.
STAYS = (
    ("trash", "Papierkorb Inbox", "Inbox", "Inbox before Papierkorb"),
    ("trash below", "Thrown Archive", "Archive", "Archive before Papierkorb"),
    ("junk and trash", "Papierkorb Junk E-mail", "Junk E-mail", "Junk E-mail before Papierkorb"),
    ("junk", "Junk E-mail Outbox", "Outbox", "Outbox before Junk E-mail"),
    ("outbox", "Outbox Drafts", "Drafts", "Drafts before Outbox"),
    ("drafts", "Drafts Year", "Year", "Archive before Drafts"),
    ("archive", "Year Sent", "Sent", "Sent before Archive"),
    ("filed", "Sent Projects", "Projects", "Projects before Sent"),
    ("three", "Papierkorb Archive Inbox", "Inbox", "Inbox before Archive"),
    ("marked", "Projects* Archive", "Archive", "the other is marked as deleted"),
    ("tie", "Projects Inbox", "Projects", FIRST_OF_ALL),
)


def places_of(text: str) -> list[str]:
    return text.replace("Junk E-mail", "Junk_E-mail").split(" ")


def pile(rows: list[tuple[str, list[str], dict]]) -> dict:
    """A mailbox with a copy of each row's mail in each of its folders."""
    items: dict[str, list[dict]] = {name: [] for name in PLACES}
    number = 0
    for subject, places, more in rows:
        for place in places:
            number += 1
            name = place.rstrip("*").replace("_", " ")
            items[name].append(mail(number, subject=subject, **{"properties": {STATUS: 8} if place.endswith("*") else {}, **more}))
    made = {name: folder(PLACES[name], name, "IPF.Note", items[name]) for name in PLACES}
    for below, above in BELOW.items():
        made[above]["folders"].append(made[below])
    box = mailbox(*[made[name] for name in PLACES if name not in BELOW])
    box["stores"][0]["special"] = {"deletedItems": made["Papierkorb"]["id"], "inbox": made["Inbox"]["id"]}
    return box


def name_of(item: dict) -> str:
    return item["folder"].rsplit("/", 1)[-1]


class WhoStays(HostTest):
    def by_subject(self, report: dict) -> dict[str, dict]:
        return {group["keep"]["title"]: group for group in report["groups"]}

    def test_roles_of_folders_and_marks(self) -> None:
        self.write(pile([(subject, places_of(places), {}) for subject, places, _, _ in STAYS]))
        groups = self.by_subject(self.scan(status=1))
        self.assertEqual({subject: (name_of(groups[subject]["keep"]), groups[subject]["reason"]) for subject in groups},
                         {subject: (kept, why) for subject, _, kept, why in STAYS})

    def test_options_of_the_policy(self) -> None:
        self.write(pile([("a", ["Papierkorb", "Archive", "Inbox"], {}), ("b", ["Year", "Projects"], {}),
                         ("self", ["Sent", "Inbox"], {}), ("self filed", ["Sent", "Projects"], {"recipients": TO_ANN})]))
        # Options, then by subject: the copy that stays, why, and what becomes of the others.
        for options, expected in (
            ((), {"a": ("Inbox", "Inbox before Archive", ["move", "move"]), "b": ("Projects", "Projects before Archive", ["move"])}),
            (("--prefer", "Archive"), {"a": ("Archive", "preferred: Archive before Inbox", ["move", "move"]),
                                       "b": ("Year", "preferred: Year before Projects", ["move"])}),
            (("--prefer", "Papierkorb", "--prefer", "Projects", "--prefer", "Year"), {
                "a": ("Inbox", "Inbox before Archive", ["move", "move"]), "b": ("Projects", "preferred: Projects before Year", ["move"])}),
            (("--protect", "Archive"), {"a": ("Inbox", "Inbox before Archive", ["move", "protected"]),
                                        "b": ("Projects", "Projects before Archive", ["protected"])}),
            (("--skip", "Archive", "--skip", "Projects"), {"a": ("Inbox", "Inbox before Papierkorb", ["move"])}),
            (("--sent-copies", "--skip", "Papierkorb", "--skip", "Archive"), {
                "self": ("Inbox", "Inbox before Sent", ["move"]), "self filed": ("Projects", "Projects before Sent", ["move"])}),
        ):
            with self.subTest(options=options):
                groups = self.by_subject(self.scan(*options, status=1))
                self.assertEqual({subject: (name_of(group["keep"]), group["reason"], [item["fate"] for item in group["duplicates"]])
                                  for subject, group in groups.items()}, expected)
        for option in ("--prefer", "--protect", "--skip"):
            self.assert_refused("scan", option, "Nowhere", because='There are "Mailbox/Papierkorb", "Mailbox/Papierkorb/Thrown"')

    def test_keep_rules_in_their_order(self) -> None:
        # One mail in one folder, copies apart by what the rules go by: their numbers from 1.
        copies = [mail(n + 1, properties=more) for n, more in enumerate((
            {ARRIVED: "2024-03-04T08:16:00Z", FLAGS: 0},
            {ARRIVED: "2024-03-04T08:18:00Z", FLAGS: 1},
            {ARRIVED: "2024-03-04T08:17:00Z", FLAGS: 1, FLAG: 2},
            {ARRIVED: "2024-03-04T08:15:30Z", FLAGS: 0, CATEGORIES: ["a", "b", "c", "d", "e"]},
            {ARRIVED: "2024-03-04T08:18:00Z", FLAGS: 0}))]
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", copies)))
        for rules, kept, reason in (
            (("newest",), 2, "most filled: 6 values, the next has 5"),
            (("newest", "last"), 5, "the last in the order of the folders"),
            (("oldest",), 4, "the oldest"),
            (("read", "oldest"), 3, "the oldest"),
            (("read", "newest"), 2, "the newest"),
            (("flagged",), 3, "it is flagged"),
            (("first",), 1, "the first in the order of the folders"),
            (("last",), 5, "the last in the order of the folders"),
            ((), 4, "most filled: 10 values, the next has 7"),
            (("largest", "first"), 1, "the first in the order of the folders"),
            (("field=Mail.Subject:no such text", "first"), 1, "the first in the order of the folders"),
        ):
            with self.subTest(rules=rules):
                report = self.scan(*(word for rule in rules for word in ("--keep", rule)), status=1)
                group = report["groups"][0]
                self.assertEqual((group["keep"]["number"], group["reason"]), (kept, reason))
        people = [contact(n, "Hale") for n in (1, 2)]
        del people[0]["properties"][MODIFIED]
        self.write(mailbox(folder(1, "People", "IPF.Contact", people)))
        self.assertEqual(self.scan("--keep", "oldest", status=1)["groups"][0]["keep"]["number"], 2, "one without any time is not the oldest")
        # What only some kinds have: the copies, the rules, and which one stays.
        series, appointment = {DATES + "0x8223:000B": True}, {CLASS: "IPM.Appointment", SUBJECT: "Regatta"}
        yearly = {**appointment, **series, SUBJECT: "Ann's Birthday"}
        subjects = self.dir / "subjects.json"
        subjects.write_text(json.dumps({"kind": "appointment", "algorithm": "similar", "keep": "first", "properties": [
            {"property": "Appointment.Subject", "method": "exact"}]}))
        by_subject = ("--kind", "appointment", "--definitions", str(subjects), "--keep", "recurrence")
        people = [contact(n + 1, "Hale", properties=more) for n, more in enumerate((
            {NICKNAME: "B"}, {CRM: "C-7"}, {NICKNAME: "B", "3A5D001F": "Quay 1", CRM: ""}))]
        for box, rules, kept, reason in (
            (people, ("--keep", "crm-id"), 2, "it carries a CRM identifier"),
            ([contact(1, "Hale"), contact(2, "Hale", properties={"3A44001F": "M"}), contact(3, "Hale", properties={NICKNAME: "B"})],
             ("--keep", "largest-values"), 2, "the longest values: in 6 of the compared properties"),
            ([mail(n, properties=more) for n, more in ((1, appointment), (2, {**appointment, **series}), (3, appointment))], by_subject, 2, "it is a recurring series"),
            ([mail(n, properties={**yearly, DATES + "0x820D:0040": f"{year}-05-06T09:00:00Z"}) for n, year in ((1, 2001), (2, 1999), (3, 2000))],
             by_subject, 2, "it is a recurring series"),
            ([mail(n, properties={**appointment, **series, DATES + "0x8215:000B": whole, DATES + "0x820D:0040": f"2024-03-03T{hour}:00:00Z"})
              for n, whole, hour in ((1, False, 23), (2, True, 11), (3, True, 23))], by_subject, 3, "it is a recurring series"),
        ):
            with self.subTest(rules=rules, reason=reason):
                self.write(mailbox(folder(1, "All", {"IPM.Contact": "IPF.Contact", "IPM.Note": "IPF.Note"}.get(box[0]["properties"][CLASS], "IPF.Appointment"), box)))
                group = self.scan(*rules, status=1)["groups"][0]
                self.assertEqual((group["keep"]["number"], group["reason"]), (kept, reason))


MEETING = "{6ED8DA90-450B-101B-98DA-00AA003F1305}:0x0003:0102"
ADDRESS, PHOTO = "{00062004-0000-0000-C000-000000000046}", {"properties": {
    "37050003": 1, "3707001F": "ContactPicture.jpg", "37010102": "AAAA", "7FFF000B": True}}
SHOWS = "10130102"  # the text, of which "cid:seen" is


def said(name: str, kind: str, contentId: str = "") -> dict:
    return {"properties": {"37050003": 1, "3707001F": name, "37010102": "AAAA", "370E001F": kind, "3712001F": contentId}}


def notice(**more: object) -> dict:
    """An attached mail with one subject and text; of one size all of them."""
    properties = {"001A001F": "IPM.Note", "0037001F": "Build failed", BODY: "See the log.", "00390040": "2024-03-04T08:15:00Z"}
    inner = {"properties": {**properties, **more.pop("properties", {})}, **more}  # type: ignore[dict-item]
    return {"properties": {"37050003": 5, "3001001F": "Build failed"}, "message": inner}


def to(*names: str) -> list[dict]:
    return [{"0C150003": 1, "3001001F": name} for name in names]


GUESTS = [f"Guest {n:03} of the harbour's summer feast" for n in range(600)]
INVITED = "; ".join(f"To {name} <>" for name in GUESTS)[:199] + "…"
MONDAY, TUESDAY, ZIP = notice(), notice(properties={"00390040": "2024-03-05T08:15:00Z"}), notice(attachments=[attachment("a.zip", "AAAA")])
# Name, what the kept copy has of its own, what the duplicate has, what would be lost with it.
LOSSES = (
    ("nothing", {}, {}, []),
    ("note", {}, {BODY: "Met in Oslo"}, [("Notes", "Met in Oslo", "")]),
    ("other note", {BODY: "Met"}, {BODY: "Met in Oslo"}, [("Notes", "Met in Oslo", "Met")]),
    ("birthday", {}, {"3A420040": "1980-05-06T00:00:00Z"}, [("Birthday", "1980-05-06 00:00 UTC", "")]),
    ("birthday of another year", {"3A420040": "1981-05-06T00:00:00Z"}, {"3A420040": "1980-05-06T00:00:00Z"}, []),
    ("phone in another place", {"3A08001F": "+49 40 1234567"}, {"3A09001F": "040/123 45 67"}, []),
    ("second phone", {"3A08001F": "1234567"}, {"3A08001F": "1234567", "3A09001F": "7654321"}, [("Home phone", "7654321", "")]),
    ("letter case of what is compared", {}, {"3A16001F": "QUAY LTD"}, []),
    ("categories", {CATEGORIES: ["a", "b"]}, {CATEGORIES: ["b", "c", "a"]}, [("Categories", "c", "a, b")]),
    ("marks", {FLAGS: 0}, {FLAGS: 0x2B, STATUS: 0x204}, [("Read", "set", ""), ("Answered or highlighted", "set", "")]),
    ("bookkeeping", {"300B0102": "AAAA"}, {"300B0102": "AAAB", "65E20102": "AAAA", "30070040": "2020-01-01T00:00:00Z",
                                           ADDRESS + ":0x8015:000B": True, ADDRESS + ":0x8080:001F": "Ann Q"}, []),
    ("key of its own", {MEETING: "AAAA"}, {MEETING: "AAAB"}, []),
    ("only key", {}, {MEETING: "AAAB"}, [("Meeting identifier", "3 bytes of data", "")]),
    ("zero and no", {}, {"00360003": 0, "{00062008-0000-0000-C000-000000000046}:0x8506:000B": False}, []),
    ("unnamed property", {}, {"{00020329-0000-0000-C000-000000000046}:shoe size:0003": 41},
     [("property {00020329-0000-0000-C000-000000000046}:shoe size", "41", "")]),
    ("photo", {}, {"attachments": [PHOTO]}, [("Photo", "ContactPicture.jpg", "")]),
    ("attachment", {"attachments": [attachment("a.txt", "AAAA")]}, {"attachments": [attachment("a.txt", "AAAB"), attachment("A.TXT", "AAAA")]},
     [("Attachment", "a.txt", "")]),
    ("what else is said of an attachment", {SHOWS: "Y2lkOnNlZW4=", "attachments": [said("a.png", "application/octet-stream"), said("b.png", "image/png", "b")]},
     {SHOWS: "Y2lkOnNlZW4=", "attachments": [said("a.png", "image/png", "seen"), said("b.png", "application/octet-stream", "unseen")]},
     [("Attachment type", "a.png: image/png", "application/octet-stream"), ("Attachment content id", "a.png: seen", "")]),
    ("attached mails in another order, looked at since", {"attachments": [MONDAY, TUESDAY]},
     {"attachments": [TUESDAY, notice(properties={FLAGS: 1, "300B0102": "AAAA"})]}, []),
    ("an attached mail of another day", {"attachments": [MONDAY]}, {"attachments": [TUESDAY, MONDAY]}, [("Attachment", "Build failed", "")]),
    ("another file in an attached mail", {"attachments": [ZIP]}, {"attachments": [notice(attachments=[attachment("a.zip", "AAAB")])]}, [("Attachment", "Build failed", "")]),
    ("another mail in an attached mail", {"attachments": [notice(attachments=[MONDAY])]}, {"attachments": [notice(attachments=[TUESDAY])]}, [("Attachment", "Build failed", "")]),
    ("an attached mail to somebody else", {"attachments": [notice(recipients=to("Bob"))]},
     {"attachments": [notice(recipients=to("Ann"))]}, [("Attachment", "Build failed", "")]),
    ("the last of many recipients", {"recipients": to(*GUESTS)}, {"recipients": to(*GUESTS, "Ann")}, [("Recipients", INVITED, INVITED)]),
)


class WhatIsLost(HostTest):
    def setUp(self) -> None:
        super().setUp()
        contacts = []
        for number, (name, kept, duplicate, _) in enumerate(LOSSES):
            for more in (kept, duplicate):
                parts = {key: value for key, value in more.items() if isinstance(value, list) and key != CATEGORIES}
                properties = {key: value for key, value in more.items() if key not in parts}
                contacts.append(contact(len(contacts), f"Name {number}", properties=properties, **parts))
        self.write(mailbox(folder(1, "People", "IPF.Contact", contacts)))

    def test_every_value_of_a_duplicate_is_held_against_the_kept_copy(self) -> None:
        report = self.scan("--keep", "first", status=1)
        self.assertEqual(len(report["groups"]), len(LOSSES))
        for group, (name, _, _, lost) in zip(report["groups"], LOSSES):
            with self.subTest(name):
                duplicate = group["duplicates"][0]
                self.assertEqual([(loss["property"], loss["value"], loss["kept"]) for loss in duplicate["losses"]], lost)
                self.assertEqual((duplicate["move"], duplicate["fate"]), (not lost, "loss" if lost else "move"))
        text = self.run_program("scan", "--keep", "first", status=1)
        self.assertIn("stays: it holds what the kept copy lacks: Notes", text)
        self.assertIn("Notes: Met in Oslo; the kept copy has Met", text)
        self.assertIn(f"{sum(1 for row in LOSSES if row[3])} of {len(LOSSES)} duplicates would not be moved", text)
        self.run_program("scan", "--keep", "first", "--format", "html", "--output", "r.html", status=1)
        self.assertIn("Notes: <b>Met in Oslo</b>; the kept copy has Met", (self.dir / "r.html").read_text(encoding="utf-8"))

    def test_recipients_that_the_kept_copy_lacks(self) -> None:
        """Among similar items what one of them lacks does not count, and goes with the other all the same."""
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1, recipients=[]), mail(2)])))
        duplicate = self.scan("--algorithm", "similar", "--keep", "first", status=1)["groups"][0]["duplicates"][0]
        self.assertEqual([(loss["property"], loss["value"]) for loss in duplicate["losses"]], [("Recipients", "To Bob <bob@example.org>")])

    def test_the_richer_copy_stays_by_itself(self) -> None:
        report = self.scan(status=1)
        left = {group["keep"]["number"]: group["duplicates"][0]["losses"] for group in report["groups"] if group["duplicates"][0]["losses"]}
        self.assertEqual(sorted(left), [5, *(2 * len(LOSSES) - n for n in (13, 7, 5, 3, 1))], "only what has two values cannot both be kept")

    def test_clean_leaves_what_would_be_lost(self) -> None:
        lossless = sum(1 for row in LOSSES if not row[3])
        before = inventory(self.read())
        out = self.run_program("clean", "--keep", "first", status=0)
        self.assertEqual(out.count("would move: "), lossless)
        self.assertIn(" holds what the kept copy lacks: Photo", out)
        out = self.run_program("clean", "--keep", "first", "--allow-loss", status=0)
        self.assertEqual(out.count("would move: "), len(LOSSES))
        # The same from a report, which says by itself what stays.
        self.run_program("scan", "--keep", "first", "--format", "json", "--output", "r.json", status=1)
        self.assertEqual(self.run_program("clean", "--from", "r.json", status=0).count("would move: "), lossless)
        self.assertEqual(self.run_program("clean", "--from", "r.json", "--allow-loss", status=0).count("would move: "), len(LOSSES))
        self.assertEqual(inventory(self.read()), before)


class Verified(HostTest):
    def test_what_cannot_be_read_stays(self) -> None:
        """A body that fails to be read pairs a mail with any other that agrees in the rest."""
        broken = mail(2)
        del broken["properties"][BODY]
        broken["properties"]["1000000A"] = -2147467259
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1), broken, mail(3)])))
        (self.dir / "d.json").write_text('{"kind": "mail", "algorithm": "similar", "properties": ['
                                         '{"property": "Mail.Subject"}, {"property": "Mail.Body"}]}')
        report = self.scan("--definitions", "d.json", status=1)
        self.assertEqual(self.groups(report), [["Inbox#1", "Inbox#3"]])
        self.assertEqual([item["number"] for item in report["scans"][0]["unreadable"]], [2])

    def test_attachments_that_cannot_be_listed(self) -> None:
        """Listing number n fails: the item equals nothing, and is not shown as one without attachments."""
        self.use_faulty_mailbox()
        same = {"attachments": [attachment("a.txt", "QUJD")]}
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1, **same), mail(2, **same)])))
        unlisted = set()
        for nth in range(9, 16):
            with self.subTest(nth=nth), unittest.mock.patch.dict(os.environ, QUORVEL_TEST_FAULT=f"IMessage::GetAttachmentTable 0 {nth} 1"):
                out = self.run_program("compare", "Inbox#1", "Inbox#2", status=0)
                (row,) = re.findall("^Attachments .*", out, re.MULTILINE)
                if "(cannot be listed)" in row:
                    unlisted.add(nth)
                    self.assertIn(" different ", row)
                    self.assertIn("These items are kept apart by Attachments.", out)
                else:
                    self.assertEqual(row.count("a.txt"), 2)
        self.assertTrue(unlisted, "no fault strikes")

    def test_what_fails_to_be_read_at_one_time_alone(self) -> None:
        """Bodies that differ, or do not, of which reading number n fails, once or twice: no other ever becomes a duplicate."""
        self.use_faulty_mailbox()
        (self.dir / "d.json").write_text('{"kind": "mail", "algorithm": "similar", "properties": ['
                                         '{"property": "Mail.Subject"}, {"property": "Mail.Body"}]}')
        seen = set()
        for other in ("All absent.", "All present.\r\n"):
            self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1), mail(2, body=other)])))
            for nth, times in ((1, 1), (2, 1), (3, 1), (4, 1), (5, 1), (6, 1), (1, 2), (2, 2), (3, 2), (1, 99)):
                with self.subTest(body=other, nth=nth, times=times), \
                        unittest.mock.patch.dict(os.environ, QUORVEL_TEST_FAULT=f"IMAPIProp::OpenProperty 1000001F {nth} {times}"):
                    report = json.loads(self.run_program("scan", "--definitions", "d.json", "--format", "json", status=None))
                    groups, unreadable = self.groups(report), [item["number"] for item in report["scans"][0]["unreadable"]]
                    seen.add(bool(unreadable))
                    self.assertEqual(groups, [] if unreadable or other == "All absent." else [["Inbox#1", "Inbox#2"]])
        self.assertEqual(seen, {True, False}, "no fault strikes, or each")

    def test_a_group_holds_only_copies_of_the_one_that_stays(self) -> None:
        """Similar items: the first and the last equal the one between, and not one another."""
        people = [contact(1, "Hale", properties={"3A44001F": "Mae"}), contact(2, "Hale"), contact(3, "Hale", properties={"3A44001F": "Sue"})]
        self.write(mailbox(folder(1, "People", "IPF.Contact", people)))
        for group in self.scan("--keep", "last", status=1)["groups"]:
            names = {item["number"] for item in [group["keep"], *group["duplicates"]]}
            self.assertFalse({1, 3} <= names, "two different people in one group")


if __name__ == "__main__":
    unittest.main()
