"""Contacts: a vCard of version 2.1, 3.0 or 4.0, with the additions of the usual programs, becomes a contact item.

`TEXTS`, `LISTS`, `DATES`, `PHONES` and the handlers below them say where each vCard property goes. Whatever has no
place, or finds its places taken, stays with the item line by line (`properties.UNMAPPED`) and is counted in the report.
"""

from __future__ import annotations

import re
from collections.abc import Callable
from dataclasses import dataclass, field
from datetime import datetime, time

from . import properties as p
from .content_lines import Component, Line, read_components, split_unescaped
from .model import Attachment, Item, ItemKind, Report, Values
from .properties import Prop
from .times import UTC, day_from_text, moment_from_text

# Bookkeeping of the file format, which says nothing about the contact
IGNORED = frozenset(("VERSION", "PRODID", "PROFILE"))

# Properties whose text goes to one property as it is
TEXTS: dict[str, Prop] = {
    "FN": p.DISPLAY_NAME,
    "TITLE": p.TITLE,
    "ROLE": p.PROFESSION, "X-PROFESSION": p.PROFESSION,
    "X-EVOLUTION-FILE-AS": p.FILE_AS, "X-MS-FILE-AS": p.FILE_AS, "X-FILE-AS": p.FILE_AS,
    "X-MS-MANAGER": p.MANAGER_NAME, "X-EVOLUTION-MANAGER": p.MANAGER_NAME, "X-MANAGER": p.MANAGER_NAME,
    "X-KADDRESSBOOK-X-MANAGERSNAME": p.MANAGER_NAME,
    "X-MS-ASSISTANT": p.ASSISTANT, "X-EVOLUTION-ASSISTANT": p.ASSISTANT, "X-ASSISTANT": p.ASSISTANT,
    "X-KADDRESSBOOK-X-ASSISTANTSNAME": p.ASSISTANT,
    "X-MS-SPOUSE": p.SPOUSE_NAME, "X-EVOLUTION-SPOUSE": p.SPOUSE_NAME, "X-SPOUSE": p.SPOUSE_NAME,
    "X-KADDRESSBOOK-X-SPOUSESNAME": p.SPOUSE_NAME,
    "X-KADDRESSBOOK-X-OFFICE": p.OFFICE_LOCATION, "X-OFFICE": p.OFFICE_LOCATION,
    "X-KADDRESSBOOK-X-PROFESSION": p.PROFESSION,
    "X-DEPARTMENT": p.DEPARTMENT_NAME,
    "FBURL": p.FREE_BUSY_LOCATION,
    "LANG": p.LANGUAGE, "X-LANGUAGE": p.LANGUAGE,
    "X-PHONETIC-FIRST-NAME": p.YOMI_FIRST_NAME, "X-PHONETIC-LAST-NAME": p.YOMI_LAST_NAME,
    "X-PHONETIC-ORG": p.YOMI_COMPANY_NAME,
    "HOBBY": p.HOBBIES, "INTEREST": p.HOBBIES, "X-MS-INTERESTS": p.HOBBIES, "X-HOBBY": p.HOBBIES,
    "X-HOBBIES": p.HOBBIES,
    "X-ACCOUNT": p.ACCOUNT,
    "X-BILLING": p.BILLING, "X-BILLING-INFORMATION": p.BILLING,
    "X-COMPUTER-NETWORK-NAME": p.COMPUTER_NETWORK_NAME,
    "X-CRMID": p.CRM_ID, "X-CRM-ID": p.CRM_ID,
    "X-CUSTOMER-ID": p.CUSTOMER_ID,
    "X-FTP-SITE": p.FTP_SITE,
    "X-GOVERNMENT-ID": p.GOVERNMENT_ID_NUMBER,
    "X-INITIALS": p.INITIALS,
    "X-LOCATION": p.LOCATION,
    "X-MILEAGE": p.MILEAGE,
    "X-ORGANIZATIONAL-ID": p.ORGANIZATIONAL_ID_NUMBER,
    "X-REFERRED-BY": p.REFERRED_BY_NAME,
    "X-CUSTOM1": p.USER_FIELD_1, "X-CUSTOM2": p.USER_FIELD_2, "X-CUSTOM3": p.USER_FIELD_3,
    "X-CUSTOM4": p.USER_FIELD_4,
    "UID": p.SOURCE_UID,
}  # fmt: skip

# Properties that are lists of texts
LISTS: dict[str, Prop] = {"CATEGORIES": p.KEYWORDS, "X-MS-CHILD": p.CHILDRENS_NAMES, "X-CHILD": p.CHILDRENS_NAMES}

# Properties that are days of a year
DATES: dict[str, Prop] = {
    "BDAY": p.BIRTHDAY,
    "ANNIVERSARY": p.WEDDING_ANNIVERSARY, "X-ANNIVERSARY": p.WEDDING_ANNIVERSARY,
    "X-MS-ANNIVERSARY": p.WEDDING_ANNIVERSARY, "X-EVOLUTION-ANNIVERSARY": p.WEDDING_ANNIVERSARY,
    "X-KADDRESSBOOK-X-ANNIVERSARY": p.WEDDING_ANNIVERSARY,
}  # fmt: skip

INSTANT_MESSAGING = frozenset(
    ("IMPP", "X-MS-IMADDRESS", "X-AIM", "X-ICQ", "X-JABBER", "X-MSN", "X-YAHOO", "X-SKYPE", "X-SKYPE-USERNAME",
     "X-GOOGLE-TALK", "X-GADUGADU", "X-GROUPWISE", "X-MATRIX", "X-SIP", "X-QQ", "X-TWITTER")
)  # fmt: skip

# Where a telephone number goes: the first row whose types the number all has; of its places the first that is free.
# A number that finds none free goes to OTHER_PHONES, and then stays a line.
PHONES: tuple[tuple[frozenset[str], tuple[Prop, ...]], ...] = tuple(
    (frozenset(types.split()), places)
    for types, places in (
        ("FAX WORK", (p.BUSINESS_FAX,)),
        ("FAX HOME", (p.HOME_FAX,)),
        ("FAX OTHER", (p.OTHER_FAX,)),
        ("FAX", (p.BUSINESS_FAX, p.OTHER_FAX)),
        ("X-EVOLUTION-ASSISTANT", (p.ASSISTANT_PHONE,)),
        ("ASSISTANT", (p.ASSISTANT_PHONE,)),
        ("X-EVOLUTION-CALLBACK", (p.CALLBACK_PHONE,)),
        ("CALLBACK", (p.CALLBACK_PHONE,)),
        ("X-EVOLUTION-COMPANY", (p.COMPANY_PHONE,)),
        ("COMPANY", (p.COMPANY_PHONE,)),
        ("MAIN", (p.COMPANY_PHONE,)),
        ("X-EVOLUTION-RADIO", (p.RADIO_PHONE,)),
        ("RADIO", (p.RADIO_PHONE,)),
        ("X-EVOLUTION-TELEX", (p.TELEX,)),
        ("TELEX", (p.TELEX,)),
        ("TLX", (p.TELEX,)),
        ("X-EVOLUTION-TTYTDD", (p.TTYTDD_PHONE,)),
        ("TTYTDD", (p.TTYTDD_PHONE,)),
        ("TTY-TDD", (p.TTYTDD_PHONE,)),
        ("TEXTPHONE", (p.TTYTDD_PHONE,)),
        ("CAR", (p.CAR_PHONE,)),
        ("PAGER", (p.PAGER,)),
        ("ISDN", (p.ISDN,)),
        ("CELL", (p.MOBILE_PHONE, p.OTHER_PHONE)),
        ("IPHONE", (p.MOBILE_PHONE, p.OTHER_PHONE)),
        ("WORK", (p.BUSINESS_PHONE, p.BUSINESS_PHONE_2)),
        ("HOME", (p.HOME_PHONE, p.HOME_PHONE_2)),
        ("OTHER", (p.OTHER_PHONE,)),
        ("PREF", (p.PRIMARY_PHONE,)),
        ("", (p.OTHER_PHONE, p.PRIMARY_PHONE)),
    )
)
OTHER_PHONES = (p.OTHER_PHONE, p.PRIMARY_PHONE)
OTHER_FAXES = (p.OTHER_FAX,)

# What a label that a person or a program gave to a property says about it, in the place of a type
LABEL_TYPES = {
    "assistantphone": ("ASSISTANT",), "mobile": ("CELL",), "iphone": ("IPHONE",), "main": ("MAIN",),
    "home": ("HOME",), "work": ("WORK",), "other": ("OTHER",), "pager": ("PAGER",), "car": ("CAR",),
    "homefax": ("HOME", "FAX"), "workfax": ("WORK", "FAX"), "otherfax": ("OTHER", "FAX"), "homepage": ("HOMEPAGE",),
    "companymain": ("COMPANY",), "callback": ("CALLBACK",), "radio": ("RADIO",), "isdn": ("ISDN",),
}  # fmt: skip
RELATIONS = {"SPOUSE": p.SPOUSE_NAME, "PARTNER": p.SPOUSE_NAME, "WIFE": p.SPOUSE_NAME, "HUSBAND": p.SPOUSE_NAME,
             "MANAGER": p.MANAGER_NAME, "ASSISTANT": p.ASSISTANT, "CHILD": p.CHILDRENS_NAMES}  # fmt: skip

SENSITIVITY = {"PUBLIC": 0, "PERSONAL": 1, "PRIVATE": 2, "CONFIDENTIAL": 3}
GENDER = {"F": 1, "M": 2, "1": 1, "2": 2, "FEMALE": 1, "MALE": 2}
ADDRESS_KINDS = (("WORK", p.BUSINESS_ADDRESS, 2), ("HOME", p.HOME_ADDRESS, 1), ("OTHER", p.OTHER_ADDRESS, 3))
PICTURE_NAME = "ContactPicture.jpg"


@dataclass
class Card:
    """A contact on the way: its item, and what is known only when all lines have been seen."""

    item: Item
    labels: dict[str, str]  # by group
    notes: list[str] = field(default_factory=list)
    certificates: list[bytes] = field(default_factory=list)
    mailing_choice: int = 0
    taken_addresses: dict[int, p.Address] = field(default_factory=dict)
    is_company: bool = False

    @property
    def values(self) -> Values:
        return self.item.values

    def types(self, line: Line) -> list[str]:
        """A line's types, those that its label stands for included."""
        return line.types + list(LABEL_TYPES.get(_bare(self.labels.get(line.group, "")), ()))


Handler = Callable[[Card, Line], bool]  # False: the line found no place


def read_contacts(data: bytes, place: str, report: Report) -> list[Item]:
    """The contacts of a vCard file, in order."""
    items = []
    cards = _cards(read_components(data, place, report), place, report)
    for number, component in enumerate(cards, 1):
        items.append(read_card(component, f"{place}#{number}" if len(cards) > 1 else place, report))
    if not cards:
        report.problem(place, "no contact in it")
    return items


def _cards(components: list[Component], place: str, report: Report) -> list[Component]:
    """The cards of a file, one within another included: its owner keeps the line, the inner card is one of its own."""
    cards = []
    for component in components:
        if component.name == "VCARD":
            cards.append(component)
        else:
            report.unmapped[f"vCard BEGIN:{component.name}"] += 1
        cards += _cards(component.components, place, report)
    return cards


def read_card(component: Component, place: str, report: Report) -> Item:
    item = Item(ItemKind.CONTACT, place, (component.number, component.end))
    labels = {line.group: _label(line.text()) for line in component.lines if line.name == "X-ABLABEL" and line.group}
    card = Card(item, labels)
    for line in component.lines:
        if line.name in IGNORED or not line.value.strip(" ;"):
            continue
        if not _put_line(card, line):
            report.unmapped[f"vCard {line.name}"] += 1
            item.keep_unmapped(line.source)
    _finish(card)
    return item


def _label(text: str) -> str:
    """A label without the marks of the programs that write it: `_$!<HomeFAX>!$_` is HomeFAX."""
    match = re.fullmatch(r"_\$!<(.*)>!\$_", text.strip())
    return match[1] if match else text.strip()


def _bare(label: str) -> str:
    return re.sub(r"[^a-z]", "", label.lower())


def _put_line(card: Card, line: Line) -> bool:
    if prop := TEXTS.get(line.name):
        return card.values.put_new(prop, line.text().strip())
    if prop := LISTS.get(line.name):
        card.values.add_texts(prop, split_unescaped(line.value, ","), once=True)
        return True
    if prop := DATES.get(line.name):
        return _put_day(card, prop, line.text())
    if line.name in INSTANT_MESSAGING:
        return card.values.put_new(p.IM_ADDRESS, re.sub(r"^[a-z]{2,10}:", "", line.text().strip()))
    handler = HANDLERS.get(line.name)
    return handler(card, line) if handler else False


def _put_day(card: Card, prop: Prop, text: str) -> bool:
    day = day_from_text(text)
    return day is not None and card.values.put_new(prop, datetime.combine(day, time(), UTC))


def _put_name(card: Card, line: Line) -> bool:
    parts = split_unescaped(line.value, ";")
    props = (p.SURNAME, p.GIVEN_NAME, p.MIDDLE_NAME, p.NAME_PREFIX, p.GENERATION)
    done = [card.values.put_new(prop, part) for prop, part in zip(props, parts) if part]
    return all(done) and not any(parts[len(props) :])


def _put_nickname(card: Card, line: Line) -> bool:
    return card.values.put_new(p.NICKNAME, ", ".join(filter(None, split_unescaped(line.value, ","))))


def _put_organisation(card: Card, line: Line) -> bool:
    """Company, department, office; deeper units stay with the department."""
    units = split_unescaped(line.value, ";")
    company, department, office = (units + ["", "", ""])[:3]
    if any(units[3:]):
        department, office = "; ".join(filter(None, units[1:])), ""
    done = [
        card.values.put_new(prop, unit)
        for prop, unit in ((p.COMPANY_NAME, company), (p.DEPARTMENT_NAME, department), (p.OFFICE_LOCATION, office))
        if unit
    ]
    return all(done)


def _put_phone(card: Card, line: Line) -> bool:
    text = line.text().strip()
    if match := re.match(r"tel:([^;]*)(.*)", text, re.IGNORECASE | re.DOTALL):
        extension = re.search(r";ext=([^;]+)", match[2])
        text = match[1] + (f" x{extension[1]}" if extension else "")
    types = frozenset(card.types(line))
    if line.param("PREF"):
        types |= {"PREF"}
    places = next(places for row, places in PHONES if row <= types)
    places += OTHER_FAXES if "FAX" in types else OTHER_PHONES
    return _put_first_free(card.values, places, text)


def _put_first_free(values: Values, places: tuple[Prop, ...], text: str) -> bool:
    """Puts the text into the first free place; a text that one of the places has already needs none."""
    return any(values.get(prop) == text for prop in places) or any(values.put_new(prop, text) for prop in places)


def _put_email(card: Card, line: Line) -> bool:
    address = re.sub(r"^mailto:", "", line.text().strip(), flags=re.IGNORECASE)
    kind = "SMTP" if "@" in address else next((t for t in ("EX", "X400", "FAX") if t in line.types), "SMTP")
    for email in p.EMAILS:
        if card.values.text(email.address).lower() == address.lower():
            return True
        if email.address not in card.values:
            card.values.put(email.address, address)
            card.values.put(email.address_type, kind)
            card.values.put(email.original_display_name, address)
            return True
    return False


def _put_address(card: Card, line: Line) -> bool:
    """The address of the line's kind, or of the next kind that is free; a parcel of the preferred one is the mailing
    address."""
    kinds = [row for row in ADDRESS_KINDS if row[0] in card.types(line)] or [ADDRESS_KINDS[2], ADDRESS_KINDS[1]]
    free = [row for row in (*kinds, ADDRESS_KINDS[2]) if row[2] not in card.taken_addresses]
    if not free:
        return False
    _, address, choice = free[0]
    box, extended, street, city, state, code, country = (split_unescaped(line.value, ";") + [""] * 7)[:7]
    card.taken_addresses[choice] = address
    values = card.values
    values.put(address.street, _lines(extended, street))
    values.put(address.city, city)
    values.put(address.state, state)
    values.put(address.postal_code, code)
    values.put(address.country, country)
    values.put(address.post_office_box, box)
    label = line.param("LABEL").replace("\\n", "\n")
    values.put(address.whole, _crlf(label) or whole_address(values, address))
    if "PREF" in line.types or line.param("PREF"):
        card.mailing_choice = card.mailing_choice or choice
    return True


def _put_address_label(card: Card, line: Line) -> bool:
    """The whole address as its program printed it, for the address of the same kind."""
    kinds = [row for row in ADDRESS_KINDS if row[0] in line.types] or [ADDRESS_KINDS[2]]
    card.values.put(kinds[0][1].whole, _crlf(line.text().strip()))
    return True


def _crlf(text: str) -> str:
    return re.sub(r"\r?\n", "\r\n", text)


def _lines(*parts: str) -> str:
    return "\r\n".join(_crlf(part) for part in parts if part)


def whole_address(values: Values, address: p.Address) -> str:
    """An address as one text: street, then city, state and postal code on a line, then the country."""
    town = " ".join(filter(None, (values.text(address.state), values.text(address.postal_code))))
    town = ", ".join(filter(None, (values.text(address.city), town)))
    box = values.text(address.post_office_box)
    return _lines(values.text(address.street), box, town, values.text(address.country))


def _put_mailing_choice(card: Card, line: Line) -> bool:
    """Which address is the mailing address: 1 home, 2 business, 3 other; 0 for none."""
    choice = line.value.strip()
    if choice in ("1", "2", "3"):
        card.mailing_choice = int(choice)
    return choice in ("0", "1", "2", "3")


def _put_url(card: Card, line: Line) -> bool:
    text = line.text().strip()
    types = card.types(line)
    if text.lower().startswith("ftp://"):
        places: tuple[Prop, ...] = (p.FTP_SITE,)
    elif "HOME" in types:
        places = (p.PERSONAL_HOME_PAGE, p.WEB_PAGE)
    elif "WORK" in types:
        places = (p.BUSINESS_HOME_PAGE, p.WEB_PAGE)
    else:
        places = (p.WEB_PAGE, p.BUSINESS_HOME_PAGE, p.PERSONAL_HOME_PAGE)
    return _put_first_free(card.values, places, text)


def _put_note(card: Card, line: Line) -> bool:
    card.notes.append(line.text())
    return True


def _put_picture(card: Card, line: Line) -> bool:
    data = line.data()
    if not data or p.HAS_PHOTO in card.values:
        return False
    photo = Attachment(PICTURE_NAME, "image/jpeg" if data.startswith(b"\xff\xd8") else _image_type(line, data), data)
    photo.extra.put(p.ATTACHMENT_CONTACTPHOTO, True)
    photo.extra.put(p.ATTACHMENT_HIDDEN, True)
    card.item.attachments.append(photo)
    card.values.put(p.HAS_PHOTO, True)
    return True


def _image_type(line: Line, data: bytes) -> str:
    for magic, kind in ((b"\x89PNG", "png"), (b"GIF8", "gif"), (b"BM", "bmp"), (b"RIFF", "webp")):
        if data.startswith(magic):
            return f"image/{kind}"
    return next((f"image/{kind.lower()}" for kind in line.types if kind.isalpha()), "")


def _put_file(card: Card, line: Line) -> bool:
    """A logo or a sound: an ordinary attachment."""
    data = line.data()
    if not data:
        return False
    kind = next((kind.lower() for kind in line.types if kind.isalnum()), "dat")
    card.item.attachments.append(Attachment(f"{line.name.lower()}.{kind}", "", data))
    return True


def _put_key(card: Card, line: Line) -> bool:
    data = line.data()
    if not data:
        return False
    if "PGP" in line.types:
        card.item.attachments.append(Attachment("key.asc", "application/pgp-keys", data))
    else:
        card.certificates.append(data)
    return True


def _put_gender(card: Card, line: Line) -> bool:
    gender = GENDER.get(line.text().split(";")[0].strip().upper())
    return gender is not None and card.values.put_new(p.GENDER, gender)


def _put_class(card: Card, line: Line) -> bool:
    sensitivity = SENSITIVITY.get(line.text().strip().upper())
    if sensitivity is None:
        return False
    card.values.put(p.PRIVATE, sensitivity == 2)
    return card.values.put_new(p.SENSITIVITY, sensitivity)


def _put_revision(card: Card, line: Line) -> bool:
    moment = moment_from_text(line.text())
    return moment is not None and card.values.put_new(p.LAST_MODIFICATION_TIME, moment)


def _put_label(card: Card, line: Line) -> bool:
    """A label that says which place its neighbour takes has done its work; one of the user's own wording has none."""
    label = _label(line.text())
    return _bare(label) in LABEL_TYPES or label.upper() in RELATIONS or label.lower() == "anniversary"


def _put_labelled_day(card: Card, line: Line) -> bool:
    label = card.labels.get(line.group, "").lower()
    return label == "anniversary" and _put_day(card, p.WEDDING_ANNIVERSARY, line.text())


def _put_relation(card: Card, line: Line) -> bool:
    words = [card.labels.get(line.group, "").upper()] if line.name == "X-ABRELATEDNAMES" else line.types
    prop = next((RELATIONS[word] for word in words if word in RELATIONS), None)
    text = line.text().strip()
    if prop is None or ":" in text:  # an address of another card names nobody
        return False
    if prop is not p.CHILDRENS_NAMES:
        return card.values.put_new(prop, text)
    card.values.add_texts(prop, [text], once=True)
    return True


def _put_agent(card: Card, line: Line) -> bool:
    return ":" not in line.value and card.values.put_new(p.ASSISTANT, line.text().strip())


def _put_sort_text(card: Card, line: Line) -> bool:
    """Only a hint for sorting: it becomes the FileAs name when no line names one."""
    return card.values.put_new(p.FILE_AS, line.text().strip()) or True


def _put_show_as(card: Card, line: Line) -> bool:
    card.is_company = line.value.strip().upper() == "COMPANY"
    return True


def _put_kind(card: Card, line: Line) -> bool:
    kind = line.value.strip().lower()
    card.is_company = kind in ("org", "organization")
    return card.is_company or kind == "individual"


HANDLERS: dict[str, Handler] = {
    "N": _put_name,
    "NICKNAME": _put_nickname,
    "ORG": _put_organisation,
    "TEL": _put_phone,
    "X-MS-TEL": _put_phone,
    "EMAIL": _put_email,
    "ADR": _put_address,
    "LABEL": _put_address_label,
    "X-MS-OL-DEFAULT-POSTAL-ADDRESS": _put_mailing_choice,
    "URL": _put_url,
    "NOTE": _put_note,
    "PHOTO": _put_picture,
    "LOGO": _put_file,
    "SOUND": _put_file,
    "X-MS-CARDPICTURE": _put_file,
    "KEY": _put_key,
    "GENDER": _put_gender,
    "X-GENDER": _put_gender,
    "X-WAB-GENDER": _put_gender,
    "CLASS": _put_class,
    "REV": _put_revision,
    "X-ABLABEL": _put_label,
    "X-ABDATE": _put_labelled_day,
    "X-ABRELATEDNAMES": _put_relation,
    "RELATED": _put_relation,
    "AGENT": _put_agent,
    "SORT-STRING": _put_sort_text,
    "X-ABSHOWAS": _put_show_as,
    "KIND": _put_kind,
    "X-ADDRESSBOOKSERVER-KIND": _put_kind,
}


def _finish(card: Card) -> None:
    """What follows from the card as a whole: body, mailing address, names made of others."""
    values = card.values
    values.put(p.BODY, _crlf("\n\n".join(card.notes)))
    values.put(p.USER_CERTIFICATES, card.certificates)
    if not card.mailing_choice and len(card.taken_addresses) == 1:
        card.mailing_choice = next(iter(card.taken_addresses))
    if address := card.taken_addresses.get(card.mailing_choice):
        values.put(p.MAILING_ADDRESS_CHOICE, card.mailing_choice)
        for field_name in ("whole", "street", "city", "state", "postal_code", "country", "post_office_box"):
            values.put(getattr(p.MAILING_ADDRESS, field_name), values.get(getattr(address, field_name)))
    if card.is_company and p.COMPANY_NAME not in values:
        values.put(p.COMPANY_NAME, values.get(p.DISPLAY_NAME))
    names = [values.text(prop) for prop in (p.NAME_PREFIX, p.GIVEN_NAME, p.MIDDLE_NAME, p.SURNAME, p.GENERATION)]
    values.put_new(p.DISPLAY_NAME, " ".join(filter(None, names)) or values.text(p.COMPANY_NAME))
    values.put_new(p.FILE_AS, file_as(values))
    values.put(p.SUBJECT, values.text(p.DISPLAY_NAME) or values.text(p.FILE_AS))
    values.put(p.NORMALIZED_SUBJECT, values.get(p.SUBJECT))
    values.put(p.CONVERSATION_TOPIC, values.get(p.SUBJECT))
    shown = values.text(p.DISPLAY_NAME)
    for email in p.EMAILS:
        if address_text := values.text(email.address):
            values.put(email.display_name, f"{shown} ({address_text})" if shown else address_text)


def file_as(values: Values) -> str:
    """The name that a mail client files a contact under: `Last, First Middle`, else the company, else whatever names
    it."""
    given = " ".join(filter(None, (values.text(p.GIVEN_NAME), values.text(p.MIDDLE_NAME))))
    person = ", ".join(filter(None, (values.text(p.SURNAME), given)))
    candidates = (person, values.text(p.COMPANY_NAME), values.text(p.DISPLAY_NAME), values.text(p.EMAILS[0].address))
    return next(filter(None, candidates), "")
