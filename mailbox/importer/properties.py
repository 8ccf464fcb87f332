"""The properties that imported items carry: tags and named properties under the names a mail client knows them by.

A property is called by its key in the mailbox file; the type at the key's end decides which Python value goes with it:

    UNICODE, MV_UNICODE   str, list of str
    LONG, SHORT, LONG_LONG  int
    DOUBLE                float
    BOOLEAN               bool
    SYSTIME               datetime with a time zone
    BINARY, MV_BINARY     bytes, list of bytes
"""

from __future__ import annotations

import enum
from dataclasses import dataclass


class Kind(enum.IntEnum):
    """Property types by their published numbers."""

    SHORT = 0x0002
    LONG = 0x0003
    DOUBLE = 0x0005
    BOOLEAN = 0x000B
    LONG_LONG = 0x0014
    UNICODE = 0x001F
    SYSTIME = 0x0040
    BINARY = 0x0102
    MV_UNICODE = 0x101F
    MV_BINARY = 0x1102


PSETID_ADDRESS = "{00062004-0000-0000-C000-000000000046}"
PSETID_APPOINTMENT = "{00062002-0000-0000-C000-000000000046}"
PSETID_TASK = "{00062003-0000-0000-C000-000000000046}"
PSETID_COMMON = "{00062008-0000-0000-C000-000000000046}"
PSETID_LOG = "{0006200A-0000-0000-C000-000000000046}"
PSETID_MEETING = "{6ED8DA90-450B-101B-98DA-00AA003F1305}"
PSETID_SOURCE = "{B0A5B6C1-6C1D-4E0F-9B57-2D2B6A7C51E4}"
PS_PUBLIC_STRINGS = "{00020329-0000-0000-C000-000000000046}"


Prop = str


def tag(number: int, kind: int = Kind.UNICODE) -> Prop:
    return f"{number:04X}{kind:04X}"


def named(property_set: str, name: int | str, kind: int = Kind.UNICODE) -> Prop:
    """The key of a named property. A text that would read as a number is marked as a text."""
    if isinstance(name, int):
        return f"{property_set}:0x{name:04X}:{kind:04X}"
    return f"{property_set}:{'=' if name.startswith(('=', '0x', '0X')) else ''}{name}:{kind:04X}"


# Every item
MESSAGE_CLASS = tag(0x001A)
SUBJECT = tag(0x0037)
SUBJECT_PREFIX = tag(0x003D)
NORMALIZED_SUBJECT = tag(0x0E1D)
CONVERSATION_TOPIC = tag(0x0070)
BODY = tag(0x1000)
HTML = tag(0x1013, Kind.BINARY)
IMPORTANCE = tag(0x0017, Kind.LONG)
PRIORITY = tag(0x0026, Kind.LONG)
SENSITIVITY = tag(0x0036, Kind.LONG)
MESSAGE_FLAGS = tag(0x0E07, Kind.LONG)
MSG_STATUS = tag(0x0E17, Kind.LONG)
CREATION_TIME = tag(0x3007, Kind.SYSTIME)
LAST_MODIFICATION_TIME = tag(0x3008, Kind.SYSTIME)
KEYWORDS = named(PS_PUBLIC_STRINGS, "Keywords", Kind.MV_UNICODE)
PRIVATE = named(PSETID_COMMON, 0x8506, Kind.BOOLEAN)
# Where an item lies outside of the mailbox
SOURCE_PATH = named(PSETID_SOURCE, "Path")
SOURCE_PLACE = named(PSETID_SOURCE, "Place", Kind.LONG)
SOURCE_OFFSET = named(PSETID_SOURCE, "Offset", Kind.LONG_LONG)
SOURCE_LENGTH = named(PSETID_SOURCE, "Length", Kind.LONG_LONG)
SOURCE_DIGEST = named(PSETID_SOURCE, "Digest", Kind.BINARY)
# What a file said that no property stands for, line by line as it was written
UNMAPPED = named(PS_PUBLIC_STRINGS, "import-unmapped", Kind.MV_UNICODE)
SOURCE_UID = named(PS_PUBLIC_STRINGS, "import-uid")


@dataclass(frozen=True)
class Person:
    """The properties of one person that an item names: who sent it, and on whose behalf."""

    name: Prop
    address_type: Prop
    address: Prop
    smtp_address: Prop


SENDER = Person(tag(0x0C1A), tag(0x0C1E), tag(0x0C1F), tag(0x5D01))
REPRESENTING = Person(tag(0x0042), tag(0x0064), tag(0x0065), tag(0x5D02))

# Mails
CLIENT_SUBMIT_TIME = tag(0x0039, Kind.SYSTIME)
MESSAGE_DELIVERY_TIME = tag(0x0E06, Kind.SYSTIME)
REPLY_RECIPIENT_NAMES = tag(0x0050)
INTERNET_MESSAGE_ID = tag(0x1035)
IN_REPLY_TO_ID = tag(0x1042)
INTERNET_REFERENCES = tag(0x1039)
LIST_HELP = tag(0x1043)
LIST_SUBSCRIBE = tag(0x1044)
LIST_UNSUBSCRIBE = tag(0x1045)
TRANSPORT_MESSAGE_HEADERS = tag(0x007D)
READ_RECEIPT_REQUESTED = tag(0x0029, Kind.BOOLEAN)
INTERNET_CPID = tag(0x3FDE, Kind.LONG)
LAST_VERB_EXECUTED = tag(0x1081, Kind.LONG)
FLAG_STATUS = tag(0x1090, Kind.LONG)

# Recipients
DISPLAY_NAME = tag(0x3001)
RECIPIENT = Person(DISPLAY_NAME, tag(0x3002), tag(0x3003), tag(0x39FE))
RECIPIENT_TYPE = tag(0x0C15, Kind.LONG)
RECIPIENT_FLAGS = tag(0x5FFD, Kind.LONG)
RECIPIENT_TRACKSTATUS = tag(0x5FFF, Kind.LONG)

# Attachments
ATTACH_METHOD = tag(0x3705, Kind.LONG)
ATTACH_FILENAME = tag(0x3704)
ATTACH_LONG_FILENAME = tag(0x3707)
ATTACH_LONG_PATHNAME = tag(0x370D)
ATTACH_EXTENSION = tag(0x3703)
ATTACH_MIME_TAG = tag(0x370E)
ATTACH_CONTENT_ID = tag(0x3712)
ATTACH_CONTENT_LOCATION = tag(0x3713)
ATTACH_RENDERING_POSITION = tag(0x370B, Kind.LONG)
ATTACH_FLAGS = tag(0x3714, Kind.LONG)
ATTACHMENT_HIDDEN = tag(0x7FFE, Kind.BOOLEAN)
ATTACHMENT_CONTACTPHOTO = tag(0x7FFF, Kind.BOOLEAN)

# Contacts
FILE_AS = named(PSETID_ADDRESS, 0x8005)
HAS_PHOTO = named(PSETID_ADDRESS, 0x8015, Kind.BOOLEAN)
NAME_PREFIX = tag(0x3A45)
GIVEN_NAME = tag(0x3A06)
MIDDLE_NAME = tag(0x3A44)
SURNAME = tag(0x3A11)
GENERATION = tag(0x3A05)
INITIALS = tag(0x3A0A)
NICKNAME = tag(0x3A4F)
YOMI_FIRST_NAME = named(PSETID_ADDRESS, 0x802C)
YOMI_LAST_NAME = named(PSETID_ADDRESS, 0x802D)
YOMI_COMPANY_NAME = named(PSETID_ADDRESS, 0x802E)
COMPANY_NAME = tag(0x3A16)
DEPARTMENT_NAME = tag(0x3A18)
OFFICE_LOCATION = tag(0x3A19)
TITLE = tag(0x3A17)
PROFESSION = tag(0x3A46)
MANAGER_NAME = tag(0x3A4E)
ASSISTANT = tag(0x3A30)
SPOUSE_NAME = tag(0x3A48)
CHILDRENS_NAMES = tag(0x3A58, Kind.MV_UNICODE)
BIRTHDAY = tag(0x3A42, Kind.SYSTIME)
WEDDING_ANNIVERSARY = tag(0x3A41, Kind.SYSTIME)
GENDER = tag(0x3A4D, Kind.SHORT)
HOBBIES = tag(0x3A43)
ACCOUNT = tag(0x3A00)
GOVERNMENT_ID_NUMBER = tag(0x3A07)
LANGUAGE = tag(0x3A0C)
LOCATION = tag(0x3A0D)
ORGANIZATIONAL_ID_NUMBER = tag(0x3A10)
REFERRED_BY_NAME = tag(0x3A47)
COMPUTER_NETWORK_NAME = tag(0x3A49)
CUSTOMER_ID = tag(0x3A4A)
FTP_SITE = tag(0x3A4C)
PERSONAL_HOME_PAGE = tag(0x3A50)
BUSINESS_HOME_PAGE = tag(0x3A51)
WEB_PAGE = named(PSETID_ADDRESS, 0x802B)
IM_ADDRESS = named(PSETID_ADDRESS, 0x8062)
FREE_BUSY_LOCATION = named(PSETID_ADDRESS, 0x80D8)
BILLING = named(PSETID_COMMON, 0x8535)
MILEAGE = named(PSETID_COMMON, 0x8534)
USER_FIELD_1 = named(PSETID_ADDRESS, 0x804F)
USER_FIELD_2 = named(PSETID_ADDRESS, 0x8050)
USER_FIELD_3 = named(PSETID_ADDRESS, 0x8051)
USER_FIELD_4 = named(PSETID_ADDRESS, 0x8052)
CRM_ID = named(PS_PUBLIC_STRINGS, "crmid")
USER_CERTIFICATES = tag(0x3A70, Kind.MV_BINARY)

ASSISTANT_PHONE = tag(0x3A2E)
BUSINESS_FAX = tag(0x3A24)
BUSINESS_PHONE = tag(0x3A08)
BUSINESS_PHONE_2 = tag(0x3A1B)
CALLBACK_PHONE = tag(0x3A02)
CAR_PHONE = tag(0x3A1E)
COMPANY_PHONE = tag(0x3A57)
HOME_FAX = tag(0x3A25)
HOME_PHONE = tag(0x3A09)
HOME_PHONE_2 = tag(0x3A2F)
ISDN = tag(0x3A2D)
MOBILE_PHONE = tag(0x3A1C)
OTHER_FAX = tag(0x3A23)
OTHER_PHONE = tag(0x3A1F)
PAGER = tag(0x3A21)
PRIMARY_PHONE = tag(0x3A1A)
RADIO_PHONE = tag(0x3A1D)
TELEX = tag(0x3A2C)
TTYTDD_PHONE = tag(0x3A4B)


@dataclass(frozen=True)
class Email:
    """The properties of one of a contact's three e-mail addresses."""

    display_name: Prop
    address_type: Prop
    address: Prop
    original_display_name: Prop


EMAILS = tuple(
    Email(
        named(PSETID_ADDRESS, base),
        named(PSETID_ADDRESS, base + 2),
        named(PSETID_ADDRESS, base + 3),
        named(PSETID_ADDRESS, base + 4),
    )
    for base in (0x8080, 0x8090, 0x80A0)
)


@dataclass(frozen=True)
class Address:
    """The properties of one postal address: the whole as a text, and its parts."""

    whole: Prop
    street: Prop
    city: Prop
    state: Prop
    postal_code: Prop
    country: Prop
    post_office_box: Prop


HOME_ADDRESS = Address(
    named(PSETID_ADDRESS, 0x801A), tag(0x3A5D), tag(0x3A59), tag(0x3A5C), tag(0x3A5B), tag(0x3A5A), tag(0x3A5E)
)
BUSINESS_ADDRESS = Address(
    named(PSETID_ADDRESS, 0x801B), *(named(PSETID_ADDRESS, number) for number in range(0x8045, 0x804B))
)
OTHER_ADDRESS = Address(
    named(PSETID_ADDRESS, 0x801C), tag(0x3A63), tag(0x3A5F), tag(0x3A62), tag(0x3A61), tag(0x3A60), tag(0x3A64)
)
MAILING_ADDRESS = Address(tag(0x3A15), tag(0x3A29), tag(0x3A27), tag(0x3A28), tag(0x3A2A), tag(0x3A26), tag(0x3A2B))
MAILING_ADDRESS_CHOICE = named(PSETID_ADDRESS, 0x8022, Kind.LONG)  # 1 home, 2 business, 3 other

# Appointments
APPOINTMENT_START = named(PSETID_APPOINTMENT, 0x820D, Kind.SYSTIME)
APPOINTMENT_END = named(PSETID_APPOINTMENT, 0x820E, Kind.SYSTIME)
APPOINTMENT_DURATION = named(PSETID_APPOINTMENT, 0x8213, Kind.LONG)  # minutes
APPOINTMENT_ALL_DAY = named(PSETID_APPOINTMENT, 0x8215, Kind.BOOLEAN)
APPOINTMENT_LOCATION = named(PSETID_APPOINTMENT, 0x8208)
APPOINTMENT_SEQUENCE = named(PSETID_APPOINTMENT, 0x8201, Kind.LONG)
APPOINTMENT_BUSY_STATUS = named(PSETID_APPOINTMENT, 0x8205, Kind.LONG)
APPOINTMENT_STATE_FLAGS = named(PSETID_APPOINTMENT, 0x8217, Kind.LONG)
APPOINTMENT_RECURRING = named(PSETID_APPOINTMENT, 0x8223, Kind.BOOLEAN)
APPOINTMENT_REPLACE_TIME = named(PSETID_APPOINTMENT, 0x8228, Kind.SYSTIME)
APPOINTMENT_RECURRENCE_TYPE = named(PSETID_APPOINTMENT, 0x8231, Kind.LONG)
APPOINTMENT_RECURRENCE_PATTERN = named(PSETID_APPOINTMENT, 0x8232)
RECURRENCE_LINES = named(PS_PUBLIC_STRINGS, "import-recurrence", Kind.MV_UNICODE)
MEETING_GLOBAL_ID = named(PSETID_MEETING, 0x0003, Kind.BINARY)
MEETING_CLEAN_GLOBAL_ID = named(PSETID_MEETING, 0x0023, Kind.BINARY)
START_DATE = tag(0x0060, Kind.SYSTIME)
END_DATE = tag(0x0061, Kind.SYSTIME)
COMMON_START = named(PSETID_COMMON, 0x8516, Kind.SYSTIME)
COMMON_END = named(PSETID_COMMON, 0x8517, Kind.SYSTIME)
REMINDER_MINUTES = named(PSETID_COMMON, 0x8501, Kind.LONG)
REMINDER_TIME = named(PSETID_COMMON, 0x8502, Kind.SYSTIME)
REMINDER_SET = named(PSETID_COMMON, 0x8503, Kind.BOOLEAN)

# Tasks
TASK_START = named(PSETID_TASK, 0x8104, Kind.SYSTIME)
TASK_DUE = named(PSETID_TASK, 0x8105, Kind.SYSTIME)
TASK_STATUS = named(PSETID_TASK, 0x8101, Kind.LONG)
TASK_PERCENT = named(PSETID_TASK, 0x8102, Kind.DOUBLE)  # 0.0 to 1.0
TASK_COMPLETED_ON = named(PSETID_TASK, 0x810F, Kind.SYSTIME)
TASK_COMPLETE = named(PSETID_TASK, 0x811C, Kind.BOOLEAN)
TASK_ESTIMATED_EFFORT = named(PSETID_TASK, 0x8111, Kind.LONG)  # minutes
TASK_OWNER = named(PSETID_TASK, 0x811F)
TASK_RECURRING = named(PSETID_TASK, 0x8126, Kind.BOOLEAN)

# Journal entries
JOURNAL_TYPE = named(PSETID_LOG, 0x8700)
JOURNAL_START = named(PSETID_LOG, 0x8706, Kind.SYSTIME)
JOURNAL_DURATION = named(PSETID_LOG, 0x8707, Kind.LONG)  # minutes
JOURNAL_END = named(PSETID_LOG, 0x8708, Kind.SYSTIME)
JOURNAL_TYPE_TEXT = named(PSETID_LOG, 0x8712)
