"""Calendars: events, to-dos and journal entries of an iCalendar file become appointments, tasks and journal entries.

Days are stored as midnight in the zone that the import takes for local, since that is how a mail client
there stores them; times in a zone of the file are converted by that zone's rules.
"""

from __future__ import annotations

import re
from collections.abc import Callable
from dataclasses import dataclass
from datetime import date, datetime, time, timedelta, tzinfo

import icalendar

from . import properties as p
from .content_lines import Component, Line, read_components, split_unescaped
from .html_text import html_to_text
from .model import Attachment, Item, ItemKind, Recipient, Report, Values, shortened
from .properties import Prop
from .times import FIRST_YEAR, UTC, at_zone, later, midnight, named_zone
from .zones import Zones

# Bookkeeping of the file format, which says nothing about the item
IGNORED = frozenset(("VERSION", "PRODID", "CALSCALE", "METHOD", "X-WR-TIMEZONE", "DTSTAMP"))

KINDS = {"VEVENT": ItemKind.APPOINTMENT, "VTODO": ItemKind.TASK, "VJOURNAL": ItemKind.JOURNAL}

DAY_MINUTES = 1440
LONGEST = 0x7FFFFFFF  # minutes that a duration can hold
REPETITIONS = {"DAILY": 1, "WEEKLY": 2, "MONTHLY": 3, "YEARLY": 4}
SENSITIVITY = {"PUBLIC": 0, "PRIVATE": 2, "CONFIDENTIAL": 3}
FREE, TENTATIVE, BUSY, OUT_OF_OFFICE = 0, 1, 2, 3
BUSY_STATUS = {"FREE": FREE, "TENTATIVE": TENTATIVE, "BUSY": BUSY, "OOF": OUT_OF_OFFICE}
MEETING, CANCELLED = 1, 4  # bits of the appointment state
TASK_STATUS = {"NEEDS-ACTION": 0, "IN-PROCESS": 1, "COMPLETED": 2, "CANCELLED": 4}
COMPLETE = 2
REQUIRED, OPTIONAL, RESOURCE = 1, 2, 3  # recipient types of a meeting
RESPONSES = {"NEEDS-ACTION": 5, "ACCEPTED": 3, "TENTATIVE": 2, "DECLINED": 4}

# Properties whose text goes to one property as it is, for all kinds of items and for one
TEXTS: dict[str, Prop] = {"UID": p.SOURCE_UID}
KIND_TEXTS: dict[ItemKind, dict[str, Prop]] = {
    ItemKind.APPOINTMENT: {"LOCATION": p.APPOINTMENT_LOCATION},
    ItemKind.TASK: {},
    ItemKind.JOURNAL: {"X-JOURNAL-TYPE": p.JOURNAL_TYPE},
}


def read_calendar(data: bytes, place: str, report: Report, local: tzinfo) -> list[Item]:
    """The items of an iCalendar file, in order."""
    found: list[tuple[Component, Zones]] = []
    components = read_components(data, place, report)
    for component in components:
        if component.name != "VCALENDAR":
            _collect([component], Zones(component, local), found, report)
            continue
        for line in component.lines:
            if line.name not in IGNORED:
                report.unmapped[f"iCalendar VCALENDAR {line.name}"] += 1
        default = component.first("X-WR-TIMEZONE")
        floating = named_zone(default.text().strip()) if default else None
        _collect(component.components, Zones(component, floating or local), found, report)
    if not components:
        report.problem(place, "no calendar in it")
    items = []
    for number, (component, zones) in enumerate(found, 1):
        name = f"{place}#{number}" if len(found) > 1 else place
        items.append(Reader(component, name, report, zones, local).item())
    return items


def _collect(components: list[Component], zones: Zones, found: list[tuple[Component, Zones]], report: Report) -> None:
    for component in components:
        if component.name in KINDS:
            found.append((component, zones))
        elif component.name != "VTIMEZONE":
            report.unmapped[f"iCalendar BEGIN:{component.name}"] += 1
            _collect(component.components, zones, found, report)


@dataclass
class Moment:
    """A value of DTSTART and its like: a moment in UTC, and the day when the value is a day."""

    utc: datetime
    day: date | None
    wall: date  # the date on the clock of the value's own zone


class Reader:
    """Turns one component into an item."""

    def __init__(self, component: Component, place: str, report: Report, zones: Zones, local: tzinfo) -> None:
        self.component = component
        self.place = place
        self.report = report
        self.zones = zones
        self.local = local
        self.item_ = Item(KINDS[component.name], place, (component.number, component.end))
        self.moments: dict[str, Moment] = {}
        self.texts: list[str] = []
        self.length: timedelta | None = None
        self.all_day_said = False

    @property
    def values(self) -> Values:
        return self.item_.values

    def item(self) -> Item:
        for line in self.component.lines:
            if line.name in IGNORED or (not line.value.strip() and line.name not in self.MOMENTS):
                continue
            if not self._put_line(line):
                self._unmapped(line.name, line.source)
        for alarm in self.component.components:
            if not (alarm.name == "VALARM" and self._put_alarm(alarm)):
                self._unmapped(f"BEGIN:{alarm.name}", source_text(alarm))
        self._finish()
        return self.item_

    def _unmapped(self, name: str, source: str) -> None:
        self.report.unmapped[f"iCalendar {name}"] += 1
        self.item_.keep_unmapped(source)

    def _put_line(self, line: Line) -> bool:
        prop = TEXTS.get(line.name) or KIND_TEXTS[self.item_.kind].get(line.name)
        if prop:
            return self.values.put_new(prop, _crlf(line.text()))
        handler = self.HANDLERS.get(line.name)
        return handler(self, line) if handler else False

    def _problem(self, line: Line, what: str) -> bool:
        self.report.problem(f"{self.place}, line {line.number}", f"{what} in {line.name}: {shortened(line.value)}")
        return False

    # Times

    def moment(self, line: Line) -> Moment | None:
        """The value of a line that names one moment or day; None, with a problem reported, when it does not."""
        try:
            value = icalendar.vDDDTypes.from_ical(line.value.strip())
        except (ValueError, OverflowError):
            value = None
        if isinstance(value, date) and value.year < FIRST_YEAR:
            self._problem(line, "a time before all that can be stored")
            return None
        if isinstance(value, datetime):
            return self._moment(value, line)
        if isinstance(value, date):
            return Moment(midnight(value, self.local), value, value)
        self._problem(line, "no time" if line.value.strip() else "nothing")
        return None

    def _moment(self, value: datetime, line: Line) -> Moment:
        wall = value.date()
        if value.tzinfo is not None:
            utc = at_zone(value, UTC)
            try:
                return Moment(utc, None, utc.astimezone(self.local).date())
            except OverflowError:  # the last day of the calendar, in a zone where the next has begun
                return Moment(utc, None, utc.date())
        name = line.param("TZID")
        zone = self.zones.find(name) if name else self.zones.local
        if zone is None:
            self._problem(line, f"no known time zone {shortened(name)!r}")
            zone = self.zones.local
        return Moment(at_zone(value, zone), None, wall)

    def _put_moment(self, line: Line) -> bool:
        moment = self.moment(line)
        if moment is None or line.name in self.moments:
            return False
        self.moments[line.name] = moment
        return True

    def _put_length(self, line: Line) -> bool:
        try:
            value = icalendar.vDuration.from_ical(line.value.strip())
        except (ValueError, OverflowError):
            value = None
        if not isinstance(value, timedelta) or abs(value) > timedelta(minutes=LONGEST):
            return self._problem(line, "no length of time")
        self.length = value
        return True

    def _put_repetition(self, line: Line) -> bool:
        self.values.add_texts(p.RECURRENCE_LINES, [line.source])
        if self.item_.kind is ItemKind.JOURNAL:
            return True
        repeats = line.name in ("RRULE", "RDATE")
        if repeats:
            self.values[p.TASK_RECURRING if self.item_.kind is ItemKind.TASK else p.APPOINTMENT_RECURRING] = True
        if line.name == "RRULE" and self.item_.kind is ItemKind.APPOINTMENT:
            self.values.put_new(p.APPOINTMENT_RECURRENCE_PATTERN, line.value)
            frequency = re.search(r"FREQ=(\w+)", line.value.upper())
            kind = REPETITIONS.get(frequency[1]) if frequency else None
            if kind is None:
                return self._problem(line, "no usual frequency")
            self.values.put_new(p.APPOINTMENT_RECURRENCE_TYPE, kind)
        return True

    # Texts and words

    def _put_subject(self, line: Line) -> bool:
        subject = re.sub(r"\r?\n", " ", line.text())
        done = self.values.put_new(p.SUBJECT, subject)
        self.values.put_new(p.NORMALIZED_SUBJECT, subject)
        self.values.put_new(p.CONVERSATION_TOPIC, subject)
        return done

    def _put_body(self, line: Line) -> bool:
        self.texts.append(_crlf(line.text()))
        return True

    def _put_html(self, line: Line) -> bool:
        if "html" not in line.param("FMTTYPE").lower() and "<html" not in line.value.lower():
            return False
        self.values.put_new(p.HTML, line.text().encode("utf-8"))
        return True

    def _put_categories(self, line: Line) -> bool:
        self.values.add_texts(p.KEYWORDS, split_unescaped(line.value, ","), once=True)
        return True

    def _put_class(self, line: Line) -> bool:
        sensitivity = SENSITIVITY.get(line.value.strip().upper())
        if sensitivity is None:
            return False
        self.values.put(p.PRIVATE, sensitivity == 2)
        return self.values.put_new(p.SENSITIVITY, sensitivity)

    def _put_priority(self, line: Line) -> bool:
        if not re.fullmatch(r"[0-9]", line.value.strip()):
            return False
        number = int(line.value)
        return self.values.put_new(p.IMPORTANCE, 2 if 1 <= number <= 4 else 0 if number >= 6 else 1)

    def _put_busy(self, line: Line) -> bool:
        status = FREE if line.value.strip().upper() == "TRANSPARENT" else BUSY
        if line.name != "TRANSP":  # the more exact one counts
            status = BUSY_STATUS.get(line.value.strip().upper(), -1)
            self.values.pop(p.APPOINTMENT_BUSY_STATUS, None)
        return status >= 0 and (self.values.put_new(p.APPOINTMENT_BUSY_STATUS, status) or line.name == "TRANSP")

    def _put_status(self, line: Line) -> bool:
        status = line.value.strip().upper()
        if self.item_.kind is ItemKind.TASK:
            number = TASK_STATUS.get(status)
            return number is not None and self.values.put_new(p.TASK_STATUS, number)
        if self.item_.kind is not ItemKind.APPOINTMENT:
            return False
        if status == "TENTATIVE":
            self.values[p.APPOINTMENT_BUSY_STATUS] = TENTATIVE
        elif status == "CANCELLED":
            self.values[p.APPOINTMENT_STATE_FLAGS] = CANCELLED
        return status in ("CONFIRMED", "TENTATIVE", "CANCELLED")

    def _put_sequence(self, line: Line) -> bool:
        text = line.value.strip()
        return text.isdigit() and int(text) <= LONGEST and self.values.put_new(p.APPOINTMENT_SEQUENCE, int(text))

    def _put_percent(self, line: Line) -> bool:
        text = line.value.strip()
        if not text.isdigit() or int(text) > 100:
            return self._problem(line, "no percentage")
        return self.values.put_new(p.TASK_PERCENT, int(text) / 100)

    def _put_all_day(self, line: Line) -> bool:
        self.all_day_said = self.all_day_said or line.value.strip().upper() in ("TRUE", "1")
        return True

    # People and files

    def _put_organizer(self, line: Line) -> bool:
        name, address = _person(line)
        self.values.put_person(p.SENDER, name, address)
        self.values.put_person(p.REPRESENTING, name, address)
        if self.item_.kind is ItemKind.TASK:
            self.values.put(p.TASK_OWNER, name or address)
        return True

    def _put_attendee(self, line: Line) -> bool:
        name, address = _person(line)
        role, kind = line.param("ROLE").upper(), line.param("CUTYPE").upper()
        resource = kind in ("RESOURCE", "ROOM")
        optional = role in ("OPT-PARTICIPANT", "NON-PARTICIPANT")
        recipient = Recipient(name, address, RESOURCE if resource else OPTIONAL if optional else REQUIRED)
        recipient.extra.put(p.RECIPIENT_TRACKSTATUS, RESPONSES.get(line.param("PARTSTAT").upper()))
        self.item_.recipients.append(recipient)
        return True

    def _put_attachment(self, line: Line) -> bool:
        number = len(self.item_.attachments) + 1
        kind = line.param("FMTTYPE")
        name = line.param("FILENAME") or line.param("X-FILENAME") or line.param("X-APPLE-FILENAME")
        if line.is_base64 or line.value.startswith("data:"):
            data = line.data()
            if data is None:
                return self._problem(line, "damaged base64")
            self.item_.attachments.append(Attachment(name or f"attachment-{number}.dat", kind, data))
        else:
            path = line.text().strip()
            name = name or re.split(r"[/\\]", path.split("?")[0].rstrip("/"))[-1] or path
            self.item_.attachments.append(Attachment(name, kind, path=path))
        return True

    def _put_alarm(self, alarm: Component) -> bool:
        """The first reminder that lies before the start is the item's."""
        trigger = alarm.first("TRIGGER")
        if trigger is None or p.REMINDER_SET in self.values:
            return False
        try:
            before = icalendar.vDDDTypes.from_ical(trigger.value.strip())
        except (ValueError, OverflowError):
            return self._problem(trigger, "no time")
        start = self.moments.get("DTSTART")
        if isinstance(before, datetime) and start:
            before = at_zone(before, self.local) - start.utc
        if not isinstance(before, timedelta) or before > timedelta() or trigger.param("RELATED").upper() == "END":
            return False
        self.values.put(p.REMINDER_MINUTES, min(-before // timedelta(minutes=1), LONGEST))
        self.values.put(p.REMINDER_SET, True)
        return True

    # What follows from the component as a whole

    def _finish(self) -> None:
        values = self.values
        values.put(p.BODY, "\r\n\r\n".join(filter(None, self.texts)))
        if p.BODY not in values and p.HTML in values:
            html = values[p.HTML]
            assert isinstance(html, bytes)
            values.put(p.BODY, _crlf(html_to_text(html.decode("utf-8"))))
        for name, prop in (("CREATED", p.CREATION_TIME), ("LAST-MODIFIED", p.LAST_MODIFICATION_TIME)):
            if moment := self.moments.get(name):
                values.put(prop, moment.utc)
        if p.LAST_MODIFICATION_TIME not in values and (stamp := self.component.first("DTSTAMP")):
            if moment := self.moment(stamp):
                values.put(p.LAST_MODIFICATION_TIME, moment.utc)
        self.FINISH[self.item_.kind](self)
        start = values.get(p.COMMON_START)
        if p.REMINDER_SET in values and isinstance(start, datetime):
            minutes = values[p.REMINDER_MINUTES]
            assert isinstance(minutes, int)
            values.put(p.REMINDER_TIME, later(start, -timedelta(minutes=minutes)))

    def _span(self, end_name: str) -> tuple[Moment | None, datetime | None, int | None]:
        """Start, end, and minutes between them. A day without an end lasts that day; a time without one, no time."""
        start, end = self.moments.get("DTSTART"), self.moments.get(end_name)
        if start is None:
            return None, end.utc if end else None, None
        if end is not None and start.day and end.day:
            minutes = (end.day - start.day).days * DAY_MINUTES
        elif end is not None:
            minutes = (end.utc - start.utc) // timedelta(minutes=1)
        else:
            length = self.length if self.length is not None else timedelta(days=1 if start.day else 0)
            minutes = length // timedelta(minutes=1)
        if minutes < 0:
            self.report.problem(self.place, "it ends before it starts")
            return start, end.utc if end else None, None
        if end is not None:
            return start, end.utc, minutes
        try:
            if start.day and minutes % DAY_MINUTES == 0:
                return start, midnight(start.day + timedelta(minutes=minutes), self.local), minutes
            return start, start.utc + timedelta(minutes=minutes), minutes
        except OverflowError:
            self.report.problem(self.place, "it ends beyond the calendar")
            return start, None, minutes

    def _finish_appointment(self) -> None:
        values = self.values
        start, end, minutes = self._span("DTEND")
        if start is None:
            self.report.problem(self.place.partition("#")[0], "an event without a start")
        else:
            for prop in (p.APPOINTMENT_START, p.COMMON_START, p.START_DATE):
                values.put(prop, start.utc)
            values.put(p.APPOINTMENT_ALL_DAY, start.day is not None or self.all_day_said)
        for prop in (p.APPOINTMENT_END, p.COMMON_END, p.END_DATE):
            values.put(prop, end)
        values.put(p.APPOINTMENT_DURATION, minutes)
        values.put_new(p.APPOINTMENT_RECURRING, False)
        values.put_new(p.APPOINTMENT_BUSY_STATUS, BUSY)
        if self.item_.recipients:
            flags = values.get(p.APPOINTMENT_STATE_FLAGS, 0)
            assert isinstance(flags, int)
            values[p.APPOINTMENT_STATE_FLAGS] = flags | MEETING
        if original := self.moments.get("RECURRENCE-ID"):
            values.put(p.APPOINTMENT_REPLACE_TIME, original.utc)
        if uid := values.text(p.SOURCE_UID):
            values.put(p.MEETING_GLOBAL_ID, global_id(uid, original.wall if original else None))
            values.put(p.MEETING_CLEAN_GLOBAL_ID, global_id(uid, None))

    def _finish_task(self) -> None:
        values = self.values
        for name, prop, common in (
            ("DTSTART", p.TASK_START, p.COMMON_START),
            ("DUE", p.TASK_DUE, p.COMMON_END),
            ("COMPLETED", p.TASK_COMPLETED_ON, None),
        ):
            if moment := self.moments.get(name):
                values.put(prop, midnight(moment.wall, UTC))  # a task knows days, whatever the zone
                if common:
                    values.put(common, moment.utc)
        start = self.moments.get("DTSTART")
        if start and self.length is not None and "DUE" not in self.moments:
            end = later(start.utc, self.length)
            if end is None:
                self.report.problem(self.place, "it ends beyond the calendar")
            else:
                wall = later(datetime.combine(start.wall, time()), self.length)
                values.put(p.TASK_DUE, midnight(wall.date(), UTC) if wall else None)
                values.put(p.COMMON_END, end)
        complete = values.get(p.TASK_STATUS) == COMPLETE or values.get(p.TASK_PERCENT) == 1.0
        complete = complete or "COMPLETED" in self.moments
        values.put(p.TASK_COMPLETE, complete)
        values.put_new(p.TASK_STATUS, COMPLETE if complete else 0)
        values.put_new(p.TASK_PERCENT, 1.0 if complete else 0.0)
        values.put_new(p.TASK_RECURRING, False)

    def _finish_journal(self) -> None:
        values = self.values
        start, end, minutes = self._span("DTEND")
        if start is None:
            return
        if start.day and self.length is None and "DTEND" not in self.moments:
            end, minutes = start.utc, 0  # a note on a day lasts no time
        for prop in (p.JOURNAL_START, p.COMMON_START):
            values.put(prop, start.utc)
        for prop in (p.JOURNAL_END, p.COMMON_END):
            values.put(prop, end)
        values.put(p.JOURNAL_DURATION, minutes)
        values.put(p.JOURNAL_TYPE_TEXT, values.get(p.JOURNAL_TYPE))

    MOMENTS = frozenset(("DTSTART", "DTEND", "DUE", "COMPLETED", "CREATED", "LAST-MODIFIED", "RECURRENCE-ID"))
    HANDLERS: dict[str, Callable[[Reader, Line], bool]] = {
        **dict.fromkeys(MOMENTS, _put_moment),
        **dict.fromkeys(("RRULE", "RDATE", "EXDATE", "EXRULE"), _put_repetition),
        "DURATION": _put_length,
        "SUMMARY": _put_subject,
        "DESCRIPTION": _put_body,
        "X-ALT-DESC": _put_html,
        "CATEGORIES": _put_categories,
        "CLASS": _put_class,
        "PRIORITY": _put_priority,
        "TRANSP": _put_busy,
        "X-MICROSOFT-CDO-BUSYSTATUS": _put_busy,
        "STATUS": _put_status,
        "SEQUENCE": _put_sequence,
        "PERCENT-COMPLETE": _put_percent,
        "X-MICROSOFT-CDO-ALLDAYEVENT": _put_all_day,
        "X-FUNAMBOL-ALLDAY": _put_all_day,
        "ORGANIZER": _put_organizer,
        "ATTENDEE": _put_attendee,
        "ATTACH": _put_attachment,
    }
    FINISH: dict[ItemKind, Callable[[Reader], None]] = {
        ItemKind.APPOINTMENT: _finish_appointment,
        ItemKind.TASK: _finish_task,
        ItemKind.JOURNAL: _finish_journal,
    }


def source_text(component: Component) -> str:
    lines = [line.source for line in component.lines]
    inner = [source_text(sub) for sub in component.components]
    return "\r\n".join([f"BEGIN:{component.name}", *lines, *inner, f"END:{component.name}"])


def _person(line: Line) -> tuple[str, str]:
    address = re.sub(r"^(mailto|invalid):", "", line.value.strip(), flags=re.IGNORECASE)
    return line.param("CN").strip(), line.param("EMAIL") or address


def _crlf(text: str) -> str:
    return re.sub(r"\r?\n", "\r\n", text)


_ID_HEAD = bytes.fromhex("040000008200E00074C5B7101A82E008")


def global_id(uid: str, original: date | None) -> bytes:
    """A meeting's identifier as mail clients store it: their own form unpacked, any other text wrapped."""
    day = original.year.to_bytes(2, "big") + bytes((original.month, original.day)) if original else bytes(4)
    try:
        own = bytes.fromhex(uid)
    except ValueError:
        own = b""
    if own.startswith(_ID_HEAD) and len(own) >= 40:
        return own[:16] + day + own[20:]
    text = b"vCal-Uid\x01\x00\x00\x00" + uid.encode("utf-8") + b"\x00"
    return _ID_HEAD + day + bytes(16) + len(text).to_bytes(4, "little") + text
