"""The command as a person runs it: folders, counts, exit status, and the file that it writes."""

from __future__ import annotations

import base64
import json
import os
import pathlib
import re
import shutil
import signal
import struct
import subprocess
import tempfile
import time
import unittest
from collections.abc import Callable, Iterator
from typing import Any

from support import DATA, ROOT, SAMPLES

IMPORT = ROOT / "mailbox" / "import"
MAIL = "From: a@example.org\nSubject: {}\nDate: Mon, 4 Mar 2024 12:00:00 +0000\n\nbody\n"
CARD = "BEGIN:VCARD\nVERSION:3.0\nFN:{}\nEND:VCARD\n"
EVENT = "BEGIN:VCALENDAR\nBEGIN:VEVENT\nDTSTART:20240101T000000Z\nSUMMARY:{}\nEND:VEVENT\nEND:VCALENDAR\n"
TODO = EVENT.replace("VEVENT", "VTODO")
JOURNAL = EVENT.replace("VEVENT", "VJOURNAL")


def run(
    *arguments: str | pathlib.Path, zone: str = "Europe/Berlin", **options: Any
) -> subprocess.CompletedProcess[str]:
    environment = {**os.environ, "TZ": zone}
    return subprocess.run([IMPORT, *arguments], text=True, capture_output=True, timeout=600, env=environment, **options)


def walk(folder: dict[str, Any], above: str = "") -> Iterator[tuple[str, dict[str, Any]]]:
    for sub in folder.get("folders", []):
        path = f"{above}/{sub['properties']['3001001F']}".lstrip("/")
        yield path, sub
        yield from walk(sub, path)


def subjects(mailbox: dict[str, Any]) -> dict[str, list[str]]:
    """The items of each folder by their subjects."""
    root = mailbox["stores"][0]["root"]
    return {
        path: [item["properties"].get("0037001F", "") for item in folder["items"]]
        for path, folder in walk(root)
        if "items" in folder
    }


def nesting(value: Any) -> int:
    inner = value.values() if isinstance(value, dict) else value if isinstance(value, list) else ()
    return 1 + max(map(nesting, inner), default=0)


def classes(mailbox: dict[str, Any]) -> dict[str, str]:
    return {path: folder["properties"]["3613001F"] for path, folder in walk(mailbox["stores"][0]["root"])}


class Tree(unittest.TestCase):
    def setUp(self) -> None:
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.top = pathlib.Path(directory.name)

    def put(self, **files: str) -> None:
        self.put_all(files)

    def put_all(self, files: dict[str, str]) -> None:
        for name, text in files.items():
            path = self.top / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)

    def mailbox(self, *arguments: str | pathlib.Path, status: int = 0) -> dict[str, Any]:
        result = run(*arguments)
        self.assertEqual(result.returncode, status, result.stderr)
        found = json.loads(result.stdout)
        assert isinstance(found, dict)
        return found


class Folders(Tree):
    def test_folders_become_folders_and_further_kinds_subfolders(self) -> None:
        self.put_all({
            "box/a.eml": MAIL.format("a"), "box/b.vcf": CARD.format("b"), "box/c.ics": EVENT.format("c"),
            "box/d.ics": TODO.format("d"), "box/e.ics": JOURNAL.format("e"),
            "box/people/f.vcf": CARD.format("f"), "box/dates/g.ics": EVENT.format("g") + TODO.format("h"),
            "box/empty/readme.txt": "nothing to import", "box/.hidden/i.eml": MAIL.format("i"),
        })  # fmt: skip
        mailbox = self.mailbox(self.top / "box")
        self.assertEqual(
            subjects(mailbox),
            {"box": ["a"], "box/Contacts": ["b"], "box/Calendar": ["c"], "box/Tasks": ["d"], "box/Journal": ["e"],
             "box/people": ["f"], "box/dates": ["g"], "box/dates/Tasks": ["h"]},
        )  # fmt: skip
        self.assertEqual(
            classes(mailbox),
            {"box": "IPF.Note", "box/Contacts": "IPF.Contact", "box/Calendar": "IPF.Appointment",
             "box/Tasks": "IPF.Task", "box/Journal": "IPF.Journal", "box/people": "IPF.Contact",
             "box/dates": "IPF.Appointment", "box/dates/Tasks": "IPF.Task"},
        )  # fmt: skip

    def test_files_named_one_by_one(self) -> None:
        self.put_all(
            {"a.eml": MAIL.format("a"), "b.vcf": CARD.format("b"), "c.ics": EVENT.format("c"), "d": MAIL.format("d")}
        )
        mailbox = self.mailbox(*sorted(self.top.iterdir()))
        self.assertEqual(subjects(mailbox), {"Mail": ["a", "d"], "Contacts": ["b"], "Calendar": ["c"]})

    def test_folders_of_one_name_stay_apart(self) -> None:
        self.put_all({"x/box/a.eml": MAIL.format("a"), "y/Box/b.eml": MAIL.format("b"),
                      "z/b.vcf": CARD.format("c"), "z/a.eml": MAIL.format("d"),
                      "z/contacts/e.vcf": CARD.format("e")})  # fmt: skip
        mailbox = self.mailbox(self.top / "x/box", self.top / "y/Box", self.top / "z")
        self.assertEqual(subjects(mailbox), {"box": ["a"], "Box (2)": ["b"], "z": ["d"], "z/contacts": ["e"],
                                             "z/Contacts (2)": ["c"]})  # fmt: skip

    def test_folders_deeper_than_a_mailbox_goes(self) -> None:
        deep, maildir = self.top / ("box/" + "d/" * 1100), self.top / ("box/md/" + ".m" * 100)
        subprocess.run(["mkdir", "-p", deep, maildir / "cur", maildir / "new", self.top / "box/md/cur", self.top / "box/md/new"], check=True)
        self.addCleanup(subprocess.run, ["rm", "-r", self.top / "box"], check=True)  # Python's own goes no deeper than its stack
        nested = "Content-Type: message/rfc822\n\n" * 60
        (deep / "a.eml").write_text(MAIL.format("a").replace("\n\n", "\n" + nested))
        (maildir / "cur/b").write_text(MAIL.format("b"))
        mailbox = self.mailbox(self.top / "box")
        self.assertEqual([(path.count("/"), titles) for path, titles in subjects(mailbox).items()], [(39, ["a"]), (39, ["b"])])
        self.assertLess(nesting(mailbox), 200, "so deep the mailbox's reader goes")

    def test_a_maildir_with_flags_and_subfolders(self) -> None:
        self.put_all({
            "md/cur/1.host:2,S": MAIL.format("seen"), "md/cur/2.host:2,": MAIL.format("unseen"),
            "md/cur/3.host!2,DFS": MAIL.format("draft"), "md/new/4.host": MAIL.format("new"),
            "md/tmp/5.host": MAIL.format("half delivered"),
            "md/.Sent.2024/cur/6.host:2,RS": MAIL.format("sent"), "md/.Sent.2024/new/x": MAIL.format("sent new"),
            "md/dovecot.index": "index",
        })  # fmt: skip
        (self.top / "md/.Sent.2024/tmp").mkdir()
        mailbox = self.mailbox(self.top / "md")
        self.assertEqual(
            subjects(mailbox), {"md": ["seen", "unseen", "draft", "new"], "md/Sent/2024": ["sent", "sent new"]}
        )
        flags = [
            item["properties"]["0E070003"] for _, f in walk(mailbox["stores"][0]["root"]) for item in f.get("items", [])
        ]
        self.assertEqual(flags, [1, 0, 9, 0, 1, 0])

    def test_an_mbox_file(self) -> None:
        envelope = "From a@example.org Mon Mar  4 13:00:00 2024\n"
        quoted = MAIL.format("quoted").replace("body", ">From here on\n>>From there")
        self.put_all({"old.mbox": envelope + MAIL.format("one") + "\n" + envelope + quoted,
                      "noname": envelope + MAIL.format("two"),
                      "bad.mbox": "no mbox"})  # fmt: skip
        mailbox = self.mailbox(self.top / "old.mbox", self.top / "noname")
        self.assertEqual(subjects(mailbox), {"old": ["one", "quoted"], "noname": ["two"]})
        item = mailbox["stores"][0]["root"]["folders"][0]["items"][1]["properties"]
        self.assertEqual(item["1000001F"], "From here on\r\n>From there\r\n")
        self.assertEqual(item["0E060040"], "2024-03-04T13:00:00Z")
        self.assertIn("no mbox file", run(self.top / "bad.mbox").stderr)

    def test_a_mail_programs_profile(self) -> None:
        envelope, status = "From - Mon Mar  4 13:00:00 2024\n", "X-Mozilla-Status: {}\nFrom: b@example.org"
        expunged, read = (MAIL.replace("From: a@example.org", status.format(bits)) for bits in ("0009", "0001"))
        self.put_all({
            "p/prefs.js": "", "p/abook.sqlite": "x", "p/logins.json": "{}", "p/extensions/readme.eml": MAIL.format("not a mail of theirs"),
            "p/Mail/Local Folders/Inbox": envelope + read.format("one") + "\n" + envelope + expunged.format("gone"),
            "p/Mail/Local Folders/Inbox.msf": "index", "p/Mail/Local Folders/Empty": "", "p/Mail/Local Folders/Empty.msf": "index",
            "p/Mail/Local Folders/Inbox.sbd/Work": envelope + MAIL.format("two"), "p/Mail/Local Folders/Inbox.sbd/Work.msf": "",
            "p/Mail/Local Folders/Inbox.sbd/Work.sbd/Deep": envelope + MAIL.format("three"),
            "p/ImapMail/mail.example.org/INBOX": envelope + MAIL.format("four"),
        })  # fmt: skip
        local = "p/Mail/Local Folders/Inbox"
        self.assertEqual(subjects(self.mailbox(self.top / "p")), {local: ["one"], f"{local}/Work": ["two"],
                         f"{local}/Work/Deep": ["three"], "p/ImapMail/mail.example.org/INBOX": ["four"]})  # fmt: skip
        told = run(self.top / "p").stderr
        self.assertIn("deleted in their mail program, which still keeps them: 1\n", told)

    def test_mails_with_flags_behind_them(self) -> None:
        text = MAIL.format("x")
        table = [("read and answered", f"{len(text)}\n{text}<key>flags</key>\n\t<integer>5</integer>", 1),
                 ("unread", f"{len(text)}  \n{text}<key>flags</key><integer>0</integer>", 0),
                 ("a draft", f"{len(text)}\n{text}<key>flags</key><integer>65</integer>", 9),
                 ("no flags", f"{len(text)}\n{text}", 1)]  # fmt: skip
        for what, data, flags in table:
            with self.subTest(what):
                self.put_all({"1.emlx": data})
                (item,) = self.mailbox(self.top / "1.emlx")["stores"][0]["root"]["folders"][0]["items"]
                self.assertEqual((item["properties"]["0E070003"], item["properties"]["1000001F"]), (flags, "body\r\n"))
        for what, data, told in (("no length", text, "no .emlx file"), ("cut", f"999\n{text}", "the mail is cut short")):
            with self.subTest(what):
                self.put_all({"1.emlx": data})
                self.assertIn(told, run(self.top / "1.emlx").stderr)

    def test_special_folders(self) -> None:
        self.put_all({"Inbox/a.eml": MAIL.format("a"), "Sent Items/b.eml": MAIL.format("b")})
        store = self.mailbox(self.top / "Inbox", self.top / "Sent Items")["stores"][0]
        ids = {folder["properties"]["3001001F"]: folder["id"] for folder in store["root"]["folders"]}
        self.assertEqual(store["special"], {"inbox": ids["Inbox"], "sentItems": ids["Sent Items"]})


class Command(Tree):
    def test_exit_status_and_report(self) -> None:
        self.put_all({"good.eml": MAIL.format("a"), "bad.ics": "no calendar", "odd.vcf": CARD.replace("FN", "X-ODD"),
                      "empty.eml": "", "note.txt": "hello", "mails.olm": "", "more.olm": ""})  # fmt: skip
        (self.top / "linked.eml").hardlink_to(self.top / "good.eml")
        os.mkfifo(self.top / "pipe")
        table: list[tuple[list[str], int, str]] = [
            (["good.eml"], 0, "in all: 1 mail"),
            (["good.eml", "note.txt"], 0, "passed over, neither mail nor contact nor calendar: 1"),
            (["good.eml", "mails.olm", "more.olm"], 0, "passed over, of a format that is not read: 2 (.olm); have"),
            (["good.eml", "good.eml", "linked.eml", "."], 1, "passed over, named twice: 4; read once"),
            (["good.eml", "pipe"], 0, "passed over, neither files nor folders: 1"),
            (["good.eml", "bad.ics"], 1, "bad.ics:1: not a content line: no calendar"),
            (["good.eml", "odd.vcf"], 1, "vCard X-ODD  1"),
            (["good.eml", "missing"], 1, "missing: there is no such file or folder"),
            (["empty.eml"], 2, "nothing to import"),
            (["note.txt"], 2, "nothing to import"),
            (["--zone", "Mars/Olympus", "good.eml"], 2, "no time zone"),
            (["--output", "pipe", "good.eml"], 2, "pipe is no file that can be replaced"),
            (["--output", "no/such/folder.json", "good.eml"], 2, "No such file or directory"),
            ([], 2, "usage:"),
            (["--nonsense"], 2, "usage:"),
        ]
        for arguments, status, text in table:
            with self.subTest(arguments):
                result = run(*arguments, cwd=self.top)
                self.assertEqual(result.returncode, status, result.stderr)
                self.assertIn(text, result.stderr)

    def test_a_file_is_written_whole_or_left_alone(self) -> None:
        self.put_all({"good.eml": MAIL.format("a"), "note.txt": "hello", "out.json": "what was there"})
        out = self.top / "out.json"
        self.assertEqual(run("-o", out, self.top / "note.txt").returncode, 2)
        self.assertEqual(out.read_text(), "what was there")
        self.assertEqual(run("--force", "-o", out, self.top / "good.eml").returncode, 0)
        self.assertEqual(subjects(json.loads(out.read_text())), {"Mail": ["a"]})
        left = sorted(p.name for p in self.top.iterdir())
        self.assertEqual(left, ["good.eml", "note.txt", "out.json", "out.json.import"])

    def test_who_may_read_a_mailbox(self) -> None:
        """A fresh one is its owner's; one made anew is as it was, group and access list included, behind a link as well."""
        self.put_all({"good.eml": MAIL.format("a")})
        out, real = self.top / "out.json", self.top / "real.json"
        out.symlink_to("real.json")
        groups = [os.getgid(), 4 if os.getuid() == 0 else os.getgid()]
        for mode, group, bob in ((None, 0, False), (0o600, 0, False), (0o640, 1, False), (0o666, 0, False), (0o600, 0, True)):
            with self.subTest(mode=mode, group=group, bob=bob):
                if mode is not None:
                    real.chmod(mode)
                    os.chown(real, -1, groups[group])
                    if bob:  # owner rw, user 1 r, group none, mask r, others none
                        entries = ((1, 6, -1), (2, 4, 1), (4, 0, -1), (16, 4, -1), (32, 0, -1))
                        access = struct.pack("<I", 2) + b"".join(struct.pack("<HHi", *entry) for entry in entries)
                        os.setxattr(real, "system.posix_acl_access", access)
                before = real.stat() if mode is not None else None
                (self.top / "out.json.import").unlink(missing_ok=True)
                result = run("-o", out, self.top / "good.eml", umask=0o002)
                self.assertEqual((result.returncode, out.is_symlink()), (0, True), result.stderr)
                after = real.stat()
                self.assertNotEqual(before and before.st_ino, after.st_ino)
                self.assertEqual(oct(after.st_mode), oct(before.st_mode if before else 0o100600))
                self.assertEqual(after.st_gid, before.st_gid if before else os.getgid())
                self.assertEqual("system.posix_acl_access" in os.listxattr(real), bob)
                self.assertEqual((self.top / "out.json.import").stat().st_mode & 0o777, 0o600)

    def test_a_mailbox_is_made_again_only_when_something_changed(self) -> None:
        self.put_all({"box/a.eml": MAIL.format("a"), "box/b.eml": MAIL.format("b")})
        out, box = self.top / "out.json", self.top / "box"
        first = run("-o", out, box)

        def remade(*options: str) -> bool:
            before = out.stat().st_ino if out.exists() else 0
            result = run("-o", out, box, *options)
            self.assertEqual((result.returncode, result.stderr), (0, first.stderr))
            return out.stat().st_ino != before

        table: list[tuple[str, Callable[[], object], bool]] = [
            ("nothing", lambda: None, False),
            ("a file of the same size", lambda: (box / "a.eml").write_text(MAIL.format("c")), True),
            ("a file replaced by a copy", lambda: pathlib.Path(shutil.copy2(box / "a.eml", box / "c")).replace(box / "a.eml"), True),
            ("the mailbox", lambda: out.write_text(out.read_text()), True),
            ("the mailbox is gone", out.unlink, True),
            ("the note is damaged", lambda: (self.top / "out.json.import").write_text("{"), True),
        ]
        for what, change, expected in table:
            with self.subTest(what):
                change()
                self.assertEqual(remade(), expected)
                self.assertFalse(remade(), "and then nothing did")
        self.assertTrue(remade("--zone", "Asia/Kolkata"), "an option")

    def test_a_killed_import_leaves_nothing_behind(self) -> None:
        self.put_all({"old.mbox": f"From a@example.org Mon Mar  4 13:00:00 2024\n{MAIL.format('a')}\n" * 100_000})
        command = subprocess.Popen([IMPORT, "-q", "-o", self.top / "out.json", "--jobs", "2", self.top / "old.mbox"])
        children = pathlib.Path(f"/proc/{command.pid}/task/{command.pid}/children")
        while len(readers := children.read_text().split()) < 2:
            self.assertIsNone(command.poll())
        command.kill()
        command.wait()
        for _ in range(600):
            if not any(os.path.exists(f"/proc/{reader}") for reader in readers):
                break
            time.sleep(0.1)
        else:
            for reader in readers:
                os.kill(int(reader), signal.SIGKILL)
            self.fail("its processes wait for ever")
        self.assertEqual(os.listdir(self.top), ["old.mbox"])

    def test_the_same_input_gives_the_same_file(self) -> None:
        first, again = run(SAMPLES), run(SAMPLES, "--jobs", "5")
        self.assertEqual(first.stdout, again.stdout)
        self.assertNotEqual(first.stdout, run(SAMPLES, "--zone", "Asia/Kolkata").stdout, "days are local")
        self.assertEqual(first.stdout, run(SAMPLES, "--zone", "Europe/Berlin", zone="Asia/Kolkata").stdout)


KEY = re.compile(r"[0-7][0-9A-F]{7}|\{[0-9A-F-]{36}\}:(0x[0-9A-F]{4}|(?!=|0x)[^:]+):[0-9A-F]{4}")
TIME = re.compile(r"(16|17|18|19|20|21)\d\d-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d{1,7})?Z")
VALUES = {
    "0002": lambda v: type(v) is int and -(2**15) <= v < 2**15,
    "0003": lambda v: type(v) is int and -(2**31) <= v < 2**32,
    "0005": lambda v: type(v) in (int, float),
    "0014": lambda v: type(v) is int and -(2**63) <= v < 2**63,
    "000B": lambda v: type(v) is bool,
    "001F": lambda v: type(v) is str,
    "0040": lambda v: bool(TIME.fullmatch(v)),
    "0102": lambda v: base64.b64encode(base64.b64decode(v, validate=True)).decode() == v,
}


class MailboxFile(unittest.TestCase):
    """The rules of the mailbox file, held against all that the importer writes."""

    def check_message(self, message: dict[str, Any], place: str) -> None:
        self.assertLessEqual(set(message), {"id", "properties", "recipients", "attachments"}, place)
        for values in [message["properties"], *message.get("recipients", [])]:
            self.check_values(values, place)
        for number, attachment in enumerate(message.get("attachments", [])):
            self.check_values(attachment["properties"], place)
            method = attachment["properties"]["37050003"]
            self.assertEqual("message" in attachment, method == 5, place)
            self.assertEqual("37010102" in attachment["properties"], method == 1, place)
            if "message" in attachment:
                self.assertNotIn("id", attachment["message"])
                self.check_message(attachment["message"], f"{place} attachment {number}")

    def check_values(self, values: dict[str, Any], place: str) -> None:
        for key, value in values.items():
            self.assertRegex(key, rf"\A(?:{KEY.pattern})\Z", place)
            kind = key[-4:]
            single = f"0{kind[1:]}"
            for element in value if kind[0] == "1" else [value]:
                self.assertTrue(VALUES[single](element), f"{place}: {key}: {element!r}")

    def check(self, mailbox: dict[str, Any]) -> int:
        ids, items = [], 0
        for store in mailbox["stores"]:
            self.assertEqual(store["service"], mailbox["services"][0]["uid"])
            ids += [store["id"], store["root"]["id"]]
            for path, folder in walk(store["root"]):
                ids.append(folder["id"])
                self.check_values(folder["properties"], path)
                names = [sub["properties"]["3001001F"].lower() for sub in folder.get("folders", [])]
                self.assertEqual(len(set(names)), len(names), path)
                for item in folder.get("items", []):
                    ids.append(item["id"])
                    self.check_message(item, f"{path}: {item['properties'].get('0037001F')}")
                    items += 1
            self.assertLessEqual(set(store["special"].values()), set(ids))
        self.assertTrue(all(re.fullmatch(r"([0-9A-F]{2}){5,255}", text) for text in ids))
        self.assertEqual(len(set(ids)), len(ids))
        return items

    def test_samples_import_without_loss(self) -> None:
        archive = ROOT / "samples-archive"
        result = run(SAMPLES, "--store", "Archive", archive)
        self.assertEqual(result.returncode, 0, result.stderr)
        mailbox = json.loads(result.stdout)
        self.assertEqual(self.check(mailbox), expected_items(SAMPLES) + expected_items(archive))
        self.assertEqual([store.get("default") for store in mailbox["stores"]], [True, None])
        # The first appointment of each store says in which order its names stand.
        first = []
        for store in mailbox["stores"]:
            calendar = next(folder for path, folder in walk(store["root"]) if path.endswith("/Calendar"))
            first.append([key for key in calendar["items"][0]["properties"] if key.startswith("{")])
        start = "{00062002-0000-0000-C000-000000000046}:0x820D:0040"
        self.assertNotEqual(first[0].index(start), first[1].index(start), "the archive is to know names by other identifiers")

    @unittest.skipUnless(DATA.is_dir(), "no real data beside the tree")
    def test_real_data_import_in_full_numbers(self) -> None:
        result = run(DATA / "mail", DATA / "contacts", DATA / "calendar")
        self.assertEqual(result.returncode, 1, result.stderr)
        mailbox = json.loads(result.stdout)
        self.assertEqual(self.check(mailbox), expected_items(DATA))
        counted = {path: len(names) for path, names in subjects(mailbox).items()}
        for folder in ("list-archive", "list-duplicates", "attachments"):
            self.assertEqual(counted[f"mail/{folder}"], len(os.listdir(DATA / "mail" / folder)))


def expected_items(folder: pathlib.Path) -> int:
    """The number of items in a folder as grep and ls would count them."""
    command = r"""cd "$1" && { find . -name '*.eml'; find . -name '*.mbox' -exec grep -h '^From ' {} +;
        find . -name '*.vcf' -exec grep -ahi '^BEGIN:VCARD' {} +;
        find . -name '*.ics' -exec grep -ahiE '^BEGIN:(VEVENT|VTODO|VJOURNAL)' {} +; } | wc -l"""
    return int(subprocess.run(["sh", "-c", command, "sh", folder], capture_output=True, check=True).stdout)


if __name__ == "__main__":
    unittest.main()
