#pragma once
// The records behind objects and table rows as sources of properties: what is stored, then what is computed.
//
// A stored value stands before a computed one. Each record keeps alive what it shows.

#include <memory>
#include <span>

#include "mailbox/Database.h"
#include "mailbox/values.h"

namespace mailbox {

/// A property that is worked out from a record. give is false when the record has none.
template <typename Record>
struct Computed {
    ULONG tag;
    bool (*give)(const Record& record, View& view, Scratch& scratch);
};

struct MessageRecord {
    std::shared_ptr<const MessageData> data;
    /// Null for a message that was not saved yet and for an embedded one.
    std::shared_ptr<const Item> item;
    const Store* store = nullptr;
    bool writable = false;

    const Properties& Stored() const { return data->properties; }
    static std::span<const Computed<MessageRecord>> Table();
};

struct FolderRecord {
    std::shared_ptr<Folder> folder;
    /// Levels below the folder whose hierarchy is shown.
    ULONG depth = 0;

    const Properties& Stored() const { return folder->properties; }
    static std::span<const Computed<FolderRecord>> Table();
};

struct StoreRecord {
    const Store* store = nullptr;
    bool isDefault = false;

    const Properties& Stored() const { return store->properties; }
    static std::span<const Computed<StoreRecord>> Table();
};

struct AttachmentRecord {
    std::shared_ptr<const Attachment> attachment;
    bool writable = false;

    const Properties& Stored() const { return attachment->properties; }
    static std::span<const Computed<AttachmentRecord>> Table();
};

struct RecipientRecord {
    std::shared_ptr<const MessageData> data;
    size_t index = 0;

    const Properties& Stored() const { return data->recipients[index]; }
    static std::span<const Computed<RecipientRecord>> Table();
};

struct ServiceRecord {
    const Service* service = nullptr;

    const Properties& Stored() const { return service->properties; }
    static std::span<const Computed<ServiceRecord>> Table();
};

struct AddressRecord {
    const AddressEntry* entry = nullptr;

    const Properties& Stored() const { return entry->properties; }
    static std::span<const Computed<AddressRecord>> Table();
};

/// The address book itself.
struct AddressBookRecord {
    Properties none;

    const Properties& Stored() const { return none; }
    static std::span<const Computed<AddressBookRecord>> Table();
};

template <typename Record>
class RecordSource final : public PropertySource {
  public:
    explicit RecordSource(const Record* shown = nullptr) : record(shown) {}

    bool Get(ULONG id, View& view, Scratch& scratch) const override {
        const Properties& stored = record->Stored();
        if (const Properties::Slot* slot = stored.Find(id)) {
            view = {PROP_TYPE(slot->tag), BytesOf(stored, *slot, scratch)};
            return true;
        }
        for (const Computed<Record>& computed : Record::Table()) {
            if (PROP_ID(computed.tag) != id) continue;
            view.type = PROP_TYPE(computed.tag);
            return computed.give(*record, view, scratch);
        }
        return false;
    }

    void List(std::vector<ULONG>& tags) const override {
        const Properties& stored = record->Stored();
        for (const Properties::Slot& slot : stored.Slots())
            if (PROP_TYPE(slot.tag) != PT_ERROR) tags.push_back(slot.tag);
        Scratch scratch;
        View view;
        for (const Computed<Record>& computed : Record::Table())
            if (stored.Find(PROP_ID(computed.tag)) == nullptr && computed.give(*record, view, scratch))
                tags.push_back(computed.tag);
    }

    const Record* record;
};

/// Whether the platform works this property out, so that nobody sets it.
template <typename Record>
bool IsComputedProperty(ULONG id) {
    for (const Computed<Record>& computed : Record::Table())
        if (PROP_ID(computed.tag) == id) return true;
    return false;
}

/// Bytes of a message with everything in it.
size_t SizeOf(const MessageData& data);
size_t SizeOf(const Attachment& attachment);

}  // namespace mailbox
