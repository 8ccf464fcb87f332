// Plain values, streams and named properties.

#include <mapitags.h>

#include <cstring>

#include "quorvel.h"
#include "store/named_properties.h"
#include "store/one_mvalue.h"
#include "store/properties.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"

using enum logging::ESeverity;
using store::ComPtr;
using store::CTagList;
using store::MapiBuffer;

namespace {

class Reading : public MailboxTest {};

TEST_F(Reading, FewerValuesThanTagsIsAWarning) {
    ComPtr<IMessage> message = Open(Inbox().Item().Subject(L"x"));
    CTagList tags(PR_SUBJECT_W, PR_ENTRYID, PR_BODY_W);
    CapturedLog log;
    mailbox::calls::Fail({.method = "IMAPIProp::GetProps", .result = S_OK, .perform = true, .limit = 2});
    ULONG count = 0;
    SPropValue* raw = nullptr;
    EXPECT_EQ(Quorvel_GetPropValues(message.Get(), tags, &count, &raw), S_OK);
    const MapiBuffer<SPropValue> values(raw);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(log.Lines(), LogLines({{sevWarning, "Quorvel_GetPropValues", "NumTags(3) != NumValues(2)\n"}}));
}

TEST_F(Reading, GathersTextsInTagOrder) {
    TestItem item =
        Inbox().Item().Text(PR_SURNAME_W, L"Ünal").Text(PR_GIVEN_NAME_W, L"").Text(PR_TITLE_W, L"Dr.");
    ComPtr<IMessage> message = Open(item);
    for (const ULONG type : {ULONG{PT_UNICODE}, ULONG{PT_STRING8}}) {
        const auto as = [&](ULONG tag) { return CHANGE_PROP_TYPE(tag, type); };
        CTagList tags(as(PR_TITLE_W), as(PR_COMPANY_NAME_W), as(PR_GIVEN_NAME_W), as(PR_SURNAME_W));
        MapiBuffer<SPropValue> value;
        ULONG sources[4] = {77, 77, 77, 77};
        ASSERT_EQ(store::GetPropValuesInOneMValue(message.Get(), tags, store::Out(value), sources),
                  MAPI_W_ERRORS_RETURNED);
        ASSERT_EQ(value->ulPropTag, PROP_TAG(MV_FLAG | type, 0));
        ASSERT_EQ(value->Value.MVszW.cValues, 2u) << "missing and empty ones are left out";
        if (type == PT_UNICODE) {
            EXPECT_STREQ(value->Value.MVszW.lppszW[0], L"Dr.");
            EXPECT_STREQ(value->Value.MVszW.lppszW[1], L"Ünal");
        } else {
            EXPECT_STREQ(value->Value.MVszA.lppszA[0], "Dr.");
            EXPECT_STREQ(value->Value.MVszA.lppszA[1] + 1, "nal");
        }
        EXPECT_EQ(sources[0], 0u);
        EXPECT_EQ(sources[1], 3u);
        EXPECT_EQ(sources[2], 77u) << "one entry an element";
    }
}

// Each type that has a multi-valued form, twice, against the values read one by one.
TEST_F(Reading, GathersEveryType) {
    constexpr ULONG id = 0x6600;
    const GUID guid = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    mailbox::CProperties all;
    for (ULONG i = 0; i < 2; i++) {
        all.Short(PROP_TAG(0, id + i), static_cast<short>(-1 - i)).Long(PROP_TAG(0, id + 2 + i), 70000 + i);
        all.Float(PROP_TAG(0, id + 4 + i), 1.5f)
            .Double(PROP_TAG(0, id + 6 + i), 2.25)
            .AppTime(PROP_TAG(0, id + 8 + i), 4.5);
        all.Currency(PROP_TAG(0, id + 10 + i), 12345678901).Int64(PROP_TAG(0, id + 12 + i), -5);
        all.Time(PROP_TAG(0, id + 14 + i), Utc(2024, 2, 29)).Guid(PROP_TAG(0, id + 16 + i), guid);
        all.Binary(PROP_TAG(0, id + 18 + i), std::string(i + 1, 'b'));
    }
    TestItem item = Inbox().Item();
    for (const auto& slot : all.Slots()) item.Edit().properties.Set(slot.tag, all.Bytes(slot));
    ComPtr<IMessage> message = Open(item);
    for (size_t i = 0; i < all.Slots().size(); i += 2) {
        const ULONG first = all.Slots()[i].tag, second = all.Slots()[i + 1].tag, type = PROP_TYPE(first);
        SCOPED_TRACE("type " + std::to_string(type));
        CTagList tags(first, second);
        MapiBuffer<SPropValue> gathered, one;
        ASSERT_EQ(store::GetPropValuesInOneMValue(message.Get(), tags, store::Out(gathered)), S_OK);
        ASSERT_EQ(gathered->ulPropTag, PROP_TAG(MV_FLAG | type, 0));
        const auto& array = gathered->Value.MVbin;  // a count and a pointer, as every multi-valued form
        ASSERT_EQ(array.cValues, 2u);
        ASSERT_EQ(store::GetPropValue(message.Get(), second, store::Out(one)), S_OK);
        if (type == PT_BINARY) {
            EXPECT_EQ(array.lpbin[1].cb, 2u);
            EXPECT_EQ(std::memcmp(array.lpbin[1].lpb, "bb", 2), 0);
        } else {
            const size_t size = mailbox::FixedSize(type);
            const void* expected = type == PT_CLSID ? static_cast<void*>(one->Value.lpguid) : &one->Value;
            EXPECT_EQ(std::memcmp(reinterpret_cast<BYTE*>(array.lpbin) + size, expected, size), 0);
        }
    }
}

TEST_F(Reading, RefusesToGatherMixedTypes) {
    TestItem item = Inbox().Item().Subject(L"x").Text8(PR_TITLE_A, "8-bit").Long(PR_IMPORTANCE, 1);
    item.Texts(PROP_TAG(PT_MV_UNICODE, 0x6600), {L"a", L"b"});
    ComPtr<IMessage> message = Open(item);
    const struct {
        ULONG first, second;
        const char* text;
    } cases[] = {
        {PR_SUBJECT_W, PR_IMPORTANCE, "sub values must be one type (0x1f != 0x3)\n"},
        {PR_SUBJECT_W, PR_TITLE_A, "sub values must be one type (0x1f != 0x1e)\n"},
        {PR_COMPANY_NAME_W, PR_HASATTACH, "sub values must be one type (0xb != 0xb)\n"},
        {PROP_TAG(PT_MV_UNICODE, 0x6600), PR_SUBJECT_W, "sub values must be one type (0x101f != 0x101f)\n"},
    };
    for (const auto& [first, second, text] : cases) {
        CTagList tags(first, second);
        SPropValue* value = reinterpret_cast<SPropValue*>(0x5EED);
        CapturedLog log;
        EXPECT_EQ(Quorvel_GetPropValuesInOneMValue(message.Get(), tags, &value), MAPI_E_INVALID_TYPE);
        EXPECT_EQ(value, nullptr);
        EXPECT_EQ(log.Lines(), LogLines({{sevError, "Quorvel_GetPropValuesInOneMValue", text}}));
    }
    CTagList none(PR_COMPANY_NAME_W, PR_SURNAME_W);
    MapiBuffer<SPropValue> value;
    EXPECT_EQ(store::GetPropValuesInOneMValue(message.Get(), none, store::Out(value)),
              MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(PROP_TYPE(value->ulPropTag), ULONG{PT_ERROR});
    EXPECT_EQ(value->Value.err, MAPI_E_NOT_FOUND);
}

TEST_F(Reading, SizeOfTheSubject) {
    ComPtr<IMessage> message = Open(Inbox().Item().Subject(L"Grüße"));
    ComPtr<IMessage> without = Open(Inbox().Item());
    SPropValue read[2] = {};
    read[0].ulPropTag = PR_SUBJECT_A;
    read[0].Value.lpszA = const_cast<char*>("eight");
    read[1].ulPropTag = PR_SUBJECT_W;
    read[1].Value.lpszW = const_cast<wchar_t*>(L"wide");
    SPropValue odd = {};
    odd.ulPropTag = PROP_TAG(PT_LONG, PROP_ID(PR_SUBJECT_W));
    const struct {
        IMessage* item;
        int wide;
        SPropValue* values;
        ULONG count, size;
        unsigned reads;
    } cases[] = {
        {message.Get(), 1, nullptr, 0, 10, 1}, {message.Get(), 0, nullptr, 0, 5, 1},
        {message.Get(), 1, read, 2, 8, 0},     {message.Get(), 0, read, 2, 5, 0},
        {message.Get(), 1, read, 1, 10, 1},    {message.Get(), 1, read, 0, 10, 1},
        {message.Get(), 1, &odd, 1, 10, 1},    {without.Get(), 1, nullptr, 0, 0, 1},
    };
    for (const auto& c : cases) {
        ULONG size = 77;
        mailbox::calls::Record();
        EXPECT_EQ(Quorvel_GetSubjectSize(c.item, c.wide, &size, c.values, c.count), S_OK);
        EXPECT_EQ(size, c.size);
        EXPECT_EQ(mailbox::calls::Count("IMAPIProp::GetProps"), c.reads)
            << "values that are read already are not read";
        mailbox::calls::Reset();
    }
}

// ---- Streams

TEST_F(Reading, StreamWhole) {
    constexpr ULONG tag = PROP_TAG(PT_BINARY, 0x6600);
    TestItem item = Inbox().Item().Binary(tag, "0123456789").Binary(PROP_TAG(PT_BINARY, 0x6601), "");
    item.Binary(PROP_TAG(PT_BINARY, 0x6602), std::string(100000, 'x'));
    ComPtr<IMessage> message = Open(item);
    const struct {
        const char* what;
        ULONG tag;
        std::optional<ULONG> limit;
        ULONG count, size;
    } cases[] = {
        {"whole", tag, {}, 10, 10},
        {"short read", tag, 4, 4, 10},
        {"empty", tag + 0x10000, {}, 0, 0},
        {"missing", tag + 0x30000, {}, 0, 0},
        {"large", tag + 0x20000, {}, 100000, 100000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        for (const int terminated : {0, 1}) {
            if (c.limit)
                mailbox::calls::Fail(
                    {.method = "IStream::Read", .result = S_OK, .perform = true, .limit = c.limit});
            void* raw = reinterpret_cast<void*>(0x5EED);
            ULONG count = 77, size = 77;
            CapturedLog log;
            mailbox::calls::Record();
            EXPECT_EQ(
                Quorvel_GetStreamPropValue(message.Get(), static_cast<long>(c.tag), &raw, &count, terminated),
                S_OK);
            EXPECT_LE(mailbox::calls::Count("IStream::Read"), 1u) << "one read, no loop";
            const MapiBuffer<BYTE> buffer(static_cast<BYTE*>(raw));
            EXPECT_EQ(count, c.count);
            EXPECT_EQ(buffer == nullptr, c.count == 0);
            if (buffer && terminated) {
                for (const ULONG at : {c.count, c.count + 1, c.size, c.size + 1})
                    EXPECT_EQ(buffer.get()[at], 0) << at;
            }
            mailbox::calls::Reset();
            mailbox::calls::Record();
            EXPECT_EQ(Quorvel_StreamPropSize(message.Get(), c.tag, &size), S_OK);
            EXPECT_EQ(size, c.size);
            EXPECT_EQ(mailbox::calls::Count("IStream::Read"), 0u) << "the size is told without reading";
            EXPECT_EQ(log.Lines(), LogLines());
            mailbox::calls::Reset();
        }
    }
}

TEST_F(Reading, StreamSizesBeyondTheirBits) {
    ComPtr<IMessage> message = Open(Inbox().Item().Body(L"body"));
    const auto report = [](unsigned long long size) {
        mailbox::calls::Fail({.method = "IStream::Stat", .result = S_OK, .perform = true, .statSize = size});
    };
    ULONG size = 0;
    report(0x100000005);
    EXPECT_EQ(Quorvel_StreamPropSize(message.Get(), PR_BODY_W, &size), S_OK);
    EXPECT_EQ(size, 5u) << "the low half";

    // With the terminator the size would wrap around to next to nothing.
    for (const unsigned long long huge : {0xFFFFFFFEull, 0xFFFFFFFFull}) {
        report(huge);
        void* buffer = nullptr;
        ULONG count = 77;
        CapturedLog log;
        EXPECT_EQ(Quorvel_GetStreamPropValue(message.Get(), PR_BODY_W, &buffer, &count, 1),
                  MAPI_E_NOT_ENOUGH_MEMORY);
        EXPECT_EQ(buffer, nullptr);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(
            log.Lines(),
            LogLines({{sevError, "Quorvel_GetStreamPropValue", "MAPIAllocateBuffer returned 0x8007000e\n"}}));
    }
}

TEST_F(Reading, StreamEmptiness) {
    constexpr ULONG text = PROP_TAG(PT_UNICODE, 0x6600), binary = PROP_TAG(PT_BINARY, 0x6601);
    const std::wstring zeros(200, L'\0');
    const struct {
        const char* what;
        ULONG tag;
        std::wstring value;
        int empty;
    } cases[] = {
        {"a letter", PR_BODY_W, L"x", 0},
        {"a line break", PR_BODY_W, L"\r\n", 1},
        {"a blank and a line break", PR_BODY_W, L" \r\n", 1},
        {"8-bit blank and line break", PR_BODY_A, L" \r\n", 1},
        {"8-bit letter", PR_BODY_A, L"x", 0},
        {"a line break in another text", text, L"\r\n", 0},
        {"two line breaks", PR_BODY_W, L"\r\n\r\n", 0},
        {"two blanks", PR_BODY_W, L"  \r\n", 0},
        {"a line break the wrong way", PR_BODY_W, L"\n\r", 0},
        {"a tab before it", PR_BODY_W, L"\t\r\n", 0},
        {"a line break and text", PR_BODY_W, L"\r\nx", 0},
        {"zeros beyond what is tested", PR_BODY_W, zeros + L"text", 1},
        {"a long text", PR_BODY_W, std::wstring(1000, L'x'), 0},
        {"an empty text", text, L"", 1},
        {"bytes, inverted", binary, L"x", 1},
        {"no bytes, inverted", binary, L"", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        TestItem item = Inbox().Item();
        if (c.tag == binary) {
            item.Binary(c.tag, std::string(c.value.begin(), c.value.end()));
        } else {
            item.Text(c.tag, c.value);
        }
        ComPtr<IMessage> message = Open(item);
        const ULONG whole = static_cast<ULONG>(c.value.size() * (PROP_TYPE(c.tag) == PT_UNICODE ? 2 : 1));
        int empty = 77;
        ULONG size = 77;
        EXPECT_EQ(Quorvel_StreamPropEmpty(message.Get(), c.tag, &empty, &size), S_OK);
        EXPECT_EQ(empty, c.empty);
        EXPECT_EQ(size, c.empty ? 0 : whole);
        mailbox::calls::Record();
        EXPECT_EQ(Quorvel_StreamPropEmpty(message.Get(), c.tag, &empty, nullptr), S_OK);
        EXPECT_EQ(empty, c.empty);
        EXPECT_EQ(mailbox::calls::Count("IStream::Stat"), 0u)
            << "the size is asked for only when it is wanted";
        mailbox::calls::Reset();
    }
    // A text that ends in half a character: what lies beyond the stream does not count.
    ComPtr<IMessage> message = Open(Inbox().Item().Body(L"\r\n"));
    mailbox::calls::Fail({.method = "IStream::Read", .result = S_OK, .perform = true, .limit = 3});
    int empty = 77;
    EXPECT_EQ(Quorvel_StreamPropEmpty(message.Get(), PR_BODY_W, &empty, nullptr), S_OK);
    EXPECT_EQ(empty, 1);
    EXPECT_EQ(Quorvel_StreamPropEmpty(message.Get(), text, &empty, nullptr), S_OK);
    EXPECT_EQ(empty, 1) << "a missing property is empty";
}

// ---- Named properties

TEST_F(Reading, TagOfANumericName) {
    TestItem item = Inbox().Item().Named(base::kSetAppointment, 0x8208, L"Room");
    ComPtr<IMessage> message = Open(item);
    const ULONG tag = item.NamedTag(base::kSetAppointment, 0x8208, PT_UNICODE);
    const auto find = [&](const char* set, long id) {
        return Quorvel_GetIDFromName2(message.Get(), set, id, PT_UNICODE);
    };
    EXPECT_EQ(find(base::kSetAppointment, 0x8208), tag);
    EXPECT_EQ(find("00062002 0000 0000 c000 000000000046", 0x8208), tag) << "32 digits count, nothing else";

    CapturedLog log;
    mailbox::calls::Record();
    for (const char* bad : {"{00062002-0000-0000-C000-00000000004}", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(find(bad, 0x8208), 0u);
    }
    EXPECT_EQ(mailbox::calls::Count(), 0u) << "the platform is not asked";
    EXPECT_EQ(log.Count(sevError, "Quorvel_GetIDFromName2", "Str2GUID failed\n"), 3u);
    log.Clear();
    EXPECT_EQ(find(base::kSetAppointment, 0x7777), 0u) << "names are never created";
    EXPECT_EQ(log.Lines(),
              LogLines({{sevError, "Quorvel_GetIDFromName", "lpItem->GetIDsFromNames return 0x40380\n"}}));
}

TEST_F(Reading, ResolvesAList) {
    TestItem item =
        Inbox().Item().Named(base::kSetAppointment, 0x8208, L"Room").Named(base::kSetTask, 0x8105, L"x");
    item.NamedTexts(base::kSetPublicStrings, L"Keywords", {L"a"});
    ComPtr<IMessage> message = Open(item);
    const auto prop = [](const wchar_t* key, ULONG tag, const char* set, int id, const wchar_t* name,
                         ULONG type) {
        TComparyProp entry = {};
        entry.lpszKey = key;
        entry.ulPropTag = tag;
        entry.lpszGuid = set;
        entry.nID = id;
        entry.lpszID = name;
        entry.nType = type;
        return entry;
    };
    TComparyProp entries[] = {
        prop(L"has a tag", PR_SUBJECT_W, base::kSetTask, 0x8105, nullptr, PT_LONG),
        prop(L"no set", 0, nullptr, 0x8105, nullptr, PT_LONG),
        prop(L"private", 0, "{7a3c5e19-4b82-4d6f-9e15-3f8a2c6b7d40}", 1, nullptr, PT_MV_UNICODE),
        prop(L"number", 0, base::kSetAppointment, 0x8208, nullptr, PT_UNICODE),
        prop(L"number first", 0, base::kSetTask, 0x8105, L"Keywords", PT_DOUBLE | 0x770000),
        prop(L"text", 0, base::kSetPublicStrings, 0, L"Keywords", PT_MV_UNICODE),
        prop(nullptr, 0, "not a set", 1, nullptr, PT_LONG),
        prop(nullptr, 0, base::kSetCommon, 0, nullptr, PT_LONG),
        prop(L"last", 0, base::kSetAppointment, 0x8208, nullptr, PT_STRING8),
    };
    TComparyProps list = {static_cast<int>(std::size(entries)), entries};
    CapturedLog log;
    EXPECT_EQ(Quorvel_ResolveTags(message.Get(), &list), S_OK)
        << "the last look-up's result, whatever came before";
    const ULONG location = item.NamedTag(base::kSetAppointment, 0x8208, PT_UNICODE);
    const ULONG tags[] = {PR_SUBJECT_W,
                          0,
                          0,
                          location,
                          item.NamedTag(base::kSetTask, 0x8105, PT_DOUBLE),
                          item.NamedTag(base::kSetPublicStrings, L"Keywords", PT_MV_UNICODE),
                          0,
                          0,
                          CHANGE_PROP_TYPE(location, PT_STRING8)};
    for (size_t i = 0; i < std::size(entries); i++) EXPECT_EQ(entries[i].ulPropTag, tags[i]) << "entry " << i;
    EXPECT_EQ(
        log.Lines(),
        LogLines(
            {{sevError, "Quorvel_ResolveTags", "ignoring bag guid = \"not a set\"\n"},
             {sevError, "Quorvel_GetIDsFromNames", "GetIDsFromNames return 0x40380\n"},
             {sevError, "Quorvel_ResolveTags",
              "NamedProp->Tag failed for Prop: Key=\"\", GUID=\"{00062008-0000-0000-C000-000000000046}\", "
              "nID=0, sID=\"\",nType=0x3\n"}}));

    TComparyProp unknown[] = {prop(L"", 0, base::kSetAppointment, 0x8208, nullptr, PT_LONG),
                              prop(L"", 0, base::kSetAppointment, 0x7777, nullptr, PT_LONG)};
    TComparyProps shorter = {2, unknown};
    log.Clear();
    EXPECT_EQ(Quorvel_ResolveTags(message.Get(), &shorter), MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(unknown[1].ulPropTag, 0u);
    EXPECT_EQ(log.Count(sevInfo, "Quorvel_ResolveTags", "hRes != S_OK\n"), 1u);
    for (const int none : {0, -1}) {
        TComparyProps nothing = {none, nullptr};
        EXPECT_EQ(Quorvel_ResolveTags(message.Get(), &nothing), S_OK);
    }
}

}  // namespace
