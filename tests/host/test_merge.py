"""Merging: what the kept copy lacks comes from its duplicates, nothing that any copy had is missing but what is listed, and undo
gives every property back."""

from __future__ import annotations

import copy
import json
import os
import random
import subprocess
import unittest
import unittest.mock

from support import (BIRTHDAY, BODY, CLASS, HOME, LAST, MARKS, NICKNAME, READ, ROOT, SENT, STATUS, HostTest, attachment, bared, contact, folder, items, mail,
                     mailbox, release_only, settled)

COMMON, ADDRESS, PUBLIC = (f"{{{n}-0000-0000-C000-000000000046}}:" for n in ("00062008", "00062004", "00020329"))
APPOINTMENT = "{00062002-0000-0000-C000-000000000046}:"
CATEGORIES, FLAG, VERB = PUBLIC + "Keywords:101F", "10900003", "10810003"
BORN = "1980-05-06T00:00:00Z"
HTML = "10130102"
HOME2, WORK, WORK2, MOBILE, OTHER, FAX, ANYFAX = (
    f"{n}001F" for n in ("3A2F", "3A08", "3A1B", "3A1C", "3A1F", "3A24", "3A23"))
PHONES = (HOME, HOME2, WORK, WORK2, MOBILE, OTHER, FAX, ANYFAX)
EMAILS, SHOWN = (tuple(f"{ADDRESS}0x80{n}{part}:001F" for n in "89A") for part in (3, 0))
COMPANY_MAIN = "3A57001F"
COLOUR, DONE = "10950003", "10910040"
MEMBERS, NAMES = ADDRESS + "0x8055:1102", ADDRESS + "0x8054:1102"
RANKS = {FLAG: [2, 1, 0], VERB: [103, 102, 104, 0]}
PHOTO = {"properties": {"37050003": 1, "3707001F": "ContactPicture.jpg", "37010102": "AAAA", "7FFF000B": True}}
OTHER_PHOTO = {"properties": {**PHOTO["properties"], "37010102": "AAAB"}}
KEPT_BY_STORES = {row["property"] for row in json.loads((ROOT / "host/definitions/bookkeeping.json").read_text())["bookkeeping"]
                  if "meaningful" not in row and "key" not in row}


def name_of(key: str) -> str:
    return key.rpartition(":")[0] if key.startswith("{") else key[:4]


def digits(text: str) -> str:
    return "".join(c for c in text if c.isdigit())[-7:]


def bare(text: str) -> str:
    return text.replace("\r", "").rstrip()


def files(item: dict) -> list[tuple[str, str]]:
    return [(one["properties"]["3707001F"], one["properties"]["37010102"]) for one in item.get("attachments", [])]


def has(kept: dict, key: str, value: object) -> bool:
    """Whether a kept copy has what another copy has of a property, in whatever place merging may put it."""
    own = kept.get(key)
    if key in PHONES:
        return digits(value) in {digits(kept[place]) for place in PHONES if place in kept}
    if key in EMAILS:
        return value.casefold() in {kept[place].casefold() for place in EMAILS if place in kept}
    if key in MARKS:
        return not value & MARKS[key] & ~(own or 0)
    if key in RANKS and {own or 0, value} <= set(RANKS[key]):
        return RANKS[key].index(own or 0) <= RANKS[key].index(value)
    if isinstance(value, list):
        return {one.casefold() for one in value} <= {one.casefold() for one in own or []}
    if key == BODY:
        return bare(value) in bare(own or "")
    return own == value or not value


def told(out: str) -> list[str]:
    """What a run says of the items that it moves, completes and leaves, or, as a dry one, would."""
    said = out.replace("would move: ", "moved: ").replace("would complete: ", "completed: ").splitlines()
    return sorted(line for line in said if line.startswith(("   ", "moved: ", "completed: ", "left alone: ")))


def lacks(kept: dict, other: dict) -> set[str]:
    """The names of what the other copy has and the kept one does not."""
    lacking = {name_of(key) for key, value in other["properties"].items()
               if name_of(key) not in KEPT_BY_STORES and not has(kept["properties"], key, value)}
    return lacking | {"file" for one in files(other) if one not in files(kept)}


def some(dice: random.Random, likely: float, **values: object) -> dict:
    """Of these properties some, each with one of its values."""
    return {key: copy.deepcopy(dice.choice(value)) for key, value in values.items() if dice.random() < likely}  # type: ignore[call-overload]


def drawn(seed: int) -> dict:
    """Contacts, mails and appointments in groups of two and three; what they hold is drawn from so few values that copies often agree
    and often do not."""
    dice = random.Random(seed)
    people, mails, dates = [], [], []
    lists = [["Work"], ["work", "Boats"], ["Home", "Boats"]]
    shared = {CATEGORIES: lists, FLAG: [1, 2], COMMON + "0x8506:000B": [True, False], PUBLIC + "shoe size:0003": [41, 42, 0],
              COMMON + "0x8530:001F": ["Call", "Write"], PUBLIC + "marks:1102": [["AAAA"], ["AAAA", "AAAB"]]}
    for group in range(8):
        for _ in range(dice.choice((2, 2, 3))):
            person = some(dice, 0.5, **shared, **{
                BODY: ["Met in Oslo", "Met in Oslo ", "Plays chess\r\nand go"], NICKNAME: ["Bo", "Bob"], "3A5D001F": ["Quay 1"],
                "3A59001F": ["Oslo", "Bergen"], BIRTHDAY: [f"19{n}-05-06T00:00:00Z" for n in (80, 81)], "3A58101F": [["Al"], ["Bea"]],
                **{place: [f"+47 22 {n:02} 11 11" for n in (10, 20, 30)] for place in PHONES}})
            if set(person) & set(PHONES):
                person[dice.choice(PHONES)] = "555 1000"
            for number in dice.sample(range(3), dice.choice((0, 1, 2, 3))):
                address = dice.choice(("a@example.org", "B@example.org", "c@example.org"))
                person |= {f"{ADDRESS}0x80{8 + number:X}{n}:001F": text for n, text in ((0, address.upper()), (2, "SMTP"), (3, address))}
                person |= {ADDRESS + "0x8029:0003": person.get(ADDRESS + "0x8029:0003", 0) | 1 << number}
            for key in some(dice, 0.2, **{f"{ADDRESS}0x80{n}0:001F": [0] for n in "89A"}):
                person.setdefault(key, f"Name {len(people)}")
            if any(place in person for place in EMAILS):
                person[next(place for place in EMAILS if place in person)] = "bo@example.org"
            if group % 4 == 3:
                members = dice.sample(["AAAA", "AAAB", "AAAC"], dice.choice((1, 2, 3)))
                person |= {MEMBERS: members, NAMES: [name.replace("A", dice.choice("BC"), 1) for name in members], CLASS: "IPM.DistList"}
            own = [attachment(f"{n}.txt", text) for n, text in dice.sample([(1, "AAAA"), (1, "AAAB"), (2, "AAAC")], dice.choice((0, 0, 1, 2)))]
            own += [dice.choice((PHOTO, OTHER_PHOTO))] if dice.random() < 0.4 else []
            people.append(contact(len(people), f"Name {group}", properties=person, attachments=copy.deepcopy(own)))
        for _ in range(dice.choice((2, 2, 3))):
            mails.append(mail(len(mails), subject=f"Mail {group}", properties=some(dice, 0.5, **shared, **{
                STATUS: [0, 1, 0x200], VERB: [102, 103, 104, 110], "00170003": [1, 2], "1042001F": ["<a@b>"]}) | some(dice, 0.25, **{
                    COLOUR: [3, 6], DONE: ["2024-05-06T00:00:00Z", "2024-05-07T00:00:00Z"]})))
            dates.append(mail(0x1000 + len(dates), subject=f"Date {group}", recipients=[], body="", properties={
                CLASS: "IPM.Appointment", APPOINTMENT + "0x820D:0040": "2024-05-06T08:00:00Z",
                APPOINTMENT + "0x820E:0040": "2024-05-06T09:00:00Z",
                **some(dice, 0.5, **shared, **{COMMON + "0x8503:000B": [True], COMMON + "0x8501:0003": [15, 30],
                                               APPOINTMENT + "0x8205:0003": [1, 2]})}))
    for item in people + mails + dates:  # what says nothing of it counts as read
        item["properties"][READ] = dice.choice((0, 1))
    for item in dates:
        for key in (SENT, "0065001F", BODY):
            del item["properties"][key]
    return mailbox(folder(1, "People", "IPF.Contact", people), folder(2, "Inbox", "IPF.Note", mails), folder(3, "Dates", "IPF.Appointment", dates))


class Merge(HostTest):
    def setUp(self) -> None:
        super().setUp()
        self.undo = self.dir / "undo.jsonl"

    def write_small(self) -> dict:
        """A contact with something of each sort to take, a mail with marks, and one that two values keep apart."""
        more = {NICKNAME: "Bo", HOME: "111 2222", BODY: "Met in Oslo", CATEGORIES: ["Boats"], BIRTHDAY: "1980-05-06T00:00:00Z"}
        box = mailbox(
            folder(1, "People", "IPF.Contact", [
                contact(1, "Hale", properties={BODY: "Plays chess", HOME: "555 1000", CATEGORIES: ["Work"], READ: 1}),
                contact(2, "Hale", properties={**more, WORK: "555 1000", READ: 1}, attachments=[PHOTO, attachment("a.txt", "AAAA")]),
                contact(3, "Voss", properties={NICKNAME: "Bob", "3A43001F": "Chess", "001A001F": "IPM.Contact"}), contact(4, "Voss", properties=more)]),
            folder(2, "Inbox", "IPF.Note", [mail(5, properties={READ: 0, STATUS: 0, "1035001F": "<5@example.org>", FLAG: 1, DONE: "2024-05-06T00:00:00Z"}),
                                            mail(6, properties={READ: 1, STATUS: 0x200, FLAG: 2})]))
        self.write(box)
        return box

    def clean(self, *arguments: str, status: int | None = 0) -> str:
        self.undo.unlink(missing_ok=True)
        return self.run_program("clean", "--merge", "--keep", "first", "--yes", "--undo-file", "undo.jsonl", *arguments, status=status)

    def report(self, *arguments: str) -> dict:
        return self.scan("--keep", "first", *arguments, status=1)

    def take_back(self, box: dict, why: str) -> None:
        for turn in ("a first", "a second"):
            self.run_program("clean", "--undo", "undo.jsonl", status=0)
            self.assertEqual(settled(self.read()), settled(box), f"{why}: {turn} undo")
        self.assertIn("0 items put back\n", self.out, "a second undo finds nothing to do")

    def assert_merged(self, box: dict, report: dict, may_stay: bool) -> None:
        """Of each group: nothing is missing from the kept copy that one which moved had, but for conflicts that the report lists, and those
        alone; what did not move is as it was, and so is a kept copy for which none moved."""
        before, after = items(box), items(self.read())
        for group in report["groups"]:
            was, kept = before[group["keep"]["entryId"]], after[group["keep"]["entryId"]]
            lost = lacks(kept, was)
            self.assertLessEqual(lost, {name_of(DONE)}, "the kept copy has lost something of its own")
            if name_of(DONE) in lost:
                self.assertIn("it replaces Flag completed", json.dumps(group), "what goes with a state is listed")
            names = {key: value for key, value in was["properties"].items() if key in SHOWN}
            self.assertLessEqual(names.items(), kept["properties"].items(), "an e-mail place that shows a name is another's")
            gone = [one for one in group["duplicates"] if one["entryId"] not in after]
            if not gone:
                self.assertEqual(bared(kept), bared(was), "a kept copy for which none moved")
            for one in group["duplicates"]:
                conflicts = {loss["id"].replace("photo:", "file:").split(":" if "photo" in loss["id"] else "\n")[0]
                             for loss in one["losses"] if loss["merge"] == "conflict"}
                lacking = lacks(kept, before[one["entryId"]])
                if BIRTHDAY in was["properties"]:  # the definitions compare the day alone
                    lacking.discard("3A42")
                with self.subTest(group=group["keep"]["title"], copy=one["number"]):
                    if one in gone:
                        self.assertLessEqual(lacking, conflicts)
                        # A number for which there was no place may have come with a later copy.
                        self.assertLessEqual(conflicts - lacking, set(map(name_of, PHONES + EMAILS)))
                    else:
                        self.assertTrue(may_stay or conflicts, "stays without a conflict")
                        self.assertEqual(bared(after[one["entryId"]]), bared(before[one["entryId"]]))

    @release_only
    def test_whatever_the_copies_hold(self) -> None:
        taken: set[str] = set()
        for seed in range(int(os.environ.get("QUORVEL_SEEDS", "3"))):
            for allowed in ((), ("--allow-loss",)):
                with self.subTest(seed=seed, allowed=allowed):
                    box = drawn(seed)
                    self.write(box)
                    report = self.report(*allowed)
                    taken |= {loss["merge"] for group in report["groups"] for one in group["duplicates"] for loss in one["losses"]}
                    dry = self.run_program("clean", "--merge", "--keep", "first", *allowed, status=0)
                    done = self.clean(*allowed)
                    self.assertEqual(told(dry), told(done))
                    self.assert_merged(box, report, may_stay=False)
                    self.assertEqual("left alone" in done, not allowed, "what would be lost is allowed to be")
                    once = self.box.read_bytes()
                    again = self.run_program("clean", "--merge", "--keep", "first", "--yes", "--undo-file", "again.jsonl", *allowed, status=0)
                    self.assertEqual((again.splitlines()[-1], self.box.read_bytes() == once), ('0 items moved to "Duplicates"', True), "a second run")
                    for line in self.undo.read_text().splitlines():
                        self.assert_valid(json.loads(line), "undo")
                    self.take_back(box, f"seed {seed}")
        self.assertEqual(taken, {"copy", "slot", "unite", "join", "mark", "attach", "photo", "held", "conflict"}, "what the draws reach")

    def test_stores_that_refuse(self) -> None:
        """Each call of a merge fails in turn: an item is whole or as it was, what would be lost does not move, and the rest goes on."""
        box = self.write_small()
        report = self.report()
        self.use_faulty_mailbox()
        for method, times, *done in (("IMAPIProp::SetProps", 4), ("IMAPIProp::SetProps", 2, 0), ("IMAPIProp::SaveChanges", 4), ("IMAPIProp::DeleteProps", 1), ("IMAPIProp::CopyTo", 2),
                              ("IMessage::CreateAttach", 2), ("IMessage::SetReadFlag", 1), ("IMAPIFolder::SetMessageStatus", 1),
                              ("IMAPIProp::GetIDsFromNames", 3), ("IMessage::OpenAttach", 4)):
            refused = 0
            for nth in range(1, times + 1):
                with self.subTest(method=method, nth=nth), unittest.mock.patch.dict(os.environ, QUORVEL_TEST_FAULT=" ".join(map(str, [method, 0, nth, 1, *done]))):
                    self.write(box)
                    out = self.clean(status=None)
                    refused += "cannot be completed: " in out
                    self.assert_merged(box, report, may_stay=True)
                    self.assertEqual(out.count("completed: ") + out.count("cannot be completed") >= 1, True, out)
                    if self.undo.exists():
                        os.environ.pop("QUORVEL_TEST_FAULT")
                        self.take_back(box, "a run with a fault")
            self.assertTrue(refused or method in ("IMAPIProp::DeleteProps", "IMAPIProp::GetIDsFromNames", "IMessage::OpenAttach"), method)
        # The undo of it meets the same faults, says what it could not do, and a second one does it.
        self.write(box)
        self.clean()
        merged, undo = self.box.read_bytes(), self.undo.read_bytes()
        for method in ("IMAPIProp::SaveChanges", "IMAPIProp::SetProps", "IMessage::DeleteAttach", "IMessage::SetReadFlag"):
            with self.subTest(undo=method):
                self.box.write_bytes(merged)
                self.undo.write_bytes(undo)
                with unittest.mock.patch.dict(os.environ, QUORVEL_TEST_FAULT=f"{method} 0 1 1"):
                    self.assertIn("not restored: ", self.run_program("clean", "--undo", "undo.jsonl", status=None))
                self.take_back(box, "an undo with a fault")

    @unittest.skipUnless(os.geteuid() == 0, "mounting a small disk takes root")
    @release_only
    def test_a_full_disk(self) -> None:
        """Under the undo file and under the mailbox, with more and more room: an item is whole or as it was, and undo gives all back."""
        box, home = self.write_small(), self.dir
        for one in items(box).values():
            one["properties"]["6600001F"] = "A long text. " * 100  # so that a line of the undo file fills pages
            one["properties"][CATEGORIES] = [one["id"]] + [f"Category {n}" for n in range(100)]
        self.write(box)
        report = self.report()
        disk = self.dir / "disk"
        disk.mkdir()
        for what in ("undo file", "mailbox"):
            said, free, status = set(), 0, 2
            while status != 0:
                status = 0  # what a failure ends with
                with self.subTest(what=what, pages=free):
                    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "tmpfs", disk], stderr=subprocess.DEVNULL).returncode != 0:
                        self.skipTest("this machine mounts nothing")
                    try:
                        self.dir = disk if what == "undo file" else home
                        self.box, self.undo = (home if what == "undo file" else disk) / "mailbox.json", self.dir / "undo.jsonl"
                        self.write(box)
                        (disk / "full").write_bytes(bytes(4096 * (os.statvfs(disk).f_bavail - free)))
                        out = self.clean(status=None)
                        status = self.status
                        (disk / "full").unlink()
                        self.assertIn(status, (0, 2), out)
                        said.add(self.err)
                        self.assertEqual("cannot be written" in self.err or "Nothing was moved" in self.err, status == 2, self.err)
                        self.assert_merged(box, report, may_stay=True)
                        if self.undo.exists() and self.undo.stat().st_size:
                            self.take_back(box, "a full disk")
                    finally:
                        subprocess.run(["umount", "--lazy", disk], check=True)  # a program that ends may still stand in it
                free += 1
            self.assertGreater(len(said), 1, f"the disk never was full under the {what}: {said}, {free} pages")

    def test_values_of_every_type(self) -> None:
        guid = "{00062002-0000-0000-C000-000000000046}"
        values = {"66001002": [1, 2], "66011003": [0, 2], "66021004": [1.5], "66031005": [2.5], "66041006": [5], "66051007": [1.5], "66061014": [7],
                  "66071040": [BORN], "66081048": [guid], "6609101F": ["a", "b"], "660A1102": ["AAAA"], "660B0048": guid, "660C0014": 7,
                  "660D0102": "QUFB" * 20_000, PUBLIC + "0xhello:001F": "a text that begins like a number", "3A4F001F": "B" * 40_000}
        email = {f"{ADDRESS}0x80{n}:001F": text for n, text in (("80", "A"), ("82", "SMTP"), ("83", "a@example.org"))}
        places = {ADDRESS + "0x8028:1003": [0], ADDRESS + "0x8029:0003": 1}  # which addresses are filled
        letter = {"properties": {"37050003": 5, "3001001F": "Letter"},
                  "message": {"properties": {CLASS: "IPM.Note", "0037001F": "Letter", BODY: "In a letter."}}}
        box = mailbox(folder(1, "People", "IPF.Contact", [contact(1, "Hale"), contact(2, "Hale", properties={**values, **email, **places}, attachments=[letter])]))
        self.write(box)
        self.clean()
        kept, = items(self.read()).keys() & {item["id"] for item in box["stores"][0]["root"]["folders"][0]["items"]}
        own = items(self.read())[kept]
        wanted = {**values, **email, **places}
        self.assertEqual({key: own["properties"].get(key) for key in wanted}, wanted)
        self.assertEqual([bared(one["message"])["properties"][BODY] for one in own["attachments"]], ["In a letter."])
        self.take_back(box, "every type")
        # A long one has to be read whole, each of the times that it is read.
        box = mailbox(folder(1, "People", "IPF.Contact", [contact(1, "Hale"), contact(2, "Hale", properties={NICKNAME: "B" * 40_000})]))
        self.write(box)
        report = self.report()
        self.use_faulty_mailbox()
        for nth in range(1, 8):
            with self.subTest(reading=nth), unittest.mock.patch.dict(os.environ, QUORVEL_TEST_FAULT=f"IMAPIProp::OpenProperty {NICKNAME} {nth} 1"):
                self.write(box)
                self.clean(status=None)
                self.assert_merged(box, report, may_stay=True)

    @release_only
    def test_an_end_at_any_moment(self) -> None:
        box = self.write_small()
        self.clean()
        merged, lines = self.read(), self.undo.read_bytes().splitlines(keepends=True)
        # On a store that saves at once the end may come behind each line, with the item of the last one saved or not.
        kept = [json.loads(line)["merge"]["entryId"] for line in lines if line.startswith(b'{"merge"')]
        self.assertEqual(len(kept), 2)
        for end in range(1, len(lines) + 1):
            noted = [json.loads(line)["merge"]["entryId"] for line in lines[:end] if line.startswith(b'{"merge"')]
            for saved in {len(noted), max(len(noted) - 1, 0)}:
                with self.subTest(lines=end, saved=saved):
                    state = copy.deepcopy(box)
                    for one in state["stores"][0]["root"]["folders"]:
                        one["items"] = [items(merged)[item["id"]] if item["id"] in noted[:saved] else item for item in one["items"]]
                    self.write(state)
                    self.undo.write_bytes(b"".join(lines[:end]) + (lines[end][:20] if end < len(lines) else b""))
                    self.take_back(box, "an end")
        # And of a mailbox file, where nothing is saved before the end: killed before each write.
        for arguments, files in ((("--merge", "--keep", "first", "--yes", "--undo-file", "undo.jsonl"), ("undo.jsonl", "mailbox.json.quorvel-new")),
                                 (("--undo", "undo.jsonl"), ("mailbox.json.quorvel-new",))):
            for file in files:
                killed, nth = True, 0
                while killed:
                    nth += 1
                    with self.subTest(arguments=arguments, file=file, nth=nth):
                        self.write(box if "--yes" in arguments else merged)
                        self.undo.unlink() if "--yes" in arguments else self.undo.write_bytes(b"".join(lines))
                        killed = self.killed("write", nth, file, "clean", *arguments)
                        self.take_back(box, "killed")
                self.assertGreater(nth, 1, "the kills do not strike")

    def test_choices(self) -> None:
        box = self.write_small()
        self.run_program("scan", "--keep", "first", "--format", "json", "--output", "r.json", status=1)
        report = json.loads((self.dir / "r.json").read_text())
        place, losses = next((f"groups[{g}].duplicates[0].losses[{n}]", group["duplicates"][0]["losses"]) for g, group in enumerate(report["groups"])
                             for n, loss in enumerate(group["duplicates"][0]["losses"]) if loss["merge"] == "conflict")
        chosen = losses[int(place[place.rindex("[") + 1:-1])]
        ask = ("clean", "--from", "c.json", "--merge=ask", "--yes", "--undo-file", "undo.jsonl")

        def decide(change: dict, loss: dict = chosen) -> None:
            before = dict(loss)
            loss |= change
            (self.dir / "c.json").write_text(json.dumps(report))
            loss.clear()
            loss |= before

        for choice, nickname, moved in ((None, "Bob", 2), ("kept", "Bob", 3), ("duplicate", "Bo", 3)):
            with self.subTest(choice=choice):
                self.write(box)
                self.undo.unlink(missing_ok=True)
                decide({"choice": choice} if choice else {})
                self.assertIn(f"{moved} items moved to ", self.run_program(*ask, status=0))
                self.assertEqual(items(self.read())[chosen_id(report, place)]["properties"][NICKNAME], nickname)
                self.take_back(box, f"choice {choice}")
        self.write(box)
        self.undo.unlink()
        before = self.box.read_bytes()
        other = next(loss for loss in losses if loss["merge"] == "copy")
        for what, loss, change, arguments, because in (
            ("of another form", chosen, {"choice": "both"}, ask, place + ".choice"),
            ("not offered", chosen, {"choice": "duplicate", "choices": ["kept"]}, ask, place + ".choice"),
            ("of what is no conflict", other, {"choice": "kept"}, ask, ".choice"),
            ("about nothing", chosen, {"choice": "kept", "id": "3A50"}, ask, "a value that the item does not have"),
            ("without asking", chosen, {"choice": "kept"}, (*ask[:3], "--merge", *ask[4:]), "--merge=ask follows them"),
            ("without merging", chosen, {"choice": "kept"}, (*ask[:3], *ask[4:]), "--merge=ask follows them"),
        ):
            with self.subTest(what):
                decide(change, loss)
                self.assert_refused(*arguments, because=because)
                self.assertEqual(self.box.read_bytes(), before)
        self.assert_refused("clean", "--merge=ask", because="name it with --from")
        self.run_program("clean", "--merge=maybe", status=2)
        for command in (ROOT / "run", "--clean", "--merge", str(self.dir)), (ROOT / "mailbox" / "clean", "--merge"):
            done = subprocess.run(command, capture_output=True, text=True, check=False)
            self.assertEqual((done.returncode, done.stderr.count("\n"), "iles are moved as they are" in done.stderr), (2, 1, True), done.stderr)

    def test_what_a_choice_displaces_is_held_against_all_copies(self) -> None:
        """What goes from its place for a chosen value may stand in another place of a copy that goes, or be what one brought: that one is lost
        with it now."""
        a, b, c, d = "111 2222", "333 4444", "555 6666", "777 8888"

        def phones(*numbers: str) -> dict:
            return {FAX: d, **dict(zip((OTHER, HOME), numbers, strict=False))}

        def emails(*addresses: str) -> dict:
            return {key: value for n, one in enumerate(addresses) for key, value in ((EMAILS[n], one), (SHOWN[n], one))}

        for what, kept, others, merged, moved in (
            ("the same copy", phones(a), [phones(b, a)], phones(b, a), 1),
            ("a later copy, and one chosen in whose place another was", phones(a), [phones(b), phones(c, a)], phones(c, a), 1),
            ("an earlier copy", phones(a), [{FAX: d, HOME: a}, phones(b)], phones(b, a), 2),
            ("what another copy brought", {FAX: d, MOBILE: a}, [{FAX: d, MOBILE: b}, phones(c)], {FAX: d, MOBILE: a, OTHER: c}, 1),
            ("one stays that another relied on", {FAX: d, MOBILE: a}, [{FAX: d, MOBILE: b, HOME: "999 0000"}, phones(c, "999 0000")],
             {FAX: d, MOBILE: a, **phones(c, "999 0000")}, 1),
            ("no copy", phones(a), [phones(b, c)], phones(b, c), 1),
            ("a number of a sort of its own", {FAX: d, COMPANY_MAIN: a}, [{FAX: d, COMPANY_MAIN: b, OTHER: a}], {FAX: d, COMPANY_MAIN: b, OTHER: a}, 1),
            ("what a copy had brought", {}, [{NICKNAME: "Bo"}, {NICKNAME: "Bo"}, {NICKNAME: "Bob"}], {NICKNAME: "Bob"}, 1),
            ("one chosen, and another one too", {NICKNAME: "Al"}, [{NICKNAME: "Bo"}, {NICKNAME: "Bob"}], {NICKNAME: "Bob"}, 1),
            ("no place is free", emails(a, c, d), [emails(b, a)], emails(a, c, d), 0),
        ):
            with self.subTest(what):
                self.undo.unlink(missing_ok=True)
                self.write(mailbox(folder(1, "People", "IPF.Contact", [contact(n + 1, "Hale", properties=one) for n, one in enumerate([kept, *others])])))
                self.run_program("scan", "--keep", "first", "--format", "json", "--output", "r.json", status=1)
                report = json.loads((self.dir / "r.json").read_text())
                for one in report["groups"][0]["duplicates"]:
                    for loss in one["losses"]:
                        loss |= {"choice": "duplicate"} if loss["merge"] == "conflict" else {}
                (self.dir / "r.json").write_text(json.dumps(report))
                dry = self.run_program("clean", "--from", "r.json", "--merge=ask", status=0)
                out = self.run_program("clean", "--from", "r.json", "--merge=ask", "--yes", "--undo-file", "undo.jsonl", status=0)
                self.assertRegex(out, f"{moved} items? moved to ")
                self.assertEqual(told(dry), told(out))
                card = bared(items(self.read())[report["groups"][0]["keep"]["entryId"]])["properties"]
                self.assertEqual({key: value for key, value in card.items() if key not in contact(1, "Hale")["properties"]}, merged, out)

    def test_the_matrix_says_where_values_come_from(self) -> None:
        self.write(mailbox(folder(1, "People", "IPF.Contact", [
            contact(1, "Hale", properties={HOME: "111 2222"}), contact(2, "Voss", properties={"3A44001F": "Mae", HOME: "333 4444"}),
            contact(3, "Hale", attachments=[attachment("a.txt", "AAAA")])])))
        rows = json.loads(self.run_program("compare", "People#1", "People#2", "People#3", "--format", "json", status=0))["rows"]
        self.assertEqual({row["property"]: (row["from"], row["left"]) for row in rows if row["from"]}, {
            "First name": ([0], []), "Last name": ([0], [1]), "Middle name": ([1], []), "Company": ([0], []), "Any phone": ([0, 1], []),
            "Attachments": ([2], [])})

    def test_what_is_left_of_a_duplicate_stays(self) -> None:
        """Somebody empties the folder of duplicates, and undoes later: nothing of a duplicate that is gone is taken out of the kept copy."""
        box = self.write_small()
        self.clean()
        merged, undo = self.read(), self.undo.read_bytes()
        folders = merged["stores"][0]["root"]["folders"]
        for gone, left in (("IPM.Contact", [False, True]), ("IPM.Note", [True, False]), ("IPM", [False, False])):
            with self.subTest(gone=gone):
                state = copy.deepcopy(merged)
                moved = state["stores"][0]["root"]["folders"][-1]
                moved["items"] = [item for item in moved["items"] if not item["properties"][CLASS].startswith(gone)]
                self.write(state)
                self.undo.write_bytes(undo)
                out = self.run_program("clean", "--undo", "undo.jsonl", status=None)
                after = items(self.read())
                for one, isBack in zip(folders[:2], left, strict=True):
                    kept = one["items"][0]["id"]
                    self.assertEqual(bared(after[kept]), bared(items(box if isBack else merged)[kept]), out)
                self.assertEqual(out.count("a duplicate that it has values of does not come back"), left.count(False))

    def test_a_changed_undo_file_is_refused(self) -> None:
        """Also where the check of each line is right: no value is taken that is none of its type."""
        self.write_small()
        self.clean()
        merged, lines = self.box.read_bytes(), self.undo.read_text().splitlines()
        place = next(n for n, line in enumerate(lines) if line.startswith('{"merge"'))
        for kind, parts in ((0x1003, ["AA"]), (0x48, ["AA"]), (0x40, []), (0x1E, ["4142"]), (0x101E, ["4142434445464748"]), (0x1F, ["41"]), (0x1F, []),
                            (0x1102FFFF, ["41"]), (0xD, ["4142434445464748"]), (1, ["41"]), (0x3, ["01000000", "01000000"])):
            with self.subTest(kind=kind, parts=parts):
                line = json.loads(lines[place])
                del line["check"]
                line["merge"]["values"] = [{"property": "6600", "name": "", "was": {"type": kind, "parts": parts}, "is": {"type": 1, "parts": []}}]
                text = json.dumps(line, separators=(",", ":"))
                check = 0xCBF29CE484222325
                for byte in (json.loads(lines[place - 1])["check"] + text).encode():
                    check = (check ^ byte) * 0x100000001B3 % 2**64
                self.undo.write_text("\n".join([*lines[:place], f'{text[:-1]},"check":"{check:016X}"}}', ""]))
                self.assert_refused("clean", "--undo", "undo.jsonl", because=f"line {place + 1}: this is not as it was written")
                self.assertEqual(self.box.read_bytes(), merged)

    def test_what_changed_since_is_left_alone(self) -> None:
        self.write_small()
        self.clean()
        box = self.read()
        hale = next(item for item in items(box).values() if item["properties"].get(LAST) == "Hale" and item["properties"].get(BODY, "").startswith("Plays"))
        hale["properties"][NICKNAME] = "Somebody's"
        hale["attachments"] = hale["attachments"][:1]
        self.write(box)
        out = self.run_program("clean", "--undo", "undo.jsonl", status=2)
        self.assertIn("not restored: Nickname of ", out)
        self.assertEqual(out.count("not restored: "), 1, "an attachment that is gone is what undo wants")
        after = items(self.read())[hale["id"]]
        self.assertEqual((after["properties"][NICKNAME], after["properties"][BODY], files(after)), ("Somebody's", "Plays chess", []))


def chosen_id(report: dict, place: str) -> str:
    """The kept copy of the group that a place in a report names."""
    return report["groups"][int(place.split("]")[0].removeprefix("groups["))]["keep"]["entryId"]


if __name__ == "__main__":
    unittest.main()
