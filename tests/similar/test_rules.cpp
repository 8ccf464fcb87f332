// Every rule of rules.txt decides the pair of contacts that it is made for, and no pair that lacks something of it; there
// are no other rules.

#include <algorithm>
#include <fstream>
#include <regex>

#include "tests/similar/SimilarFixture.h"
#include "tests/support/CapturedLog.h"

namespace {

using Names = std::vector<std::wstring>;

/// The dump of all rules, as it has to be.
std::vector<std::string> RuleLines() {
    std::ifstream file(QUORVEL_RULES);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    EXPECT_FALSE(lines.empty()) << "rules.txt cannot be read";
    return lines;
}

/// The rules below a heading, each as the names of its fields.
std::vector<Names> Rules(const std::string& heading) {
    std::vector<Names> rules;
    bool isBelow = false;
    for (const std::string& line : RuleLines()) {
        const bool isRule = line.starts_with("        ");
        if (!isRule) isBelow = line.starts_with("    " + heading + " --");
        if (!isRule || !isBelow) continue;
        const std::regex apart(" [+/] |, ");
        rules.emplace_back();
        for (std::sregex_token_iterator name(line.begin() + 12, line.end(), apart, -1), end; name != end;
             ++name)
            rules.back().emplace_back(name->first, name->second);
    }
    EXPECT_FALSE(rules.empty()) << heading;
    return rules;
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
    for (const Names& pair : Rules("StrictPairs")) {
        ExpectPair(pair, Expected(2, pair));
        if (pair[0] == L"First Name") continue;
        // Other first names keep any strict rule from being tried.
        EXPECT_NE(Compare(With(pair, kPeter), With(pair, kWalter)).verdict, 2u)
            << Narrow(pair[0] + L" + " + pair[1]);
    }
}

TEST_F(SimilarRules, StrictPairsWhenLastNamesDoNotDiffer) {
    for (const Names& pair : Rules("StrictPairs if LNameFilterPassed")) {
        ExpectPair(pair, Expected(2, pair, kLastNameOk));
        EXPECT_EQ(Compare(With(pair, kSmith), With(pair, kJones)), Verdict()) << Narrow(pair[1]);
    }
}

TEST_F(SimilarRules, CompanyContacts) {
    const std::wstring rule = L" // Company Contacts Rule";
    for (const Names& fields : Rules("StrictFields If SameCompanyContacts")) {
        const std::wstring& field = fields[0];
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

TEST_F(SimilarRules, PairsWithAnyThirdField) {
    const Contact third = L"Suffix=Jr.";
    const Contact person = L"Full Name=Peter Smith";  // companies have a rule of their own
    for (const Names& pair : Rules("StrictPairs if AnyField")) {
        ExpectPair(pair, Expected(2, {pair[0], pair[1], L"Suffix"}), Plus(third, person));
        EXPECT_NE(Compare(With(pair, person), With(pair, person)).verdict, 2u)
            << Narrow(pair[0] + L" + " + pair[1]) << " without a third field";
    }
}

TEST_F(SimilarRules, PairsWithAnyThirdFieldWhenLastNamesDoNotDiffer) {
    const Contact third = L"Suffix=Jr.;Full Name=Peter Smith";
    for (const Names& pair : Rules("StrictPairs if LNameFilterPassed and AnyField")) {
        ExpectPair(pair, Expected(2, {pair[0], pair[1], L"Suffix"}, kLastNameOk), third);
        EXPECT_NE(Compare(With(pair, Plus(third, kSmith)), With(pair, Plus(third, kJones))).verdict, 2u)
            << Narrow(pair[0] + L" + " + pair[1]) << " of people with other last names";
    }
}

// First name, last name and IM address are never the third field: with a pair of the table each of them makes
// a pair that comes before.
TEST_F(SimilarRules, ThirdFields) {
    const Contact personSmith = L"Full Name=Peter Smith;Last Name=Smith";
    const Contact personJones = L"Full Name=Peter Jones;Last Name=Jones";
    const Names before = {L"First Name", L"Last Name", L"IM Address", L"Job Title"};
    for (const Names& rule : Rules("AnyFields")) {
        for (const std::wstring& third : rule) {
            if (std::ranges::count(before, third) != 0) continue;
            const Names fields = {L"First Name", L"IM Address", third};
            EXPECT_EQ(Compare(With(fields, personSmith), With(fields, personJones)), Expected(2, fields));
        }
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
    for (const Names& rule : Rules("SuggestedFields")) {
        const std::wstring& field = rule[0];
        EXPECT_EQ(Compare(With({field}), With({field})), Expected(1, {field}));
        EXPECT_EQ(Compare(With({field}, kPeter), With({field}, kWalter)), Expected(1, {field}));
    }
    EXPECT_EQ(Compare(With({L"Company"}, kSmith), With({L"Company"}, kJones)), Expected(1, {L"Company"}));
}

TEST_F(SimilarRules, SuggestedFieldsWhenLastNamesDoNotDiffer) {
    for (const Names& rule : Rules("SuggestedFields  If LNameFilterPassed")) {
        const std::wstring& field = rule[0];
        EXPECT_EQ(Compare(With({field}), With({field})), Expected(1, {field}, kLastNameOk));
        EXPECT_EQ(Compare(With({field}, kPeter), With({field}, kWalter)), Expected(1, {field}, kLastNameOk));
        EXPECT_EQ(Compare(With({field}, kSmith), With({field}, kJones)), Verdict()) << Narrow(field);
    }
}

TEST_F(SimilarRules, SuggestedTwoFieldsWhenLastNamesDoNotDiffer) {
    Names triple;  // any two of them
    for (const Names& rule : Rules("Suggested2Fields If LNameFilterPassed")) triple.push_back(rule[0]);
    for (int without = 0; without < 3; ++without) {
        Names pair = triple;
        pair.erase(pair.begin() + without);
        ExpectPair(pair, Expected(1, pair, kLastNameOk));
        EXPECT_EQ(Compare(With(pair, kSmith), With(pair, kJones)), Verdict());
    }
    EXPECT_EQ(Compare(With(triple), With(triple)), Expected(1, {L"First Name", L"Department"}, kLastNameOk));
}

// What no rule names makes nobody similar.
TEST_F(SimilarRules, OtherFieldsAloneDecideNothing) {
    for (const wchar_t* field :
         {L"Title", L"Middle Name", L"Suffix", L"Account", L"Anniversary", L"Categories", L"Children",
          L"Hobbies", L"Notes", L"Spouse", L"Web Page", L"First Name", L"Department"})
        EXPECT_EQ(Compare(With({field}), With({field})), Verdict()) << Narrow(field);
    EXPECT_EQ(Compare({}, {}), Verdict()) << "contacts without any field";
}

// A fresh copy of the library in a process of its own state writes its rules, once.
TEST(SimilarRuleDump, IsWrittenOnceWithEveryRule) {
    HMODULE module = LoadLibraryW(L"Quorvel.dll");
    ASSERT_TRUE(module) << "Quorvel.dll is not beside the test";
    const auto configure = reinterpret_cast<decltype(&Quorvel_ConfigLogEx)>(
        reinterpret_cast<void*>(GetProcAddress(module, "Quorvel_ConfigLogEx")));
    const auto create = reinterpret_cast<decltype(&SimilarSearch_Create)>(
        reinterpret_cast<void*>(GetProcAddress(module, "SimilarSearch_Create")));
    const auto destroy = reinterpret_cast<decltype(&SimilarSearch_Delete)>(
        reinterpret_cast<void*>(GetProcAddress(module, "SimilarSearch_Delete")));
    ASSERT_TRUE(configure && create && destroy);

    TemporaryFolder folder;
    const std::string file = folder.File("rules.log");
    configure(nullptr, nullptr, 0, 1, 0);
    destroy(create(nullptr, "", 0));
    configure(nullptr, file.c_str(), 0, 1, 1);
    for (int i = 0; i < 2; ++i) destroy(create(nullptr, "", 0));
    configure(nullptr, nullptr, 0, 1, 0);
    FreeLibrary(module);
    std::string dump, expected;
    for (const LogLine& line : ParseLog(ReadWholeFile(file)))
        if (line.text.starts_with("    ")) dump += line.text;
    for (const std::string& line : RuleLines()) expected += line + "\n";
    EXPECT_EQ(dump, expected) << "once, for the first search while extra logging is on";
}

}  // namespace
