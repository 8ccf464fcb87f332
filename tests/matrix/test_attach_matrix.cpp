// Attachments and contact photos arranged into columns.

#include <algorithm>
#include <map>
#include <random>

#include "base/mapi_extra.h"
#include "tests/matrix/MatrixTest.h"

using enum logging::ESeverity;

namespace {

using mailbox::CProperties;

constexpr ULONG kMaySkipContents = 1;

CProperties ByValue(std::wstring_view name, std::string_view data) {
    return CProperties()
        .Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE)
        .Text(PR_ATTACH_LONG_FILENAME_W, name)
        .Binary(PR_ATTACH_DATA_BIN, data);
}
CProperties Photo(std::wstring_view name, std::string_view data, ULONG method = ATTACH_BY_VALUE) {
    return ByValue(name, data).Bool(PR_ATTACHMENT_CONTACTPHOTO, true).Long(PR_ATTACH_METHOD, method);
}
CProperties Reference(std::wstring_view name, std::wstring_view path,
                      ULONG pathTag = PR_ATTACH_LONG_PATHNAME_W) {
    return CProperties()
        .Long(PR_ATTACH_METHOD, ATTACH_BY_REF_ONLY)
        .Text(PR_ATTACH_LONG_FILENAME_W, name)
        .Text(pathTag, path);
}
CProperties Ole(ULONG dataTag, std::string_view data) {
    CProperties properties;
    properties.Long(PR_ATTACH_METHOD, ATTACH_OLE).Text(PR_DISPLAY_NAME_W, L"drawing").Set(dataTag, data);
    return properties;
}

class AttachMatrix : public MatrixTest {
  protected:
    Matrix MakeOf(const std::vector<TestItem>& items, unsigned option = 0) {
        Matrix matrix = Make({Plain(PR_SUBJECT_W)}, option);
        for (const TestItem& item : items) EXPECT_EQ(Add(matrix, item), 1);
        return matrix;
    }
    TestItem With(const std::vector<CProperties>& attachments) {
        TestItem item = Inbox().Item();
        for (const CProperties& attachment : attachments) item.Attach(attachment);
        return item;
    }
    /// One line a column: "name/size: 0 -1 1", the numbers row by row.
    static std::string Columns(const Matrix& matrix, bool photos = false) {
        const auto count = photos ? CmpMatrix_PhotoAttachCount : CmpMatrix_AttachCount;
        const auto info = photos ? CmpMatrix_PhotoAttachInfo : CmpMatrix_AttachInfo;
        const auto value = photos ? CmpMatrix_PhotoAttachValue : CmpMatrix_AttachValue;
        std::string text;
        for (int column = 0; column < count(matrix.get()); ++column) {
            const char* name = nullptr;
            unsigned size = 0;
            EXPECT_EQ(info(matrix.get(), column, &name, &size), 1);
            text += std::string(name) + "/" + std::to_string(size) + ":";
            for (int row = 0; row < Rows(matrix); ++row) {
                text += " " + std::to_string(value(matrix.get(), row, column));
            }
            text += "\n";
        }
        return text;
    }
    static std::string Built(const Matrix& matrix, bool photos = false) {
        EXPECT_EQ(CmpMatrix_BuildAttachMatrix(matrix.get()), 1);
        return Columns(matrix, photos);
    }
};

TEST_F(AttachMatrix, PutsEqualAttachmentsIntoOneColumn) {
    const struct {
        const char* what;
        std::vector<std::vector<CProperties>> rows;
        const char* columns;
        int equal;
        const char* withoutContents;
    } cases[] = {
        {"none", {{}, {}}, "", 0, ""},
        {"equal ones, in another order",
         {{ByValue(L"a", "1"), ByValue(L"b", "22")}, {ByValue(L"B", "22"), ByValue(L"A", "1")}},
         "a/1: 0 1\nb/2: 1 0\n",
         2,
         "a/1: 0 1\nb/2: 1 0\n"},
        {"other name, size, contents",
         {{ByValue(L"a", "11")}, {ByValue(L"b", "11")}, {ByValue(L"a", "111")}, {ByValue(L"a", "12")}},
         "a/2: 0 -1 -1 -1\nb/2: -1 0 -1 -1\na/3: -1 -1 0 -1\na/2: -1 -1 -1 0\n",
         0,
         "a/2: 0 -1 -1 0\nb/2: -1 0 -1 -1\na/3: -1 -1 0 -1\n"},
        {"one that another row has twice",
         {{ByValue(L"a", "1")}, {ByValue(L"a", "1"), ByValue(L"a", "1")}, {ByValue(L"a", "1")}},
         "a/1: 0 0 0\na/1: -1 1 -1\n",
         1,
         "a/1: 0 0 0\na/1: -1 1 -1\n"},
        {"empty data", {{ByValue(L"a", "")}, {ByValue(L"a", "")}}, "a/0: 0 0\n", 1, "a/0: 0 0\n"},
        {"short and display names",
         {{CProperties()
               .Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE)
               .Text(PR_ATTACH_FILENAME_W, L"A")
               .Text(PR_DISPLAY_NAME_W, L"x")
               .Binary(PR_ATTACH_DATA_BIN, "1")},
          {CProperties()
               .Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE)
               .Text(PR_ATTACH_LONG_FILENAME_W, L"")
               .Text(PR_DISPLAY_NAME_W, L"a")
               .Binary(PR_ATTACH_DATA_BIN, "1")}},
         "A/1: 0 0\n",
         1,
         "A/1: 0 0\n"},
        {"references, by path",
         {{Reference(L"a", L"C:\\x")},
          {Reference(L"a", L"c:\\X", PR_ATTACH_PATHNAME_W)},
          {Reference(L"a", L"C:\\y")}},
         "a/0: 0 0 -1\na/0: -1 -1 0\n",
         0,
         "a/0: 0 0 0\n"},
        {"other method",
         {{ByValue(L"a", "")}, {Reference(L"a", L"C:\\x")}},
         "a/0: 0 -1\na/0: -1 0\n",
         0,
         "a/0: 0 -1\na/0: -1 0\n"},
        {"OLE objects",
         {{Ole(PR_ATTACH_DATA_OBJ, "ole1")},
          {Ole(PR_ATTACH_DATA_BIN, "ole1")},
          {Ole(PR_ATTACH_DATA_OBJ, "ole2")}},
         "drawing/4: 0 0 -1\ndrawing/4: -1 -1 0\n",
         0,
         "drawing/4: 0 0 0\n"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        std::vector<TestItem> items;
        for (const auto& attachments : one.rows) items.push_back(With(attachments));
        const auto matrix = MakeOf(items);
        EXPECT_EQ(Built(matrix), one.columns);
        EXPECT_EQ(CmpMatrix_AttachEqualCount(matrix.get()), one.equal);
        EXPECT_EQ(CmpMatrix_PhotoAttachCount(matrix.get()), 0);

        const auto unread = MakeOf(items, 0xFFFFFFFE | kMaySkipContents);
        mailbox::calls::Record();
        EXPECT_EQ(Built(unread), one.withoutContents);
        EXPECT_EQ(mailbox::calls::Count(), 0u) << "nothing is opened when contents do not matter";
    }
}

TEST_F(AttachMatrix, ComparesEmbeddedItemsBySubjectAndBody) {
    const auto embedding = [&](const wchar_t* subject, const wchar_t* body, const wchar_t* keyword) {
        TestItem inner = Inbox().Item().Subject(subject).Body(body).Text(PR_DISPLAY_NAME_W, keyword);
        return Inbox().Item().AttachMessage(L"inner", inner);
    };
    // Of one size all of them, a body that ends before the others too.
    const auto matrix = MakeOf({embedding(L"s", L"bod", L"11"), embedding(L"s", L"body", L"1"),
                                embedding(L"s", L"body", L"2"), embedding(L"S", L"body", L"1"),
                                embedding(L"s", L"Body", L"1"), embedding(L"s", L"bod", L"11")});
    std::string columns = Built(matrix);
    const std::string name = columns.substr(0, columns.find(':'));
    for (size_t at; (at = columns.find(name)) != std::string::npos;) columns.erase(at, name.size());
    EXPECT_EQ(columns, ": 0 -1 -1 -1 -1 0\n: -1 0 0 -1 -1 -1\n: -1 -1 -1 0 -1 -1\n: -1 -1 -1 -1 0 -1\n");
}

TEST_F(AttachMatrix, ComparesContentsToTheLastByte) {
    for (const size_t size :
         {size_t{0x3FFF}, size_t{0x4000}, size_t{0x4001}, size_t{0x8000}, size_t{100000}}) {
        SCOPED_TRACE(size);
        std::string data(size, 'x'), other = data;
        other.back() = 'y';
        const auto matrix =
            MakeOf({With({ByValue(L"a", data)}), With({ByValue(L"a", data)}), With({ByValue(L"a", other)})});
        const std::string name = "a/" + std::to_string(size);
        EXPECT_EQ(Built(matrix), name + ": 0 0 -1\n" + name + ": -1 -1 0\n");
        // A stream may give less at a time than it is asked for.
        mailbox::calls::Fail({.method = "IStream::Read", .result = S_OK, .perform = true, .limit = 1000});
        EXPECT_EQ(Built(matrix), name + ": 0 0 -1\n" + name + ": -1 -1 0\n");
        EXPECT_EQ(mailbox::calls::Struck(), 1u);
        mailbox::calls::Reset();
    }
}

TEST_F(AttachMatrix, ReadsContentsOnlyWhereTheyDecide) {
    const auto matrix = MakeOf({With({ByValue(L"a", "11"), ByValue(L"b", "1")}), With({ByValue(L"a", "1")})});
    mailbox::calls::Record();
    EXPECT_EQ(Built(matrix), "a/2: 0 -1\nb/1: 1 -1\na/1: -1 0\n");
    EXPECT_EQ(mailbox::calls::Count(), 0u);
    const auto equal = MakeOf(
        {With({ByValue(L"a", "1"), ByValue(L"b", "1")}), With({ByValue(L"a", "1"), ByValue(L"b", "1")})});
    mailbox::calls::Record();
    EXPECT_EQ(Built(equal), "a/1: 0 0\nb/1: 1 1\n");
    EXPECT_EQ(mailbox::calls::Count("IMsgStore::OpenEntry"), 2u) << "each item is opened once";
}

TEST_F(AttachMatrix, KeepsPhotosApart) {
    CapturedLog log;
    const auto matrix = MakeOf({With({ByValue(L"p.jpg", "pic"), Photo(L"p.jpg", "pic")}),
                                With({Photo(L"other.jpg", "pic"), ByValue(L"p.jpg", "pic")}),
                                With({Photo(L"p.jpg", "pix")})});
    EXPECT_EQ(Built(matrix), "p.jpg/3: 0 1 -1\n");
    EXPECT_EQ(Columns(matrix, true), "p.jpg/3: 1 0 -1\np.jpg/3: -1 -1 0\n");
    EXPECT_EQ(CmpMatrix_PhotoAttachEqualCount(matrix.get()), 0);
    EXPECT_EQ(log.Lines(), LogLines());

    const auto linked = MakeOf({With({Photo(L"p.jpg", "pic", ATTACH_BY_REF_ONLY)})});
    EXPECT_EQ(Built(linked), "p.jpg/0: 0\n");
    EXPECT_EQ(CmpMatrix_PhotoAttachCount(linked.get()), 0);
    EXPECT_EQ(
        log.Lines(),
        LogLines({{sevError, "CCmpMatrix.Add", "ContactPhoto.PR_ATTACH_METHOD = 4 (!= ATTACH_BY_VALUE)\n"},
                  {sevRaw, "", "Processing this attachment is normal attachment\n"}}));
}

TEST_F(AttachMatrix, LastsUntilARowIsAdded) {
    const auto matrix = MakeOf({With({ByValue(L"a", "1")})});
    EXPECT_EQ(CmpMatrix_AttachCount(matrix.get()), 0) << "nothing before it is built";
    Built(matrix);
    const wchar_t* name = nullptr;
    ASSERT_EQ(CmpMatrix_AttachInfoW(matrix.get(), 0, &name, nullptr), 1);
    EXPECT_EQ(CmpMatrix_Add(matrix.get(), "00", "00"), 0);
    EXPECT_STREQ(name, L"a");
    EXPECT_EQ(Columns(matrix), "a/1: 0\n") << "an item that fails changes nothing";
    ASSERT_EQ(Add(matrix, With({ByValue(L"b", "1")})), 1);
    EXPECT_EQ(CmpMatrix_AttachCount(matrix.get()), 0);
    EXPECT_EQ(Built(matrix), "a/1: 0 -1\nb/1: -1 0\n");
}

TEST_F(AttachMatrix, AnswersOutsideWithALine) {
    const auto matrix = MakeOf({With({ByValue(L"caf\u00e9 \u03a9", "12")}), With({})});
    Built(matrix);
    const char* name = nullptr;
    const wchar_t* nameW = nullptr;
    unsigned size = 0;
    EXPECT_EQ(CmpMatrix_AttachInfo(matrix.get(), 0, &name, nullptr), 1);
    EXPECT_STREQ(name, "caf\xe9 O") << "as near as the code page comes";
    EXPECT_EQ(CmpMatrix_AttachInfoW(matrix.get(), 0, &nameW, &size), 1);
    EXPECT_STREQ(nameW, L"caf\u00e9 \u03a9");
    EXPECT_EQ(size, 2u);
    EXPECT_EQ(CmpMatrix_AttachInfo(matrix.get(), 0, nullptr, nullptr), 1);
    EXPECT_EQ(CmpMatrix_AttachValue(matrix.get(), 1, 0), -1);

    const auto line = [](const char* tag) { return LogLines({{sevError, tag, "out of bounds\n"}}); };
    CapturedLog log;
    for (const int column : {-1, 1, INT_MAX, INT_MIN}) {
        log.Clear();
        EXPECT_EQ(CmpMatrix_AttachInfo(matrix.get(), column, &name, &size), 0);
        EXPECT_EQ(log.Lines(), line("CAttachMatrix.Info"));
        EXPECT_EQ(CmpMatrix_AttachInfoW(matrix.get(), column, &nameW, &size), 0);
        EXPECT_EQ(CmpMatrix_PhotoAttachInfo(matrix.get(), column, &name, &size), 0);
        EXPECT_EQ(CmpMatrix_PhotoAttachInfoW(matrix.get(), column, &nameW, &size), 0);
    }
    EXPECT_EQ(size, 2u) << "outputs are untouched";
    const int cells[][2] = {{0, 1}, {2, 0}, {-1, 0}, {0, -1}};
    for (const auto& [row, column] : cells) {
        log.Clear();
        EXPECT_EQ(CmpMatrix_AttachValue(matrix.get(), row, column), -1);
        EXPECT_EQ(log.Lines(), line("CAttachMatrix.Value"));
    }
    EXPECT_EQ(CmpMatrix_PhotoAttachValue(matrix.get(), 0, 0), -1);
    EXPECT_EQ(CmpMatrix_BuildAttachMatrix(nullptr), 0);
}

// Both rows hold the same, and nobody can know it: only what was looked at is equal.
TEST_F(AttachMatrix, WhatCannotBeComparedStandsAlone) {
    const HRESULT denied = MAPI_E_NO_ACCESS;
    const auto failing = [&](ULONG tag) { return ByValue(L"a", "1").Error(tag, denied); };
    const struct {
        const char* what;
        CProperties attachment;
        const char* columns;
    } cases[] = {
        {"unknown method", ByValue(L"a", "1").Long(PR_ATTACH_METHOD, 99), "a/0: 0 -1\na/0: -1 0\n"},
        {"no attachment", ByValue(L"a", "1").Long(PR_ATTACH_METHOD, 0), "a/0: 0 -1\na/0: -1 0\n"},
        {"missing method", CProperties().Text(PR_DISPLAY_NAME_W, L"a"), "a/0: 0 -1\na/0: -1 0\n"},
        {"unreadable method", failing(PR_ATTACH_METHOD), "a/0: 0 -1\na/0: -1 0\n"},
        {"unreadable name", failing(PR_ATTACH_LONG_FILENAME_W), "/1: 0 -1\n/1: -1 0\n"},
        {"unreadable flag", failing(PR_ATTACHMENT_CONTACTPHOTO), "a/1: 0 -1\na/1: -1 0\n"},
        {"unreadable data", failing(PR_ATTACH_DATA_BIN), "a/0: 0 -1\na/0: -1 0\n"},
        {"unreadable path", Reference(L"a", L"").Error(PR_ATTACH_LONG_PATHNAME_W, denied),
         "a/0: 0 -1\na/0: -1 0\n"},
        {"a reference to resolve", Reference(L"a", L"p").Long(PR_ATTACH_METHOD, ATTACH_BY_REF_RESOLVE),
         "a/0: 0 0\n"},
        {"a reference", Reference(L"a", L"p").Long(PR_ATTACH_METHOD, ATTACH_BY_REFERENCE), "a/0: 0 0\n"},
        {"a reference to the web", Reference(L"a", L"p").Long(PR_ATTACH_METHOD, ATTACH_BY_WEBREFERENCE),
         "a/0: 0 0\n"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        EXPECT_EQ(Built(MakeOf({With({one.attachment}), With({one.attachment})})), one.columns);
    }
}

// A flag of the item says that there is nothing to see; the table decides.
TEST_F(AttachMatrix, LooksAtTheTableWhateverTheItemSays) {
    for (const HRESULT error : {S_OK, MAPI_E_NO_ACCESS}) {
        std::vector<TestItem> items;
        for (const char* picture : {"one", "two"}) {
            items.push_back(With({Photo(L"p.jpg", picture)}));
            items.back().Bool(PR_HASATTACH, false);
            if (error != S_OK) items.back().Error(PR_HASATTACH, error);
        }
        const auto matrix = MakeOf(items);
        Built(matrix);
        EXPECT_EQ(Columns(matrix, true), "p.jpg/3: 0 -1\np.jpg/3: -1 0\n");
    }
}

TEST_F(AttachMatrix, WhatCannotBeReadIsAlone) {
    TestItem first = With({ByValue(L"a", "1"), ByValue(L"b", "22")});
    TestItem second = With({ByValue(L"a", "1"), ByValue(L"b", "22")});
    // A table that cannot be read: a row without attachments.
    mailbox::calls::FailNth("IMessage::GetAttachmentTable", 2);
    CapturedLog log;
    EXPECT_EQ(Built(MakeOf({first, second})), "a/1: 0 -1\nb/2: 1 -1\n");
    EXPECT_EQ(log.Lines(sevError).size(), 1u);
    // An attachment that cannot be opened while the others can.
    log.Clear();
    mailbox::calls::FailNth("IMessage::OpenAttach", 3);
    EXPECT_EQ(Built(MakeOf({first, second})), "a/1: 0 -1\nb/2: 1 1\n/0: -1 0\n");
    EXPECT_EQ(log.Lines(sevError).size(), 1u);
    // A row of the table that did not come.
    mailbox::calls::Fail({.method = "IMAPITable::QueryRows", .result = S_OK, .perform = true, .limit = 1});
    EXPECT_EQ(Built(MakeOf({first, second})), "a/1: 0 0\n/0: -2 -1\nb/2: -1 1\n");
    // An item that went away in between equals nothing, and says so once.
    const auto matrix = MakeOf({first, second});
    mailbox::calls::Fail({.method = "IMsgStore::OpenEntry", .entryId = second.IdBytes()});
    log.Clear();
    EXPECT_EQ(Built(matrix), "a/1: 0 -1\nb/2: 1 -1\na/1: -1 0\nb/2: -1 1\n");
    EXPECT_EQ(log.Lines(sevError, "CCmpMatrix.BuildAttachMatrix"),
              LogLines({{sevError, "CCmpMatrix.BuildAttachMatrix", "cant open message\n"}}));
    EXPECT_EQ(Built(matrix), "a/1: 0 0\nb/2: 1 1\n");
}

// Columns by hand: the k-th of a row's equal attachments goes with the k-th of every other row.
TEST_F(AttachMatrix, AgreesWithCountingEqualOnes) {
    std::mt19937 random(20260711);
    const auto pick = [&](size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random); };
    const wchar_t* names[] = {L"a", L"A", L"b"};
    const char* contents[] = {"1", "2", "33"};
    for (int trial = 0; trial < 30; ++trial) {
        SCOPED_TRACE("trial " + std::to_string(trial));
        std::vector<TestItem> items;
        struct Column {
            std::string name;
            std::vector<int> numbers;
        };
        std::vector<Column> expected;
        std::map<std::pair<std::string, size_t>, size_t> columnOf;  // contents and occurrence
        const size_t rows = 1 + pick(5);
        for (size_t row = 0; row < rows; ++row) {
            std::vector<CProperties> attachments;
            std::map<std::string, size_t> occurrences;
            const size_t count = pick(5);
            for (size_t number = 0; number < count; ++number) {
                const size_t name = pick(3), content = pick(3);
                attachments.push_back(ByValue(names[name], contents[content]));
                const std::string key = std::string(name == 2 ? "b" : "a") + contents[content];
                const auto [at, isNew] = columnOf.try_emplace({key, occurrences[key]++}, expected.size());
                if (isNew) {
                    expected.push_back({std::string(1, static_cast<char>(names[name][0])) + "/" +
                                            std::to_string(strlen(contents[content])),
                                        std::vector<int>(rows, -1)});
                }
                expected[at->second].numbers[row] = static_cast<int>(number);
            }
            items.push_back(With(attachments));
        }
        std::string text;
        int equal = 0;
        for (const Column& column : expected) {
            text += column.name + ":";
            for (const int number : column.numbers) text += " " + std::to_string(number);
            text += "\n";
            equal += std::count(column.numbers.begin(), column.numbers.end(), -1) == 0;
        }
        const auto matrix = MakeOf(items);
        EXPECT_EQ(Built(matrix), text);
        EXPECT_EQ(CmpMatrix_AttachEqualCount(matrix.get()), equal);
    }
}

// Whatever fails, each attachment that was listed stands in exactly one column, and nothing is called equal
// that is not.
TEST_F(AttachMatrix, FailingCallsOnlySeparate) {
    TestItem inner = Inbox().Item().Subject(L"s").Body(L"b");
    std::vector<TestItem> items;
    for (int i = 0; i < 2; ++i) {
        items.push_back(With({ByValue(L"a", "1"), Reference(L"r", L"C:\\x"), Ole(PR_ATTACH_DATA_OBJ, "ole")})
                            .AttachMessage(L"inner", inner));
    }
    const std::string whole = Built(MakeOf(items));
    ASSERT_EQ(std::count(whole.begin(), whole.end(), '\n'), 4);
    unsigned separated = 0;
    SweepFaults([&](auto arm) {
        const auto matrix = MakeOf(items);
        arm();
        const std::string columns = Built(matrix);
        if (!mailbox::calls::Struck()) {
            EXPECT_EQ(columns, whole);
            return;
        }
        separated += columns != whole;
        std::vector<int> seen(8);
        for (int column = 0; column < CmpMatrix_AttachCount(matrix.get()); ++column) {
            const int first = CmpMatrix_AttachValue(matrix.get(), 0, column);
            const int second = CmpMatrix_AttachValue(matrix.get(), 1, column);
            EXPECT_TRUE(first == -1 || second == -1 || first == second) << columns;
            if (first != -1) ++seen[static_cast<size_t>(first)];
            if (second != -1) ++seen[static_cast<size_t>(second) + 4];
        }
        EXPECT_EQ(seen, std::vector<int>(8, 1)) << columns;
        EXPECT_EQ(Built(matrix), whole) << "the next build is a fresh one";
    });
    EXPECT_GT(separated, 15u);
}

}  // namespace
