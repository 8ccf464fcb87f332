"""Mails: a message in its internet form becomes an item as a mail client would store it on delivery."""

from __future__ import annotations

import base64
import email
import email.errors
import email.header
import email.message
import email.policy
import email.utils
import re
from collections.abc import Iterator
from dataclasses import dataclass
from datetime import datetime, timedelta, timezone

from . import properties as p
from .charsets import decode_bytes
from .html_text import html_to_text
from .model import BCC, CC, TO, Attachment, Item, ItemKind, Recipient, Report, Values, shortened
from .times import FIRST_YEAR


class HeaderPolicy(email.policy.Compat32):
    """Hands out header values unfolded, with 8-bit bytes decoded and encoded words left alone."""

    def header_fetch_parse(self, name: str, value: str) -> str:
        return raw_header(value)


READ, UNSENT, HAS_ATTACHMENT = 0x01, 0x08, 0x10  # bits of the message flags
MHTML_REFERENCE = 4  # attachment flag: the body shows it
DELETE_MARKED = 8  # message status
REPLIED, FORWARDED = 102, 104  # last verbs executed
FLAGGED = 2  # flag status

# Headers that have a property of their own and are copied as text
TEXT_HEADERS = {
    "Message-ID": p.INTERNET_MESSAGE_ID,
    "In-Reply-To": p.IN_REPLY_TO_ID,
    "References": p.INTERNET_REFERENCES,
    "List-Help": p.LIST_HELP,
    "List-Subscribe": p.LIST_SUBSCRIBE,
    "List-Unsubscribe": p.LIST_UNSUBSCRIBE,
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
DEEPEST_NESTING = 50


@dataclass(frozen=True)
class Origin:
    """What the place of a mail says about it beside its text: flags and time of a Maildir or mbox file."""

    flags: str = ""
    delivered: datetime | None = None


def read_mail(data: bytes, place: str, report: Report, origin: Origin = Origin()) -> Item | None:
    """One mail from its bytes; None, and a problem reported, when it has no header at all."""
    head, body = split_head(data)
    kept, junk = mended_head(head)
    for line in junk:
        report.problem(place, f"a line that is no header among the headers: {shortened(line)}")
    try:
        message = email.message_from_bytes(kept + body, policy=HeaderPolicy())
    except Exception as error:  # the parser is documented not to raise, and yet a mail must not end the import
        report.problem(place, f"the mail cannot be taken apart: {error}")
        return None
    if not message.keys():
        report.problem(place, "no mail: it has no header" if data.strip() else "no mail: it is empty")
        return None
    try:
        return MailReader(place, report).item(message, _bytes_text(head), origin)
    except RecursionError:
        report.problem(place, "the parts of the mail are nested too deep")
    except Exception as error:  # whatever a mail holds, the others are read
        report.problem(place, f"the mail cannot be read: {type(error).__name__}: {error}")
    return None


def split_head(data: bytes) -> tuple[bytes, bytes]:
    """The header lines, and the rest from the blank line on."""
    match = re.search(rb"(?<=\n)\r?\n", data)
    return (data[: match.start()], data[match.start() :]) if match else (data, b"")


_HEADER_LINE = re.compile(rb"[!-9;-~]+[ \t]*:|[ \t]|>?From ")
_USUAL_HEADER = re.compile(
    rb"(?:x-[a-z-]+|from|to|cc|bcc|subject|date|message-id|received|return-path|reply-to|mime-version|content-[a-z-]+)"
    rb"[ \t]*:",
    re.IGNORECASE,
)


def mended_head(head: bytes) -> tuple[bytes, list[str]]:
    """Header lines without those that are none but stand before a usual one, and what was left out. The parser would
    take everything behind such a line for text, and passes over names with a blank before the colon."""
    lines = head.splitlines(keepends=True)
    end = max((index + 1 for index, line in enumerate(lines) if _USUAL_HEADER.match(line)), default=0)
    kept = [re.sub(rb"^([!-9;-~]+)[ \t]+:", rb"\1:", line) for line in lines[:end] if _HEADER_LINE.match(line)]
    junk = [_bytes_text(line) for line in lines[:end] if not _HEADER_LINE.match(line)]
    return b"".join(kept + lines[end:]), junk


def _bytes_text(data: bytes) -> str:
    """Header bytes as text with the line ends of the internet."""
    *ended, last = decode_bytes(data, "")[0].split("\n")
    return "\r\n".join([*(line.rstrip("\r") for line in ended), last])


def raw_header(value: str) -> str:
    """A header's value unfolded, with 8-bit bytes decoded and encoded words left alone."""
    text = _bytes_text(value.encode("utf-8", "surrogateescape"))
    return re.sub(r"\r\n(?=[ \t])", "", text).replace("\r", "").replace("\n", "")


def header(message: email.message.Message, name: str) -> str:
    """The value of the first header of a name, empty when there is none."""
    return message.get(name, "")


def decode_words(text: str) -> str:
    """Resolves encoded words; a damaged one stays as it was written."""
    if "=?" not in text:
        return text
    out = []
    try:
        for part, charset in email.header.decode_header(text):
            out.append(part if isinstance(part, str) else decode_bytes(part, charset or "utf-8")[0])
    except (email.errors.HeaderParseError, ValueError, LookupError):
        return text
    return "".join(out)


def header_time(value: str) -> datetime | None:
    """The moment that a Date or Received header names; UTC when it names no zone, None when it names no time."""
    try:
        parts = email.utils.parsedate_tz(value)
        if parts is None:
            return None
        moment = datetime(*parts[:6], tzinfo=timezone.utc) - timedelta(seconds=parts[9] or 0)
    except (ValueError, TypeError, OverflowError, IndexError):
        return None
    return moment if moment.year >= FIRST_YEAR else None


def addresses(text: str) -> list[tuple[str, str]]:
    """Names and addresses of an address header, groups opened; what has neither is left out."""
    if not re.search(r"[@<,:]", text) and " " in text.strip():
        return [(decode_words(text).strip(), "")]  # a name alone, which the library would take for several addresses
    try:
        pairs = email.utils.getaddresses([text])
    except (ValueError, IndexError, TypeError):
        pairs = []
    found = [(decode_words(name).strip(), decode_words(address).strip()) for name, address in pairs if name or address]
    if not found and text.strip():
        found = [(decode_words(text).strip().rstrip(";").rstrip(":"), "")]  # "undisclosed-recipients:;" and the like
    return found


class MailReader:
    """Turns parsed messages into items; `place` and `report` say where to tell about what was lost."""

    def __init__(self, place: str, report: Report) -> None:
        self.place = place
        self.report = report

    def item(self, message: email.message.Message, headers: str, origin: Origin, depth: int = 0) -> Item:
        item = Item(ItemKind.MAIL, self.place)
        item.values[p.MESSAGE_CLASS] = message_class(message)
        item.values.put(p.TRANSPORT_MESSAGE_HEADERS, headers)
        self._subject(message, item.values)
        self._people(message, item)
        flags = status_flags(message, origin)
        self._times(message, item.values, origin, unsent="D" in flags)
        for name, prop in TEXT_HEADERS.items():
            item.values.put(prop, header(message, name).strip())
        self._markers(message, item.values)
        self._content(message, item, depth)
        put_flags(item.values, flags, bool(item.attachments))
        return item

    def _subject(self, message: email.message.Message, values: Values) -> None:
        subject = decode_words(header(message, "Subject"))
        values.put(p.SUBJECT, subject)
        prefix = REPLY_PREFIX.match(subject)
        values.put(p.SUBJECT_PREFIX, prefix[0].lstrip() if prefix else None)
        values.put(p.NORMALIZED_SUBJECT, subject[prefix.end() :] if prefix else subject)
        topic = decode_words(header(message, "Thread-Topic")) or values.text(p.NORMALIZED_SUBJECT)
        values.put(p.CONVERSATION_TOPIC, topic)

    def _people(self, message: email.message.Message, item: Item) -> None:
        authors = addresses(header(message, "From"))
        senders = addresses(header(message, "Sender")) or authors
        authors = authors or senders
        for people, place in ((authors, p.REPRESENTING), (senders, p.SENDER)):
            if people:
                item.values.put_person(place, *people[0])
        for name, kind in (("To", TO), ("Cc", CC), ("Bcc", BCC)):
            for value in message.get_all(name, []):
                item.recipients += [Recipient(*person, kind) for person in addresses(value)]
        replies = [name or address for name, address in addresses(header(message, "Reply-To"))]
        item.values.put(p.REPLY_RECIPIENT_NAMES, "; ".join(replies))
        item.values.put(p.READ_RECEIPT_REQUESTED, True if "Disposition-Notification-To" in message else None)

    def _times(self, message: email.message.Message, values: Values, origin: Origin, unsent: bool) -> None:
        date = header(message, "Date")
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

    def _receipts(self, message: email.message.Message) -> Iterator[str]:
        """The texts that may say when the mail arrived, the last station first."""
        for received in message.get_all("Received", []):
            yield received.rpartition(";")[2]
        yield header(message, "Delivery-Date")

    def _markers(self, message: email.message.Message, values: Values) -> None:
        for name in ("Importance", "X-Priority", "Priority", "X-MSMail-Priority"):
            word = header(message, name).strip().lower()
            level = IMPORTANCE.get(word, IMPORTANCE.get(word[:1]))
            if level is not None:
                values.put_new(p.IMPORTANCE, level)
                values.put_new(p.PRIORITY, level - 1)
        values.put(p.SENSITIVITY, SENSITIVITY.get(header(message, "Sensitivity").strip().lower()))
        keywords = [decode_words(v) for n in ("Keywords", "X-Keywords") for v in message.get_all(n, [])]
        values.put(p.KEYWORDS, list(filter(None, (word.strip() for text in keywords for word in text.split(",")))))

    def _content(self, message: email.message.Message, item: Item, depth: int) -> None:
        texts: list[str] = []
        html = ""
        for part, shown in body_parts(message):
            kind = part.get_content_type()
            if shown and kind == "text/plain":
                texts.append(self._text(part))
            elif shown and kind == "text/html" and not html:
                html = self._text(part)
            else:
                attachment = self._attachment(part, len(item.attachments) + 1, depth)
                if attachment:
                    item.attachments.append(attachment)
        text = "\n".join(texts) if any(t.strip() for t in texts) else html_to_text(html) if html else "".join(texts)
        item.values.put(p.BODY, re.sub(r"\r?\n", "\r\n", text))
        item.values.put(p.HTML, html.encode("utf-8"))
        item.values.put(p.INTERNET_CPID, 65001 if html else None)

    def _text(self, part: email.message.Message) -> str:
        charset = part.get_param("charset") or ""
        name = email.utils.collapse_rfc2231_value(charset) if charset else "us-ascii"
        text, right = decode_bytes(self._payload(part), name)
        if not right:
            self.report.problem(self.place, f"text is not in character set {shortened(name)!r}, or nobody knows that set")
        return text

    def _payload(self, part: email.message.Message) -> bytes:
        payload = part.get_payload(decode=True)
        if payload is None:  # message/delivery-status and other parts that the parser took further apart
            return b"".join(sub.as_bytes() for sub in part.get_payload() if isinstance(sub, email.message.Message))
        if any(isinstance(defect, BASE64_DEFECTS) for defect in part.defects):
            self.report.problem(self.place, "damaged base64 in a part; what could be decoded is kept")
            part.del_param("charset")  # or the text would be decoded by it
            return decode_damaged_base64(str(part.get_payload()))
        return bytes(payload)

    def _attachment(self, part: email.message.Message, number: int, depth: int) -> Attachment | None:
        kind = part.get_content_type()
        name = file_name(part) or f"attachment-{number}{EXTENSIONS.get(kind, '.dat')}"
        extra = Values()
        content_id = header(part, "Content-ID").strip().strip("<>")
        extra.put(p.ATTACH_CONTENT_ID, content_id)
        extra.put(p.ATTACH_CONTENT_LOCATION, header(part, "Content-Location").strip())
        if content_id and part.get_content_disposition() != "attachment":
            extra.put(p.ATTACH_FLAGS, MHTML_REFERENCE)
            extra.put(p.ATTACHMENT_HIDDEN, True)
        if kind == "message/rfc822":
            inner = part.get_payload()
            inner = inner[0] if isinstance(inner, list) and inner else None
            if isinstance(inner, email.message.Message) and depth < DEEPEST_NESTING:
                headers = "".join(f"{key}: {value}\r\n" for key, value in inner.items())
                item = self.item(inner, headers, Origin(), depth + 1)
                return Attachment(item.values.text(p.SUBJECT) or file_name(part), item=item, extra=extra)
        return Attachment(name, kind, self._payload(part), extra=extra)


BASE64_DEFECTS = (
    email.errors.InvalidBase64CharactersDefect,
    email.errors.InvalidBase64PaddingDefect,
    email.errors.InvalidBase64LengthDefect,
)


def decode_damaged_base64(text: str) -> bytes:
    """The bytes of as many whole groups of base64 as there are, whatever stands between them."""
    digits = re.sub(r"[^A-Za-z0-9+/]", "", text)
    digits = digits[:-1] if len(digits) % 4 == 1 else digits
    return base64.b64decode(digits + "=" * (-len(digits) % 4))


def body_parts(message: email.message.Message) -> Iterator[tuple[email.message.Message, bool]]:
    """The leaves of a message in order, each with whether it is shown in the body rather than attached. An attached
    message is one leaf."""
    if message.is_multipart() and message.get_content_maintype() == "multipart":
        for part in message.get_payload():
            yield from body_parts(part)
    else:
        attached = message.get_content_disposition() == "attachment" or bool(file_name(message))
        yield message, message.get_content_maintype() == "text" and not attached


def file_name(part: email.message.Message) -> str:
    """The file name that a part gives itself, without any folder; empty when it has none."""
    try:
        name = decode_words(part.get_filename() or "")
    except (LookupError, ValueError, TypeError):
        return ""
    return re.split(r"[/\\]", name)[-1].strip()


def message_class(message: email.message.Message) -> str:
    """The class of the item: that of an ordinary mail unless the mail or its calendar part says otherwise."""
    candidates = [message]
    if message.get_content_type() in ("multipart/alternative", "multipart/mixed"):
        candidates += [part for part, shown in body_parts(message) if part.get_content_type() == "text/calendar"]
    for part in candidates:
        kind = part.get_content_type()
        deciding = str(part.get_param(DECIDING_PARAMETER[kind]) or "") if kind in DECIDING_PARAMETER else ""
        if found := MESSAGE_CLASSES.get((kind, deciding.lower())):
            return found
    return ItemKind.MAIL.message_class


def status_flags(message: email.message.Message, origin: Origin) -> str:
    """Flags by the letters of a Maildir: S seen, R replied, P passed on, F flagged, D draft, T to be deleted. A mail
    whose surroundings say nothing counts as seen: somebody saved it."""
    letters = {"R": "S", "A": "R", "F": "F", "T": "D", "D": "T"}  # of mbox headers, R is read and A answered
    status = header(message, "Status") + header(message, "X-Status")
    flags = origin.flags + "".join(letters.get(letter, "") for letter in status)
    mozilla = header(message, "X-Mozilla-Status").strip()
    if re.fullmatch(r"[0-9A-Fa-f]{1,8}", mozilla):
        flags += "".join(letter for bit, letter in MOZILLA_STATUS.items() if int(mozilla, 16) & bit)
    elif not origin.flags and not status.strip():
        flags += "S"
    if header(message, "X-Unsent").strip() == "1" or "X-Mozilla-Draft-Info" in message:
        flags += "D"
    return flags


def put_flags(values: Values, flags: str, attachments: bool) -> None:
    bits = (("S" in flags, READ), ("D" in flags, UNSENT), (attachments, HAS_ATTACHMENT))
    values[p.MESSAGE_FLAGS] = sum(bit for is_set, bit in bits if is_set)
    values.put(p.MSG_STATUS, DELETE_MARKED if "T" in flags else None)
    values.put(p.FLAG_STATUS, FLAGGED if "F" in flags else None)
    values.put(p.LAST_VERB_EXECUTED, FORWARDED if "P" in flags else REPLIED if "R" in flags else None)
