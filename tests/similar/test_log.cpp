// What the search writes: entry traces, and while extra logging is on rules, contacts, compared fields and
// results.

#include <algorithm>

#include "base/mapi_extra.h"
#include "tests/similar/SimilarFixture.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;
using store::ComPtr;

namespace {

/// The texts of the dump lines among lines.
std::vector<std::string> Dump(const LogLines& lines) {
    std::vector<std::string> texts;
    for (const LogLine& line : lines)
        if (line.severity == sevRaw) texts.push_back(line.text);
    return texts;
}

class SimilarLog : public SimilarTest {
  protected:
    SimilarLog() {
        // The rules are written by the first search of the process that finds extra logging on.
        CapturedLog log(1, true);
        SimilarSearch_Delete(SimilarSearch_Create(nullptr, "", 0));
    }
};

TEST_F(SimilarLog, ExportsTraceTheirEntry) {
    const TestItem item = Add(L"Last Name=Smith");
    const ComPtr<IMessage> opened = Open(item);
    unsigned verdict, filled;
    CapturedLog log(2);
    HSimilarSearch search = SimilarSearch_Create(Session(), Store().Id().c_str(), 0);
    SimilarSearch_SetSearchByItem(search, opened.Get(), &filled);
    SimilarSearch_AddToCache(search, opened.Get());
    SimilarSearch_CheckItem(search, opened.Get(), &verdict, &filled, nullptr, nullptr);
    SimilarSearch_CheckItemW(search, opened.Get(), &verdict, &filled, nullptr, nullptr);
    SimilarSearch_CheckItemFast(search, item.Id().c_str(), &verdict, &filled, nullptr, nullptr);
    SimilarSearch_CheckItemFastW(search, item.Id().c_str(), &verdict, &filled, nullptr, nullptr);
    SimilarSearch_LogSearchByPos(search);
    SimilarSearch_RemoveFromCache(search, item.Id().c_str(), 1);
    SimilarSearch_Delete(search);
    SimilarSearch_Delete(nullptr);
    LogLines expected;
    for (const char* name :
         {"Create", "SetSearchByItem", "AddToCache", "CheckItem", "CheckItemW", "CheckItemFast",
          "CheckItemFastW", "LogSearchByPos", "RemoveFromCache", "Delete", "Delete"})
        expected.push_back({sevInfo, std::string("SimilarSearch_") + name, "->\n"});
    EXPECT_EQ(log.Lines(), expected) << "and nothing else while extra logging is off";
}

TEST_F(SimilarLog, SearchesBeginAndEndWithTheirLines) {
    const std::string line(110, '-');
    CapturedLog log(2, true);
    SimilarSearch_Delete(SimilarSearch_Create(nullptr, "", 0));
    EXPECT_EQ(log.Lines(), LogLines({{sevInfo, "SimilarSearch_Create", "->\n"},
                                     {sevRaw, "", line + "\n"},
                                     {sevRaw, "", "New Similar Search\n"},
                                     {sevRaw, "", line + "\n"},
                                     {sevRaw, "", "\n"},
                                     {sevInfo, "SimilarSearch_Delete", "->\n"},
                                     {sevRaw, "", "Similar Search Deleted\n"}}));
    log.Clear();
    SimilarSearch_Delete(nullptr);
    EXPECT_EQ(log.Lines(), LogLines({{sevRaw, "", "\n"}, {sevInfo, "SimilarSearch_Delete", "->\n"}}));
}

TEST_F(SimilarLog, CheckIsWrittenWithItsContactsAndItsResult) {
    const TestItem one =
        Add(L"Full Name=Jon Smith;First Name=Jon;Last Name=Smith;"
            L"Home Address Street=1 Main St.\r\nBack Yard;Categories=Friends|Rowing");
    const TestItem other = Add(L"Company=Smyth Ltd.;First Name=John;Last Name=Smyth");
    CapturedLog log(1, true);
    Search search(Session(), Store().Id());
    log.Clear();
    search.SetSearchBy(Open(one).Get());
    EXPECT_EQ(Dump(log.Lines()),
              (std::vector<std::string>{
                  "    " + std::string(102, '-') + "\n",
                  "     1.SearchByContact( " + one.Id() + ", DisplayName(FullName) = \"Jon Smith\" )\n",
                  "                        [First Name]: \"Jon\"\n",
                  "                         [Last Name]: \"Smith\"\n",
                  "               [Home Address Street]: \"1 Main St.  Back Yard\"\n",
                  "                        [Categories]: (count=2){\"Friends\",\"Rowing\"}\n",
                  "                               [LMT]: 2026.01.01 01:00:00.0000\n",
              }));
    log.Clear();
    search.Check(Open(other).Get());
    EXPECT_EQ(Dump(log.Lines()),
              (std::vector<std::string>{
                  "        +Contact( " + other.Id() + ", DisplayName(Company ) = \"Smyth Ltd.\" )\n",
                  "                            [First Name]: \"John\"\n",
                  "                             [Last Name]: \"Smyth\"\n",
                  "                               [Company]: \"Smyth Ltd.\"\n",
                  "                                   [LMT]: 2026.01.01 01:00:00.0000\n",
                  "            Similar. // FirstName(MissChar) + LastName(DiffChar); [First Name] \"Jon\" | "
                  "\"John\"; "
                  "[Last Name] \"Smith\" | \"Smyth\"\n",
              }));
    log.Clear();
    search.CheckFast(other.Id());
    EXPECT_EQ(Dump(log.Lines()).size(), 2u) << "the fields of a cached contact are not written again";
    log.Clear();
    SimilarSearch_AddToCache(search, Open(other).Get());
    EXPECT_EQ(Dump(log.Lines()), (std::vector<std::string>{"        _Contact( " + other.Id() +
                                                           ", DisplayName(Company ) = \"Smyth Ltd.\" )\n"}));
    log.Clear();
    SimilarSearch_LogSearchByPos(search);
    EXPECT_EQ(Dump(log.Lines()).size(), 2u);
}

TEST_F(SimilarLog, ContactsAreNamedByTheFirstNameTheyHave) {
    Contact contact = L"Full Name=Jon Smith;Company=Smith Ltd.;File As=Smith";
    CapturedLog log(1, true);
    Search search(Session(), Store().Id());
    for (const char* name : {"FullName) = \"Jon Smith\" )", "Company ) = \"Smith Ltd.\" )",
                             " FileAs ) = \"Smith\" )", " Empty  ) = \"Untitled\" )"}) {
        const TestItem item = Add(contact);
        log.Clear();
        SimilarSearch_AddToCache(search, Open(item).Get());
        EXPECT_EQ(Dump(log.Lines())[0], "        _Contact( " + item.Id() + ", DisplayName(" + name + "\n");
        if (!contact.empty()) contact.erase(contact.begin());
    }
}

TEST_F(SimilarLog, ComparedFieldsStandInColumns) {
    const TestItem one = Add(L"First Name=Peter;Last Name=John;E-mail=a@example.org;E-mail 2=A@example.org");
    const TestItem other = Add(L"First Name=John;Last Name=Walter;E-mail 3=a@example.org");
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(one).Get());
    SimilarSearch_AddToCache(search, Open(other).Get());
    CapturedLog log(1, true);
    search.CheckFast(other.Id());
    const std::vector<std::string> dump = Dump(log.Lines());
    const auto has = [&](const std::string& line) {
        return std::any_of(dump.begin(), dump.end(),
                           [&](const std::string& l) { return l.starts_with(line); });
    };
    EXPECT_TRUE(has("GrouppedCmpRules(Item1): skipping E-mail2 coz equal to E-mail\n"));
    EXPECT_TRUE(has("            Compared fields (after strict detection)\n"));
    EXPECT_TRUE(has("              FirstName(item1reversed)     Exact               \"John\" | \"John\"\n"));
    EXPECT_TRUE(
        has("              LastName(item1reversed)      Invalid(Unequal)    \"Peter\" | \"Walter\"\n"));
    EXPECT_TRUE(
        has("              E-mail(item2.E-mail3)        Exact               \"a@example.org\" | "
            "\"a@example.org\"\n"));
    EXPECT_FALSE(has("            Compared fields (after similar detection)\n"))
        << "a verdict was made before";
    EXPECT_EQ(
        dump.back(),
        "Switchig to other reversed mode: item2reversed            Similar. // LastName(item2reversed); "
        "[Last Name] \"John\" | \"John\"\n");
    // Values stand beside those that they were compared with.
    log.Clear();
    Compare(L"First Name=John;Last Name=Gray", L"First Name=Grey;Last Name=John");
    EXPECT_EQ(
        log.Count(sevRaw, "",
                  "            Strict . // FirstName(item2reversed) + LastName(item2reversed)(DiffChar); "
                  "[First Name] \"John\" | \"John\"; [Last Name] \"Gray\" | \"Grey\"\n"),
        1u);
}

TEST_F(SimilarLog, NoVerdictLeavesBothListsOfComparedFields) {
    const TestItem one = Add(L"First Name=Peter;Last Name=Smith");
    const TestItem other = Add(L"First Name=Walter;Last Name=Jones");
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(one).Get());
    SimilarSearch_AddToCache(search, Open(other).Get());
    CapturedLog log(1, true);
    search.CheckFast(other.Id());
    EXPECT_EQ(log.Count(sevRaw, "", "            Compared fields (after strict detection)\n"), 1u);
    EXPECT_EQ(log.Count(sevRaw, "", "            Compared fields (after similar detection)\n"), 1u);
}

TEST_F(SimilarLog, PlaceholderDatesAreSkippedWithOneLine) {
    const struct {
        const wchar_t *one, *other;
        const char* line;
    } kCases[] = {
        {L"4501-01-01", L"1980-03-22", "Skipping bad date(4501.01.01)\n"},
        {L"1980-03-22", L"1899-12-30", "Skipping bad date(1899.12.30)\n"},
        {L"4501-01-01", L"1899-12-30", "Skipping bad date(4501.01.01)\n"},
    };
    for (const auto& c : kCases) {
        CapturedLog log(3);
        Compare({{L"Last Name", L"Smith"}, {L"Birthday", c.one}},
                {{L"Last Name", L"Smith"}, {L"Birthday", c.other}});
        EXPECT_EQ(log.Count(sevInfo, "CSimilarSearch.CmpBADateProp", c.line), 1u);
        EXPECT_EQ(log.Lines(sevError), LogLines());
    }
}

TEST_F(SimilarLog, DatesBeyondTheCalendarMatchNothingAndAssert) {
    const TestItem item = Add(L"Last Name=Smith").Time(PR_BIRTHDAY, {0xFFFFFFFF, 0xFFFFFFFF});
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(item).Get());
    CapturedLog log;
    EXPECT_EQ(search.CheckFast(item.Id()).fields, L"Last Name");
    const LogLines lines = log.Lines(sevError, "CSimilarSearch.CmpBADateProp");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].text.find("\"FileTimeToSystemTime\" is false"), std::string::npos) << lines[0].text;
}

}  // namespace
