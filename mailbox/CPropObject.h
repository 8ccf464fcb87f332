#pragma once
// What the platform's objects share: reference counting and, for those with properties, the methods of
// IMAPIProp.
//
// A class derives from CComObject or CPropObject with its interface and kind, says which interfaces it answers
// to, and overrides what is its own. The bodies of the IMAPIProp methods live in CPropCore, once for all
// interfaces.

#include "mailbox/calls.h"
#include "mailbox/CPropCore.h"
#include "mailbox/platform_headers.h"

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

}  // namespace mailbox
