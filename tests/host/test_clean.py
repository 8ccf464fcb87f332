"""clean and undo: nothing is lost, whatever happens on the way."""

from __future__ import annotations

import json
import os
import signal
import time
import unittest
import unittest.mock

from support import MODIFIED, HostTest, attachment, folder, inventory, mail, mailbox, release_only

KEY = "300B0102"


def one(number: int, subject: str, key: str) -> dict:
    """A mail that differs from its equals in when it was changed."""
    return mail(number, subject=subject, properties={KEY: key, MODIFIED: f"2024-03-04T09:00:{number:02}Z"})


# Two groups of three and one of two, in two folders, and a mail of its own. Each group has one search key, as real copies
# do; so has a mail that an earlier run moved.
BOX = mailbox(
    folder(1, "Inbox", "IPF.Note", [one(1, "Minutes", "AAAA"), one(2, "Minutes", "AAAA"), one(3, "Rope", "BBBB"),
                                    one(4, "Alone", "CCCC"), one(8, "Buoy", "DDDD"), one(9, "Buoy", "DDDD")]),
    folder(2, "Old", "IPF.Note", [one(5, "Minutes", "AAAA"), one(6, "Rope", "BBBB"), one(7, "Rope", "BBBB")]),
    folder(3, "Duplicates", "IPF.Quorvel.Duplicates", [one(10, "Minutes", "AAAA")]),
)
MOVES = 5


class Clean(HostTest):
    def setUp(self) -> None:
        super().setUp()
        self.write(BOX)
        self.undo = self.dir / "undo.jsonl"

    def assert_as_before(self, why: str, box: dict = BOX) -> None:
        self.assertEqual(inventory(self.read()), inventory(box), why)

    def report(self) -> dict:
        """What a scan says, also in r.json."""
        self.run_program("scan", "--format", "json", "--output", "r.json", status=1)
        return json.loads((self.dir / "r.json").read_text())

    def clean(self, *arguments: str, status: int = 0) -> str:
        self.undo.unlink(missing_ok=True)
        return self.run_program("clean", "--yes", "--undo-file", "undo.jsonl", *arguments, status=status)

    def undo_with(self, content: bytes, status: int = 0) -> str:
        self.undo.write_bytes(content)
        return self.run_program("clean", "--undo", "undo.jsonl", status=status)

    def test_does_nothing_without_yes(self) -> None:
        before = self.box.read_bytes()
        out = self.run_program("clean", status=0)
        self.assertEqual(out.count("would move: "), MOVES)
        self.assertEqual(self.box.read_bytes(), before)

    def test_moves_duplicates_and_puts_them_back(self) -> None:
        fresh = json.loads(json.dumps(BOX))
        fresh["stores"][0]["root"]["folders"].pop()
        # As a run leaves it that ends between making the folder and saying what it is for.
        unfinished = json.loads(json.dumps(fresh))
        unfinished["stores"][0]["root"]["folders"].append(folder(3, "Duplicates", "", []))
        for what, box, earlier, stays in (("with a folder of its own", fresh, 0, False), ("behind an earlier run", BOX, 1, True),
                                          ("with a folder of no class", unfinished, 0, True)):
            with self.subTest(what):
                self.write(box)
                self.report()
                out = self.clean("--from", "r.json")
                self.assertRegex(out, r"^to undo: quorvel --mailbox \S+ clean --undo undo.jsonl\nmoved: ")
                self.assertEqual((out.count("moved: "), f"\n{MOVES} items moved to " in out), (MOVES, True), out)
                counts = {f["properties"]["3001001F"]: len(f.get("items", [])) for f in self.read()["stores"][0]["root"]["folders"]}
                self.assertEqual(counts, {"Inbox": 4, "Old": 0, "Duplicates": MOVES + earlier})
                self.assertEqual(self.scan(status=0)["groups"], [], "the folder of duplicates is not scanned again")
                for turn, count in (("a first", MOVES), ("a second", 0)):
                    self.assertIn(f"{count} items put back", self.run_program("clean", "--undo", "undo.jsonl", status=0), turn)
                    self.assert_as_before(f"{turn} undo", box)
                names = [f["properties"]["3001001F"] for f in self.read()["stores"][0]["root"]["folders"]]
                self.assertEqual("Duplicates" in names, stays, "the folder that the run made goes again, no other")

    def states(self) -> list[tuple[str, bytes, list[bytes]]]:
        """The mailbox after each move in turn, on a platform that saves each at once, with that run's undo file."""
        report = self.report()
        self.clean("--from", "r.json")
        order = [line["move"]["entryId"] for line in map(json.loads, self.undo.read_text().splitlines()) if "move" in line]
        self.assertEqual(len(order), MOVES)
        states = []
        for done in range(MOVES + 1):
            self.write(BOX)
            part = json.loads(json.dumps(report))
            for group in part["groups"]:
                group["duplicates"] = [item for item in group["duplicates"] if item["entryId"] in order[:done]]
            (self.dir / "part.json").write_text(json.dumps(part))
            self.clean("--from", "part.json") if done else None
            states.append((f"{done} moves", self.box.read_bytes(), self.undo.read_bytes().splitlines(keepends=True) if done else []))
        return states

    @release_only
    def test_undo_after_an_end_at_every_step(self) -> None:
        """The program ends behind each line of the undo file, or within it, and behind each move."""
        def is_move(line: bytes) -> bool:
            return line.startswith(b'{"move":')

        states = self.states()
        whole = states[-1][2]
        # Up to where a run learns new identifiers, which are its own, the file of the whole run serves for each state.
        ends = [i + 1 for i, line in enumerate(whole) if is_move(line) and not any(b'"moved"' in earlier for earlier in whole[:i])]
        self.assertEqual(len(ends), MOVES - 1, "one item moves in a second round: a copy in another folder has its search key")
        for done, (name, box, lines) in enumerate(states):
            # Behind the line of the last move, or of the one that was to follow; or with that run's own lines, cut anywhere.
            files = {f"{count} lines of the whole run": whole[:count] for count in (1, ends[0] - 1, *ends)[done + 1 if done else 0:done + 3]}
            last = max((i for i, line in enumerate(lines) if is_move(line)), default=-1) + 1
            files |= {f"{count} of its lines": lines[:count] for count in range(last, len(lines) + 1) if done}
            files |= {f"{count} of its lines and half of one": [*lines[:count], lines[count][:9]] for count in range(last, len(lines)) if done}
            for what, content in files.items():
                with self.subTest(state=name, undo=what):
                    self.box.write_bytes(box)
                    self.assertIn(f"{done} item{'' if done == 1 else 's'} put back", self.undo_with(b"".join(content)))
                    self.assert_as_before(f"{name}, undo file of {what}")
                    self.assertIn("0 items put back", self.run_program("clean", "--undo", "undo.jsonl", status=0), "a second undo")
        for count in range(1, len(whole) + 1):
            with self.subTest("moves that were never saved", lines=count):
                self.write(BOX)
                self.assertIn("0 items put back", self.undo_with(b"".join(whole[:count])))
                self.assert_as_before(f"the old mailbox, {count} lines of the undo file")

    @release_only
    def test_killed_at_every_write(self) -> None:
        """The run and the undo of it, killed before each byte of the undo file and of the mailbox, then undone (again)."""
        self.clean()
        moved, undo = self.box.read_bytes(), self.undo.read_bytes()
        lines = undo.count(b"\n")
        for arguments, least in ((("--yes", "--undo-file", "undo.jsonl"), lines), (("--undo", "undo.jsonl"), MOVES)):
            for file, call, times in (("undo.jsonl", "write", least), ("undo.jsonl", "fsync", 1), ("mailbox.json.quorvel-new", "write", 1),
                                      ("mailbox.json.quorvel-new", "fsync", 1)):
                killed, nth = True, 0
                while killed:
                    nth += 1
                    with self.subTest(arguments=arguments, file=file, call=call, nth=nth):
                        self.write(BOX) if "--yes" in arguments else self.box.write_bytes(moved)
                        self.undo.unlink() if "--yes" in arguments else self.undo.write_bytes(undo)
                        self.box.chmod(0o600)
                        killed = self.killed(call, nth, file, "clean", *arguments)
                        modes = {oct(path.stat().st_mode & 0o777) for path in self.dir.glob("mailbox.json*") if path.stat().st_size}
                        self.assertEqual(modes, {"0o600"}, "others can read the mailbox, or what is to become it")
                        self.run_program("clean", "--undo", "undo.jsonl", status=0)
                        self.assert_as_before("killed and undone")
                        self.assertEqual([path.name for path in self.dir.iterdir()], ["mailbox.json", "undo.jsonl"], "left behind")
                if "--yes" in arguments or call == "write":
                    self.assertGreater(nth, times, "the kills do not strike")

    def test_not_saved(self) -> None:
        """The mailbox cannot be written: one sentence, exit status 2, and an undo file that says that nothing happened."""
        (self.dir / "mailbox.json.quorvel-new").mkdir()
        before = self.box.read_bytes()
        self.clean(status=2)
        self.assertIn("quorvel: Nothing was moved: ", self.err)
        self.assertEqual((self.err.count("\n"), "items moved to" in self.out), (1, False), self.err)
        self.assertEqual(self.box.read_bytes(), before)
        self.assertEqual(json.loads(self.undo.read_text().splitlines()[-1])["end"], "nothing was saved")
        (self.dir / "mailbox.json.quorvel-new").rmdir()
        self.assertIn("0 items put back", self.run_program("clean", "--undo", "undo.jsonl", status=0))
        self.clean()
        moved = self.box.read_bytes()
        (self.dir / "mailbox.json.quorvel-new").mkdir()
        self.assert_refused("clean", "--undo", "undo.jsonl", because="Nothing was put back: ")
        self.assertEqual(self.box.read_bytes(), moved)
        (self.dir / "mailbox.json.quorvel-new").rmdir()
        self.run_program("clean", "--undo", "undo.jsonl", status=0)
        self.assert_as_before("an undo that could be saved")

    def test_changed_items_are_left_alone_and_named(self) -> None:
        """Exit status 3 when some items were left alone, 2 when all were."""
        self.report()
        inbox, old = (f["items"] for f in self.read()["stores"][0]["root"]["folders"][:2])
        cases = (
            ("a duplicate changed", {2}, [], 3, "left alone: Minutes in Mailbox/Inbox#2 changed since the scan"),
            ("a kept copy changed", {3}, [], 3, "left alone: Rope in Mailbox/Old#2 stays: the copy that is kept changed since the scan"),
            ("a duplicate is gone", set(), [7], 3, "left alone: Rope in Mailbox/Old#3 is not there any more"),
            ("all changed", {1, 3, 8}, [], 2, "stays: the copy that is kept changed"),
        )
        for what, changed, gone, status, said in cases:
            with self.subTest(what):
                box = json.loads(json.dumps(BOX))
                for one_folder in box["stores"][0]["root"]["folders"]:
                    one_folder["items"] = [item for item in one_folder["items"] if int(item["id"][-2:], 16) not in gone]
                    for item in one_folder["items"]:
                        if int(item["id"][-2:], 16) in changed:
                            item["properties"][MODIFIED] = "2025-01-01T00:00:00Z"
                self.write(box)
                self.assertIn(said, self.run_program("clean", "--from", "r.json", status=None), "a dry run")
                out = self.clean("--from", "r.json", status=status)
                self.assertIn(said, out)
                self.assertEqual(" not\n" in out, True, out)
                if self.undo.exists():
                    self.run_program("clean", "--undo", "undo.jsonl", status=0)
                self.assertEqual(inventory(self.read()), inventory(box), "an undo of what moved")
        self.assertEqual((len(inbox), len(old)), (6, 3))
        # Both are looked at when the run begins, and once more right before the one moves.
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", inbox[:2])))
        self.report()
        self.use_faulty_mailbox()
        for nth in range(1, 5):
            with self.subTest(look=nth), unittest.mock.patch.dict(os.environ, QUORVEL_TEST_FAULT=f"IMAPIProp::GetProps {MODIFIED} {nth} 1"):
                self.assertIn(" changed since the scan\n0 items moved", self.clean("--from", "r.json", status=None))

    def test_reports_that_contradict_themselves(self) -> None:
        report = self.report()
        minutes, rope = (next(g for g in report["groups"] if g["keep"]["title"] == title) for title in ("Minutes", "Rope"))
        moved = {"fate": "move", "losses": []}
        turned = {**minutes, "keep": minutes["duplicates"][0], "duplicates": [{**minutes["keep"], **moved}, *minutes["duplicates"][1:]]}
        lower = {**rope, "keep": {**rope["keep"], "entryId": rope["keep"]["entryId"].lower()}, "duplicates": []}
        chained = {**rope, "duplicates": [{**lower["keep"], **moved}], "keep": minutes["keep"]}
        for what, groups in (("a group turned round", [minutes, turned]), ("a kept item is moved by another group", [chained, rope]),
                             ("one item twice", [minutes, minutes])):
            with self.subTest(what):
                self.write(BOX)
                before = self.box.read_bytes()
                (self.dir / "edited.json").write_text(json.dumps({**report, "groups": groups}))
                self.assert_refused("clean", "--from", "edited.json", "--yes", because="contradicts itself")
                self.assertEqual(self.box.read_bytes(), before)

    def test_edited_reports_move_what_is_certain(self) -> None:
        """Each duplicate is held against the kept copy once more, by all that makes a scan move it."""
        box = json.loads(json.dumps(BOX))
        inbox = box["stores"][0]["root"]["folders"][0]["items"]
        for item, more in ((inbox[4], {"10F4000B": True}), (inbox[5], {"00360003": 2})):  # each of the buoys has something of its own
            item["properties"].update(more)
        inbox.append(mail(12, subject="Rope", properties={KEY: "BBBB"}, attachments=[attachment("a.txt", "AAAA")]))
        self.write(box)
        report = self.report()
        places = {(group["keep"]["title"], i): item for group in report["groups"] for i, item in enumerate(group["duplicates"])}
        alone, attached = ({**places["Minutes", 0], "entryId": f"{0xC1000000 + n:016X}", "modified": f"2024-03-04T09:00:{s:02}.0000000Z"}
                           for n, s in ((4, 4), (12, 0)))
        for what, title, item, said in (
            ("an item of its own", "Minutes", alone, "is no duplicate of the copy that is kept"),
            ("a mail with an attachment", "Rope", attached, "is no duplicate of the copy that is kept"),
            ("what would be lost is left out", "Buoy", {**places["Buoy", 0], "fate": "move", "losses": []}, "holds what the kept copy lacks: "),
            ("an identifier in another form", "Minutes", {**places["Minutes", 0], "entryId": places["Minutes", 0]["entryId"] + "0"}, None),
            ("no word on what becomes of it", "Minutes", {k: v for k, v in places["Minutes", 0].items() if k != "fate"}, None),
        ):
            with self.subTest(what):
                groups = [{**group, "duplicates": [item]} for group in report["groups"] if group["keep"]["title"] == title]
                (self.dir / "edited.json").write_text(json.dumps({**report, "groups": groups}))
                self.run_program("clean", "--from", "edited.json", "--yes", status=2)
                self.assertIn(said or "is no JSON report", self.out + self.err)
                self.assert_as_before(what, box)
        # The copy that is kept would stand among the duplicates.
        self.assertIn("is where it would be moved to", self.clean("--from", "r.json", "--to", "Inbox", status=2))
        self.assertIn("is in the folder already", self.run_program("clean", "--from", "r.json", "--to", "Old", status=None))
        self.assert_as_before("moving to where copies are", box)
        self.run_program("scan", "--protect", "Old", "--format", "json", "--output", "protected.json", status=1)
        out = self.run_program("clean", "--from", "protected.json", "--allow-loss", status=0)
        self.assertEqual((out.count("would move: "), "would move: Rope" in out), (2, False), "what is protected stays, whatever may be lost")
        for arguments, because in ((("--from", "r.json", "--protect", "Old"), "--protect belongs to the scan"),
                                   (("--undo", "undo.jsonl", "--to", "Old"), "--to does not go with it"),
                                   (("--to", "  "), "no name for a folder"), (("--to", "a\x1b[2J"), "no name for a folder")):
            self.assert_refused("clean", "--yes", *arguments, because=because)
        self.assert_as_before("options that do not go together", box)

    def test_bad_files_move_nothing(self) -> None:
        report = self.report()
        foreign = json.dumps(report).replace("00000000A1A2A3A4", "00000000A1A2A3FF")
        self.clean()
        moved, lines = self.box.read_bytes(), self.undo.read_bytes().splitlines(keepends=True)
        swapped = [*lines[:2], lines[3], lines[2], *lines[4:]]
        edited = [line.replace(b"Inbox", b"Elsewhere") for line in lines]
        version1 = {name: "00000000FFFFFFFF" for name in ("entryId", "searchKey", "title", "folder", "folderId", "storeId", "targetFolderId")}
        files = {
            "other.jsonl": b'{"format":"quorvel-undo","version":1}\n' + json.dumps({"move": version1}).encode() + b"\n",
            "broken.jsonl": b'{"format":"quorvel-undo","version":1}\n{"mov\n{"moved":"00"}\n',
            "edited.jsonl": b"".join(edited), "swapped.jsonl": b"".join(swapped),
            "newer.jsonl": lines[0].replace(b"3", b"9") + b"".join(lines[1:]), "foreign.jsonl": b'{"format":"some',
            "r.json": b'{"groups": 7}', "foreign.json": foreign.encode(), "cut.json": json.dumps(report).encode()[:-40],
            "newer.json": json.dumps({**report, "version": 99}).encode(),
        }
        for name, content in files.items():
            (self.dir / name).write_bytes(content)
        for arguments, because in (
            (("--undo", "other.jsonl"), "belongs to another mailbox"), (("--undo", "broken.jsonl"), "broken.jsonl, line 2"),
            (("--undo", "edited.jsonl"), "not as it was written"), (("--undo", "swapped.jsonl"), "not as it was written"),
            (("--undo", "newer.jsonl"), "this version"), (("--undo", "foreign.jsonl"), "this version"),
            (("--undo", "missing.jsonl"), "cannot be read"), (("--from", "r.json", "--yes"), "is no JSON report"),
            (("--from", "none.json", "--yes"), "cannot be read"), (("--from", "foreign.json", "--yes"), "another mailbox"),
            (("--from", "cut.json", "--yes"), f'"cut.json", line 1, column {len(files["cut.json"]) + 1}: this is not JSON'), (("--from", "newer.json", "--yes"), "is no JSON report"),
        ):
            with self.subTest(arguments=arguments):
                self.assert_refused("clean", *arguments, because=because)
                self.assertEqual(self.box.read_bytes(), moved, "a refused call")

    def test_undo_names_what_it_does_not_put_back(self) -> None:
        """An item that is gone, another in its place, one whose like somebody else put there, and a file of version 1 with one identifier thrice."""
        self.clean()
        moved, lines = self.read(), self.undo.read_bytes().splitlines(keepends=True)

        def duplicates(box: dict) -> list[dict]:
            return box["stores"][0]["root"]["folders"][2]["items"]

        ids = [json.loads(line)["moved"]["newEntryId"] for line in lines if b'"moved"' in line]
        less, more, other, fewer = (json.loads(json.dumps(moved)) for _ in range(4))
        duplicates(less)[:] = [item for item in duplicates(less) if item["id"] != ids[0]]
        duplicates(more).append(one(11, "Buoy", "DDDD"))
        next(item for item in duplicates(other) if item["id"] == ids[0])["properties"][KEY] = "EEEE"
        duplicates(fewer).pop(0)
        for what, box, content, back, missing in (
            ("one is gone", less, lines, MOVES - 1, 1),
            ("what has the identifier of one is another", other, lines, MOVES - 1, 1),
            ("another of the key came, but all are known", more, lines, MOVES, 0),
        ):
            with self.subTest(what):
                self.write(box)
                out = self.undo_with(b"".join(content), status=2 if missing else 0)
                self.assertEqual((out.count("\nnot put back: ") + out.startswith("not put back: "), out.count("put back: ") - missing),
                                 (missing, back), out)
        self.write(moved)
        old = [b'{"format":"quorvel-undo","version":1}\n']
        for line in map(json.loads, lines):
            if "move" in line and line["move"]["searchKey"] == json.loads(lines[2])["move"]["searchKey"]:
                old += [json.dumps({"move": line["move"]}).encode() + b"\n", json.dumps({"moved": ids[0]}).encode() + b"\n"]
        self.assertIn("not put back: ", self.undo_with(b"".join(old), status=2), "an older one of the key is there: nobody can tell")
        self.assertEqual(inventory(self.read()), inventory(moved), "whose the identifier is")
        self.write(fewer)
        self.undo_with(b"".join(line for line in old if b'"moved"' not in line), status=2)
        self.assertEqual(inventory(self.read()), inventory(fewer), "two of one key, of two folders: nobody knows which is which")

    def test_undo_files_have_names_of_their_own(self) -> None:
        now = time.time()
        taken = [self.dir / time.strftime("quorvel-undo-%Y%m%d-%H%M%S.jsonl", time.localtime(now + s)) for s in range(120)]
        for path in taken:
            path.write_text("something of somebody's")
        out = self.run_program("clean", "--yes", status=0)
        self.assertRegex(out, r"clean --undo quorvel-undo-\d{8}-\d{6}-2\.jsonl\n")
        self.assertEqual({path.read_text() for path in taken}, {"something of somebody's"})
        (self.dir / "exists.jsonl").write_text("something of somebody's")
        self.write(BOX)
        self.run_program("clean", "--undo-file", "exists.jsonl", "--yes", status=2)
        self.assertIn("exists already", self.err)
        self.assert_as_before("an undo file that exists")
        self.assertEqual((self.dir / "exists.jsonl").read_text(), "something of somebody's")

    def test_interrupted(self) -> None:
        """Ctrl-C finishes the move under way, saves, and says what was done."""
        many = mailbox(folder(1, "Inbox", "IPF.Note", [mail(n, subject=f"Mail {n % 500}") for n in range(1000)]))
        self.write(many)
        process = self.start("clean", "--yes", "--undo-file", "undo.jsonl")
        assert process.stdout is not None
        said = [process.stdout.readline() for _ in range(5)]
        process.send_signal(signal.SIGINT)
        said += process.stdout.readlines()  # communicate() would leave out what readline() has read ahead
        _, err = process.communicate(timeout=300)
        moved = sum(line.startswith(b"moved: ") for line in said)
        self.assertEqual((process.returncode, err), (130, b"quorvel: interrupted; what was done is saved\r\n"))
        self.assertIn(f"{moved} items moved to".encode(), said[-1])
        self.assertTrue(4 <= moved < 500, said[-1])
        self.assertEqual(len(next(f for f in self.read()["stores"][0]["root"]["folders"] if f["properties"]["3001001F"] == "Duplicates")["items"]), moved)
        self.run_program("clean", "--undo", "undo.jsonl", status=0)
        self.assert_as_before("an interrupted run, undone", many)


if __name__ == "__main__":
    unittest.main()
