// The cells of the matrix.

#include <functional>

#include "base/mapi_extra.h"
#include "store/named_properties.h"
#include "tests/matrix/MatrixTest.h"

using enum logging::ESeverity;

namespace {

class ComparisonMatrix : public MatrixTest {};

constexpr HRESULT kDenied = MAPI_E_NO_ACCESS;
constexpr ULONG kLong = PROP_TAG(PT_LONG, 0x6700);
constexpr ULONG kInt64 = PROP_TAG(PT_I8, 0x6701);
constexpr ULONG kFloat = PROP_TAG(PT_R4, 0x6702);
constexpr ULONG kBinary = PROP_TAG(PT_BINARY, 0x6703);
constexpr ULONG kTexts = PROP_TAG(PT_MV_UNICODE, 0x6704);
constexpr ULONG kTime = PROP_TAG(PT_SYSTIME, 0x6705);
constexpr ULONG kFlag = PROP_TAG(PT_BOOLEAN, 0x6706);

const LogLine kIgnored{sevWarning, "CCmpMatrix.Add", "bad item - ignoring\n"};

TEST_F(ComparisonMatrix, NumbersEqualValuesAlike) {
    using Set = std::function<void(TestItem&)>;
    const Set none = [](TestItem&) {};
    const auto subject = [](const wchar_t* text) -> Set {
        return [=](TestItem& item) { item.Subject(text); };
    };
    const auto number = [](ULONG value) -> Set { return [=](TestItem& item) { item.Long(kLong, value); }; };
    const auto bytes = [](std::string value) -> Set {
        return [=](TestItem& item) { item.Binary(kBinary, value); };
    };
    const auto texts = [](std::vector<std::wstring> values) -> Set {
        return [=](TestItem& item) { item.Texts(kTexts, values); };
    };
    const auto time = [](int day) -> Set {
        return [=](TestItem& item) { item.Time(kTime, Utc(2020, 1, day)); };
    };
    const auto int64 = [](TestItem& item) { item.Edit().properties.Int64(kInt64, 5); };
    const auto real = [](float value) -> Set {
        return [=](TestItem& item) { item.Edit().properties.Float(kFloat, value); };
    };
    const auto flag = [](bool value) -> Set { return [=](TestItem& item) { item.Bool(kFlag, value); }; };
    const struct {
        const char* what;
        ULONG tag;
        std::vector<Set> items;
        const char *values, *sizes;
    } cases[] = {
        {"texts", PR_SUBJECT_W, {subject(L"A"), subject(L"B"), subject(L"A"), none}, "1 2 1 0", "1 1 1 0"},
        {"case", PR_SUBJECT_W, {subject(L"Café"), subject(L"CAFÉ"), subject(L"cafe")}, "1 1 3", "4 4 4"},
        {"empty first",
         PR_SUBJECT_W,
         {none, subject(L"x"), subject(L""), subject(L"X")},
         "0 2 0 2",
         "0 1 0 1"},
        {"nothing seen is not nothing",
         PR_SUBJECT_W,
         {none, subject(L""), subject(L"\x00AD")},
         "0 0 3",
         "0 0 1"},
        {"8-bit definition", PR_SUBJECT_A, {subject(L"Ω"), subject(L"ω")}, "1 1", "1 1"},
        {"numbers, zero too", kLong, {number(0), number(7), number(0), none}, "1 2 1 0", "1 1 1 0"},
        {"times", kTime, {time(1), time(2), time(1)}, "1 2 1", "1 1 1"},
        {"flags", kFlag, {flag(false), flag(true), flag(true)}, "1 2 2", "1 1 1"},
        {"binaries",
         kBinary,
         {bytes("ab"), bytes("abc"), bytes("AB"), bytes("ab"), bytes("")},
         "1 2 3 1 0",
         "2 3 2 2 0"},
        {"lists",
         kTexts,
         {texts({L"a", L"b"}), texts({L"b", L"a"}), texts({L"A", L"B"}), texts({L""})},
         "1 2 1 4",
         "2 2 2 1"},
        {"64-bit numbers are never equal", kInt64, {int64, int64}, "1 2", "1 1"},
        {"single floats are always equal", kFloat, {real(1), real(2)}, "1 1", "1 1"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        const auto matrix = Make({Plain(one.tag)});
        for (const Set& set : one.items) {
            TestItem item = Inbox().Item();
            set(item);
            ASSERT_EQ(Add(matrix, item), 1);
        }
        EXPECT_EQ(Values(matrix, 0), one.values);
        EXPECT_EQ(Sizes(matrix, 0), one.sizes);
    }
}

TEST_F(ComparisonMatrix, ComparesStreamsByContent) {
    const std::wstring longText(700, L'a');
    const std::wstring bodies[] = {longText, longText + L"b", L" \r\n", L"", L"Short", longText, L"sHORT"};
    const auto matrix = Make({Streamed(PR_BODY_W), Streamed(kBinary)});
    int index = 0;
    for (const std::wstring& body : bodies) {
        TestItem item = Inbox().Item().Body(body);
        // A stream that is no text counts as empty exactly when it holds something.
        if (index++ < 2) item.Binary(kBinary, "bytes");
        ASSERT_EQ(Add(matrix, item), 1);
    }
    EXPECT_EQ(Values(matrix, 0), "1 2 0 0 5 1 5");
    EXPECT_EQ(Sizes(matrix, 0), "1400 1402 0 0 10 1400 10");
    EXPECT_EQ(Values(matrix, 1), "0 0 0 0 0 0 0");
}

TEST_F(ComparisonMatrix, WarnsOfStreamsWithNothingToCompare) {
    const auto matrix = Make({Streamed(kBinary)});
    ASSERT_EQ(Add(matrix, Inbox().Item().Binary(kBinary, "a cell without a value")), 1);
    ASSERT_EQ(Add(matrix, Inbox().Item().Binary(kBinary, "")), 1);
    CapturedLog log;
    mailbox::calls::Record();
    ASSERT_EQ(Add(matrix, Inbox().Item().Binary(kBinary, "")), 1);
    EXPECT_EQ(mailbox::calls::Count("IMsgStore::OpenEntry"), 2u)
        << "the item, and the one row that has a value";
    EXPECT_EQ(Values(matrix, 0), "0 2 3");
    EXPECT_EQ(log.Lines(), LogLines({{sevWarning, "CCmpMatrix.FindStreamEqual", "bCmpWritten = false\n"}}));
}

TEST_F(ComparisonMatrix, MovesOnWhenAnEarlierItemIsOutOfReach) {
    const auto matrix = Make({Streamed(PR_BODY_W)});
    TestItem gone = Inbox().Item().Body(L"same");
    ASSERT_EQ(Add(matrix, gone), 1);
    ASSERT_EQ(Add(matrix, Inbox().Item().Body(L"same")), 1);
    mailbox::calls::Fail({.method = "IMsgStore::OpenEntry", .result = kDenied, .entryId = gone.IdBytes()});
    CapturedLog log;
    ASSERT_EQ(Add(matrix, Inbox().Item().Body(L"same")), 1);
    EXPECT_EQ(Values(matrix, 0), "1 1 2") << "the second row is the first within reach";
    EXPECT_EQ(log.Lines(sevError, "CCmpMatrix.FindStreamEqual"),
              LogLines({{sevError, "CCmpMatrix.FindStreamEqual", "cant open message\n"}}));
}

TEST_F(ComparisonMatrix, TheFirstRowDecidesWhatIsCompared) {
    constexpr int kKnown = 0x8005, kUnknown = 0x8006;
    const auto matrix = Make({Named(L"unknown", base::kSetAddress, kUnknown, PT_UNICODE),
                              Named(L"known", base::kSetAddress, kKnown, PT_UNICODE),
                              Named(nullptr, base::kPrivateSet, 4, PT_UNICODE)});
    TestItem first = Inbox().Item().Named(base::kSetAddress, kKnown, L"x");

    // An item that fails decides nothing: both names are known when the next one comes.
    mailbox::calls::FailNth("IMAPIProp::GetProps", 1, kDenied);
    EXPECT_EQ(Add(matrix, first), 0);
    {
        CapturedLog log;
        EXPECT_EQ(Add(matrix, first), 1);
        EXPECT_EQ(log.Lines(sevError, "CCmpMatrix.Add"),
                  LogLines({{sevError, "CCmpMatrix.Add",
                             "remove comparation by prop(key=unknown,name=Name) from dublicate search\n"},
                            {sevError, "CCmpMatrix.Add",
                             "remove comparation by prop(key=,name=Name) from dublicate search\n"}}));
    }
    CapturedLog log;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Add(matrix, Inbox()
                                  .Item()
                                  .Named(base::kSetAddress, kUnknown, L"y")
                                  .Named(base::kSetAddress, kKnown, L"X")),
                  1);
    }
    EXPECT_EQ(log.Lines(), LogLines()) << "dropped for good, without another word";
    EXPECT_EQ(Cells(matrix), "0 0 0 | 0 0 0\n1 1 1 | 1 1 1\n0 0 0 | 0 0 0\n");
}

TEST_F(ComparisonMatrix, IgnoresBadItemsWithOneReason) {
    TestItem good = Inbox().Item().Subject(L"A").Body(L"b");
    const std::string id = good.Id();
    const auto fault = [](const char* method, HRESULT result, bool perform, std::optional<ULONG> limit) {
        mailbox::TFault made{.method = method, .result = result, .perform = perform, .limit = limit};
        return made;
    };
    const struct {
        const char* what;
        mailbox::TFault fault;
        std::string text;
    } cases[] = {
        {"cannot be opened", fault("IMsgStore::OpenEntry", kDenied, false, {}), "cant open message\n"},
        {"cannot be read", fault("IMAPIProp::GetProps", E_FAIL, false, {}),
         "Quorvel_GetPropValues returned 0x80004005, EntryID = " + id + "\n"},
        {"read with another warning", fault("IMAPIProp::GetProps", MAPI_W_PARTIAL_COMPLETION, true, {}),
         "Quorvel_GetPropValues returned 0x40680, EntryID = " + id + "\n"},
        {"too few values", fault("IMAPIProp::GetProps", S_OK, true, 1), "value for prop(second) not found\n"},
    };
    const auto matrix = Make({Plain(PR_SUBJECT_W, L"first"), Streamed(PR_BODY_W), Plain(kLong, L"second")});
    for (int rows = 0; rows < 2; ++rows) {
        const std::string before = Cells(matrix);
        for (const auto& one : cases) {
            SCOPED_TRACE(one.what);
            mailbox::calls::Fail(one.fault);
            CapturedLog log;
            EXPECT_EQ(Add(matrix, good), 0);
            EXPECT_EQ(log.Lines(sevError, "CCmpMatrix.Add"),
                      LogLines({{sevError, "CCmpMatrix.Add", one.text}}));
            EXPECT_EQ(log.Count(sevWarning, kIgnored.tag, kIgnored.text), 1u);
            EXPECT_EQ(Cells(matrix), before);
            EXPECT_EQ(Rows(matrix), rows);
        }
        ASSERT_EQ(Add(matrix, good), 1);
    }
    const std::string store = Inbox().StoreId();
    for (const char* bad : {"", "0", "00", "no hex", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(CmpMatrix_Add(matrix.get(), bad, store.c_str()), 0);
    }
    EXPECT_EQ(CmpMatrix_Add(matrix.get(), id.c_str(), "00"), 0);
    EXPECT_EQ(Rows(matrix), 2);
}

TEST_F(ComparisonMatrix, KeepsTheRowWhenAValueHasNoVerdict) {
    const auto matrix = Make({Plain(kLong), Streamed(PR_BODY_W), Plain(PR_SUBJECT_W)});
    TestItem item = Inbox().Item().Error(kLong, kDenied).Error(PR_BODY_W, kDenied).Subject(L"s");
    CapturedLog log;
    EXPECT_EQ(Add(matrix, item), 1);
    EXPECT_EQ(Cells(matrix), "0 | 0\n0 | 0\n1 | 1\n");
    EXPECT_EQ(log.Lines(sevError).size(), 2u);
    EXPECT_EQ(log.Lines(sevWarning), LogLines());
}

TEST_F(ComparisonMatrix, NeedsASessionAndDefinitions) {
    TComparyProp subject = Plain(PR_SUBJECT_W);
    const TComparyProps good{1, &subject}, none{0, &subject}, negative{-1, &subject}, null{1, nullptr};
    const LogLine invalid{sevError, "CCmpMatrix.Create", "Invalid Param(s)\n"};
    CapturedLog log(2);
    EXPECT_EQ(CmpMatrix_Create(nullptr, &good), nullptr);
    EXPECT_EQ(log.Lines(), LogLines({{sevInfo, "CmpMatrix_Create", "->\n"}, invalid}));
    for (const TComparyProps* props : {&none, &negative, &null, static_cast<const TComparyProps*>(nullptr)}) {
        log.Clear();
        EXPECT_EQ(CmpMatrix_CreateEx(Session(), props, 0), nullptr);
        EXPECT_EQ(log.Lines(), LogLines({{sevInfo, "CmpMatrix_CreateEx", "->\n"}, invalid}));
    }
    log.Clear();
    CmpMatrix_Delete(nullptr);
    EXPECT_EQ(log.Lines(), LogLines({{sevInfo, "CmpMatrix_Delete", "->\n"}}));
}

TEST_F(ComparisonMatrix, LeavesOutUnsupportedInterfaces) {
    TComparyProp second = Plain(PR_SUBJECT_W), last = Plain(PR_SUBJECT_W);
    second.nInterface = 2;
    last.nInterface = 0xFFFFFFFF;
    CapturedLog log;
    const auto matrix = Make({Plain(kLong), second, Plain(PR_SUBJECT_W), last});
    const LogLine two{sevError, "CCmpMatrix.Create", "Ignoring prop with not supported interface(2)\n"};
    const LogLine minusOne{sevError, "CCmpMatrix.Create", "Ignoring prop with not supported interface(-1)\n"};
    EXPECT_EQ(log.Lines(), LogLines({two, minusOne}));
    unsigned rows = 9, columns = 9;
    EXPECT_EQ(CmpMatrix_Size(matrix.get(), &rows, &columns), 2u);
    EXPECT_EQ(rows, 0u);
    EXPECT_EQ(columns, 2u);
    ASSERT_EQ(Add(matrix, Inbox().Item().Subject(L"s")), 1);
    EXPECT_EQ(Values(matrix, 1), "1");

    // With nothing left there is nothing to compare.
    const auto empty = Make({second});
    log.Clear();
    EXPECT_EQ(Add(empty, Inbox().Item()), 0);
    EXPECT_EQ(log.Lines(), LogLines({{sevError, "CCmpMatrix.Add", "Number of props = 0\n"}, kIgnored}));
}

TEST_F(ComparisonMatrix, CopiesTheDefinitions) {
    auto key = std::make_unique<std::wstring>(L"a key that is longer than any short text");
    auto guid = std::make_unique<std::string>(base::kSetAddress);
    const auto matrix = Make({Named(key->c_str(), guid->c_str(), 0x8001, PT_UNICODE), Plain(PR_SUBJECT_W)});
    guid->assign(guid->size(), '#');
    key->assign(key->size(), L'#');
    guid.reset();
    key.reset();
    CapturedLog log;
    ASSERT_EQ(Add(matrix, Inbox().Item().Subject(L"s")), 1);
    EXPECT_EQ(log.Count(sevError, "CCmpMatrix.Add",
                        "remove comparation by prop(key=a key that is longer than any short text,name=Name) "
                        "from dublicate search\n"),
              1u);
}

TEST_F(ComparisonMatrix, AnswersOutsideWithZeroAndALine) {
    const auto matrix = Make({Plain(PR_SUBJECT_W), Plain(kLong)});
    ASSERT_EQ(Add(matrix, Inbox().Item().Subject(L"s")), 1);
    const int cells[][2] = {{1, 0}, {0, 2}, {-1, 0}, {0, -1}, {INT_MAX, 0}, {0, INT_MIN}};
    for (const auto& [row, column] : cells) {
        CapturedLog log;
        EXPECT_EQ(CmpMatrix_Value(matrix.get(), row, column), 0u);
        EXPECT_EQ(CmpMatrix_ValueSize(matrix.get(), row, column), 0u);
        EXPECT_EQ(log.Lines(), LogLines({{sevError, "CCmpMatrix::GetMatrixValue", "out of bounds\n"},
                                         {sevError, "CCmpMatrix::GetMatrixValueLen", "out of bounds\n"}}));
    }
}

TEST_F(ComparisonMatrix, ReadsAllValuesInOneRequest) {
    const auto matrix = Make({Plain(PR_SUBJECT_W), Plain(kLong), Plain(kTexts)});
    const auto streams = Make({Streamed(PR_BODY_W)});
    TestItem item = Inbox().Item().Subject(L"s").Body(L"b");
    ASSERT_EQ(Add(matrix, item), 1);
    mailbox::calls::Record();
    ASSERT_EQ(Add(matrix, item), 1);
    EXPECT_EQ(mailbox::calls::Count("IMAPIProp::GetProps"), 1u);
    mailbox::calls::Record();
    ASSERT_EQ(Add(streams, item), 1);
    EXPECT_EQ(mailbox::calls::Count("IMAPIProp::GetProps"), 0u) << "no tags, no request";
}

}  // namespace
