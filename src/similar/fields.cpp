// The two tables of contact fields.

#include "similar/fields.h"

#include <mapidefs.h>

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "base/names.h"
#include "log/CLog.h"

namespace similar {

using base::EName;
using base::EPhone;
using base::TName;
using enum base::EName;
using enum base::EPhone;
using logging::g_Log;

namespace {

using I = TSimilarPropIndexes;

enum EFieldGroup : int { fgNone = 0, fgName = 1, fgStreet = 2, fgPhone = 3, fgEmail = 4, fgOther = 5 };

/// A property by its tag, or by its name when the tag is 0.
struct TProperty {
    ULONG tag = 0;
    const char* set = nullptr;
    int id = 0;
    const wchar_t* idName = nullptr;
    ULONG type = PT_UNICODE;
};
constexpr TProperty Tag(ULONG tag) {
    return {tag, nullptr, 0, nullptr, PROP_TYPE(tag)};
}
constexpr TProperty Named(EName which) {
    const TName& name = base::kNameTable[which];
    return {0, name.set, static_cast<int>(name.id), name.text, name.type};
}
constexpr TProperty Phone(EPhone which) {
    return Tag(base::kPhoneTags[which]);
}

constexpr TMethods kExactOnly{Exact, NotCompared, NotCompared, NotCompared};
constexpr TMethods kNameMethods{Exact, StartWith, MissChar, DiffChar};
constexpr TMethods kPhoneMethods{Exact, Last7Digits, Last7Digits1Miss, Last7Digits1Diff};
constexpr TMethods kUrlMethods{Exact, HttpUrlCompare, NotCompared, NotCompared};
constexpr TMethods kEmailMethods{Exact, MissChar, NotCompared, NotCompared};
constexpr TMethods kCompanyMethods{Exact, MissChar, DiffChar, NotCompared};
constexpr TMethods kNicknameMethods{Exact, DiffChar, NotCompared, NotCompared};
constexpr TMethods kCategoriesMethods{Exact, Intercept, NotCompared, NotCompared};

struct TField {
    TFieldName index;
    const wchar_t* name;
    TProperty property;
    EFieldGroup group;
    TMethods methods;
};

// The notes are asked for under a tag that no contact carries: the text of a contact is its body, which is
// read through its stream.
constexpr TField kFields[] = {
    {&I::Title, L"Title", Tag(0x3A45001F), fgName, kExactOnly},
    {&I::FirstName, L"First Name", Tag(0x3A06001F), fgName, kNameMethods},
    {&I::MiddleName, L"Middle Name", Tag(0x3A44001F), fgName, kExactOnly},
    {&I::LastName, L"Last Name", Tag(0x3A11001F), fgName, kNameMethods},
    {&I::Suffix, L"Suffix", Tag(0x3A05001F), fgName, kExactOnly},
    {&I::BusinessAddressStreet, L"Business Address Street", Named(nameBusinessStreet), fgStreet, kExactOnly},
    {&I::HomeAddressStreet, L"Home Address Street", Tag(0x3A5D001F), fgStreet, kExactOnly},
    {&I::OtherAddressStreet, L"Other Address Street", Tag(0x3A63001F), fgStreet, kExactOnly},
    {&I::AssistantsPhone, L"Assistant's Phone", Phone(phoneAssistant), fgPhone, kPhoneMethods},
    {&I::BusinessFax, L"Business Fax", Phone(phoneBusinessFax), fgPhone, kPhoneMethods},
    {&I::BusinessPhone, L"Business Phone", Phone(phoneBusiness), fgPhone, kPhoneMethods},
    {&I::BusinessPhone2, L"Business Phone 2", Phone(phoneBusiness2), fgPhone, kPhoneMethods},
    {&I::Callback, L"Callback", Phone(phoneCallback), fgPhone, kPhoneMethods},
    {&I::CarPhone, L"Car Phone", Phone(phoneCar), fgPhone, kPhoneMethods},
    {&I::CompanyMainPhone, L"Company Main Phone", Phone(phoneCompany), fgPhone, kPhoneMethods},
    {&I::HomeFax, L"Home Fax", Phone(phoneHomeFax), fgPhone, kPhoneMethods},
    {&I::HomePhone, L"Home Phone", Phone(phoneHome), fgPhone, kPhoneMethods},
    {&I::HomePhone2, L"Home Phone 2", Phone(phoneHome2), fgPhone, kPhoneMethods},
    {&I::ISDN, L"ISDN", Phone(phoneIsdn), fgPhone, kPhoneMethods},
    {&I::MobilePhone, L"Mobile Phone", Phone(phoneMobile), fgPhone, kPhoneMethods},
    {&I::OtherFax, L"Other Fax", Phone(phoneOtherFax), fgPhone, kPhoneMethods},
    {&I::OtherPhone, L"Other Phone", Phone(phoneOther), fgPhone, kPhoneMethods},
    {&I::Pager, L"Pager", Phone(phonePager), fgPhone, kPhoneMethods},
    {&I::PrimaryPhone, L"Primary Phone", Phone(phonePrimary), fgPhone, kPhoneMethods},
    {&I::RadioPhone, L"Radio Phone", Phone(phoneRadio), fgPhone, kPhoneMethods},
    {&I::Telex, L"Telex", Phone(phoneTelex), fgPhone, kPhoneMethods},
    {&I::TTYTDDPhone, L"TTY/TDD Phone", Phone(phoneTtytdd), fgPhone, kPhoneMethods},
    {&I::Email, L"E-mail", Named(nameEmail1), fgEmail, kEmailMethods},
    {&I::Email2, L"E-mail 2", Named(nameEmail2), fgEmail, kEmailMethods},
    {&I::Email3, L"E-mail 3", Named(nameEmail3), fgEmail, kEmailMethods},
    {&I::Account, L"Account", Tag(0x3A00001F), fgOther, kExactOnly},
    {&I::Anniversary, L"Anniversary", Tag(0x3A410040), fgOther, kExactOnly},
    {&I::AssistantsName, L"Assistant's Name", Tag(0x3A30001F), fgOther, kExactOnly},
    {&I::BillingInformation, L"Billing Information", Named(nameBilling), fgOther, kExactOnly},
    {&I::Birthday, L"Birthday", Tag(0x3A420040), fgOther, kExactOnly},
    {&I::Categories, L"Categories", Named(nameKeywords), fgOther, kCategoriesMethods},
    {&I::Children, L"Children", Tag(0x3A58101F), fgOther, kExactOnly},
    {&I::Company, L"Company", Tag(0x3A16001F), fgOther, kCompanyMethods},
    {&I::CustomerID, L"Customer ID", Tag(0x3A4A001F), fgOther, kExactOnly},
    {&I::Department, L"Department", Tag(0x3A18001F), fgOther, kExactOnly},
    {&I::FTPSite, L"FTP Site", Tag(0x3A4C001F), fgOther, kExactOnly},
    {&I::GovernmentIDNumber, L"Government ID Number", Tag(0x3A07001F), fgOther, kExactOnly},
    {&I::Hobbies, L"Hobbies", Tag(0x3A43001F), fgOther, kExactOnly},
    {&I::IMAddress, L"IM Address", Named(nameImAddress), fgOther, kExactOnly},
    {&I::InternetFreeBusyAddress, L"Internet Free/Busy Address", Named(nameFreeBusyAddress), fgOther,
     kExactOnly},
    {&I::JobTitle, L"Job Title", Tag(0x3A17001F), fgOther, kExactOnly},
    {&I::Language, L"Language", Tag(0x3A0C001F), fgOther, kExactOnly},
    {&I::Location, L"Location", Tag(0x3A0D001F), fgOther, kExactOnly},
    {&I::ManagersName, L"Manager's Name", Tag(0x3A4E001F), fgOther, kExactOnly},
    {&I::Mileage, L"Mileage", Named(nameMileage), fgOther, kExactOnly},
    {&I::Nickname, L"Nickname", Tag(0x3A4F001F), fgOther, kNicknameMethods},
    {&I::Notes, L"Notes", Tag(0x0E08001F), fgOther, kExactOnly},
    {&I::OfficeLocation, L"Office Location", Tag(0x3A19001F), fgOther, kExactOnly},
    {&I::OrganizationalIDNumber, L"Organizational ID Number", Tag(0x3A10001F), fgOther, kExactOnly},
    {&I::PersonalHomePage, L"Personal Home Page", Tag(0x3A50001F), fgOther, kUrlMethods},
    {&I::Profession, L"Profession", Tag(0x3A46001F), fgOther, kExactOnly},
    {&I::ReferredBy, L"Referred By", Tag(0x3A47001F), fgOther, kExactOnly},
    {&I::Spouse, L"Spouse", Tag(0x3A48001F), fgOther, kExactOnly},
    {&I::UserField1, L"User Field 1", Named(nameUserField1), fgOther, kExactOnly},
    {&I::UserField2, L"User Field 2", Named(nameUserField2), fgOther, kExactOnly},
    {&I::UserField3, L"User Field 3", Named(nameUserField3), fgOther, kExactOnly},
    {&I::UserField4, L"User Field 4", Named(nameUserField4), fgOther, kExactOnly},
    {&I::WebPage, L"Web Page", Named(nameWebPage), fgOther, kUrlMethods},
    {&I::BusinessHomePage, L"Business Home Page", Tag(0x3A51001F), fgOther, kUrlMethods},
};
static_assert(std::size(kFields) <= kFieldCapacity);
static_assert(std::size(kFields) <= 8 * sizeof(TFieldSet));

/// A counted field: a property of its own, or the one that a compared field carries.
struct TOtherField {
    constexpr TOtherField(const wchar_t* fieldName, TProperty own) : name(fieldName), property(own) {}
    constexpr TOtherField(const wchar_t* fieldName, TFieldName compared)
        : name(fieldName), sameAs(compared) {}

    const wchar_t* name;
    TProperty property;
    TFieldName sameAs = nullptr;
};

constexpr TOtherField kOtherFields[] = {
    {L"Account", &I::Account},
    {L"Anniversary", &I::Anniversary},
    {L"AssistantName", &I::AssistantsName},
    {L"AssistantPhone", &I::AssistantsPhone},
    {L"Attachment", Tag(0x0E1B000B)},
    {L"BillingInformation", &I::BillingInformation},
    {L"Birthday", &I::Birthday},
    {L"BusinessPhone2", &I::BusinessPhone2},
    {L"BusinessAddress", Named(nameBusinessAddress)},
    {L"BusinessAddressCity", Named(nameBusinessCity)},
    {L"BusinessAddressCountry", Named(nameBusinessCountry)},
    {L"BusinessAddressPostalCode", Named(nameBusinessPostalCode)},
    {L"BusinessAddressPostOfficeBox", Named(nameBusinessPostOfficeBox)},
    {L"BusinessAddressState", Named(nameBusinessState)},
    {L"BusinessAddressStreet", &I::BusinessAddressStreet},
    {L"BusinessFaxNumber", &I::BusinessFax},
    {L"BusinessHomePage", &I::BusinessHomePage},
    {L"BusinessPhone", &I::BusinessPhone},
    {L"Callback", &I::Callback},
    {L"CarPhone", &I::CarPhone},
    {L"Categories", &I::Categories},
    {L"Children", &I::Children},
    {L"CompanyMainPhone", &I::CompanyMainPhone},
    {L"Company", &I::Company},
    {L"ComputerNetworkName", Tag(0x3A49001F)},
    {L"CustomerID", &I::CustomerID},
    {L"Department", &I::Department},
    {L"Email1", &I::Email},
    {L"Email2", &I::Email2},
    {L"Email3", &I::Email3},
    {L"FileAs", Named(nameFileAs)},
    {L"FirstName", &I::FirstName},
    {L"FTPSite", &I::FTPSite},
    {L"GovernmentIDNumber", &I::GovernmentIDNumber},
    {L"Hobbies", &I::Hobbies},
    {L"HomePhone2", &I::HomePhone2},
    {L"HomeAddress", Named(nameHomeAddress)},
    {L"HomeAddressCity", Tag(0x3A59001F)},
    {L"HomeAddressCountry", Tag(0x3A5A001F)},
    {L"HomeAddressPostalCode", Tag(0x3A5B001F)},
    {L"HomeAddressPostOfficeBox", Tag(0x3A5E001F)},
    {L"HomeAddressState", Tag(0x3A5C001F)},
    {L"HomeAddressStreet", &I::HomeAddressStreet},
    {L"HomeFax", &I::HomeFax},
    {L"HomePhone", &I::HomePhone},
    {L"IMAddress", &I::IMAddress},
    {L"InternetFreeBusyAddress", &I::InternetFreeBusyAddress},
    {L"ISDN", &I::ISDN},
    {L"JobTitle", &I::JobTitle},
    {L"Language", &I::Language},
    {L"LastName", &I::LastName},
    {L"Links", Named(nameLinks)},
    {L"MailingAddress", Tag(0x3A15001F)},
    {L"ManagerName", &I::ManagersName},
    {L"MiddleName", &I::MiddleName},
    {L"Mileage", &I::Mileage},
    {L"MobilePhone", &I::MobilePhone},
    {L"Nickname", &I::Nickname},
    {L"OfficeLocation", &I::OfficeLocation},
    {L"OrganizationalIDNumber", &I::OrganizationalIDNumber},
    {L"OtherAddress", Named(nameOtherAddress)},
    {L"OtherAddressCity", Tag(0x3A5F001F)},
    {L"OtherAddressCountry", Tag(0x3A60001F)},
    {L"OtherAddressPostalCode", Tag(0x3A61001F)},
    {L"OtherAddressPostOfficeBox", Tag(0x3A64001F)},
    {L"OtherAddressState", Tag(0x3A62001F)},
    {L"OtherAddressStreet", &I::OtherAddressStreet},
    {L"OtherFaxNumber", &I::OtherFax},
    {L"OtherTelephoneNumber", &I::OtherPhone},
    {L"PagerNumber", &I::Pager},
    {L"PersonalHomePage", &I::PersonalHomePage},
    {L"PrimaryPhone", &I::PrimaryPhone},
    {L"Profession", &I::Profession},
    {L"RadioPhone", &I::RadioPhone},
    {L"ReferredBy", &I::ReferredBy},
    {L"Spouse", &I::Spouse},
    {L"Suffix", &I::Suffix},
    {L"Telex", &I::Telex},
    {L"Title", &I::Title},
    {L"TTYTDDPhone", &I::TTYTDDPhone},
    {L"UserField1", &I::UserField1},
    {L"UserField2", &I::UserField2},
    {L"UserField3", &I::UserField3},
    {L"UserField4", &I::UserField4},
};

TComparyProp Definition(const wchar_t* name, const TProperty& property, int group) {
    TComparyProp definition{};
    definition.lpszKey = name;
    definition.lpszName = name;
    definition.ulPropTag = property.tag;
    definition.lpszGuid = property.set;
    definition.nID = property.id;
    definition.lpszID = property.idName;
    definition.nType = property.type;
    definition.bCompare = 1;
    definition.nGroup = group;
    return definition;
}

/// Whether two definitions name one property. Numeric names are compared without their property set.
bool SameProperty(const TComparyProp& held, const TComparyProp& added) {
    if (added.ulPropTag != 0) return held.ulPropTag == added.ulPropTag;
    if (held.ulPropTag != 0) return false;
    if (added.lpszID) return held.lpszID && _wcsicmp(held.lpszID, added.lpszID) == 0;
    return held.nID == added.nID;
}

template <size_t N>
void CollectGroup(EFieldGroup group, std::array<int, N>* members) {
    size_t count = 0;
    for (size_t i = 0; i < std::size(kFields); ++i)
        if (kFields[i].group == group) (*members)[count++] = static_cast<int>(i);
}

}  // namespace

int TSimilarPropIndexes::Phone(int number) const {
    const bool valid = number >= 1 && number <= static_cast<int>(Phones.size());
    g_Log.Assert(valid, "CSimilarSearchTSimilarPropIndexes::Phone", __LINE__, "number is 1 to 19");
    return valid ? Phones[static_cast<size_t>(number - 1)] : -1;
}

TContactFields BuildFields() {
    TContactFields fields;
    TSimilarPropIndexes& indexes = fields.indexes;
    fields.list.reserve(std::size(kFields));
    for (const TField& field : kFields) {
        indexes.*field.index = fields.Count();
        fields.list.push_back(Definition(field.name, field.property, field.group));
    }
    CollectGroup(fgStreet, &indexes.StreetAddresses);
    CollectGroup(fgEmail, &indexes.Emails);
    CollectGroup(fgPhone, &indexes.Phones);
    indexes.BusinessPhones = {indexes.BusinessPhone, indexes.BusinessPhone2};
    indexes.HomePhones = {indexes.HomePhone, indexes.HomePhone2};
    return fields;
}

std::vector<TComparyProp> BuildOtherFields(const TContactFields& fields) {
    std::vector<TComparyProp> others;
    for (const TOtherField& other : kOtherFields) {
        const TProperty& property =
            other.sameAs ? kFields[fields.indexes.*other.sameAs].property : other.property;
        const TComparyProp definition = Definition(other.name, property, fgNone);
        const bool held = std::any_of(fields.list.begin(), fields.list.end(), [&](const TComparyProp& field) {
            return SameProperty(field, definition);
        });
        if (!held) others.push_back(definition);
    }
    return others;
}

const TMethods& MethodsOf(int field) {
    return kFields[field].methods;
}

}  // namespace similar
