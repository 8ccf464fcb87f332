"""Cleaning: duplicates leave the files that they lie in, nothing is ever lost, and undoing restores every byte."""

from __future__ import annotations

import base64
import contextlib
import errno
import json
import mailbox as mail_boxes
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
from collections.abc import Callable, Iterator
from typing import Any

import jsonschema
from support import ROOT, SAMPLES
from test_command import CARD, EVENT, MAIL, run, walk

sys.path.insert(0, str(ROOT / "mailbox"))

from cleaner import command  # noqa: E402

ENVELOPE = "From a@example.org Mon Mar  4 13:00:00 2024\n"


def entries(text: str, *names: str) -> str:
    head, _, rest = text.partition("BEGIN:VEVENT")
    body, _, end = rest.partition("END:VEVENT\n")
    return head + "".join(f"BEGIN:VEVENT{body.format(name)}END:VEVENT\n" for name in names) + end


def mbox(*subjects: str) -> str:
    return "".join(f"{ENVELOPE}{MAIL.format(name)}\n" for name in subjects)


def emlx(subject: str) -> str:
    return f"{len(MAIL.format(subject))}\n{MAIL.format(subject)}<plist/>\n"


# Every kind of source: what a title is given twice for is a duplicate, and the first of its kind stays
FILES = {
    "a-first/one.eml": MAIL.format("m1"), "a-first/two.eml": MAIL.format("m2"), "a-first/three.eml": MAIL.format("m3"),
    "a-first/cards.vcf": CARD.format("c1") + CARD.format("c2") + CARD.format("own too"), "a-first/dates.ics": entries(EVENT, "e1", "e2"),
    "copies/one.eml": MAIL.format("m1"), "copies/deep/own.eml": MAIL.format("own"), "copies/x.emlx": emlx("m2"),
    "maildir/cur/1.host:2,S": MAIL.format("m1"), "maildir/new/2.host": MAIL.format("own maildir"),
    "maildir/.Sent/cur/3.host:2,RS": MAIL.format("m3"), "maildir/.Sent/new/4": MAIL.format("sent own"),
    "old.mbox": mbox("m1", "own box", "m2", "m3") + mbox("last"),
    "people.vcf": CARD.format("own card") + CARD.format("c1") + CARD.format("c2").replace("\n", "\r\n"),
    "dates.ics": entries(EVENT, "e1", "own date", "e2"), "single.ics": entries(EVENT, "e1"),
}  # fmt: skip


def report_of(mailbox: dict[str, Any], moves: Callable[[dict[str, Any]], bool] = lambda item: True) -> dict[str, Any]:
    """A report as the program writes it, which calls items of one title duplicates."""
    groups: dict[str, list[dict[str, Any]]] = {}
    for store in mailbox["stores"]:
        for path, folder in walk(store["root"]):
            for number, item in enumerate(folder.get("items", []), 1):
                title = item["properties"].get("0037001F", "")
                groups.setdefault(title, []).append(
                    {"entryId": item["id"], "folder": path, "number": number, "title": title}
                )
    out = []
    for first, *others in groups.values():
        duplicates = [{**item, "move": moves(item), "why": "" if moves(item) else "held back"} for item in others]
        if others:
            out.append({"keep": first, "duplicates": duplicates})
    return {"format": "quorvel-report", "version": 2, "groups": out}


def tree(top: pathlib.Path) -> dict[str, bytes | None]:
    return {str(path.relative_to(top)): path.read_bytes() if path.is_file() else None for path in top.rglob("*")}


class Clean(unittest.TestCase):
    def setUp(self) -> None:
        # In memory where that can be: a clean waits for the disk at each step, and these tests take thousands
        directory = tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None)
        self.addCleanup(directory.cleanup)
        self.work = pathlib.Path(directory.name).resolve()
        self.top = self.work / "home"
        self.box = self.top / "mails"
        self.output: list[str] = []
        self.addCleanup(setattr, command, "tell", command.tell)
        command.tell = self.output.append  # type: ignore[assignment]
        for name, text in FILES.items():
            path = self.box / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, newline="")
        for part in ("maildir/new", "maildir/tmp", "maildir/.Sent/tmp"):
            (self.box / part).mkdir(exist_ok=True)

    def look(self, moves: Callable[[dict[str, Any]], bool] = lambda item: True) -> dict[str, Any]:
        """Imports, and writes the report of a scan."""
        result = run("-o", self.work / "mailbox.json", self.box)
        self.assertIn(result.returncode, (0, 1), result.stderr)
        found: dict[str, Any] = json.loads((self.work / "mailbox.json").read_text())
        (self.work / "report.json").write_text(json.dumps(report_of(found, moves)))
        return found

    def clean(self, *options: str) -> int:
        self.output.clear()
        arguments = ["--mailbox", str(self.work / "mailbox.json"), "--report", str(self.work / "report.json"),
                     "--journal", str(self.work / "journal"), *options, str(self.box)]  # fmt: skip
        return command.main(arguments)

    def undo(self) -> int:
        self.output.clear()
        return command.main(["--undo", str(self.work / "journal")])

    def titles(self, *inputs: pathlib.Path) -> list[str]:
        """What mails, contacts and appointments a fresh import finds, each as often as it is there."""
        result = run(*(inputs or [self.box]))
        found = json.loads(result.stdout)
        items = [item for store in found["stores"] for _, folder in walk(store["root"]) for item in folder.get("items", [])]
        return sorted(item["properties"]["0037001F"] for item in items)

    def test_a_dry_run_names_everything_and_does_nothing(self) -> None:
        self.look()
        before = tree(self.work)
        self.assertEqual(self.clean(), 0, self.output)
        self.assertEqual(tree(self.work), before)
        text = "\n".join(self.output)
        for name in ("copies/one.eml", "copies/x.emlx", "maildir/cur/1.host:2,S", "#1, #3, #4 of", "#1, #3 of", "#1, #2 of", "single.ics"):
            self.assertIn(name, text)
        self.assertIn("12 duplicates would be moved; nothing was done", text)

    def test_every_kind_of_source_is_cleaned_and_restored(self) -> None:
        self.look()
        before, all_titles = tree(self.top), self.titles()
        self.assertEqual(self.clean("--yes"), 0, self.output)
        self.assertEqual(self.output[0], f"journal: {self.work / 'journal'}", "who is interrupted knows what undoes it")
        self.assertEqual(self.titles(), sorted(set(all_titles)), "each title is there once")
        aside = self.top / "Duplicates/mails"
        taken = self.titles(*aside.iterdir())
        self.assertEqual(sorted([*taken, *set(all_titles)]), all_titles, "what was taken out is in files that can be read")
        self.assertEqual(len(list(mail_boxes.Maildir(aside / "maildir", create=False))), 1)
        self.assertIn("kept by an earlier clean: 1;", run(self.top).stderr)
        schema = jsonschema.Draft202012Validator(json.loads((ROOT / "docs/schemas/journal.schema.json").read_text()))
        lines = [json.loads(line) for line in (self.work / "journal").read_text().splitlines()]
        self.assertEqual({line.get("act") for line in lines}, {None, "folder", "mark", "file", "lock", "move", "take"})
        for line in lines:
            self.assertEqual([fault.message for fault in schema.iter_errors(line)], [], line)
            self.assertFalse(schema.is_valid({**line, "more": 1}), "a member too many passes")
        self.look()
        self.assertEqual(self.clean(), 0)
        self.assertIn("0 duplicates would be moved", self.output[-1])
        self.assertEqual(self.undo(), 0, self.output)
        self.assertEqual(tree(self.top), before)
        self.assertEqual(self.undo(), 0, "once more does no harm")
        self.assertEqual(tree(self.top), before)

    def test_killed_or_without_room_at_any_step_nothing_is_lost_and_undo_restores_all(self) -> None:
        self.look()
        before, wanted = tree(self.top), set(self.titles())
        journal = self.work / "journal"
        for harm, ended in ((killed, 9), (no_room, command.PARTLY_DONE)):
            for number in range(1, 1000):
                status = in_child(harm, number, lambda: self.clean("--yes"))
                what = f"{harm.__name__} at step {number}"
                after = tree(self.top)
                held = b"".join(data for data in after.values() if data)
                for title in wanted:
                    self.assertIn(f":{title}".encode(), held.replace(b": ", b":"), what)
                if status == command.PARTLY_DONE:
                    rest = [name for name in after if name.endswith((".lock", ".quorvel-new"))]
                    self.assertEqual(rest, [], f"{what}: left behind by a clean that went on")
                if journal.exists():
                    in_child(harm, number % 17 + 1, self.undo)  # and while undoing
                    self.assertEqual(self.undo(), 0, f"{what}: {self.output}")
                    journal.unlink()
                self.assertEqual(tree(self.top), before, what)
                if status == command.ALL_DONE:
                    break
                self.assertEqual(status, ended, what)
            self.assertGreater(number, 60, "there are that many steps")

    def test_what_changed_or_cannot_be_done_is_left_alone_and_named(self) -> None:
        def gone(path: str) -> Callable[[], None]:
            return lambda: (self.box / path).unlink()

        def changed(path: str) -> Callable[[], object]:
            return lambda: (self.box / path).write_text((self.box / path).read_text().replace("m1", "mX"))

        def locked() -> None:
            box = mail_boxes.mbox(self.box / "old.mbox")
            box.lock()
            self.addCleanup(box.close)
            self.addCleanup(box.unlock)
            pathlib.Path(f"{self.box}/old.mbox.lock").touch()

        def running() -> None:
            (self.box / "prefs.js").touch()
            (self.box / ".parentlock").touch()
            holder = "import fcntl, sys; file = open(sys.argv[1], 'w'); fcntl.lockf(file, fcntl.LOCK_EX); print('held', flush=True); sys.stdin.read()"
            program = subprocess.Popen([sys.executable, "-c", holder, self.box / ".parentlock"], text=True,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)  # fmt: skip
            self.addCleanup(program.communicate)
            assert program.stdout
            program.stdout.readline()

        table: list[tuple[str, Callable[[], object], str, str]] = [
            ("the duplicate changed", changed("copies/one.eml"), "copies/one.eml", "it changed since it was imported"),
            ("the duplicate is gone", gone("copies/one.eml"), "copies/one.eml", "it is no longer there"),
            ("the kept copy changed", changed("a-first/one.eml"), "copies/one.eml", "the copy that stays changed since"),
            ("the kept copy is gone", gone("a-first/one.eml"), "old.mbox#1", "a-first/one.eml: it is no longer there"),
            ("an entry changed", changed("old.mbox"), "old.mbox#1", "it changed since it was imported"),
            ("a file is a link now", lambda: ((self.box / "a-first/cards.vcf").rename(self.work / "c"),
             (self.box / "a-first/cards.vcf").symlink_to(self.work / "c")), "cards.vcf", "it cannot be read"),
            ("a lock", locked, "old.mbox", "a mail program holds its lock"),
            ("a program that has the mails open", running, "old.mbox", "a mail program holds its lock"),
            ("a folder that may not be written", lambda: self.protect(self.box / "copies"), "copies/one.eml", "permission denied"),
        ]  # fmt: skip
        for what, harm, name, why in table:
            with self.subTest(what):
                shutil.rmtree(self.work)
                self.work.mkdir()
                self.doCleanups()
                self.setUp()
                self.look()
                harm()
                before = tree(self.top)
                self.assertEqual(self.clean("--yes"), 1, self.output)
                left = [line for line in self.output if line.startswith("left alone") and name in line and why in line]
                self.assertTrue(left, self.output)
                self.assertFalse((self.top / "Duplicates/mails" / name).exists(), "what is left alone is nowhere else")
                self.assertEqual(self.undo(), 0, self.output)
                self.assertEqual(tree(self.top), before)

    def protect(self, folder: pathlib.Path) -> None:
        """Nothing can be written to a folder. The tests may run as root, who may write anywhere."""
        folder.chmod(0o555)
        self.addCleanup(folder.chmod, 0o755)
        if os.geteuid() == 0:
            for path in (self.work, *self.work.rglob("*")):
                os.chown(path, 65534, 65534)
            os.seteuid(65534)
            self.addCleanup(os.seteuid, 0)

    def test_beside_a_home_nothing_is_written(self) -> None:
        self.look()
        before = tree(self.top)
        self.protect(self.top)
        self.assertEqual(self.clean("--yes"), 0, self.output)
        self.assertEqual((self.box / "Duplicates/copies/one.eml").read_text(), MAIL.format("m1"))
        self.assertEqual(len(self.titles()), len(set(self.titles())), "the folder within is passed over")
        self.assertEqual(self.undo(), 0, self.output)
        self.assertEqual(tree(self.top), before)

    def test_what_the_program_holds_back_stays(self) -> None:
        self.look(lambda item: item["title"] == "m1")
        self.assertEqual(self.clean(), 0)
        self.assertEqual(sum("held back" in line for line in self.output), 9)
        self.assertIn("3 duplicates would be moved", self.output[-1])
        said = list(self.output)
        report = json.loads((self.work / "report.json").read_text())
        def placed(item: dict[str, Any]) -> dict[str, Any]:
            return {"place": f"{item['folder']}#{item['number']}", **{k: v for k, v in item.items() if k not in ("folder", "number")}}
        groups = [{"keep": placed(group["keep"]), "duplicates": [placed(item) for item in group["duplicates"]]} for group in report["groups"]]
        plan = {"format": "quorvel-plan", "version": 1, "groups": groups}
        jsonschema.validate(plan, json.loads((ROOT / "docs/schemas/plan.schema.json").read_text()))
        (self.work / "report.json").write_text(json.dumps(plan))
        self.assertEqual((self.clean(), self.output), (0, said), "what was decided in the report comes as a plan")
        (self.work / "report.json").write_text(json.dumps({**report, "version": 1}))
        self.assertEqual(self.clean("--yes"), 2, "a report without decisions decides nothing")

    def test_an_mbox_that_grew_since_keeps_what_came(self) -> None:
        self.look()
        before = (self.box / "old.mbox").read_bytes()
        self.clean("--yes")
        with open(self.box / "old.mbox", "a") as file:
            file.write(mbox("new"))
        self.assertEqual(self.undo(), 0, self.output)
        self.assertEqual((self.box / "old.mbox").read_bytes(), before + mbox("new").encode())


Step = Callable[..., Any]


OPEN, FSYNC, UNLINK, RENAME = os.open, os.fsync, os.unlink, os.rename


def killed(step: Step, *arguments: Any) -> None:
    """The process ends, and of a file that was not on the disk yet half of its bytes are."""
    if step is FSYNC and not os.readlink(f"/proc/self/fd/{arguments[0]}").endswith("/journal"):
        with contextlib.suppress(OSError):
            os.ftruncate(arguments[0], os.fstat(arguments[0]).st_size // 2)
    os._exit(9)


def no_room(step: Step, *arguments: Any) -> None:
    """The disk is full: nothing grows any more, and the rest works."""
    if step not in (UNLINK, RENAME) and (step is not OPEN or arguments[1] & os.O_CREAT):
        raise OSError(errno.ENOSPC, os.strerror(errno.ENOSPC))


def in_child(harm: Callable[..., None], number: int, action: Callable[[], int]) -> int:
    """The exit status of an action in a process that comes to harm at its n-th step on files, and at those behind it."""
    child = os.fork()
    if child == 0:
        count = 0

        def counted(function: Step) -> Step:
            def step(*arguments: Any, **named: Any) -> Any:
                nonlocal count
                count += 1
                if count >= number:
                    harm(function, *arguments)
                return function(*arguments, **named)

            return step

        status = 99
        try:
            for name in ("open", "write", "fsync", "link", "unlink", "rename", "mkdir"):
                setattr(os, name, counted(getattr(os, name)))
            status = action()
        finally:
            os._exit(status)
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


if __name__ == "__main__":
    unittest.main()
