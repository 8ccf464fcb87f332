#include "mailbox/CMessageObject.h"

#include <wrl/client.h>

#include <algorithm>

#include "mailbox/CPropObject.h"
#include "mailbox/CTable.h"
#include "mailbox/entries.h"
#include "mailbox/mailbox_file.h"
#include "mailbox/sources.h"

namespace mailbox {

namespace {

using Microsoft::WRL::ComPtr;

FILETIME Now() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return now;
}

class CAttachObject;

class CMessageObject final : public CPropObject<IMessage, okMessage> {
  public:
    /// item: null for a new message; folder: where a new message goes; owner: the attachment of an embedded
    /// message.
    CMessageObject(std::shared_ptr<CDatabase> database, TStore* store,
                   std::shared_ptr<const TMessageData> data, std::shared_ptr<TItem> item,
                   std::shared_ptr<TFolder> folder, CAttachObject* owner, bool writable);
    ~CMessageObject() override;

    HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG flags, IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE OpenAttach(ULONG number, const IID* iid, ULONG flags, IAttach** out) override;
    HRESULT STDMETHODCALLTYPE CreateAttach(const IID* iid, ULONG flags, ULONG* number,
                                           IAttach** out) override;
    HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG number, ULONG, IMAPIProgress*, ULONG) override;
    HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG flags, IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG flags, ADRLIST* list) override;
    HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG) override { return Unsupported("IMessage::SubmitMessage"); }
    HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG flags) override {
        return Call(Site("IMessage::SetReadFlag"), [&] { return SetRead((flags & CLEAR_READ_FLAG) == 0); });
    }

    HRESULT Save(ULONG flags) override;
    std::string_view EntryId() const override {
        return m_record.item != nullptr ? m_record.item->id : std::string_view();
    }
    const CPropertySource& Source() const override { return m_source; }
    const CProperties& Stored() const override { return m_record.data->properties; }
    CProperties& Editable() override { return Working().properties; }
    bool IsComputed(ULONG id) const override;
    std::shared_ptr<const void> Keeper() const override {
        return m_pWorking != nullptr ? nullptr : m_record.data;
    }
    HRESULT OpenObject(ULONG tag, REFIID iid, ULONG flags, IUnknown** out) override;
    HRESULT CopyParts(CPropCore& target, const std::function<bool(ULONG tag)>& wanted) override;

    /// The message as it is being changed; made at the first change.
    TMessageData& Working();
    void PutAttachment(std::shared_ptr<const TAttachment> attachment);

  protected:
    bool Implements(REFIID iid) const override { return iid == IID_IMessage || iid == IID_IMAPIProp; }

  private:
    HRESULT SetRead(bool isRead);
    HRESULT SaveItem(ULONG flags, std::shared_ptr<const TMessageData> data);
    HRESULT SaveNew(std::shared_ptr<const TMessageData> data);
    HRESULT AttachmentTable(ULONG flags, IMAPITable** table);
    HRESULT RecipientTable(ULONG flags, IMAPITable** table);

    TMessageRecord m_record;
    CRecordSource<TMessageRecord> m_source;
    /// The record's data while it is being changed, null otherwise.
    std::shared_ptr<TMessageData> m_pWorking;
    /// What the open message began with; another save in between shows as a difference.
    std::shared_ptr<const TMessageData> m_base;
    std::shared_ptr<TItem> m_item;
    std::shared_ptr<TFolder> m_folder;
    ComPtr<CAttachObject> m_owner;
    bool m_bAssociated = false;

    friend IMessage* mailbox::NewMessageIn(std::shared_ptr<CDatabase>, std::shared_ptr<TFolder>, bool);
};

class CAttachObject final : public CPropObject<IAttach, okAttachment> {
  public:
    CAttachObject(CMessageObject* message, std::shared_ptr<const TAttachment> attachment, bool isNew,
                  bool writable)
        : CPropObject(message->Mailbox(), message->OwnStore(), writable),
          m_message(message),
          m_record{std::move(attachment), writable},
          m_source(&m_record),
          m_bChanged(isNew) {}

    HRESULT Save(ULONG flags) override;
    std::string_view EntryId() const override { return m_message->EntryId(); }
    const CPropertySource& Source() const override { return m_source; }
    const CProperties& Stored() const override { return m_record.attachment->properties; }
    CProperties& Editable() override { return Working().properties; }
    bool IsComputed(ULONG id) const override {
        return id == PROP_ID(PR_ATTACH_DATA_OBJ) ? m_record.attachment->message != nullptr
                                                 : IsComputedProperty<TAttachmentRecord>(id);
    }
    std::shared_ptr<const void> Keeper() const override {
        return m_pWorking != nullptr ? nullptr : m_record.attachment;
    }
    HRESULT OpenObject(ULONG tag, REFIID iid, ULONG flags, IUnknown** out) override;
    HRESULT CopyParts(CPropCore& target, const std::function<bool(ULONG tag)>& wanted) override;

    void PutMessage(std::shared_ptr<const TMessageData> message) { Working().message = std::move(message); }

  protected:
    bool Implements(REFIID iid) const override { return iid == IID_IAttachment || iid == IID_IMAPIProp; }

  private:
    TAttachment& Working();

    ComPtr<CMessageObject> m_message;
    TAttachmentRecord m_record;
    CRecordSource<TAttachmentRecord> m_source;
    std::shared_ptr<TAttachment> m_pWorking;
    bool m_bChanged;
};

CMessageObject::CMessageObject(std::shared_ptr<CDatabase> database, TStore* store,
                               std::shared_ptr<const TMessageData> data, std::shared_ptr<TItem> item,
                               std::shared_ptr<TFolder> folder, CAttachObject* owner, bool writable)
    : CPropObject(std::move(database), store, writable),
      m_record{std::move(data), item, store, writable},
      m_source(&m_record),
      m_base(m_record.data),
      m_item(std::move(item)),
      m_folder(std::move(folder)),
      m_owner(owner) {}

CMessageObject::~CMessageObject() = default;

TMessageData& CMessageObject::Working() {
    if (m_pWorking == nullptr) {
        m_pWorking = std::make_shared<TMessageData>(*m_record.data);
        m_record.data = m_pWorking;
    }
    return *m_pWorking;
}

bool CMessageObject::IsComputed(ULONG id) const {
    // The flags are the caller's, only one of their bits is computed.
    return id != PROP_ID(PR_MESSAGE_FLAGS) && IsComputedProperty<TMessageRecord>(id);
}

/// What a save works out anew, so that an older value must not stand before it.
void Refresh(TMessageData& data) {
    static const ULONG computed[] = {PR_HASATTACH, PR_MESSAGE_SIZE, PR_DISPLAY_TO_W, PR_DISPLAY_CC_W,
                                     PR_DISPLAY_BCC_W};
    for (const ULONG tag : computed) data.properties.Remove(PROP_ID(tag));
    const FILETIME now = Now();
    data.properties.Time(PR_LAST_MODIFICATION_TIME, now);
    if (data.properties.Find(PROP_ID(PR_CREATION_TIME)) == nullptr)
        data.properties.Time(PR_CREATION_TIME, now);
    const CProperties::TSlot* flags = data.properties.Find(PROP_ID(PR_MESSAGE_FLAGS));
    if (flags != nullptr && PROP_TYPE(flags->tag) == PT_LONG) {
        const ULONG others = As<ULONG>(data.properties.Bytes(*flags)) & ~MSGFLAG_HASATTACH;
        data.properties.Long(PR_MESSAGE_FLAGS, others | (data.attachments.empty() ? 0 : MSGFLAG_HASATTACH));
    }
    data.properties.Compact();
}

HRESULT CMessageObject::Save(ULONG flags) {
    if (!IsWritable()) return MAPI_E_NO_ACCESS;
    const bool isNew = m_item == nullptr && m_owner == nullptr;
    if (m_pWorking == nullptr && !isNew) return S_OK;
    HRESULT hr = mailbox::CheckChange(*Mailbox());
    if (hr != S_OK) return hr;
    auto saved = std::make_shared<TMessageData>(*m_record.data);
    Refresh(*saved);
    if (m_owner != nullptr)
        m_owner->PutMessage(saved);
    else
        hr = isNew ? SaveNew(saved) : SaveItem(flags, saved);
    if (hr != S_OK) return hr;
    m_record.data = m_base = std::move(saved);
    m_pWorking = nullptr;
    return S_OK;
}

HRESULT CMessageObject::SaveItem(ULONG flags, std::shared_ptr<const TMessageData> data) {
    if (m_item->folder == nullptr) return MAPI_E_OBJECT_DELETED;
    if (m_item->data != m_base && (flags & FORCE_SAVE) == 0) return MAPI_E_OBJECT_CHANGED;
    m_item->data = std::move(data);
    Mailbox()->dirty = true;
    return S_OK;
}

/// Seen at once and by everybody, whether this message is saved or not.
HRESULT CMessageObject::SetRead(bool isRead) {
    if (m_item == nullptr) return MAPI_E_NO_SUPPORT;
    if (m_item->folder == nullptr) return MAPI_E_OBJECT_DELETED;
    if (!IsWritable()) return MAPI_E_NO_ACCESS;
    const HRESULT hr = mailbox::CheckChange(*Mailbox());
    if (hr != S_OK) return hr;
    const bool isOwn = m_item->data == m_base;
    SetMarks(*m_item, PR_MESSAGE_FLAGS, isRead ? MSGFLAG_READ : 0, MSGFLAG_READ);
    Mailbox()->dirty = true;
    if (!isOwn) return S_OK;
    m_base = m_item->data;
    if (m_pWorking == nullptr) m_record.data = m_base;
    return S_OK;
}

HRESULT CMessageObject::SaveNew(std::shared_ptr<const TMessageData> data) {
    if (m_folder->store == nullptr) return MAPI_E_OBJECT_DELETED;
    const TItem* item = Mailbox()->AddItem(*m_folder, {}, std::move(data), m_bAssociated);
    m_record.item = m_item = m_folder->store->itemsById.Find(item->id);
    Mailbox()->dirty = true;
    return S_OK;
}

HRESULT CMessageObject::AttachmentTable(ULONG flags, IMAPITable** table) {
    std::vector<TAttachmentRecord> records;
    for (const auto& attachment : m_record.data->attachments) records.push_back({attachment, false});
    *table = NewRecordTable(Mailbox(), std::move(records),
                            {PR_ATTACH_NUM, PR_INSTANCE_KEY, PR_RECORD_KEY, PR_ATTACH_METHOD,
                             PR_RENDERING_POSITION, PR_ATTACH_SIZE, PR_ATTACH_FILENAME, PR_DISPLAY_NAME},
                            flags);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CMessageObject::GetAttachmentTable(ULONG flags, IMAPITable** table) {
    if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
    *table = nullptr;
    return Call(Site("IMessage::GetAttachmentTable"), [&] { return AttachmentTable(flags, table); });
}

HRESULT CMessageObject::RecipientTable(ULONG flags, IMAPITable** table) {
    std::vector<TRecipientRecord> records;
    for (size_t index = 0; index < m_record.data->recipients.size(); ++index)
        records.push_back({m_base, index});
    if (m_pWorking != nullptr) {
        // The working copy goes on changing; the table shows it as it is now.
        const auto snapshot = std::make_shared<const TMessageData>(*m_pWorking);
        for (TRecipientRecord& record : records) record.data = snapshot;
    }
    *table = NewRecordTable(Mailbox(), std::move(records),
                            {PR_ROWID, PR_INSTANCE_KEY, PR_RECIPIENT_TYPE, PR_DISPLAY_NAME, PR_ADDRTYPE,
                             PR_EMAIL_ADDRESS, PR_ENTRYID, PR_OBJECT_TYPE, PR_DISPLAY_TYPE},
                            flags);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CMessageObject::GetRecipientTable(ULONG flags, IMAPITable** table) {
    if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
    *table = nullptr;
    return Call(Site("IMessage::GetRecipientTable"), [&] { return RecipientTable(flags, table); });
}

HRESULT STDMETHODCALLTYPE CMessageObject::OpenAttach(ULONG number, const IID* iid, ULONG flags,
                                                     IAttach** out) {
    if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
    *out = nullptr;
    return Call(Site("IMessage::OpenAttach"), [&] {
        if (!IsWanted(iid, {&IID_IAttachment, &IID_IMAPIProp})) return MAPI_E_INTERFACE_NOT_SUPPORTED;
        if ((flags & MAPI_MODIFY) != 0 && !IsWritable()) return MAPI_E_NO_ACCESS;
        const auto& all = m_record.data->attachments;
        const auto found = std::ranges::find(all, number, [](const auto& entry) { return entry->number; });
        if (found == all.end()) return MAPI_E_NOT_FOUND;
        *out = new CAttachObject(this, *found, false, AsksWritable(flags) && IsWritable());
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE CMessageObject::CreateAttach(const IID* iid, ULONG, ULONG* number, IAttach** out) {
    if (out == nullptr || number == nullptr) return MAPI_E_INVALID_PARAMETER;
    *out = nullptr;
    return Call(Site("IMessage::CreateAttach"), [&] {
        if (!IsWanted(iid, {&IID_IAttachment, &IID_IMAPIProp})) return MAPI_E_INTERFACE_NOT_SUPPORTED;
        if (!IsWritable()) return MAPI_E_NO_ACCESS;
        auto attachment = std::make_shared<TAttachment>();
        attachment->number = Working().nextAttachment++;
        attachment->properties.Long(PR_RENDERING_POSITION, MAXDWORD);
        *number = attachment->number;
        *out = new CAttachObject(this, std::move(attachment), true, true);
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE CMessageObject::DeleteAttach(ULONG number, ULONG, IMAPIProgress*, ULONG) {
    return Call(Site("IMessage::DeleteAttach"), [&] {
        if (!IsWritable()) return MAPI_E_NO_ACCESS;
        if (m_record.data->FindAttachment(number) == nullptr) return MAPI_E_NOT_FOUND;
        std::erase_if(Working().attachments, [number](const auto& entry) { return entry->number == number; });
        return S_OK;
    });
}

void CMessageObject::PutAttachment(std::shared_ptr<const TAttachment> attachment) {
    auto& all = Working().attachments;
    const auto place =
        std::ranges::find(all, attachment->number, [](const auto& entry) { return entry->number; });
    if (place != all.end())
        *place = std::move(attachment);
    else
        all.push_back(std::move(attachment));
}

HRESULT STDMETHODCALLTYPE CMessageObject::ModifyRecipients(ULONG flags, ADRLIST* list) {
    return Call(Site("IMessage::ModifyRecipients"), [&] {
        if (!IsWritable()) return MAPI_E_NO_ACCESS;
        if ((flags & (MODRECIP_MODIFY | MODRECIP_REMOVE)) != 0) return MAPI_E_NO_SUPPORT;
        if (list == nullptr) return MAPI_E_INVALID_PARAMETER;
        std::vector<CProperties> rows(list->cEntries);
        std::string bytes;
        for (ULONG row = 0; row < list->cEntries; ++row)
            for (ULONG value = 0; value < list->aEntries[row].cValues; ++value) {
                const SPropValue& given = list->aEntries[row].rgPropVals[value];
                // A row read from a table is taken as it is: errors in it are absent values.
                if (PROP_TYPE(given.ulPropTag) == PT_ERROR || PROP_TYPE(given.ulPropTag) == PT_NULL) continue;
                if (!BytesOf(given, bytes)) return MAPI_E_INVALID_PARAMETER;
                if (!IsComputedProperty<TRecipientRecord>(PROP_ID(given.ulPropTag)))
                    rows[row].Set(given.ulPropTag, bytes);
            }
        // Without MODRECIP_ADD the list replaces what is there.
        auto& recipients = Working().recipients;
        if ((flags & MODRECIP_ADD) == 0) recipients.clear();
        std::ranges::move(rows, std::back_inserter(recipients));
        return S_OK;
    });
}

HRESULT CMessageObject::OpenObject(ULONG tag, REFIID iid, ULONG flags, IUnknown** out) {
    if (iid != IID_IMAPITable) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    IMAPITable* table = nullptr;
    if (PROP_ID(tag) == PROP_ID(PR_MESSAGE_RECIPIENTS))
        RecipientTable(flags, &table);
    else if (PROP_ID(tag) == PROP_ID(PR_MESSAGE_ATTACHMENTS))
        AttachmentTable(flags, &table);
    *out = table;
    return table != nullptr ? S_OK : MAPI_E_NOT_FOUND;
}

HRESULT CMessageObject::CopyParts(CPropCore& target, const std::function<bool(ULONG tag)>& wanted) {
    auto* other = dynamic_cast<CMessageObject*>(&target);
    if (other == nullptr) return S_OK;
    const auto data =
        Translate(m_record.data, OwnStore()->names, other->OwnStore()->names, Mailbox() == other->Mailbox());
    if (data == nullptr) return MAPI_E_NOT_ENOUGH_RESOURCES;
    if (wanted(PR_MESSAGE_RECIPIENTS)) other->Working().recipients = data->recipients;
    if (wanted(PR_MESSAGE_ATTACHMENTS)) {
        for (const auto& attachment : data->attachments) {
            auto copy = std::make_shared<TAttachment>(*attachment);
            copy->number = other->Working().nextAttachment++;
            other->Working().attachments.push_back(std::move(copy));
        }
    }
    return S_OK;
}

TAttachment& CAttachObject::Working() {
    if (m_pWorking == nullptr) {
        m_pWorking = std::make_shared<TAttachment>(*m_record.attachment);
        m_record.attachment = m_pWorking;
    }
    m_bChanged = true;
    return *m_pWorking;
}

HRESULT CAttachObject::Save(ULONG) {
    if (!IsWritable()) return MAPI_E_NO_ACCESS;
    if (!m_bChanged) return S_OK;
    auto saved = std::make_shared<TAttachment>(*m_record.attachment);
    saved->properties.Compact();
    m_message->PutAttachment(saved);
    m_record.attachment = std::move(saved);
    m_pWorking = nullptr;
    m_bChanged = false;
    return S_OK;
}

HRESULT CAttachObject::OpenObject(ULONG tag, REFIID iid, ULONG flags, IUnknown** out) {
    if (PROP_ID(tag) != PROP_ID(PR_ATTACH_DATA_OBJ) || (iid != IID_IMessage && iid != IID_IMAPIProp))
        return MAPI_E_INTERFACE_NOT_SUPPORTED;
    const bool create = (flags & MAPI_CREATE) != 0;
    std::shared_ptr<const TMessageData> message = m_record.attachment->message;
    if (message == nullptr && !create) return MAPI_E_NOT_FOUND;
    if (create) message = std::make_shared<TMessageData>();
    auto* object = new CMessageObject(Mailbox(), OwnStore(), std::move(message), nullptr, nullptr, this,
                                      (flags & (MAPI_CREATE | MAPI_MODIFY)) != 0);
    // A created message is there from its save on, even when nothing is set in it.
    if (create) object->Working();
    *out = object;
    return S_OK;
}

HRESULT CAttachObject::CopyParts(CPropCore& target, const std::function<bool(ULONG tag)>& wanted) {
    if (m_record.attachment->message == nullptr || !wanted(PR_ATTACH_DATA_OBJ)) return S_OK;
    auto* other = dynamic_cast<CAttachObject*>(&target);
    if (other == nullptr) return S_OK;
    auto message = Translate(m_record.attachment->message, OwnStore()->names, other->OwnStore()->names,
                             Mailbox() == other->Mailbox());
    if (message == nullptr) return MAPI_E_NOT_ENOUGH_RESOURCES;
    other->PutMessage(std::move(message));
    return S_OK;
}

}  // namespace

ULONG Marks(const TItem& item, ULONG tag) {
    const CProperties& properties = item.data->properties;
    const CProperties::TSlot* const slot = properties.Find(PROP_ID(tag));
    if (slot != nullptr && PROP_TYPE(slot->tag) == PT_LONG) return As<ULONG>(properties.Bytes(*slot));
    return tag == PR_MESSAGE_FLAGS ? MSGFLAG_READ : 0;
}

void SetMarks(TItem& item, ULONG tag, ULONG bits, ULONG mask) {
    auto data = std::make_shared<TMessageData>(*item.data);
    data->properties.Long(tag, (Marks(item, tag) & ~mask) | (bits & mask));
    item.data = std::move(data);
}

IMessage* NewMessageObject(std::shared_ptr<CDatabase> database, std::shared_ptr<TItem> item, bool writable) {
    TStore* store = item->folder->store;
    std::shared_ptr<const TMessageData> data = item->data;
    return new CMessageObject(std::move(database), store, std::move(data), std::move(item), nullptr, nullptr,
                              writable);
}

IMessage* NewMessageIn(std::shared_ptr<CDatabase> database, std::shared_ptr<TFolder> folder,
                       bool associated) {
    auto data = std::make_shared<TMessageData>();
    data->properties.Text(PR_MESSAGE_CLASS_W, L"IPM.Note");
    TStore* store = folder->store;
    auto* message = new CMessageObject(std::move(database), store, std::move(data), nullptr,
                                       std::move(folder), nullptr, true);
    message->m_bAssociated = associated;
    return message;
}

}  // namespace mailbox
