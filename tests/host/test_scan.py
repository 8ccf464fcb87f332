"""scan, compare, similar, folders, pack: what they find and what they say."""

from __future__ import annotations

import json
import os
import subprocess
import time
import unittest

from support import (ROOT, SAMPLES, SENT, HostTest, attachment, contact, folder, mail,
                     mailbox, release_only)

# The groups that a person who reads the files of samples/ expects under the built-in definitions: titles of the kept
# copies with the number of copies. What samples/README.md calls near, false friend or "similar only" is not among them.
SAMPLE_GROUPS = {
    "mail": [("(no title)", 2), ("Café à la grue", 2), ("Forty metres of rope", 2), ("Minutes of the harbour meeting", 2),
             ("Rota for May", 2), ("Spare parts for the pump", 2), ("Where the boats come from", 2)],
    "contact": [("Dr. Ines Marie Okafor", 2), ("Per Lindqvist", 2)],
    "appointment": [("(no title)", 2), ("Company outing", 3), ("Pilots' meeting", 3)],
    "task": [("Paint the buoys", 2)],
    "journal": [("(no title)", 2), ("Call with the pilots", 2)],
}


class Samples(HostTest):
    def setUp(self) -> None:
        super().setUp()
        subprocess.run(["/usr/bin/python3", ROOT / "mailbox" / "import", "--output", self.box, SAMPLES], check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def test_every_kind_of_duplicate_is_found_and_no_false_friend(self) -> None:
        report = self.scan(status=1)
        for kind, expected in SAMPLE_GROUPS.items():
            found = sorted((group["keep"]["title"] or "(no title)", 1 + len(group["duplicates"]))
                           for group in report["groups"] if group["kind"] == kind)
            self.assertEqual(found, expected, f"{kind} groups of the sample mailbox")
        summary = report["summary"]
        self.assertEqual(summary["groups"], sum(map(len, SAMPLE_GROUPS.values())))
        self.assertEqual(summary["duplicates"], sum(copies - 1 for found in SAMPLE_GROUPS.values() for _, copies in found))

    def test_text_report_and_folders_agree(self) -> None:
        text = self.run_program("scan", status=1)
        self.assertIn("71 items, 15 groups, 17 duplicates", text)
        self.assertIn("keep       Imported files/samples/Inbox#16", text)
        folders = self.run_program("folders", status=0)
        for name, count in (("Inbox", 20), ("Contacts", 13), ("Calendar", 17), ("Tasks", 6), ("Journal", 6), ("Sent", 6)):
            self.assertRegex(folders, rf"{name} +{count} ")

    def test_similar_contacts(self) -> None:
        report = json.loads(self.run_program("similar", "--pairs", "--format", "json", status=1))
        pairs = {(pair["a"]["title"], pair["b"]["title"]): pair["verdict"] for pair in report["pairs"]}
        self.assertEqual(pairs.get(("Ines Okafor", "Dr. Ines Marie Okafor")), "strict")
        self.assertEqual(pairs.get(("Per Lindqvist", "Lindqvist Per")), "strict", "first and last name exchanged")
        one = json.loads(self.run_program("similar", "--pairs", "--contact", "lindqvist per", "--format", "json", status=1))
        self.assertEqual({pair["b"]["title"] for pair in one["pairs"]}, {"Per Lindqvist"})
        self.run_program("similar", "--contact", "Renée Lefevre", status=2)
        self.assertIn("There is no contact", self.err)


class Scan(HostTest):
    def test_nothing_found_is_status_0(self) -> None:
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1), mail(2, subject="Other")])))
        self.assertEqual(self.scan(status=0)["groups"], [])

    def test_field_value_decides(self) -> None:
        definitions = {"kind": "mail", "properties": [{"property": "Mail.FromAddress"}, {"property": "Categories", "compare": False}]}
        (self.dir / "d.json").write_text(json.dumps(definitions))
        keywords = {"{00020329-0000-0000-C000-000000000046}:Keywords:101F": ["Home Office"]}
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1), mail(2, properties=keywords)])))
        report = self.scan("--definitions", "d.json", "--keep", "field=Categories:home", status=1)
        self.assertEqual(self.groups(report), [["Inbox#2", "Inbox#1"]])

    def test_attachments_are_compared_by_what_they_hold(self) -> None:
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [
            mail(1, attachments=[attachment("a.txt", "AAAA")]), mail(2, attachments=[attachment("a.txt", "AAAB")]),
            mail(3, attachments=[attachment("A.TXT", "AAAA")]), mail(4, attachments=[attachment("a.txt", "AAAB")])])))
        report = self.scan(status=1)
        self.assertEqual(self.groups(report), [["Inbox#1", "Inbox#3"], ["Inbox#2", "Inbox#4"]])
        self.assertEqual([pair["property"] for pair in report["near"]], ["Attachments"])

    def test_attachments_are_equal_only_where_they_were_looked_at(self) -> None:
        unknown = {"properties": {"37050003": 99, "3707001F": "a.txt", "37010102": "AAAA"}}
        says_none = {"0E1B000B": False}
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [
            mail(1, attachments=[unknown]), mail(2, attachments=[unknown]),
            mail(3, properties=says_none, attachments=[attachment("a.txt", "AAAC")]),
            mail(4, properties=says_none, attachments=[attachment("a.txt", "AAAD")])])))
        report = self.scan(status=0)
        self.assertEqual(self.groups(report), [])
        self.assertEqual([pair["property"] for pair in report["near"]], ["Attachments"] * 3)

    def test_reports_name_the_file_of_a_copy(self) -> None:
        source = "{B0A5B6C1-6C1D-4E0F-9B57-2D2B6A7C51E4}:"
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [
            mail(n, properties={source + "Path:001F": "/home/ann/in & out.mbox", source + "Place:0003": n}) for n in (1, 2)])))
        duplicate = self.scan(status=1)["groups"][0]["duplicates"][0]
        self.assertEqual((duplicate["sourcePath"], duplicate["sourcePlace"], duplicate["losses"]), ("/home/ann/in & out.mbox", 2, []))
        self.assertIn("      from /home/ann/in & out.mbox, entry 2\n", self.run_program("scan", status=1))
        self.assertIn("/home/ann/in &amp; out.mbox, entry 1<", self.run_program("scan", "--format", "html", status=1))

    def test_items_without_any_value_are_nobodys_duplicates(self) -> None:
        recurring = {"{00062002-0000-0000-C000-000000000046}:0x8223:000B": False}
        blank = [{"id": f"{0xE1000000 + n:016X}", "properties": {"001A001F": "IPM.Appointment", **recurring}} for n in range(3)]
        self.write(mailbox(folder(1, "Calendar", "IPF.Appointment", blank)))
        report = self.scan("--near", status=0)
        self.assertEqual((report["groups"], report["near"]), ([], []))
        self.assertEqual(len(report["scans"][0]["unidentified"]), 3)

    def test_near_pairs_name_the_property(self) -> None:
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [
            mail(1), mail(2, properties={SENT: "2024-03-05T08:15:00Z"}), mail(3, subject="Quite another", body="One.\r\n")])))
        near = self.scan("--near", status=0)["near"]
        self.assertEqual([(p["property"], p["a"]["number"], p["b"]["number"]) for p in near], [("Sent", 1, 2)])

    def test_folders_of_a_kind_across_the_tree_and_the_algorithm(self) -> None:
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1)], [folder(2, "Old", "IPF.Note", [mail(2), mail(3, properties={FROM_EMPTY: ""})])])))
        self.assertEqual(self.groups(self.scan(status=1)), [["Inbox#1", "Old#1"]])
        self.assertEqual(self.groups(self.scan("--algorithm", "similar", status=1)), [["Inbox#1", "Old#1", "Old#2"]])
        self.assertEqual(self.scan("--folder", "Old", status=0)["groups"], [])
        self.assertEqual(self.scan("--kind", "mail", "--folder", "mailbox/INBOX", status=0)["groups"], [])

    def test_exception_rules(self) -> None:
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1, subject=""), mail(2)])))
        arguments = ("--algorithm", "similar")
        sizes = {"kind": "mail", "algorithm": "similar", "properties": [{"property": "Mail.Subject"}, {"property": "Mail.Body"}]}
        (self.dir / "d.json").write_text(json.dumps(sizes))
        self.assertEqual(len(self.scan("--definitions", "d.json", *arguments, status=1)["groups"]), 1)
        rule = ("--except", "cleMailSubjectEmptyOnOneSide")
        self.assertEqual(self.scan("--definitions", "d.json", *arguments, *rule, status=0)["groups"], [])

    def test_compare_names_what_keeps_items_apart(self) -> None:
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [
            mail(1), mail(2, subject="Other", recipients=[]), mail(3)])))
        matrix = json.loads(self.run_program("compare", "Inbox#1", "Inbox#2", "--format", "json", status=0))
        self.assertEqual(matrix["apart"], ["Subject", "Recipients", "Size of subject, body and attachments"])
        rows = {row["property"]: row for row in matrix["rows"]}
        self.assertEqual(rows["Subject"]["marks"], [1, 2])
        self.assertEqual(rows["Body"]["marks"], [1, 1])
        self.assertEqual(rows["Recipients"]["verdict"], "one-sided")
        text = self.run_program("scan", "--explain", "Inbox#1", "Inbox#3", status=0)
        self.assertIn("Nothing keeps these items apart: they are duplicates.", text)

    def test_compare_says_what_cannot_be_read(self) -> None:
        """Neither nothing nor equal, not even to another that cannot be read."""
        unreadable = {SENT[:4] + "000A": -2147467259}
        items = [mail(1, properties=unreadable), mail(2, properties=unreadable)]
        for item in items:
            del item["properties"][SENT]
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", items)))
        matrix = json.loads(self.run_program("compare", "Inbox#1", "Inbox#2", "--format", "json", status=0))
        self.assertEqual(matrix["apart"], ["Sent"])
        self.assertIn({"property": "Sent", "verdict": "different", "marks": [1, 2], "values": ["(cannot be read)"] * 2, "from": [0], "left": []}, matrix["rows"])

    def test_show_definitions_prints_files_that_load(self) -> None:
        text = self.run_program("scan", "--show-definitions", "--kind", "contact", status=0, box=False)
        (self.dir / "own.json").write_text(text)
        contacts = [contact(n, last) for n, last in enumerate(("Hale", "Hale", "Voss"))]
        self.write(mailbox(folder(1, "People", "IPF.Contact", contacts)))
        self.assertEqual(self.groups(self.scan("--definitions", "own.json", status=1)), [["People#1", "People#2"]])

    def test_pack_is_read_by_another_program(self) -> None:
        for name, size in (("one.txt", 10), ("two.bin", 100_000)):
            (self.dir / name).write_bytes(bytes(i * 7 % 256 for i in range(size)))
        (self.dir / "sub").mkdir()
        (self.dir / "sub" / "one.txt").write_bytes(b"the other one")
        self.run_program("pack", "out.cab", "one.txt", "two.bin", "sub/one.txt", status=0, box=False)
        subprocess.run(["cabextract", "-q", "-d", self.dir / "x", self.dir / "out.cab"], check=True)
        for packed, source in (("one.txt", "one.txt"), ("two.bin", "two.bin"), ("one-2.txt", "sub/one.txt")):
            self.assertEqual((self.dir / "x" / packed).read_bytes(), (self.dir / source).read_bytes())
        self.assert_refused("pack", "out.cab", "missing.txt", because='"missing.txt" does not exist', box=False)
        self.assert_refused("pack", "nowhere/out.cab", "one.txt", because="does not exist", box=False)


FROM_EMPTY = "0065001F"


class Refusals(HostTest):
    """Bad input: one clear sentence, exit status 2, nothing half-done."""

    def setUp(self) -> None:
        super().setUp()
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(1), mail(2)])))

    def test_mailbox_files(self) -> None:
        whole = self.box.read_bytes()
        for content, because in ((whole[:-20], "mailbox.json"), (b"not JSON", "mailbox.json"), (b"Received: from", "import it first"),
                                 (whole.replace(b"0A0B0C0D0E0F1011121314151617181A", b"0A0B0C0D0E0F1011121314151617181B", 1), "stores[0]")):
            self.box.write_bytes(content)
            self.assert_refused("scan", because=because)
            self.assertEqual(self.box.read_bytes(), content, "a file that is refused stays as it was")
        self.box.unlink()
        self.assert_refused("scan", because="does not exist")
        self.box.mkdir()
        self.assert_refused("scan", because="import it first")

    def test_names_get_suggestions(self) -> None:
        self.assert_refused("scan", "--folder", "Inbix", because='Did you mean "Mailbox/Inbox"?')
        self.assert_refused("compare", "Inbox#1", "Inbox#9", because="has 2 items, no number 9")
        self.assert_refused("compare", "Inbox#1", because="Two items at least")
        self.assert_refused("scan", "--keep", "best", because="most-filled, first, last")
        self.assert_refused("scan", "--keep", "field=Mail.Sobject:x", because='"Mail.Subject"')
        self.assert_refused("scan", "--except", "cleEverything", because="cleApntSubject")
        self.assert_refused("scan", "--kind", "letters", because="mail, contact, appointment, task or journal")
        self.assert_refused("scan", "--kind", "task", because="no folder of the kinds")

    def test_definitions_files_name_the_line(self) -> None:
        for content, because in (
            ('{\n "kind": "mail",\n "properties": [\n  {"property": "Mail.Sobject"}]}', 'd.json, line 4: "Mail.Sobject" is no property'),
            ('{\n "kind": "mail",\n "properties": [{"property": "Mail.Subject",\n "method": "roughly"}]}', 'd.json, line 4: "roughly" is no method; allowed are exact'),
            ('{"kind": "mail",\n "propertys": []}', 'd.json, line 2: "propertys" is unknown here'),
            ('{"kind": "mail", "properties": []}', "at least one property has to be compared"),
            ('{"kind": "mail",\n\n oops', "d.json, line 3: this is not JSON"),
        ):
            with self.subTest(content=content):
                (self.dir / "d.json").write_text(content)
                self.assert_refused("scan", "--definitions", "d.json", because=because)
        self.assert_refused("scan", "--definitions", "none.json", because="cannot be read")

    @release_only
    def test_a_mailbox_that_another_program_uses(self) -> None:
        self.write(mailbox(folder(1, "Inbox", "IPF.Note", [mail(n, subject=f"Mail {n // 2}") for n in range(2_000)])))
        # Nobody takes its report, which is more than a pipe holds: it waits.
        first = self.start("scan")
        try:
            while first.poll() is None and not (self.dir / "mailbox.json.quorvel-lock").exists():
                time.sleep(0.01)
            self.assert_refused("folders", because="another program uses this mailbox")
        finally:
            first.communicate()
        self.assertEqual(first.returncode, 1)

    @unittest.skipUnless(os.geteuid() == 0, "mounting a small disk takes root")
    def test_a_full_disk_under_the_report_leaves_nothing(self) -> None:
        disk = self.dir / "disk"
        disk.mkdir()
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4k", "tmpfs", disk], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("this machine mounts nothing")
        self.addCleanup(subprocess.run, ["umount", disk], check=True)
        self.assert_refused("scan", "--format", "html", "--output", "disk/report.html", because="cannot be written")
        self.assertEqual(list(disk.iterdir()), [])

    def test_a_report_that_cannot_be_written_leaves_nothing(self) -> None:
        self.assert_refused("scan", "--output", "nowhere/r.json", because="cannot be written")
        self.assertEqual(sorted(path.name for path in self.dir.iterdir() if "lock" not in path.name), ["mailbox.json"])


if __name__ == "__main__":
    unittest.main()
