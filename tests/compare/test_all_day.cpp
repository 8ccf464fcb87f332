// Which appointments cover whole days, and which of them are birthdays and anniversaries.

#include <optional>

#include "base/mapi_extra.h"
#include "compare/calendar.h"
#include "quorvel.h"
#include "store/named_properties.h"
#include "tests/compare/faults.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"

using enum logging::ESeverity;
using store::ComPtr;

namespace {

constexpr LONG kAllDay = 0x8215, kDuration = 0x8213, kStart = 0x820D, kEnd = 0x820E;
constexpr char kTag[] = "Appointment_AllDayEventLikeEx";
constexpr char kBirthdayTag[] = "Appointment_IsBirthdayOrAnniversary";

class AllDay : public MailboxTest {
  protected:
    struct Kind {
        HRESULT result;
        int like, flag;
    };
    Kind Ask(IMessage* item, int askFlag) {
        Kind kind{S_OK, 99, 99};
        kind.result = Appointment_AllDayEventLikeEx(item, &kind.like, askFlag, &kind.flag);
        int like = 99;
        EXPECT_EQ(Appointment_AllDayEventLike(item, &like, askFlag), kind.result);
        EXPECT_EQ(like, kind.like) << "with and without the flag's output";
        return kind;
    }
};

TEST_F(AllDay, TheFirstPropertyThatDecides) {
    const FILETIME nine = Utc(2023, 3, 5, 9), nineNextDay = Utc(2023, 3, 6, 9);
    const struct {
        const char* what;
        std::optional<bool> flag;
        std::optional<LONG> duration;
        std::optional<FILETIME> start, end;
        int like, likeByFlag;
    } rows[] = {
        {"nothing known", {}, {}, {}, {}, 0, 0},
        {"a day", {}, 1440, {}, {}, 1, 1},
        {"two days", {}, 2880, {}, {}, 1, 1},
        {"no time", {}, 0, {}, {}, 0, 0},
        {"25 hours", {}, 1500, {}, {}, 0, 0},
        {"the flag", true, 60, {}, {}, 0, 1},
        {"a flag that is off", false, 1440, {}, {}, 1, 1},
        {"the duration before the times", {}, 60, nine, nineNextDay, 0, 0},
        {"from nine to nine", {}, {}, nine, nineNextDay, 1, 1},
        {"from nine to ten on the next day", {}, {}, nine, Utc(2023, 3, 6, 10), 0, 0},
        {"to a second later", {}, {}, nine, Utc(2023, 3, 6, 9, 0, 1), 0, 0},
        {"from nine to nine of the same day", {}, {}, nine, nine, 0, 0},
        {"to a minute later", {}, {}, nine, Utc(2023, 3, 6, 9, 1), 0, 0},
        {"over a month", {}, {}, nine, Utc(2023, 4, 5, 9), 1, 1},
        {"over a year", {}, {}, nine, Utc(2024, 3, 5, 9), 1, 1},
        {"no end", {}, {}, nine, {}, 0, 0},
    };
    CapturedLog log;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        TestItem item = Inbox().Item(L"IPM.Appointment");
        if (row.flag) item.Named(base::kSetAppointment, kAllDay, *row.flag);
        if (row.duration) item.Named(base::kSetAppointment, kDuration, *row.duration);
        if (row.start) item.Named(base::kSetAppointment, kStart, *row.start);
        if (row.end) item.Named(base::kSetAppointment, kEnd, *row.end);
        const ComPtr<IMessage> message = Open(item);
        const Kind unasked = Ask(message.Get(), 0), asked = Ask(message.Get(), 1);
        EXPECT_EQ(unasked.result, S_OK);
        EXPECT_EQ(unasked.like, row.like);
        EXPECT_EQ(asked.like, row.likeByFlag);
        EXPECT_EQ(unasked.flag, row.flag.value_or(false)) << "the flag itself";
        EXPECT_EQ(asked.flag, row.flag.value_or(false));
    }
    EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(AllDay, FailuresAreNamedInTheLog) {
    TestItem item = Inbox().Item();
    item.Named(base::kSetAppointment, kStart, FILETIME{0xFFFFFFFF, 0xFFFFFFFF})
        .Named(base::kSetAppointment, kEnd, Utc(2023, 1, 2));
    const ComPtr<IMessage> message = Open(item);
    CapturedLog log;
    int like = 99;
    EXPECT_EQ(Appointment_AllDayEventLike(message.Get(), &like, 0), S_OK);
    EXPECT_EQ(like, 0);
    ASSERT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(log.Lines()[0].tag, kTag);
    EXPECT_TRUE(log.Lines()[0].text.starts_with("FileTimeToSystemTime failed, LastError = 0x"));

    // A property that cannot be read matters only to the step that needs it.
    item.Error(item.NamedTag(base::kSetAppointment, kEnd, PT_SYSTIME), MAPI_E_NO_ACCESS);
    const ComPtr<IMessage> unreadable = Open(item);
    log.Clear();
    EXPECT_EQ(Appointment_AllDayEventLike(unreadable.Get(), &like, 0), MAPI_E_NO_ACCESS);
    EXPECT_EQ(log.Lines(), (LogLines{{sevError, kTag, "Quorvel_GetPropValue return 0x80070005\n"}}));
    item.Named(base::kSetAppointment, kDuration, LONG{1440});
    EXPECT_EQ(Appointment_AllDayEventLike(Open(item).Get(), &like, 0), S_OK);
    EXPECT_EQ(like, 1);
}

TEST_F(AllDay, BirthdaysAreWholeDaysWithASubject) {
    const int yes = 1, no = 0;
    wchar_t party[] = L"Ann's Birthday", other[] = L"Ann";
    char narrow[] = "Ann's anniversary";
    char nothing8[] = "";
    wchar_t nothing[] = L"";
    SPropValue empty8{PR_SUBJECT_A, 0, {}}, empty{PR_SUBJECT_W, 0, {}};
    empty8.Value.lpszA = nothing8;
    empty.Value.lpszW = nothing;
    SPropValue given{PR_SUBJECT_W, 0, {}}, plain = given, missing{PROP_TAG(PT_ERROR, 0x37), 0, {}},
                                           narrowGiven{PR_SUBJECT_A, 0, {}};
    given.Value.lpszW = party;
    plain.Value.lpszW = other;
    narrowGiven.Value.lpszA = narrow;
    missing.Value.err = MAPI_E_NOT_FOUND;
    TestItem birthday = Inbox().Item(), meeting = Inbox().Item(), untitled = Inbox().Item();
    birthday.Named(base::kSetAppointment, kDuration, LONG{1440}).Subject(L"Bob's birthday");
    meeting.Named(base::kSetAppointment, kDuration, LONG{60}).Subject(L"Bob's birthday");
    untitled.Named(base::kSetAppointment, kAllDay, true);
    const ComPtr<IMessage> day = Open(birthday), hour = Open(meeting), silent = Open(untitled);
    const struct {
        const char* what;
        IMessage* item;
        bool wide;
        const int* like;
        const SPropValue* subject;
        int expected;
    } rows[] = {
        {"all read", day.Get(), true, nullptr, nullptr, 1},
        {"all read, 8-bit", day.Get(), false, nullptr, nullptr, 1},
        {"not a whole day", hour.Get(), true, nullptr, nullptr, 0},
        {"a whole day as the caller knows", hour.Get(), true, &yes, nullptr, 1},
        {"no whole day as the caller knows", day.Get(), true, &no, nullptr, 0},
        {"the caller's subject", silent.Get(), true, &yes, &given, 1},
        {"the caller's 8-bit subject", silent.Get(), false, &yes, &narrowGiven, 1},
        {"an empty subject of the other width", day.Get(), true, &yes, &empty8, 0},
        {"an empty wide one for an 8-bit one", day.Get(), false, &yes, &empty, 0},
        {"the caller's subject goes first", day.Get(), true, &yes, &plain, 0},
        {"a missing one is read", day.Get(), true, &yes, &missing, 1},
        {"the flag is asked, no subject", silent.Get(), true, nullptr, nullptr, 0},
    };
    CapturedLog log;
    for (const auto& row : rows) {
        int result = 99;
        EXPECT_EQ(
            compare::Appointment_IsBirthdayOrAnniversary(row.item, row.wide, &result, row.like, row.subject),
            S_OK)
            << row.what;
        EXPECT_EQ(result, row.expected) << row.what;
    }
    EXPECT_EQ(log.Lines(), LogLines{});

    int result = 99;
    EXPECT_EQ(compare::Appointment_IsBirthdayOrAnniversary(day.Get(), true, &result, &yes, &narrowGiven), -1);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(log.Lines(),
              (LogLines{{sevError, kBirthdayTag,
                         "assert failed in line 0: \"PROP_TYPE(Subject) == STRING\" is false\n"}}));
    log.Clear();
    mailbox::calls::FailNth("IMAPIProp::GetProps", 1);
    EXPECT_EQ(compare::Appointment_IsBirthdayOrAnniversary(day.Get(), true, &result, &yes, nullptr), E_FAIL);
    EXPECT_EQ(log.Lines(), (LogLines{{sevError, kBirthdayTag, "Quorvel_GetPropValue return 0x80004005\n"}}));
    SweepFaults([&](auto arm) {
        arm();
        int undisturbed = 0;
        const HRESULT hr =
            compare::Appointment_IsBirthdayOrAnniversary(day.Get(), true, &undisturbed, nullptr, nullptr);
        EXPECT_EQ(hr == S_OK, mailbox::calls::Struck() == 0);
        EXPECT_EQ(undisturbed, hr == S_OK ? 1 : 0);
    });
}

}  // namespace
