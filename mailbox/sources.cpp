#include "mailbox/sources.h"

#include "mailbox/platform_headers.h"

namespace mailbox {

size_t SizeOf(const Attachment& attachment) {
    return attachment.properties.Size() + (attachment.message != nullptr ? SizeOf(*attachment.message) : 0);
}

size_t SizeOf(const MessageData& data) {
    size_t size = data.properties.Size();
    for (const Properties& recipient : data.recipients) size += recipient.Size();
    for (const auto& attachment : data.attachments) size += SizeOf(*attachment);
    return size;
}

namespace {

bool Give(View& view, Scratch& scratch, ULONG value) {
    view.bytes = scratch.KeepValue(value);
    return true;
}

bool GiveBool(View& view, Scratch& scratch, bool value) {
    view.bytes = scratch.KeepValue(static_cast<unsigned short>(value));
    return true;
}

bool Give(View& view, std::string_view bytes) {
    view.bytes = bytes;
    return !bytes.empty();
}

ULONG Clamped(size_t size) {
    return size > MAXLONG ? MAXLONG : static_cast<ULONG>(size);
}

/// By what a host tells whose names the identifiers from 0x8000 up have: equal where a table is shared, and here
/// every store has its own.
bool GiveMappingSignature(View& view, Scratch& scratch, const Store* store) {
    return store != nullptr && Give(view, scratch.Keep(SearchKeyOf("names of " + store->id)));
}

template <ULONG value, typename Record>
bool Constant(const Record&, View& view, Scratch& scratch) {
    return Give(view, scratch, value);
}

ULONG RecipientType(const Properties& recipient) {
    const Properties::Slot* slot = recipient.Find(PROP_ID(PR_RECIPIENT_TYPE));
    return slot != nullptr && PROP_TYPE(slot->tag) == PT_LONG ? As<ULONG>(recipient.Bytes(*slot)) : MAPI_TO;
}

/// The names of one kind of recipient, "Ann; Bob"; an absent name is given by its address.
template <ULONG type>
bool DisplayNames(const MessageRecord& record, View& view, Scratch& scratch) {
    std::string names;
    for (const Properties& recipient : record.data->recipients) {
        if (RecipientType(recipient) != type) continue;
        const Properties::Slot* slot = recipient.Find(PROP_ID(PR_DISPLAY_NAME));
        if (slot == nullptr) slot = recipient.Find(PROP_ID(PR_EMAIL_ADDRESS));
        if (slot == nullptr || PROP_TYPE(slot->tag) != PT_UNICODE) continue;
        names.append(names.empty() ? "" : "; ").append(recipient.Bytes(*slot));
    }
    view.bytes = scratch.Keep(names);
    return true;
}

constexpr ULONG kMessageAccess = MAPI_ACCESS_READ | MAPI_ACCESS_MODIFY | MAPI_ACCESS_DELETE;

const Computed<MessageRecord> kMessageTable[] = {
    {PR_ENTRYID,
     [](const MessageRecord& r, View& v, Scratch&) { return r.item != nullptr && Give(v, r.item->id); }},
    {PR_RECORD_KEY,
     [](const MessageRecord& r, View& v, Scratch&) { return r.item != nullptr && Give(v, r.item->id); }},
    {PR_INSTANCE_KEY,
     [](const MessageRecord& r, View& v, Scratch&) { return r.item != nullptr && Give(v, r.item->id); }},
    {PR_SEARCH_KEY, [](const MessageRecord& r, View& v,
                       Scratch& s) { return r.item != nullptr && Give(v, s.Keep(SearchKeyOf(r.item->id))); }},
    {PR_PARENT_ENTRYID,
     [](const MessageRecord& r, View& v, Scratch&) {
         return r.item != nullptr && r.item->folder != nullptr && Give(v, r.item->folder->id);
     }},
    {PR_STORE_ENTRYID, [](const MessageRecord& r, View& v, Scratch&) { return Give(v, r.store->id); }},
    {PR_STORE_RECORD_KEY, [](const MessageRecord& r, View& v, Scratch&) { return Give(v, r.store->id); }},
    {PR_MAPPING_SIGNATURE,
     [](const MessageRecord& r, View& v, Scratch& s) { return GiveMappingSignature(v, s, r.store); }},
    {PR_OBJECT_TYPE, Constant<MAPI_MESSAGE>},
    {PR_HASATTACH, [](const MessageRecord& r, View& v,
                      Scratch& s) { return GiveBool(v, s, !r.data->attachments.empty()); }},
    {PR_MESSAGE_SIZE,
     [](const MessageRecord& r, View& v, Scratch& s) { return Give(v, s, Clamped(SizeOf(*r.data))); }},
    {PR_MESSAGE_FLAGS,
     [](const MessageRecord& r, View& v, Scratch& s) {
         return Give(v, s, MSGFLAG_READ | (r.data->attachments.empty() ? 0 : MSGFLAG_HASATTACH));
     }},
    {PR_DISPLAY_TO_W, DisplayNames<MAPI_TO>},
    {PR_DISPLAY_CC_W, DisplayNames<MAPI_CC>},
    {PR_DISPLAY_BCC_W, DisplayNames<MAPI_BCC>},
    {PR_ACCESS, Constant<kMessageAccess>},
    {PR_ACCESS_LEVEL,
     [](const MessageRecord& r, View& v, Scratch& s) { return Give(v, s, r.writable ? 1u : 0u); }},
};

ULONG CountItems(const Folder& folder, bool associated) {
    ULONG count = 0;
    for (const auto& item : folder.items)
        if (item->associated == associated) ++count;
    return count;
}

constexpr ULONG kFolderAccess = MAPI_ACCESS_READ | MAPI_ACCESS_MODIFY | MAPI_ACCESS_DELETE |
                                MAPI_ACCESS_CREATE_HIERARCHY | MAPI_ACCESS_CREATE_CONTENTS;

const Computed<FolderRecord> kFolderTable[] = {
    {PR_ENTRYID, [](const FolderRecord& r, View& v, Scratch&) { return Give(v, r.folder->id); }},
    {PR_RECORD_KEY, [](const FolderRecord& r, View& v, Scratch&) { return Give(v, r.folder->id); }},
    {PR_INSTANCE_KEY, [](const FolderRecord& r, View& v, Scratch&) { return Give(v, r.folder->id); }},
    {PR_SEARCH_KEY,
     [](const FolderRecord& r, View& v, Scratch& s) { return Give(v, s.Keep(SearchKeyOf(r.folder->id))); }},
    // A root is its own parent.
    {PR_PARENT_ENTRYID,
     [](const FolderRecord& r, View& v, Scratch&) {
         return Give(v, r.folder->parent != nullptr ? r.folder->parent->id : r.folder->id);
     }},
    {PR_STORE_ENTRYID, [](const FolderRecord& r, View& v,
                          Scratch&) { return r.folder->store != nullptr && Give(v, r.folder->store->id); }},
    {PR_STORE_RECORD_KEY,
     [](const FolderRecord& r, View& v, Scratch&) {
         return r.folder->store != nullptr && Give(v, r.folder->store->id);
     }},
    {PR_MAPPING_SIGNATURE,
     [](const FolderRecord& r, View& v, Scratch& s) { return GiveMappingSignature(v, s, r.folder->store); }},
    {PR_OBJECT_TYPE, Constant<MAPI_FOLDER>},
    {PR_FOLDER_TYPE,
     [](const FolderRecord& r, View& v, Scratch& s) {
         return Give(v, s, r.folder->parent != nullptr ? FOLDER_GENERIC : FOLDER_ROOT);
     }},
    {PR_CONTENT_COUNT,
     [](const FolderRecord& r, View& v, Scratch& s) { return Give(v, s, CountItems(*r.folder, false)); }},
    {PR_ASSOC_CONTENT_COUNT,
     [](const FolderRecord& r, View& v, Scratch& s) { return Give(v, s, CountItems(*r.folder, true)); }},
    {PR_SUBFOLDERS,
     [](const FolderRecord& r, View& v, Scratch& s) { return GiveBool(v, s, !r.folder->folders.empty()); }},
    {PR_DEPTH, [](const FolderRecord& r, View& v, Scratch& s) { return Give(v, s, r.depth); }},
    {PR_ACCESS, Constant<kFolderAccess>},
    {PR_ACCESS_LEVEL, Constant<1>},
};

constexpr ULONG kUnicodeStore = 0x00040000;
constexpr ULONG kStoreSupport = STORE_ENTRYID_UNIQUE | STORE_MODIFY_OK | STORE_CREATE_OK | STORE_ATTACH_OK |
                                STORE_OLE_OK | STORE_MV_PROPS_OK | STORE_RESTRICTION_OK | STORE_SORT_OK |
                                kUnicodeStore;

template <SpecialFolder which>
bool Special(const StoreRecord& record, View& view, Scratch&) {
    return Give(view, record.store->special[which]);
}

ULONG ValidFolders(const Store& store) {
    static const ULONG bits[sfCount] = {FOLDER_IPM_SUBTREE_VALID, FOLDER_IPM_INBOX_VALID,
                                        FOLDER_IPM_OUTBOX_VALID, FOLDER_IPM_SENTMAIL_VALID,
                                        FOLDER_IPM_WASTEBASKET_VALID};
    ULONG mask = 0;
    for (size_t which = 0; which < sfCount; ++which)
        if (!store.special[which].empty()) mask |= bits[which];
    return mask;
}

const Computed<StoreRecord> kStoreTable[] = {
    {PR_ENTRYID, [](const StoreRecord& r, View& v, Scratch&) { return Give(v, r.store->id); }},
    {PR_STORE_ENTRYID, [](const StoreRecord& r, View& v, Scratch&) { return Give(v, r.store->id); }},
    {PR_RECORD_KEY, [](const StoreRecord& r, View& v, Scratch&) { return Give(v, r.store->id); }},
    {PR_STORE_RECORD_KEY, [](const StoreRecord& r, View& v, Scratch&) { return Give(v, r.store->id); }},
    {PR_INSTANCE_KEY, [](const StoreRecord& r, View& v, Scratch&) { return Give(v, r.store->id); }},
    {PR_SEARCH_KEY,
     [](const StoreRecord& r, View& v, Scratch& s) { return Give(v, s.Keep(SearchKeyOf(r.store->id))); }},
    {PR_MAPPING_SIGNATURE,
     [](const StoreRecord& r, View& v, Scratch& s) { return GiveMappingSignature(v, s, r.store); }},
    {PR_OBJECT_TYPE, Constant<MAPI_STORE>},
    {PR_RESOURCE_TYPE, Constant<MAPI_STORE_PROVIDER>},
    {PR_RESOURCE_FLAGS, [](const StoreRecord& r, View& v,
                           Scratch& s) { return Give(v, s, r.isDefault ? STATUS_DEFAULT_STORE : 0); }},
    {PR_DEFAULT_STORE, [](const StoreRecord& r, View& v, Scratch& s) { return GiveBool(v, s, r.isDefault); }},
    {PR_SERVICE_UID, [](const StoreRecord& r, View& v, Scratch&) { return Give(v, r.store->serviceUid); }},
    {PR_STORE_SUPPORT_MASK, Constant<kStoreSupport>},
    {PR_VALID_FOLDER_MASK,
     [](const StoreRecord& r, View& v, Scratch& s) { return Give(v, s, ValidFolders(*r.store)); }},
    {PR_IPM_SUBTREE_ENTRYID, Special<sfIpmSubtree>},
    {PR_IPM_OUTBOX_ENTRYID, Special<sfOutbox>},
    {PR_IPM_SENTMAIL_ENTRYID, Special<sfSentItems>},
    {PR_IPM_WASTEBASKET_ENTRYID, Special<sfDeletedItems>},
};

const Computed<AttachmentRecord> kAttachmentTable[] = {
    {PR_ATTACH_NUM,
     [](const AttachmentRecord& r, View& v, Scratch& s) { return Give(v, s, r.attachment->number); }},
    {PR_ATTACH_SIZE, [](const AttachmentRecord& r, View& v,
                        Scratch& s) { return Give(v, s, Clamped(SizeOf(*r.attachment))); }},
    {PR_RECORD_KEY, [](const AttachmentRecord& r, View& v,
                       Scratch& s) { return Give(v, s.KeepValue(r.attachment->number)); }},
    {PR_INSTANCE_KEY, [](const AttachmentRecord& r, View& v,
                         Scratch& s) { return Give(v, s.KeepValue(r.attachment->number)); }},
    {PR_OBJECT_TYPE, Constant<MAPI_ATTACH>},
    {PR_ACCESS_LEVEL,
     [](const AttachmentRecord& r, View& v, Scratch& s) { return Give(v, s, r.writable ? 1u : 0u); }},
    // An embedded message is opened through the object; its property lists as one.
    {PR_ATTACH_DATA_OBJ,
     [](const AttachmentRecord& r, View& v, Scratch&) {
         v.bytes = {};
         return r.attachment->message != nullptr;
     }},
};

const Computed<RecipientRecord> kRecipientTable[] = {
    {PR_ROWID,
     [](const RecipientRecord& r, View& v, Scratch& s) { return Give(v, s, static_cast<ULONG>(r.index)); }},
    {PR_INSTANCE_KEY, [](const RecipientRecord& r, View& v,
                         Scratch& s) { return Give(v, s.KeepValue(static_cast<ULONG>(r.index))); }},
    {PR_OBJECT_TYPE, Constant<MAPI_MAILUSER>},
};

const Computed<ServiceRecord> kServiceTable[] = {
    {PR_SERVICE_UID, [](const ServiceRecord& r, View& v, Scratch&) { return Give(v, r.service->uid); }},
    {PR_INSTANCE_KEY, [](const ServiceRecord& r, View& v, Scratch&) { return Give(v, r.service->uid); }},
};

const Computed<AddressRecord> kAddressTable[] = {
    {PR_ENTRYID, [](const AddressRecord& r, View& v, Scratch&) { return Give(v, r.entry->id); }},
    {PR_RECORD_KEY, [](const AddressRecord& r, View& v, Scratch&) { return Give(v, r.entry->id); }},
    {PR_INSTANCE_KEY, [](const AddressRecord& r, View& v, Scratch&) { return Give(v, r.entry->id); }},
    {PR_OBJECT_TYPE, Constant<MAPI_MAILUSER>},
};

const Computed<AddressBookRecord> kAddressBookTable[] = {
    {PR_OBJECT_TYPE, Constant<MAPI_ADDRBOOK>},
};

}  // namespace

std::span<const Computed<MessageRecord>> MessageRecord::Table() {
    return kMessageTable;
}
std::span<const Computed<FolderRecord>> FolderRecord::Table() {
    return kFolderTable;
}
std::span<const Computed<StoreRecord>> StoreRecord::Table() {
    return kStoreTable;
}
std::span<const Computed<AttachmentRecord>> AttachmentRecord::Table() {
    return kAttachmentTable;
}
std::span<const Computed<RecipientRecord>> RecipientRecord::Table() {
    return kRecipientTable;
}
std::span<const Computed<ServiceRecord>> ServiceRecord::Table() {
    return kServiceTable;
}
std::span<const Computed<AddressRecord>> AddressRecord::Table() {
    return kAddressTable;
}
std::span<const Computed<AddressBookRecord>> AddressBookRecord::Table() {
    return kAddressBookTable;
}

}  // namespace mailbox
