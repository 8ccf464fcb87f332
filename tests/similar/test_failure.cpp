// Contacts that cannot be read, calls in the wrong order, and every call of the platform failing in turn.

#include "base/mapi_extra.h"
#include "store/named_properties.h"
#include "tests/similar/SimilarFixture.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;
using store::ComPtr;

namespace {

const Contact kPeter =
    L"Full Name=Peter Smith;First Name=Peter;Last Name=Smith;E-mail=/o=org/cn=peter;"
    L"Notes=Met in Oslo.;File As=Smith";

class SimilarFailures : public SimilarTest {
  protected:
    ~SimilarFailures() override { mailbox::calls::Reset(); }
    unsigned AddToCache(const TestItem& item) {
        Search search(Session(), Store().Id());
        return SimilarSearch_AddToCache(search, Open(item).Get());
    }
};

TEST_F(SimilarFailures, IdentityIsReadOrSaidToBeUnreadable) {
    constexpr char kInfo[] = "CSimilarSearch.ReadItemInfo";
    const LogLines notCached = {{sevError, "CSimilarSearch.CacheItem", "ReadItemInfo failed\n"},
                                {sevError, "CSimilarSearch.AddToCache", "GetItemProps failed\n"}};
    ULONG fileAs = Add({}).NamedTag(base::kSetAddress, 0x8005, PT_UNICODE);
    const struct {
        const char* what;
        ULONG tag;
        HRESULT error;
        const char* line;
        bool cached;
    } kCases[] = {
        {"entry identifier", PR_ENTRYID, MAPI_E_NO_ACCESS, "Cant read EntryID, error = 0x80070005\n", false},
        {"modification time", PR_LAST_MODIFICATION_TIME, MAPI_E_NO_ACCESS,
         "Cant read LMT, error = 0x80070005\n", true},
        {"file-as name", fileAs, MAPI_E_NO_ACCESS, "Cant read FileAs, error = 0x80070005\n", true},
        {"full name", PR_DISPLAY_NAME_W, MAPI_E_NO_ACCESS, "Cant read FullName, error = 0x80070005\n", true},
        {"no file-as name", fileAs, MAPI_E_NOT_FOUND, nullptr, true},
        {"no full name", PR_DISPLAY_NAME_W, MAPI_E_NOT_FOUND, nullptr, true},
    };
    for (const auto& c : kCases) {
        const TestItem item = Add(L"First Name=Peter").Error(c.tag, c.error);
        CapturedLog log;
        EXPECT_EQ(AddToCache(item), c.cached ? 1u : 0u) << c.what;
        LogLines expected;
        if (c.line) expected.push_back({sevError, kInfo, c.line});
        if (!c.cached) expected.insert(expected.end(), notCached.begin(), notCached.end());
        EXPECT_EQ(log.Lines(), expected) << c.what;
    }
}

TEST_F(SimilarFailures, ContactsWithoutAnIdentifierAreRefused) {
    CapturedLog log;
    EXPECT_EQ(AddToCache(Add(kPeter).Binary(PR_ENTRYID, "")), 0u);
    EXPECT_EQ(log.Count(sevError, "CSimilarSearch.ReadItemInfo", "Error: EntryID is empty\n"), 1u);
    Search search(Session(), Store().Id());
    unsigned filled = 9;
    EXPECT_EQ(SimilarSearch_AddToCache(search, nullptr), 0u);
    EXPECT_EQ(SimilarSearch_SetSearchByItem(search, nullptr, &filled), 0u);
}

TEST_F(SimilarFailures, UnreadableValuesAndBodiesAreSaid) {
    const TestItem item = Add(kPeter);
    struct Case {
        const char* what;
        mailbox::TFault fault;
        LogLine line;
        bool cached;
    };
    std::vector<Case> cases;
    const auto add = [&](const char* what, const char* method, ULONG tag, HRESULT result,
                         std::optional<ULONG> limit, const char* routine, const char* text, bool cached) {
        mailbox::TFault fault{
            .method = method, .result = result, .perform = limit.has_value(), .tag = tag, .limit = limit};
        cases.push_back({what, fault, {sevError, std::string("CSimilarSearch.") + routine, text}, cached});
    };
    add("identity refused", "IMAPIProp::GetProps", PR_ENTRYID, MAPI_E_NO_ACCESS, {}, "ReadItemInfo",
        "Quorvel_GetPropValues returned 0x80070005\n", false);
    add("identity cut short", "IMAPIProp::GetProps", PR_ENTRYID, S_OK, 3, "ReadItemInfo",
        "cValues(3) != cTags(4)\n", false);
    add("values refused", "IMAPIProp::GetProps", PR_GIVEN_NAME_W, MAPI_E_NO_ACCESS, {}, "CacheItem",
        "Quorvel_GetPropValues returned 0x80070005\n", false);
    add("values cut short", "IMAPIProp::GetProps", PR_GIVEN_NAME_W, S_OK, 60, "CacheItem",
        "cValues(60) != m_lpPropsTags->cValues(64)\n", false);
    add("body refused", "IMAPIProp::OpenProperty", PR_BODY_W, MAPI_E_NO_ACCESS, {}, "CacheItem",
        "GetStreamPropValue(PR_BODY_W) return -2147024891\n", true);
    for (const Case& c : cases) {
        CapturedLog log;
        mailbox::calls::Fail(c.fault);
        EXPECT_EQ(AddToCache(item), c.cached ? 1u : 0u) << c.what;
        EXPECT_EQ(log.Count(c.line.severity, c.line.tag, c.line.text), 1u) << c.what;
        mailbox::calls::Reset();
    }
}

TEST_F(SimilarFailures, NamesThatDoNotResolveAreEmptyAndTheFileAsNameIsTriedAgain) {
    // A store that knows no names: nothing can be cached, until it learns the one that identifies contacts.
    TestStore empty = AddStore(L"New");
    TestItem item = empty.Root().Folder(L"Contacts").Item(L"IPM.Contact");
    item.Text(PR_GIVEN_NAME_W, L"Peter").Text(PR_SURNAME_W, L"Smith");
    Search search(Session(), empty.Id());
    const ComPtr<IMessage> opened = Open(item);
    {
        CapturedLog log;
        EXPECT_EQ(SimilarSearch_AddToCache(search, opened.Get()), 0u);
        EXPECT_EQ(log.Count(sevError, "CSimilarSearch.ReadItemInfo", "Cant resolve FileAs tag\n"), 1u);
    }
    item.NamedTag(base::kSetAddress, 0x8005, PT_UNICODE);
    EXPECT_EQ(search.SetSearchBy(opened.Get()), 2u);
    EXPECT_EQ(search.Check(opened.Get()).text, L"Strict . // FirstName + LastName");
}

TEST_F(SimilarFailures, ContactsFullOfErrorsMatchNothing) {
    TestItem item = Add({});
    for (const wchar_t* field :
         {L"First Name", L"Last Name", L"E-mail", L"Birthday", L"Categories", L"Company"})
        item.Error(FieldTag(item, field), MAPI_E_NO_ACCESS);
    Search search(Session(), Store().Id());
    CapturedLog log;
    EXPECT_EQ(search.SetSearchBy(Open(item).Get()), 0u);
    EXPECT_EQ(log.Lines(sevError).size(), 6u) << "one line a value, when it is counted";
    log.Clear();
    EXPECT_EQ(search.Check(Open(item).Get()), Verdict());
    EXPECT_EQ(log.Lines(), LogLines());
}

TEST_F(SimilarFailures, FieldsOfAnotherTypeMatchNothing) {
    TestItem item = Add({});
    item.Long(PR_GIVEN_NAME_W, 1).Text(PR_BIRTHDAY, L"today").Long(PR_CHILDRENS_NAMES_W, 2);
    item.Named(base::kSetAddress, 0x8083, LONG{3});
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(item).Get());
    EXPECT_EQ(search.Check(Open(item).Get()), Verdict());
}

TEST_F(SimilarFailures, ChecksNeedASearchByContactAndAContact) {
    const TestItem item = Add(kPeter);
    Search search(Session(), Store().Id());
    unsigned verdict = 9, filled = 9;
    const wchar_t *text = nullptr, *fields = nullptr;
    const auto expectRefused = [&](unsigned result, const CapturedLog& log, const char* method,
                                   const char* line) {
        EXPECT_EQ(result, 0u);
        EXPECT_EQ(log.Count(sevError, std::string("CSimilarSearch.") + method, line), 1u) << line;
        EXPECT_EQ(verdict, 0u);
        EXPECT_EQ(filled, 0u);
        EXPECT_STREQ(text, L"");
        EXPECT_STREQ(fields, L"");
        verdict = filled = 9;
        text = fields = nullptr;
    };
    {
        CapturedLog log;
        expectRefused(SimilarSearch_CheckItemW(search, Open(item).Get(), &verdict, &filled, &text, &fields),
                      log, "CheckItem", "m_pSearchByProps == NULL\n");
        expectRefused(
            SimilarSearch_CheckItemFastW(search, item.Id().c_str(), &verdict, &filled, &text, &fields), log,
            "CheckItemFast", "m_pSearchByProps == NULL\n");
        SimilarSearch_LogSearchByPos(search);
        EXPECT_EQ(log.Count(sevError, "CSimilarSearch.LogSearchByPos", "m_pSearchByProps == NULL\n"), 1u);
    }
    search.SetSearchBy(Open(item).Get());
    search.Check(Open(item).Get());  // the texts of a refused check are not those of the one before
    for (const char* id : {"", "AB12", "no digits", static_cast<const char*>(nullptr)}) {
        CapturedLog log;
        expectRefused(SimilarSearch_CheckItemFastW(search, id, &verdict, &filled, &text, &fields), log,
                      "CheckItemFast", "OpenItem failed\n");
    }
    const TestItem bad = Add(kPeter).Error(PR_ENTRYID, MAPI_E_NO_ACCESS);
    {
        CapturedLog log;
        expectRefused(SimilarSearch_CheckItemW(search, Open(bad).Get(), &verdict, &filled, &text, &fields),
                      log, "CheckItem", "GetItemProps failed\n");
        expectRefused(
            SimilarSearch_CheckItemFastW(search, bad.Id().c_str(), &verdict, &filled, &text, &fields), log,
            "CheckItemFast", "GetItemProps failed\n");
    }
    EXPECT_EQ(search.Check(Open(item).Get()).verdict, 2u) << "the search works on";
}

TEST_F(SimilarFailures, WithoutASessionOnlyContactsInHandAreChecked) {
    const TestItem item = Add(kPeter);
    Search search(nullptr, Store().Id(), 1);
    SimilarSearch_Delete(nullptr);
    search.SetSearchBy(Open(item).Get());
    EXPECT_EQ(search.Check(Open(item).Get()).verdict, 2u);
    unsigned verdict;
    EXPECT_EQ(
        SimilarSearch_CheckItemFast(search, Add(kPeter).Id().c_str(), &verdict, nullptr, nullptr, nullptr),
        0u);
}

}  // namespace
