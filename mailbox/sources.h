#pragma once
// The records behind objects and table rows as sources of properties: what is stored, then what is computed.
//
// A stored value stands before a computed one. Each record keeps alive what it shows.

#include <memory>
#include <span>

#include "mailbox/CDatabase.h"
#include "mailbox/values.h"

namespace mailbox {

/// A property that is worked out from a record. give is false when the record has none.
template <typename Record>
struct TComputed {
    ULONG tag;
    bool (*give)(const Record& record, TView& view, CScratch& scratch);
};

struct TMessageRecord {
    std::shared_ptr<const TMessageData> data;
    /// Null for a message that was not saved yet and for an embedded one.
    std::shared_ptr<const TItem> item;
    const TStore* store = nullptr;
    bool writable = false;

    const CProperties& Stored() const { return data->properties; }
    static std::span<const TComputed<TMessageRecord>> Table();
};

struct TFolderRecord {
    std::shared_ptr<TFolder> folder;
    /// Levels below the folder whose hierarchy is shown.
    ULONG depth = 0;

    const CProperties& Stored() const { return folder->properties; }
    static std::span<const TComputed<TFolderRecord>> Table();
};

struct TStoreRecord {
    const TStore* store = nullptr;
    bool isDefault = false;

    const CProperties& Stored() const { return store->properties; }
    static std::span<const TComputed<TStoreRecord>> Table();
};

struct TAttachmentRecord {
    std::shared_ptr<const TAttachment> attachment;
    bool writable = false;

    const CProperties& Stored() const { return attachment->properties; }
    static std::span<const TComputed<TAttachmentRecord>> Table();
};

struct TRecipientRecord {
    std::shared_ptr<const TMessageData> data;
    size_t index = 0;

    const CProperties& Stored() const { return data->recipients[index]; }
    static std::span<const TComputed<TRecipientRecord>> Table();
};

struct TServiceRecord {
    const TService* service = nullptr;

    const CProperties& Stored() const { return service->properties; }
    static std::span<const TComputed<TServiceRecord>> Table();
};

struct TAddressRecord {
    const TAddressEntry* entry = nullptr;

    const CProperties& Stored() const { return entry->properties; }
    static std::span<const TComputed<TAddressRecord>> Table();
};

/// The address book itself.
struct TAddressBookRecord {
    CProperties none;

    const CProperties& Stored() const { return none; }
    static std::span<const TComputed<TAddressBookRecord>> Table();
};

template <typename Record>
class CRecordSource final : public CPropertySource {
  public:
    explicit CRecordSource(const Record* shown = nullptr) : record(shown) {}

    bool Get(ULONG id, TView& view, CScratch& scratch) const override {
        const CProperties& stored = record->Stored();
        if (const CProperties::TSlot* slot = stored.Find(id)) {
            view = {PROP_TYPE(slot->tag), BytesOf(stored, *slot, scratch)};
            return true;
        }
        for (const TComputed<Record>& computed : Record::Table()) {
            if (PROP_ID(computed.tag) != id) continue;
            view.type = PROP_TYPE(computed.tag);
            return computed.give(*record, view, scratch);
        }
        return false;
    }

    void List(std::vector<ULONG>& tags) const override {
        const CProperties& stored = record->Stored();
        for (const CProperties::TSlot& slot : stored.Slots())
            if (PROP_TYPE(slot.tag) != PT_ERROR) tags.push_back(slot.tag);
        CScratch scratch;
        TView view;
        for (const TComputed<Record>& computed : Record::Table())
            if (stored.Find(PROP_ID(computed.tag)) == nullptr && computed.give(*record, view, scratch))
                tags.push_back(computed.tag);
    }

    const Record* record;
};

/// Whether the platform works this property out, so that nobody sets it.
template <typename Record>
bool IsComputedProperty(ULONG id) {
    for (const TComputed<Record>& computed : Record::Table())
        if (PROP_ID(computed.tag) == id) return true;
    return false;
}

/// Bytes of a message with everything in it.
size_t SizeOf(const TMessageData& data);
size_t SizeOf(const TAttachment& attachment);

}  // namespace mailbox
