"""The page of the HTML report in a real browser: who decides there gets what was decided, and what is not as the page wrote it is refused."""

from __future__ import annotations

import html
import json
import pathlib
import re
import subprocess
import tempfile
import unittest
from collections.abc import Callable

from browser import Browser, Keys
from support import BIN, BIRTHDAY, BODY, COMPANY, HOME, MODIFIED, NICKNAME, ROOT, SENT, SUBJECT, HostTest, contact, folder, inventory, items, mail, mailbox, release_only, settled

HOSTILE = "</script><script>alert(1)</script><!--\"'&<img src=http://example.org/x onerror=alert(2)></noscript>"
BORN = "1980-05-06T00:00:00Z"
LATER = {SENT: "2024-03-04T10:15:00Z"}
BOX = mailbox(
    folder(1, "In<b>ox", "IPF.Note", [
        mail(1), mail(2), mail(3, subject=HOSTILE, body=HOSTILE), mail(4, subject=HOSTILE, body=HOSTILE), mail(5, subject="Rope", body="Nine fathoms.\r\n" * 40, properties={"10F4000B": True, "00260003": 1}),
        mail(6, subject="Plan"), mail(7, subject="Plan", properties=LATER)]),
    folder(2, "Old", "IPF.Note", [mail(8), mail(9, subject="Rope", body="Nine fathoms.\r\n" * 40, properties={"00360003": 2})]),
    folder(3, "Safe", "IPF.Note", [mail(10)]),
    folder(4, "Contacts", "IPF.Contact", [contact(1, "Hale", properties={SUBJECT: "Ann Hale"}), contact(2, "Hale", properties={SUBJECT: "Ann Hale", "3A08001F": "555 0100", "3A16001F": "Harbour Ltd"})]),
)
SCAN = ("scan", "--near", "--similar", "--protect", "Safe", "--format", "html", "--output", "report.html")
MINUTES, ROPE = "g0", "g2"
HOME2, OTHER, TITLE, HAS_PHOTO = "3A2F001F", "3A1F001F", "3A17001F", "{00062004-0000-0000-C000-000000000046}:0x8015:000B"
PHOTO = {"properties": {"37050003": 1, "3707001F": "ContactPicture.jpg", "37010102": "AAAA", "7FFF000B": True}}
PEOPLE = mailbox(folder(1, "People", "IPF.Contact", [
    contact(1, "Voss", properties={NICKNAME: "Bob"}), contact(2, "Voss", properties={NICKNAME: "Bo", BODY: "Met in Oslo"}),
    contact(3, "Voss", properties={NICKNAME: "Bobby", BIRTHDAY: BORN}),
    contact(4, "Hale", "Ida"), contact(5, "Hale", "Ida", properties={COMPANY: "Harbour Ltd", NICKNAME: "Ann"}),
    contact(6, "Moe", "Per", properties={HOME: "555 0100"}), contact(7, "Moe", "Per", properties={COMPANY: "Pier Ltd", HOME: "555 0199"}),
    contact(8, "Lund", "Eva", properties={HOME: "111 2222", OTHER: "555 6666"}),
    contact(9, "Lund", "Eva", properties={HOME: "333 4444", OTHER: "555 6666", TITLE: "Boss"}, attachments=[PHOTO]),
    contact(10, "Lund", "Eva", properties={HOME: "777 8888", OTHER: "555 6666", TITLE: "Hand"}, attachments=[{"properties": {**PHOTO["properties"], "37010102": "AAAB"}}])]))


class Page(HostTest):
    browser: Browser

    @classmethod
    def setUpClass(cls) -> None:
        downloads = tempfile.TemporaryDirectory(prefix="quorvel-saved-")
        cls.addClassCleanup(downloads.cleanup)
        cls.browser = Browser(pathlib.Path(downloads.name))
        cls.addClassCleanup(cls.browser.close)

    def setUp(self) -> None:
        super().setUp()
        self.write(BOX)
        self.run_program(*SCAN, status=1)
        self.page = self.dir / "report.html"

    def open(self, width: int = 1200) -> Browser:
        self.browser.open(self.page, width)
        self.browser.complaints()
        return self.browser

    def decided(self, card: str) -> list[str]:
        """The state of each copy of a group, which keeps one in any case."""
        found = self.browser.run("return [...document.querySelectorAll(`#${arguments[0]} .items input:checked`)].map(i => i.parentNode.innerText)", card)
        self.assertEqual(found.count("keep"), 1, f"{card} keeps one copy: {found}")
        return list(found)

    def titles(self) -> list[str]:
        return [text.split(" · ")[0] for text in self.browser.texts(".card h3")]

    def clean(self, *arguments: str, status: int = 0) -> str:
        return self.run_program("clean", "--from", "decisions.json", *arguments, status=status)

    def save(self) -> dict:
        (self.dir / "decisions.json").write_bytes(self.browser.saved().read_bytes())
        decisions = json.loads((self.dir / "decisions.json").read_text(encoding="utf-8"))
        self.assert_valid(decisions, "decisions")
        return dict(decisions)

    @release_only
    def test_filters_and_orders(self) -> None:
        page = self.open()
        everything = self.titles()
        self.assertEqual(len(everything), len(json.loads(page.run("return document.getElementById('data').textContent"))["groups"]))
        self.assertEqual(everything[1], HOSTILE, "a subject reads as it was written")
        for control, value, titles in (
            ("kind", "contact", ["Ann Hale"] * 2), ("folder", "Mailbox/Old", ["Minutes", "Rope"]), ("found", "near pair", ["Plan", "Ann Hale"]),
            ("found", "resembling", ["Ann Hale"]), ("why", "Sent", ["Plan"]),
            ("sort", "most copies first", everything),
        ):
            with self.subTest(control=control, value=value):
                page.choose(f"#filter-{control}", value)
                self.assertEqual(self.titles(), titles)
                page.choose(f"#filter-{control}", "as found" if control == "sort" else "all")
        page.choose("#filter-sort", "largest first")
        self.assertEqual(self.titles()[0], "Rope")
        page.choose("#filter-sort", "as found")
        page.choose("#filter-loss", "anything")
        self.assertIn("Rope", self.titles())
        self.assertNotIn("Minutes", self.titles())
        page.choose("#filter-loss", "does not matter")
        for text, titles in (("NINE FATHOMS", ["Rope"]), ("<img src", [HOSTILE]), ("safe#1", ["Minutes"]), ("g0", []), ("", everything)):
            with self.subTest(text=text):
                page.type("#filter-text", text)
                page.until(lambda titles=titles: self.titles() == titles, f"groups with {text!r}")
        self.assertEqual(page.complaints(), [], "the page complained, or asked somebody for something")

    def test_decisions_are_carried_out(self) -> None:
        """Switch, folder rule and "treat as duplicates"; the file does what was decided and no more."""
        page = self.open()
        self.assertEqual(self.decided(MINUTES), ["keep", "move", "move", "leave"])
        self.assertFalse(page.find(f"#{MINUTES}i3move").is_enabled(), "nothing moves out of a protected folder")
        page.click(f"#{MINUTES}i0move")
        self.assertEqual(self.decided(MINUTES), ["move", "move", "move", "keep"], "another copy stays, one that stays anyway")
        page.click(f"#{MINUTES}i0keep")
        self.assertEqual(self.decided(MINUTES), ["keep", "move", "move", "leave"])
        page.choose("#rule-folder", "Mailbox/Old")
        page.click("#rule-keep")
        self.assertEqual((self.decided(MINUTES), self.decided(ROPE)), (["move", "move", "keep", "leave"], ["leave", "keep"]))
        page.click(f"#{MINUTES}i1leave")
        page.click(f"#{ROPE}i0move")
        (plan, ann) = (f"g{title}" for title in (3, 4))
        self.assertEqual([page.text(f"#{card} h3").split(" · ")[0] for card in (plan, ann)], ["Plan", "Ann Hale"])
        page.click(f"#{plan}treat")
        page.click(f"#{plan}i1keep")
        self.assertIn("4 items of 4 groups would be moved", page.text("#summary"))
        decisions = self.save()
        self.assertEqual([group["found"] for group in decisions["groups"]], ["duplicates"] * 3 + ["near"], "what is not decided is not in it")
        before = inventory(self.read())
        out = self.clean("--plan", "plan.json")
        plan_file = json.loads((self.dir / "plan.json").read_text())
        self.assert_valid(plan_file, "plan")
        self.assertEqual(inventory(self.read()), before, "a dry run")
        moves = {(group["keep"]["place"], item["place"]) for group in plan_file["groups"] for item in group["duplicates"] if item["move"]}
        self.assertEqual(moves, {("Mailbox/Old#1", "Mailbox/In<b>ox#1"), ("Mailbox/In<b>ox#3", "Mailbox/In<b>ox#4")})
        self.assertRegex(out, "left alone: Rope in Mailbox/In<b>ox#5 holds what the kept copy lacks: ")
        self.assertIn("left alone: Plan in Mailbox/In<b>ox#6 holds what the kept copy lacks: Sent", out)
        self.clean("--yes", "--allow-loss", "--undo-file", "undo.jsonl")
        folders = {one["properties"]["3001001F"]: [item["id"][-2:] for item in one["items"]] for one in self.read()["stores"][0]["root"]["folders"]}
        self.assertEqual({name: folders[name] for name in ("In<b>ox", "Old", "Safe")}, {"In<b>ox": ["02", "03", "07"], "Old": ["08", "09"], "Safe": ["0A"]})
        self.assertEqual(len(folders["Duplicates"]), 4)
        self.run_program("clean", "--undo", "undo.jsonl", status=0)
        self.assertEqual(inventory(self.read()), before)

    def test_decisions_are_merged(self) -> None:
        """Equal groups, near pairs and resembling contacts: what was chosen of two values stays, nobody goes for whom nobody chose, and undo
        gives all back."""
        self.write(PEOPLE)
        self.run_program(*SCAN[:3], "--keep", "first", *SCAN[5:], status=1)
        both, lund = (tuple(f"g{group}i{n}move" for n in (1, 2)) for group in (0, 1))
        rows = self.page.read_text(encoding="utf-8").split("<noscript>")[1].split("</table>")[0]
        self.assertEqual(dict(re.findall(r'row">([\w ]+).*<td>(.*)</td></tr>', rows))["Birthday"], "3", "which copy it comes from, without scripts")
        for what, clicks, chosen, moved, kept, holds in (
            ("nobody chose", both, 0, 0, 1, {NICKNAME: "Bob"}),
            ("the kept copy's", (*both, "g0c0v0"), 1, 2, 1, {NICKNAME: "Bob", BODY: "Met in Oslo", BIRTHDAY: BORN}),
            ("one duplicate's", (*both, "g0c0v1"), 1, 2, 1, {NICKNAME: "Bo", BODY: "Met in Oslo", BIRTHDAY: BORN}),
            ("chosen, and not any more", (*both, "g0c0v1", "g0c0v"), 0, 0, 1, {NICKNAME: "Bob"}),
            ("the kept copy is another", (*both, "g0i1keep", "g0c0v0"), 1, 2, 2, {NICKNAME: "Bob", BODY: "Met in Oslo"}),
            ("and its own", (*both, "g0c0v1", "g0i1keep"), 1, 2, 2, {NICKNAME: "Bo", BIRTHDAY: BORN}),
            ("the chosen copy stays", (*both, "g0c0v1", "g0i1leave"), 0, 0, 1, {NICKNAME: "Bob"}),
            ("another copy stays", ("g0i1move", "g0c0v1"), 1, 1, 1, {NICKNAME: "Bo", BODY: "Met in Oslo"}),
            ("a near pair", ("g2treat", "g2c0v1"), 1, 1, 4, {COMPANY: "Harbour Ltd", NICKNAME: "Ann"}),
            ("a near pair, the kept copy's", ("g2treat", "g2c0v0"), 1, 1, 4, {COMPANY: "Quay Ltd", NICKNAME: "Ann"}),
            ("resembling ones", ("g5treat", "g5c0v1"), 1, 1, 6, {COMPANY: "Pier Ltd", HOME: "555 0100", HOME2: "555 0199"}),
            ("what nobody was shown", (*lund, "g1c0v2", "g1c1v2", "g1c2v0"), 3, 2, 8, {HOME: "777 8888", HOME2: "333 4444", TITLE: "Hand", HAS_PHOTO: True}),
            ("the chosen copy does not go", (*lund, "g1c0v2"), 1, 1, 8, {HOME: "111 2222", HOME2: "333 4444", TITLE: "Boss", HAS_PHOTO: True}),
            ("what one copy alone brings", ("g1i1move",), 0, 1, 8, {HOME: "111 2222", HOME2: "333 4444", TITLE: "Boss"}),
        ):
            with self.subTest(what):
                self.write(PEOPLE)
                page = self.open()
                for click in clicks:
                    page.click("#" + click)
                self.assertEqual(bool(page.texts(".choice")), "alone" not in what and clicks != both[:1])
                self.assertIn(f", {chosen} chosen." if page.texts(".choice") else "moved", page.text("#summary"))
                decisions, said = self.save(), page.text("#summary")
                page.run("document.querySelectorAll('.fold').forEach(one => { one.open = true; })")
                page.until(lambda page=page: page.texts("#g5 td:last-child"), "the values")
                self.assertEqual([text for text in page.texts("#g2 td:last-child") if text], ["1", "1", "2, not 1" if "g2c0v1" in clicks else "1, not 2"])
                page.click(f"#g0i{2 - ('g0i1keep' in clicks)}keep")
                page.find("#load").send_keys(str(self.dir / "decisions.json"))
                page.accept_leaving()
                page.until(lambda page=page: page.text("#status") == "Loaded decisions.json.", "the decisions that were saved")
                self.assertEqual((page.text("#summary"), self.save()), (said, decisions), "loaded, and saved again")
                if chosen:
                    self.assert_refused("clean", "--from", "decisions.json", "--merge", because="--merge=ask follows them")
                dry = self.clean("--merge=ask")
                self.assertEqual((dry.count("would move: "), dry.count("not followed: the choice of Home")), (moved, int("does not go" in what)))
                (self.dir / "undo.jsonl").unlink(missing_ok=True)
                self.assertEqual(self.clean("--merge=ask", "--yes", "--undo-file", "undo.jsonl").count("\nmoved: "), moved)
                own = items(self.read())[f"{0xD1000000 + kept:016X}"]["properties"]
                self.assertEqual({key: own.get(key) for key in holds}, holds)
                if moved:
                    self.run_program("clean", "--undo", "undo.jsonl", status=0)
                self.assertEqual(settled(self.read()), settled(PEOPLE))

    def test_no_item_goes_twice_and_none_that_another_group_rests_on(self) -> None:
        """Two near pairs share the copy that a group keeps."""
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1), mail(2), mail(3, properties=LATER), mail(4, properties={SENT: "2024-03-05T10:15:00Z"})])))
        self.run_program(*SCAN[:3], *SCAN[5:], status=1)
        page = self.open()
        self.assertGreater(len(self.titles()), 2)
        page.click("#g1treat")
        page.click("#g1i1keep")
        self.assertEqual(self.decided("g1"), ["keep", "move"], "the first group rests on it")
        self.assertIn("is the copy that is kept in another group", page.text("#status"))
        self.save()
        self.assertIn("holds what the kept copy lacks: Sent", self.clean())
        self.assertIn("2 items would be moved", self.clean("--allow-loss"))
        page.click("#g0i1leave")
        page.click("#g1i0move")
        self.save()
        self.assertIn("1 item would be moved", self.clean("--allow-loss"), "nothing rests on what a group keeps that moves nothing")
        # Two pairs keep one contact: once it was completed from the one, it is not what was decided about with the other.
        self.write(mailbox(folder(1, "People", "IPF.Contact", [
            contact(1, "Voss"), *(contact(n, "Voss", properties={COMPANY: f"Pier {n} Ltd", place: "555 0100"}) for n, place in ((2, HOME), (3, NICKNAME)))])))
        self.run_program(*SCAN[:3], "--keep", "first", *SCAN[5:], status=0)
        page = self.open()
        for card in ("g0", "g1"):
            page.click(f"#{card}treat")
            page.click(f"#{card}c0v0")
        self.save()
        for arguments, status, moved in ((), 0, "1 item would be moved"), (("--yes",), 3, "1 item moved"):
            out = self.clean("--merge=ask", *arguments, status=status)
            self.assertIn(moved, out)
            self.assertEqual(out.count("stays: another group completes the copy that is kept"), 1, out)

    @unittest.skipUnless(BIN == ROOT / "build" / "release" / "bin", "./run builds there")
    def test_files_are_cleaned_as_decided(self) -> None:
        """./run as a whole: look, decide, clean, undo; one mail moves that the scan would have kept, and nothing else."""
        mails = self.dir / "mails"
        for name, subject in (("a.eml", "Boats"), ("b.eml", "Boats"), ("c.eml", "Rope"), ("d.eml", "Rope")):
            mails.mkdir(exist_ok=True)
            (mails / name).write_text(f"From: ann@example.org\nTo: bob@example.org\nSubject: {subject}\nDate: Mon, 4 Mar 2024 08:15:00 +0000\n\nHello.\n")

        def run(*arguments: str) -> str:
            done = subprocess.run([ROOT / "run", *arguments], cwd=self.dir, capture_output=True, text=True, timeout=600, check=False)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            return done.stdout

        def files() -> list[str]:
            return sorted(str(path.relative_to(self.dir)) for path in self.dir.rglob("*.eml"))

        before = files()
        run("mails")
        self.page = ROOT / "build" / "run" / "report.html"
        page = self.open()
        rope = next(n for n, title in enumerate(self.titles()) if title == "Rope")
        page.click(f"#g{rope}i1keep")
        page.click(f"#g{1 - rope}i1leave")
        self.save()
        self.assertIn("1 duplicate would be moved", run("--clean", "--from", "decisions.json", "mails"))
        self.assertEqual(files(), before, "a dry run")
        run("--clean", "--yes", "--from", "decisions.json", "mails")
        self.assertEqual(files(), ["Duplicates/mails/c.eml", "mails/a.eml", "mails/b.eml", "mails/d.eml"])
        run("--undo", str(next(self.dir.glob("*.journal"))))
        self.assertEqual(files(), before)

    def test_what_is_not_as_the_page_wrote_it_is_refused_whole(self) -> None:
        self.open().click("#g4treat")
        self.browser.click("#g4c0v1")
        decisions = self.save()
        before = self.box.read_bytes()

        def item(change: dict, group: int = 0, number: int = 1) -> Callable[[dict], object]:
            return lambda file: file["groups"][group]["items"][number].update(change)

        def conflict(change: dict) -> Callable[[dict], object]:
            return lambda file: file["groups"][3]["conflicts"][0].update(change)

        other = {**decisions["groups"][2]["items"][0], "decision": "move"}
        table: list[tuple[str, Callable[[dict], object], str]] = [
            ("nothing is kept", item({"decision": "leave"}, number=0), "group 1 (Minutes): nothing of it is kept"),
            ("two are kept", item({"decision": "keep"}), "group 1 (Minutes): more than one copy"),
            ("no decision", item({"decision": "delete"}), "group 1 (Minutes): item 2 (Minutes) is to be neither"),
            ("an item of another group", item(other), "group 1 (Minutes): it is not what the scan found"),
            ("an item that is nowhere", item({"entryId": "00000000C10000FF"}), "group 1 (Minutes): it is not what the scan found"),
            ("other values", item({"values": "0" * 16}, 2), "group 3 (Rope): it is not what the scan found"),
            ("out of a protected folder", item({"decision": "move"}, number=3), "group 1 (Minutes): item 4 (Minutes) is to move out of a protected folder"),
            ("and not said to be", item({"decision": "move", "protected": False}, number=3), "group 1 (Minutes): it is not what the scan found"),
            ("an item less", lambda file: file["groups"][0]["items"].pop(), "group 1 (Minutes): it is not what the scan found"),
            ("a group less", lambda file: file["groups"].pop(2), "groups that the scan found are missing"),
            ("a group twice", lambda file: file["groups"].append(file["groups"][0]), "groups that the scan found are missing"),
            ("another scan", lambda file: file.update(scan="0" * 16), "group 1 (Minutes): it is not what the scan found"),
            ("compared otherwise", lambda file: file["definitions"][0].update(attachments=False), "how it was asked for was changed"),
            ("found otherwise", lambda file: file["groups"][0].update(found="near"), "group 1 (Minutes): it is not what the scan found"),
            ("another version", lambda file: file.update(version=2), "of this version"),
            ("a value of nobody", conflict({"choice": 3}), "group 4 (Ann Hale): conflict 1 (Company) names a copy that is not in the group"),
            ("a value of none", conflict({"choice": 0}), "group 4 (Ann Hale): conflict 1 (Company) is not as the page wrote it"),
            ("a value that stays", item({"decision": "leave"}, 3), "group 4 (Ann Hale): conflict 1 (Company) is chosen of a copy that does not move"),
            ("a value that is not named", lambda file: file["groups"][3]["conflicts"][0]["values"].pop(), "conflict 1 (Company) is chosen of a copy that does not conflict"),
            *((f"no choice: {value!r}", conflict({"choice": value}), "conflict 1 (Company) is not as the page wrote it")
              for value in ("Quay Ltd", True, 1.5, 2**32 + 1, 1 - 2**32, None)),
            ("no number", item({"number": 2**32 + 2}), "group 1 (Minutes): item 2 (Minutes) is not as the page wrote it"),
            ("of another property", conflict({"property": "3A4F"}), "group 4 (Ann Hale): it is not what the scan found"),
            ("of another value", lambda file: file["groups"][3]["conflicts"][0]["values"][1].update(value="Pier Ltd"), "group 4 (Ann Hale): it is not what"),
            ("where there is no conflict", lambda file: file["groups"][0].update(conflicts=file["groups"][3]["conflicts"]), "group 1 (Minutes): it is not what"),
            ("a conflict less", lambda file: file["groups"][3].pop("conflicts"), "group 4 (Ann Hale): it is not what the scan found"),
            ("no items", lambda file: file["groups"][0].pop("items"), "group 1: it is not as the page wrote it"),
            ("no identifier", lambda file: file["groups"][0]["items"][1].pop("storeId"), "group 1 (Minutes): item 2 (Minutes) is not as"),
        ]
        # What the page itself refuses to load.
        here = {"nothing is kept": "Group 1 of the file is not as", "two are kept": "Group 1 of the file", "no decision": "Group 1 of the file",
                "an item of another group": "Group 1 of the file", "out of a protected folder": "Group 1 of the file", "an item less": "Group 1 of the file",
                "a group less": "The file lacks groups", "a group twice": "Group 5 of the file", "another scan": "These decisions are of another scan",
                "another version": "no file of decisions of this version", "a value of nobody": "Group 4 of the file", "of another property": "Group 4 of the file"}
        summary = self.browser.text("#summary")
        for what, change, because in table:
            with self.subTest(what):
                file = json.loads(json.dumps(decisions))
                change(file)
                (self.dir / "decisions.json").write_text(json.dumps(file))
                self.assert_refused("clean", "--from", "decisions.json", "--yes", because=because)
                self.assertIn("nothing was moved", self.err)
                self.assertEqual(self.box.read_bytes(), before)
                if what in here:
                    self.browser.find("#load").send_keys(str(self.dir / "decisions.json"))
                    self.browser.until(lambda said=here[what]: said in self.browser.text("#status"), here[what])
                    self.assertEqual(self.browser.text("#summary"), summary, "nothing was loaded")
        (self.dir / "decisions.json").write_text(json.dumps(decisions))
        box = json.loads(json.dumps(BOX))
        del box["stores"][0]["root"]["folders"][2]["items"][0]
        self.write(box)
        self.assert_refused("clean", "--from", "decisions.json", "--merge=ask", "--yes", because="in group 1 (Minutes), Minutes in Mailbox/Safe#1, which is not there")
        self.assertEqual(inventory(self.read()), inventory(box))

    def test_pairs_are_held_against_what_was_recorded(self) -> None:
        """What changed since without a trace in the time of its change is seen all the same."""
        self.open().click("#g3treat")
        self.browser.click("#g4treat")
        self.save()
        for what, changed, said in (
            ("nothing", lambda items: None, None),
            ("the kept one", lambda items: items[5]["properties"].update({"00360003": 2}), "the copy that is kept does not hold what the report recorded"),
            ("the one that moves", lambda items: items[6]["properties"].update({"00360003": 2}), "Plan in Mailbox/In<b>ox#7 does not hold what the report recorded"),
            ("a recipient", lambda items: items[6]["recipients"][0].update({"3003001F": "ann@example.org"}), "#7 does not hold what the report recorded"),
            ("by its time", lambda items: items[6]["properties"].update({MODIFIED: "2025-03-04T10:15:00Z"}), "#7 changed since the scan"),
        ):
            with self.subTest(what):
                box = json.loads(json.dumps(BOX))
                changed(box["stores"][0]["root"]["folders"][0]["items"])
                self.write(box)
                out = self.clean("--allow-loss")
                self.assertIn(said or "would move: Plan in Mailbox/In<b>ox#7", out)
                self.assertEqual("would move: Plan" in out, said is None, out)

    def test_the_line_that_makes_pairs_duplicates(self) -> None:
        page = self.open()
        page.click("#g3 .apart summary")
        line = json.loads(page.text("#g3 code"))
        definitions = json.loads(self.run_program("scan", "--show-definitions", "--kind", "mail", status=0, box=False))
        self.assertIn(line["property"], [one["property"] for one in definitions["properties"]])
        definitions["properties"] = [line if one["property"] == line["property"] else one for one in definitions["properties"]]
        (self.dir / "mine.json").write_text(json.dumps(definitions))
        self.assertIn(["In<b>ox#6", "In<b>ox#7"], self.groups(self.scan("--definitions", "mine.json", status=1)))

    @release_only
    def test_by_keyboard_alone(self) -> None:
        page = self.open()
        page.press("j", "j", "k")
        self.assertEqual(page.run("return document.activeElement.id"), "g0")
        page.press("3")
        self.assertEqual(self.decided(MINUTES), ["move", "move", "keep", "leave"])
        page.press("l")
        self.assertEqual(self.decided(MINUTES), ["leave", "leave", "keep", "leave"])
        page.press("m")
        self.assertEqual(self.decided(MINUTES), ["move", "move", "keep", "leave"])
        page.press("v")
        self.assertIn("All present.", page.text(f"#{MINUTES} .values"))
        page.press("j", "j", "j", "d")
        self.assertEqual(self.decided("g3"), ["keep", "move"])
        page.press("j", "d", "c", Keys.ARROW_DOWN)
        self.assertIn("2 conflicts of merging, 1 chosen", page.text("#summary"))
        page.press("c", Keys.ARROW_DOWN)
        self.assertEqual(page.text("#g4 .choice :checked + span"), "Harbour Ltd Mailbox/Contacts#2")
        page.press(Keys.TAB, Keys.TAB)
        page.press("/", *"rope")
        page.until(lambda: self.titles() == ["Rope"], "the filter by keyboard")
        for _ in range(40):
            page.press(Keys.TAB)
            if page.run("return document.activeElement.id") == "save":
                break
        self.assertEqual(page.run("return document.activeElement.id"), "save", "Tab comes to everything")

    @release_only
    def test_narrow_dark_and_printed(self) -> None:
        for width in (1200, 400):
            for scheme in ("light", "dark"):
                with self.subTest(width=width, scheme=scheme):
                    page = self.open(width)
                    page.size(width, scheme=scheme)
                    page.click("#g4treat")
                    page.run("document.getElementById('folders').open = true; document.querySelectorAll('.fold').forEach(one => { one.open = true; })")
                    self.assertLessEqual(page.run("return document.documentElement.scrollWidth"), width, "nothing reaches beyond the screen")
                    for name, ratio in page.run(CONTRASTS).items():
                        self.assertGreaterEqual(ratio, 4.5, f"{name} can hardly be read")
                    for row, name, bar, number in page.run(BOXES) if width == 400 else []:
                        self.assertGreaterEqual(bar[1], max(name[3], number[3]) - 1, "the bar is below the name and the count")
                        self.assertLess(abs((bar[2] - bar[0]) - (row[2] - row[0])), 2, "the bar has the full width")
        self.open().click("#g4treat")
        (self.dir / "page.pdf").write_bytes(self.browser.pdf())
        text = subprocess.run(["pdftotext", self.dir / "page.pdf", "-"], capture_output=True, text=True, check=True).stdout
        self.assertIn("Nine fathoms.", text, "values are unfolded")
        self.assertIn("which Company stays", text)
        self.assertNotIn("Save decisions", text)

    @release_only
    def test_a_page_of_ten_thousand_groups_is_made_as_it_is_looked_at(self) -> None:
        """What the browser holds depends on what is seen, the file on what was found; without scripts it is there as well."""
        nodes, seen = {}, {}
        for groups in (100, 10_000):
            self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(n, subject=f"Mail {n // 2}") for n in range(2 * groups)])))
            self.run_program("scan", "--format", "html", "--output", "report.html", status=1)
            page = self.open()
            self.assertIn(f"{groups:,} groups", page.text("#found"))
            page.type("#filter-text", f"mail {groups - 1}")
            page.until(lambda: self.titles() == [f"Mail {groups - 1}"], "the last group")  # noqa: B023
            page.type("#filter-text", "")
            page.until(lambda: len(self.titles()) > 1, "all again")
            page.run("scrollTo(0, document.body.scrollHeight)")
            page.until(lambda: page.run("return document.getElementById(`g${arguments[0]}`) !== null", groups - 1), "the end of the list")  # noqa: B023
            page.until(lambda: page.run("return document.getElementById('g0') === null"), "what is far away goes")
            nodes[groups] = page.run("return document.querySelectorAll('*').length")
            text = self.page.read_text(encoding="utf-8")
            seen[groups] = len(re.search(r'id="data">(.*?)</script>', text, re.S)[1].encode()) / groups  # type: ignore[index]
            self.assertEqual(text.split("<noscript>")[1].split("</noscript>")[0].count("<table>"), min(groups, 2000))
        self.assertLess(nodes[10_000], 2 * nodes[100] + 400, "rows are made when they come into view")
        self.assertLess(seen[10_000], 300, "bytes of a group beside its values")

    @release_only
    def test_without_scripts(self) -> None:
        text = html.unescape(self.page.read_text(encoding="utf-8").split("<noscript>")[1].split("</noscript>")[0])
        for part in ("Kept: Mailbox/In<b>ox#1", "differ in <b>Sent</b>", "Contacts that resemble one another", "Nine fathoms.", HOSTILE):
            self.assertIn(part, text)

    @release_only
    def test_a_script_that_fails_leaves_a_report_to_read(self) -> None:
        self.page.write_text(self.page.read_text(encoding="utf-8").replace('{"scan":', '{"scan', 1), encoding="utf-8")
        self.assertIn("Kept: Mailbox/In<b>ox#1", self.open().run("return document.querySelector('#list').textContent"))


BOXES = """return [...document.querySelectorAll('.bars .row')].map(
    row => [row, ...row.children].map(e => { const b = e.getBoundingClientRect(); return [b.left, b.top, b.right, b.bottom]; }))"""

# Contrast of texts with what is behind them, as accessibility guidelines reckon it.
CONTRASTS = """
    const channels = color => color.match(/[0-9.]+/g).map(Number);
    const light = ([r, g, b]) => [r, g, b].map(c => c / 255).map(c => c <= .03928 ? c / 12.92 : ((c + .055) / 1.055) ** 2.4)
        .reduce((sum, c, i) => sum + c * [.2126, .7152, .0722][i], 0);
    function behind(e) { for (; e; e = e.parentElement) { const c = channels(getComputedStyle(e).backgroundColor); if (c[3] !== 0) return c; } return [255, 255, 255]; }
    const found = {};
    for (const selector of ['body', '.soft', '.card h3', '.card .about', '.switch .keep input:checked + span', '.switch .move input:checked + span',
                            '.switch .leave input:checked + span', '.switch .move input:not(:checked):enabled + span', '#save', '.differs td', '.role.keep', 'kbd', '#controls label', '.choice legend', '.choice label', '.choice label .soft']) {
        const element = document.querySelector(selector);
        if (!element) throw new Error(selector + ' is not there');
        const [a, b] = [light(channels(getComputedStyle(element).color)), light(behind(element))].sort((x, y) => y - x);
        found[selector] = (a + .05) / (b + .05);
    }
    return found;"""


if __name__ == "__main__":
    unittest.main()
