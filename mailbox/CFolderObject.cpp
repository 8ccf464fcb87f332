#include "mailbox/CFolderObject.h"

#include <algorithm>

#include "mailbox/CMessageObject.h"
#include "mailbox/CPropObject.h"
#include "mailbox/CTable.h"
#include "mailbox/entries.h"
#include "mailbox/mailbox_file.h"
#include "mailbox/sources.h"
#include "mailbox/text.h"

namespace mailbox {

namespace {

class CFolderObject final : public CPropObject<IMAPIFolder, okFolder> {
  public:
    CFolderObject(std::shared_ptr<CDatabase> database, std::shared_ptr<TFolder> folder, bool writable)
        : CPropObject(std::move(database), folder->store, writable),
          m_record{std::move(folder), 0},
          m_source(&m_record) {}

    // IMAPIContainer
    HRESULT STDMETHODCALLTYPE GetContentsTable(ULONG flags, IMAPITable** table) override {
        if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
        *table = nullptr;
        return Call(Site("IMAPIFolder::GetContentsTable"), [&] { return ContentsTable(flags, table); });
    }
    HRESULT STDMETHODCALLTYPE GetHierarchyTable(ULONG flags, IMAPITable** table) override {
        if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
        *table = nullptr;
        return Call(Site("IMAPIFolder::GetHierarchyTable"), [&] { return HierarchyTable(flags, table); });
    }
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type,
                                        IUnknown** out) override {
        if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
        *out = nullptr;
        return Call({"IMAPIFolder::OpenEntry", {reinterpret_cast<const char*>(id), id != nullptr ? size : 0}},
                    [&] {
                        if (IsGone()) return MAPI_E_OBJECT_DELETED;
                        return OpenStoreEntry(Mailbox(), *OwnStore(), size, id, iid, flags, type, out);
                    });
    }
    HRESULT STDMETHODCALLTYPE SetSearchCriteria(SRestriction*, SBinaryArray*, ULONG) override {
        return Unsupported("IMAPIFolder::SetSearchCriteria");
    }
    HRESULT STDMETHODCALLTYPE GetSearchCriteria(ULONG, SRestriction** restriction, SBinaryArray** folders,
                                                ULONG*) override {
        if (restriction != nullptr) *restriction = nullptr;
        if (folders != nullptr) *folders = nullptr;
        return Unsupported("IMAPIFolder::GetSearchCriteria");
    }

    // IMAPIFolder
    HRESULT STDMETHODCALLTYPE CreateMessage(const IID* iid, ULONG flags, IMessage** message) override {
        if (message == nullptr) return MAPI_E_INVALID_PARAMETER;
        *message = nullptr;
        return Call(Site("IMAPIFolder::CreateMessage"), [&] {
            if (!IsWanted(iid, {&IID_IMessage, &IID_IMAPIProp})) return MAPI_E_INTERFACE_NOT_SUPPORTED;
            const HRESULT hr = CheckChange();
            if (hr != S_OK) return hr;
            *message = NewMessageIn(Mailbox(), m_record.folder, (flags & MAPI_ASSOCIATED) != 0);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE CopyMessages(SBinaryArray* list, const IID* iid, void* target, ULONG,
                                           IMAPIProgress*, ULONG flags) override {
        return Call(Site("IMAPIFolder::CopyMessages"),
                    [&] { return Copy(list, iid, target, (flags & MESSAGE_MOVE) != 0); });
    }
    HRESULT STDMETHODCALLTYPE DeleteMessages(SBinaryArray* list, ULONG, IMAPIProgress*, ULONG) override {
        return Call(Site("IMAPIFolder::DeleteMessages"), [&] {
            return ForEach(list, [&](TItem& item) {
                Mailbox()->RemoveItem(item);
                return S_OK;
            });
        });
    }
    HRESULT STDMETHODCALLTYPE CreateFolder(ULONG type, wchar_t* name, wchar_t* comment, const IID* iid,
                                           ULONG flags, IMAPIFolder** out) override {
        if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
        *out = nullptr;
        return Call(Site("IMAPIFolder::CreateFolder"),
                    [&] { return Create(type, name, comment, iid, flags, out); });
    }
    HRESULT STDMETHODCALLTYPE CopyFolder(ULONG, ENTRYID*, const IID*, void*, wchar_t*, ULONG, IMAPIProgress*,
                                         ULONG) override {
        return Unsupported("IMAPIFolder::CopyFolder");
    }
    HRESULT STDMETHODCALLTYPE DeleteFolder(ULONG size, ENTRYID* id, ULONG, IMAPIProgress*,
                                           ULONG flags) override {
        return Call(Site("IMAPIFolder::DeleteFolder"), [&] { return Delete(size, id, flags); });
    }
    HRESULT STDMETHODCALLTYPE SetReadFlags(SBinaryArray*, ULONG, IMAPIProgress*, ULONG) override {
        return Unsupported("IMAPIFolder::SetReadFlags");
    }
    HRESULT STDMETHODCALLTYPE GetMessageStatus(ULONG size, ENTRYID* id, ULONG, ULONG* status) override {
        if (status == nullptr) return MAPI_E_INVALID_PARAMETER;
        *status = 0;
        return Call(Site("IMAPIFolder::GetMessageStatus"), [&] {
            if (IsGone()) return MAPI_E_OBJECT_DELETED;
            const auto item = Find(size, id);
            if (item == nullptr) return MAPI_E_NOT_FOUND;
            *status = Marks(*item, PR_MSG_STATUS);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE SetMessageStatus(ULONG size, ENTRYID* id, ULONG status, ULONG mask,
                                               ULONG* old) override {
        return Call(Site("IMAPIFolder::SetMessageStatus"), [&] {
            const HRESULT hr = CheckChange();
            if (hr != S_OK) return hr;
            const auto item = Find(size, id);
            if (item == nullptr) return MAPI_E_NOT_FOUND;
            if (old != nullptr) *old = Marks(*item, PR_MSG_STATUS);
            SetMarks(*item, PR_MSG_STATUS, status, mask);
            Mailbox()->dirty = true;
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE SaveContentsSort(SSortOrderSet*, ULONG) override {
        return Unsupported("IMAPIFolder::SaveContentsSort");
    }
    HRESULT STDMETHODCALLTYPE EmptyFolder(ULONG, IMAPIProgress*, ULONG) override {
        return Unsupported("IMAPIFolder::EmptyFolder");
    }

    HRESULT Save(ULONG) override { return IsWritable() ? S_OK : MAPI_E_NO_ACCESS; }
    std::string_view EntryId() const override { return m_record.folder->id; }
    const CPropertySource& Source() const override { return m_source; }
    const CProperties& Stored() const override { return m_record.folder->properties; }
    CProperties& Editable() override { return m_record.folder->properties; }
    void Edited() override { Mailbox()->dirty = true; }
    bool IsComputed(ULONG id) const override { return IsComputedProperty<TFolderRecord>(id); }
    HRESULT OpenObject(ULONG tag, REFIID iid, ULONG flags, IUnknown** out) override {
        if (iid != IID_IMAPITable) return MAPI_E_INTERFACE_NOT_SUPPORTED;
        IMAPITable* table = nullptr;
        HRESULT hr = MAPI_E_NOT_FOUND;
        if (PROP_ID(tag) == PROP_ID(PR_CONTAINER_CONTENTS))
            hr = ContentsTable(flags, &table);
        else if (PROP_ID(tag) == PROP_ID(PR_FOLDER_ASSOCIATED_CONTENTS))
            hr = ContentsTable(flags | MAPI_ASSOCIATED, &table);
        else if (PROP_ID(tag) == PROP_ID(PR_CONTAINER_HIERARCHY))
            hr = HierarchyTable(flags, &table);
        *out = table;
        return hr;
    }
    /// Folders copy their properties only; what is in them is copied item by item.
    HRESULT CopyParts(CPropCore&, const std::function<bool(ULONG tag)>&) override { return S_OK; }

  protected:
    bool Implements(REFIID iid) const override {
        return iid == IID_IMAPIFolder || iid == IID_IMAPIContainer || iid == IID_IMAPIProp;
    }

  private:
    bool IsGone() const { return m_record.folder->store == nullptr; }
    HRESULT CheckChange() const {
        if (IsGone()) return MAPI_E_OBJECT_DELETED;
        return IsWritable() ? mailbox::CheckChange(*Mailbox()) : MAPI_E_NO_ACCESS;
    }

    HRESULT ContentsTable(ULONG flags, IMAPITable** table) {
        if (IsGone()) return MAPI_E_OBJECT_DELETED;
        const bool associated = (flags & MAPI_ASSOCIATED) != 0;
        std::vector<TMessageRecord> records;
        records.reserve(m_record.folder->items.size());
        for (const auto& item : m_record.folder->items)
            if (item->associated == associated) records.push_back({item->data, item, OwnStore(), false});
        *table = NewRecordTable(
            Mailbox(), std::move(records),
            {PR_ENTRYID, PR_INSTANCE_KEY, PR_RECORD_KEY, PR_OBJECT_TYPE, PR_MESSAGE_CLASS, PR_SUBJECT,
             PR_SENDER_NAME, PR_DISPLAY_TO, PR_MESSAGE_DELIVERY_TIME, PR_MESSAGE_FLAGS, PR_MESSAGE_SIZE,
             PR_HASATTACH, PR_LAST_MODIFICATION_TIME, PR_SEARCH_KEY, PR_PARENT_ENTRYID},
            flags);
        return S_OK;
    }

    static void AppendSubfolders(const TFolder& folder, ULONG depth, bool isDeep,
                                 std::vector<TFolderRecord>& records) {
        for (const auto& child : folder.folders) {
            records.push_back({child, depth});
            if (isDeep) AppendSubfolders(*child, depth + 1, isDeep, records);
        }
    }

    HRESULT HierarchyTable(ULONG flags, IMAPITable** table) {
        if (IsGone()) return MAPI_E_OBJECT_DELETED;
        std::vector<TFolderRecord> records;
        AppendSubfolders(*m_record.folder, 1, (flags & CONVENIENT_DEPTH) != 0, records);
        *table = NewRecordTable(
            Mailbox(), std::move(records),
            {PR_ENTRYID, PR_INSTANCE_KEY, PR_RECORD_KEY, PR_OBJECT_TYPE, PR_DISPLAY_NAME, PR_CONTAINER_CLASS,
             PR_CONTENT_COUNT, PR_SUBFOLDERS, PR_FOLDER_TYPE, PR_DEPTH, PR_PARENT_ENTRYID},
            flags);
        return S_OK;
    }

    /// An item of this folder.
    std::shared_ptr<TItem> Find(ULONG size, const ENTRYID* id) const {
        std::string_view bytes;
        if (!ToEntryId(size, id, bytes)) return nullptr;
        auto item = OwnStore()->itemsById.Find(bytes);
        return item != nullptr && item->folder == m_record.folder.get() ? item : nullptr;
    }

    /// Does something with each listed item of this folder. Missing ones make the result a partial
    /// completion, or MAPI_E_NOT_FOUND when none was there.
    template <typename Action>
    HRESULT ForEach(const SBinaryArray* list, Action action) {
        if (list == nullptr || (list->cValues != 0 && list->lpbin == nullptr))
            return MAPI_E_INVALID_PARAMETER;
        const HRESULT allowed = CheckChange();
        if (allowed != S_OK) return allowed;
        ULONG done = 0;
        HRESULT failure = S_OK;
        for (ULONG index = 0; index < list->cValues; ++index) {
            const SBinary& id = list->lpbin[index];
            const auto item = OwnStore()->itemsById.Find({reinterpret_cast<const char*>(id.lpb), id.cb});
            const bool isHere = item != nullptr && item->folder == m_record.folder.get();
            const HRESULT hr = isHere ? action(*item) : MAPI_E_NOT_FOUND;
            if (hr == S_OK)
                ++done;
            else
                failure = hr;
        }
        if (done != 0) Mailbox()->dirty = true;
        return done == list->cValues ? S_OK : done != 0 ? MAPI_W_PARTIAL_COMPLETION : failure;
    }

    HRESULT Copy(const SBinaryArray* list, const IID* iid, void* target, bool move) {
        if (target == nullptr) return MAPI_E_INVALID_PARAMETER;
        if (!IsWanted(iid, {&IID_IMAPIFolder, &IID_IMAPIContainer, &IID_IMAPIProp}))
            return MAPI_E_INTERFACE_NOT_SUPPORTED;
        const auto core = OwnObject(target);
        if (core == nullptr) return MAPI_E_NO_SUPPORT;
        // Folders of another mailbox file would need the message rebuilt there.
        if (!core->Answers(IID_IMAPIFolder) || core->Mailbox() != Mailbox()) return MAPI_E_NO_SUPPORT;
        auto& other = static_cast<CFolderObject&>(*core);
        const HRESULT allowed = other.CheckChange();
        if (allowed != S_OK) return allowed;
        return ForEach(list, [&](TItem& item) {
            if (Mailbox()->CopyItem(item, *other.m_record.folder) == nullptr)
                return MAPI_E_NOT_ENOUGH_RESOURCES;
            if (move) Mailbox()->RemoveItem(item);
            return S_OK;
        });
    }

    HRESULT Create(ULONG type, const wchar_t* name, const wchar_t* comment, const IID* iid, ULONG flags,
                   IMAPIFolder** out) {
        if (!IsWanted(iid, {&IID_IMAPIFolder, &IID_IMAPIContainer, &IID_IMAPIProp}))
            return MAPI_E_INTERFACE_NOT_SUPPORTED;
        if (type != FOLDER_GENERIC) return MAPI_E_NO_SUPPORT;
        const std::wstring text = CallText(name, (flags & MAPI_UNICODE) != 0);
        if (text.empty()) return MAPI_E_INVALID_PARAMETER;
        const HRESULT allowed = CheckChange();
        if (allowed != S_OK) return allowed;
        for (const auto& child : m_record.folder->folders) {
            if (!HasName(*child, text)) continue;
            if ((flags & OPEN_IF_EXISTS) == 0) return MAPI_E_COLLISION;
            *out = NewFolderObject(Mailbox(), child, true);
            return S_OK;
        }
        CProperties properties;
        properties.Text(PR_DISPLAY_NAME, text);
        if (comment != nullptr) properties.Text(PR_COMMENT, CallText(comment, (flags & MAPI_UNICODE) != 0));
        // A subfolder holds what its parent holds, until the maker says otherwise.
        const CProperties& own = m_record.folder->properties;
        if (const CProperties::TSlot* held = own.Find(PROP_ID(PR_CONTAINER_CLASS)))
            properties.Set(held->tag, own.Bytes(*held));
        Mailbox()->AddFolder(*m_record.folder, {}, std::move(properties));
        Mailbox()->dirty = true;
        *out = NewFolderObject(Mailbox(), m_record.folder->folders.back(), true);
        return S_OK;
    }

    static bool HasName(const TFolder& folder, const std::wstring& name) {
        CProperties wanted;
        wanted.Text(PR_DISPLAY_NAME, name);
        const CProperties::TSlot* own = folder.properties.Find(PROP_ID(PR_DISPLAY_NAME));
        if (own == nullptr || PROP_TYPE(own->tag) != PT_UNICODE) return false;
        const CProperties::TSlot& other = wanted.Slots().front();
        return CompareViews({PT_UNICODE, folder.properties.Bytes(*own)}, {PT_UNICODE, wanted.Bytes(other)}) ==
               0;
    }

    HRESULT Delete(ULONG size, const ENTRYID* id, ULONG flags) {
        std::string_view bytes;
        if (!ToEntryId(size, id, bytes)) return MAPI_E_INVALID_ENTRYID;
        const HRESULT allowed = CheckChange();
        if (allowed != S_OK) return allowed;
        const auto found = OwnStore()->foldersById.find(bytes);
        if (found == OwnStore()->foldersById.end() || found->second->parent != m_record.folder.get())
            return MAPI_E_NOT_FOUND;
        const std::shared_ptr<TFolder> folder = found->second;
        if (!folder->items.empty() && (flags & DEL_MESSAGES) == 0) return MAPI_E_HAS_MESSAGES;
        if (!folder->folders.empty() && (flags & DEL_FOLDERS) == 0) return MAPI_E_HAS_FOLDERS;
        Mailbox()->RemoveFolder(*folder);
        Mailbox()->dirty = true;
        return S_OK;
    }

    TFolderRecord m_record;
    CRecordSource<TFolderRecord> m_source;
};

}  // namespace

IMAPIFolder* NewFolderObject(std::shared_ptr<CDatabase> database, std::shared_ptr<TFolder> folder,
                             bool writable) {
    return new CFolderObject(std::move(database), std::move(folder), writable);
}

}  // namespace mailbox
