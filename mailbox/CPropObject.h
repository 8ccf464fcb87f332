#pragma once
// What the platform's objects share: reference counting and, for those with properties, the methods of
// IMAPIProp.
//
// A class derives from CComObject or CPropObject with its interface and kind, says which interfaces it answers
// to, and overrides what is its own. The bodies of the IMAPIProp methods live in CPropCore, once for all
// interfaces.

#include <functional>
#include <memory>
#include <span>

#include "mailbox/calls.h"
#include "mailbox/CDatabase.h"
#include "mailbox/platform_headers.h"
#include "mailbox/values.h"

namespace mailbox {

template <typename Interface, EObjectKind kind>
class CComObject : public Interface, private CCounted<kind> {
  public:
    CComObject(const CComObject&) = delete;
    CComObject& operator=(const CComObject&) = delete;
    virtual ~CComObject() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
        *out = nullptr;
        return Call({"IUnknown::QueryInterface"}, [&] {
            *out = Answer(iid);
            if (*out == nullptr) return MAPI_E_INTERFACE_NOT_SUPPORTED;
            AddRef();
            return S_OK;
        });
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(InterlockedIncrement(&m_nReferences));
    }
    ULONG STDMETHODCALLTYPE Release() override {
        const long left = InterlockedDecrement(&m_nReferences);
        if (left == 0) {
            const std::lock_guard<CPlatformLock> guard(g_lock);
            delete this;
        }
        return static_cast<ULONG>(left);
    }

  protected:
    CComObject() = default;
    /// Whether the object answers to the interface, IUnknown apart.
    virtual bool Implements(REFIID iid) const = 0;
    virtual void* Answer(REFIID iid) {
        return iid == IID_IUnknown || Implements(iid) ? static_cast<Interface*>(this) : nullptr;
    }

  private:
    volatile long m_nReferences = 1;
};

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

template <typename Interface, EObjectKind kind>
class CPropObject : public CComObject<Interface, kind>, public CPropCore {
  public:
    using CPropCore::CPropCore;

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR** error) override {
        if (error == nullptr) return MAPI_E_INVALID_PARAMETER;
        *error = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) override {
        return Call(Site("IMAPIProp::SaveChanges"), [&] { return Save(flags); });
    }
    HRESULT STDMETHODCALLTYPE GetProps(SPropTagArray* tags, ULONG flags, ULONG* count,
                                       SPropValue** values) override {
        if (count == nullptr || values == nullptr) return MAPI_E_INVALID_PARAMETER;
        *count = 0;
        *values = nullptr;
        return Call(Site("IMAPIProp::GetProps", tags),
                    [&] { return CPropCore::GetProps(tags, flags, count, values); });
    }
    HRESULT STDMETHODCALLTYPE GetPropList(ULONG flags, SPropTagArray** tags) override {
        if (tags == nullptr) return MAPI_E_INVALID_PARAMETER;
        *tags = nullptr;
        return Call(Site("IMAPIProp::GetPropList"), [&] { return CPropCore::GetPropList(flags, tags); });
    }
    HRESULT STDMETHODCALLTYPE OpenProperty(ULONG tag, const IID* iid, ULONG, ULONG flags,
                                           IUnknown** out) override {
        if (out == nullptr) return MAPI_E_INVALID_PARAMETER;
        *out = nullptr;
        return Call({"IMAPIProp::OpenProperty", EntryId(), &tag, 1},
                    [&] { return CPropCore::OpenProperty(tag, iid, flags, out); });
    }
    HRESULT STDMETHODCALLTYPE SetProps(ULONG count, SPropValue* values,
                                       SPropProblemArray** problems) override {
        if (problems != nullptr) *problems = nullptr;
        const ULONG first = count != 0 && values != nullptr ? values->ulPropTag : 0;
        return Call({"IMAPIProp::SetProps", EntryId(), &first, 1},
                    [&] { return CPropCore::SetProps(count, values, problems); });
    }
    HRESULT STDMETHODCALLTYPE DeleteProps(SPropTagArray* tags, SPropProblemArray** problems) override {
        if (problems != nullptr) *problems = nullptr;
        return Call(Site("IMAPIProp::DeleteProps", tags),
                    [&] { return CPropCore::DeleteProps(tags, problems); });
    }
    HRESULT STDMETHODCALLTYPE CopyTo(ULONG count, const IID* interfaces, SPropTagArray* excluded, ULONG,
                                     IMAPIProgress*, const IID* iid, void* target, ULONG flags,
                                     SPropProblemArray** problems) override {
        if (problems != nullptr) *problems = nullptr;
        return Call(Site("IMAPIProp::CopyTo"), [&] {
            return CPropCore::CopyTo({interfaces, interfaces != nullptr ? count : 0}, excluded, iid, target,
                                     flags, problems);
        });
    }
    HRESULT STDMETHODCALLTYPE CopyProps(SPropTagArray* included, ULONG, IMAPIProgress*, const IID* iid,
                                        void* target, ULONG flags, SPropProblemArray** problems) override {
        if (problems != nullptr) *problems = nullptr;
        return Call(Site("IMAPIProp::CopyProps", included),
                    [&] { return CPropCore::CopyProps(included, iid, target, flags, problems); });
    }
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(SPropTagArray** tags, GUID* set, ULONG flags, ULONG* count,
                                              MAPINAMEID*** names) override {
        if (tags == nullptr || count == nullptr || names == nullptr) return MAPI_E_INVALID_PARAMETER;
        *count = 0;
        *names = nullptr;
        return Call(Site("IMAPIProp::GetNamesFromIDs"),
                    [&] { return CPropCore::GetNamesFromIDs(tags, set, flags, count, names); });
    }
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                                              SPropTagArray** tags) override {
        if (tags == nullptr) return MAPI_E_INVALID_PARAMETER;
        *tags = nullptr;
        return Call(Site("IMAPIProp::GetIDsFromNames"),
                    [&] { return CPropCore::GetIDsFromNames(count, names, flags, tags); });
    }

    IUnknown* Unknown() override { return static_cast<Interface*>(this); }
    bool Answers(REFIID iid) const override { return this->Implements(iid); }

  protected:
    void* Answer(REFIID iid) override {
        if (iid == kPropCoreInterface) return static_cast<CPropCore*>(this);
        return CComObject<Interface, kind>::Answer(iid);
    }
    TCallSite Site(const char* name, const SPropTagArray* tags = nullptr) const {
        return {name, EntryId(), tags != nullptr ? tags->aulPropTag : nullptr,
                tags != nullptr ? tags->cValues : 0};
    }
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
