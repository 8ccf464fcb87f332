"""What the tests of the importer share: the package on the path, and short ways to read one item."""

from __future__ import annotations

import pathlib
import sys
from datetime import datetime, timezone
from zoneinfo import ZoneInfo

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "mailbox"))

from importer.calendars import read_calendar  # noqa: E402
from importer.contacts import read_contacts  # noqa: E402
from importer.mail import Origin, read_mail  # noqa: E402
from importer.model import Item, Report, Values  # noqa: E402

SAMPLES = ROOT / "samples"
# Real mails, contacts and calendars beside the tree; tests that want them are skipped where there are none
DATA = ROOT.parent / "shared" / "data"
BERLIN = ZoneInfo("Europe/Berlin")


def utc(*fields: int) -> datetime:
    return datetime(*fields, tzinfo=timezone.utc)


def mail(text: str | bytes, origin: Origin = Origin(), report: Report | None = None) -> Item:
    data = text if isinstance(text, bytes) else text.encode()
    item = read_mail(data, "test.eml", report or Report(), origin)
    assert item is not None, "the mail was not read"
    return item


def contact(*lines: str, report: Report | None = None, version: str = "3.0") -> Item:
    text = "\r\n".join(("BEGIN:VCARD", f"VERSION:{version}", *lines, "END:VCARD", ""))
    (item,) = read_contacts(text.encode(), "test.vcf", report or Report())
    return item


def calendar(*lines: str, kind: str = "VEVENT", before: str = "", report: Report | None = None) -> Item:
    text = "\r\n".join(("BEGIN:VCALENDAR", before, f"BEGIN:{kind}", *lines, f"END:{kind}", "END:VCALENDAR", ""))
    (item,) = read_calendar(text.encode(), "test.ics", report or Report(), BERLIN)
    return item


def by_key(values: Values) -> dict[str, object]:
    """Values under the keys of the mailbox file, which do not depend on the importer's names for them."""
    return dict(values)


ADDRESS = "{00062004-0000-0000-C000-000000000046}"
APPOINTMENT = "{00062002-0000-0000-C000-000000000046}"
TASK = "{00062003-0000-0000-C000-000000000046}"
COMMON = "{00062008-0000-0000-C000-000000000046}"
JOURNAL = "{0006200A-0000-0000-C000-000000000046}"
PUBLIC = "{00020329-0000-0000-C000-000000000046}"
SUBJECT, BODY, DISPLAY_NAME = "0037001F", "1000001F", "3001001F"
