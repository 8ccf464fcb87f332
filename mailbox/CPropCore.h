#pragma once
// The bodies of the methods of IMAPIProp, once for all of the platform's objects (CPropObject.h).

#include <functional>
#include <memory>
#include <span>

#include "mailbox/CDatabase.h"
#include "mailbox/platform_headers.h"
#include "mailbox/values.h"

namespace mailbox {

/// What this platform's own objects find each other by; gives a CPropCore*, with a reference as always.
extern const GUID kPropCoreInterface;

/// The bodies of IMAPIProp over a source of properties and, for changes, the stored properties behind it.
class CPropCore {
  public:
    CPropCore(std::shared_ptr<CDatabase> database, TStore* store, bool isWritable)
        : m_database(std::move(database)), m_pStore(store), m_bWritable(isWritable) {}
    virtual ~CPropCore() = default;

    // The bodies of the methods of IMAPIProp.
    HRESULT GetProps(const SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values);
    HRESULT GetPropList(ULONG flags, SPropTagArray** tags);
    HRESULT OpenProperty(ULONG tag, const IID* iid, ULONG flags, IUnknown** out);
    HRESULT SetProps(ULONG count, const SPropValue* values, SPropProblemArray** problems);
    HRESULT DeleteProps(const SPropTagArray* tags, SPropProblemArray** problems);
    HRESULT CopyTo(std::span<const IID> excludedInterfaces, const SPropTagArray* excluded, const IID* iid,
                   void* target, ULONG flags, SPropProblemArray** problems);
    HRESULT CopyProps(const SPropTagArray* included, const IID* iid, void* target, ULONG flags,
                      SPropProblemArray** problems);
    HRESULT GetNamesFromIDs(SPropTagArray** tags, const GUID* set, ULONG flags, ULONG* count,
                            MAPINAMEID*** names);
    HRESULT GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags);
    virtual HRESULT Save(ULONG flags) = 0;

    virtual std::string_view EntryId() const { return {}; }
    /// The interface pointer, for whoever keeps the object alive.
    virtual IUnknown* Unknown() = 0;
    virtual bool Answers(REFIID iid) const = 0;
    virtual const CPropertySource& Source() const = 0;
    /// The stored properties alone.
    virtual const CProperties& Stored() const = 0;
    /// The stored properties for a change. Only when IsWritable.
    virtual CProperties& Editable() = 0;
    /// Something was changed through Editable.
    virtual void Edited() {}
    virtual bool IsComputed(ULONG id) const = 0;
    /// Keeps the bytes of the stored properties where they are; null when they may change under a reader.
    virtual std::shared_ptr<const void> Keeper() const { return nullptr; }
    /// A property that opens as something else than a stream.
    virtual HRESULT OpenObject(ULONG, REFIID, ULONG, IUnknown**) { return MAPI_E_INTERFACE_NOT_SUPPORTED; }
    /// Copies what the object holds beside its properties. wanted says whether a part, by its tag, is to be
    /// copied.
    virtual HRESULT CopyParts(CPropCore& /*target*/, const std::function<bool(ULONG tag)>& /*wanted*/) {
        return S_OK;
    }

    bool IsWritable() const { return m_bWritable; }
    const std::shared_ptr<CDatabase>& Mailbox() const { return m_database; }
    TStore* OwnStore() const { return m_pStore; }

  private:
    HRESULT OpenStream(ULONG tag, bool isDocfile, ULONG flags, IUnknown** out);
    /// What takes over the bytes of a stream opened with these flags; none for one to read.
    std::function<HRESULT(const std::string& bytes)> CommitTo(ULONG tag, ULONG type, ULONG flags);
    HRESULT CopyWanted(const std::function<bool(ULONG tag)>& wanted, const IID* iid, void* target,
                       ULONG flags, SPropProblemArray** problems);
    bool IsSettable(ULONG tag, HRESULT& error) const;

    std::shared_ptr<CDatabase> m_database;
    /// Null for the address book.
    TStore* m_pStore;
    bool m_bWritable;
};

struct TPropCoreRelease {
    void operator()(CPropCore* core) const { core->Unknown()->Release(); }
};
/// The object behind an interface pointer when it is one of this platform's, with a reference; null
/// otherwise.
std::unique_ptr<CPropCore, TPropCoreRelease> OwnObject(void* object);

/// Whether the caller asked for an interface that the object has; a null one means the object's own.
inline bool IsWanted(const IID* iid, std::initializer_list<const IID*> own) {
    if (iid == nullptr || *iid == IID_IUnknown) return true;
    for (const IID* candidate : own)
        if (*iid == *candidate) return true;
    return false;
}

}  // namespace mailbox
