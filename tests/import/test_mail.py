"""Mails: headers, times, people, bodies, attachments, and what is broken in them."""

from __future__ import annotations

import email
import email.policy
import unittest

from support import BODY, DATA, SAMPLES, SUBJECT, by_key, mail, utc

from importer.html_text import html_to_text
from importer.mail import Origin, read_mail
from importer.model import BCC, CC, TO, Item, Report

SENT, DELIVERED = "00390040", "0E060040"


def people(item: Item) -> list[tuple[str, str, int]]:
    return [(person.name, person.address, person.type) for person in item.recipients]


class Headers(unittest.TestCase):
    def test_subjects(self) -> None:
        table = [
            (b"Subject: plain", "plain", None, "plain"),
            (b"Subject: =?utf-8?q?=20=20blanks=20?=", "  blanks ", None, "  blanks "),
            (b"Subject: Re: answer", "Re: answer", "Re: ", "answer"),
            (b"Subject: AW: Antwort", "AW: Antwort", "AW: ", "Antwort"),
            (b"Subject: Notes: not a prefix", "Notes: not a prefix", None, "Notes: not a prefix"),
            (b"Subject: folded\r\n over lines", "folded over lines", None, "folded over lines"),
            (b"Subject: =?utf-8?q?caf=C3=A9?=\r\n =?iso-8859-1?q?_cr=E8me?=", "café crème", None, "café crème"),
            (b"Subject: =?x-nobody-knows?q?caf=C3=A9?=", "café", None, "café"),
            (b"Subject: =?utf-8?b?not base64!?=", "=?utf-8?b?not base64!?=", None, "=?utf-8?b?not base64!?="),
            (b"Subject: raw caf\xc3\xa9", "raw café", None, "raw café"),
            (b"Subject: raw caf\xe9", "raw café", None, "raw café"),
        ]
        for header, subject, prefix, topic in table:
            with self.subTest(header):
                values = by_key(mail(header + b"\r\nFrom: a@example.org\r\n\r\nx").values)
                self.assertEqual(values.get(SUBJECT), subject)
                self.assertEqual(values.get("003D001F"), prefix)
                self.assertEqual((values.get("0E1D001F"), values.get("0070001F")), (topic, topic))

    def test_senders(self) -> None:
        ann, bob = ("Ann", "ann@example.org"), ("Bob", "bob@example.org")
        table = [
            ("From: Ann <ann@example.org>", ann, ann),
            ("From: Ann <ann@example.org>\r\nSender: Bob <bob@example.org>", ann, bob),
            ("Sender: Bob <bob@example.org>", bob, bob),
            ("From: ann@example.org", ("ann@example.org", "ann@example.org"), ("ann@example.org",) * 2),
            ("From: =?utf-8?q?=22Ann=2C_A=2E=22?= <ann@example.org>", ('"Ann, A."', ann[1]), ('"Ann, A."', ann[1])),
            ("From: nobody at all", ("nobody at all", None), ("nobody at all", None)),
        ]
        for header, representing, sender in table:
            with self.subTest(header):
                values = by_key(mail(header + "\r\nDate: x\r\n\r\n").values)
                self.assertEqual((values.get("0042001F"), values.get("0065001F")), representing)
                self.assertEqual((values.get("0C1A001F"), values.get("0C1F001F")), sender)

    def test_recipients_keep_order_type_and_what_they_are_called(self) -> None:
        item = mail(
            'To: "Last, First" <lf@example.org>, plain@example.org\r\n'
            "Cc: =?utf-8?q?Ren=C3=A9e?= <renee@example.org>\r\nCc: second@example.org\r\n"
            "Bcc: hidden@example.org\r\n\r\n"
        )
        self.assertEqual(
            people(item),
            [("Last, First", "lf@example.org", TO), ("", "plain@example.org", TO), ("Renée", "renee@example.org", CC),
             ("", "second@example.org", CC), ("", "hidden@example.org", BCC)],
        )  # fmt: skip
        self.assertEqual(by_key(item.recipients[1].values())["3001001F"], "plain@example.org")

    def test_recipient_groups(self) -> None:
        self.assertEqual(people(mail("To: undisclosed-recipients:;\r\n\r\n")), [("undisclosed-recipients", "", TO)])
        crew = people(mail("To: Crew: ann@example.org, Bob <bob@example.org>;\r\n\r\n"))
        self.assertEqual([address for _, address, _ in crew], ["ann@example.org", "bob@example.org"])

    def test_times(self) -> None:
        noon = utc(2024, 3, 4, 12)
        received = "Received: from a by b;\r\n\tMon, 4 Mar 2024 13:00:07 +0100\r\n"
        table = [
            ("Date: Mon, 4 Mar 2024 13:00:00 +0100\r\n", Origin(), noon, noon),
            ("Date: Mon, 4 Mar 2024 12:00:00\r\n", Origin(), noon, noon),
            ("Date: Mon, 4 Mar 2024 12:00:00 GMT (a comment)\r\n", Origin(), noon, noon),
            ("Date: 4 Mar 24 07:00 EST\r\n", Origin(), noon, noon),
            (received + "Date: Mon, 4 Mar 2024 13:00:00 +0100\r\n", Origin(), noon, utc(2024, 3, 4, 12, 0, 7)),
            (received, Origin(), utc(2024, 3, 4, 12, 0, 7), utc(2024, 3, 4, 12, 0, 7)),
            ("Date: Mon, 4 Mar 2024 12:00:00 +0000\r\n", Origin(delivered=utc(2024, 3, 5)), noon, utc(2024, 3, 5)),
            ("Subject: timeless\r\n", Origin(), None, None),
            ("Date: Mon, 32 Foo 2024 99:00:00\r\n", Origin(), None, None),
            ("Date: Mon, 4 Mar 2024 25:00:00 +0000\r\n", Origin(), None, None),
        ]
        for header, origin, sent, delivered in table:
            with self.subTest(header):
                values = by_key(mail(header + "\r\nx", origin).values)
                self.assertEqual((values.get(SENT), values.get(DELIVERED)), (sent, delivered))

    def test_a_time_that_cannot_be_read_is_reported(self) -> None:
        report = Report()
        mail("Date: yesterday\r\n\r\n", report=report)
        self.assertEqual(report.problems, [("test.eml", "no time in Date: yesterday")])

    def test_flags(self) -> None:
        read, unsent = 1, 8
        table = [
            ("", "", read), ("", "S", read), ("", " ", 0), ("", "F", 0), ("", "RS", read), ("", "DS", read | unsent),
            ("Status: RO\r\n", "", read), ("Status: O\r\n", "", 0), ("X-Unsent: 1\r\n", "", read | unsent),
            ("X-Status: T\r\n", "", unsent), ("X-Mozilla-Status: 0001\r\n", "", read),
            ("X-Mozilla-Status: 0000\r\n", "", 0),
        ]  # fmt: skip
        for header, flags, expected in table:
            with self.subTest(header=header, flags=flags):
                values = by_key(mail(f"{header}From: a@example.org\r\n\r\n", Origin(flags)).values)
                self.assertEqual(values["0E070003"], expected)

    def test_a_draft_was_neither_sent_nor_delivered(self) -> None:
        values = by_key(mail("X-Unsent: 1\r\nDate: Mon, 4 Mar 2024 12:00:00 +0000\r\n\r\n").values)
        self.assertNotIn(SENT, values)
        self.assertNotIn(DELIVERED, values)
        self.assertEqual(values["30080040"], utc(2024, 3, 4, 12))

    def test_other_headers(self) -> None:
        text = (
            "Message-ID: <1@example.org>\r\nIn-Reply-To: <0@example.org>\r\nReferences: <a@b>\r\n <0@example.org>\r\n"
            "X-Priority: 1 (Highest)\r\nSensitivity: Private\r\nKeywords: one, two\r\nX-Own: kept\r\n"
        )
        values = by_key(mail(text + "\r\nbody").values)
        expected = {
            "1035001F": "<1@example.org>", "1042001F": "<0@example.org>", "1039001F": "<a@b> <0@example.org>",
            "00170003": 2, "00260003": 1, "00360003": 2, "007D001F": text,
            "{00020329-0000-0000-C000-000000000046}:Keywords:101F": ["one", "two"],
        }  # fmt: skip
        self.assertEqual({key: values.get(key) for key in expected}, expected)


def multipart(kind: str, *parts: str) -> str:
    inner = "".join(f"--b\r\n{part}\r\n" for part in parts)
    return f"From: a@example.org\r\nContent-Type: multipart/{kind}; boundary=b\r\n\r\n{inner}--b--\r\n"


PLAIN = "Content-Type: text/plain\r\n\r\nplain"
HTML = "Content-Type: text/html\r\n\r\n<p>html</p>"
FILE = 'Content-Type: application/pdf; name="p.pdf"\r\nContent-Transfer-Encoding: base64\r\n\r\nQUJD'


class Bodies(unittest.TestCase):
    def test_which_part_is_the_body_and_which_are_attachments(self) -> None:
        note = 'Content-Type: text/plain\r\nContent-Disposition: attachment; filename="n.txt"\r\n\r\nnote'
        nested = multipart("alternative", PLAIN, HTML).replace("=b", "=c").replace("--b", "--c")
        nested = nested.partition("\r\n")[2]
        table = [
            (PLAIN, "plain", []),
            (HTML, "html\r\n", []),
            (multipart("alternative", PLAIN, HTML), "plain", []),
            (multipart("mixed", PLAIN, FILE), "plain", [("p.pdf", b"ABC")]),
            (multipart("mixed", nested, FILE), "plain", [("p.pdf", b"ABC")]),
            (multipart("mixed", PLAIN, note), "plain", [("n.txt", b"note")]),
            (multipart("mixed", PLAIN, PLAIN.replace("\r\nplain", "\r\nfoot")), "plain\r\nfoot", []),
            (multipart("mixed", FILE), None, [("p.pdf", b"ABC")]),
        ]  # fmt: skip
        for text, body, attachments in table:
            with self.subTest(text):
                item = mail(text if text.startswith("From") else "From: a@example.org\r\n" + text)
                found = by_key(item.values).get(BODY)
                self.assertEqual(found, body)
                self.assertEqual([(a.name, a.data) for a in item.attachments], attachments)

    def test_character_sets(self) -> None:
        euro = "café €"
        table = [
            ("utf-8", euro.encode(), True), ("windows-1252", euro.encode("cp1252"), True),
            ("iso-8859-1", euro.encode("cp1252"), True), ("us-ascii", euro.encode(), True),
            ("x-nobody-knows", euro.encode(), False), ("utf-8", euro.encode("cp1252"), False),
            ("utf-16", euro.encode("utf-16"), True), ("", euro.encode(), True),
            ("koi8-r", "корабль".encode("koi8-r"), True), ("ks_c_5601-1987", "항구".encode("cp949"), True),
        ]  # fmt: skip
        for charset, data, right in table:
            with self.subTest(charset=charset, data=data):
                report = Report()
                head = f'From: a@example.org\nContent-Type: text/plain; charset="{charset}"\n'
                head += "Content-Transfer-Encoding: base64\n\n"
                item = mail(head.encode() + __import__("base64").encodebytes(data), report=report)
                self.assertIn(by_key(item.values)[BODY], (euro, "корабль", "항구"))
                self.assertEqual(report.complete, right, report.problems)

    def test_an_attached_message_is_an_item_of_its_own(self) -> None:
        inner = multipart("mixed", PLAIN, FILE).replace("=b", "=c").replace("--b", "--c")
        item = mail(multipart("mixed", PLAIN, "Content-Type: message/rfc822\r\n\r\nSubject: inner\r\n" + inner))
        (attachment,) = item.attachments
        assert attachment.item is not None
        self.assertEqual(by_key(attachment.values())["37050003"], 5)
        self.assertEqual(by_key(attachment.item.values)[SUBJECT], "inner")
        self.assertEqual([(a.name, a.data) for a in attachment.item.attachments], [("p.pdf", b"ABC")])

    def test_messages_within_messages_without_end(self) -> None:
        text = "Subject: deepest\r\n\r\nx"
        for _ in range(200):
            text = "Subject: level\r\nContent-Type: message/rfc822\r\n\r\n" + text
        item = mail(text)
        for _ in range(10):
            assert item.attachments[0].item is not None
            item = item.attachments[0].item

    def test_attachment_names(self) -> None:
        table = [
            ('Content-Disposition: attachment; filename="../../etc/pass.txt"', "pass.txt", "pass.txt", ".txt"),
            ("Content-Disposition: attachment; filename*=utf-8''caf%C3%A9.pdf", "café.pdf", "café.pdf", ".pdf"),
            ('Content-Type: image/png; name="=?utf-8?q?b=C3=B6je?=.png"', "böje.png", "böje.png", ".png"),
            ("Content-Type: image/png", "attachment-1.png", "attach~1.png", ".png"),
            (
                'Content-Disposition: attachment; filename="a long name.tar.gz"',
                "a long name.tar.gz",
                "alongn~1.gz",
                ".gz",
            ),
        ]
        for header, long, short, extension in table:
            with self.subTest(header):
                item = mail(multipart("mixed", PLAIN, header + "\r\n\r\nx"))
                values = by_key(item.attachments[0].values())
                self.assertEqual((values["3707001F"], values["3704001F"], values["3703001F"]), (long, short, extension))

    def test_classes(self) -> None:
        request = "Content-Type: text/calendar; method=REQUEST\r\n\r\nBEGIN:VCALENDAR"
        table = [
            (multipart("alternative", PLAIN, request), "IPM.Schedule.Meeting.Request"),
            (multipart("report; report-type=delivery-status", PLAIN), "REPORT.IPM.Note.NDR"),
            (multipart("signed; protocol=\"application/pkcs7-signature\"", PLAIN), "IPM.Note.SMIME.MultipartSigned"),
            (multipart("signed; protocol=\"application/pgp-signature\"", PLAIN), "IPM.Note"),
        ]  # fmt: skip
        for text, expected in table:
            with self.subTest(expected):
                self.assertEqual(by_key(mail(text).values)["001A001F"], expected)

    def test_html(self) -> None:
        table = [
            ("<p>a</p><p>b", "a\n\nb\n"), ("<ul><li>x</li>\n<li>y</li></ul>z", "* x\n* y\n\nz\n"),
            ("a<br>b<br><br>c", "a\nb\n\nc\n"), ("<div>q</div> <div>r</div>", "q\nr\n"),
            ("<a href='http://x'>http://x</a> <a href='http://y'>why</a>", "http://x why <http://y>\n"),
            ("a<b>b</b> c &amp; d&nbsp;e", "ab c & d e\n"), ("<style>p{}</style>t<script>x</script>", "t\n"),
            ("<head><title>never closed</head>y", "y\n"), ("", ""), ("<p> </p>", ""), ("&#x1F6A2; &lt;", "🚢 <\n"),
        ]  # fmt: skip
        for html, text in table:
            with self.subTest(html):
                self.assertEqual(html_to_text(html), text)


class Broken(unittest.TestCase):
    def test_what_is_no_mail_is_reported(self) -> None:
        for data in (b"", b"\n\n", b"\x00\x01\x02\xff" * 50):
            with self.subTest(data[:10]):
                report = Report()
                self.assertIsNone(read_mail(data, "x.eml", report))
                self.assertEqual(len(report.problems), 1)

    def test_a_broken_line_costs_only_itself(self) -> None:
        table = [
            ("From: a@example.org\nno header at all\nSubject: s\n\nbody\n", "s", "body\r\n", 1),
            ("From: a@example.org\nSubject: s\nno blank line before the body\nmore\n\nend\n", "s",
             "no blank line before the body\r\nmore\r\n\r\nend\r\n", 0),
            ("From a@example.org Mon Mar  4 13:00:00 2024\nSubject: s\n\nbody\n", "s", "body\r\n", 0),
            ("Subject : s\n\nbody\n", "s", "body\r\n", 0),
        ]  # fmt: skip
        for text, subject, body, problems in table:
            with self.subTest(text):
                report = Report()
                values = by_key(mail(text, report=report).values)
                self.assertEqual((values.get(SUBJECT), values.get(BODY)), (subject, body))
                self.assertEqual(len(report.problems), problems, report.problems)

    def test_a_mail_cut_short_anywhere_is_still_read_or_reported(self) -> None:
        whole = (SAMPLES / "Inbox" / "forwarded.eml").read_bytes()
        for length in range(0, len(whole), 7):
            report = Report()
            item = read_mail(whole[:length], "cut.eml", report)
            self.assertTrue(item is not None or report.problems, f"cut at {length}: neither read nor reported")

    def test_damaged_base64_keeps_what_can_be_decoded(self) -> None:
        report = Report()
        item = mail(multipart("mixed", PLAIN, FILE.replace("QUJD", "QUJDR")), report=report)
        self.assertTrue(item.attachments[0].data.startswith(b"ABC"))
        self.assertFalse(report.complete)


class AgainstTheLibrarysOwnReading(unittest.TestCase):
    """Python's other header parser reads well-formed mails its own way; both must say the same."""

    def test_headers_of_samples_and_real_mails(self) -> None:
        files = [*SAMPLES.rglob("*.eml"), *DATA.rglob("*.eml")]
        self.assertGreater(len(files), 20)
        for path in files:
            data = path.read_bytes()
            message = email.message_from_bytes(data, policy=email.policy.default)
            item = mail(data)
            with self.subTest(path.name):
                subject = by_key(item.values).get(SUBJECT, "")
                self.assertEqual(str(subject).strip(), str(message["Subject"] or "").strip())
                expected = [
                    address.addr_spec
                    for name in ("To", "Cc", "Bcc")
                    for header in message.get_all(name, [])
                    for address in header.addresses
                ]
                self.assertEqual([person.address for person in item.recipients], expected)
                if message["Date"] and message["Date"].datetime:
                    self.assertEqual(
                        by_key(item.values).get(SENT), message["Date"].datetime.astimezone(utc(2000, 1, 1).tzinfo)
                    )


if __name__ == "__main__":
    unittest.main()
