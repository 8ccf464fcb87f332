// Tables: columns, positions, restrictions and sorting, against definitions written out here.

#include <algorithm>
#include <functional>
#include <list>
#include <random>

#include "mailbox/text.h"
#include "tests/mailbox/values.h"
#include "tests/support/MailboxFixture.h"

using store::ComPtr;
using store::RowSet;

namespace {

class Tables : public MailboxTest {
  protected:
    ComPtr<IMAPITable> Contents(TestFolder folder) {
        ComPtr<IMAPITable> table;
        EXPECT_EQ(Open(folder)->GetContentsTable(0, table.GetAddressOf()), S_OK);
        EXPECT_EQ(table->SetColumns(Tags{PR_SUBJECT_W, PR_IMPORTANCE}, 0), S_OK);
        return table;
    }
    /// The subjects of the next rows.
    std::wstring Rows(IMAPITable* table, LONG count, ULONG flags = 0) {
        RowSet rows;
        EXPECT_EQ(table->QueryRows(count, flags, store::Out(rows)), S_OK);
        std::wstring subjects;
        for (ULONG row = 0; rows != nullptr && row < rows->cRows; ++row) {
            const SPropValue& subject = rows->aRow[row].lpProps[0];
            subjects += PROP_TYPE(subject.ulPropTag) == PT_UNICODE ? subject.Value.lpszW : L"-";
        }
        return subjects;
    }
    void FillInbox(std::wstring_view subjects) {
        for (const wchar_t subject : subjects) Inbox().Item().Subject({&subject, 1});
    }
};

TEST_F(Tables, PositionsMoveAsDocumented) {
    FillInbox(L"abcdef");
    const ComPtr<IMAPITable> table = Contents(Inbox());
    ULONG count = 0;
    ASSERT_EQ(table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 6u);
    EXPECT_EQ(Rows(table.Get(), 2), L"ab");
    EXPECT_EQ(Rows(table.Get(), 2, TBL_NOADVANCE), L"cd");
    EXPECT_EQ(Rows(table.Get(), 1), L"c");
    EXPECT_EQ(Rows(table.Get(), -2), L"bc") << "backward: the rows in front of the position, in order";
    EXPECT_EQ(Rows(table.Get(), 99), L"bcdef");
    EXPECT_EQ(Rows(table.Get(), 5), L"") << "at the end there is nothing more, and that is no failure";
    EXPECT_EQ(Rows(table.Get(), 0), L"");
    LONG sought = 0;
    EXPECT_EQ(table->SeekRow(BOOKMARK_END, -2, &sought), S_OK);
    EXPECT_EQ(sought, -2);
    EXPECT_EQ(Rows(table.Get(), 1), L"e");
    BOOKMARK mark = 0;
    ASSERT_EQ(table->CreateBookmark(&mark), S_OK);
    EXPECT_EQ(table->SeekRow(BOOKMARK_BEGINNING, -5, &sought), S_OK);
    EXPECT_EQ(sought, 0);
    EXPECT_EQ(table->SeekRow(mark, 0, nullptr), S_OK);
    EXPECT_EQ(Rows(table.Get(), 1), L"f");
    ASSERT_EQ(table->FreeBookmark(mark), S_OK);
    EXPECT_EQ(table->SeekRow(mark, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
    EXPECT_EQ(table->SeekRowApprox(1, 2), S_OK);
    EXPECT_EQ(Rows(table.Get(), 1), L"d");
}

TEST_F(Tables, FindRowStopsAtTheRowOrStaysWhereItWas) {
    FillInbox(L"abab");
    const ComPtr<IMAPITable> table = Contents(Inbox());
    wchar_t text[] = L"b";
    SPropValue value{};
    value.ulPropTag = PR_SUBJECT_W;
    value.Value.lpszW = text;
    SRestriction restriction{};
    restriction.rt = RES_PROPERTY;
    restriction.res.resProperty = {RELOP_EQ, PR_SUBJECT_W, &value};
    const struct {
        BOOKMARK origin;
        ULONG flags;
        HRESULT result;
        ULONG position;
    } cases[] = {{BOOKMARK_BEGINNING, 0, S_OK, 1},
                 {BOOKMARK_CURRENT, 0, S_OK, 1},
                 {BOOKMARK_END, DIR_BACKWARD, S_OK, 3},
                 {BOOKMARK_CURRENT, DIR_BACKWARD, S_OK, 1},
                 {BOOKMARK_CURRENT, DIR_BACKWARD, MAPI_E_NOT_FOUND, 1},
                 {77, 0, MAPI_E_INVALID_BOOKMARK, 1}};
    for (const auto& c : cases) {
        EXPECT_EQ(table->FindRow(&restriction, c.origin, c.flags), c.result);
        ULONG row = 99, numerator, denominator;
        EXPECT_EQ(table->QueryPosition(&row, &numerator, &denominator), S_OK);
        EXPECT_EQ(row, c.position);
    }
}

/// Restrictions made of parts that live as long as this.
struct Maker {
    std::list<SRestriction> restrictions;
    std::list<SPropValue> values;
    std::list<std::wstring> texts;
    std::list<std::vector<SRestriction>> lists;

    SRestriction* New(ULONG type) {
        SRestriction& made = restrictions.emplace_back();
        made = {};
        made.rt = type;
        return &made;
    }
    SPropValue* Text(ULONG tag, const wchar_t* text) {
        SPropValue& value = values.emplace_back();
        value = {};
        value.ulPropTag = tag;
        value.Value.lpszW = texts.emplace_back(text).data();
        return &value;
    }
    SPropValue* Long(ULONG tag, LONG number) {
        SPropValue& value = values.emplace_back();
        value = {};
        value.ulPropTag = tag;
        value.Value.l = number;
        return &value;
    }
    SRestriction Property(ULONG relation, SPropValue* value) {
        SRestriction* made = New(RES_PROPERTY);
        made->res.resProperty = {relation, value->ulPropTag, value};
        return *made;
    }
    SRestriction Content(ULONG level, const wchar_t* text) {
        SRestriction* made = New(RES_CONTENT);
        made->res.resContent = {level, PR_SUBJECT_W, Text(PR_SUBJECT_W, text)};
        return *made;
    }
    SRestriction Join(ULONG type, std::vector<SRestriction> parts) {
        SRestriction* made = New(type);
        lists.push_back(std::move(parts));
        made->res.resAnd = {static_cast<ULONG>(lists.back().size()), lists.back().data()};
        return *made;
    }
    SRestriction Not(SRestriction part) {
        SRestriction* made = New(RES_NOT);
        lists.push_back({part});
        made->res.resNot = {0, lists.back().data()};
        return *made;
    }
    SRestriction Exist(ULONG tag) {
        SRestriction* made = New(RES_EXIST);
        made->res.resExist = {0, tag, 0};
        return *made;
    }
    SRestriction BitMask(ULONG relation, ULONG mask) {
        SRestriction* made = New(RES_BITMASK);
        made->res.resBitMask = {relation, PR_IMPORTANCE, mask};
        return *made;
    }
    SRestriction Size(ULONG relation, ULONG size) {
        SRestriction* made = New(RES_SIZE);
        made->res.resSize = {relation, PR_SUBJECT_W, size};
        return *made;
    }
};

TEST_F(Tables, RestrictionsKeepWhatTheyName) {
    const wchar_t* const subjects[] = {L"Apple pie", L"apple", L"Banana", L"pineapple"};
    for (LONG importance = 0; const wchar_t* subject : subjects)
        Inbox().Item().Subject(subject).Long(PR_IMPORTANCE, static_cast<ULONG>(importance++));
    Inbox().Item();  // neither subject nor importance
    Maker make;
    const SRestriction apple = make.Content(FL_SUBSTRING | FL_IGNORECASE, L"APPLE");
    const SRestriction low = make.Property(RELOP_LT, make.Long(PR_IMPORTANCE, 2));
    const struct {
        const char* what;
        SRestriction restriction;
        const wchar_t* rows;  // first letters, "-" for the item without subject
    } cases[] = {
        {"equal text, case ignored", make.Property(RELOP_EQ, make.Text(PR_SUBJECT_W, L"APPLE")), L"a"},
        {"unequal: absent properties match nothing",
         make.Property(RELOP_NE, make.Text(PR_SUBJECT_W, L"apple")), L"ABp"},
        {"less", low, L"Aa"},
        {"at most", make.Property(RELOP_LE, make.Long(PR_IMPORTANCE, 2)), L"AaB"},
        {"greater", make.Property(RELOP_GT, make.Long(PR_IMPORTANCE, 2)), L"p"},
        {"at least", make.Property(RELOP_GE, make.Long(PR_IMPORTANCE, 2)), L"Bp"},
        {"substring", make.Content(FL_SUBSTRING, L"apple"), L"ap"},
        {"substring, case ignored", apple, L"Aap"},
        {"loosely", make.Content(FL_SUBSTRING | FL_LOOSE, L"APPLE"), L"Aap"},
        {"prefix", make.Content(FL_PREFIX | FL_IGNORECASE, L"apple"), L"Aa"},
        {"full", make.Content(FL_FULLSTRING, L"apple"), L"a"},
        {"and", make.Join(RES_AND, {apple, low}), L"Aa"},
        {"or", make.Join(RES_OR, {make.Content(FL_PREFIX, L"B"), low}), L"AaB"},
        {"no part of an or", make.Join(RES_OR, {}), L""},
        {"not", make.Not(apple), L"B-"},
        {"exist", make.Exist(PR_SUBJECT_A), L"AaBp"},
        {"not exist", make.Not(make.Exist(PR_IMPORTANCE)), L"-"},
        {"bit set", make.BitMask(BMR_NEZ, 1), L"ap"},
        {"bit clear", make.BitMask(BMR_EQZ, 1), L"AB"},
        {"size with its terminator", make.Size(RELOP_EQ, 12), L"a"}};
    for (auto c : cases) {
        SCOPED_TRACE(c.what);
        const ComPtr<IMAPITable> table = Contents(Inbox());
        ASSERT_EQ(table->Restrict(&c.restriction, 0), S_OK);
        RowSet rows;
        ASSERT_EQ(table->QueryRows(100, 0, store::Out(rows)), S_OK);
        std::wstring letters;
        for (ULONG row = 0; row < rows->cRows; ++row) {
            const SPropValue& subject = rows->aRow[row].lpProps[0];
            letters += PROP_TYPE(subject.ulPropTag) == PT_UNICODE ? subject.Value.lpszW[0] : L'-';
        }
        EXPECT_EQ(letters, c.rows);
        ASSERT_EQ(table->Restrict(nullptr, 0), S_OK);
        ULONG count = 0;
        EXPECT_EQ(table->GetRowCount(0, &count), S_OK);
        EXPECT_EQ(count, 5u);
    }
}

TEST_F(Tables, RefuseWhatIsTooComplex) {
    Maker make;
    SRestriction compare = *make.New(RES_COMPAREPROPS);
    SRestriction sub = *make.New(RES_SUBRESTRICTION);
    SRestriction expression = make.Property(RELOP_RE, make.Text(PR_SUBJECT_W, L"."));
    SRestriction multi = make.Property(RELOP_EQ, make.Text(PROP_TAG(PT_MV_UNICODE, 0x6800), L"."));
    SRestriction inside = make.Join(RES_AND, {make.Exist(PR_SUBJECT), compare});
    const ComPtr<IMAPITable> table = Contents(Inbox());
    for (SRestriction* restriction : {&compare, &sub, &expression, &multi, &inside}) {
        EXPECT_EQ(table->Restrict(restriction, 0), MAPI_E_TOO_COMPLEX);
        EXPECT_EQ(table->FindRow(restriction, BOOKMARK_BEGINNING, 0), MAPI_E_TOO_COMPLEX);
    }
    SRestriction without = make.Property(RELOP_EQ, make.Text(PR_SUBJECT_W, L""));
    without.res.resProperty.lpProp = nullptr;
    EXPECT_EQ(table->Restrict(&without, 0), MAPI_E_INVALID_PARAMETER);
    SizedSSortOrderSet(1, categorized) = {1, 1, 0, {{PR_SUBJECT_W, TABLE_SORT_ASCEND}}};
    EXPECT_EQ(table->SortTable(reinterpret_cast<SSortOrderSet*>(&categorized), 0), MAPI_E_TOO_COMPLEX);
}

TEST_F(Tables, SortingAgreesWithAStableSortOfTheRows) {
    std::mt19937 random(4711);
    struct Row {
        std::wstring subject;
        long importance;
    };
    std::vector<Row> expected;
    const wchar_t* const words[] = {L"b", L"A", L"a", L"B", L"é", L"e", L""};
    for (int index = 0; index < 60; ++index) {
        Row row{words[random() % std::size(words)], static_cast<long>(random() % 3) - 1};
        TestItem item = Inbox().Item().Subject(row.subject);
        if (row.importance >= 0) item.Long(PR_IMPORTANCE, static_cast<ULONG>(row.importance));
        expected.push_back(row);
    }
    // Importance descending, those without it last; then the subject.
    std::ranges::stable_sort(expected, [](const Row& left, const Row& right) {
        if (left.importance != right.importance) return left.importance > right.importance;
        return lstrcmpiW(left.subject.c_str(), right.subject.c_str()) < 0;
    });
    const ComPtr<IMAPITable> table = Contents(Inbox());
    SizedSSortOrderSet(2, order) = {
        2, 0, 0, {{PR_IMPORTANCE, TABLE_SORT_DESCEND}, {PR_SUBJECT_W, TABLE_SORT_ASCEND}}};
    ASSERT_EQ(table->SeekRow(BOOKMARK_BEGINNING, 7, nullptr), S_OK);
    ASSERT_EQ(table->SortTable(reinterpret_cast<SSortOrderSet*>(&order), 0), S_OK);
    RowSet rows;  // from the first one on, wherever the position was
    ASSERT_EQ(table->QueryRows(100, 0, store::Out(rows)), S_OK);
    ASSERT_EQ(rows->cRows, expected.size());
    for (ULONG row = 0; row < rows->cRows; ++row) {
        EXPECT_EQ(rows->aRow[row].lpProps[0].Value.lpszW, expected[row].subject) << row;
        EXPECT_EQ(PROP_TYPE(rows->aRow[row].lpProps[1].ulPropTag) == PT_ERROR, expected[row].importance < 0)
            << row;
    }
}

TEST_F(Tables, ShowStoresServicesFoldersRecipientsAndAttachments) {
    AddStore(L"Archive");
    Inbox().Folder(L"Deep").Folder(L"Deeper");
    mailbox::CProperties failing;
    failing.Text(PR_DISPLAY_NAME_W, L"f").Error(PR_ATTACH_SIZE, MAPI_E_CORRUPT_DATA);
    const ComPtr<IMessage> message =
        Open(Inbox().Item().To(L"Ann", L"a@x").Attach(L"n", "12345").Attach(failing));
    const ComPtr<IMAPIFolder> root = Open(Store().Root());
    ComPtr<IMsgServiceAdmin> admin;
    ASSERT_EQ(Session()->AdminServices(0, admin.GetAddressOf()), S_OK);
    ComPtr<IMAPITable> table;
    const auto rows = [&](Tags columns) {
        RowSet set;
        EXPECT_EQ(table->SetColumns(columns, 0), S_OK);
        EXPECT_EQ(table->QueryRows(9, 0, store::Out(set)), S_OK);
        std::wstring text;
        for (ULONG row = 0; set != nullptr && row < set->cRows; ++row) text += Shown(set->aRow[row]) + L";";
        return text;
    };
    const std::wstring uid = mailbox::ToWide(mailbox::ToHex(Store().Record().serviceUid));
    ASSERT_EQ(Session()->GetMsgStoresTable(0, table.GetAddressOf()), S_OK);
    EXPECT_EQ(rows({PR_DISPLAY_NAME_A, PR_SERVICE_UID, PR_DEFAULT_STORE}),
              L"\"Personal Folders\" " + uid + L" true;\"Archive\" MAPI_E_NOT_FOUND false;");
    ASSERT_EQ(admin->GetMsgServiceTable(0, table.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(rows({PR_SERVICE_DLL_NAME_A, PR_SERVICE_ENTRY_NAME}), L"\"mspst.dll\" \"PSTServiceEntry\";");
    ASSERT_EQ(root->GetHierarchyTable(0, table.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(rows({PR_DISPLAY_NAME_W}), L"\"Inbox\";");
    ASSERT_EQ(root->GetHierarchyTable(CONVENIENT_DEPTH, table.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(rows({PR_DISPLAY_NAME_W, PR_DEPTH}), L"\"Inbox\" 1;\"Deep\" 2;\"Deeper\" 3;");
    ASSERT_EQ(message->GetAttachmentTable(0, table.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(rows({PR_ATTACH_NUM, PR_ATTACH_SIZE}), L"0 11;1 0x8004011b;");
    ASSERT_EQ(message->GetRecipientTable(0, table.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(rows({PR_DISPLAY_NAME_W, PR_ENTRYID}), L"\"Ann\" MAPI_E_NOT_FOUND;");
}

TEST_F(Tables, AreSnapshots) {
    FillInbox(L"ab");
    const ComPtr<IMAPITable> table = Contents(Inbox());
    TestItem item(&Store().Record(), Inbox().Record().items[0].get());
    item.Subject(L"x");
    Database().RemoveItem(*Inbox().Record().items[1]);
    EXPECT_EQ(Rows(table.Get(), 9), L"ab");
}

}  // namespace
