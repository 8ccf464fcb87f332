#include "mailbox/CSession.h"

#include "mailbox/CAddressBook.h"
#include "mailbox/CPropObject.h"
#include "mailbox/CStoreObject.h"
#include "mailbox/CTable.h"
#include "mailbox/entries.h"
#include "mailbox/mailbox_file.h"
#include "mailbox/sources.h"

namespace mailbox {

namespace {

class CSession final : public CComObject<IMAPISession, okSession> {
  public:
    explicit CSession(std::shared_ptr<CDatabase> database) : m_database(std::move(database)) {}

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR** error) override {
        if (error == nullptr) return MAPI_E_INVALID_PARAMETER;
        *error = nullptr;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetMsgStoresTable(ULONG flags, IMAPITable** table) override {
        if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
        *table = nullptr;
        return Call({"IMAPISession::GetMsgStoresTable"}, [&] {
            std::vector<TStoreRecord> records;
            for (const auto& store : m_database->stores)
                records.push_back({store.get(), store.get() == m_database->DefaultStore()});
            *table =
                NewRecordTable(m_database, std::move(records),
                               {PR_ENTRYID, PR_INSTANCE_KEY, PR_RECORD_KEY, PR_DISPLAY_NAME, PR_DEFAULT_STORE,
                                PR_SERVICE_UID, PR_RESOURCE_FLAGS, PR_RESOURCE_TYPE, PR_OBJECT_TYPE},
                               flags);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE OpenMsgStore(ULONG_PTR, ULONG size, ENTRYID* id, const IID* iid, ULONG flags,
                                           IMsgStore** out) override {
        if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
        *out = nullptr;
        return Call(
            {"IMAPISession::OpenMsgStore", {reinterpret_cast<const char*>(id), id != nullptr ? size : 0}},
            [&] {
                std::string_view bytes;
                if (!ToEntryId(size, id, bytes)) return MAPI_E_INVALID_ENTRYID;
                if (!IsWanted(iid, {&IID_IMsgStore, &IID_IMAPIProp})) return MAPI_E_INTERFACE_NOT_SUPPORTED;
                TStore* store = bytes.empty() ? m_database->DefaultStore() : m_database->FindStore(bytes);
                if (store == nullptr) return MAPI_E_NOT_FOUND;
                *out = NewStoreObject(m_database, store, AsksWritable(flags) || (flags & MDB_WRITE) != 0);
                return S_OK;
            });
    }

    HRESULT STDMETHODCALLTYPE OpenAddressBook(ULONG_PTR, const IID* iid, ULONG, IAddrBook** out) override {
        if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
        *out = nullptr;
        return Call({"IMAPISession::OpenAddressBook"}, [&] {
            if (!IsWanted(iid, {&IID_IAddrBook, &IID_IMAPIProp})) return MAPI_E_INTERFACE_NOT_SUPPORTED;
            *out = NewAddressBook(m_database);
            return S_OK;
        });
    }

    /// Items and folders of any store, the stores themselves, entries of the address book.
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type,
                                        IUnknown** out) override {
        if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
        *out = nullptr;
        return Call(
            {"IMAPISession::OpenEntry", {reinterpret_cast<const char*>(id), id != nullptr ? size : 0}}, [&] {
                std::string_view bytes;
                if (!ToEntryId(size, id, bytes) || bytes.empty()) return MAPI_E_INVALID_ENTRYID;
                if (TStore* store = m_database->FindStore(bytes)) {
                    if (!IsWanted(iid, {&IID_IMsgStore, &IID_IMAPIProp}))
                        return MAPI_E_INTERFACE_NOT_SUPPORTED;
                    *out = NewStoreObject(m_database, store, AsksWritable(flags));
                    if (type != nullptr) *type = MAPI_STORE;
                    return S_OK;
                }
                for (const auto& store : m_database->stores) {
                    const HRESULT hr = OpenStoreEntry(m_database, *store, size, id, iid, flags, type, out);
                    if (hr != MAPI_E_NOT_FOUND) return hr;
                }
                return OpenAddressEntry(m_database, size, id, iid, type, out);
            });
    }

    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG,
                                              ULONG* result) override {
        return Call({"IMAPISession::CompareEntryIDs"},
                    [&] { return CompareIds(size1, id1, size2, id2, result); });
    }

    HRESULT STDMETHODCALLTYPE Logoff(ULONG_PTR, ULONG, ULONG) override {
        return Call({"IMAPISession::Logoff"}, [&] {
            if (m_bOff) return S_OK;
            m_bOff = true;
            return EndSession(*m_database);
        });
    }

    HRESULT STDMETHODCALLTYPE AdminServices(ULONG, IMsgServiceAdmin** out) override {
        if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
        *out = nullptr;
        return Call({"IMAPISession::AdminServices"}, [&] {
            *out = NewServiceAdmin(m_database);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE OpenProfileSection(MAPIUID*, const IID*, ULONG, IProfSect** out) override {
        if (out != nullptr) *out = nullptr;
        return Unsupported("IMAPISession::OpenProfileSection");
    }
    HRESULT STDMETHODCALLTYPE GetStatusTable(ULONG, IMAPITable** table) override {
        if (table != nullptr) *table = nullptr;
        return Unsupported("IMAPISession::GetStatusTable");
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG*) override {
        return Unsupported("IMAPISession::Advise");
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG) override { return Unsupported("IMAPISession::Unadvise"); }
    HRESULT STDMETHODCALLTYPE MessageOptions(ULONG_PTR, ULONG, wchar_t*, IMessage*) override {
        return Unsupported("IMAPISession::MessageOptions");
    }
    HRESULT STDMETHODCALLTYPE QueryDefaultMessageOpt(wchar_t*, ULONG, ULONG*, SPropValue**) override {
        return Unsupported("IMAPISession::QueryDefaultMessageOpt");
    }
    HRESULT STDMETHODCALLTYPE EnumAdrTypes(ULONG, ULONG*, wchar_t***) override {
        return Unsupported("IMAPISession::EnumAdrTypes");
    }
    HRESULT STDMETHODCALLTYPE QueryIdentity(ULONG*, ENTRYID**) override {
        return Unsupported("IMAPISession::QueryIdentity");
    }
    HRESULT STDMETHODCALLTYPE SetDefaultStore(ULONG, ULONG, ENTRYID*) override {
        return Unsupported("IMAPISession::SetDefaultStore");
    }
    HRESULT STDMETHODCALLTYPE ShowForm(ULONG_PTR, IMsgStore*, IMAPIFolder*, const IID*, ULONG, IMessage*,
                                       ULONG, ULONG, ULONG, ULONG, char*) override {
        return Unsupported("IMAPISession::ShowForm");
    }
    HRESULT STDMETHODCALLTYPE PrepareForm(const IID*, IMessage*, ULONG*) override {
        return Unsupported("IMAPISession::PrepareForm");
    }

    ~CSession() override {
        // A session that was only released ends here; there is nobody left to tell of a failure but the
        // debugger.
        if (!m_bOff) EndSession(*m_database);
    }

  protected:
    bool Implements(REFIID iid) const override { return iid == IID_IMAPISession; }

  private:
    std::shared_ptr<CDatabase> m_database;
    bool m_bOff = false;
};

class CServiceAdmin final : public CComObject<IMsgServiceAdmin, okServiceAdmin> {
  public:
    explicit CServiceAdmin(std::shared_ptr<CDatabase> database) : m_database(std::move(database)) {}

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR** error) override {
        if (error == nullptr) return MAPI_E_INVALID_PARAMETER;
        *error = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetMsgServiceTable(ULONG flags, IMAPITable** table) override {
        if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
        *table = nullptr;
        return Call({"IMsgServiceAdmin::GetMsgServiceTable"}, [&] {
            std::vector<TServiceRecord> records;
            for (const auto& service : m_database->services) records.push_back({service.get()});
            *table = NewRecordTable(m_database, std::move(records),
                                    {PR_SERVICE_UID, PR_INSTANCE_KEY, PR_SERVICE_NAME, PR_SERVICE_DLL_NAME,
                                     PR_SERVICE_ENTRY_NAME, PR_DISPLAY_NAME},
                                    flags);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE CreateMsgService(wchar_t*, wchar_t*, ULONG_PTR, ULONG) override {
        return Unsupported("IMsgServiceAdmin::CreateMsgService");
    }
    HRESULT STDMETHODCALLTYPE DeleteMsgService(MAPIUID*) override {
        return Unsupported("IMsgServiceAdmin::DeleteMsgService");
    }
    HRESULT STDMETHODCALLTYPE CopyMsgService(MAPIUID*, wchar_t*, const IID*, const IID*, void*, ULONG_PTR,
                                             ULONG) override {
        return Unsupported("IMsgServiceAdmin::CopyMsgService");
    }
    HRESULT STDMETHODCALLTYPE RenameMsgService(MAPIUID*, ULONG, wchar_t*) override {
        return Unsupported("IMsgServiceAdmin::RenameMsgService");
    }
    HRESULT STDMETHODCALLTYPE ConfigureMsgService(MAPIUID*, ULONG_PTR, ULONG, ULONG, SPropValue*) override {
        return Unsupported("IMsgServiceAdmin::ConfigureMsgService");
    }
    HRESULT STDMETHODCALLTYPE OpenProfileSection(MAPIUID*, const IID*, ULONG, IProfSect** out) override {
        if (out != nullptr) *out = nullptr;
        return Unsupported("IMsgServiceAdmin::OpenProfileSection");
    }
    HRESULT STDMETHODCALLTYPE MsgServiceTransportOrder(ULONG, MAPIUID*, ULONG) override {
        return Unsupported("IMsgServiceAdmin::MsgServiceTransportOrder");
    }
    HRESULT STDMETHODCALLTYPE AdminProviders(MAPIUID*, ULONG, IProviderAdmin** out) override {
        if (out != nullptr) *out = nullptr;
        return Unsupported("IMsgServiceAdmin::AdminProviders");
    }
    HRESULT STDMETHODCALLTYPE SetPrimaryIdentity(MAPIUID*, ULONG) override {
        return Unsupported("IMsgServiceAdmin::SetPrimaryIdentity");
    }
    HRESULT STDMETHODCALLTYPE GetProviderTable(ULONG, IMAPITable** table) override {
        if (table != nullptr) *table = nullptr;
        return Unsupported("IMsgServiceAdmin::GetProviderTable");
    }

  protected:
    bool Implements(REFIID iid) const override { return iid == IID_IMsgServiceAdmin; }

  private:
    std::shared_ptr<CDatabase> m_database;
};

}  // namespace

IMAPISession* NewSession(std::shared_ptr<CDatabase> database) {
    BeginSession(*database);
    return new CSession(std::move(database));
}

IMsgServiceAdmin* NewServiceAdmin(std::shared_ptr<CDatabase> database) {
    return new CServiceAdmin(std::move(database));
}

}  // namespace mailbox
