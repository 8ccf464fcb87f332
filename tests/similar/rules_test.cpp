// Every rule decides the pair of contacts that it is made for, and no pair that lacks something of it.

#include <algorithm>

#include "tests/similar/SimilarFixture.h"

namespace {

using Names = std::vector<std::wstring>;

Names Of(const wchar_t* names) {
    return Split(names, L';');
}

/// A value for a field, and another that matches it by no method.
std::wstring Value(const std::wstring& field, bool other = false) {
    if (field == L"Birthday" || field == L"Anniversary") return other ? L"1971-06-30" : L"1980-03-22";
    return other ? L"Quite Else" : L"Same " + field;
}

Contact With(const Names& fields, Contact more = {}) {
    for (const std::wstring& field : fields) more.emplace_back(field, Value(field));
    return more;
}

Verdict Expected(unsigned verdict, const Names& fields, const std::wstring& end = L"") {
    std::wstring labels;
    for (const std::wstring& field : fields) labels += (labels.empty() ? L"" : L" + ") + WithoutSpaces(field);
    return Decided(verdict, labels + end);
}

const Contact kSmith = L"Last Name=Smith";
const Contact kJones = L"Last Name=Jones";
const Contact kPeter = L"First Name=Peter";
const Contact kWalter = L"First Name=Walter";
constexpr wchar_t kLastNameOk[] = L" // LastNameOK";

const Names kStreets = Of(L"Business Address Street;Home Address Street;Other Address Street");
const Names kPhones =
    Of(L"Assistant's Phone;Business Fax;Business Phone;Business Phone 2;Callback;Car Phone;"
       L"Company Main Phone;Home Fax;Home Phone;Home Phone 2;ISDN;Mobile Phone;Other Fax;Other Phone;"
       L"Pager;Primary Phone;Radio Phone;Telex;TTY/TDD Phone");
const Names kEmails = Of(L"E-mail;E-mail 2;E-mail 3");

class SimilarRules : public SimilarTest {
  protected:
    /// The fields alone decide; one of them alone, or with another value in the second contact, does not.
    void ExpectPair(const Names& pair, const Verdict& expected, const Contact& more = {}) {
        SCOPED_TRACE(Narrow(pair[0] + L" + " + pair[1]));
        EXPECT_EQ(Compare(With(pair, more), With(pair, more)), expected);
        for (size_t i = 0; i < 2; ++i) {
            Contact other = more;
            other.emplace_back(pair[i], Value(pair[i]));
            EXPECT_NE(Compare(With(pair, more), other), expected) << "without " << Narrow(pair[1 - i]);
            other.emplace_back(pair[1 - i], Value(pair[1 - i], true));
            EXPECT_NE(Compare(With(pair, more), other), expected) << "with another " << Narrow(pair[1 - i]);
        }
    }
    Contact Plus(Contact one, const Contact& more) {
        one.insert(one.end(), more.begin(), more.end());
        return one;
    }
};

TEST_F(SimilarRules, StrictPairs) {
    const Names kPairs =
        Of(L"First Name+Last Name;Last Name+Birthday;Last Name+IM Address;Last Name+Nickname;"
           L"Birthday+Home Address Street;Birthday+Home Phone;Birthday+Home Phone 2;Birthday+Job Title;"
           L"Job Title+IM Address;E-mail+E-mail 2;E-mail+E-mail 3;E-mail 2+E-mail 3;"
           L"Business Phone+Business Phone 2");
    for (const std::wstring& both : kPairs) {
        const Names pair = Split(both, L'+');
        ExpectPair(pair, Expected(2, pair));
        const bool byName = std::count(pair.begin(), pair.end(), L"First Name") != 0;
        if (byName) continue;
        // Other first names keep any strict rule from being tried.
        EXPECT_NE(Compare(With(pair, kPeter), With(pair, kWalter)).verdict, 2u)
            << Narrow(pair[0] + L" + " + pair[1]);
    }
}

TEST_F(SimilarRules, StrictPairsWhenLastNamesDoNotDiffer) {
    for (const std::wstring second : {L"IM Address", L"Mobile Phone"}) {
        const Names pair = {L"Nickname", second};
        ExpectPair(pair, Expected(2, pair, kLastNameOk));
        EXPECT_EQ(Compare(With(pair, kSmith), With(pair, kJones)), Verdict()) << Narrow(second);
    }
}

TEST_F(SimilarRules, CompanyContacts) {
    const Names kFields =
        Of(L"Business Address Street;Business Phone;Business Phone 2;E-mail;E-mail 2;E-mail 3;"
           L"Home Address Street;Home Phone;Home Phone 2");
    const std::wstring rule = L" // Company Contacts Rule";
    for (const std::wstring& field : kFields) {
        const Names pair = {L"Company", field};
        ExpectPair(pair, Expected(2, pair, rule));
        // The rule is for companies, not for colleagues.
        const Contact person = With(pair, L"Full Name=Peter Smith");
        EXPECT_EQ(Compare(person, With(pair)), Expected(1, {L"Company"})) << Narrow(field);
        EXPECT_EQ(Compare(With(pair), person), Expected(1, {L"Company"})) << Narrow(field);
    }
    const Names first = {L"Company", L"Home Phone", L"E-mail 2", L"Business Phone 2"};
    EXPECT_EQ(Compare(With(first), With(first)), Expected(2, {L"Company", L"Business Phone 2"}, rule));
    // Differing first names do not matter: no person is meant.
    const Names pair = {L"Company", L"E-mail"};
    EXPECT_EQ(Compare(With(pair, kPeter), With(pair, kWalter)), Expected(2, pair, rule));
}

const std::pair<std::wstring, Names> kAnyFieldPairs[] = {
    {L"First Name", Of(L"IM Address;Pager;Personal Home Page")},
    {L"Last Name", Of(L"Pager;Personal Home Page;Mobile Phone")},
    {L"IM Address", Of(L"Birthday;Business Address Street;Business Phone;Business Phone 2;Company;Department;"
                       L"E-mail;E-mail 2;E-mail 3;Home Address Street;Home Phone;Home Phone 2;Pager;"
                       L"Personal Home Page")},
    {L"Pager", Of(L"Birthday;Business Address Street;Business Phone;Business Phone 2;Company;Department;"
                  L"E-mail;E-mail 2;E-mail 3;Home Address Street;Home Phone;Home Phone 2;Job Title")},
    {L"Personal Home Page",
     Of(L"Birthday;Business Address Street;Business Phone;Business Phone 2;Company;Department;E-mail;"
        L"E-mail 2;E-mail 3;Home Address Street;Home Phone;Home Phone 2;Job Title;Pager")},
};

TEST_F(SimilarRules, PairsWithAnyThirdField) {
    int count = 0;
    const Contact third = L"Suffix=Jr.";
    const Contact person = L"Full Name=Peter Smith";  // companies have a rule of their own
    for (const auto& [first, seconds] : kAnyFieldPairs) {
        for (const std::wstring& second : seconds) {
            const Names pair = {first, second};
            ExpectPair(pair, Expected(2, {first, second, L"Suffix"}), Plus(third, person));
            EXPECT_NE(Compare(With(pair, person), With(pair, person)).verdict, 2u)
                << Narrow(first + L" + " + second) << " without a third field";
            ++count;
        }
    }
    EXPECT_EQ(count, 47);
}

const std::pair<std::wstring, Names> kLastNameAnyFieldPairs[] = {
    {L"First Name", Of(L"Mobile Phone")},
    {L"Mobile Phone", Of(L"Birthday;Business Address Street;Business Phone;Business Phone 2;Company;"
                         L"Department;E-mail;E-mail 2;E-mail 3;Home Address Street;Home Phone;Home Phone 2;"
                         L"IM Address;Job Title;Pager;Personal Home Page")},
    {L"Nickname", Of(L"Pager;Personal Home Page")},
};

TEST_F(SimilarRules, PairsWithAnyThirdFieldWhenLastNamesDoNotDiffer) {
    int count = 0;
    const Contact third = L"Suffix=Jr.;Full Name=Peter Smith";
    for (const auto& [first, seconds] : kLastNameAnyFieldPairs) {
        for (const std::wstring& second : seconds) {
            const Names pair = {first, second};
            ExpectPair(pair, Expected(2, {first, second, L"Suffix"}, kLastNameOk), third);
            EXPECT_NE(Compare(With(pair, Plus(third, kSmith)), With(pair, Plus(third, kJones))).verdict, 2u)
                << Narrow(first + L" + " + second) << " of people with other last names";
            ++count;
        }
    }
    EXPECT_EQ(count, 19);
}

// First name, last name and IM address are never the third field: with a pair of the table each of them makes
// a pair that comes before.
TEST_F(SimilarRules, ThirdFields) {
    const Names kMore =
        Of(L"Account;Anniversary;Assistant's Name;Billing Information;Birthday;Categories;Children;Company;"
           L"Customer ID;Department;FTP Site;Government ID Number;Hobbies;Internet Free/Busy Address;"
           L"Language;Location;Manager's Name;Mileage;Nickname;Notes;Office Location;"
           L"Organizational ID Number;Personal Home Page;Profession;Referred By;Spouse;User Field 1;"
           L"User Field 2;User Field 3;User Field 4;Web Page;Business Home Page");
    Names thirds = Of(L"Title;Middle Name;Suffix");
    for (const Names& more : {kStreets, kPhones, kEmails, kMore})
        thirds.insert(thirds.end(), more.begin(), more.end());
    const Contact personSmith = L"Full Name=Peter Smith;Last Name=Smith";
    const Contact personJones = L"Full Name=Peter Jones;Last Name=Jones";
    for (const std::wstring& third : thirds) {
        const Names fields = {L"First Name", L"IM Address", third};
        EXPECT_EQ(Compare(With(fields, personSmith), With(fields, personJones)), Expected(2, fields));
    }
    const Names jobTitle = {L"First Name", L"Pager", L"Job Title"};
    EXPECT_EQ(Compare(With(jobTitle, kSmith), With(jobTitle, kJones)), Expected(2, jobTitle));
    // The order of the fields decides between several; web pages come last, the alternate after the field.
    const Names several = {L"First Name", L"IM Address", L"Business Home Page", L"Web Page", L"Language"};
    EXPECT_EQ(Compare(With(several, kSmith), With(several, kJones)),
              Expected(2, {L"First Name", L"IM Address", L"Language"}));
    const Names pages = {L"First Name", L"IM Address", L"Business Home Page", L"Web Page"};
    EXPECT_EQ(Compare(With(pages, kSmith), With(pages, kJones)),
              Expected(2, {L"First Name", L"IM Address", L"Web Page"}));
}

// Only the first pair that matches is given a chance of a third field.
TEST_F(SimilarRules, ALaterPairHasNoThirdField) {
    const Names pair = {L"IM Address", L"Pager"};
    EXPECT_EQ(Compare(With(pair, kSmith), With(pair, kJones)), Verdict());
    const Names three = {L"IM Address", L"Pager", L"Personal Home Page"};
    EXPECT_EQ(Compare(With(three, kSmith), With(three, kJones)), Expected(2, three));
}

TEST_F(SimilarRules, SuggestedFields) {
    for (const std::wstring field : {L"Company", L"Last Name"}) {
        EXPECT_EQ(Compare(With({field}), With({field})), Expected(1, {field}));
        EXPECT_EQ(Compare(With({field}, kPeter), With({field}, kWalter)), Expected(1, {field}));
    }
    EXPECT_EQ(Compare(With({L"Company"}, kSmith), With({L"Company"}, kJones)), Expected(1, {L"Company"}));
}

TEST_F(SimilarRules, SuggestedFieldsWhenLastNamesDoNotDiffer) {
    Names fields;
    for (const Names& more :
         {kStreets, kPhones, kEmails, Names{L"Birthday", L"IM Address", L"Nickname", L"Personal Home Page"}})
        fields.insert(fields.end(), more.begin(), more.end());
    EXPECT_EQ(fields.size(), 29u);
    for (const std::wstring& field : fields) {
        EXPECT_EQ(Compare(With({field}), With({field})), Expected(1, {field}, kLastNameOk));
        EXPECT_EQ(Compare(With({field}, kPeter), With({field}, kWalter)), Expected(1, {field}, kLastNameOk));
        EXPECT_EQ(Compare(With({field}, kSmith), With({field}, kJones)), Verdict()) << Narrow(field);
    }
}

TEST_F(SimilarRules, SuggestedTwoFieldsWhenLastNamesDoNotDiffer) {
    const Names kTriple = {L"First Name", L"Department", L"Job Title"};
    for (int without = 0; without < 3; ++without) {
        Names pair = kTriple;
        pair.erase(pair.begin() + without);
        ExpectPair(pair, Expected(1, pair, kLastNameOk));
        EXPECT_EQ(Compare(With(pair, kSmith), With(pair, kJones)), Verdict());
    }
    EXPECT_EQ(Compare(With(kTriple), With(kTriple)),
              Expected(1, {L"First Name", L"Department"}, kLastNameOk));
}

// What no rule names makes nobody similar.
TEST_F(SimilarRules, OtherFieldsAloneDecideNothing) {
    for (const wchar_t* field :
         {L"Title", L"Middle Name", L"Suffix", L"Account", L"Anniversary", L"Categories", L"Children",
          L"Hobbies", L"Notes", L"Spouse", L"Web Page", L"First Name", L"Department"})
        EXPECT_EQ(Compare(With({field}), With({field})), Verdict()) << Narrow(field);
    EXPECT_EQ(Compare({}, {}), Verdict()) << "contacts without any field";
}

}  // namespace
