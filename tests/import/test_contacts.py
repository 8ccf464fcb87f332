"""Contacts: where each vCard property goes, what overflows, and what other readers of vCard make of the same files."""

from __future__ import annotations

import logging
import re
import unittest

import vobject
import vobject.vcard
from support import ADDRESS, BODY, COMMON, DATA, DISPLAY_NAME, PUBLIC, SAMPLES, SUBJECT, by_key, contact, utc

from importer.contacts import read_contacts
from importer.model import Report

UNMAPPED = f"{PUBLIC}:import-unmapped:101F"
KEYWORDS = f"{PUBLIC}:Keywords:101F"
FILE_AS = f"{ADDRESS}:0x8005:001F"
HOME, BUSINESS, OTHER = (f"{ADDRESS}:0x{number:04X}:001F" for number in (0x801A, 0x801B, 0x801C))
E1, E2, E3 = (f"{ADDRESS}:0x{number:04X}:001F" for number in (0x8083, 0x8093, 0x80A3))


class Mapping(unittest.TestCase):
    def test_lines_and_the_properties_they_become(self) -> None:
        birthday = utc(1980, 3, 22)
        table: list[tuple[str, dict[str, object]]] = [
            ("N:Doe;John;Q.;Mr.;Jr.", {"3A11001F": "Doe", "3A06001F": "John", "3A44001F": "Q.", "3A45001F": "Mr.",
                                       "3A05001F": "Jr.", FILE_AS: "Doe, John Q."}),
            (r"N:Doe\; Roe;J\,P", {"3A11001F": "Doe; Roe", "3A06001F": "J,P"}),
            ("FN:John Doe", {DISPLAY_NAME: "John Doe", SUBJECT: "John Doe"}),
            ("X-EVOLUTION-FILE-AS:Doe\\, J.", {FILE_AS: "Doe, J."}),
            ("ORG:Harbour;Workshop;Shed 3", {"3A16001F": "Harbour", "3A18001F": "Workshop", "3A19001F": "Shed 3",
                                             FILE_AS: "Harbour"}),
            ("TEL;TYPE=WORK,VOICE:1", {"3A08001F": "1"}),
            ("TEL;WORK;FAX:1", {"3A24001F": "1"}),
            ('TEL;VALUE=uri;TYPE="voice,cell":tel:+1-55;ext=7', {"3A1C001F": "+1-55 x7"}),
            ("item1.TEL:1\r\nitem1.X-ABLabel:_$!<HomeFAX>!$_", {"3A25001F": "1"}),
            ("TEL;TYPE=PREF:1", {"3A1A001F": "1"}),
            ("TEL;X-EVOLUTION-CALLBACK:1", {"3A02001F": "1"}),
            ("EMAIL;TYPE=INTERNET:a@example.org", {E1: "a@example.org", FILE_AS: "a@example.org",
                                                   f"{ADDRESS}:0x8082:001F": "SMTP"}),
            ("ADR;TYPE=HOME:PO 1;Attic;1 Road;Town;State;123;Land",
             {"3A5E001F": "PO 1", "3A5D001F": "Attic\r\n1 Road", "3A59001F": "Town", "3A5C001F": "State",
              "3A5B001F": "123", "3A5A001F": "Land", HOME: "Attic\r\n1 Road\r\nPO 1\r\nTown, State 123\r\nLand",
              "3A15001F": "Attic\r\n1 Road\r\nPO 1\r\nTown, State 123\r\nLand", f"{ADDRESS}:0x8022:0003": 1}),
            ("ADR;WORK:;;1 Road;Town;;;", {f"{ADDRESS}:0x8045:001F": "1 Road", f"{ADDRESS}:0x8046:001F": "Town",
                                           BUSINESS: "1 Road\r\nTown"}),
            ("ADR:;;1 Road;;;;", {"3A63001F": "1 Road", OTHER: "1 Road"}),
            ("URL;TYPE=WORK:http://w", {"3A51001F": "http://w"}),
            ("URL:http\\://w", {f"{ADDRESS}:0x802B:001F": "http://w"}),
            ("URL:ftp://w", {"3A4C001F": "ftp://w"}),
            ("BDAY:1980-03-22", {"3A420040": birthday}),
            ("BDAY;VALUE=date:19800322", {"3A420040": birthday}),
            ("BDAY:1980-03-22T00:00:00Z", {"3A420040": birthday}),
            ("BDAY:--0203", {"3A420040": utc(1604, 2, 3)}),
            ("item1.X-ABDATE:1980-03-22\r\nitem1.X-ABLabel:_$!<Anniversary>!$_", {"3A410040": birthday}),
            ("item1.X-ABRELATEDNAMES:Jenny\r\nitem1.X-ABLabel:_$!<Spouse>!$_", {"3A48001F": "Jenny"}),
            ("X-MS-CHILD:Ann\r\nRELATED;TYPE=child:Bob", {"3A58101F": ["Ann", "Bob"]}),
            ("CATEGORIES:One,Two\r\nCATEGORIES:Two,Thr\\,ee", {KEYWORDS: ["One", "Two", "Thr,ee"]}),
            ("NOTE:one\\ntwo\r\nNOTE:three", {BODY: "one\r\ntwo\r\n\r\nthree"}),
            ("NOTE;ENCODING=QUOTED-PRINTABLE;CHARSET=ISO-8859-1:caf=E9=0D=0A=\r\nmore", {BODY: "café\r\nmore"}),
            ("IMPP:xmpp:a@chat.example.org", {f"{ADDRESS}:0x8062:001F": "a@chat.example.org"}),
            ("GENDER:F", {"3A4D0002": 1}),
            ("CLASS:PRIVATE", {"00360003": 2, f"{COMMON}:0x8506:000B": True}),
            ("REV:20120305T131933Z", {"30080040": utc(2012, 3, 5, 13, 19, 33)}),
            ("X-CRMID:7", {f"{PUBLIC}:crmid:001F": "7"}),
            ("X-ABShowAs:COMPANY\r\nFN:Quay Ltd", {"3A16001F": "Quay Ltd", FILE_AS: "Quay Ltd"}),
            ("TEL;TYPE=CELL\r\n :1", {"3A1C001F": "1"}),
        ]  # fmt: skip
        for lines, expected in table:
            with self.subTest(lines):
                report = Report()
                values = by_key(contact(*lines.split("\r\n"), report=report).values)
                self.assertEqual({key: values.get(key) for key in expected}, expected)
                self.assertNotIn(UNMAPPED, values)
                self.assertTrue(report.complete, report.lines())

    def test_what_has_no_place_is_kept_and_counted(self) -> None:
        table = [
            ("X-SHOE-SIZE:43",), ("GEO:1,2",), ("BDAY:some day",), ("GENDER:X",), ("RELATED;TYPE=friend:Ann",),
            ("PHOTO;VALUE=uri:http://x/y.jpg",), ("PHOTO;ENCODING=b:!!!",), ("BDAY:1400-01-01",),
            ("FN:One", "FN:Two"),
            tuple(f"EMAIL:{n}@example.org" for n in range(4)),
            tuple(f"TEL;TYPE=WORK:{n}" for n in range(5)),
            tuple(f"TEL;TYPE=HOME,FAX:{n}" for n in range(3)),
            tuple(f"ADR;TYPE=HOME:;;{n} Road;;;;" for n in range(3)),
            tuple(f"URL:http://{n}" for n in range(4)),
        ]  # fmt: skip
        for lines in table:
            with self.subTest(lines):
                report = Report()
                values = by_key(contact(*lines, report=report).values)
                self.assertEqual(values.get(UNMAPPED), [lines[-1]])
                self.assertEqual(dict(report.unmapped), {f"vCard {lines[-1].split(':')[0].split(';')[0]}": 1})

    def test_a_photo_is_a_marked_attachment(self) -> None:
        item = contact("PHOTO;ENCODING=b;TYPE=PNG:iVBORw0KGgo=")
        (photo,) = item.attachments
        values = by_key(photo.values())
        self.assertEqual(photo.data, b"\x89PNG\r\n\x1a\n")
        self.assertEqual((values["3707001F"], values["7FFF000B"], values["370E001F"]),
                         ("ContactPicture.jpg", True, "image/png"))  # fmt: skip
        self.assertIs(by_key(item.values)[f"{ADDRESS}:0x8015:000B"], True)


class Files(unittest.TestCase):
    def test_files_in_other_encodings(self) -> None:
        card = "BEGIN:VCARD\nVERSION:3.0\nFN:Zoë Müller\nEND:VCARD\n"
        for charset in ("utf-8", "utf-8-sig", "utf-16", "cp1252"):
            with self.subTest(charset):
                (item,) = read_contacts(card.encode(charset), "x.vcf", Report())
                self.assertEqual(by_key(item.values)[DISPLAY_NAME], "Zoë Müller")

    def test_a_line_in_a_character_set_of_its_own(self) -> None:
        lines = b"FN;CHARSET=ISO-8859-2:Dvo\xf8\xe1k\nTITLE;CHARSET=KOI8-R:\xcb\xcf\xd2\n"
        card = b"BEGIN:VCARD\nVERSION:2.1\n" + lines + b"END:VCARD\n"
        (item,) = read_contacts(card, "x.vcf", Report())
        values = by_key(item.values)
        self.assertEqual((values[DISPLAY_NAME], values["3A17001F"]), ("Dvořák", "кор"))

    def test_broken_files_give_what_they_hold(self) -> None:
        table = [
            ("BEGIN:VCARD\nFN:One\nno line at all\nEND:VCARD", ["One"], 1),
            ("BEGIN:VCARD\nFN:One\nBEGIN:VCARD\nFN:Two\nEND:VCARD\nEND:VCARD", ["One", "Two"], 0),
            ("BEGIN:VCARD\nFN:One", ["One"], 1),
            ("FN:outside\nBEGIN:VCARD\nFN:One\nEND:VCARD\nEND:VCARD", ["One"], 2),
            ('BEGIN:VCARD\nFN;X="open:One\nEND:VCARD', ["One"], 0),
            ("begin:vcard\r\rfn:One\r\rend:vcard", ["One"], 0),
            ("BEGIN:VCARD\nFN:One\nPHOTO;ENCODING=BASE64:\nQUJD\nREVG\n\nEND:VCARD", ["One"], 0),
            ("BEGIN:VCARD\nEND:VCARD", [None], 0),
            ("", [], 1),
        ]
        for text, names, problems in table:
            with self.subTest(text):
                report = Report()
                items = read_contacts(text.encode(), "x.vcf", report)
                self.assertEqual([by_key(item.values).get(DISPLAY_NAME) for item in items], names)
                self.assertEqual(len(report.problems), problems, report.problems)


class AgainstAnotherReader(unittest.TestCase):
    """The vobject library reads cards its own way; names, companies, notes and addresses must come out the same."""

    def setUp(self) -> None:
        logging.disable(logging.CRITICAL)
        self.addCleanup(logging.disable, logging.NOTSET)

    def test_cards_of_samples_and_real_programs(self) -> None:
        compared = 0
        for path in [*SAMPLES.rglob("*.vcf"), *DATA.rglob("*.vcf")]:
            items = read_contacts(path.read_bytes(), path.name, Report())
            text = path.read_text(encoding="utf-8")
            try:
                cards = list(vobject.readComponents(text, allowQP=True, ignoreUnreadable=True))
            except (vobject.base.ParseError, ValueError):
                continue  # files that it refuses whole, for one damaged photo
            self.assertEqual(len(items), len(cards), path.name)
            for item, card in zip(items, cards):
                values = by_key(item.values)
                with self.subTest(file=path.name, name=values.get(DISPLAY_NAME)):
                    if hasattr(card, "n"):
                        names = [plain(part) for part in (card.n.value.family, card.n.value.given)]
                        self.assertEqual([plain(values.get(key, "")) for key in ("3A11001F", "3A06001F")], names)
                    if hasattr(card, "fn") and card.fn.value:
                        # A comma ends a name for the other reader
                        self.assertTrue(plain(values[DISPLAY_NAME]).startswith(plain(card.fn.value)))
                    emails = [email.value for email in card.contents.get("email", [])]
                    self.assertEqual([values[key] for key in (E1, E2, E3) if key in values], emails[:3])
                    if hasattr(card, "org") and card.org.value:
                        self.assertEqual(plain(values["3A16001F"]), plain(card.org.value[0]))
                    compared += 1
        self.assertGreater(compared, 10)


def plain(value: object) -> str:
    """Words alone: the other reader keeps line ends of quoted-printable texts and takes lists apart at commas."""
    text = " ".join(value) if isinstance(value, list) else str(value)
    return " ".join(re.split(r"[\s,]+", text)).strip()


if __name__ == "__main__":
    unittest.main()
