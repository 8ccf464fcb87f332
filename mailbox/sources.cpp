#include "mailbox/sources.h"

#include "mailbox/platform_headers.h"

namespace mailbox {

size_t SizeOf(const TAttachment& attachment) {
    return attachment.properties.Size() + (attachment.message != nullptr ? SizeOf(*attachment.message) : 0);
}

size_t SizeOf(const TMessageData& data) {
    size_t size = data.properties.Size();
    for (const CProperties& recipient : data.recipients) size += recipient.Size();
    for (const auto& attachment : data.attachments) size += SizeOf(*attachment);
    return size;
}

namespace {

bool Give(TView& view, CScratch& scratch, ULONG value) {
    view.bytes = scratch.KeepValue(value);
    return true;
}

bool GiveBool(TView& view, CScratch& scratch, bool value) {
    view.bytes = scratch.KeepValue(static_cast<unsigned short>(value));
    return true;
}

bool Give(TView& view, std::string_view bytes) {
    view.bytes = bytes;
    return !bytes.empty();
}

ULONG Clamped(size_t size) {
    return size > MAXLONG ? MAXLONG : static_cast<ULONG>(size);
}

/// By what a host tells whose names the identifiers from 0x8000 up have: equal where a table is shared, and here
/// every store has its own.
bool GiveMappingSignature(TView& view, CScratch& scratch, const TStore* store) {
    return store != nullptr && Give(view, scratch.Keep(SearchKeyOf("names of " + store->id)));
}

template <ULONG value, typename Record>
bool Constant(const Record&, TView& view, CScratch& scratch) {
    return Give(view, scratch, value);
}

ULONG RecipientType(const CProperties& recipient) {
    const CProperties::TSlot* slot = recipient.Find(PROP_ID(PR_RECIPIENT_TYPE));
    return slot != nullptr && PROP_TYPE(slot->tag) == PT_LONG ? As<ULONG>(recipient.Bytes(*slot)) : MAPI_TO;
}

/// The names of one kind of recipient, "Ann; Bob"; an absent name is given by its address.
template <ULONG type>
bool DisplayNames(const TMessageRecord& record, TView& view, CScratch& scratch) {
    std::string names;
    for (const CProperties& recipient : record.data->recipients) {
        if (RecipientType(recipient) != type) continue;
        const CProperties::TSlot* slot = recipient.Find(PROP_ID(PR_DISPLAY_NAME));
        if (slot == nullptr) slot = recipient.Find(PROP_ID(PR_EMAIL_ADDRESS));
        if (slot == nullptr || PROP_TYPE(slot->tag) != PT_UNICODE) continue;
        names.append(names.empty() ? "" : "; ").append(recipient.Bytes(*slot));
    }
    view.bytes = scratch.Keep(names);
    return true;
}

constexpr ULONG kMessageAccess = MAPI_ACCESS_READ | MAPI_ACCESS_MODIFY | MAPI_ACCESS_DELETE;

const TComputed<TMessageRecord> kMessageTable[] = {
    {PR_ENTRYID,
     [](const TMessageRecord& r, TView& v, CScratch&) { return r.item != nullptr && Give(v, r.item->id); }},
    {PR_RECORD_KEY,
     [](const TMessageRecord& r, TView& v, CScratch&) { return r.item != nullptr && Give(v, r.item->id); }},
    {PR_INSTANCE_KEY,
     [](const TMessageRecord& r, TView& v, CScratch&) { return r.item != nullptr && Give(v, r.item->id); }},
    {PR_SEARCH_KEY,
     [](const TMessageRecord& r, TView& v, CScratch& s) {
         return r.item != nullptr && Give(v, s.Keep(SearchKeyOf(r.item->id)));
     }},
    {PR_PARENT_ENTRYID,
     [](const TMessageRecord& r, TView& v, CScratch&) {
         return r.item != nullptr && r.item->folder != nullptr && Give(v, r.item->folder->id);
     }},
    {PR_STORE_ENTRYID, [](const TMessageRecord& r, TView& v, CScratch&) { return Give(v, r.store->id); }},
    {PR_STORE_RECORD_KEY, [](const TMessageRecord& r, TView& v, CScratch&) { return Give(v, r.store->id); }},
    {PR_MAPPING_SIGNATURE,
     [](const TMessageRecord& r, TView& v, CScratch& s) { return GiveMappingSignature(v, s, r.store); }},
    {PR_OBJECT_TYPE, Constant<MAPI_MESSAGE>},
    {PR_HASATTACH, [](const TMessageRecord& r, TView& v,
                      CScratch& s) { return GiveBool(v, s, !r.data->attachments.empty()); }},
    {PR_MESSAGE_SIZE,
     [](const TMessageRecord& r, TView& v, CScratch& s) { return Give(v, s, Clamped(SizeOf(*r.data))); }},
    {PR_MESSAGE_FLAGS,
     [](const TMessageRecord& r, TView& v, CScratch& s) {
         return Give(v, s, MSGFLAG_READ | (r.data->attachments.empty() ? 0 : MSGFLAG_HASATTACH));
     }},
    {PR_DISPLAY_TO_W, DisplayNames<MAPI_TO>},
    {PR_DISPLAY_CC_W, DisplayNames<MAPI_CC>},
    {PR_DISPLAY_BCC_W, DisplayNames<MAPI_BCC>},
    {PR_ACCESS, Constant<kMessageAccess>},
    {PR_ACCESS_LEVEL,
     [](const TMessageRecord& r, TView& v, CScratch& s) { return Give(v, s, r.writable ? 1u : 0u); }},
};

ULONG CountItems(const TFolder& folder, bool associated) {
    ULONG count = 0;
    for (const auto& item : folder.items)
        if (item->associated == associated) ++count;
    return count;
}

constexpr ULONG kFolderAccess = MAPI_ACCESS_READ | MAPI_ACCESS_MODIFY | MAPI_ACCESS_DELETE |
                                MAPI_ACCESS_CREATE_HIERARCHY | MAPI_ACCESS_CREATE_CONTENTS;

const TComputed<TFolderRecord> kFolderTable[] = {
    {PR_ENTRYID, [](const TFolderRecord& r, TView& v, CScratch&) { return Give(v, r.folder->id); }},
    {PR_RECORD_KEY, [](const TFolderRecord& r, TView& v, CScratch&) { return Give(v, r.folder->id); }},
    {PR_INSTANCE_KEY, [](const TFolderRecord& r, TView& v, CScratch&) { return Give(v, r.folder->id); }},
    {PR_SEARCH_KEY, [](const TFolderRecord& r, TView& v,
                       CScratch& s) { return Give(v, s.Keep(SearchKeyOf(r.folder->id))); }},
    // A root is its own parent.
    {PR_PARENT_ENTRYID,
     [](const TFolderRecord& r, TView& v, CScratch&) {
         return Give(v, r.folder->parent != nullptr ? r.folder->parent->id : r.folder->id);
     }},
    {PR_STORE_ENTRYID, [](const TFolderRecord& r, TView& v,
                          CScratch&) { return r.folder->store != nullptr && Give(v, r.folder->store->id); }},
    {PR_STORE_RECORD_KEY,
     [](const TFolderRecord& r, TView& v, CScratch&) {
         return r.folder->store != nullptr && Give(v, r.folder->store->id);
     }},
    {PR_MAPPING_SIGNATURE, [](const TFolderRecord& r, TView& v,
                              CScratch& s) { return GiveMappingSignature(v, s, r.folder->store); }},
    {PR_OBJECT_TYPE, Constant<MAPI_FOLDER>},
    {PR_FOLDER_TYPE,
     [](const TFolderRecord& r, TView& v, CScratch& s) {
         return Give(v, s, r.folder->parent != nullptr ? FOLDER_GENERIC : FOLDER_ROOT);
     }},
    {PR_CONTENT_COUNT,
     [](const TFolderRecord& r, TView& v, CScratch& s) { return Give(v, s, CountItems(*r.folder, false)); }},
    {PR_ASSOC_CONTENT_COUNT,
     [](const TFolderRecord& r, TView& v, CScratch& s) { return Give(v, s, CountItems(*r.folder, true)); }},
    {PR_SUBFOLDERS, [](const TFolderRecord& r, TView& v,
                       CScratch& s) { return GiveBool(v, s, !r.folder->folders.empty()); }},
    {PR_DEPTH, [](const TFolderRecord& r, TView& v, CScratch& s) { return Give(v, s, r.depth); }},
    {PR_ACCESS, Constant<kFolderAccess>},
    {PR_ACCESS_LEVEL, Constant<1>},
};

constexpr ULONG kUnicodeStore = 0x00040000;
constexpr ULONG kStoreSupport = STORE_ENTRYID_UNIQUE | STORE_MODIFY_OK | STORE_CREATE_OK | STORE_ATTACH_OK |
                                STORE_OLE_OK | STORE_MV_PROPS_OK | STORE_RESTRICTION_OK | STORE_SORT_OK |
                                kUnicodeStore;

template <ESpecialFolder which>
bool Special(const TStoreRecord& record, TView& view, CScratch&) {
    return Give(view, record.store->special[which]);
}

ULONG ValidFolders(const TStore& store) {
    static const ULONG bits[sfCount] = {FOLDER_IPM_SUBTREE_VALID, FOLDER_IPM_INBOX_VALID,
                                        FOLDER_IPM_OUTBOX_VALID, FOLDER_IPM_SENTMAIL_VALID,
                                        FOLDER_IPM_WASTEBASKET_VALID};
    ULONG mask = 0;
    for (size_t which = 0; which < sfCount; ++which)
        if (!store.special[which].empty()) mask |= bits[which];
    return mask;
}

const TComputed<TStoreRecord> kStoreTable[] = {
    {PR_ENTRYID, [](const TStoreRecord& r, TView& v, CScratch&) { return Give(v, r.store->id); }},
    {PR_STORE_ENTRYID, [](const TStoreRecord& r, TView& v, CScratch&) { return Give(v, r.store->id); }},
    {PR_RECORD_KEY, [](const TStoreRecord& r, TView& v, CScratch&) { return Give(v, r.store->id); }},
    {PR_STORE_RECORD_KEY, [](const TStoreRecord& r, TView& v, CScratch&) { return Give(v, r.store->id); }},
    {PR_INSTANCE_KEY, [](const TStoreRecord& r, TView& v, CScratch&) { return Give(v, r.store->id); }},
    {PR_SEARCH_KEY,
     [](const TStoreRecord& r, TView& v, CScratch& s) { return Give(v, s.Keep(SearchKeyOf(r.store->id))); }},
    {PR_MAPPING_SIGNATURE,
     [](const TStoreRecord& r, TView& v, CScratch& s) { return GiveMappingSignature(v, s, r.store); }},
    {PR_OBJECT_TYPE, Constant<MAPI_STORE>},
    {PR_RESOURCE_TYPE, Constant<MAPI_STORE_PROVIDER>},
    {PR_RESOURCE_FLAGS, [](const TStoreRecord& r, TView& v,
                           CScratch& s) { return Give(v, s, r.isDefault ? STATUS_DEFAULT_STORE : 0); }},
    {PR_DEFAULT_STORE,
     [](const TStoreRecord& r, TView& v, CScratch& s) { return GiveBool(v, s, r.isDefault); }},
    {PR_SERVICE_UID, [](const TStoreRecord& r, TView& v, CScratch&) { return Give(v, r.store->serviceUid); }},
    {PR_STORE_SUPPORT_MASK, Constant<kStoreSupport>},
    {PR_VALID_FOLDER_MASK,
     [](const TStoreRecord& r, TView& v, CScratch& s) { return Give(v, s, ValidFolders(*r.store)); }},
    {PR_IPM_SUBTREE_ENTRYID, Special<sfIpmSubtree>},
    {PR_IPM_OUTBOX_ENTRYID, Special<sfOutbox>},
    {PR_IPM_SENTMAIL_ENTRYID, Special<sfSentItems>},
    {PR_IPM_WASTEBASKET_ENTRYID, Special<sfDeletedItems>},
};

const TComputed<TAttachmentRecord> kAttachmentTable[] = {
    {PR_ATTACH_NUM,
     [](const TAttachmentRecord& r, TView& v, CScratch& s) { return Give(v, s, r.attachment->number); }},
    {PR_ATTACH_SIZE, [](const TAttachmentRecord& r, TView& v,
                        CScratch& s) { return Give(v, s, Clamped(SizeOf(*r.attachment))); }},
    {PR_RECORD_KEY, [](const TAttachmentRecord& r, TView& v,
                       CScratch& s) { return Give(v, s.KeepValue(r.attachment->number)); }},
    {PR_INSTANCE_KEY, [](const TAttachmentRecord& r, TView& v,
                         CScratch& s) { return Give(v, s.KeepValue(r.attachment->number)); }},
    {PR_OBJECT_TYPE, Constant<MAPI_ATTACH>},
    {PR_ACCESS_LEVEL,
     [](const TAttachmentRecord& r, TView& v, CScratch& s) { return Give(v, s, r.writable ? 1u : 0u); }},
    // An embedded message is opened through the object; its property lists as one.
    {PR_ATTACH_DATA_OBJ,
     [](const TAttachmentRecord& r, TView& v, CScratch&) {
         v.bytes = {};
         return r.attachment->message != nullptr;
     }},
};

const TComputed<TRecipientRecord> kRecipientTable[] = {
    {PR_ROWID, [](const TRecipientRecord& r, TView& v,
                  CScratch& s) { return Give(v, s, static_cast<ULONG>(r.index)); }},
    {PR_INSTANCE_KEY, [](const TRecipientRecord& r, TView& v,
                         CScratch& s) { return Give(v, s.KeepValue(static_cast<ULONG>(r.index))); }},
    {PR_OBJECT_TYPE, Constant<MAPI_MAILUSER>},
};

const TComputed<TServiceRecord> kServiceTable[] = {
    {PR_SERVICE_UID, [](const TServiceRecord& r, TView& v, CScratch&) { return Give(v, r.service->uid); }},
    {PR_INSTANCE_KEY, [](const TServiceRecord& r, TView& v, CScratch&) { return Give(v, r.service->uid); }},
};

const TComputed<TAddressRecord> kAddressTable[] = {
    {PR_ENTRYID, [](const TAddressRecord& r, TView& v, CScratch&) { return Give(v, r.entry->id); }},
    {PR_RECORD_KEY, [](const TAddressRecord& r, TView& v, CScratch&) { return Give(v, r.entry->id); }},
    {PR_INSTANCE_KEY, [](const TAddressRecord& r, TView& v, CScratch&) { return Give(v, r.entry->id); }},
    {PR_OBJECT_TYPE, Constant<MAPI_MAILUSER>},
};

const TComputed<TAddressBookRecord> kAddressBookTable[] = {
    {PR_OBJECT_TYPE, Constant<MAPI_ADDRBOOK>},
};

}  // namespace

std::span<const TComputed<TMessageRecord>> TMessageRecord::Table() {
    return kMessageTable;
}
std::span<const TComputed<TFolderRecord>> TFolderRecord::Table() {
    return kFolderTable;
}
std::span<const TComputed<TStoreRecord>> TStoreRecord::Table() {
    return kStoreTable;
}
std::span<const TComputed<TAttachmentRecord>> TAttachmentRecord::Table() {
    return kAttachmentTable;
}
std::span<const TComputed<TRecipientRecord>> TRecipientRecord::Table() {
    return kRecipientTable;
}
std::span<const TComputed<TServiceRecord>> TServiceRecord::Table() {
    return kServiceTable;
}
std::span<const TComputed<TAddressRecord>> TAddressRecord::Table() {
    return kAddressTable;
}
std::span<const TComputed<TAddressBookRecord>> TAddressBookRecord::Table() {
    return kAddressBookTable;
}

}  // namespace mailbox
