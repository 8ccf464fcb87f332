// Streams of two items compared chunk by chunk, and the filled properties of an item counted.

#include <random>

#include "base/mapi_extra.h"
#include "quorvel.h"
#include "tests/compare/faults.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"

using enum logging::ESeverity;
using store::ComPtr;
using store::CTagList;

namespace {

constexpr ULONG kBytes = PROP_TAG(PT_BINARY, 0x6601);

struct Compared {
    HRESULT hr;
    bool compared;
    long result;
    bool operator==(const Compared&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Compared& c) {
    return out << std::hex << c.hr << (c.compared ? " compared " : " not compared ") << std::dec << c.result;
}

class ItemCompare : public MailboxTest {
  protected:
    static Compared Compare(IMessage* a, IMessage* b, ULONG tag) {
        Compared c{S_OK, true, 99};
        c.hr = Quorvel_CompareStreamProp(a, b, tag, &c.result, &c.compared);
        if (c.compared) c.result = (c.result > 0) - (c.result < 0);
        return c;
    }
    Compared CompareBytes(const std::string& a, const std::string& b) {
        return Compare(Open(Inbox().Item().Binary(kBytes, a)).Get(),
                       Open(Inbox().Item().Binary(kBytes, b)).Get(), kBytes);
    }
    Compared CompareBodies(const std::wstring& a, const std::wstring& b, ULONG tag = PR_BODY_W) {
        return Compare(Open(Inbox().Item().Body(a)).Get(), Open(Inbox().Item().Body(b)).Get(), tag);
    }
};

// Bytes compare as whole texts do, wherever the chunks end; the longer of two that agree is the greater.
TEST_F(ItemCompare, BytesAcrossChunks) {
    std::mt19937 random(11);
    for (const size_t length : {1u, 2u, 511u, 512u, 513u, 1024u, 1025u, 3000u}) {
        for (int round = 0; round < 12; ++round) {
            std::string a(length, 'a'), b;
            for (char& c : a) c = static_cast<char>(random() % 256);
            b = a.substr(0, round % 3 == 0 ? length : 1 + random() % length);
            if (round % 4 == 1) b[random() % b.size()] ^= static_cast<char>(0x80);
            const int order = a.compare(b);  // by unsigned bytes
            const int sign = (order > 0) - (order < 0);
            ASSERT_EQ(CompareBytes(a, b), (Compared{S_OK, true, sign})) << length << " and " << b.size();
            ASSERT_EQ(CompareBytes(b, a), (Compared{S_OK, true, -sign})) << b.size() << " and " << length;
        }
    }
}

TEST_F(ItemCompare, WideTextsWithoutRegardToCase) {
    for (const size_t length : {1u, 255u, 256u, 257u, 512u, 700u}) {
        const std::wstring a(length, L'x'), upper(length, L'X');
        EXPECT_EQ(CompareBodies(a, upper), (Compared{S_OK, true, 0})) << length;
        EXPECT_EQ(CompareBodies(a, upper + L"a"), (Compared{S_OK, true, -1})) << length;
        EXPECT_EQ(CompareBodies(a + L"b", upper + L"A"), (Compared{S_OK, true, 1})) << length;
    }
    EXPECT_EQ(CompareBodies(L"\u00c9t\u00e9", L"\u00e9t\u00e9"), (Compared{S_OK, true, 0}));
    EXPECT_EQ(CompareBodies(L"abc", L"ABC", PR_BODY_A), (Compared{S_OK, true, 1}))
        << "8-bit texts byte for byte";
    EXPECT_EQ(CompareBodies(L"abc", L"abc", PR_BODY_A), (Compared{S_OK, true, 0}));
}

TEST_F(ItemCompare, NothingToCompareIsNoResult) {
    const Compared undecided{S_OK, false, 99};
    const ComPtr<IMessage> without = Open(Inbox().Item()),
                           with = Open(Inbox().Item().Body(L"x").Binary(kBytes, "x"));
    for (const ULONG tag : {ULONG{PR_BODY_W}, ULONG{PR_BODY_A}, kBytes}) {
        EXPECT_EQ(Compare(without.Get(), with.Get(), tag), undecided);
        EXPECT_EQ(Compare(with.Get(), without.Get(), tag), undecided);
        EXPECT_EQ(Compare(without.Get(), without.Get(), tag), undecided);
    }
    // with a stream in hand all the same
    mailbox::calls::Fail({.method = "IMAPIProp::OpenProperty", .result = MAPI_E_NOT_FOUND, .perform = true});
    EXPECT_EQ(Compare(with.Get(), with.Get(), kBytes), undecided);
    EXPECT_EQ(CompareBytes("", "x"), undecided);
    EXPECT_EQ(CompareBodies(std::wstring(L"\0x", 2), L"x"), undecided)
        << "a text that begins with its terminator";
    EXPECT_EQ(CompareBytes(std::string("\0x", 2), "x"), (Compared{S_OK, true, -1})) << "bytes have none";
}

TEST_F(ItemCompare, CountsFilledPropertiesOfAnItem) {
    TestItem item = Inbox().Item();
    item.Subject(L"four")
        .Text(PR_SURNAME_W, L"")
        .Long(PR_IMPORTANCE, 0)
        .Error(PR_COMMENT_W, MAPI_E_NO_ACCESS);
    item.Body(L"a body").Binary(kBytes, "");
    const ComPtr<IMessage> message = Open(item);
    CTagList tags(PR_SUBJECT_W, PR_SURNAME_W, PR_IMPORTANCE, PR_COMMENT_W, PR_COMPANY_NAME_W);
    long filled = 99;
    ULONG sizes[] = {9, 9, 9, 9, 9};
    CapturedLog log;
    EXPECT_EQ(Quorvel_CountProps(message.Get(), tags, &filled, sizes), MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(filled, 2);
    EXPECT_EQ(std::vector<ULONG>(sizes, sizes + 5), (std::vector<ULONG>{4, 9, 1, 9, 9}));
    EXPECT_EQ(log.Lines(), (LogLines{{sevError, "Quorvel_CountProps2", "PropError(-2147024891)\n"}}));

    log.Clear();
    ShortenRead(1);
    EXPECT_EQ(Quorvel_CountProps(message.Get(), tags, &filled, nullptr), S_OK);
    EXPECT_EQ(filled, 1) << "what came is counted";
    EXPECT_EQ(log.Lines(), (LogLines{{sevError, "Quorvel_CountProps", "lpPropTags->cValues != nValues\n"}}));
}

TEST_F(ItemCompare, CountsStreamsWithSomethingInThem) {
    const ComPtr<IMessage> message = Open(Inbox().Item().Body(L"a body").Text(PR_COMMENT_W, L""));
    CTagList tags(PR_BODY_W, PR_COMMENT_W, kBytes);
    long filled = 99;
    ULONG sizes[] = {9, 9, 9};
    EXPECT_EQ(Quorvel_CountStreamProps(message.Get(), tags, &filled, sizes), S_OK);
    EXPECT_EQ(filled, 1);
    EXPECT_EQ(std::vector<ULONG>(sizes, sizes + 3), (std::vector<ULONG>{12, 0, 0}));
    EXPECT_EQ(Quorvel_CountStreamProps(message.Get(), tags, &filled, nullptr), S_OK);
    EXPECT_EQ(filled, 1);
    SPropTagArray noTags{};
    EXPECT_EQ(Quorvel_CountStreamProps(message.Get(), &noTags, &filled, nullptr), S_OK);
    EXPECT_EQ(filled, 0);
    mailbox::calls::FailNth("IMAPIProp::OpenProperty", 1);
    EXPECT_EQ(Quorvel_CountStreamProps(message.Get(), tags, &filled, nullptr), S_OK)
        << "the last test's result";
    EXPECT_EQ(filled, 0);
    mailbox::calls::FailNth("IMAPIProp::OpenProperty", 3);
    EXPECT_EQ(Quorvel_CountStreamProps(message.Get(), tags, &filled, nullptr), E_FAIL);
    EXPECT_EQ(filled, 1);
}

}  // namespace
