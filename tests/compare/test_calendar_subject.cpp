// Birthday and anniversary subjects.

#include <algorithm>

#include "quorvel.h"
#include "tests/compare/sample_values.h"

namespace {

TEST(CalendarSubject, BringsTheWordsOfANameIntoOneOrder) {
    const struct {
        std::wstring subject;
        int test, result;
        std::wstring expected;
    } rows[] = {
        {L"Smith  John's Birthday", 1, 1, L"John Smith's Birthday"},
        {L"john smith's birthday", 1, 1, L"john smith's birthday"},
        {L"Smith Anna's anniversary", 1, 1, L"Anna Smith's anniversary"},
        {L"  c e b  d a 's BIRTHDAY", 1, 1, L"a b c d e's BIRTHDAY"},
        {L"Peter's birthday", 1, 1, L"Peter's birthday"},
        {L"b A B a's birthday", 1, 1, L"a A B b's birthday"},  // of equal words the later one comes first
        {L"O'Neil's birthday's anniversary", 1, 1, L"birthday O'Neil's's anniversary"},
        {L"\u00c9mile Zola's birthday", 1, 1, L"\u00c9mile Zola's birthday"},
        {L"'s birthday", 0, 0, L"'s birthday"},
        {L"  's birthday", 1, 0, L"  's birthday"},  // blanks are no name, but a test does not look
        {L"Peter's birthday party", 0, 0, L"Peter's birthday party"},
        {L"birthday", 0, 0, L"birthday"},
        {L"Peters birthday", 0, 0, L"Peters birthday"},
        {L"", 0, 0, L""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.subject));
        std::wstring wide = row.subject;
        EXPECT_EQ(Normalize_BirthdayOrAnnvrsrySubjectW(wide.data(), 1), row.test);
        EXPECT_EQ(wide, row.subject) << "a test writes nothing";
        EXPECT_EQ(Normalize_BirthdayOrAnnvrsrySubjectW(wide.data(), 0), row.result);
        EXPECT_EQ(std::wstring(wide.c_str()), row.expected);

        if (std::any_of(row.subject.begin(), row.subject.end(), [](wchar_t c) { return c > 0x7F; })) continue;
        std::string narrow(row.subject.begin(), row.subject.end());
        EXPECT_EQ(Normalize_BirthdayOrAnnvrsrySubject(narrow.data(), 1), row.test);
        EXPECT_EQ(Normalize_BirthdayOrAnnvrsrySubject(narrow.data(), 0), row.result);
        EXPECT_EQ(std::string(narrow.c_str()), std::string(row.expected.begin(), row.expected.end()));
    }
    EXPECT_EQ(Normalize_BirthdayOrAnnvrsrySubjectW(nullptr, 0), 0);
    EXPECT_EQ(Normalize_BirthdayOrAnnvrsrySubject(nullptr, 0), 0);
}

}  // namespace
