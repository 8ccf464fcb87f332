#include "mailbox/CAddressBook.h"

#include "mailbox/CPropObject.h"
#include "mailbox/entries.h"
#include "mailbox/sources.h"

namespace mailbox {

namespace {

/// What entries and the book share: nothing about them can be changed.
template <typename Interface, EObjectKind kind, typename Record>
class CReadOnlyObject : public CPropObject<Interface, kind> {
  public:
    CReadOnlyObject(std::shared_ptr<CDatabase> database, Record record)
        : CPropObject<Interface, kind>(std::move(database), nullptr, false),
          m_record(std::move(record)),
          m_source(&m_record) {}

    HRESULT Save(ULONG) override { return MAPI_E_NO_ACCESS; }
    const CPropertySource& Source() const override { return m_source; }
    const CProperties& Stored() const override { return m_record.Stored(); }
    /// Nobody is given a writable one, so nothing reads what is set here.
    CProperties& Editable() override { return m_unused; }
    bool IsComputed(ULONG id) const override { return IsComputedProperty<Record>(id); }

  protected:
    const Record& TheRecord() const { return m_record; }

  private:
    Record m_record;
    CRecordSource<Record> m_source;
    CProperties m_unused;
};

class CMailUser final : public CReadOnlyObject<IMailUser, okMailUser, TAddressRecord> {
  public:
    using CReadOnlyObject::CReadOnlyObject;
    std::string_view EntryId() const override { return TheRecord().entry->id; }

  protected:
    bool Implements(REFIID iid) const override { return iid == IID_IMailUser || iid == IID_IMAPIProp; }
};

class CAddressBook final : public CReadOnlyObject<IAddrBook, okAddressBook, TAddressBookRecord> {
  public:
    using CReadOnlyObject::CReadOnlyObject;

    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG, ULONG* type,
                                        IUnknown** out) override {
        if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
        *out = nullptr;
        return Call({"IAddrBook::OpenEntry", {reinterpret_cast<const char*>(id), id != nullptr ? size : 0}},
                    [&] { return OpenAddressEntry(Mailbox(), size, id, iid, type, out); });
    }
    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG,
                                              ULONG* result) override {
        return Call({"IAddrBook::CompareEntryIDs"},
                    [&] { return CompareIds(size1, id1, size2, id2, result); });
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG*) override {
        return Unsupported("IAddrBook::Advise");
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG) override { return Unsupported("IAddrBook::Unadvise"); }
    HRESULT STDMETHODCALLTYPE CreateOneOff(wchar_t*, wchar_t*, wchar_t*, ULONG, ULONG*, ENTRYID**) override {
        return Unsupported("IAddrBook::CreateOneOff");
    }
    HRESULT STDMETHODCALLTYPE NewEntry(ULONG_PTR, ULONG, ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG*,
                                       ENTRYID**) override {
        return Unsupported("IAddrBook::NewEntry");
    }
    HRESULT STDMETHODCALLTYPE ResolveName(ULONG_PTR, ULONG, wchar_t*, ADRLIST*) override {
        return Unsupported("IAddrBook::ResolveName");
    }
    HRESULT STDMETHODCALLTYPE Address(ULONG_PTR*, ADRPARM*, ADRLIST**) override {
        return Unsupported("IAddrBook::Address");
    }
    HRESULT STDMETHODCALLTYPE Details(ULONG*, LPFNDISMISS, void*, ULONG, ENTRYID*, LPFNBUTTON, void*,
                                      wchar_t*, ULONG) override {
        return Unsupported("IAddrBook::Details");
    }
    HRESULT STDMETHODCALLTYPE RecipOptions(ULONG_PTR, ULONG, ADRENTRY*) override {
        return Unsupported("IAddrBook::RecipOptions");
    }
    HRESULT STDMETHODCALLTYPE QueryDefaultRecipOpt(wchar_t*, ULONG, ULONG*, SPropValue**) override {
        return Unsupported("IAddrBook::QueryDefaultRecipOpt");
    }
    HRESULT STDMETHODCALLTYPE GetPAB(ULONG*, ENTRYID**) override { return Unsupported("IAddrBook::GetPAB"); }
    HRESULT STDMETHODCALLTYPE SetPAB(ULONG, ENTRYID*) override { return Unsupported("IAddrBook::SetPAB"); }
    HRESULT STDMETHODCALLTYPE GetDefaultDir(ULONG*, ENTRYID**) override {
        return Unsupported("IAddrBook::GetDefaultDir");
    }
    HRESULT STDMETHODCALLTYPE SetDefaultDir(ULONG, ENTRYID*) override {
        return Unsupported("IAddrBook::SetDefaultDir");
    }
    HRESULT STDMETHODCALLTYPE GetSearchPath(ULONG, SRowSet** path) override {
        if (path != nullptr) *path = nullptr;
        return Unsupported("IAddrBook::GetSearchPath");
    }
    HRESULT STDMETHODCALLTYPE SetSearchPath(ULONG, SRowSet*) override {
        return Unsupported("IAddrBook::SetSearchPath");
    }
    HRESULT STDMETHODCALLTYPE PrepareRecips(ULONG, SPropTagArray*, ADRLIST*) override {
        return Unsupported("IAddrBook::PrepareRecips");
    }

  protected:
    bool Implements(REFIID iid) const override { return iid == IID_IAddrBook || iid == IID_IMAPIProp; }
};

}  // namespace

IAddrBook* NewAddressBook(std::shared_ptr<CDatabase> database) {
    return new CAddressBook(std::move(database), TAddressBookRecord{});
}

HRESULT OpenAddressEntry(const std::shared_ptr<CDatabase>& database, ULONG size, const ENTRYID* id,
                         const IID* iid, ULONG* type, IUnknown** out) {
    std::string_view bytes;
    if (!ToEntryId(size, id, bytes)) return MAPI_E_INVALID_ENTRYID;
    // The book's own root holds containers, which this address book has none of.
    if (bytes.empty()) return MAPI_E_NO_SUPPORT;
    const TAddressEntry* entry = database->FindAddress(bytes);
    if (entry == nullptr) return MAPI_E_UNKNOWN_ENTRYID;
    if (!IsWanted(iid, {&IID_IMailUser, &IID_IMAPIProp})) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    *out = new CMailUser(database, TAddressRecord{entry});
    if (type != nullptr) *type = MAPI_MAILUSER;
    return S_OK;
}

}  // namespace mailbox
