// Attachments, the contact's photo, finding and moving items.

#include <mapitags.h>

#include <cstring>

#include "base/mapi_extra.h"
#include "quorvel.h"
#include "store/attachment_copy.h"
#include "store/attachments.h"
#include "store/contact_photo.h"
#include "store/named_properties.h"
#include "store/properties.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"

using enum logging::ESeverity;
using store::ComPtr;
using store::MapiBuffer;

namespace {

constexpr LONG kHasPhoto = 0x8015;

struct Flags {
    bool photo = false;
    bool hidden = false;
};
mailbox::CProperties Picture(const char* data, Flags flags) {
    mailbox::CProperties properties;
    properties.Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE).Text(PR_DISPLAY_NAME_W, L"picture.jpg");
    properties.Binary(PR_ATTACH_DATA_BIN, data).Long(PR_RENDERING_POSITION, 12);
    if (flags.photo) properties.Bool(PR_ATTACHMENT_CONTACTPHOTO, true);
    if (flags.hidden) properties.Bool(PR_ATTACHMENT_HIDDEN, true);
    return properties;
}

class Attachments : public MailboxTest {
  protected:
    std::vector<long> Numbers(IMessage* message) {
        MapiBuffer<long> numbers;
        ULONG count = 77;
        EXPECT_EQ(store::GetAttachments(message, store::Out(numbers), &count), S_OK);
        EXPECT_EQ(numbers == nullptr, count == 0);
        return {numbers.get(), numbers.get() + count};
    }
    /// "data" or, with flag and position, "data photo 12": what an attachment is by now.
    std::string Describe(IMessage* message, long number) {
        ComPtr<IAttach> attachment;
        EXPECT_EQ(Quorvel_OpenAttachment(message, number, &attachment), S_OK);
        MapiBuffer<SPropValue> data, position;
        store::GetPropValue(attachment.Get(), PR_ATTACH_DATA_BIN, store::Out(data));
        store::GetPropValue(attachment.Get(), PR_RENDERING_POSITION, store::Out(position));
        ULONG photo = 0;
        EXPECT_EQ(store::Attach_IsContactPhoto_get(attachment.Get(), &photo), S_OK);
        const SBinary& bytes = data->Value.bin;
        return std::string(reinterpret_cast<char*>(bytes.lpb), bytes.cb) + (photo ? " photo " : " ") +
               std::to_string(position->Value.l);
    }
    std::vector<std::string> Describe(const TestItem& item) {
        ComPtr<IMessage> message = Open(item);
        std::vector<std::string> all;
        for (const long number : Numbers(message.Get())) all.push_back(Describe(message.Get(), number));
        return all;
    }
};

TEST_F(Attachments, AreListedOnlyWhenTheItemSaysSo) {
    TestItem item = Inbox().Item().Attach(L"a", "1").Attach(L"b", "22");
    ComPtr<IMessage> message = Open(item);
    EXPECT_EQ(Numbers(message.Get()), (std::vector<long>{0, 1}));
    EXPECT_EQ(Numbers(Open(Inbox().Item()).Get()), std::vector<long>());

    // The flag without rows, the flag missing, rows without a number.
    mailbox::calls::Fail({.method = "IMAPITable::GetRowCount", .result = S_OK, .perform = false});
    CapturedLog log;
    EXPECT_EQ(Numbers(message.Get()), std::vector<long>());
    EXPECT_EQ(log.Lines(), LogLines());
    item.Error(PR_HASATTACH, MAPI_E_NOT_FOUND);
    EXPECT_EQ(Numbers(Open(item).Get()), std::vector<long>());
}

TEST_F(Attachments, RowWithoutANumberIsSkipped) {
    TestItem item = Inbox().Item();
    mailbox::CProperties nameless = Picture("1", {});
    nameless.Error(PR_ATTACH_NUM, MAPI_E_NO_ACCESS);
    item.Attach(nameless).Attach(L"b", "22");
    ComPtr<IMessage> message = Open(item);
    CapturedLog log;
    EXPECT_EQ(Numbers(message.Get()), std::vector<long>{1});
    EXPECT_EQ(log.Lines(),
              LogLines({{sevError, "Quorvel_GetAttachments", "pProps[0].ulPropTag = 0xe21000a\n"}}));
}

TEST_F(Attachments, SizesAddUp) {
    const auto sized = [](ULONG size) { return Picture("x", {}).Long(PR_ATTACH_SIZE, size); };
    TestItem item = Inbox().Item();
    item.Attach(sized(100)).Attach(Picture("x", {}).Error(PR_ATTACH_SIZE, MAPI_E_NO_ACCESS));
    item.Attach(sized(23).Error(PR_DISPLAY_NAME_W, MAPI_E_NOT_FOUND));
    ULONG total = 77;
    CapturedLog log(3);
    EXPECT_EQ(store::GetAttachmentsSize(Open(item).Get(), &total), S_OK);
    EXPECT_EQ(total, 123u);
    EXPECT_EQ(
        log.Lines(),
        LogLines({{sevInfo, "Quorvel_GetAttachmentsSize", "DisplayName = \"picture.jpg\", Size = 100\n"},
                  {sevError, "Quorvel_GetAttachmentsSize", "Row[1].Prop[0].Type == PT_ERROR\n"},
                  {sevInfo, "Quorvel_GetAttachmentsSize", "DisplayName = \"Error\", Size = 23\n"}}));
    EXPECT_EQ(store::GetAttachmentsSize(Open(Inbox().Item()).Get(), &total), S_OK);
    EXPECT_EQ(total, 0u);
}

TEST_F(Attachments, CopyIsNeverAPhotoAndKeepsOnlyAHiddenPosition) {
    const struct {
        Flags flags;
        const char* copy;
    } cases[] = {{{}, "data -1"},
                 {{.photo = true}, "data -1"},
                 {{.hidden = true}, "data 12"},
                 {{true, true}, "data 12"}};
    for (const auto& [flags, copy] : cases) {
        TestItem source = Inbox().Item().Attach(Picture("other", {})).Attach(Picture("data", flags));
        TestItem target = Inbox().Item().Attach(Picture("before", {}));
        ComPtr<IMessage> message = Open(target);
        ULONG number = 77;
        CapturedLog log;
        EXPECT_EQ(Quorvel_CopyAttachment(message.Get(), &number, Open(source).Get(), 1, 0), S_OK);
        EXPECT_EQ(Describe(message.Get(), static_cast<long>(number)), copy);
        EXPECT_EQ(Describe(target), std::vector<std::string>{"before 12"})
            << "the target was not to be saved";
        EXPECT_EQ(Quorvel_CopyAttachment(message.Get(), &number, Open(source).Get(), 1, 1), S_OK);
        EXPECT_EQ(Describe(target), (std::vector<std::string>{"before 12", copy, copy}));
        EXPECT_EQ(log.Lines(), LogLines());
    }
}

TEST_F(Attachments, DeletionIsSavedWithTheItemWhereThatIsAskedFor) {
    TestItem item = Inbox().Item().Attach(Picture("data", {}));
    for (const int save : {0, 1}) {
        EXPECT_EQ(Quorvel_DeleteAttachment(Open(item).Get(), 0, save), S_OK);
        EXPECT_EQ(Describe(item).size(), save ? 0u : 1u);
    }
}

// The rule by which both flags of an attachment and the contact's flag are read.
TEST_F(Attachments, ReadingAFlag) {
    const struct {
        const char* what;
        std::optional<HRESULT> error, result;
        HRESULT expected;
        const char* line;
    } cases[] = {
        {"missing", MAPI_E_NOT_FOUND, {}, S_OK, nullptr},
        {"not to be read", MAPI_E_NO_ACCESS, {}, MAPI_W_ERRORS_RETURNED, "lpValue->Value.err = 0x80070005\n"},
        {"a warning with a value", {}, MAPI_W_ERRORS_RETURNED, MAPI_W_ERRORS_RETURNED, nullptr},
        {"another failure", {}, MAPI_E_CALL_FAILED, MAPI_E_CALL_FAILED, "GetPropValue return 0x80004005\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        mailbox::CProperties properties = Picture("data", {true, true});
        TestItem contact = Inbox().Item().Named(base::kSetAddress, kHasPhoto, true);
        if (c.error) {
            properties.Error(PR_ATTACHMENT_HIDDEN, *c.error).Error(PR_ATTACHMENT_CONTACTPHOTO, *c.error);
            contact.Error(contact.NamedTag(base::kSetAddress, kHasPhoto, PT_BOOLEAN), *c.error);
        }
        ComPtr<IMessage> message = Open(contact.Attach(properties));
        ComPtr<IAttach> attachment;
        ASSERT_EQ(Quorvel_OpenAttachment(message.Get(), 0, &attachment), S_OK);
        const auto disturb = [&] {
            if (c.result)
                mailbox::calls::Fail({.method = "IMAPIProp::GetProps", .result = *c.result, .perform = true});
        };
        LogLines lines;
        for (const char* tag :
             {"Attach_Hidden_get", "Attach_IsContactPhoto_get", "ContactItem_HasPhoto_get"}) {
            if (c.line) lines.push_back({sevError, tag, c.line});
        }
        CapturedLog log;
        ULONG flag = 77;
        int has = 77;
        disturb();
        EXPECT_EQ(store::Attach_Hidden_get(attachment.Get(), &flag), c.expected);
        EXPECT_EQ(flag, 0u);
        disturb();
        EXPECT_EQ(store::Attach_IsContactPhoto_get(attachment.Get(), &flag), c.expected);
        disturb();
        EXPECT_EQ(store::ContactItem_HasPhoto_get(message.Get(), &has), c.expected);
        EXPECT_EQ(log.Lines(), lines);
    }
}

TEST_F(Attachments, PhotoFlagOfAContact) {
    TestItem contact = Inbox().Item(L"IPM.Contact");
    ComPtr<IMessage> message = Open(contact);
    ULONG tag = 77;
    int has = 77;
    CapturedLog log;
    EXPECT_EQ(store::ContactItem_HasPhoto_set(message.Get(), true), MAPI_W_ERRORS_RETURNED)
        << "the store knows no such name";
    EXPECT_EQ(store::ContactItem_HasPhoto_tag(message.Get(), &tag), MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(tag, 0u);
    EXPECT_EQ(log.Count(sevError, "ContactItem_HasPhoto_tag", "GetIDsFromNames return 0x40380\n"), 2u);

    log.Clear();
    EXPECT_EQ(store::ContactItem_HasPhoto_get(message.Get(), &has), S_OK);
    mailbox::calls::FailNth("IMAPIProp::GetIDsFromNames", 1, MAPI_E_NOT_FOUND);
    EXPECT_EQ(store::ContactItem_HasPhoto_get(message.Get(), &has), S_OK);
    EXPECT_EQ(has, 0);
    EXPECT_EQ(log.Lines(), LogLines()) << "no photo is no failure";
    mailbox::calls::FailNth("IMAPIProp::GetIDsFromNames", 1);
    EXPECT_EQ(store::ContactItem_HasPhoto_get(message.Get(), &has), E_FAIL);
    EXPECT_EQ(log.Lines().size(), 1u);
    mailbox::calls::Reset();

    log.Clear();
    mailbox::calls::Fail({.method = "IMAPIProp::GetIDsFromNames", .result = S_OK, .perform = true});
    EXPECT_EQ(store::ContactItem_HasPhoto_set(message.Get(), true), MAPI_E_NOT_FOUND)
        << "a store that calls an unknown name a success has the flag written to no property";
    EXPECT_EQ(log.Lines(),
              LogLines({{sevError, "ContactItem_HasPhoto_tag", "GetIDsFromNames return 0x8004010f\n"}}));

    const ULONG known = contact.NamedTag(base::kSetAddress, kHasPhoto, PT_BOOLEAN);
    log.Clear();
    message = Open(contact);
    EXPECT_EQ(store::ContactItem_HasPhoto_tag(message.Get(), &tag), S_OK);
    EXPECT_EQ(tag, known);
    for (const bool flag : {true, false, true}) {
        EXPECT_EQ(store::ContactItem_HasPhoto_set(message.Get(), flag), S_OK);
        EXPECT_EQ(store::ContactItem_HasPhoto_get(message.Get(), &has), S_OK);
        EXPECT_EQ(has, flag);
    }
    EXPECT_EQ(Quorvel_ClearHasPhotoFlag(message.Get(), 1), S_OK);
    EXPECT_EQ(store::ContactItem_HasPhoto_get(Open(contact).Get(), &has), S_OK);
    EXPECT_EQ(has, 0) << "cleared and saved";
    EXPECT_EQ(log.Lines(), LogLines());
}

TEST_F(Attachments, PhotoReplacesTheFormerOne) {
    TestItem source = Inbox().Item().Attach(Picture("new", {}));
    const Flags photo = {.photo = true};
    const struct {
        const char* what;
        bool flag;
        std::vector<mailbox::CProperties> before;
        std::vector<std::string> after;
    } cases[] = {
        {"first photo", false, {}, {"new photo 12"}},
        {"an ordinary attachment stays", true, {Picture("a", {})}, {"a 12", "new photo 12"}},
        {"the photo is replaced", true, {Picture("a", photo)}, {"new photo 12"}},
        {"two photos: the second becomes ordinary",
         true,
         {Picture("a", photo), Picture("b", photo)},
         {"b -1", "new photo 12"}},
        {"photos without the flag become ordinary",
         false,
         {Picture("a", photo), Picture("b", {}), Picture("c", photo)},
         {"a -1", "b 12", "c -1", "new photo 12"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        TestItem contact = Inbox().Item(L"IPM.Contact").Named(base::kSetAddress, kHasPhoto, c.flag);
        for (const mailbox::CProperties& before : c.before) contact.Attach(before);
        ComPtr<IMessage> message = Open(contact);
        ULONG number = 77;
        CapturedLog log;
        EXPECT_EQ(Quorvel_SetPhotoAttachment(message.Get(), &number, Open(source).Get(), 0, 1), S_OK);
        EXPECT_EQ(Describe(message.Get(), static_cast<long>(number)), "new photo 12");
        std::vector<std::string> after = Describe(contact);
        std::sort(after.begin(), after.end());
        EXPECT_EQ(after, c.after);
        int has = 0;
        EXPECT_EQ(store::ContactItem_HasPhoto_get(Open(contact).Get(), &has), S_OK);
        EXPECT_EQ(has, 1);
        EXPECT_EQ(log.Lines(), LogLines());
    }
}

// Whichever call fails while a former photo is turned into an ordinary attachment, its picture is still
// there.
TEST_F(Attachments, DemotingAPhotoLosesNoPicture) {
    TestItem source = Inbox().Item().Attach(Picture("new", {}));
    bool struck = true;
    for (unsigned nth = 1; struck; nth++) {
        SCOPED_TRACE("platform call " + std::to_string(nth) + " fails");
        TestItem contact = Inbox().Item(L"IPM.Contact").Named(base::kSetAddress, kHasPhoto, false);
        contact.Attach(Picture("former", {.photo = true}));
        ComPtr<IMessage> message = Open(contact), from = Open(source);
        ULONG number = 77;
        mailbox::calls::FailNth(nth);
        Quorvel_SetPhotoAttachment(message.Get(), &number, from.Get(), 0, 0);
        struck = mailbox::calls::Struck() != 0;
        mailbox::calls::Reset();
        EXPECT_EQ(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
        size_t formers = 0;
        for (const std::string& text : Describe(contact)) formers += text.starts_with("former ");
        EXPECT_GE(formers, 1u);
    }
}

// What a host does that must not lose the former photo: it looks whether the new one was saved before it saves the
// contact.
TEST_F(Attachments, APhotoThatCouldNotBeSavedIsNotListed) {
    TestItem source = Inbox().Item().Attach(Picture("new", {}));
    TestItem contact = Inbox().Item(L"IPM.Contact").Named(base::kSetAddress, kHasPhoto, true);
    contact.Attach(Picture("former", {.photo = true}));
    for (const bool saved : {false, true}) {
        ComPtr<IMessage> message = Open(contact), from = Open(source);
        ULONG number = 77;
        if (!saved) mailbox::calls::FailNth("IMAPIProp::SaveChanges", 1);
        EXPECT_EQ(Quorvel_SetPhotoAttachment(message.Get(), &number, from.Get(), 0, 0), S_OK);
        mailbox::calls::Reset();
        MapiBuffer<long> numbers;
        ULONG count = 0;
        EXPECT_EQ(Quorvel_GetAttachments(message.Get(), store::Out(numbers), &count), S_OK);
        EXPECT_EQ(std::count(numbers.get(), numbers.get() + count, static_cast<long>(number)), saved ? 1 : 0);
        message.Reset();
        EXPECT_EQ(Describe(contact), std::vector<std::string>{"former photo 12"})
            << "the contact was not saved";
    }
}

TEST_F(Attachments, RealSizeByMethod) {
    const auto method = [](ULONG value) {
        return mailbox::CProperties().Long(PR_ATTACH_METHOD, value).Text(PR_DISPLAY_NAME_W, L"x");
    };
    TestItem embedded = Inbox().Item().Subject(L"inner");
    TestItem item = Inbox().Item().Attach(Picture("12345", {})).AttachMessage(L"message", embedded);
    item.Attach(method(ATTACH_BY_REF_ONLY))
        .Attach(method(ATTACH_BY_REFERENCE))
        .Attach(method(ATTACH_BY_REF_RESOLVE));
    item.Attach(method(NO_ATTACHMENT)).Attach(method(ATTACH_OLE).Binary(PR_ATTACH_DATA_BIN, "1234567"));
    item.Attach(method(ATTACH_OLE)).Attach(Picture("x", {}).Error(PR_ATTACH_METHOD, MAPI_E_NOT_FOUND));
    ComPtr<IMessage> message = Open(item);
    const char* const tag = "Quorvel_GetAttachmentRealSize";
    const struct {
        const char* what;
        HRESULT result;
        std::optional<ULONG> size;
        LogLines lines;
    } cases[] = {
        {"by value", S_OK, 5, {}},
        {"embedded", S_OK, {}, {}},
        {"by reference only", S_OK, 0, {}},
        {"by reference", -1, 0, {{sevError, tag, "Unknown attach method = 2\n"}}},
        {"by resolved reference", -1, 0, {{sevError, tag, "Unknown attach method = 3\n"}}},
        {"none", -1, 0, {{sevError, tag, "Unknown attach method = 0\n"}}},
        {"by OLE, the data alone", S_OK, 7, {}},
        {"by OLE, nothing",
         MAPI_E_NOT_FOUND,
         0,
         {{sevError, tag, "ATTACH_BY_VALUE: OpenProperty retuned 0x8004010f, 0x8004010f, 0x8004010f\n"}}},
        {"without a method",
         MAPI_W_ERRORS_RETURNED,
         0,
         {{sevError, tag, "IMapiProp::GetProp return 0x40380\n"}}},
    };
    for (long i = 0; i < static_cast<long>(std::size(cases)); i++) {
        const auto& c = cases[i];
        SCOPED_TRACE(c.what);
        ComPtr<IAttach> attachment;
        ASSERT_EQ(Quorvel_OpenAttachment(message.Get(), i, &attachment), S_OK);
        ULONG size = 77;
        CapturedLog log;
        EXPECT_EQ(store::GetAttachmentRealSize(attachment.Get(), &size), c.result);
        EXPECT_TRUE(c.size ? size == *c.size : size > 0) << size;
        EXPECT_EQ(log.Lines(), c.lines);
    }
}

// Three attempts in a fixed order, the first that opens is measured; a failed measurement tells which it was.
TEST_F(Attachments, RealSizeByOleStopsAtTheFirstThatOpens) {
    mailbox::CProperties object, data;
    object.Long(PR_ATTACH_METHOD, ATTACH_OLE).Object(PR_ATTACH_DATA_OBJ, "12345");
    data.Long(PR_ATTACH_METHOD, ATTACH_OLE).Binary(PR_ATTACH_DATA_BIN, "12");
    ComPtr<IMessage> message = Open(Inbox().Item().Attach(object).Attach(data));
    for (const unsigned failing : {0u, 1u, 2u}) {
        ComPtr<IAttach> attachment;
        ASSERT_EQ(Quorvel_OpenAttachment(message.Get(), failing == 1, &attachment), S_OK);
        ULONG size = 77;
        CapturedLog log;
        if (failing) {
            mailbox::calls::Fail(
                {.method = "IMAPIProp::OpenProperty", .result = MAPI_E_NO_SUPPORT, .times = failing});
        }
        mailbox::calls::Record();
        ASSERT_EQ(store::GetAttachmentRealSize(attachment.Get(), &size), S_OK);
        EXPECT_EQ(mailbox::calls::Count("IMAPIProp::OpenProperty"), failing + 1);
        EXPECT_EQ(size, failing == 1 ? 2u : 5u);
        EXPECT_EQ(log.Lines(), LogLines());
        mailbox::calls::Reset();

        if (failing) {
            mailbox::calls::Fail(
                {.method = "IMAPIProp::OpenProperty", .result = MAPI_E_NO_SUPPORT, .times = failing});
        }
        mailbox::calls::FailNth("IStream::Stat", 1, MAPI_E_CALL_FAILED);
        EXPECT_EQ(store::GetAttachmentRealSize(attachment.Get(), &size), MAPI_E_CALL_FAILED);
        EXPECT_EQ(size, 0u);
        EXPECT_EQ(log.Lines(), LogLines({{sevError, "Quorvel_GetAttachmentRealSize",
                                          "ATTACH_BY_VALUE: pStream->Stat returned 0x80004005, i = " +
                                              std::to_string(failing) + "\n"}}));
        mailbox::calls::Reset();
    }
}

// ---- Finding and moving

class Moving : public MailboxTest {
  protected:
    Moving()
        : m_archive(AddStore(L"Archive")),
          m_old(m_archive.Root().Folder(L"Old")),
          m_done(Store().Root().Folder(L"Done")) {}

    TestStore m_archive;
    TestFolder m_old, m_done;
};

TEST_F(Moving, FindsByTheSearchKey) {
    TestItem other = Inbox().Item().Binary(PR_SEARCH_KEY, "key 1");
    TestItem item = Inbox().Item().Binary(PR_SEARCH_KEY, "key 2");
    Inbox().Item().Binary(PR_SEARCH_KEY, "key 2");
    ComPtr<IMAPIFolder> folder = Open(Inbox());
    std::string key = "key 2";
    SPropValue value = {};
    value.ulPropTag = PR_SEARCH_KEY;
    value.Value.bin = {static_cast<ULONG>(key.size()), reinterpret_cast<BYTE*>(key.data())};
    char text[512] = "before";
    CapturedLog log;
    EXPECT_EQ(Quorvel_FindItem(folder.Get(), &value, text), S_OK);
    EXPECT_EQ(text, item.Id()) << "the first of two";
    key = "key 3";
    strcpy(text, "before");
    EXPECT_EQ(Quorvel_FindItem(folder.Get(), &value, text), S_OK);
    EXPECT_STREQ(text, "before");
    EXPECT_EQ(log.Lines(), LogLines());
    key = "key 1";
    other.Error(PR_ENTRYID, MAPI_E_NO_ACCESS);
    EXPECT_EQ(Quorvel_FindItem(folder.Get(), &value, text), S_OK);
    EXPECT_STREQ(text, "before");
    EXPECT_EQ(log.Lines(), LogLines({{sevError, "Quorvel_FindItem", "Row[0].Prop[0].Type == PT_ERROR\n"}}));
}

TEST_F(Moving, IdentifiersEndWithTheCallersBuffer) {
    std::string key = "key";
    SPropValue value = {};
    value.ulPropTag = PR_SEARCH_KEY;
    value.Value.bin = {static_cast<ULONG>(key.size()), reinterpret_cast<BYTE*>(key.data())};
    TestItem item = Inbox().Item().Binary(PR_SEARCH_KEY, key);
    const ComPtr<IMAPIFolder> folder = Open(Inbox());
    for (const size_t size : {size_t{511}, size_t{512}}) {
        item.Binary(PR_ENTRYID, std::string(size, 'i'));
        std::string text(1024, '#');
        CapturedLog log;
        EXPECT_EQ(Quorvel_FindItem(folder.Get(), &value, text.data()), S_OK);
        EXPECT_EQ(std::strlen(text.c_str()) == 1022, size == 511) << size;
        EXPECT_EQ(text.ends_with("##"), size == 512) << "touched without fitting";
        EXPECT_EQ(log.Lines(sevError).size(), size == 512 ? 1u : 0u);
    }
}

// An identifier without bytes opens the store's root: nothing is to land there.
TEST_F(Moving, WithoutATargetFolderMovesNothing) {
    TestItem item = Inbox().Item();
    Session();
    for (const char* target : {"", "A", static_cast<const char*>(nullptr)}) {
        char newId[1024] = "before";
        CapturedLog log;
        mailbox::calls::Record();
        EXPECT_EQ(Quorvel_ItemMove(Session(), item.Id().c_str(), Inbox().Id().c_str(), Store().Id().c_str(),
                                   target, Store().Id().c_str(), newId),
                  -1);
        EXPECT_EQ(mailbox::calls::Count(), 0u);
        EXPECT_STREQ(newId, "before");
        EXPECT_EQ(log.Lines(), LogLines({{sevError, "Quorvel_ItemMove", "Invalid Param(s)\n"}}));
    }
}

TEST_F(Moving, MovesWithinAndBetweenStores) {
    const struct {
        const char* what;
        TestFolder to;
        std::string store;
        bool wantsId;
    } cases[] = {
        {"within a store", m_done, Store().Id(), true},
        {"to another store", m_old, m_archive.Id(), true},
        {"without asking for the identifier", m_old, m_archive.Id(), false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        TestItem item =
            Inbox().Item().Subject(L"moved").Binary(PR_SEARCH_KEY, std::string("key of ") + c.what);
        const std::string id = item.Id();
        const size_t before = c.to.Record().items.size(), left = Inbox().Record().items.size() - 1;
        char newId[512] = "before";
        CapturedLog log;
        EXPECT_EQ(Quorvel_ItemMove(Session(), id.c_str(), Inbox().Id().c_str(), Store().Id().c_str(),
                                   c.to.Id().c_str(), c.store.c_str(), c.wantsId ? newId : nullptr),
                  S_OK);
        EXPECT_EQ(Inbox().Record().items.size(), left) << "gone from where it was";
        ASSERT_EQ(c.to.Record().items.size(), before + 1);
        EXPECT_EQ(newId, c.wantsId ? HexText(c.to.Record().items.back()->id) : "before");
        EXPECT_EQ(log.Lines(), LogLines());
    }
}

TEST_F(Moving, ToItsOwnPlaceMovesNothing) {
    std::string folder = Inbox().Id(), store = Store().Id();
    for (char& digit : folder) digit = static_cast<char>(tolower(digit));
    for (char& digit : store) digit = static_cast<char>(tolower(digit));
    char newId[512] = "before";
    const auto move = [&](char* out) {
        return Quorvel_ItemMove(Session(), "0aBc", Inbox().Id().c_str(), Store().Id().c_str(), folder.c_str(),
                                store.c_str(), out);
    };
    Session();
    mailbox::calls::Record();
    EXPECT_EQ(move(newId), S_OK);
    EXPECT_STREQ(newId, "0aBc") << "the caller's text, digit for digit";
    EXPECT_EQ(move(nullptr), S_OK);
    EXPECT_EQ(mailbox::calls::Count(), 0u);
    mailbox::calls::Reset();
}

// A host that keeps one buffer for an item's identifier has it brought up to date.
TEST_F(Moving, OneBufferForBothIdentifiers) {
    TestItem item = Inbox().Item().Binary(PR_SEARCH_KEY, "key");
    char id[512];
    std::strcpy(id, item.Id().c_str());
    const auto moveTo = [&](const std::string& folder) {
        return Quorvel_ItemMove(Session(), id, Inbox().Id().c_str(), Store().Id().c_str(), folder.c_str(),
                                Store().Id().c_str(), id);
    };
    EXPECT_EQ(moveTo(Inbox().Id()), S_OK);
    EXPECT_EQ(id, item.Id()) << "nothing moved";
    EXPECT_EQ(moveTo(m_done.Id()), S_OK);
    ASSERT_EQ(m_done.Record().items.size(), 1u) << "the identifier was gone before it was used";
    EXPECT_EQ(id, HexText(m_done.Record().items.back()->id));
}

TEST_F(Moving, WithoutASearchKeyMovesAllTheSame) {
    TestItem item = Inbox().Item().Error(PR_SEARCH_KEY, MAPI_E_NO_ACCESS);
    char newId[512] = "before";
    CapturedLog log;
    EXPECT_EQ(Quorvel_ItemMove(Session(), item.Id().c_str(), Inbox().Id().c_str(), Store().Id().c_str(),
                               m_done.Id().c_str(), Store().Id().c_str(), newId),
              S_OK);
    EXPECT_STREQ(newId, "");
    EXPECT_EQ(m_done.Record().items.size(), 1u);
    EXPECT_EQ(log.Lines(), LogLines());
}

}  // namespace
