"""Time zones as calendar files name them: by their usual names, by a description in the file, by the names of Windows."""

from __future__ import annotations

import functools
import io
import re
from datetime import datetime, timedelta, tzinfo

import dateutil.tz
import icalendar

from .content_lines import Component
from .times import LONGEST_NAME, later, named_zone


class Zones:
    """The zones of one file: known by name, described in the file, or named as Windows names them."""

    def __init__(self, calendar: Component, local: tzinfo) -> None:
        self.local = local
        self._described = {
            line.text(): component
            for component in calendar.components
            if component.name == "VTIMEZONE" and (line := component.first("TZID"))
        }
        self._found: dict[str, tzinfo | None] = {}

    def find(self, name: str) -> tzinfo | None:
        if name not in self._found:
            self._found[name] = self._find(name)
        return self._found[name]

    def _find(self, name: str) -> tzinfo | None:
        # Some programs put a path of their own before the name: /example.org/20050126_1/Europe/Berlin
        if len(name) <= LONGEST_NAME:
            for start in (0, *(match.end() for match in re.finditer("/", name))):
                if "/" in name[start:] and (zone := named_zone(name[start:])):
                    return zone
        if component := self._described.get(name):
            if zone := described_zone(component):
                return zone
        windows = icalendar.windows_to_olson.WINDOWS_TO_OLSON.get(name)
        return named_zone(windows or name)


# What a zone's description may say to the library; it takes nothing else
_ZONE_LINES = frozenset(("DTSTART", "RRULE", "RDATE", "EXRULE", "EXDATE", "TZOFFSETFROM", "TZOFFSETTO", "TZNAME"))


# Each time is held against each of the rules, and no zone has changed its clocks as often as this
LONGEST_DESCRIPTION = 2000


def described_zone(component: Component) -> tzinfo | None:
    """The zone that a VTIMEZONE describes; None when it describes none that can be understood."""
    if sum(1 + len(rule.lines) for rule in component.components) > LONGEST_DESCRIPTION:
        return None
    lines = ["BEGIN:VTIMEZONE", "TZID:described"]
    for rule in component.components:
        offset = rule.first("TZOFFSETFROM")
        lines.append(f"BEGIN:{rule.name}")
        for line in rule.lines:
            if line.name.endswith("RULE") and "FREQ=YEARLY" not in line.value.upper():
                return None  # clocks change by the year; a rule by the second would be walked second by second
            if line.name in _ZONE_LINES:
                lines.append(f"{line.name}:{_local_until(line.value, offset.value if offset else '')}")
        lines.append(f"END:{rule.name}")
    lines.append("END:VTIMEZONE")
    return _zone_of("\n".join(lines))


@functools.lru_cache(maxsize=256)  # programs write the same description into each file
def _zone_of(description: str) -> tzinfo | None:
    try:
        zone = dateutil.tz.tzical(io.StringIO(description)).get()
    except (ValueError, AttributeError, KeyError, OverflowError, TypeError):
        return None
    return zone if isinstance(zone, tzinfo) else None


def _local_until(rule: str, offset: str) -> str:
    """A rule whose end in UTC is turned into the wall-clock time before the change, in which the library reads it."""
    end = re.search(r"UNTIL=(\d{8}T\d{6})Z", rule)
    zone = re.fullmatch(r"\s*([+-])(\d\d)(\d\d)(?:\d\d)?\s*", offset)
    if not end or not zone:
        return rule
    ahead = timedelta(hours=int(zone[2]), minutes=int(zone[3])) * (-1 if zone[1] == "-" else 1)
    try:
        local = later(datetime.strptime(end[1], "%Y%m%dT%H%M%S"), ahead)
    except ValueError:
        return rule
    return rule.replace(end[0], f"UNTIL={local:%Y%m%dT%H%M%S}") if local else rule
