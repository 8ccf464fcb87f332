// Reading: widths of texts, what is missing or too large, streams, named and computed properties.

#include "mailbox/text.h"
#include "store/named_properties.h"
#include "tests/mailbox/values.h"
#include "tests/support/MailboxFixture.h"
#include "tests/support/store_names.h"

using store::ComPtr;
using store::MapiBuffer;

namespace {

class Reading : public MailboxTest {};

TEST_F(Reading, GivesTextsInTheWidthAskedFor) {
    TestItem item = Inbox().Item().Subject(L"Grüße").Text8(PR_SENDER_NAME_A, "M\xFCller");
    item.Texts(PROP_TAG(PT_MV_UNICODE, 0x6800), {L"ä", L""});
    const ComPtr<IMessage> message = Open(item);
    const Values got = Get(message.Get(), {PR_SUBJECT_W, PR_SUBJECT_A, PR_SENDER_NAME_W, PR_SENDER_NAME_A,
                                           PROP_TAG(PT_MV_UNICODE, 0x6800), PROP_TAG(PT_MV_STRING8, 0x6800)});
    ASSERT_EQ(got.result, S_OK);
    EXPECT_EQ(got[1].ulPropTag, PR_SUBJECT_A);
    EXPECT_EQ(got[2].ulPropTag, PR_SENDER_NAME_W);
    EXPECT_EQ(Shown(got),
              L"\"Grüße\" \"Grüße\" \"Müller\" \"Müller\" (count=2){\"ä\",\"\"} (count=2){\"ä\",\"\"}");
}

TEST_F(Reading, UnspecifiedTypeIsThePropertysOwnWithTextsInTheWidthOfTheCall) {
    TestItem item = Inbox().Item().Subject(L"a").Text8(PR_SENDER_NAME_A, "b").Long(PR_IMPORTANCE, 2);
    const ComPtr<IMessage> message = Open(item);
    const auto unspecified = [](ULONG tag) { return CHANGE_PROP_TYPE(tag, PT_UNSPECIFIED); };
    for (const bool wide : {false, true}) {
        const Values got = Get(
            message.Get(), {unspecified(PR_SUBJECT), unspecified(PR_SENDER_NAME), unspecified(PR_IMPORTANCE)},
            wide ? MAPI_UNICODE : 0);
        ASSERT_EQ(got.result, S_OK);
        EXPECT_EQ(got[0].ulPropTag, wide ? PR_SUBJECT_W : PR_SUBJECT_A);
        EXPECT_EQ(got[1].ulPropTag, wide ? PR_SENDER_NAME_W : PR_SENDER_NAME_A);
        EXPECT_EQ(got[2].ulPropTag, PR_IMPORTANCE);
    }
}

TEST_F(Reading, WhatCannotBeGivenIsAnErrorValueAndAWarningOfTheCall) {
    TestItem item = Inbox()
                        .Item()
                        .Long(PR_IMPORTANCE, 2)
                        .Error(PR_SENDER_NAME, MAPI_E_CORRUPT_DATA)
                        .Error(PR_HASATTACH, MAPI_E_NOT_FOUND);
    const ComPtr<IMessage> message = Open(item);
    const struct {
        const char* what;
        ULONG tag;
        HRESULT error;
    } cases[] = {
        {"a missing property", PR_SUBJECT_W, MAPI_E_NOT_FOUND},
        {"a missing property of no type", CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_UNSPECIFIED), MAPI_E_NOT_FOUND},
        {"another type than it has", CHANGE_PROP_TYPE(PR_IMPORTANCE, PT_UNICODE), MAPI_E_NOT_FOUND},
        {"a named property of no name", PROP_TAG(PT_UNICODE, 0x8123), MAPI_E_NOT_FOUND},
        {"a value kept as an error", PR_SENDER_NAME_W, MAPI_E_CORRUPT_DATA},
        {"a hidden computed property", PR_HASATTACH, MAPI_E_NOT_FOUND}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const Values got = Get(message.Get(), {PR_IMPORTANCE, c.tag});
        EXPECT_EQ(got.result, MAPI_W_ERRORS_RETURNED);
        ASSERT_EQ(got.count, 2u);
        EXPECT_EQ(got[0].Value.l, 2);
        EXPECT_EQ(got[1].ulPropTag, CHANGE_PROP_TYPE(c.tag, PT_ERROR));
        EXPECT_EQ(got[1].Value.err, c.error);
    }
}

TEST_F(Reading, ValuesBeyondEightKilobytesComeOnlyThroughAStream) {
    const struct {
        const char* what;
        size_t units;
        ULONG tag;
        bool isGiven;
    } cases[] = {{"wide, 8192 bytes", 4096, PR_BODY_W, true},
                 {"wide, 8194 bytes", 4097, PR_BODY_W, false},
                 {"8-bit, 8192 bytes", 8192, PR_BODY_A, true},
                 {"8-bit, 8193 bytes", 8193, PR_BODY_A, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        // Two bytes a character in the mailbox, so that what counts is the form that is given.
        TestItem item = Inbox().Item().Body(std::wstring(c.units, L'ü'));
        const ComPtr<IMessage> message = Open(item);
        const Values got = Get(message.Get(), {c.tag});
        EXPECT_EQ(got.result, c.isGiven ? S_OK : MAPI_W_ERRORS_RETURNED);
        if (!c.isGiven) {
            EXPECT_EQ(got[0].Value.err, MAPI_E_NOT_ENOUGH_MEMORY);
        }
        const ComPtr<IStream> stream = OpenStream(message.Get(), c.tag);
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(ReadAll(stream.Get()).size(), c.tag == PR_BODY_W ? c.units * 2 : c.units);
    }
    TestItem item = Inbox().Item().Binary(PR_CONVERSATION_INDEX, std::string(8193, 'x'));
    EXPECT_EQ(Get(Open(item).Get(), {PR_CONVERSATION_INDEX})[0].Value.err, MAPI_E_NOT_ENOUGH_MEMORY);
}

TEST_F(Reading, AllPropertiesAreThoseOfTheList) {
    TestItem item = Inbox().Item().Subject(L"s").Named(base::kSetAppointment, 0x8215, true);
    item.Error(PR_SENDER_NAME, MAPI_E_NOT_FOUND);
    const ComPtr<IMessage> message = Open(item);
    Values all;
    all.result = message->GetProps(nullptr, MAPI_UNICODE, &all.count, store::Out(all.values));
    EXPECT_EQ(all.result, S_OK);
    MapiBuffer<SPropTagArray> list;
    ASSERT_EQ(message->GetPropList(MAPI_UNICODE, store::Out(list)), S_OK);
    ASSERT_EQ(all.count, list->cValues);
    std::vector<ULONG> tags(list->aulPropTag, list->aulPropTag + list->cValues);
    for (ULONG index = 0; index < all.count; ++index) EXPECT_EQ(all[index].ulPropTag, tags[index]);
    for (const ULONG tag :
         {PR_SUBJECT_W, PR_ENTRYID, PR_SEARCH_KEY, item.NamedTag(base::kSetAppointment, 0x8215, PT_BOOLEAN)})
        EXPECT_EQ(std::ranges::count(tags, tag), 1) << std::hex << tag;
    EXPECT_EQ(std::ranges::count(tags, PR_SENDER_NAME_W), 0) << "an error is no property of the object";
}

// The start of a text is converted apart from the rest; characters of any width lie across the border.
TEST_F(Reading, TheStartOfATextAndTheRestAreTheWhole) {
    std::vector<std::string> bodies{std::string(3000, '\x80')};
    for (const char* character : {"x", "\u00fc", "\u4e2d", "\U0001f600"}) {
        std::string body;
        while (body.size() < 3000) body += character;
        bodies.push_back(body);
    }
    for (size_t length = 506; length < 516; ++length)
        bodies.push_back(std::string(length, 'x') + "\U0001f600" + std::string(600, 'y'));
    for (size_t i = 0; i < bodies.size(); ++i) {
        TestItem item = Inbox().Item();
        item.Edit().properties.Set(PR_BODY_W, bodies[i]);
        const ComPtr<IMessage> message = Open(item);
        for (const ULONG count : {1, 2, 3, 513, 1022, 1023, 1024, 1025}) {
            const ComPtr<IStream> stream = OpenStream(message.Get(), PR_BODY_W);
            std::string start(count, '?');
            ULONG read = 0;
            ASSERT_EQ(stream->Read(start.data(), count, &read), S_OK);
            ASSERT_EQ(read, count) << "body " << i;
            EXPECT_EQ(start + ReadAll(stream.Get()), mailbox::ToWideBytes(bodies[i]))
                << "body " << i << ", " << count << " bytes first";
        }
    }
}

TEST_F(Reading, StreamsReadInPiecesSeekAndTellTheirSize) {
    TestItem item =
        Inbox().Item().Body(L"abcdef").Binary(PR_CONVERSATION_INDEX, std::string("0123456789", 10));
    const ComPtr<IMessage> message = Open(item);
    const ComPtr<IStream> wide = OpenStream(message.Get(), PR_BODY_W);
    EXPECT_EQ(ReadAll(wide.Get()), std::string("a\0b\0c\0d\0e\0f\0", 12));
    EXPECT_EQ(ReadAll(OpenStream(message.Get(), PR_BODY_A).Get()), "abcdef");

    const ComPtr<IStream> binary = OpenStream(message.Get(), PR_CONVERSATION_INDEX);
    STATSTG stat;
    ASSERT_EQ(binary->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(stat.cbSize.QuadPart, 10u);
    const struct {
        DWORD origin;
        long long move;
        HRESULT result;
        const char* rest;
    } seeks[] = {{STREAM_SEEK_SET, 4, S_OK, "456789"},
                 {STREAM_SEEK_END, -3, S_OK, "789"},
                 {STREAM_SEEK_SET, 20, S_OK, ""},
                 {STREAM_SEEK_SET, -1, STG_E_INVALIDFUNCTION, ""},
                 {9, 0, STG_E_INVALIDFUNCTION, ""}};
    for (const auto& seek : seeks) {
        LARGE_INTEGER move;
        move.QuadPart = seek.move;
        EXPECT_EQ(binary->Seek(move, seek.origin, nullptr), seek.result) << seek.move;
        EXPECT_EQ(ReadAll(binary.Get()), seek.rest) << seek.move;
    }
    EXPECT_EQ(binary->Write("x", 1, nullptr), STG_E_ACCESSDENIED) << "opened for reading";
}

TEST_F(Reading, OnlyPropertiesWithBytesOpenAsStreams) {
    TestItem item = Inbox().Item().Long(PR_IMPORTANCE, 1).Error(PR_BODY_W, E_FAIL);
    const ComPtr<IMessage> message = Open(item);
    const struct {
        ULONG tag;
        const IID* iid;
        ULONG flags;
        HRESULT result;
    } cases[] = {{PR_SUBJECT_W, &IID_IStream, 0, MAPI_E_NOT_FOUND},
                 {PR_IMPORTANCE, &IID_IStream, 0, MAPI_E_INTERFACE_NOT_SUPPORTED},
                 {PR_BODY_W, &IID_IStream, 0, E_FAIL},
                 {PR_MESSAGE_CLASS_W, &IID_IStreamDocfile, 0, MAPI_E_INTERFACE_NOT_SUPPORTED},
                 {PR_MESSAGE_CLASS_W, &IID_IMAPIFolder, 0, MAPI_E_INTERFACE_NOT_SUPPORTED},
                 {PR_SEARCH_KEY, &IID_IStream, MAPI_MODIFY, MAPI_E_COMPUTED},
                 {PR_MESSAGE_CLASS_W, nullptr, 0, MAPI_E_INVALID_PARAMETER}};
    for (const auto& c : cases) {
        ComPtr<IUnknown> object;
        EXPECT_EQ(message->OpenProperty(c.tag, c.iid, 0, c.flags, object.GetAddressOf()), c.result)
            << std::hex << c.tag;
        EXPECT_EQ(object, nullptr);
    }
}

TEST_F(Reading, NamesAreLookedUpAndMadeOnlyWhenAsked) {
    TestItem item = Inbox().Item().Named(base::kSetAppointment, 0x8215, true);
    const ComPtr<IMessage> message = Open(item);
    GUID set = {0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    GUID platformSet = PS_MAPI;
    wchar_t text[] = L"Weather";
    MAPINAMEID known{&set, MNID_ID, {}}, number{&set, MNID_ID, {}}, name{&set, MNID_STRING, {}},
        plain{&platformSet, MNID_ID, {}};
    known.Kind.lID = 0x8215;
    number.Kind.lID = 0x9999;
    name.Kind.lpwstrName = text;
    plain.Kind.lID = 0x37;
    MAPINAMEID* names[] = {&known, &number, &name, &plain};

    MapiBuffer<SPropTagArray> tags;
    EXPECT_EQ(message->GetIDsFromNames(4, names, 0, store::Out(tags)), MAPI_W_ERRORS_RETURNED);
    ASSERT_EQ(tags->cValues, 4u);
    EXPECT_EQ(tags->aulPropTag[0], item.NamedTag(base::kSetAppointment, 0x8215, PT_UNSPECIFIED));
    EXPECT_EQ(tags->aulPropTag[1], 0x0000000Au);
    EXPECT_EQ(tags->aulPropTag[2], 0x0000000Au);
    EXPECT_EQ(tags->aulPropTag[3], 0x00370000u);

    MapiBuffer<SPropTagArray> made;
    EXPECT_EQ(message->GetIDsFromNames(4, names, MAPI_CREATE, store::Out(made)), S_OK);
    EXPECT_EQ(made->aulPropTag[0], tags->aulPropTag[0]);
    EXPECT_NE(made->aulPropTag[1], made->aulPropTag[2]);
    MapiBuffer<SPropTagArray> again;
    EXPECT_EQ(message->GetIDsFromNames(4, names, 0, store::Out(again)), S_OK)
        << "made names are known from then on";

    ULONG count = 0;
    MapiBuffer<MAPINAMEID*> found;
    SPropTagArray* asked = made.get();
    EXPECT_EQ(message->GetNamesFromIDs(&asked, nullptr, 0, &count, store::Out(found)), MAPI_W_ERRORS_RETURNED)
        << "0x0037 has no name";
    ASSERT_EQ(count, 4u);
    EXPECT_EQ(found.get()[1]->Kind.lID, 0x9999);
    EXPECT_STREQ(found.get()[2]->Kind.lpwstrName, L"Weather");
    EXPECT_EQ(found.get()[3], nullptr);
}

TEST_F(Reading, EveryObjectAnswersWithTheNamesOfItsStore) {
    const TestStore archive = AddStore(L"Archive");
    TeachNames(archive, {{base::kSetAppointment, 0x820D}, {base::kSetAppointment, 0x8215}});
    TeachNames(Store(), {{base::kSetAppointment, 0x8215}, {base::kSetAppointment, 0, L"Weather"}});
    TestFolder calendar = archive.Root().Folder(L"Calendar");
    const ComPtr<IMessage> here = Open(Inbox().Item()), there = Open(calendar.Item());
    const ComPtr<IMAPIFolder> inbox = Open(Inbox()), folder = Open(calendar);
    const ComPtr<IMsgStore> first = Open(Store()), second = Open(archive);
    const struct {
        IMAPIProp* object;
        ULONG started;  // 0x820D
        ULONG allDay;   // 0x8215
    } cases[] = {{here.Get(), 0, 0x8000},        {inbox.Get(), 0, 0x8000},
                 {first.Get(), 0, 0x8000},       {there.Get(), 0x8000, 0x8001},
                 {folder.Get(), 0x8000, 0x8001}, {second.Get(), 0x8000, 0x8001}};
    const std::string signature = BytesOf(Get(first.Get(), {PR_MAPPING_SIGNATURE})[0].Value.bin);
    GUID set = {0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        MAPINAMEID started{&set, MNID_ID, {}}, allDay{&set, MNID_ID, {}};
        started.Kind.lID = 0x820D;
        allDay.Kind.lID = 0x8215;
        MAPINAMEID* names[] = {&started, &allDay};
        MapiBuffer<SPropTagArray> tags;
        EXPECT_EQ(c.object->GetIDsFromNames(2, names, 0, store::Out(tags)),
                  c.started != 0 ? S_OK : MAPI_W_ERRORS_RETURNED);
        EXPECT_EQ(PROP_ID(tags->aulPropTag[0]), c.started);
        EXPECT_EQ(PROP_ID(tags->aulPropTag[1]), c.allDay);
        SPropTagArray asked{1, {PROP_TAG(PT_BOOLEAN, c.allDay)}}, *list = &asked;
        ULONG count = 0;
        MapiBuffer<MAPINAMEID*> found;
        EXPECT_EQ(c.object->GetNamesFromIDs(&list, nullptr, 0, &count, store::Out(found)), S_OK);
        ASSERT_EQ(count, 1u);
        EXPECT_EQ(found.get()[0]->Kind.lID, 0x8215);
        EXPECT_EQ(BytesOf(Get(c.object, {PR_MAPPING_SIGNATURE})[0].Value.bin) == signature, c.started == 0)
            << "the signature tells whose names they are";
    }
}

TEST_F(Reading, ComputesWhatAHostExpects) {
    TestItem item = Inbox()
                        .Item()
                        .Subject(L"s")
                        .To(L"Ann", L"a@x")
                        .Cc(L"Bob", L"b@x")
                        .To(L"Cid", L"c@x")
                        .Attach(L"n", "data");
    Inbox().Folder(L"Sub");
    const ComPtr<IMessage> message = Open(item);
    const auto hex = [](std::string_view bytes) { return mailbox::ToWide(mailbox::ToHex(bytes)); };
    EXPECT_EQ(Shown(Get(message.Get(), {PR_ENTRYID, PR_PARENT_ENTRYID, PR_STORE_ENTRYID, PR_OBJECT_TYPE,
                                        PR_HASATTACH, PR_DISPLAY_TO_W, PR_DISPLAY_CC_W, PR_DISPLAY_BCC_W})),
              hex(item.IdBytes()) + L" " + hex(Inbox().Record().id) + L" " + hex(Store().Record().id) +
                  L" 5 true \"Ann; Cid\" \"Bob\" \"\"");
    const Values sizes = Get(message.Get(), {PR_MESSAGE_SIZE, PR_SEARCH_KEY});
    EXPECT_GT(sizes[0].Value.l, 4);
    EXPECT_EQ(sizes[1].Value.bin.cb, 16u);
    EXPECT_EQ(
        Shown(Get(Open(Inbox()).Get(), {PR_CONTENT_COUNT, PR_SUBFOLDERS, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE})),
        L"1 true \"Inbox\" 3");
    EXPECT_EQ(Shown(Get(Open(Store()).Get(), {PR_DEFAULT_STORE, PR_IPM_SUBTREE_ENTRYID, PR_SERVICE_UID})),
              L"true " + hex(Store().Root().Record().id) + L" " + hex(Store().Record().serviceUid));
}

TEST_F(Reading, OpensWhatAnIdentifierNamesAndNothingElse) {
    TestItem item = Inbox().Item();
    TestStore other = AddStore(L"Other");
    const ComPtr<IMsgStore> store = Open(Store());
    const auto open = [&](std::string id, const IID* iid, ULONG* type) {
        ComPtr<IUnknown> object;
        const HRESULT hr =
            store->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID*>(id.data()), iid, 0,
                             type, object.GetAddressOf());
        EXPECT_EQ(object != nullptr, hr == S_OK);
        return hr;
    };
    const struct {
        const char* what;
        std::string id;
        const IID* iid;
        HRESULT result;
        ULONG type;
    } cases[] = {
        {"an item", item.IdBytes(), &IID_IMessage, S_OK, MAPI_MESSAGE},
        {"an item by no interface", item.IdBytes(), nullptr, S_OK, MAPI_MESSAGE},
        {"a folder", Inbox().Record().id, &IID_IMAPIFolder, S_OK, MAPI_FOLDER},
        {"no identifier: the root", "", &IID_IMAPIFolder, S_OK, MAPI_FOLDER},
        {"a folder as a message", Inbox().Record().id, &IID_IMessage, MAPI_E_INTERFACE_NOT_SUPPORTED, 0},
        {"an item as a folder", item.IdBytes(), &IID_IMAPIFolder, MAPI_E_INTERFACE_NOT_SUPPORTED, 0},
        {"too short", "abcd", &IID_IMessage, MAPI_E_INVALID_ENTRYID, 0},
        {"one byte less", item.IdBytes().substr(1), &IID_IMessage, MAPI_E_NOT_FOUND, 0},
        {"another store's folder", other.Root().Record().id, &IID_IMAPIFolder, MAPI_E_NOT_FOUND, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ULONG type = 0;
        EXPECT_EQ(open(c.id, c.iid, &type), c.result);
        EXPECT_EQ(type, c.type);
    }
}

TEST_F(Reading, AddressBookGivesItsEntries) {
    mailbox::CProperties properties;
    properties.Text(PR_DISPLAY_NAME_W, L"Ann").Text(PROP_TAG(PT_UNICODE, 0x39FE), L"ann@example.org");
    std::string id = AddAddress(properties);
    ComPtr<IAddrBook> book;
    ASSERT_EQ(Session()->OpenAddressBook(0, nullptr, AB_NO_DIALOG, book.GetAddressOf()), S_OK);
    ComPtr<IUnknown> object;
    ULONG type = 0;
    const auto open = [&](std::string bytes) {
        return book->OpenEntry(static_cast<ULONG>(bytes.size()), reinterpret_cast<ENTRYID*>(bytes.data()),
                               nullptr, MAPI_BEST_ACCESS, &type, object.ReleaseAndGetAddressOf());
    };
    ASSERT_EQ(open(id), S_OK);
    EXPECT_EQ(type, MAPI_MAILUSER);
    ComPtr<IMAPIProp> entry;
    ASSERT_EQ(object->QueryInterface(IID_IMAPIProp, reinterpret_cast<void**>(entry.GetAddressOf())), S_OK);
    EXPECT_STREQ(Get(entry.Get(), {PROP_TAG(PT_STRING8, 0x39FE)})[0].Value.lpszA, "ann@example.org");
    EXPECT_EQ(SetText(entry.Get(), PR_DISPLAY_NAME_W, L"x"), MAPI_E_NO_ACCESS);
    EXPECT_EQ(open(id + "x"), MAPI_E_UNKNOWN_ENTRYID);
    EXPECT_EQ(open("abc"), MAPI_E_INVALID_ENTRYID);
}

}  // namespace
