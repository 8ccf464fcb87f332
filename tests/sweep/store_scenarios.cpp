// The store-access exports and the builders of derived values as a host uses them.

#include <span>

#include "base/mapi_extra.h"
#include "compare/company_contact.h"
#include "compare/propex.h"
#include "compare/propex_text.h"
#include "compare/recipient_builder.h"
#include "mailbox/text.h"
#include "store/attachments.h"
#include "store/checked_calls.h"
#include "store/named_properties.h"
#include "tests/sweep/SweepTest.h"
#include "tests/sweep/store_scenarios.h"

using enum compare::EPropEx;
using store::CTagList;
using store::MapiBuffer;

namespace {

constexpr LONG kLocation = 0x8208;
constexpr ULONG kBytes = PROP_TAG(PT_BINARY, 0x6601);
using TOutputs = std::string;

void Say(TOutputs& outputs, const char* name, long long value) {
    outputs += std::string(" ") + name + "=" + std::to_string(value);
}

/// Runs a call that hands out an object, and releases it: "given", "null", or "kept" for what the caller had there.
template <typename Object, typename Call>
HRESULT HandsOut(TOutputs& outputs, Call call) {
    static TestItem* kept = nullptr;
    Object *const before = reinterpret_cast<Object*>(&kept), *out = before;
    const HRESULT hr = call(&out);
    outputs += out == before ? " kept" : out == nullptr ? " null" : " given";
    if (out != before && out != nullptr) out->Release();
    return hr;
}

/// The same for a buffer.
template <typename T, typename Call>
HRESULT HandsOutBuffer(TOutputs& outputs, Call call) {
    MapiBuffer<T> buffer;
    const HRESULT hr = call(store::Out(buffer));
    outputs += buffer ? " given" : " null";
    return hr;
}

template <unsigned propex, HRESULT (*build)(IMessage*, SPropValue**)>
HRESULT Build(TScene& s, TOutputs& outputs) {
    MapiBuffer<SPropValue> value;
    wchar_t text[200];
    const HRESULT hr = build(s.message.Get(), store::Out(value));
    const std::wstring shown =
        value ? compare::PropValueToText(value.get(), text, std::size(text), propex, false) : L"null";
    outputs += " " + mailbox::FromWide(shown);
    return hr;
}

SPropValue SearchKey(std::string& bytes) {
    SPropValue value{};
    value.ulPropTag = PR_SEARCH_KEY;
    value.Value.bin = {static_cast<ULONG>(bytes.size()), reinterpret_cast<BYTE*>(bytes.data())};
    return value;
}

template <int number>
HRESULT RealSize(TScene& s, TOutputs& outputs) {
    ULONG size = 5;
    const HRESULT hr = store::GetAttachmentRealSize(s.attachments[number].Get(), &size);
    outputs += size == 0 ? " nothing" : " something";
    return hr;
}

const TStoreOperation kOperations[] = {
    {"Quorvel_Logon",
     [](TScene&, TOutputs& o) {
         IMAPISession* session = nullptr;
         const HRESULT hr = Quorvel_Logon(&session, 1, 0);
         o += session ? " given" : " null";
         return hr == S_OK ? Quorvel_Logoff(session) : hr;
     }},
    {"Quorvel_OpenStore",
     [](TScene& s, TOutputs& o) {
         return HandsOut<IMsgStore>(
             o, [&](auto out) { return Quorvel_OpenStore(s.session.Get(), s.storeId.c_str(), out); });
     }},
    {"Quorvel_OpenStoreFolder",
     [](TScene& s, TOutputs& o) {
         return HandsOut<IMAPIFolder>(
             o, [&](auto out) { return Quorvel_OpenStoreFolder(s.msgStore.Get(), s.folderId.c_str(), out); });
     }},
    {"Quorvel_OpenStoreItem",
     [](TScene& s, TOutputs& o) {
         return HandsOut<IMessage>(
             o, [&](auto out) { return Quorvel_OpenStoreItem(s.msgStore.Get(), s.itemId.c_str(), out); });
     }},
    {"Quorvel_OpenFolderItem",
     [](TScene& s, TOutputs& o) {
         return HandsOut<IMessage>(
             o, [&](auto out) { return Quorvel_OpenFolderItem(s.folder.Get(), s.itemId.c_str(), out); });
     }},
    {"Quorvel_OpenItem",
     [](TScene& s, TOutputs& o) {
         return HandsOut<IMessage>(o, [&](auto out) {
             return Quorvel_OpenItem(s.session.Get(), s.itemId.c_str(), s.storeId.c_str(), out);
         });
     }},
    {"Quorvel_GetIMessageNet",
     [](TScene& s, TOutputs& o) {
         return HandsOut<IMessage>(o,
                                   [&](auto out) { return Quorvel_GetIMessageNet(s.message.Get(), out, 1); });
     }},
    {"Quorvel_EntryID2Str",
     [](TScene& s, TOutputs&) {
         return MapiBuffer<char>(Quorvel_EntryID2Str(s.message.Get())) ? S_OK : E_FAIL;
     }},
    {"Quorvel_GetServiceProps",
     [](TScene& s, TOutputs& o) {
         MapiBuffer<char> dll, entry, service, display;
         const HRESULT hr =
             Quorvel_GetServiceProps(s.session.Get(), s.serviceUid.c_str(), store::Out(dll),
                                     store::Out(entry), store::Out(service), store::Out(display));
         for (const auto* text : {&dll, &entry, &service, &display}) o += *text ? " given" : " null";
         return hr;
     }},
    {"Quorvel_GetStoreType",
     [](TScene& s, TOutputs& o) {
         int type = 77;
         const HRESULT hr = Quorvel_GetStoreType(s.session.Get(), s.storeId.c_str(), &type);
         Say(o, "type", type);
         return hr;
     }},
    {"Quorvel_GetPropValue",
     [](TScene& s, TOutputs& o) {
         return HandsOutBuffer<SPropValue>(
             o, [&](auto out) { return Quorvel_GetPropValue(s.message.Get(), PR_SUBJECT_W, out); });
     }},
    {"Quorvel_GetPropValues",
     [](TScene& s, TOutputs& o) {
         CTagList tags(PR_SUBJECT_W, PR_ENTRYID);
         ULONG count = 5;
         const HRESULT hr = HandsOutBuffer<SPropValue>(
             o, [&](auto out) { return Quorvel_GetPropValues(s.message.Get(), tags, &count, out); });
         Say(o, "count", count);
         return hr;
     }},
    {"Quorvel_GetPropValuesInOneMValue",
     [](TScene& s, TOutputs& o) {
         CTagList tags(PR_SUBJECT_W, PR_SENDER_NAME_W);
         return HandsOutBuffer<SPropValue>(
             o, [&](auto out) { return Quorvel_GetPropValuesInOneMValue(s.message.Get(), tags, out); });
     }},
    {"Quorvel_GetStreamPropValue",
     [](TScene& s, TOutputs& o) {
         ULONG count = 5;
         const HRESULT hr = HandsOutBuffer<void>(o, [&](auto out) {
             return Quorvel_GetStreamPropValue(s.message.Get(), PR_BODY_W, out, &count, 1);
         });
         Say(o, "count", count);
         return hr;
     }},
    {"Quorvel_StreamPropSize",
     [](TScene& s, TOutputs& o) {
         ULONG size = 5;
         const HRESULT hr = Quorvel_StreamPropSize(s.message.Get(), PR_BODY_W, &size);
         Say(o, "size", size);
         return hr;
     }},
    {"Quorvel_StreamPropEmpty",
     [](TScene& s, TOutputs& o) {
         int empty = 5;
         ULONG size = 5;
         const HRESULT hr = Quorvel_StreamPropEmpty(s.message.Get(), PR_BODY_W, &empty, &size);
         Say(o, "empty", empty);
         Say(o, "size", size);
         return hr;
     }},
    {"Quorvel_GetSubjectSize",
     [](TScene& s, TOutputs& o) {
         ULONG size = 5;
         const HRESULT hr = Quorvel_GetSubjectSize(s.message.Get(), 1, &size, nullptr, 0);
         Say(o, "size", size);
         return hr;
     }},
    {"Quorvel_GetSubjectBodyAttachmentsSize",
     [](TScene& s, TOutputs& o) {
         const ULONG size = Quorvel_GetSubjectBodyAttachmentsSize(s.message.Get(), 1, nullptr, 0);
         Say(o, "size", size);
         return size ? S_OK : E_FAIL;
     }},
    {"Quorvel_GetIDFromName",
     [](TScene& s, TOutputs&) {
         const ULONG tag =
             Quorvel_GetIDFromName2(s.message.Get(), base::kSetAppointment, kLocation, PT_UNICODE);
         return tag == s.item.NamedTag(base::kSetAppointment, kLocation, PT_UNICODE) ? S_OK
                : tag                                                                ? S_FALSE
                                                                                     : E_FAIL;
     }},
    {"Quorvel_GetIDsFromNames",
     [](TScene& s, TOutputs& o) {
         GUID set = {0x00020329, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
         MAPINAMEID name = {};
         name.lpguid = &set;
         name.ulKind = MNID_STRING;
         name.Kind.lpwstrName = const_cast<wchar_t*>(L"crmid");
         return HandsOutBuffer<SPropTagArray>(
             o, [&](auto out) { return Quorvel_GetIDsFromNames(s.message.Get(), 1, &name, out); });
     }},
    {"Quorvel_ResolveTags",
     [](TScene& s, TOutputs& o) {
         TComparyProp property{};
         property.lpszKey = L"Appointment.Location";
         property.lpszGuid = base::kSetAppointment;
         property.nID = kLocation;
         property.nType = PT_UNICODE;
         TComparyProps list{1, &property};
         const HRESULT hr = Quorvel_ResolveTags(s.message.Get(), &list);
         o += property.ulPropTag ? " tag" : " none";
         return hr;
     }},
    {"Quorvel_CompareStreamProp",
     [](TScene& s, TOutputs& o) {
         long result = 99;
         bool compared = true;
         const HRESULT hr =
             Quorvel_CompareStreamProp(s.message.Get(), s.contact.Get(), kBytes, &result, &compared);
         Say(o, "compared", compared);
         Say(o, "result", result);
         return hr;
     }},
    {"Quorvel_CountProps",
     [](TScene& s, TOutputs& o) {
         CTagList tags(PR_SUBJECT_W, PR_ENTRYID);
         long filled = 9;
         const HRESULT hr = Quorvel_CountProps(s.message.Get(), tags, &filled, nullptr);
         Say(o, "filled", filled);
         return hr;
     }},
    {"Quorvel_CountStreamProps",
     [](TScene& s, TOutputs& o) {
         CTagList tags(PR_BODY_W);
         ULONG sizes[1] = {};
         long filled = 9;
         const HRESULT hr = Quorvel_CountStreamProps(s.message.Get(), tags, &filled, sizes);
         Say(o, "filled", filled);
         Say(o, "size", sizes[0]);
         return hr;
     }},
    {"Appointment_AllDayEventLikeEx",
     [](TScene& s, TOutputs& o) {
         int like = 9, flag = 9;
         const HRESULT hr = Appointment_AllDayEventLikeEx(s.message.Get(), &like, 1, &flag);
         Say(o, "like", like);
         Say(o, "flag", flag);
         return hr;
     }},
    {"QuorvelProps.ContactItem_Addresses", Build<propexAnyAddress,
                                                 [](IMessage* item, SPropValue** value) {
                                                     return compare::ContactItem_Addresses(item, true, value);
                                                 }>},
    {"QuorvelProps.ContactItem_Emails", Build<propexAnyEmail,
                                              [](IMessage* item, SPropValue** value) {
                                                  return compare::ContactItem_Emails(item, true, value);
                                              }>},
    {"QuorvelProps.ContactItem_Phones", Build<propexAnyPhone,
                                              [](IMessage* item, SPropValue** value) {
                                                  return compare::ContactItem_Phones(item, true, value);
                                              }>},
    {"QuorvelProps.ContactItem_CompanyContact",
     Build<propexCompanyContact, compare::ContactItem_CompanyContact>},
    {"MailItem_Senders",
     Build<propexSenders,
           [](IMessage* item, SPropValue** value) { return compare::MailItem_Senders(item, true, value); }>},
    {"MailItem_Recipients", Build<propexRecipients, compare::MailItem_Recipients>},
    {"Quorvel_GetAttachments",
     [](TScene& s, TOutputs& o) {
         ULONG count = 5;
         const HRESULT hr = HandsOutBuffer<long>(
             o, [&](auto out) { return Quorvel_GetAttachments(s.message.Get(), out, &count); });
         Say(o, "count", count);
         return hr;
     }},
    {"Quorvel_OpenAttachment",
     [](TScene& s, TOutputs& o) {
         return HandsOut<IAttach>(o,
                                  [&](auto out) { return Quorvel_OpenAttachment(s.message.Get(), 0, out); });
     }},
    {"Quorvel_CopyAttachment",
     [](TScene& s, TOutputs& o) {
         ULONG number = 77;
         const HRESULT hr = Quorvel_CopyAttachment(s.message.Get(), &number, s.message.Get(), 0, 1);
         Say(o, "number", number);
         return hr;
     }},
    {"Quorvel_DeleteAttachment",
     [](TScene& s, TOutputs&) { return Quorvel_DeleteAttachment(s.message.Get(), 0, 1); }},
    {"Quorvel_GetAttachmentRealSize", RealSize<0>},
    {"Quorvel_GetAttachmentRealSize", RealSize<1>},
    {"Quorvel_GetAttachmentRealSize", RealSize<2>},
    {"Quorvel_ClearHasPhotoFlag",
     [](TScene& s, TOutputs&) { return Quorvel_ClearHasPhotoFlag(s.contact.Get(), 1); }},
    {"Quorvel_FindItem",
     [](TScene& s, TOutputs& o) {
         std::string key = s.item.IdBytes() + "search key";
         SPropValue value = SearchKey(key);
         char text[1024] = "before";
         const HRESULT hr = Quorvel_FindItem(s.folder.Get(), &value, text);
         o += " " + std::string(text);
         return hr;
     }},
    {"Quorvel_ItemMove",
     [](TScene& s, TOutputs& o) {
         char text[1024] = "before";
         const HRESULT hr =
             Quorvel_ItemMove(s.session.Get(), s.itemId.c_str(), s.folderId.c_str(), s.storeId.c_str(),
                              s.otherFolderId.c_str(), s.otherStoreId.c_str(), text);
         bool stays = false;
         for (const auto& item : s.inbox->items) stays = stays || HexText(item->id) == s.itemId;
         o += stays ? " stays" : text[0] ? " moved" : " moved, nobody knows whither";
         return hr;
     }},
    {"Quorvel_SaveItem",
     [](TScene& s, TOutputs&) { return Quorvel_SaveItem(s.message.Get(), KEEP_OPEN_READWRITE); }},
    {"Quorvel_SetPhotoAttachment",
     [](TScene& s, TOutputs& o) {
         ULONG number = 77;
         const HRESULT hr = Quorvel_SetPhotoAttachment(s.contact.Get(), &number, s.message.Get(), 0, 1);
         Say(o, "number", number);
         return hr;
     }},
};

mailbox::CProperties Picture() {
    mailbox::CProperties picture;
    picture.Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE).Text(PR_DISPLAY_NAME_W, L"photo.jpg");
    return picture.Bool(PR_ATTACHMENT_CONTACTPHOTO, true).Binary(PR_ATTACH_DATA_BIN, "a picture");
}

class StoreScenario : public HostScenario {
  public:
    StoreScenario(TScene scene, const TStoreOperation& operation)
        : m_scene(std::move(scene)), m_operation(operation) {}
    size_t Steps() const override { return 1; }
    bool Do(size_t) override {
        TOutputs outputs;
        return store::IsReadSuccess(m_operation.run(m_scene, outputs));
    }

  private:
    TScene m_scene;
    const TStoreOperation& m_operation;
};

}  // namespace

TScene MakeScene(SweepTest& test, const TestFolder& otherFolder) {
    TestItem item = test.Inbox().Item().Subject(L"subject").Body(L"body").Text(PR_SENDER_NAME_W, L"Ann");
    item.Named(base::kSetAppointment, kLocation, L"Room 1")
        .Named(base::kSetAppointment, 0x820D, Utc(2024, 3, 4));
    item.Named(base::kSetAppointment, 0x820E, Utc(2024, 3, 5)).Named(base::kSetAppointment, 0x8215, false);
    item.Named(base::kSetAddress, 0x801B, L"1 Work Street").Named(base::kSetAddress, 0x8083, L"ann@x.org");
    item.Text(PR_HOME_TELEPHONE_NUMBER_W, L"123").Text(PR_SURNAME_W, L"Lee").To(L"Bob", L"bob@x.org");
    item.Binary(PR_SEARCH_KEY, item.IdBytes() + "search key").Binary(kBytes, std::string(600, 'a'));
    mailbox::CProperties ole;
    ole.Long(PR_ATTACH_METHOD, ATTACH_OLE).Binary(PR_ATTACH_DATA_BIN, "an object");
    item.Attach(Picture()).AttachMessage(L"inner", test.Inbox().Item().Subject(L"inner")).Attach(ole);
    for (auto& attachment : item.Edit().attachments) {
        auto sized = std::make_shared<mailbox::TAttachment>(*attachment);
        sized->properties.Long(PR_ATTACH_SIZE, 100);
        attachment = sized;
    }
    (void)item.NamedTag(base::kSetPublicStrings, L"crmid", PT_STRING8);
    TestItem contact = test.Inbox().Item(L"IPM.Contact").Named(base::kSetAddress, 0x8015, true);
    contact.Binary(kBytes, std::string(600, 'a'));
    contact.Attach(Picture()).Attach(Picture()).Attach(L"notes.txt", "data");
    TScene scene{item,
                 item.Id(),
                 contact.Id(),
                 test.Inbox().Id(),
                 test.Store().Id(),
                 otherFolder.Id(),
                 otherFolder.StoreId(),
                 HexText(test.Store().Record().serviceUid),
                 &test.Inbox().Record(),
                 test.Session(),
                 test.Open(test.Store()),
                 test.Open(test.Inbox()),
                 test.Open(item),
                 test.Open(contact),
                 {}};
    for (ULONG i = 0; i < std::size(scene.attachments); ++i)
        EXPECT_EQ(scene.message->OpenAttach(i, nullptr, 0, &scene.attachments[i]), S_OK);
    return scene;
}

std::span<const TStoreOperation> StoreOperations() {
    return kOperations;
}

std::vector<TScenario> StoreScenarios(SweepTest& test) {
    const TestFolder otherFolder = test.AddStore(L"Archive").Root().Folder(L"Old");
    std::vector<TScenario> scenarios;
    for (const TStoreOperation& operation : kOperations) {
        scenarios.push_back({operation.name, [&test, otherFolder, &operation] {
                                 return std::make_unique<StoreScenario>(MakeScene(test, otherFolder),
                                                                        operation);
                             }});
    }
    return scenarios;
}
