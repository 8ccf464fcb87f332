"""What a person at the terminal sees: no text of a mailbox acts on it, a long command shows how far it is, Ctrl-C ends it."""

from __future__ import annotations

import json
import os
import pty
import signal
import subprocess
import time
import unittest

from support import BIN, NAME, WINE, HostTest, contact, folder, mail, mailbox, release_only

# What acts on a terminal: it clears the screen, colours, rings, and turns the direction of reading.
ACTING = "\x1b[2J \x07 \u009b31m \u0085 \u202e \u2066 \u200f"


class Terminal(HostTest):
    def big(self, count: int = 15_000) -> None:
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(n, subject=f"Mail {n // 2}") for n in range(count)])))

    def test_no_text_of_a_mailbox_acts(self) -> None:
        name = "In" + ACTING + "box"
        self.write(mailbox(
            folder(1, name, "IPF.Note", [mail(1, subject="A" + ACTING), mail(2, subject="A" + ACTING, properties={
                "{00020329-0000-0000-C000-000000000046}:" + ACTING + ":001F": ACTING})]),
            folder(2, "People", "IPF.Contact", [contact(n, "Hale", "Ann" + ACTING, properties={NAME: "Ann" + ACTING}) for n in range(2)])))
        self.run_program("scan", "--format", "json", "--output", "r.json", status=1)
        moved = {name: ACTING for name in ("entryId", "searchKey", "title", "folder", "folderId", "targetFolderId")} | {"storeId": "00000000A1A2A3A4"}
        (self.dir / "old.jsonl").write_text('{"format":"quorvel-undo","version":1}\n' + json.dumps({"move": moved}) + "\n")
        both = [f"{0xC1000000 + n:016X}" for n in (1, 2)]
        for arguments, status in ((("scan",), 1), (("scan", "--near"), 1), (("folders",), 0), (("similar",), 1), (("clean",), 0),
                                  (("clean", "--from", "r.json"), 0), (("scan", "--format", "html"), 1), (("scan", "--keep", "first"), 1),
                                  (("compare", *both, "--format", "json"), 0), (("clean", "--undo", "old.jsonl"), 2),
                                  (("scan", "--prefer", ACTING), 2)):
            with self.subTest(arguments=arguments):
                out = self.run_program(*arguments, status=status) + self.err
                if "compare" in arguments:
                    self.assertEqual(json.loads(out)["rows"][0]["values"], ["A" + ACTING] * 2, "the values as they are")
                self.assertIn("\ufffd", out)
                acting = {f"U+{ord(c):04X}" for c in out if c in ACTING and c not in " 231mJ[" or "\x80" <= c <= "\x9f"}
                self.assertEqual(acting, set(), "characters that act on the terminal")

    def run_on_terminal(self, *arguments: str) -> str:
        """The program with standard error on a terminal: all that was written there."""
        master, slave = pty.openpty()
        process = subprocess.Popen([str(WINE), str(BIN / "quorvel.exe"), *arguments, "--mailbox", str(self.box)], cwd=self.dir,
                                   stdout=subprocess.DEVNULL, stderr=slave, stdin=subprocess.DEVNULL)
        os.close(slave)
        shown = b""
        while True:
            try:
                piece = os.read(master, 1 << 16)
            except OSError:
                break
            if not piece:
                break
            shown += piece
        process.wait()
        os.close(master)
        return shown.decode("utf-8", "replace")

    @release_only
    def test_a_long_command_shows_how_far_it_is(self) -> None:
        self.big()
        shown = self.run_on_terminal("scan", "--near")
        lines = [line.strip() for line in shown.split("\r") if line.strip()]
        # Which of the steps take so long that anything is shown of them is a matter of the machine
        self.assertRegex(shown, r"(mail groups verified|near pairs but for [^:]*): \d+ of \d+")
        self.assertEqual([line for line in lines if line.endswith(" 0 s left") and lines.count(line) > 2], [], "a line that stands still")
        self.run_program("scan", "--near", status=1)
        self.assertEqual(self.err, "", "nothing when it is no terminal")

    @release_only
    def test_ctrl_c(self) -> None:
        self.big(30_000)
        for arguments in (("scan", "--output", "r.txt"), ("similar",)):
            with self.subTest(arguments=arguments):
                if arguments[0] == "similar":
                    self.write(mailbox(folder(1, "People", "IPF.Contact", [contact(n, f"Hale {n}", f"Ann {n}") for n in range(3000)])))
                for patience in (0.3, 1, 3):
                    process = self.start(*arguments)
                    while process.poll() is None and not (self.dir / "mailbox.json.quorvel-lock").exists():
                        time.sleep(0.01)
                    time.sleep(patience)
                    process.send_signal(signal.SIGINT)
                    out, err = process.communicate(timeout=120)
                    self.assertEqual(process.returncode, 130, err)
                    if out or arguments[0] == "scan":
                        break
                if arguments[0] == "scan":
                    self.assertEqual((out, err.strip()), (b"", b"quorvel: interrupted"))
                else:
                    self.assertRegex(out.decode(), r"interrupted: \d+ of 4498500 pairs were compared", "what was found until then")
                    self.assertEqual(err.strip(), b"quorvel: interrupted; what was found until then is shown")
                end = time.monotonic() + 10  # the system closes, and so deletes, what an ended process had open a moment after its end
                while (self.dir / "mailbox.json.quorvel-lock").exists() and time.monotonic() < end:
                    time.sleep(0.01)
                self.assertEqual([path.name for path in self.dir.iterdir()], ["mailbox.json"], "left behind")


if __name__ == "__main__":
    unittest.main()
