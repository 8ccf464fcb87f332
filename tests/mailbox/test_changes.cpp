// Changes: what others see and when, conflicts, access, attachments and embedded messages, copies and moves.

#include <map>
#include <random>

#include "mailbox/CDatabase.h"
#include "store/named_properties.h"
#include "tests/mailbox/values.h"
#include "tests/support/MailboxFixture.h"

using store::ComPtr;
using store::MapiBuffer;

namespace {

class Changes : public MailboxTest {
  protected:
    HRESULT Copy(const TestItem& item, TestFolder from, TestFolder to, ULONG flags) {
        const ComPtr<IMAPIFolder> source = Open(from);
        const ComPtr<IMAPIFolder> target = Open(to);
        std::string id = item.IdBytes();
        SBinary entry{static_cast<ULONG>(id.size()), reinterpret_cast<BYTE*>(id.data())};
        SBinaryArray list{1, &entry};
        return source->CopyMessages(&list, nullptr, target.Get(), 0, nullptr, flags);
    }
};

TEST_F(Changes, AreSeenByOthersOnlyAfterSaveChanges) {
    TestItem item = Inbox().Item().Subject(L"old");
    const ComPtr<IMessage> writer = Open(item);
    const ComPtr<IMessage> before = Open(item);
    ASSERT_EQ(SetText(writer.Get(), PR_SUBJECT_W, L"new"), S_OK);
    EXPECT_EQ(GetText(writer.Get(), PR_SUBJECT_W), L"new");
    EXPECT_EQ(GetText(Open(item).Get(), PR_SUBJECT_W), L"old");
    ASSERT_EQ(writer->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(GetText(Open(item).Get(), PR_SUBJECT_W), L"new");
    EXPECT_EQ(GetText(before.Get(), PR_SUBJECT_W), L"old") << "an open message keeps what it was opened with";
    EXPECT_TRUE(Database().dirty);

    ASSERT_EQ(SetText(before.Get(), PR_SUBJECT_W, L"late"), S_OK);
    EXPECT_EQ(before->SaveChanges(0), MAPI_E_OBJECT_CHANGED) << "another save came in between";
    EXPECT_EQ(GetText(Open(item).Get(), PR_SUBJECT_W), L"new");
    EXPECT_EQ(before->SaveChanges(FORCE_SAVE), S_OK);
    EXPECT_EQ(GetText(Open(item).Get(), PR_SUBJECT_W), L"late");
}

TEST_F(Changes, SavingSetsTheTimeAndRefreshesWhatIsComputed) {
    TestItem item = Inbox()
                        .Item()
                        .Time(PR_LAST_MODIFICATION_TIME, Utc(2001, 1, 1))
                        .Bool(PR_HASATTACH, true)
                        .Long(PR_MESSAGE_SIZE, 7);
    const ComPtr<IMessage> message = Open(item);
    EXPECT_EQ(message->SaveChanges(0), S_OK);
    EXPECT_EQ(item.Properties().Find(PROP_ID(PR_MESSAGE_SIZE)) != nullptr, true)
        << "nothing changed, nothing saved";
    ASSERT_EQ(SetText(message.Get(), PR_SUBJECT_W, L"x"), S_OK);
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    const Values got = Get(Open(item).Get(), {PR_LAST_MODIFICATION_TIME, PR_HASATTACH, PR_MESSAGE_SIZE});
    const FILETIME old = Utc(2020, 1, 1);
    EXPECT_GT(CompareFileTime(&got[0].Value.ft, &old), 0);
    EXPECT_EQ(got[1].Value.b, 0);
    EXPECT_NE(got[2].Value.l, 7);
}

TEST_F(Changes, NeedAccess) {
    TestItem item = Inbox().Item().Subject(L"s").Attach(L"a", "data");
    const ComPtr<IMessage> message = Open(item, 0);
    ULONG number = 0;
    ComPtr<IAttach> attach;
    ComPtr<IUnknown> stream;
    EXPECT_EQ(SetText(message.Get(), PR_SUBJECT_W, L"x"), MAPI_E_NO_ACCESS);
    EXPECT_EQ(message->DeleteProps(Tags{PR_SUBJECT_W}, nullptr), MAPI_E_NO_ACCESS);
    EXPECT_EQ(message->SaveChanges(0), MAPI_E_NO_ACCESS);
    EXPECT_EQ(message->CreateAttach(nullptr, 0, &number, attach.GetAddressOf()), MAPI_E_NO_ACCESS);
    EXPECT_EQ(message->DeleteAttach(0, 0, nullptr, 0), MAPI_E_NO_ACCESS);
    EXPECT_EQ(message->OpenProperty(PR_SUBJECT_W, &IID_IStream, 0, MAPI_MODIFY, stream.GetAddressOf()),
              MAPI_E_NO_ACCESS);
    const ComPtr<IMessage> writable = Open(item);
    ASSERT_EQ(writable->OpenAttach(0, nullptr, 0, attach.GetAddressOf()), S_OK);
    EXPECT_EQ(SetText(attach.Get(), PR_DISPLAY_NAME_W, L"x"), MAPI_E_NO_ACCESS)
        << "attachments open for reading by default";
}

TEST_F(Changes, RefuseWhatCannotBeSetAndSetTheRest) {
    const ComPtr<IMessage> message = Open(Inbox().Item());
    wchar_t text[] = L"x";
    SPropValue values[6]{};
    const ULONG tags[] = {
        PR_SUBJECT_W, PR_ENTRYID, 0x0000000B, PROP_TAG(PT_BOOLEAN, 0x8765), PROP_TAG(0x0033, 0x6801),
        PR_BODY_W};
    for (size_t index = 0; index < std::size(tags); ++index) values[index].ulPropTag = tags[index];
    values[0].Value.lpszW = text;
    MapiBuffer<SPropProblemArray> problems;
    ASSERT_EQ(message->SetProps(6, values, store::Out(problems)), S_OK);
    const struct {
        ULONG index;
        SCODE error;
    } expected[] = {{1, MAPI_E_COMPUTED},
                    {2, MAPI_E_UNEXPECTED_ID},
                    {3, MAPI_E_UNEXPECTED_ID},
                    {4, MAPI_E_INVALID_TYPE},
                    {5, MAPI_E_INVALID_TYPE}};
    ASSERT_EQ(problems->cProblem, std::size(expected));
    for (size_t index = 0; index < std::size(expected); ++index) {
        EXPECT_EQ(problems->aProblem[index].ulIndex, expected[index].index);
        EXPECT_EQ(problems->aProblem[index].scode, expected[index].error);
    }
    EXPECT_EQ(GetText(message.Get(), PR_SUBJECT_W), L"x");
}

TEST_F(Changes, EveryTypeComesBackAsItWasSet) {
    const ComPtr<IMessage> message = Open(Inbox().Item());
    short shorts[] = {1, -2};
    double doubles[] = {0.5, -1e300};
    GUID guids[] = {IID_IMessage, IID_IStream};
    BYTE bytes[] = {1, 0, 2};
    SBinary binaries[] = {{3, bytes}, {0, nullptr}};
    wchar_t wide[] = L"\xD83D\xDE00\xD800z";
    wchar_t* texts[] = {wide, wide + 1};
    std::vector<SPropValue> values;
    const auto add = [&](ULONG type) -> __UPV& {
        SPropValue value{};
        value.ulPropTag = PROP_TAG(type, 0x6800 + values.size());
        values.push_back(value);
        return values.back().Value;
    };
    add(PT_I2).i = -3;
    add(PT_LONG).l = -70000;
    add(PT_R4).flt = 1.5f;
    add(PT_DOUBLE).dbl = -2.25;
    add(PT_CURRENCY).cur.int64 = -12345678901;
    add(PT_APPTIME).at = 45000.5;
    add(PT_BOOLEAN).b = 1;
    add(PT_I8).li.QuadPart = MINLONGLONG;
    add(PT_SYSTIME).ft = Utc(2023, 7, 10, 13, 30);
    add(PT_CLSID).lpguid = &guids[0];
    add(PT_UNICODE).lpszW = wide;
    add(PT_BINARY).bin = binaries[0];
    add(PT_MV_I2).MVi = {2, shorts};
    add(PT_MV_DOUBLE).MVdbl = {2, doubles};
    add(PT_MV_CLSID).MVguid = {2, guids};
    add(PT_MV_BINARY).MVbin = {2, binaries};
    add(PT_MV_UNICODE).MVszW = {2, texts};
    MapiBuffer<SPropProblemArray> problems;
    ASSERT_EQ(message->SetProps(static_cast<ULONG>(values.size()), values.data(), store::Out(problems)),
              S_OK);
    ASSERT_EQ(problems, nullptr);
    const auto get = [&](size_t index) { return Get(message.Get(), {values[index].ulPropTag}); };
    for (size_t index = 0; index <= 8; ++index)
        EXPECT_EQ(get(index)[0].Value.li.QuadPart, values[index].Value.li.QuadPart) << index;
    EXPECT_EQ(*get(9)[0].Value.lpguid, guids[0]);
    EXPECT_STREQ(get(10)[0].Value.lpszW, wide) << "a lone surrogate survives";
    EXPECT_EQ(BytesOf(get(11)[0].Value.bin), std::string("\1\0\2", 3));
    EXPECT_EQ(get(12)[0].Value.MVi.lpi[1], -2);
    EXPECT_EQ(get(13)[0].Value.MVdbl.lpdbl[1], -1e300);
    EXPECT_EQ(get(14)[0].Value.MVguid.lpguid[1], guids[1]);
    EXPECT_EQ(get(15)[0].Value.MVbin.lpbin[1].cb, 0u);
    EXPECT_STREQ(get(16)[0].Value.MVszW.lppszW[1], wide + 1);
}

TEST_F(Changes, StreamsWriteWithCommit) {
    TestItem item = Inbox().Item().Body(L"before");
    const ComPtr<IMessage> message = Open(item);
    ComPtr<IStream> stream = OpenStream(message.Get(), PR_BODY_W, MAPI_CREATE | MAPI_MODIFY);
    ASSERT_NE(stream, nullptr);
    const std::wstring text(10000, L'é');
    EXPECT_EQ(stream->Write(text.data(), static_cast<ULONG>(text.size() * 2), nullptr), S_OK);
    EXPECT_EQ(GetText(message.Get(), PR_BODY_W), L"before") << "not committed yet";
    ASSERT_EQ(stream->Commit(0), S_OK);
    EXPECT_EQ(GetText(Open(item).Get(), PR_BODY_W), L"before") << "not saved yet";
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    EXPECT_EQ(ReadAll(OpenStream(Open(item).Get(), PR_BODY_A).Get()), std::string(10000, '\xE9'));
    // Without MAPI_CREATE the stream begins with what is there.
    stream = OpenStream(message.Get(), PR_BODY_A, MAPI_MODIFY);
    ULARGE_INTEGER size;
    size.QuadPart = 3;
    ASSERT_EQ(stream->SetSize(size), S_OK);
    ASSERT_EQ(stream->Commit(0), S_OK);
    EXPECT_EQ(GetText(message.Get(), PR_BODY_W), L"ééé");
    EXPECT_EQ(OpenStream(message.Get(), PR_SENDER_NAME_W, MAPI_MODIFY), nullptr);
    EXPECT_NE(OpenStream(message.Get(), PR_SENDER_NAME_W, MAPI_CREATE | MAPI_MODIFY), nullptr)
        << "what is not there is made";
}

TEST_F(Changes, AttachmentsComeWithTheirOwnSaveAndTheMessages) {
    TestItem item = Inbox().Item().Attach(L"first", "1");
    const ComPtr<IMessage> message = Open(item);
    const auto count = [&](IMessage* of) {
        ComPtr<IMAPITable> table;
        ULONG rows = 99;
        EXPECT_EQ(of->GetAttachmentTable(0, table.GetAddressOf()), S_OK);
        EXPECT_EQ(table->GetRowCount(0, &rows), S_OK);
        return rows;
    };
    ULONG number = 0;
    ComPtr<IAttach> attach;
    ASSERT_EQ(message->CreateAttach(nullptr, 0, &number, attach.GetAddressOf()), S_OK);
    EXPECT_EQ(number, 1u);
    ASSERT_EQ(SetText(attach.Get(), PR_DISPLAY_NAME_W, L"second"), S_OK);
    EXPECT_EQ(count(message.Get()), 1u);
    ASSERT_EQ(attach->SaveChanges(0), S_OK);
    EXPECT_EQ(count(message.Get()), 2u);
    EXPECT_EQ(count(Open(item).Get()), 1u);
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    EXPECT_EQ(count(Open(item).Get()), 2u);

    EXPECT_EQ(message->DeleteAttach(7, 0, nullptr, 0), MAPI_E_NOT_FOUND);
    ASSERT_EQ(message->DeleteAttach(0, 0, nullptr, 0), S_OK);
    EXPECT_EQ(count(message.Get()), 1u);
    ASSERT_EQ(message->CreateAttach(nullptr, 0, &number, attach.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(number, 2u) << "numbers are not given twice";
}

TEST_F(Changes, EmbeddedMessagesOpenChangeAndCopy) {
    TestItem inner = Inbox().Item().Subject(L"inner").Attach(L"deep", "x");
    TestItem item = Inbox().Item().AttachMessage(L"mail", inner);
    const ComPtr<IMessage> message = Open(item);
    ComPtr<IAttach> attach;
    ASSERT_EQ(message->OpenAttach(0, nullptr, MAPI_BEST_ACCESS, attach.GetAddressOf()), S_OK);
    ComPtr<IMessage> embedded;
    const auto open = [&](IAttach* of, ULONG flags) {
        return of->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, flags,
                                reinterpret_cast<IUnknown**>(embedded.ReleaseAndGetAddressOf()));
    };
    ASSERT_EQ(open(attach.Get(), MAPI_MODIFY), S_OK);
    EXPECT_EQ(GetText(embedded.Get(), PR_SUBJECT_W), L"inner");
    EXPECT_EQ(Get(embedded.Get(), {PR_ENTRYID}).result, MAPI_W_ERRORS_RETURNED)
        << "an embedded message has no identifier";
    EXPECT_GT(Get(embedded.Get(), {PR_MESSAGE_SIZE})[0].Value.l, 0);
    ASSERT_EQ(SetText(embedded.Get(), PR_SUBJECT_W, L"changed"), S_OK);
    ASSERT_EQ(embedded->SaveChanges(0), S_OK);
    ASSERT_EQ(attach->SaveChanges(0), S_OK);
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    EXPECT_EQ(OpenStream(attach.Get(), PR_ATTACH_DATA_OBJ), nullptr) << "a message is no stream";

    // Onto an attachment of another store: the named properties change their identifiers on the way.
    TestFolder elsewhere = AddStore(L"Other").Root();
    const ComPtr<IMessage> target = Open(elsewhere.Item());
    ULONG number = 0;
    ComPtr<IAttach> copy;
    ASSERT_EQ(target->CreateAttach(nullptr, 0, &number, copy.GetAddressOf()), S_OK);
    ASSERT_EQ(attach->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IAttachment, copy.Get(), 0, nullptr),
              S_OK);
    ASSERT_EQ(copy->SaveChanges(0), S_OK);
    ASSERT_EQ(open(copy.Get(), 0), S_OK);
    EXPECT_EQ(GetText(embedded.Get(), PR_SUBJECT_W), L"changed");
    EXPECT_EQ(GetText(copy.Get(), PR_DISPLAY_NAME_W), L"mail");
    EXPECT_EQ(Get(copy.Get(), {PR_ATTACH_NUM})[0].Value.l, 0);
}

TEST_F(Changes, OleDataOpensAsStructuredStorageOnly) {
    mailbox::CProperties ole;
    ole.Long(PR_ATTACH_METHOD, ATTACH_OLE).Object(PR_ATTACH_DATA_OBJ, "docfile");
    const ComPtr<IMessage> message = Open(Inbox().Item().Attach(ole).Attach(L"plain", "data"));
    for (const ULONG number : {0u, 1u}) {
        ComPtr<IAttach> attach;
        ComPtr<IUnknown> stream;
        ASSERT_EQ(message->OpenAttach(number, nullptr, 0, attach.GetAddressOf()), S_OK);
        const ULONG tag = number == 0 ? PR_ATTACH_DATA_OBJ : PR_ATTACH_DATA_BIN;
        EXPECT_EQ(attach->OpenProperty(tag, &IID_IStreamDocfile, 0, 0, stream.GetAddressOf()),
                  number == 0 ? S_OK : MAPI_E_INTERFACE_NOT_SUPPORTED);
        EXPECT_EQ(ReadAll(OpenStream(attach.Get(), tag).Get()), number == 0 ? "docfile" : "data");
    }
}

TEST_F(Changes, CopyToLeavesOutWhatIsExcluded) {
    TestItem source =
        Inbox().Item(L"IPM.Contact").Subject(L"s").Body(L"b").To(L"Ann", L"a").Attach(L"n", "d");
    const ComPtr<IMessage> from = Open(source);
    const struct {
        std::vector<ULONG> excluded;
        ULONG flags;
        const wchar_t* body;
        ULONG attachments, recipients;
    } cases[] = {{{}, 0, L"b", 1, 1},
                 {{PR_BODY_A, PR_MESSAGE_ATTACHMENTS}, 0, L"own", 0, 1},
                 {{PR_MESSAGE_RECIPIENTS}, 0, L"b", 1, 0},
                 {{PR_MESSAGE_CLASS}, MAPI_NOREPLACE, L"own", 1, 1}};
    for (const auto& c : cases) {
        TestItem target = Inbox().Item(L"IPM.Contact").Body(L"own");
        const ComPtr<IMessage> to = Open(target);
        std::vector<ULONG> excluded{static_cast<ULONG>(c.excluded.size())};
        excluded.insert(excluded.end(), c.excluded.begin(), c.excluded.end());
        ASSERT_EQ(from->CopyTo(0, nullptr, reinterpret_cast<SPropTagArray*>(excluded.data()), 0, nullptr,
                               &IID_IMessage, to.Get(), c.flags, nullptr),
                  S_OK);
        ASSERT_EQ(to->SaveChanges(0), S_OK);
        EXPECT_EQ(GetText(Open(target).Get(), PR_MESSAGE_CLASS_W), L"IPM.Contact");
        EXPECT_EQ(GetText(Open(target).Get(), PR_BODY_W), c.body);
        EXPECT_EQ(target.Record().data->attachments.size(), c.attachments);
        EXPECT_EQ(target.Record().data->recipients.size(), c.recipients);
    }
    EXPECT_EQ(from->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMAPIFolder, from.Get(), 0, nullptr),
              MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_EQ(from->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMessage, from.Get(), 0, nullptr),
              MAPI_E_NO_ACCESS);
}

TEST_F(Changes, MoveGivesANewIdentifierAndKeepsTheSearchKey) {
    TestFolder other = Store().Root().Folder(L"Other");
    TestFolder elsewhere = AddStore(L"Elsewhere").Root();
    // Names that the stores number differently.
    Inbox().Item().Named(base::kSetAppointment, 0x820D, Utc(2024, 1, 1));
    elsewhere.Item().Named(base::kSetTask, 0x8101, LONG{1});
    for (TestFolder target : {other, elsewhere}) {
        for (const ULONG flags : {0ul, MESSAGE_MOVE}) {
            TestItem item =
                Inbox().Item().Subject(L"s").NamedBinary(base::kSetAddress, 0x8085, "ab").Attach(L"a", "x");
            const Values key = Get(Open(item).Get(), {PR_SEARCH_KEY});
            const std::string id = item.IdBytes();
            const size_t before = target.Record().items.size();
            ASSERT_EQ(Copy(item, Inbox(), target, flags), S_OK);
            ASSERT_EQ(target.Record().items.size(), before + 1);
            TestItem moved(target.Record().store, target.Record().items.back().get());
            EXPECT_NE(moved.IdBytes(), id);
            const ComPtr<IMessage> message = Open(moved);
            EXPECT_EQ(BytesOf(Get(message.Get(), {PR_SEARCH_KEY})[0].Value.bin), BytesOf(key[0].Value.bin));
            EXPECT_EQ(
                BytesOf(
                    Get(message.Get(), {moved.NamedTag(base::kSetAddress, 0x8085, PT_BINARY)})[0].Value.bin),
                "ab");
            EXPECT_EQ(Store().Record().itemsById.Contains(id), flags == 0);
            ASSERT_EQ(Copy(moved, target, Inbox(), MESSAGE_MOVE), S_OK);
            TestItem back(&Store().Record(), Inbox().Record().items.back().get());
            EXPECT_EQ(BytesOf(Get(Open(back).Get(), {PR_SEARCH_KEY})[0].Value.bin),
                      BytesOf(key[0].Value.bin));
        }
    }
}

TEST(ItemIndex, HoldsWhatWasAddedAndNotRemoved) {
    mailbox::CItemIndex index;
    std::map<std::string, std::shared_ptr<mailbox::TItem>> expected;
    std::mt19937 random(1);
    for (int step = 0; step < 6000; ++step) {
        // Grows, shrinks and grows again.
        const std::string id = "item " + std::to_string(random() % (step < 3000 ? 300 : 40));
        if (random() % 2 == 0) {
            auto item = std::make_shared<mailbox::TItem>();
            item->id = id;
            EXPECT_EQ(index.Add(item), expected.try_emplace(id, item).second) << id;
        } else {
            index.Remove(id);
            expected.erase(id);
        }
        for (int i = 0; step % 50 == 0 && i < 300; ++i) {
            const std::string asked = "item " + std::to_string(i);
            const auto known = expected.find(asked);
            ASSERT_EQ(index.Find(asked), known == expected.end() ? nullptr : known->second)
                << asked << " after step " << step;
        }
    }
}

TEST_F(Changes, CopyMessagesSaysWhatItCouldNotDo) {
    TestFolder other = Store().Root().Folder(L"Other");
    TestItem here = Inbox().Item();
    TestItem there = other.Item();
    EXPECT_EQ(Copy(there, Inbox(), other, MESSAGE_MOVE), MAPI_E_NOT_FOUND)
        << "not an item of the source folder";
    const ComPtr<IMAPIFolder> source = Open(Inbox());
    const ComPtr<IMAPIFolder> target = Open(other);
    std::string ids[] = {here.IdBytes(), there.IdBytes()};
    SBinary entries[2];
    for (size_t index = 0; index < 2; ++index)
        entries[index] = {static_cast<ULONG>(ids[index].size()), reinterpret_cast<BYTE*>(ids[index].data())};
    SBinaryArray list{2, entries};
    EXPECT_EQ(source->CopyMessages(&list, nullptr, target.Get(), 0, nullptr, MESSAGE_MOVE),
              MAPI_W_PARTIAL_COMPLETION);
    EXPECT_TRUE(Inbox().Record().items.empty());

    TestFolder full = AddStore(L"A store with all the names that it can have").Root();
    mailbox::TName name{PS_PUBLIC_STRINGS, true, 0, {}};
    while (full.Record().store->names.FindOrAdd(name) != 0) ++name.number;
    TestItem named = Inbox().Item().Named(base::kSetAddress, 0x8005, L"x");
    EXPECT_EQ(Copy(named, Inbox(), full, MESSAGE_MOVE), MAPI_E_NOT_ENOUGH_RESOURCES);
    EXPECT_TRUE(full.Record().items.empty());
    EXPECT_EQ(Inbox().Record().items.size(), 1u) << "what cannot be copied stays";
    EXPECT_EQ(source->CopyMessages(nullptr, nullptr, target.Get(), 0, nullptr, 0), MAPI_E_INVALID_PARAMETER);
}

TEST_F(Changes, AnOpenMessageOutlivesItsItem) {
    TestItem item = Inbox().Item().Subject(L"s");
    const ComPtr<IMessage> message = Open(item);
    ASSERT_EQ(SetText(message.Get(), PR_SUBJECT_W, L"x"), S_OK);
    std::string id = item.IdBytes();
    SBinary entry{static_cast<ULONG>(id.size()), reinterpret_cast<BYTE*>(id.data())};
    SBinaryArray list{1, &entry};
    ASSERT_EQ(Open(Inbox())->DeleteMessages(&list, 0, nullptr, 0), S_OK);
    EXPECT_EQ(message->SaveChanges(0), MAPI_E_OBJECT_DELETED);
    EXPECT_EQ(GetText(message.Get(), PR_SUBJECT_W), L"x");
}

TEST_F(Changes, NewMessagesAndFoldersAppear) {
    const ComPtr<IMAPIFolder> inbox = Open(Inbox());
    ComPtr<IMessage> message;
    ASSERT_EQ(inbox->CreateMessage(nullptr, 0, message.GetAddressOf()), S_OK);
    EXPECT_TRUE(Inbox().Record().items.empty());
    ASSERT_EQ(SetText(message.Get(), PR_SUBJECT_W, L"new"), S_OK);
    ASSERT_EQ(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    ASSERT_EQ(Inbox().Record().items.size(), 1u);
    EXPECT_EQ(BytesOf(Get(message.Get(), {PR_ENTRYID})[0].Value.bin), Inbox().Record().items[0]->id);
    ASSERT_EQ(SetText(message.Get(), PR_SUBJECT_W, L"newer"), S_OK);
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    EXPECT_EQ(Inbox().Record().items.size(), 1u);

    ComPtr<IMAPIFolder> made, again;
    wchar_t name[] = L"Duplicates", sameName[] = L"duplicates";
    const auto create = [&](wchar_t* text, ULONG flags, ComPtr<IMAPIFolder>& out) {
        return inbox->CreateFolder(FOLDER_GENERIC, text, nullptr, nullptr, MAPI_UNICODE | flags,
                                   out.ReleaseAndGetAddressOf());
    };
    ASSERT_EQ(create(name, 0, made), S_OK);
    EXPECT_EQ(GetText(made.Get(), PR_CONTAINER_CLASS_W), L"IPF.Note");
    EXPECT_EQ(create(sameName, 0, again), MAPI_E_COLLISION);
    ASSERT_EQ(create(sameName, OPEN_IF_EXISTS, again), S_OK);
    EXPECT_EQ(GetText(again.Get(), PR_DISPLAY_NAME_W), L"Duplicates");

    TestFolder folder(&Database(), Inbox().Record().folders[0].get());
    folder.Item();
    std::string id = folder.Record().id;
    auto* entry = reinterpret_cast<ENTRYID*>(id.data());
    EXPECT_EQ(inbox->DeleteFolder(static_cast<ULONG>(id.size()), entry, 0, nullptr, 0), MAPI_E_HAS_MESSAGES);
    EXPECT_EQ(inbox->DeleteFolder(static_cast<ULONG>(id.size()), entry, 0, nullptr, DEL_MESSAGES), S_OK);
    ComPtr<IMAPITable> table;
    EXPECT_EQ(made->GetContentsTable(0, table.GetAddressOf()), MAPI_E_OBJECT_DELETED);
}

TEST_F(Changes, ModifyRecipientsReplacesOrAdds) {
    TestItem item = Inbox().Item().To(L"Ann", L"a@x");
    const ComPtr<IMessage> message = Open(item);
    wchar_t name[] = L"Bob";
    SPropValue values[2]{};
    values[0].ulPropTag = PR_DISPLAY_NAME_W;
    values[0].Value.lpszW = name;
    values[1].ulPropTag = PR_RECIPIENT_TYPE;
    values[1].Value.l = MAPI_CC;
    ADRLIST list{1, {{0, 2, values}}};
    ASSERT_EQ(message->ModifyRecipients(MODRECIP_ADD, &list), S_OK);
    EXPECT_STREQ(Get(message.Get(), {PR_DISPLAY_CC_W})[0].Value.lpszW, L"Bob");
    ASSERT_EQ(message->ModifyRecipients(0, &list), S_OK);
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    EXPECT_EQ(item.Record().data->recipients.size(), 1u);
    EXPECT_EQ(message->ModifyRecipients(MODRECIP_REMOVE, &list), MAPI_E_NO_SUPPORT);
}

TEST_F(Changes, EndWithTheLastSession) {
    TestItem item = Inbox().Item();
    const ComPtr<IMessage> message = Open(item);
    ASSERT_EQ(SetText(message.Get(), PR_SUBJECT_W, L"x"), S_OK);
    Logoff();
    EXPECT_EQ(message->SaveChanges(0), MAPI_E_END_OF_SESSION) << "it would never be written";
}

}  // namespace
