#include "tests/similar/SimilarFixture.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <map>
#include <sstream>

#include "base/mapi_extra.h"
#include "store/named_properties.h"

namespace {

struct Property {
    ULONG tag;
    const char* set = nullptr;
    LONG number = 0;
};

const std::map<std::wstring, Property> kProperties = {
    {L"Notes", {PR_BODY_W}},
    {L"Full Name", {PR_DISPLAY_NAME_W}},
    {L"File As", {0, base::kSetAddress, 0x8005}},
    {L"Title", {PR_DISPLAY_NAME_PREFIX_W}},
    {L"First Name", {PR_GIVEN_NAME_W}},
    {L"Middle Name", {PR_MIDDLE_NAME_W}},
    {L"Last Name", {PR_SURNAME_W}},
    {L"Suffix", {PR_GENERATION_W}},
    {L"Business Address Street", {0, base::kSetAddress, 0x8045}},
    {L"Home Address Street", {PR_HOME_ADDRESS_STREET_W}},
    {L"Other Address Street", {PR_OTHER_ADDRESS_STREET_W}},
    {L"Assistant's Phone", {PR_ASSISTANT_TELEPHONE_NUMBER_W}},
    {L"Business Fax", {PR_BUSINESS_FAX_NUMBER_W}},
    {L"Business Phone", {PR_BUSINESS_TELEPHONE_NUMBER_W}},
    {L"Business Phone 2", {PR_BUSINESS2_TELEPHONE_NUMBER_W}},
    {L"Callback", {PR_CALLBACK_TELEPHONE_NUMBER_W}},
    {L"Car Phone", {PR_CAR_TELEPHONE_NUMBER_W}},
    {L"Company Main Phone", {PR_COMPANY_MAIN_PHONE_NUMBER_W}},
    {L"Home Fax", {PR_HOME_FAX_NUMBER_W}},
    {L"Home Phone", {PR_HOME_TELEPHONE_NUMBER_W}},
    {L"Home Phone 2", {PR_HOME2_TELEPHONE_NUMBER_W}},
    {L"ISDN", {PR_ISDN_NUMBER_W}},
    {L"Mobile Phone", {PR_MOBILE_TELEPHONE_NUMBER_W}},
    {L"Other Fax", {PR_PRIMARY_FAX_NUMBER_W}},
    {L"Other Phone", {PR_OTHER_TELEPHONE_NUMBER_W}},
    {L"Pager", {PR_PAGER_TELEPHONE_NUMBER_W}},
    {L"Primary Phone", {PR_PRIMARY_TELEPHONE_NUMBER_W}},
    {L"Radio Phone", {PR_RADIO_TELEPHONE_NUMBER_W}},
    {L"Telex", {PR_TELEX_NUMBER_W}},
    {L"TTY/TDD Phone", {PR_TTYTDD_PHONE_NUMBER_W}},
    {L"E-mail", {0, base::kSetAddress, 0x8083}},
    {L"E-mail 2", {0, base::kSetAddress, 0x8093}},
    {L"E-mail 3", {0, base::kSetAddress, 0x80A3}},
    {L"Account", {PR_ACCOUNT_W}},
    {L"Anniversary", {PR_WEDDING_ANNIVERSARY}},
    {L"Assistant's Name", {PR_ASSISTANT_W}},
    {L"Billing Information", {0, base::kSetCommon, 0x8535}},
    {L"Birthday", {PR_BIRTHDAY}},
    {L"Categories", {0, base::kSetPublicStrings}},
    {L"Children", {PR_CHILDRENS_NAMES_W}},
    {L"Company", {PR_COMPANY_NAME_W}},
    {L"Customer ID", {PR_CUSTOMER_ID_W}},
    {L"Department", {PR_DEPARTMENT_NAME_W}},
    {L"FTP Site", {PR_FTP_SITE_W}},
    {L"Government ID Number", {PR_GOVERNMENT_ID_NUMBER_W}},
    {L"Hobbies", {PR_HOBBIES_W}},
    {L"IM Address", {0, base::kSetAddress, 0x8062}},
    {L"Internet Free/Busy Address", {0, base::kSetAddress, 0x80D8}},
    {L"Job Title", {PR_TITLE_W}},
    {L"Language", {PR_LANGUAGE_W}},
    {L"Location", {PR_LOCATION_W}},
    {L"Manager's Name", {PR_MANAGER_NAME_W}},
    {L"Mileage", {0, base::kSetCommon, 0x8534}},
    {L"Nickname", {PR_NICKNAME_W}},
    {L"Office Location", {PR_OFFICE_LOCATION_W}},
    {L"Organizational ID Number", {PR_ORGANIZATIONAL_ID_NUMBER_W}},
    {L"Personal Home Page", {PR_PERSONAL_HOME_PAGE_W}},
    {L"Profession", {PR_PROFESSION_W}},
    {L"Referred By", {PR_PREFERRED_BY_NAME_W}},
    {L"Spouse", {PR_SPOUSE_NAME_W}},
    {L"User Field 1", {0, base::kSetAddress, 0x804F}},
    {L"User Field 2", {0, base::kSetAddress, 0x8050}},
    {L"User Field 3", {0, base::kSetAddress, 0x8051}},
    {L"User Field 4", {0, base::kSetAddress, 0x8052}},
    {L"Web Page", {0, base::kSetAddress, 0x802B}},
    {L"Business Home Page", {PR_BUSINESS_HOME_PAGE_W}},
};

FILETIME DateOf(const std::wstring& text) {
    int year = 0, month = 0, day = 0;
    EXPECT_EQ(swscanf(text.c_str(), L"%d-%d-%d", &year, &month, &day), 3) << "no date: " << Narrow(text);
    return Utc(year, month, day);
}

}  // namespace

std::vector<std::wstring> Split(const std::wstring& text, wchar_t separator) {
    std::vector<std::wstring> parts;
    std::wistringstream in(text);
    for (std::wstring part; std::getline(in, part, separator);) parts.push_back(part);
    return parts;
}

std::wstring WithoutSpaces(std::wstring text) {
    std::erase(text, L' ');
    return text;
}

Contact::Contact(const std::wstring& fields) {
    for (const std::wstring& field : Split(fields, L';')) {
        const size_t end = field.find(L'=');
        emplace_back(field.substr(0, end), field.substr(end + 1));
    }
}

Verdict Decided(unsigned verdict, const std::wstring& labels) {
    if (labels.empty()) return {};
    Verdict decided{verdict, (verdict == 2 ? L"Strict . // " : L"Similar. // ") + labels, L""};
    for (const std::wstring& label : Split(WithoutSpaces(labels.substr(0, labels.find(L" // "))), L'+')) {
        const std::wstring name = label.substr(0, label.find(L'('));
        const auto isField = [&name](const auto& field) { return WithoutSpaces(field.first) == name; };
        const auto field = std::find_if(kProperties.begin(), kProperties.end(), isField);
        decided.fields += (decided.fields.empty() ? L"" : L", ") +
                          (field == kProperties.end() ? L"unknown " + name : field->first);
    }
    return decided;
}

std::string Narrow(std::wstring_view text) {
    std::string narrow;
    for (wchar_t unit : text) narrow += unit < 128 ? static_cast<char>(unit) : '?';
    return narrow;
}

std::ostream& operator<<(std::ostream& out, const Verdict& verdict) {
    return out << verdict.verdict << " \"" << Narrow(verdict.text) << "\" (" << Narrow(verdict.fields) << ")";
}

unsigned Search::SetSearchBy(IMessage* contact) {
    unsigned filled = 0;
    EXPECT_EQ(SimilarSearch_SetSearchByItem(m_handle, contact, &filled), 1u) << "no search-by contact";
    return filled;
}

Verdict Search::Check(IMessage* contact, unsigned* filled) {
    unsigned verdict = 99, count = 99;
    const wchar_t *text = nullptr, *fields = nullptr;
    EXPECT_EQ(SimilarSearch_CheckItemW(m_handle, contact, &verdict, &count, &text, &fields), 1u)
        << "no verdict";
    if (filled) *filled = count;
    return {verdict, text, fields};
}

Verdict Search::CheckFast(const std::string& entryId, unsigned* filled) {
    unsigned verdict = 99, count = 99;
    const wchar_t *text = nullptr, *fields = nullptr;
    EXPECT_EQ(SimilarSearch_CheckItemFastW(m_handle, entryId.c_str(), &verdict, &count, &text, &fields), 1u)
        << "no verdict";
    if (filled) *filled = count;
    return {verdict, text, fields};
}

SimilarTest::SimilarTest() {
    // Names are looked up, never made: the mailbox has to know them.
    TestItem first = Inbox().Item(L"IPM.Contact");
    for (const auto& [name, property] : kProperties)
        if (property.set && property.number != 0) first.NamedTag(property.set, property.number, PT_UNICODE);
    first.NamedTag(base::kSetPublicStrings, L"Keywords", PT_MV_UNICODE);
    for (LONG number : {0x801A, 0x801B, 0x801C, 0x8046, 0x8047, 0x8048, 0x8049, 0x804A})
        first.NamedTag(base::kSetAddress, number, PT_UNICODE);
    first.NamedTag(base::kSetCommon, 0x8586, PT_MV_BINARY);
}

ULONG SimilarTest::FieldTag(TestItem& item, const std::wstring& field) {
    const Property& property = kProperties.at(field);
    if (field == L"Categories") return item.NamedTag(property.set, L"Keywords", PT_MV_UNICODE);
    return property.set ? item.NamedTag(property.set, property.number, PT_UNICODE) : property.tag;
}

void SimilarTest::SetField(TestItem& item, const std::wstring& field, const std::wstring& value) {
    const auto known = kProperties.find(field);
    ASSERT_NE(known, kProperties.end()) << "no such field: " << Narrow(field);
    const Property& property = known->second;
    if (field == L"Categories")
        item.NamedTexts(property.set, L"Keywords", Split(value, L'|'));
    else if (property.set)
        item.Named(property.set, property.number, std::wstring_view(value));
    else if (PROP_TYPE(property.tag) == PT_MV_UNICODE)
        item.Texts(property.tag, Split(value, L'|'));
    else if (PROP_TYPE(property.tag) == PT_SYSTIME)
        item.Time(property.tag, DateOf(value));
    else
        item.Text(property.tag, value);
}

TestItem SimilarTest::Add(const Contact& contact) {
    TestItem item = Inbox().Item(L"IPM.Contact").Time(PR_LAST_MODIFICATION_TIME, Utc(2026, 1, 1));
    for (const auto& [field, value] : contact) SetField(item, field, value);
    return item;
}

Verdict SimilarTest::Compare(const Contact& searchBy, const Contact& checked) {
    const TestItem one = Add(searchBy), other = Add(checked);
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(one).Get());
    return search.Check(Open(other).Get());
}
