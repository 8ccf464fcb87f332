// The rule tables.

#include "similar/rules.h"

#include <span>

namespace similar {
namespace {

using I = TSimilarPropIndexes;

struct TRuleRow {
    TFieldName first;
    TFieldName second = nullptr;
};

constexpr TRuleRow kStrictPairs[] = {
    {&I::FirstName, &I::LastName},
    {&I::LastName, &I::Birthday},
    {&I::LastName, &I::IMAddress},
    {&I::LastName, &I::Nickname},
    {&I::Birthday, &I::HomeAddressStreet},
    {&I::Birthday, &I::HomePhone},
    {&I::Birthday, &I::HomePhone2},
    {&I::Birthday, &I::JobTitle},
    {&I::JobTitle, &I::IMAddress},
    {&I::Email, &I::Email2},
    {&I::Email, &I::Email3},
    {&I::Email2, &I::Email3},
    {&I::BusinessPhone, &I::BusinessPhone2},
};

constexpr TRuleRow kCompanyFields[] = {
    {&I::BusinessAddressStreet},
    {&I::BusinessPhone},
    {&I::BusinessPhone2},
    {&I::Email},
    {&I::Email2},
    {&I::Email3},
    {&I::HomeAddressStreet},
    {&I::HomePhone},
    {&I::HomePhone2},
};

constexpr TRuleRow kLastNameStrictPairs[] = {
    {&I::Nickname, &I::IMAddress},
    {&I::Nickname, &I::MobilePhone},
};

constexpr TRuleRow kAnyFieldPairs[] = {
    {&I::FirstName, &I::IMAddress},
    {&I::FirstName, &I::Pager},
    {&I::FirstName, &I::PersonalHomePage},
    {&I::LastName, &I::Pager},
    {&I::LastName, &I::PersonalHomePage},
    {&I::LastName, &I::MobilePhone},
    {&I::IMAddress, &I::Birthday},
    {&I::IMAddress, &I::BusinessAddressStreet},
    {&I::IMAddress, &I::BusinessPhone},
    {&I::IMAddress, &I::BusinessPhone2},
    {&I::IMAddress, &I::Company},
    {&I::IMAddress, &I::Department},
    {&I::IMAddress, &I::Email},
    {&I::IMAddress, &I::Email2},
    {&I::IMAddress, &I::Email3},
    {&I::IMAddress, &I::HomeAddressStreet},
    {&I::IMAddress, &I::HomePhone},
    {&I::IMAddress, &I::HomePhone2},
    {&I::IMAddress, &I::Pager},
    {&I::IMAddress, &I::PersonalHomePage},
    {&I::Pager, &I::Birthday},
    {&I::Pager, &I::BusinessAddressStreet},
    {&I::Pager, &I::BusinessPhone},
    {&I::Pager, &I::BusinessPhone2},
    {&I::Pager, &I::Company},
    {&I::Pager, &I::Department},
    {&I::Pager, &I::Email},
    {&I::Pager, &I::Email2},
    {&I::Pager, &I::Email3},
    {&I::Pager, &I::HomeAddressStreet},
    {&I::Pager, &I::HomePhone},
    {&I::Pager, &I::HomePhone2},
    {&I::Pager, &I::JobTitle},
    {&I::PersonalHomePage, &I::Birthday},
    {&I::PersonalHomePage, &I::BusinessAddressStreet},
    {&I::PersonalHomePage, &I::BusinessPhone},
    {&I::PersonalHomePage, &I::BusinessPhone2},
    {&I::PersonalHomePage, &I::Company},
    {&I::PersonalHomePage, &I::Department},
    {&I::PersonalHomePage, &I::Email},
    {&I::PersonalHomePage, &I::Email2},
    {&I::PersonalHomePage, &I::Email3},
    {&I::PersonalHomePage, &I::HomeAddressStreet},
    {&I::PersonalHomePage, &I::HomePhone},
    {&I::PersonalHomePage, &I::HomePhone2},
    {&I::PersonalHomePage, &I::JobTitle},
    {&I::PersonalHomePage, &I::Pager},
};

constexpr TRuleRow kLastNameAnyFieldPairs[] = {
    {&I::FirstName, &I::MobilePhone},
    {&I::MobilePhone, &I::Birthday},
    {&I::MobilePhone, &I::BusinessAddressStreet},
    {&I::MobilePhone, &I::BusinessPhone},
    {&I::MobilePhone, &I::BusinessPhone2},
    {&I::MobilePhone, &I::Company},
    {&I::MobilePhone, &I::Department},
    {&I::MobilePhone, &I::Email},
    {&I::MobilePhone, &I::Email2},
    {&I::MobilePhone, &I::Email3},
    {&I::MobilePhone, &I::HomeAddressStreet},
    {&I::MobilePhone, &I::HomePhone},
    {&I::MobilePhone, &I::HomePhone2},
    {&I::MobilePhone, &I::IMAddress},
    {&I::MobilePhone, &I::JobTitle},
    {&I::MobilePhone, &I::Pager},
    {&I::MobilePhone, &I::PersonalHomePage},
    {&I::Nickname, &I::Pager},
    {&I::Nickname, &I::PersonalHomePage},
};

// Every field, the two web pages of a contact as one.
constexpr TRuleRow kWebPages = {&I::WebPage, &I::BusinessHomePage};

constexpr TRuleRow kSuggestedPair[] = {
    {&I::FirstName, &I::LastName},
};

constexpr TRuleRow kSuggestedFields[] = {
    {&I::Company},
    {&I::LastName},
};

constexpr TRuleRow kLastNameSuggestedFields[] = {
    {&I::BusinessAddressStreet},
    {&I::HomeAddressStreet},
    {&I::OtherAddressStreet},
    {&I::AssistantsPhone},
    {&I::BusinessFax},
    {&I::BusinessPhone},
    {&I::BusinessPhone2},
    {&I::Callback},
    {&I::CarPhone},
    {&I::CompanyMainPhone},
    {&I::HomeFax},
    {&I::HomePhone},
    {&I::HomePhone2},
    {&I::ISDN},
    {&I::MobilePhone},
    {&I::OtherFax},
    {&I::OtherPhone},
    {&I::Pager},
    {&I::PrimaryPhone},
    {&I::RadioPhone},
    {&I::Telex},
    {&I::TTYTDDPhone},
    {&I::Email},
    {&I::Email2},
    {&I::Email3},
    {&I::Birthday},
    {&I::IMAddress},
    {&I::Nickname},
    {&I::PersonalHomePage},
};

constexpr TRuleRow kLastNameTwoFields[] = {
    {&I::FirstName},
    {&I::Department},
    {&I::JobTitle},
};

struct TTableRow {
    const wchar_t* heading;
    ERuleKind kind;
    std::span<const TRuleRow> rows;
};

// In the order of ERuleTable.
constexpr TTableRow kTables[] = {
    {L"StrictPairs", ERuleKind::Pairs, kStrictPairs},
    {L"StrictFields If SameCompanyContacts", ERuleKind::Fields, kCompanyFields},
    {L"StrictPairs if LNameFilterPassed", ERuleKind::Pairs, kLastNameStrictPairs},
    {L"StrictPairs if AnyField", ERuleKind::Pairs, kAnyFieldPairs},
    {L"StrictPairs if LNameFilterPassed and AnyField", ERuleKind::Pairs, kLastNameAnyFieldPairs},
    {L"AnyFields", ERuleKind::Fields, {}},
    {L"SuggestedPair if both props are similar(not exact)", ERuleKind::Pairs, kSuggestedPair},
    {L"SuggestedFields", ERuleKind::Fields, kSuggestedFields},
    {L"SuggestedFields  If LNameFilterPassed", ERuleKind::Fields, kLastNameSuggestedFields},
    {L"Suggested2Fields If LNameFilterPassed", ERuleKind::Fields, kLastNameTwoFields},
};
static_assert(std::size(kTables) == rtCount);

TRule Resolve(const TRuleRow& row, const TSimilarPropIndexes& indexes) {
    return {indexes.*row.first, row.second ? indexes.*row.second : -1};
}

std::vector<TRule> BuildAnyFields(const TContactFields& fields) {
    const TRule webPages = Resolve(kWebPages, fields.indexes);
    std::vector<TRule> rules;
    for (int field = 0; field < fields.Count(); ++field)
        if (field != webPages.first && field != webPages.second) rules.push_back({field, -1});
    rules.push_back(webPages);
    return rules;
}

}  // namespace

TRuleTables BuildRules(const TContactFields& fields) {
    TRuleTables tables;
    for (size_t i = 0; i < tables.size(); ++i) {
        tables[i] = {kTables[i].heading, kTables[i].kind, {}};
        for (const TRuleRow& row : kTables[i].rows) tables[i].rules.push_back(Resolve(row, fields.indexes));
    }
    tables[rtAnyFields].rules = BuildAnyFields(fields);
    return tables;
}

}  // namespace similar
