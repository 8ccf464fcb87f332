"""Mails: a message in its internet form becomes an item as a mail client would store it on delivery."""

from __future__ import annotations

import email.errors
import email.header
import email.utils
import functools
import re
from collections.abc import Iterator
from dataclasses import dataclass
from datetime import datetime, timedelta, timezone

from . import properties as p
from .charsets import decode_bytes
from .html_text import html_to_text
from .mime import DEEPEST_NESTING, Part, header_text
from .model import BCC, CC, TO, Attachment, Item, ItemKind, Recipient, Report, Values, shortened
from .times import FIRST_YEAR

READ, UNSENT, HAS_ATTACHMENT = 0x01, 0x08, 0x10  # bits of the message flags
MHTML_REFERENCE = 4  # attachment flag: the body shows it
DELETE_MARKED = 8  # message status
REPLIED, FORWARDED = 102, 104  # last verbs executed
FLAGGED = 2  # flag status

# Headers that have a property of their own and are copied as text
TEXT_HEADERS = {
    "message-id": p.INTERNET_MESSAGE_ID,
    "in-reply-to": p.IN_REPLY_TO_ID,
    "references": p.INTERNET_REFERENCES,
    "list-help": p.LIST_HELP,
    "list-subscribe": p.LIST_SUBSCRIBE,
    "list-unsubscribe": p.LIST_UNSUBSCRIBE,
}

IMPORTANCE = {"low": 0, "non-urgent": 0, "5": 0, "4": 0, "high": 2, "urgent": 2, "1": 2, "2": 2}
SENSITIVITY = {"personal": 1, "private": 2, "company-confidential": 3}

# Message classes by what the mail is: its content type, then the parameter that decides, in lower case
MESSAGE_CLASSES = {
    ("multipart/report", "delivery-status"): "REPORT.IPM.Note.NDR",
    ("multipart/report", "disposition-notification"): "REPORT.IPM.Note.IPNRN",
    ("multipart/signed", "application/pkcs7-signature"): "IPM.Note.SMIME.MultipartSigned",
    ("multipart/signed", "application/x-pkcs7-signature"): "IPM.Note.SMIME.MultipartSigned",
    ("application/pkcs7-mime", ""): "IPM.Note.SMIME",
    ("application/x-pkcs7-mime", ""): "IPM.Note.SMIME",
    ("text/calendar", "request"): "IPM.Schedule.Meeting.Request",
    ("text/calendar", "cancel"): "IPM.Schedule.Meeting.Canceled",
}
DECIDING_PARAMETER = {"multipart/report": "report-type", "multipart/signed": "protocol", "text/calendar": "method"}

EXTENSIONS = {"text/calendar": ".ics", "text/html": ".htm", "text/plain": ".txt", "message/rfc822": ".eml",
              "image/jpeg": ".jpg", "image/png": ".png", "image/gif": ".gif", "application/pdf": ".pdf",
              "application/pgp-signature": ".asc", "application/pkcs7-signature": ".p7s",
              "message/delivery-status": ".txt", "text/vcard": ".vcf", "text/x-vcard": ".vcf"}  # fmt: skip

MOZILLA_STATUS = {0x0001: "S", 0x0002: "R", 0x0004: "F", 0x0008: "T", 0x1000: "P"}

REPLY_PREFIX = re.compile(r"\s{0,8}[^\W\d_]{1,3}:\s?")  # one to three letters and a colon, as in "Re: " and "AW: "


@dataclass(frozen=True)
class Origin:
    """What the place of a mail says about it beside its text: flags and time of a Maildir or mbox file."""

    flags: str = ""
    delivered: datetime | None = None


def read_mail(data: bytes, place: str, report: Report, origin: Origin = Origin()) -> Item | None:
    """One mail from its bytes; None, and a problem reported, when it has no header at all."""
    try:
        if b"\n" not in data:
            data = data.replace(b"\r", b"\n")
        part = Part(data)
        for line in part.junk:
            report.problem(place, f"a line that is no header among the headers: {shortened(line)}")
        if not part.headers:
            report.problem(place, "no mail: it has no header" if data.strip() else "no mail: it is empty")
            return None
        return MailReader(place, report).item(part, origin)
    except RecursionError:
        report.problem(place, "the parts of the mail are nested too deep")
    except Exception as error:  # whatever a mail holds, the others are read
        report.problem(place, f"the mail cannot be read: {type(error).__name__}: {error}")
    return None


_WORD = re.compile(r"=\?([^?]*)\?([qQbB])\?([^?]*)\?=")


def decode_words(text: str) -> str:
    """Resolves encoded words; a damaged one stays as it was written."""
    if "=?" not in text or not _WORD.search(text):
        return text
    out = []
    try:
        for part, charset in email.header.decode_header(text):
            out.append(part if isinstance(part, str) else decode_bytes(part, charset or "utf-8")[0])
    except (email.errors.HeaderParseError, ValueError, LookupError):
        return text
    return "".join(out)


_MONTHS = {name: number for number, name in enumerate("Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec".split(), 1)}
_USUAL_TIME = re.compile(
    r"\s*(?:[A-Z][a-z]{2}, )?\s?(\d\d?) ([A-Z][a-z]{2}) (\d{4}) (\d\d):(\d\d):(\d\d) ([+-])(\d\d)(\d\d)(?: \([A-Z]+\))?\s*\Z"
)


@functools.lru_cache(maxsize=64)
def header_time(value: str) -> datetime | None:
    """The moment that a Date or Received header names; UTC when it names no zone, None when it names no time."""
    try:
        usual = _USUAL_TIME.match(value)
        if usual and usual[2] in _MONTHS:
            day, month, year, hour, minute, second, sign, hours, minutes = usual.groups()
            moment = datetime(int(year), _MONTHS[month], int(day), int(hour), int(minute), int(second), 0, timezone.utc)
            ahead = int(hours) * 60 + int(minutes)
            if ahead:
                moment -= timedelta(minutes=ahead if sign == "+" else -ahead)
        else:
            parts = email.utils.parsedate_tz(value)
            if parts is None:
                return None
            moment = datetime(*parts[:6], tzinfo=timezone.utc) - timedelta(seconds=parts[9] or 0)
    except (ValueError, TypeError, OverflowError, IndexError):
        return None
    return moment if moment.year >= FIRST_YEAR else None


_PLAIN_ADDRESS = re.compile(r'\s*(?:(?:"([^"\\]*)"|([\w!#$%&\'*+/=?^`{|}~ -]*?))\s*<([^\s<>@,:;"()\\[\]]+@[^\s<>@,:;"()\\[\]]+)>'
                            r'|([^\s<>@,:;"()\\[\]]+@[^\s<>@,:;"()\\[\]]+))\s*\Z')  # fmt: skip


@functools.lru_cache(maxsize=1024)
def addresses(text: str) -> tuple[tuple[str, str], ...]:
    """Names and addresses of an address header, groups opened; what has neither is left out."""
    plain = _PLAIN_ADDRESS.match(text) if len(text) < 200 else None
    if plain:
        return ((decode_words((plain[1] or plain[2] or "").strip()).strip(), plain[3] or plain[4]),)
    if not re.search(r"[@<,:]", text) and " " in text.strip():
        return ((decode_words(text).strip(), ""),)  # a name alone, which the library would take for several addresses
    try:
        pairs = email.utils.getaddresses([text])
    except (ValueError, IndexError, TypeError, RecursionError):
        pairs = []
    found = [(decode_words(name).strip(), decode_words(address).strip()) for name, address in pairs if name or address]
    if not found and text.strip():
        found = [(decode_words(text).strip().rstrip(";").rstrip(":"), "")]  # "undisclosed-recipients:;" and the like
    return tuple(found)


class MailReader:
    """Turns parsed messages into items; `place` and `report` say where to tell about what was lost."""

    def __init__(self, place: str, report: Report) -> None:
        self.place = place
        self.report = report

    def item(self, message: Part, origin: Origin, depth: int = 0) -> Item:
        item = Item(ItemKind.MAIL, self.place)
        leaves = list(body_parts(message))
        item.values[p.MESSAGE_CLASS] = message_class(message, leaves)
        item.values.put(p.TRANSPORT_MESSAGE_HEADERS, header_text(message.head))
        self._subject(message, item.values)
        self._people(message, item)
        flags = status_flags(message, origin)
        self._times(message, item.values, origin, unsent="D" in flags)
        for name, prop in TEXT_HEADERS.items():
            item.values.put(prop, message.header(name).strip())
        self._markers(message, item.values)
        self._content(leaves, item, depth)
        put_flags(item.values, flags, bool(item.attachments))
        return item

    def _subject(self, message: Part, values: Values) -> None:
        subject = decode_words(message.header("subject"))
        values.put(p.SUBJECT, subject)
        prefix = REPLY_PREFIX.match(subject)
        values.put(p.SUBJECT_PREFIX, prefix[0].lstrip() if prefix else None)
        values.put(p.NORMALIZED_SUBJECT, subject[prefix.end() :] if prefix else subject)
        topic = decode_words(message.header("thread-topic")) or values.text(p.NORMALIZED_SUBJECT)
        values.put(p.CONVERSATION_TOPIC, topic)

    def _people(self, message: Part, item: Item) -> None:
        authors = addresses(message.header("from"))
        senders = addresses(message.header("sender")) or authors
        authors = authors or senders
        for people, place in ((authors, p.REPRESENTING), (senders, p.SENDER)):
            if people:
                item.values.put_person(place, *people[0])
        for name, kind in (("to", TO), ("cc", CC), ("bcc", BCC)):
            for value in message.all(name):
                item.recipients += [Recipient(*person, kind) for person in addresses(value)]
        replies = [name or address for name, address in addresses(message.header("reply-to"))]
        item.values.put(p.REPLY_RECIPIENT_NAMES, "; ".join(replies))
        item.values.put(p.READ_RECEIPT_REQUESTED, True if message.all("disposition-notification-to") else None)

    def _times(self, message: Part, values: Values, origin: Origin, unsent: bool) -> None:
        date = message.header("date")
        sent = header_time(date)
        if date.strip() and sent is None:
            self.report.problem(self.place, f"no time in Date: {date.strip()}")
        received = next(filter(None, (header_time(text) for text in self._receipts(message))), origin.delivered)
        if unsent:  # a draft has been written, but neither sent nor received
            written = sent or received
        else:
            values.put(p.CLIENT_SUBMIT_TIME, sent or received)
            values.put(p.MESSAGE_DELIVERY_TIME, received or sent)
            written = received or sent
        values.put(p.CREATION_TIME, written)
        values.put(p.LAST_MODIFICATION_TIME, written)

    def _receipts(self, message: Part) -> Iterator[str]:
        """The texts that may say when the mail arrived, the last station first."""
        for received in message.all("received"):
            yield received.rpartition(";")[2]
        yield message.header("delivery-date")

    def _markers(self, message: Part, values: Values) -> None:
        for name in ("importance", "x-priority", "priority", "x-msmail-priority"):
            word = message.header(name).strip().lower()
            level = IMPORTANCE.get(word, IMPORTANCE.get(word[:1]))
            if level is not None:
                values.put_new(p.IMPORTANCE, level)
                values.put_new(p.PRIORITY, level - 1)
        values.put(p.SENSITIVITY, SENSITIVITY.get(message.header("sensitivity").strip().lower()))
        keywords = [decode_words(v) for n in ("keywords", "x-keywords") for v in message.all(n)]
        values.put(p.KEYWORDS, list(filter(None, (word.strip() for text in keywords for word in text.split(",")))))

    def _content(self, leaves: list[tuple[Part, bool]], item: Item, depth: int) -> None:
        texts: list[str] = []
        html = ""
        for part, shown in leaves:
            kind = part.type
            if shown and kind == "text/plain":
                texts.append(self._text(part))
            elif shown and kind == "text/html" and not html:
                html = self._text(part)
            else:
                attachment = self._attachment(part, len(item.attachments) + 1, depth)
                if attachment:
                    item.attachments.append(attachment)
        text = "\n".join(texts) if any(t.strip() for t in texts) else html_to_text(html) if html else "".join(texts)
        item.values.put(p.BODY, text.replace("\r\n", "\n").replace("\n", "\r\n"))
        item.values.put(p.HTML, html.encode("utf-8"))
        item.values.put(p.INTERNET_CPID, 65001 if html else None)

    def _text(self, part: Part) -> str:
        name = part.parameter("charset") or "us-ascii"
        text, right = decode_bytes(self._data(part), name)
        if not right:
            self.report.problem(
                self.place, f"text is not in character set {shortened(name)!r}, or nobody knows that set"
            )
        return text

    def _data(self, part: Part) -> bytes:
        data, right = part.decoded()
        if not right:
            self.report.problem(self.place, f"damaged {part.encoding} in a part; what could be decoded is kept")
        return data

    def _attachment(self, part: Part, number: int, depth: int) -> Attachment | None:
        kind = part.type
        name = file_name(part)
        extra = Values()
        content_id = part.header("content-id").strip().strip("<>")
        extra.put(p.ATTACH_CONTENT_ID, content_id)
        extra.put(p.ATTACH_CONTENT_LOCATION, part.header("content-location").strip())
        if content_id and part.disposition[0] != "attachment":
            extra.put(p.ATTACH_FLAGS, MHTML_REFERENCE)
            extra.put(p.ATTACHMENT_HIDDEN, True)
        if kind == "message/rfc822" and depth < DEEPEST_NESTING:
            inner = Part(self._data(part))
            if inner.headers:
                item = self.item(inner, Origin(), depth + 1)
                return Attachment(item.values.text(p.SUBJECT) or name, item=item, extra=extra)
        name = name or f"attachment-{number}{EXTENSIONS.get(kind, '.dat')}"
        return Attachment(name, kind, self._data(part), extra=extra)


def body_parts(message: Part, depth: int = 0) -> Iterator[tuple[Part, bool]]:
    """The leaves of a message in order, each with whether it is shown in the body rather than attached. An attached
    message is one leaf."""
    parts = message.parts() if depth < DEEPEST_NESTING else None
    if parts is None:
        yield message, message.type.startswith("text/") and message.disposition[0] != "attachment" and not file_name(
            message
        )
        return
    for part in parts:
        yield from body_parts(part, depth + 1)


def file_name(part: Part) -> str:
    """The file name that a part gives itself, without any folder; empty when it has none."""
    name = part.disposition[1].get("filename", "") or part.parameter("name")
    return re.split(r"[/\\]", decode_words(name))[-1].strip() if name else ""


def message_class(message: Part, leaves: list[tuple[Part, bool]]) -> str:
    """The class of the item: that of an ordinary mail unless the mail or its calendar part says otherwise."""
    candidates = [message]
    if message.type in ("multipart/alternative", "multipart/mixed"):
        candidates += [part for part, _ in leaves if part.type == "text/calendar"]
    for part in candidates:
        kind = part.type
        deciding = part.parameter(DECIDING_PARAMETER[kind]) if kind in DECIDING_PARAMETER else ""
        if found := MESSAGE_CLASSES.get((kind, deciding.lower())):
            return found
    return ItemKind.MAIL.message_class


def status_flags(message: Part, origin: Origin) -> str:
    """Flags by the letters of a Maildir: S seen, R replied, P passed on, F flagged, D draft, T to be deleted. A mail
    whose surroundings say nothing counts as seen: somebody saved it."""
    letters = {"R": "S", "A": "R", "F": "F", "T": "D", "D": "T"}  # of mbox headers, R is read and A answered
    status = message.header("status") + message.header("x-status")
    flags = origin.flags + "".join(letters.get(letter, "") for letter in status)
    mozilla = message.header("x-mozilla-status").strip()
    if re.fullmatch(r"[0-9A-Fa-f]{1,8}", mozilla):
        flags += "".join(letter for bit, letter in MOZILLA_STATUS.items() if int(mozilla, 16) & bit)
    elif not origin.flags and not status.strip():
        flags += "S"
    if message.header("x-unsent").strip() == "1" or message.all("x-mozilla-draft-info"):
        flags += "D"
    return flags


def put_flags(values: Values, flags: str, attachments: bool) -> None:
    bits = (("S" in flags, READ), ("D" in flags, UNSENT), (attachments, HAS_ATTACHMENT))
    values[p.MESSAGE_FLAGS] = sum(bit for is_set, bit in bits if is_set)
    values.put(p.MSG_STATUS, DELETE_MARKED if "T" in flags else None)
    values.put(p.FLAG_STATUS, FLAGGED if "F" in flags else None)
    values.put(p.LAST_VERB_EXECUTED, FORWARDED if "P" in flags else REPLIED if "R" in flags else None)
