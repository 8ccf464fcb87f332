// Every export that asks the platform for something, with each of its calls failing in turn: the result, the
// log lines word for word, the outputs. The lists are also the calls in their order: what an export asks for in an
// undisturbed run is exactly that. What other failures leave behind is the sweep's subject, in tests/sweep.

#include <mapitags.h>

#include <algorithm>

#include "base/mapi_extra.h"
#include "quorvel.h"
#include "store/attachments.h"
#include "store/named_properties.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"

namespace {

constexpr LONG kHasPhoto = 0x8015;
constexpr LONG kLocation = 0x8208;
const HRESULT kFailure = MAPI_E_NOT_ENOUGH_MEMORY;  // 0x8007000e in the lines below

/// What a run works on, made anew for each.
struct Scene {
    TestItem item;
    std::string itemId, folderId, storeId, otherFolderId, otherStoreId, serviceUid;
    mailbox::Folder* inbox;
    IMAPISession* session;
    ComPtr<IMsgStore> msgStore;
    ComPtr<IMAPIFolder> folder;
    ComPtr<IMessage> message;
    /// By value and marked as a contact photo; an embedded message.
    ComPtr<IAttach> attachments[2];
    /// With the photo flag, two attachments marked as photos, and an ordinary one.
    ComPtr<IMessage> contact;
};

struct Line {
    const char* text;
    /// Null: the export's own name.
    const char* tag = nullptr;
    ESeverity severity = sevError;
};
/// A call of the platform, and what its failure brings about.
struct Step {
    const char* method;
    HRESULT result;
    std::vector<Line> lines;
};
struct Operation {
    const char* name;
    std::vector<Step> steps;
    HRESULT (*run)(Scene&);
};
void PrintTo(const Operation& operation, std::ostream* out) {
    *out << operation.name;
}

/// A failure that the export reports, with its line; that it passes on without one; that it bears.
Step Fails(const char* method, const char* text, const char* tag = nullptr) {
    return {method, kFailure, {{text, tag}}};
}
Step Passes(const char* method) {
    return {method, kFailure, {}};
}
Step Ignores(const char* method) {
    return {method, S_OK, {}};
}
Step Bears(const char* method, std::vector<Line> lines) {
    return {method, S_OK, std::move(lines)};
}

constexpr char kNoMemory[] = "MAPIAllocateBuffer returned 0x8007000e\n";

std::vector<Step> ServiceSteps(const char* tag = nullptr) {
    return {
        Fails("IMAPISession::AdminServices", "AdminServices -  0x8007000e", tag),
        Fails("IMsgServiceAdmin::GetMsgServiceTable", "GetMsgServiceTable -  0x8007000e", tag),
        Fails("MAPIAllocateBuffer", kNoMemory, tag),
        Fails("IMAPITable::SetColumns", "SetColumns -  0x8007000e", tag),
        Fails("IMAPITable::FindRow", "FindRow -  0x8007000e", tag),
        Fails("IMAPITable::QueryRows", "QueryRows -  0x8007000e", tag),
        Fails("MAPIAllocateBuffer", kNoMemory, tag),
        Fails("MAPIAllocateBuffer", kNoMemory, tag),
        Fails("MAPIAllocateBuffer", kNoMemory, tag),
        Fails("MAPIAllocateBuffer", kNoMemory, tag),
    };
}

std::vector<Step> operator+(std::vector<Step> one, const std::vector<Step>& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

/// Runs an export that hands out an object: on failure the output keeps what it held.
template <typename Object, typename Call>
HRESULT HandsOut(Call call) {
    Object* const before = reinterpret_cast<Object*>(0x5EED);
    Object* out = before;
    const HRESULT hr = call(&out);
    if (hr != S_OK) {
        EXPECT_EQ(out, before) << "the output was touched";
    } else {
        out->Release();
    }
    return hr;
}

/// Runs an export that hands out a buffer: on failure it is null.
template <typename T, typename Call>
HRESULT HandsOutBuffer(Call call) {
    T* raw = reinterpret_cast<T*>(0x5EED);
    const HRESULT hr = call(&raw);
    EXPECT_EQ(raw == nullptr, hr != S_OK && hr != MAPI_W_ERRORS_RETURNED)
        << "buffer and result " << std::hex << hr;
    if (hr == S_OK || hr == MAPI_W_ERRORS_RETURNED) MapiBuffer<T> owner(raw);
    return hr;
}

HRESULT RunServiceProps(Scene& scene) {
    char* texts[4] = {};
    const HRESULT hr = Quorvel_GetServiceProps(scene.session, scene.serviceUid.c_str(), &texts[0], &texts[1],
                                               &texts[2], &texts[3]);
    for (char* text : texts) {
        EXPECT_EQ(text == nullptr, hr != S_OK);
        MapiBuffer<char> owner(text);
    }
    return hr;
}

HRESULT RunResolveTags(Scene& scene) {
    TComparyProp prop = {};
    prop.lpszKey = L"Appointment.Location";
    prop.lpszGuid = kSetAppointment;
    prop.nID = kLocation;
    prop.nType = PT_UNICODE;
    TComparyProps props = {1, &prop};
    const HRESULT hr = Quorvel_ResolveTags(scene.message.Get(), &props);
    EXPECT_EQ(prop.ulPropTag, hr == S_OK ? scene.item.NamedTag(kSetAppointment, kLocation, PT_UNICODE) : 0);
    return hr;
}

HRESULT RunStreamEmpty(Scene& scene) {
    int empty = 5;
    ULONG size = 5;
    const HRESULT hr = Quorvel_StreamPropEmpty(scene.message.Get(), PR_BODY_W, &empty, &size);
    EXPECT_EQ(empty, hr != S_OK);
    EXPECT_EQ(size, hr != S_OK ? 0u : 8u);
    return hr;
}

HRESULT RunStreamValue(Scene& scene) {
    ULONG count = 5;
    void* buffer = nullptr;
    const HRESULT hr = Quorvel_GetStreamPropValue(scene.message.Get(), PR_BODY_W, &buffer, &count, 1);
    const MapiBuffer<void> owner(buffer);
    EXPECT_EQ(buffer == nullptr, hr != S_OK);
    EXPECT_EQ(count, hr != S_OK ? 0u : 8u);
    return hr;
}

HRESULT RunMove(Scene& scene) {
    char newId[512] = "before";
    const HRESULT hr =
        Quorvel_ItemMove(scene.session, scene.itemId.c_str(), scene.folderId.c_str(), scene.storeId.c_str(),
                         scene.otherFolderId.c_str(), scene.otherStoreId.c_str(), newId);
    const auto& left = scene.inbox->items;
    const bool stays =
        std::any_of(left.begin(), left.end(), [&](auto& item) { return HexText(item->id) == scene.itemId; });
    EXPECT_NE(hr == S_OK, stays) << "the item is where its move's result does not say";
    return hr;
}

template <int attachment>
HRESULT RunRealSize(Scene& scene) {
    ULONG size = 5;
    const HRESULT hr = store::GetAttachmentRealSize(scene.attachments[attachment].Get(), &size);
    EXPECT_EQ(size == 0, hr != S_OK);
    return hr;
}

const Line kNotDemoted = {"can clear attach.IsContactPhoto (copyattachment), hr=0x8007000e\n",
                          "Quorvel_CopyAttachment"};

const Operation kOperations[] = {
    {"Quorvel_Logon",
     {Ignores("MAPIInitialize"), Fails("MAPILogonEx", "::MAPILogonEx return 0x8007000e\n")},
     [](Scene&) {
         const HRESULT hr = HandsOut<IMAPISession>([&](auto out) { return Quorvel_Logon(out, 1, 0); });
         EXPECT_EQ(mailbox::calls::Count("MAPIUninitialize"), 0u);
         return hr;
     }},
    {"Quorvel_OpenStore",
     {Fails("MAPIAllocateBuffer", kNoMemory),
      Fails("IMAPISession::OpenMsgStore",
            "lpSession->OpenMsgStore return 0x8007000e, StoreID=\"{store}\"\n")},
     [](Scene& s) {
         return HandsOut<IMsgStore>(
             [&](auto out) { return Quorvel_OpenStore(s.session, s.storeId.c_str(), out); });
     }},
    {"Quorvel_OpenStoreFolder",
     {Fails("MAPIAllocateBuffer", kNoMemory),
      Fails("IMsgStore::OpenEntry", "lpStore->OpenEntry return 0x8007000e, FolderID=\"{folder}\"\n")},
     [](Scene& s) {
         return HandsOut<IMAPIFolder>(
             [&](auto out) { return Quorvel_OpenStoreFolder(s.msgStore.Get(), s.folderId.c_str(), out); });
     }},
    {"Quorvel_OpenStoreItem",
     {Fails("MAPIAllocateBuffer", kNoMemory),
      Fails("IMsgStore::OpenEntry", "lpStore->OpenEntry return 0x8007000e, EntryID=\"{item}\"\n")},
     [](Scene& s) {
         return HandsOut<IMessage>(
             [&](auto out) { return Quorvel_OpenStoreItem(s.msgStore.Get(), s.itemId.c_str(), out); });
     }},
    {"Quorvel_OpenFolderItem",
     {Fails("MAPIAllocateBuffer", kNoMemory),
      Fails("IMAPIFolder::OpenEntry", "lpFolder->OpenEntry return 0x8007000e, EntryID=\"{item}\"\n")},
     [](Scene& s) {
         return HandsOut<IMessage>(
             [&](auto out) { return Quorvel_OpenFolderItem(s.folder.Get(), s.itemId.c_str(), out); });
     }},
    {"Quorvel_OpenItem",
     {Fails("MAPIAllocateBuffer", kNoMemory),
      Fails("IMAPISession::OpenMsgStore", "lpSession->OpenMsgStore return 0x8007000e, Store=\"{store}\"\n"),
      Fails("MAPIAllocateBuffer", kNoMemory),
      Fails("IMsgStore::OpenEntry", "lpStore->OpenEntry return 0x8007000e, EntryID=\"{item}\"\n")},
     [](Scene& s) {
         return HandsOut<IMessage>(
             [&](auto out) { return Quorvel_OpenItem(s.session, s.itemId.c_str(), s.storeId.c_str(), out); });
     }},
    {"Quorvel_GetIMessageNet",
     {Fails("IUnknown::QueryInterface", "lpUnknown->QueryInterface return 0x8007000e\n")},
     [](Scene& s) {
         IMessage* out = nullptr;
         const HRESULT hr = Quorvel_GetIMessageNet(s.message.Get(), &out, 1);
         EXPECT_EQ(out == nullptr, hr != S_OK);
         Quorvel_CloseItem(out);
         return hr;
     }},
    {"Quorvel_EntryID2Str",
     {Fails("IMAPIProp::GetProps", "lpItem->GetProp(PR_ENTRYID) returned 0x8007000e\n"),
      Fails("MAPIAllocateBuffer", kNoMemory)},
     [](Scene& s) {
         const MapiBuffer<char> text(Quorvel_EntryID2Str(s.message.Get()));
         return text ? S_OK : kFailure;
     }},
    {"Quorvel_GetServiceProps", ServiceSteps(), RunServiceProps},
    {"Quorvel_GetStoreType",
     std::vector{
         Fails("IMAPISession::GetMsgStoresTable", "GetMsgStoresTable - 0x8007000e\n"),
         Fails("MAPIAllocateBuffer", kNoMemory),
         Fails("IMAPITable::SetColumns", "SetColumns - 0x8007000e\n"),
         Fails("IMAPITable::FindRow", "FindRow(PR_ENTRYID) - 0x8007000e\n"),
         Fails("IMAPITable::QueryRows", "QueryRows - 0x8007000e\n"),
         Fails("MAPIAllocateBuffer", kNoMemory),
     } + ServiceSteps("Quorvel_GetServiceProps"),
     [](Scene& s) {
         int type = 77;
         const HRESULT hr = Quorvel_GetStoreType(s.session, s.storeId.c_str(), &type);
         EXPECT_EQ(type, hr == S_OK ? 0 : 77);
         return hr;
     }},
    {"Quorvel_GetPropValue",
     {Passes("IMAPIProp::GetProps")},
     [](Scene& s) {
         return HandsOutBuffer<SPropValue>(
             [&](auto out) { return Quorvel_GetPropValue(s.message.Get(), PR_SUBJECT_W, out); });
     }},
    {"Quorvel_GetPropValues",
     {Passes("IMAPIProp::GetProps")},
     [](Scene& s) {
         TagList tags(PR_SUBJECT_W, PR_ENTRYID);
         ULONG count = 5;
         const HRESULT hr = HandsOutBuffer<SPropValue>(
             [&](auto out) { return Quorvel_GetPropValues(s.message.Get(), tags, &count, out); });
         EXPECT_EQ(count, hr == S_OK ? 2u : 0u);
         return hr;
     }},
    {"Quorvel_GetPropValuesInOneMValue",
     {Fails("IMAPIProp::GetProps", "lpItem->GetProps returned 0x8007000e\n"),
      Fails("MAPIAllocateBuffer", kNoMemory)},
     [](Scene& s) {
         TagList tags(PR_SUBJECT_W, PR_BODY_W);
         return HandsOutBuffer<SPropValue>(
             [&](auto out) { return Quorvel_GetPropValuesInOneMValue(s.message.Get(), tags, out); });
     }},
    {"Quorvel_GetStreamPropValue",
     {Fails("IMAPIProp::OpenProperty", "lpMapiProp->OpenProperty returned 0x8007000e\n"),
      Fails("IStream::Stat", "pStream->Stat returned 0x8007000e\n"), Fails("MAPIAllocateBuffer", kNoMemory),
      Fails("IStream::Read", "pStream1->Read returned 0x8007000e\n")},
     RunStreamValue},
    {"Quorvel_StreamPropSize",
     {Fails("IMAPIProp::OpenProperty", "lpMapiProp->OpenProperty returned 0x8007000e\n"),
      Fails("IStream::Stat", "pStream->Stat returned 0x8007000e\n")},
     [](Scene& s) {
         ULONG size = 5;
         const HRESULT hr = Quorvel_StreamPropSize(s.message.Get(), PR_BODY_W, &size);
         EXPECT_EQ(size, hr == S_OK ? 8u : 0u);
         return hr;
     }},
    {"Quorvel_StreamPropEmpty",
     {Fails("IMAPIProp::OpenProperty", "lpMessage->OpenProperty returned 0x8007000e, EntryID = {item}\n"),
      Fails("IStream::Stat", "pStream->Stat returned 0x8007000e\n"),
      Fails("IStream::Read", "pStream->Read returned 0x8007000e\n")},
     RunStreamEmpty},
    {"Quorvel_GetSubjectSize",
     {Passes("IMAPIProp::GetProps")},
     [](Scene& s) {
         ULONG size = 5;
         const HRESULT hr = Quorvel_GetSubjectSize(s.message.Get(), 1, &size, nullptr, 0);
         EXPECT_EQ(size, hr == S_OK ? 14u : 0u);
         return hr;
     }},
    {"Quorvel_GetSubjectBodyAttachmentsSize",
     {Ignores("IMAPIProp::GetProps"),
      Bears("IMAPIProp::OpenProperty",
            {{"lpMapiProp->OpenProperty returned 0x8007000e\n", "Quorvel_StreamPropSize"}}),
      Bears("IStream::Stat", {{"pStream->Stat returned 0x8007000e\n", "Quorvel_StreamPropSize"}}),
      Bears("IMessage::GetAttachmentTable",
            {{"lpItem->GetAttachmentTable return 0x8007000e\n", "Quorvel_GetAttachmentsSize"}}),
      Bears("IMAPITable::GetRowCount",
            {{"lpTable->GetRowCount return 0x8007000e\n", "Quorvel_GetAttachmentsSize"}}),
      Bears("IMAPITable::SetColumns",
            {{"lpTable->SetColumns return 0x8007000e\n", "Quorvel_GetAttachmentsSize"}}),
      Bears("IMAPITable::QueryRows",
            {{"lpTable->QueryRows return 0x8007000e\n", "Quorvel_GetAttachmentsSize"}})},
     [](Scene& s) {
         const ULONG whole = 14 + 8 + 200;
         const ULONG size = Quorvel_GetSubjectBodyAttachmentsSize(s.message.Get(), 1, nullptr, 0);
         EXPECT_EQ(size == whole, !mailbox::calls::Struck()) << size;
         EXPECT_TRUE(size == whole || size == whole - 14 || size == whole - 8 || size == whole - 200) << size;
         return S_OK;
     }},
    {"Quorvel_GetIDFromName",
     {Fails("IMAPIProp::GetIDsFromNames", "lpItem->GetIDsFromNames return 0x8007000e\n")},
     [](Scene& s) {
         const ULONG tag = Quorvel_GetIDFromName2(s.message.Get(), kSetAppointment, kLocation, PT_UNICODE);
         EXPECT_EQ(tag,
                   mailbox::calls::Struck() ? 0 : s.item.NamedTag(kSetAppointment, kLocation, PT_UNICODE));
         return tag ? S_OK : kFailure;
     }},
    {"Quorvel_GetIDsFromNames",
     {Fails("IMAPIProp::GetIDsFromNames", "GetIDsFromNames return 0x8007000e\n")},
     [](Scene& s) {
         GUID set = {0x00020329, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
         MAPINAMEID name = {};
         name.lpguid = &set;
         name.ulKind = MNID_STRING;
         name.Kind.lpwstrName = const_cast<wchar_t*>(L"crmid");
         return HandsOutBuffer<SPropTagArray>(
             [&](auto out) { return Quorvel_GetIDsFromNames(s.message.Get(), 1, &name, out); });
     }},
    {"Quorvel_ResolveTags",
     {Fails("MAPIAllocateBuffer", "MAPIAllocateBuffer return 0x8007000e\n"),
      {"IMAPIProp::GetIDsFromNames",
       kFailure,
       {{"GetIDsFromNames return 0x8007000e\n", "Quorvel_GetIDsFromNames"},
        {"Quorvel_GetIDsFromNames return 0x8007000e\n"},
        {"NamedProp->Tag failed for Prop: Key=\"Appointment.Location\", "
         "GUID=\"{00062002-0000-0000-C000-000000000046}\", nID=33288, sID=\"\",nType=0x1f\n"},
        {"hRes != S_OK\n", nullptr, sevInfo}}}},
     RunResolveTags},
    {"Quorvel_GetAttachments",
     {Ignores("IMAPIProp::GetProps"),
      Fails("IMessage::GetAttachmentTable", "pMessage->GetAttachmentTable return 0x8007000e\n"),
      Fails("IMAPITable::SetColumns", "pTable->SetColumns return 0x8007000e\n"),
      Fails("IMAPITable::GetRowCount", "pTable->GetRowCount return 0x8007000e\n"),
      Fails("IMAPITable::QueryRows", "pTable->QueryRows return 0x8007000e\n"),
      Fails("MAPIAllocateBuffer", kNoMemory)},
     [](Scene& s) {
         long* numbers = nullptr;
         ULONG count = 5;
         const HRESULT hr = Quorvel_GetAttachments(s.message.Get(), &numbers, &count);
         const MapiBuffer<long> owner(numbers);
         EXPECT_EQ(count, mailbox::calls::Struck() ? 0u : 2u);
         EXPECT_EQ(numbers == nullptr, count == 0);
         return hr;
     }},
    {"Quorvel_OpenAttachment",
     {Fails("IMessage::OpenAttach", "pMsg->OpenAttach return 0x8007000e\n")},
     [](Scene& s) {
         return HandsOut<IAttach>([&](auto out) { return Quorvel_OpenAttachment(s.message.Get(), 0, out); });
     }},
    {"Quorvel_CopyAttachment",
     {Fails("IMessage::OpenAttach", "OpenAttach return 0x8007000e\n", "Quorvel_CopyAttachment_"),
      Fails("IMessage::CreateAttach", "CreateAttach return 0x8007000e\n", "Quorvel_CopyAttachment_"),
      Fails("IMAPIProp::CopyTo", "CopyTo return 0x8007000e\n", "Quorvel_CopyAttachment_"),
      Bears("IMAPIProp::GetProps", {{"GetPropValue return 0x8007000e\n", "Attach_IsContactPhoto_get"}}),
      Bears("IMAPIProp::SetProps", {{"SetProps return 0x8007000e\n", "Attach_IsContactPhoto_set"}}),
      Bears("IMAPIProp::GetProps", {{"GetPropValue return 0x8007000e\n", "Attach_Hidden_get"}}),
      Bears("IMAPIProp::SetProps", {{"SetProps return 0x8007000e\n", "Attach_RenderingPosition_set"}}),
      Ignores("IMAPIProp::SaveChanges"), Ignores("IMAPIProp::SaveChanges")},
     [](Scene& s) {
         ULONG number = 77;
         const HRESULT hr = Quorvel_CopyAttachment(s.message.Get(), &number, s.message.Get(), 0, 1);
         EXPECT_EQ(number == 77, hr != S_OK);
         return hr;
     }},
    {"Quorvel_DeleteAttachment",
     {Fails("IMessage::DeleteAttach", "cant delete attach, hr=0x8007000e\n"),
      Ignores("IMAPIProp::SaveChanges")},
     [](Scene& s) {
         const HRESULT hr = Quorvel_DeleteAttachment(s.message.Get(), 0, 1);
         EXPECT_EQ(mailbox::calls::Count("IMAPIProp::SaveChanges"), 1u)
             << "saved whatever the deletion's result";
         return hr;
     }},
    {"Quorvel_GetAttachmentRealSize",
     {Fails("IMAPIProp::GetProps", "IMapiProp::GetProp return 0x8007000e\n"),
      Fails("IMAPIProp::OpenProperty",
            "ATTACH_BY_VALUE: OpenProperty(PR_ATTACH_DATA_BIN,IStream) returned 0x8007000e\n"),
      Fails("IStream::Stat", "ATTACH_BY_VALUE: pStream->Stat returned 0x8007000e\n")},
     RunRealSize<0>},
    {"Quorvel_GetAttachmentRealSize",
     {Fails("IMAPIProp::GetProps", "IMapiProp::GetProp return 0x8007000e\n"),
      Fails("IMAPIProp::OpenProperty",
            "ATTACH_EMBEDDED_MSG: OpenProperty(PR_ATTACH_DATA_OBJ,IMessage) returned 0x8007000e\n"),
      Fails("IMAPIProp::GetProps", "ATTACH_EMBEDDED_MSG: GetProp(PR_MESSAGE_SIZE) return 0x8007000e\n")},
     RunRealSize<1>},
    {"Quorvel_ClearHasPhotoFlag",
     {Fails("IMAPIProp::GetIDsFromNames", "GetIDsFromNames return 0x8007000e\n", "ContactItem_HasPhoto_tag"),
      Fails("IMAPIProp::SetProps", "SetProps return 0x8007000e\n", "ContactItem_HasPhoto_set"),
      Ignores("IMAPIProp::SaveChanges")},
     [](Scene& s) {
         const HRESULT hr = Quorvel_ClearHasPhotoFlag(s.message.Get(), 1);
         EXPECT_EQ(mailbox::calls::Count("IMAPIProp::SaveChanges"), 1u)
             << "saved whatever the write's result";
         return hr;
     }},
    {"Quorvel_FindItem",
     {Fails("IMAPIFolder::GetContentsTable", "lpDstFolder->GetContentsTable return 0x8007000e\n"),
      Fails("IMAPITable::SetColumns", "lpTable->SetColumns return 0x8007000e\n"),
      Fails("IMAPITable::Restrict", "lpTable->Restrict return 0x8007000e\n"),
      Fails("IMAPITable::GetRowCount", "lpTable->GetRowCount return 0x8007000e\n"),
      Fails("IMAPITable::QueryRows", "lpTable->QueryRows return 0x8007000e\n")},
     [](Scene& s) {
         std::string key = s.item.IdBytes() + "search key";
         SPropValue value = {};
         value.ulPropTag = PR_SEARCH_KEY;
         value.Value.bin = {static_cast<ULONG>(key.size()), reinterpret_cast<BYTE*>(key.data())};
         char text[512] = "before";
         const HRESULT hr = Quorvel_FindItem(s.folder.Get(), &value, text);
         EXPECT_EQ(text, hr == S_OK ? s.itemId : "before");
         return hr;
     }},
    {"Quorvel_ItemMove",
     {Fails("MAPIAllocateBuffer", kNoMemory, "Quorvel_OpenStore"),
      Fails("IMAPISession::OpenMsgStore", "lpSession->OpenMsgStore return 0x8007000e, StoreID=\"{store}\"\n",
            "Quorvel_OpenStore"),
      Fails("MAPIAllocateBuffer", kNoMemory, "Quorvel_OpenStoreFolder"),
      Fails("IMsgStore::OpenEntry", "lpStore->OpenEntry return 0x8007000e, FolderID=\"{folder}\"\n",
            "Quorvel_OpenStoreFolder"),
      Fails("MAPIAllocateBuffer", kNoMemory, "Quorvel_OpenStore"),
      Fails("IMAPISession::OpenMsgStore",
            "lpSession->OpenMsgStore return 0x8007000e, StoreID=\"{otherStore}\"\n", "Quorvel_OpenStore"),
      Fails("MAPIAllocateBuffer", kNoMemory, "Quorvel_OpenStoreFolder"),
      Fails("IMsgStore::OpenEntry", "lpStore->OpenEntry return 0x8007000e, FolderID=\"{otherFolder}\"\n",
            "Quorvel_OpenStoreFolder"),
      Fails("MAPIAllocateBuffer", kNoMemory, "Quorvel_OpenFolderItem"),
      Fails("IMAPIFolder::OpenEntry", "lpFolder->OpenEntry return 0x8007000e, EntryID=\"{item}\"\n",
            "Quorvel_OpenFolderItem"),
      Ignores("IMAPIProp::GetProps"), Fails("MAPIAllocateBuffer", kNoMemory),
      Passes("IMAPIFolder::CopyMessages"),
      Bears("IMAPIFolder::GetContentsTable",
            {{"lpDstFolder->GetContentsTable return 0x8007000e\n", "Quorvel_FindItem"},
             {"Quorvel_FindItem return 0x8007000e\n"}}),
      Bears("IMAPITable::SetColumns", {{"lpTable->SetColumns return 0x8007000e\n", "Quorvel_FindItem"},
                                       {"Quorvel_FindItem return 0x8007000e\n"}}),
      Bears("IMAPITable::Restrict", {{"lpTable->Restrict return 0x8007000e\n", "Quorvel_FindItem"},
                                     {"Quorvel_FindItem return 0x8007000e\n"}}),
      Bears("IMAPITable::GetRowCount", {{"lpTable->GetRowCount return 0x8007000e\n", "Quorvel_FindItem"},
                                        {"Quorvel_FindItem return 0x8007000e\n"}}),
      Bears("IMAPITable::QueryRows", {{"lpTable->QueryRows return 0x8007000e\n", "Quorvel_FindItem"},
                                      {"Quorvel_FindItem return 0x8007000e\n"}})},
     RunMove},
    {"Quorvel_SaveItem",
     {Passes("IMAPIProp::SaveChanges")},
     [](Scene& s) { return Quorvel_SaveItem(s.message.Get(), KEEP_OPEN_READWRITE); }},
    {"Quorvel_SetPhotoAttachment",
     {Bears("IMAPIProp::GetIDsFromNames",
            {{"GetIDsFromNames return 0x8007000e\n", "ContactItem_HasPhoto_tag"}}),
      Bears("IMAPIProp::GetProps", {{"GetPropValue return 0x8007000e\n", "ContactItem_HasPhoto_get"}}),
      Ignores("IMAPIProp::GetProps"),
      Bears("IMessage::GetAttachmentTable",
            {{"pMessage->GetAttachmentTable return 0x8007000e\n", "Quorvel_GetAttachments"}}),
      Bears("IMAPITable::SetColumns", {{"pTable->SetColumns return 0x8007000e\n", "Quorvel_GetAttachments"}}),
      Bears("IMAPITable::GetRowCount",
            {{"pTable->GetRowCount return 0x8007000e\n", "Quorvel_GetAttachments"}}),
      Bears("IMAPITable::QueryRows", {{"pTable->QueryRows return 0x8007000e\n", "Quorvel_GetAttachments"}}),
      Bears("MAPIAllocateBuffer", {{kNoMemory, "Quorvel_GetAttachments"}}),
      // The new photo.
      Fails("IMessage::OpenAttach", "OpenAttach return 0x8007000e\n", "Quorvel_CopyAttachment_"),
      Fails("IMessage::CreateAttach", "CreateAttach return 0x8007000e\n", "Quorvel_CopyAttachment_"),
      Fails("IMAPIProp::CopyTo", "CopyTo return 0x8007000e\n", "Quorvel_CopyAttachment_"),
      Bears("IMAPIProp::GetIDsFromNames",
            {{"GetIDsFromNames return 0x8007000e\n", "ContactItem_HasPhoto_tag"},
             {"ContactItem_HasPhoto_set failed\n", "Quorvel_CopyAttachment"}}),
      Bears("IMAPIProp::SetProps", {{"SetProps return 0x8007000e\n", "ContactItem_HasPhoto_set"},
                                    {"ContactItem_HasPhoto_set failed\n", "Quorvel_CopyAttachment"}}),
      {"IMAPIProp::SetProps",
       kFailure,
       {{"SetProps return 0x8007000e\n", "Attach_IsContactPhoto_set"},
        {"Attach_IsContactPhoto_set failed\n", "Quorvel_CopyAttachment"}}},
      // The photo that it replaces.
      Bears("IMessage::OpenAttach", {{"pMsg->OpenAttach return 0x8007000e\n", "Quorvel_OpenAttachment"}}),
      Bears("IMAPIProp::GetProps", {{"GetPropValue return 0x8007000e\n", "Attach_IsContactPhoto_get"}}),
      Bears("IMessage::DeleteAttach",
            {{"cant delete pred photo attach, hr=0x8007000e\n", "Quorvel_CopyAttachment"}}),
      // The other photo becomes an ordinary attachment.
      Bears("IMessage::OpenAttach", {{"pMsg->OpenAttach return 0x8007000e\n", "Quorvel_OpenAttachment"}}),
      Bears("IMAPIProp::GetProps", {{"GetPropValue return 0x8007000e\n", "Attach_IsContactPhoto_get"}}),
      Bears("IMessage::OpenAttach",
            {{"OpenAttach return 0x8007000e\n", "Quorvel_CopyAttachment_"}, kNotDemoted}),
      Bears("IMessage::CreateAttach",
            {{"CreateAttach return 0x8007000e\n", "Quorvel_CopyAttachment_"}, kNotDemoted}),
      Bears("IMAPIProp::CopyTo", {{"CopyTo return 0x8007000e\n", "Quorvel_CopyAttachment_"}, kNotDemoted}),
      Bears("IMAPIProp::GetProps", {{"GetPropValue return 0x8007000e\n", "Attach_IsContactPhoto_get"}}),
      Bears("IMAPIProp::SetProps", {{"SetProps return 0x8007000e\n", "Attach_IsContactPhoto_set"}}),
      Bears("IMAPIProp::GetProps", {{"GetPropValue return 0x8007000e\n", "Attach_Hidden_get"}}),
      Bears("IMAPIProp::SetProps", {{"SetProps return 0x8007000e\n", "Attach_RenderingPosition_set"}}),
      Bears("IMAPIProp::SaveChanges", {kNotDemoted}),
      Bears("IMessage::DeleteAttach",
            {{"can clear attach.IsContactPhoto (deleteattach), hr=0x8007000e\n", "Quorvel_CopyAttachment"}}),
      // The ordinary attachment stays.
      Bears("IMessage::OpenAttach", {{"pMsg->OpenAttach return 0x8007000e\n", "Quorvel_OpenAttachment"}}),
      Bears("IMAPIProp::GetProps", {{"GetPropValue return 0x8007000e\n", "Attach_IsContactPhoto_get"}}),
      Ignores("IMAPIProp::SaveChanges"),
      Ignores("IMAPIProp::SaveChanges")},
     [](Scene& s) {
         ULONG number = 77;
         const HRESULT hr = Quorvel_SetPhotoAttachment(s.contact.Get(), &number, s.message.Get(), 0, 1);
         EXPECT_TRUE(number != 77 || hr != S_OK);
         return hr;
     }},
};

class Failures : public MailboxTest, public testing::WithParamInterface<Operation> {
  protected:
    Failures() : m_otherStore(AddStore(L"Archive")), m_otherFolder(m_otherStore.Root().Folder(L"Old")) {}

    Scene MakeScene() {
        TestItem item = Inbox().Item();
        item.Subject(L"subject").Body(L"body").Named(kSetAppointment, kLocation, L"Room 1");
        item.Binary(PR_SEARCH_KEY, item.IdBytes() + "search key");
        mailbox::Properties photo = Picture(L"photo.jpg");
        photo.Bool(PR_ATTACHMENT_CONTACTPHOTO, true);
        item.Attach(photo).AttachMessage(L"a message", Inbox().Item().Subject(L"inner"));
        for (auto& attachment : item.Edit().attachments) {
            auto sized = std::make_shared<mailbox::Attachment>(*attachment);
            sized->properties.Long(PR_ATTACH_SIZE, 100);
            attachment = sized;
        }
        TestItem contact = Inbox().Item(L"IPM.Contact").Named(kSetAddress, kHasPhoto, true);
        contact.Attach(photo).Attach(photo).Attach(L"notes.txt", "data");
        (void)item.NamedTag("{00020329-0000-0000-C000-000000000046}", L"crmid", PT_STRING8);

        Scene scene = {item,
                       item.Id(),
                       Inbox().Id(),
                       Store().Id(),
                       m_otherFolder.Id(),
                       m_otherStore.Id(),
                       HexText(Store().Record().serviceUid),
                       &Inbox().Record(),
                       Session(),
                       Open(Store()),
                       Open(Inbox()),
                       Open(item),
                       {},
                       Open(contact)};
        for (ULONG i = 0; i < std::size(scene.attachments); i++) {
            EXPECT_EQ(scene.message->OpenAttach(i, nullptr, 0, &scene.attachments[i]), S_OK);
        }
        return scene;
    }

    static mailbox::Properties Picture(std::wstring_view name) {
        mailbox::Properties properties;
        properties.Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE).Text(PR_DISPLAY_NAME_W, name);
        properties.Binary(PR_ATTACH_DATA_BIN, "a picture");
        return properties;
    }

    static LogLines Expected(const Step& step, const Scene& scene) {
        const std::pair<const char*, const std::string&> placeholders[] = {
            {"{item}", scene.itemId},
            {"{folder}", scene.folderId},
            {"{store}", scene.storeId},
            {"{otherStore}", scene.otherStoreId},
            {"{otherFolder}", scene.otherFolderId}};
        LogLines lines;
        for (const Line& line : step.lines) {
            std::string text = line.text;
            for (const auto& [placeholder, value] : placeholders) {
                if (const size_t at = text.find(placeholder); at != std::string::npos) {
                    text.replace(at, std::string_view(placeholder).size(), value);
                }
            }
            lines.push_back({line.severity, line.tag ? line.tag : GetParam().name, text});
        }
        return lines;
    }

  private:
    TestStore m_otherStore;
    TestFolder m_otherFolder;
};

TEST_P(Failures, OfEachCallAreReported) {
    const Operation& operation = GetParam();
    Session();
    size_t run = 0;
    SweepFaults(
        [&](auto arm) {
            Scene scene = MakeScene();
            CapturedLog log;
            mailbox::calls::Record();
            arm();
            const HRESULT hr = operation.run(scene);
            ASSERT_LE(run, operation.steps.size()) << "there are more calls than listed";
            if (run < operation.steps.size()) {
                const Step& step = operation.steps[run];
                EXPECT_EQ(hr, step.result) << step.method;
                EXPECT_EQ(log.Lines(), Expected(step, scene)) << step.method;
            } else {
                EXPECT_EQ(hr, S_OK);
                EXPECT_EQ(log.Lines(), LogLines());
                std::vector<std::string> methods;
                for (const Step& step : operation.steps) methods.push_back(step.method);
                const std::vector<std::string> recorded = mailbox::calls::Recorded();
                EXPECT_TRUE(recorded.empty() || recorded == methods) << testing::PrintToString(recorded);
            }
            run++;
        },
        kFailure);
    EXPECT_EQ(run, operation.steps.size() + 1) << "there are fewer calls than listed";
}

INSTANTIATE_TEST_SUITE_P(Exports, Failures, testing::ValuesIn(kOperations), [](const auto& test) {
    return std::string(test.param.name).substr(8) + "_" + std::to_string(test.index);
});

}  // namespace
