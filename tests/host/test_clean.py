"""clean and undo: nothing is lost, whatever happens on the way."""

from __future__ import annotations

import json
import time
import unittest

from support import MODIFIED, HostTest, folder, inventory, mail, mailbox

# Two groups of three in two folders, and a mail of its own.
BOX = mailbox(
    folder(1, "Inbox", "IPF.Note", [mail(1), mail(2), mail(3, subject="Rope"), mail(4, subject="Alone")]),
    folder(2, "Old", "IPF.Note", [mail(5), mail(6, subject="Rope"), mail(7, subject="Rope")]),
)


class Clean(HostTest):
    def setUp(self) -> None:
        super().setUp()
        self.write(BOX)

    def assert_as_before(self, why: str) -> None:
        self.assertEqual(inventory(self.read()), inventory(BOX), why)

    def test_does_nothing_without_yes(self) -> None:
        before = self.box.read_bytes()
        out = self.run_program("clean", status=0)
        self.assertEqual(out.count("would move: "), 4)
        self.assertEqual(self.box.read_bytes(), before)

    def test_moves_duplicates_and_puts_them_back(self) -> None:
        self.run_program("scan", "--format", "json", "--output", "r.json", status=1)
        self.run_program("clean", "--from", "r.json", "--yes", "--undo-file", "undo.jsonl", status=0)
        folders = {f["properties"]["3001001F"]: len(f.get("items", [])) for f in self.read()["stores"][0]["root"]["folders"]}
        self.assertEqual(folders, {"Inbox": 3, "Old": 0, "Duplicates": 4})
        self.assertEqual(self.scan(status=0)["groups"], [], "the folder of duplicates is not scanned again")
        self.run_program("clean", "--undo", "undo.jsonl", status=0)
        self.assert_as_before("after undo")
        self.assertNotIn("Duplicates", self.box.read_text(), "the folder that the run made goes again")
        self.assertIn("0 items put back", self.run_program("clean", "--undo", "undo.jsonl", status=0), "a second undo")
        self.assert_as_before("after a second undo")

    def test_undo_after_an_end_at_every_step(self) -> None:
        """The mailbox and the undo file as they are when the program ends behind each line, or within it."""
        self.run_program("scan", "--format", "json", "--output", "r.json", status=1)
        report = json.loads((self.dir / "r.json").read_text())
        moves = sum(len(group["duplicates"]) for group in report["groups"])
        for done in range(moves + 1):
            # A mailbox in which just the first `done` moves happened.
            self.write(BOX)
            part, left = json.loads(json.dumps(report)), done
            for group in part["groups"]:
                group["duplicates"], left = group["duplicates"][:left], max(0, left - len(group["duplicates"]))
            (self.dir / "part.json").write_text(json.dumps(part))
            undo = self.dir / "undo.jsonl"
            undo.unlink(missing_ok=True)
            undo.write_bytes(b"") if done == 0 else None
            if done == 0:
                undo.unlink()
                continue
            self.run_program("clean", "--from", "part.json", "--yes", "--undo-file", "undo.jsonl", status=0)
            moved, lines = self.read(), undo.read_bytes().splitlines(keepends=True)
            for what, kept in (("whole", lines), ("without the last new identifier", lines[:-1]),
                               ("with a last line cut short", [*lines[:-1], lines[-1][:9]])):
                with self.subTest(done=done, undo=what):
                    self.write(moved)
                    undo.write_bytes(b"".join(kept))
                    self.run_program("clean", "--undo", "undo.jsonl", status=0)
                    self.assert_as_before(f"{done} moves, undo file {what}")
        # Moves that never reached the disk: the undo file names them, the mailbox is the old one.
        for count in range(1, len(lines) + 1):
            self.write(BOX)
            undo.write_bytes(b"".join(lines[:count]))
            self.assertIn("0 items put back", self.run_program("clean", "--undo", "undo.jsonl", status=0))
            self.assert_as_before(f"old mailbox, {count} lines of the undo file")

    def test_killed_in_the_middle(self) -> None:
        many = mailbox(folder(1, "Inbox", "IPF.Note", [mail(n, subject=f"Mail {n % 500}") for n in range(1000)]))
        undo = self.dir / "undo.jsonl"
        for wait_for_lines in (2, 101, 500, 900):
            self.write(many)
            undo.unlink(missing_ok=True)
            process = self.start("clean", "--yes", "--undo-file", "undo.jsonl")
            while process.poll() is None and (not undo.exists() or undo.read_bytes().count(b"\n") < wait_for_lines):
                time.sleep(0.001)
            process.kill()
            process.communicate()
            if undo.exists():
                self.run_program("clean", "--undo", "undo.jsonl", status=0)
            self.assertEqual(inventory(self.read()), inventory(many), f"killed behind line {wait_for_lines}")

    def test_changed_items_are_left_alone_and_named(self) -> None:
        self.run_program("scan", "--format", "json", "--output", "r.json", status=1)
        changed = self.read()
        changed["stores"][0]["root"]["folders"][0]["items"][1]["properties"][MODIFIED] = "2025-01-01T00:00:00Z"  # a duplicate
        changed["stores"][0]["root"]["folders"][0]["items"][2]["properties"][MODIFIED] = "2025-01-01T00:00:00Z"  # a kept copy
        self.write(changed)
        out = self.run_program("clean", "--from", "r.json", "--yes", "--undo-file", "undo.jsonl", status=0)
        self.assertIn("left alone: Minutes in Mailbox/Inbox#2 changed since the scan", out)
        self.assertIn("left alone: Rope in Mailbox/Inbox#3 changed since the scan: its duplicates stay", out)
        self.assertIn('1 item moved to "Duplicates"', out)

    def test_bad_files_move_nothing(self) -> None:
        (self.dir / "other.jsonl").write_text('{"format":"quorvel-undo","version":1}\n' + json.dumps({"move": {
            name: "00000000FFFFFFFF" for name in ("entryId", "searchKey", "title", "folder", "folderId", "storeId", "targetFolderId")}}) + "\n")
        (self.dir / "broken.jsonl").write_text('{"format":"quorvel-undo","version":1}\n{"mov\n{"moved":"00"}\n')
        (self.dir / "r.json").write_text('{"groups": 7}')
        (self.dir / "exists.jsonl").write_text("something of somebody's")
        for arguments, because in ((("--undo", "other.jsonl"), "belongs to another mailbox"),
                                   (("--undo", "broken.jsonl"), "broken.jsonl, line 2"),
                                   (("--undo", "missing.jsonl"), "cannot be read"),
                                   (("--from", "r.json", "--yes"), "is no JSON report"),
                                   (("--from", "none.json", "--yes"), "cannot be read")):
            with self.subTest(arguments=arguments):
                self.assert_refused("clean", *arguments, because=because)
                self.assert_as_before("a refused call")
        self.run_program("clean", "--yes", "--undo-file", "exists.jsonl", status=2)
        self.assertIn("exists already", self.err)
        self.assertEqual((self.dir / "exists.jsonl").read_text(), "something of somebody's")
        self.assert_as_before("an undo file that exists")


if __name__ == "__main__":
    unittest.main()
