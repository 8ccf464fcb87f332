"""Calendars: times in every notation, repetitions, people, tasks and journal entries, and another reader's opinion."""

from __future__ import annotations

import unittest
from datetime import date, datetime

import icalendar

from support import (APPOINTMENT, BERLIN, BODY, COMMON, DATA, JOURNAL, PUBLIC, SAMPLES, SUBJECT, TASK, by_key, calendar,
                     utc)  # fmt: skip

from importer.calendars import global_id, read_calendar
from importer.model import ItemKind, Report
from importer.times import at_zone

START, END = f"{APPOINTMENT}:0x820D:0040", f"{APPOINTMENT}:0x820E:0040"
DURATION, ALL_DAY = f"{APPOINTMENT}:0x8213:0003", f"{APPOINTMENT}:0x8215:000B"
RECURRING = f"{APPOINTMENT}:0x8223:000B"
UNMAPPED = f"{PUBLIC}:import-unmapped:101F"

ZONE = """BEGIN:VTIMEZONE
TZID:Own
BEGIN:STANDARD
DTSTART:19701025T030000
RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU;UNTIL=20201025T010000Z
TZOFFSETFROM:+0200
TZOFFSETTO:+0100
END:STANDARD
BEGIN:DAYLIGHT
DTSTART:19700329T020000
RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU;UNTIL=20200329T010000Z
TZOFFSETFROM:+0100
TZOFFSETTO:+0200
TZNAME:summer
END:DAYLIGHT
END:VTIMEZONE"""


class Times(unittest.TestCase):
    """The tests' local zone is Berlin, an hour ahead of UTC in winter and two in summer."""

    def test_spans(self) -> None:
        noon = utc(2024, 7, 15, 12)
        table = [
            (("DTSTART:20240715T120000Z", "DTEND:20240715T130000Z"), noon, utc(2024, 7, 15, 13), 60, False),
            (("DTSTART:20240715T120000Z", "DURATION:PT1H30M"), noon, utc(2024, 7, 15, 13, 30), 90, False),
            (("DTSTART:20240715T120000Z",), noon, noon, 0, False),
            (("DTSTART:20240715T140000",), noon, noon, 0, False),
            (("DTSTART;TZID=Europe/Berlin:20240715T140000",), noon, noon, 0, False),
            (("DTSTART;TZID=America/New_York:20240715T080000",), noon, noon, 0, False),
            (("DTSTART;TZID=/example.org/2005_1/Asia/Kolkata:20240715T173000",), noon, noon, 0, False),
            (("DTSTART;TZID=W. Europe Standard Time:20240715T140000",), noon, noon, 0, False),
            (("DTSTART;TZID=Own:20200715T140000",), utc(2020, 7, 15, 12), utc(2020, 7, 15, 12), 0, False),
            (("DTSTART;TZID=Own:20201025T040000",), utc(2020, 10, 25, 3), utc(2020, 10, 25, 3), 0, False),
            (("DTSTART;TZID=Own:20210715T140000",), utc(2021, 7, 15, 13), utc(2021, 7, 15, 13), 0, False),
            (("DTSTART;VALUE=DATE:20240715",), utc(2024, 7, 14, 22), utc(2024, 7, 15, 22), 1440, True),
            (("DTSTART;VALUE=DATE:20240715", "DTEND;VALUE=DATE:20240717"),
             utc(2024, 7, 14, 22), utc(2024, 7, 16, 22), 2880, True),
            (("DTSTART;VALUE=DATE:20240715", "DURATION:P2D"), utc(2024, 7, 14, 22), utc(2024, 7, 16, 22), 2880, True),
            # The day on which the clocks go back has 25 hours and is one day nevertheless
            (("DTSTART;VALUE=DATE:20241027",), utc(2024, 10, 26, 22), utc(2024, 10, 27, 23), 1440, True),
            (("DTSTART:20240715T000000", "DTEND:20240716T000000", "X-MICROSOFT-CDO-ALLDAYEVENT:TRUE"),
             utc(2024, 7, 14, 22), utc(2024, 7, 15, 22), 1440, True),
            (("DTEND:20240715T130000Z", "DTSTART:20240715T120000Z"), noon, utc(2024, 7, 15, 13), 60, False),
        ]  # fmt: skip
        for lines, start, end, minutes, all_day in table:
            with self.subTest(lines):
                report = Report()
                values = by_key(calendar(*lines, before=ZONE.replace("\n", "\r\n"), report=report).values)
                self.assertEqual([values.get(key) for key in (START, END, DURATION, ALL_DAY)],
                                 [start, end, minutes, all_day])  # fmt: skip
                self.assertTrue(report.complete, report.lines())

    def test_times_that_cannot_be_read_are_reported_and_kept(self) -> None:
        ok = "DTSTART:20240715T120000Z"
        table = [
            (("DTSTART:tomorrow",), ["DTSTART:tomorrow"], 2),
            ((ok, "DTEND:20249999T000000Z"), ["DTEND:20249999T000000Z"], 1),
            ((ok, "DURATION:P999999999999999999W"), ["DURATION:P999999999999999999W"], 1),
            ((ok, "DTEND:20240714T120000Z"), None, 1),
            (("DTSTART;TZID=Mars/Olympus:20240715T140000",), None, 1),
            (("DTSTART:14000101T000000Z",), ["DTSTART:14000101T000000Z"], 2),
            (("SUMMARY:no start",), None, 1),
            ((ok, "BEGIN:VALARM", "TRIGGER:whenever", "END:VALARM"), None, 1),
        ]
        for lines, unmapped, problems in table:
            with self.subTest(lines):
                report = Report()
                values = by_key(calendar(*lines, report=report).values)
                if unmapped:
                    self.assertEqual(values.get(UNMAPPED), unmapped)
                self.assertEqual(len(report.problems), problems, report.problems)

    def test_a_zone_whose_rule_goes_by_the_second_is_refused(self) -> None:
        report = Report()
        rushed = ZONE.replace("FREQ=YEARLY", "FREQ=SECONDLY").replace("\n", "\r\n")
        calendar("DTSTART;TZID=Own:20240115T140000", before=rushed, report=report)
        self.assertIn("no known time zone 'Own'", report.problems[0][1])

    def test_a_zone_of_one_file_does_not_reach_the_next(self) -> None:
        line = "DTSTART;TZID=Own:20240115T140000"
        calendar(line, before=ZONE.replace("\n", "\r\n"))
        report = Report()
        calendar(line, report=report)
        self.assertIn("no known time zone 'Own'", report.problems[0][1])


class Appointments(unittest.TestCase):
    def test_lines_and_the_properties_they_become(self) -> None:
        table: list[tuple[tuple[str, ...], dict[str, object]]] = [
            (("SUMMARY:a\\, b\\nc",), {SUBJECT: "a, b c"}),
            (("DESCRIPTION:a\\nb",), {BODY: "a\r\nb"}),
            (("X-ALT-DESC;FMTTYPE=text/html:<html><p>a</p></html>",), {BODY: "a\r\n"}),
            (("LOCATION:Quay 2",), {f"{APPOINTMENT}:0x8208:001F": "Quay 2"}),
            (("RRULE:FREQ=WEEKLY;BYDAY=MO", "EXDATE:20240722T120000Z"),
             {RECURRING: True, f"{APPOINTMENT}:0x8231:0003": 2,
              f"{APPOINTMENT}:0x8232:001F": "FREQ=WEEKLY;BYDAY=MO",
              f"{PUBLIC}:import-recurrence:101F": ["RRULE:FREQ=WEEKLY;BYDAY=MO", "EXDATE:20240722T120000Z"]}),
            ((), {RECURRING: False, f"{APPOINTMENT}:0x8205:0003": 2}),
            (("TRANSP:TRANSPARENT",), {f"{APPOINTMENT}:0x8205:0003": 0}),
            (("TRANSP:OPAQUE", "X-MICROSOFT-CDO-BUSYSTATUS:OOF"), {f"{APPOINTMENT}:0x8205:0003": 3}),
            (("STATUS:CANCELLED",), {f"{APPOINTMENT}:0x8217:0003": 4}),
            (("CLASS:PRIVATE",), {"00360003": 2}),
            (("PRIORITY:1",), {"00170003": 2}),
            (("PRIORITY:5",), {"00170003": 1}),
            (("CATEGORIES:a,b",), {f"{PUBLIC}:Keywords:101F": ["a", "b"]}),
            (("ORGANIZER;CN=Ann:mailto:ann@example.org",), {"0042001F": "Ann", "0C1F001F": "ann@example.org"}),
            (("RECURRENCE-ID:20240715T120000Z",), {f"{APPOINTMENT}:0x8228:0040": utc(2024, 7, 15, 12)}),
            (("CREATED:20240101T000000Z", "LAST-MODIFIED:20240201T000000Z"),
             {"30070040": utc(2024, 1, 1), "30080040": utc(2024, 2, 1)}),
            (("BEGIN:VALARM", "ACTION:DISPLAY", "TRIGGER:-PT15M", "END:VALARM"),
             {f"{COMMON}:0x8503:000B": True, f"{COMMON}:0x8501:0003": 15,
              f"{COMMON}:0x8502:0040": utc(2024, 7, 15, 11, 45)}),
            (("BEGIN:VALARM", "TRIGGER;VALUE=DATE-TIME:20240715T110000Z", "END:VALARM"),
             {f"{COMMON}:0x8501:0003": 60}),
        ]  # fmt: skip
        for lines, expected in table:
            with self.subTest(lines):
                report = Report()
                values = by_key(calendar("DTSTART:20240715T120000Z", *lines, report=report).values)
                self.assertEqual({key: values.get(key) for key in expected}, expected)
                self.assertTrue(report.complete, report.lines())

    def test_attendees(self) -> None:
        item = calendar(
            "DTSTART:20240715T120000Z",
            'ATTENDEE;CN="Last, First";PARTSTAT=ACCEPTED:MAILTO:lf@example.org',
            "ATTENDEE;ROLE=OPT-PARTICIPANT:mailto:opt@example.org",
            "ATTENDEE;CUTYPE=ROOM;CN=Tower:mailto:tower@example.org",
        )
        people = [(person.name, person.address, person.type) for person in item.recipients]
        self.assertEqual(people, [("Last, First", "lf@example.org", 1), ("", "opt@example.org", 2),
                                  ("Tower", "tower@example.org", 3)])  # fmt: skip
        self.assertEqual(by_key(item.recipients[0].values())["5FFF0003"], 3)

    def test_attachments(self) -> None:
        item = calendar(
            "DTSTART:20240715T120000Z",
            "ATTACH;ENCODING=BASE64;VALUE=BINARY;FILENAME=a.txt:QUJD",
            "ATTACH:https://example.org/files/plan.pdf?v=1",
        )
        data, link = item.attachments
        self.assertEqual((data.name, data.data), ("a.txt", b"ABC"))
        self.assertEqual((link.name, link.path), ("plan.pdf", "https://example.org/files/plan.pdf?v=1"))

    def test_unknown_lines_and_components_are_kept_and_counted(self) -> None:
        report = Report()
        item = calendar("DTSTART:20240715T120000Z", "X-OWN:1", "BEGIN:X-PART", "A:1", "END:X-PART", report=report)
        self.assertEqual(by_key(item.values)[UNMAPPED], ["X-OWN:1", "BEGIN:X-PART\r\nA:1\r\nEND:X-PART"])
        self.assertEqual(dict(report.unmapped), {"iCalendar X-OWN": 1, "iCalendar BEGIN:X-PART": 1})

    def test_meeting_identifiers(self) -> None:
        wrapped = global_id("abc", None)
        self.assertEqual(wrapped[36:40], (len(wrapped) - 40).to_bytes(4, "little"))
        self.assertTrue(wrapped.endswith(b"vCal-Uid\x01\x00\x00\x00abc\x00"))
        own = "040000008200E00074C5B7101A82E008" + "07E80102" + "00" * 16 + "04000000" + "01020304"
        self.assertEqual(global_id(own, None).hex().upper(), own.replace("07E80102", "00000000"))
        self.assertEqual(global_id(own, date(2023, 3, 4)).hex().upper(), own.replace("07E80102", "07E70304"))


class TasksAndJournal(unittest.TestCase):
    def test_tasks(self) -> None:
        due, done = f"{TASK}:0x8105:0040", f"{TASK}:0x811C:000B"
        table: list[tuple[tuple[str, ...], dict[str, object]]] = [
            (("DTSTART;VALUE=DATE:20240603", "DUE;VALUE=DATE:20240614"),
             {f"{TASK}:0x8104:0040": utc(2024, 6, 3), due: utc(2024, 6, 14), done: False}),
            # Half past midnight in Berlin is still the day before in UTC; a task has the day of the clock
            (("DUE;TZID=Europe/Berlin:20240614T003000",), {due: utc(2024, 6, 14),
                                                           f"{COMMON}:0x8517:0040": utc(2024, 6, 13, 22, 30)}),
            (("DUE:20240613T223000Z",), {due: utc(2024, 6, 14)}),
            (("DTSTART;VALUE=DATE:20240603", "DURATION:P2D"), {due: utc(2024, 6, 5)}),
            (("STATUS:IN-PROCESS", "PERCENT-COMPLETE:40"), {f"{TASK}:0x8101:0003": 1, f"{TASK}:0x8102:0005": 0.4,
                                                            done: False}),
            (("STATUS:COMPLETED", "COMPLETED:20240610T120000Z"), {done: True, f"{TASK}:0x8102:0005": 1.0,
                                                                  f"{TASK}:0x810F:0040": utc(2024, 6, 10)}),
            (("RRULE:FREQ=DAILY",), {f"{TASK}:0x8126:000B": True}),
        ]  # fmt: skip
        for lines, expected in table:
            with self.subTest(lines):
                report = Report()
                item = calendar("SUMMARY:x", *lines, kind="VTODO", report=report)
                values = by_key(item.values)
                self.assertIs(item.kind, ItemKind.TASK)
                self.assertEqual({key: values.get(key) for key in expected}, expected)
                self.assertTrue(report.complete, report.lines())

    def test_journal_entries(self) -> None:
        start, minutes, end = f"{JOURNAL}:0x8706:0040", f"{JOURNAL}:0x8707:0003", f"{JOURNAL}:0x8708:0040"
        table = [
            (("DTSTART:20240507T090000Z", "DURATION:PT15M"), utc(2024, 5, 7, 9), 15, utc(2024, 5, 7, 9, 15)),
            (("DTSTART:20240507T090000Z", "DTEND:20240507T093000Z"), utc(2024, 5, 7, 9), 30, utc(2024, 5, 7, 9, 30)),
            (("DTSTART;VALUE=DATE:20240507",), utc(2024, 5, 6, 22), 0, utc(2024, 5, 6, 22)),
            ((), None, None, None),
        ]
        for lines, *expected in table:
            with self.subTest(lines):
                values = by_key(calendar(*lines, kind="VJOURNAL").values)
                self.assertEqual([values.get(key) for key in (start, minutes, end)], expected)


class AgainstAnotherReader(unittest.TestCase):
    """The icalendar library reads whole files its own way; subjects and starts must come out the same."""

    def test_events_of_samples_and_real_calendars(self) -> None:
        compared = 0
        for path in [*SAMPLES.rglob("*.ics"), *DATA.rglob("*.ics")]:
            data = path.read_bytes()
            try:
                calendars = icalendar.Calendar.from_ical(data, multiple=True)
                events = [part for whole in calendars for part in whole.walk() if part.name in ("VEVENT", "VTODO")]
            except (ValueError, LookupError, AttributeError, TypeError):
                continue  # files that it refuses whole
            if not events:
                continue  # it passes over calendars that are not ended
            items = [
                item for item in read_calendar(data, path.name, Report(), BERLIN) if item.kind is not ItemKind.JOURNAL
            ]
            self.assertEqual(len(items), len(events), path.name)
            for item, event in zip(items, events):
                values = by_key(item.values)
                with self.subTest(file=path.name, subject=values.get(SUBJECT)):
                    self.assertEqual(str(values.get(SUBJECT, "")), str(event.get("SUMMARY", "")).replace("\n", " "))
                    start = getattr(event.get("DTSTART"), "dt", None)
                    if item.kind is ItemKind.APPOINTMENT and isinstance(start, datetime):
                        self.assertEqual(values.get(START), at_zone(start, BERLIN))
                        compared += 1
                    elif item.kind is ItemKind.APPOINTMENT and start is not None:
                        local = values[START].astimezone(BERLIN)
                        self.assertEqual((local.date(), local.time().isoformat()), (start, "00:00:00"))
                        compared += 1
        self.assertGreater(compared, 10)


if __name__ == "__main__":
    unittest.main()
