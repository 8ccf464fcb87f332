#include "mailbox/CStoreObject.h"

#include <cstring>

#include "mailbox/CPropObject.h"
#include "mailbox/CTable.h"
#include "mailbox/buffers.h"
#include "mailbox/entries.h"
#include "mailbox/mailbox_file.h"
#include "mailbox/sources.h"

namespace mailbox {

namespace {

class CStoreObject final : public CPropObject<IMsgStore, okStore> {
  public:
    CStoreObject(std::shared_ptr<CDatabase> database, TStore* store, bool writable)
        : CPropObject(std::move(database), store, writable),
          m_record{store, Mailbox()->DefaultStore() == store},
          m_source(&m_record) {}

    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type,
                                        IUnknown** out) override {
        if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
        *out = nullptr;
        return Call({"IMsgStore::OpenEntry", {reinterpret_cast<const char*>(id), id != nullptr ? size : 0}},
                    [&] { return OpenStoreEntry(Mailbox(), *OwnStore(), size, id, iid, flags, type, out); });
    }
    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG,
                                              ULONG* result) override {
        return Call(Site("IMsgStore::CompareEntryIDs"),
                    [&] { return CompareIds(size1, id1, size2, id2, result); });
    }
    /// All classes of messages arrive in the inbox, or the root where there is none.
    HRESULT STDMETHODCALLTYPE GetReceiveFolder(wchar_t*, ULONG, ULONG* size, ENTRYID** id,
                                               wchar_t** explicitClass) override {
        if (size == nullptr || id == nullptr) return MAPI_E_INVALID_PARAMETER;
        *size = 0;
        *id = nullptr;
        if (explicitClass != nullptr) *explicitClass = nullptr;
        return Call(Site("IMsgStore::GetReceiveFolder"), [&] {
            const std::string& inbox = OwnStore()->special[sfInbox];
            const std::string& given = inbox.empty() ? OwnStore()->root->id : inbox;
            *id = static_cast<ENTRYID*>(NewBuffer(given.size()));
            if (*id == nullptr) return MAPI_E_NOT_ENOUGH_MEMORY;
            std::memcpy(*id, given.data(), given.size());
            *size = static_cast<ULONG>(given.size());
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE StoreLogoff(ULONG*) override {
        return Call(Site("IMsgStore::StoreLogoff"), [] { return S_OK; });
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG*) override {
        return Unsupported("IMsgStore::Advise");
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG) override { return Unsupported("IMsgStore::Unadvise"); }
    HRESULT STDMETHODCALLTYPE SetReceiveFolder(wchar_t*, ULONG, ULONG, ENTRYID*) override {
        return Unsupported("IMsgStore::SetReceiveFolder");
    }
    HRESULT STDMETHODCALLTYPE GetReceiveFolderTable(ULONG, IMAPITable** table) override {
        if (table != nullptr) *table = nullptr;
        return Unsupported("IMsgStore::GetReceiveFolderTable");
    }
    HRESULT STDMETHODCALLTYPE AbortSubmit(ULONG, ENTRYID*, ULONG) override {
        return Unsupported("IMsgStore::AbortSubmit");
    }
    HRESULT STDMETHODCALLTYPE GetOutgoingQueue(ULONG, IMAPITable** table) override {
        if (table != nullptr) *table = nullptr;
        return Unsupported("IMsgStore::GetOutgoingQueue");
    }
    HRESULT STDMETHODCALLTYPE SetLockState(IMessage*, ULONG) override {
        return Unsupported("IMsgStore::SetLockState");
    }
    HRESULT STDMETHODCALLTYPE FinishedMsg(ULONG, ULONG, ENTRYID*) override {
        return Unsupported("IMsgStore::FinishedMsg");
    }
    HRESULT STDMETHODCALLTYPE NotifyNewMail(NOTIFICATION*) override {
        return Unsupported("IMsgStore::NotifyNewMail");
    }

    /// Writes the mailbox file, at the host's own choice of time.
    HRESULT Save(ULONG) override { return IsWritable() ? WriteMailbox(*Mailbox()) : MAPI_E_NO_ACCESS; }
    std::string_view EntryId() const override { return OwnStore()->id; }
    const CPropertySource& Source() const override { return m_source; }
    const CProperties& Stored() const override { return OwnStore()->properties; }
    CProperties& Editable() override { return OwnStore()->properties; }
    void Edited() override { Mailbox()->dirty = true; }
    bool IsComputed(ULONG id) const override { return IsComputedProperty<TStoreRecord>(id); }

  protected:
    bool Implements(REFIID iid) const override { return iid == IID_IMsgStore || iid == IID_IMAPIProp; }

  private:
    TStoreRecord m_record;
    CRecordSource<TStoreRecord> m_source;
};

}  // namespace

IMsgStore* NewStoreObject(std::shared_ptr<CDatabase> database, TStore* store, bool writable) {
    return new CStoreObject(std::move(database), store, writable);
}

}  // namespace mailbox
