"""Files that commands write: nothing of the user's is overwritten."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
import sys
import unittest

from support import ROOT, HostTest, folder, mail, mailbox

BOX = mailbox(folder(1, "Inbox", "IPF.Note", [mail(1), mail(2), mail(3, subject="Alone")]),
              folder(2, "Contacts", "IPF.Contact", []))
MINE = b"something of somebody's, keep it, about MSCF and \xef\xbb\xbf\"group\",\"copy\",\"store\",\n"
# What commands write that take --output, with the exit status on this mailbox.
REPORTS = [
    *((("scan", "--format", form), 1) for form in ("text", "json", "html")),
    *((("compare", "Inbox#1", "Inbox#3", "--format", form), 0) for form in ("text", "json")),
    *((("similar", "--format", form), 0) for form in ("text", "json", "html")),
]


class Output(HostTest):
    def setUp(self) -> None:
        super().setUp()
        self.write(BOX)
        self.file = self.dir / "out"

    def test_reports_replace_their_kind_alone(self) -> None:
        for arguments, status in REPORTS:
            with self.subTest(arguments=arguments):
                self.file.write_bytes(MINE)
                self.assert_refused(*arguments, "--output", "out", because="--force")
                self.assertEqual(self.file.read_bytes(), MINE)
                self.run_program(*arguments, "--output", "out", "--force", status=status)
                self.run_program(*arguments, "--output", "out", status=status)
                self.assertNotEqual(self.file.read_bytes(), MINE)
        self.file.write_bytes(b"\xef\xbb\xbf" + MINE)  # as an editor writes it, and as logs begin
        self.assert_refused("folders", "--log", "out", because="is no log.")
        self.assertEqual(self.file.read_bytes(), b"\xef\xbb\xbf" + MINE)
        self.assertEqual(sorted(path.name for path in self.dir.iterdir()), ["mailbox.json", "out"], "nothing is left beside")

    def test_an_input_is_never_written(self) -> None:
        """By its own name, another letter case or either kind of link, with --force or without."""
        os.link(self.box, self.dir / "hard.json")
        os.symlink(self.box, self.dir / "soft.json")
        shutil.copy(ROOT / "host" / "definitions" / "mail.json", self.dir / "mine.json")
        self.run_program("scan", "--format", "json", "--output", "r.json", status=1)
        (self.dir / "f").write_bytes(MINE)
        (self.dir / "x.cab").write_bytes(b"MSCF and more")
        before = {path.name: path.read_bytes() for path in self.dir.iterdir()}
        cases = [
            *(("scan", "--output", name) for name in ("mailbox.json", "MAILBOX.JSON", "./hard.json", "soft.json")),
            ("scan", "--definitions", "mine.json", "--output", "mine.json"),
            ("scan", "--log", "mailbox.json"),
            ("clean", "--from", "r.json", "--log", "r.json"),
            ("pack", "x.cab", "f", "x.cab"),
            ("pack", "f", "x.cab", "--force", "F"),
        ]
        for arguments in cases:
            with self.subTest(arguments=arguments):
                forced = arguments if "--log" in arguments or "--force" in arguments else (*arguments, "--force")
                self.assert_refused(*forced, because="is what is read here")
                self.assertEqual({path.name: path.read_bytes() for path in self.dir.iterdir()}, before)

    def test_pack(self) -> None:
        """A file that is no cabinet stays; a failed pack leaves the earlier cabinet; names equal but for case are two files."""
        for name in ("a.txt", "b.txt"):
            (self.dir / name).write_bytes(MINE)
        (self.dir / "sub").mkdir()
        (self.dir / "sub" / "A.TXT").write_bytes(b"another")
        self.assert_refused("pack", "a.txt", "b.txt", because="is no cabinet", box=False)
        self.assertEqual((self.dir / "a.txt").read_bytes(), MINE)
        self.run_program("pack", str(self.dir / "x.cab"), "a.txt", "sub/A.TXT", "b.txt", status=0, box=False)
        whole = (self.dir / "x.cab").read_bytes()
        self.assertEqual([name for name in (b"a.txt\0", b"A-2.TXT\0", b"b.txt\0") if name not in whole], [])
        os.chmod(self.dir / "b.txt", 0)
        (self.dir / "b.txt").unlink()
        (self.dir / "b.txt").symlink_to("/proc/self/mem")  # exists, and cannot be read
        self.run_program("pack", "x.cab", "a.txt", "b.txt", status=2, box=False)
        self.assertEqual((self.dir / "x.cab").read_bytes(), whole, "the earlier cabinet")
        self.assertEqual(sorted(path.name for path in self.dir.iterdir() if path.suffix != ".txt"), ["mailbox.json", "sub", "x.cab"])

    def test_a_saved_mailbox_is_as_private_as_before_and_where_it_was(self) -> None:
        """Through links the file itself is saved; files beside it that look like the program's own stay."""
        beside = {name: MINE for name in ("real.json.lock", "real.json.quorvel-lock", "mailbox.json.quorvel-lock")}
        for mode, becomes, link in ((0o600, 0o600, None), (0o644, 0o644, None), (0o640, 0o600, None), (0o600, 0o600, "real.json"),
                                    (0o600, 0o600, str(self.dir / "other.json"))):
            with self.subTest(mode=oct(mode), link=link):
                self.box.unlink()
                real = self.dir / "real.json" if link else self.box
                if link:
                    (self.dir / "other.json").unlink(missing_ok=True)
                    (self.dir / "other.json").symlink_to("real.json")
                    self.box.symlink_to(link)
                real.write_text(json.dumps(BOX))
                real.chmod(mode)
                for name, content in beside.items():
                    (self.dir / name).write_bytes(content)
                self.run_program("clean", "--yes", "--undo-file", "undo.jsonl", status=0)
                self.assertIn("Duplicates", real.read_text(), "the mailbox was saved")
                self.assertEqual((oct(real.stat().st_mode & 0o777), self.box.is_symlink()), (oct(becomes), bool(link)))
                self.assertEqual({name: (self.dir / name).read_bytes() for name in beside}, beside)
                self.assertEqual(list(self.dir.glob("*.quorvel-new")), [])
                (self.dir / "undo.jsonl").unlink()

    def test_import(self) -> None:
        (self.dir / "x.eml").write_bytes(b"From: ann@example.org\nSubject: Minutes\n\nAll present.\n")
        (self.dir / "notes").write_bytes(MINE)
        before = self.box.read_bytes()
        for arguments, status, because in (
            (("--output", "x.eml", "x.eml"), 2, "to be read"),
            (("--force", "--output", "./x.eml", "."), 2, "to be read"),
            (("--output", "notes", "x.eml"), 2, "--force"),
            (("--output", "notes", "--force", "x.eml"), 0, ""),
            (("--output", "notes", "x.eml"), 0, ""),
        ):
            with self.subTest(arguments=arguments):
                done = subprocess.run([sys.executable, "-B", ROOT / "mailbox" / "import", *arguments], cwd=self.dir,
                                      capture_output=True, text=True, timeout=120, check=False)
                self.assertEqual((done.returncode, because in done.stderr), (status, True), done.stderr)
                self.assertEqual((self.dir / "x.eml").stat().st_size, 53)
        self.assertEqual(json.loads((self.dir / "notes").read_text())["format"], "quorvel-mailbox")
        self.assertEqual(self.box.read_bytes(), before)


if __name__ == "__main__":
    unittest.main()
