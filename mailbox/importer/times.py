"""Times as a mailbox stores them: moments in UTC, appointments' days at local midnight, other days at midnight UTC."""

from __future__ import annotations

import os
import re
from datetime import date, datetime, time, timedelta, timezone, tzinfo
from zoneinfo import ZoneInfo

UTC = timezone.utc
# The year that stands for an unknown one in a yearly date: a leap year, and one that other programs use for the same.
NO_YEAR = 1604
# The first year that a stored time can name in every zone
FIRST_YEAR = 1602
LONGEST_NAME = 255  # characters that a zone's name has at most


def named_zone(name: str) -> tzinfo | None:
    """The zone of an IANA name; None when there is none of that name."""
    if len(name) > LONGEST_NAME:
        return None
    try:
        return ZoneInfo(name)
    except (OSError, ValueError, LookupError):
        return None


def local_zone() -> tzinfo:
    """The zone that programs started from here take for local: TZ, else the machine's, else UTC."""
    name = os.environ.get("TZ", "").removeprefix(":")
    if name:
        return named_zone(name) or UTC
    try:
        with open("/etc/localtime", "rb") as file:
            return ZoneInfo.from_file(file, key="local")
    except (OSError, ValueError):
        return UTC


def at_zone(moment: datetime, zone: tzinfo) -> datetime:
    """A wall-clock time in a zone as a moment in UTC; a moment that has its zone already keeps it. A time near the ends
    of the calendar stays what the clock says."""
    if moment.tzinfo is None:
        moment = moment.replace(tzinfo=zone)
    try:
        return moment.astimezone(UTC)
    except (OverflowError, ValueError):
        return moment.replace(tzinfo=UTC)


def later(moment: datetime, length: timedelta) -> datetime | None:
    """The moment a length of time later, which may be negative; None when the calendar does not reach there."""
    try:
        return moment + length
    except OverflowError:
        return None


def midnight(day: date, zone: tzinfo) -> datetime:
    """The start of a day in a zone, as a moment in UTC."""
    return at_zone(datetime.combine(day, time()), zone)


# 19800322, 1980-03-22, --0322 and --03-22 (no year), each with or without a time, which a day does not need
_DAY = re.compile(r"(?P<year>\d{4}|--)-?(?P<month>\d\d)-?(?P<day>\d\d)(?:[T ].*)?$")


def day_from_text(text: str) -> date | None:
    """A date as contacts write birthdays; None when it is none."""
    match = _DAY.match(text.strip())
    if not match:
        return None
    year = NO_YEAR if match["year"] == "--" else int(match["year"])
    try:
        day = date(year, int(match["month"]), int(match["day"]))
    except ValueError:
        return None
    return day if day.year >= FIRST_YEAR else None


_MOMENT = re.compile(
    r"(\d{4})-?(\d\d)-?(\d\d)(?:[T ](\d\d):?(\d\d)(?::?(\d\d))?(?:[.,]\d+)?\s*(?:(Z)|([+-])(\d\d):?(\d\d)?)?)?$"
)


def moment_from_text(text: str) -> datetime | None:
    """A time in the usual written forms, UTC when it names no zone; None when it is none."""
    match = _MOMENT.match(text.strip())
    if not match:
        return None
    year, month, day, hour, minute, second, _, sign, zone_hours, zone_minutes = match.groups()
    try:
        moment = datetime(int(year), int(month), int(day), int(hour or 0), int(minute or 0), int(second or 0))
        if sign:
            offset = timedelta(hours=int(zone_hours), minutes=int(zone_minutes or 0))
            moment -= offset if sign == "+" else -offset
    except (ValueError, OverflowError):
        return None
    return moment.replace(tzinfo=UTC)
