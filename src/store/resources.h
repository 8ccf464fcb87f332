#pragma once
// Owners of what the messaging platform hands out, and the small things its calls are given. Interfaces are
// owned by Microsoft::WRL::ComPtr.

#include <wrl/client.h>

#include <cstdint>
#include <memory>

#include "base/text.h"
#include "store/CMapiProvider.h"

namespace store {

using Microsoft::WRL::ComPtr;

struct TMapiBufferDeleter {
    void operator()(void* buffer) const { mapi::FreeBuffer(buffer); }
};
/// A block of MAPIAllocateBuffer.
template <typename T>
using MapiBuffer = std::unique_ptr<T, TMapiBufferDeleter>;

struct TRowSetDeleter {
    void operator()(SRowSet* rows) const { mapi::FreeProws(rows); }
};
/// The rows of IMAPITable::QueryRows, each row's properties included.
using RowSet = std::unique_ptr<SRowSet, TRowSetDeleter>;

/// Lets a call that fills a raw pointer fill an owner: item->GetProps(tags, 0, &count, Out(values)). The
/// owner has the pointer from the end of the full expression on, not before.
template <typename Owner>
class COutPointer {
  public:
    explicit COutPointer(Owner& owner) : m_owner(owner) {}
    COutPointer(const COutPointer&) = delete;
    ~COutPointer() { m_owner.reset(m_raw); }
    operator typename Owner::pointer *() { return &m_raw; }

  private:
    Owner& m_owner;
    typename Owner::pointer m_raw = nullptr;
};
template <typename Owner>
COutPointer<Owner> Out(Owner& owner) {
    return COutPointer<Owner>(owner);
}

/// The same for a call that hands out any interface as IUnknown: OpenProperty(..., OutUnknown(stream)).
template <typename Interface>
IUnknown** OutUnknown(ComPtr<Interface>& object) {
    return reinterpret_cast<IUnknown**>(object.ReleaseAndGetAddressOf());
}

/// A new block of at least size bytes. Returns the platform's result; a size beyond 32 bits is
/// MAPI_E_NOT_ENOUGH_MEMORY, a success without a block MAPI_E_CALL_FAILED.
template <typename T>
HRESULT Allocate(uint64_t size, MapiBuffer<T>& buffer) {
    if (size > 0xFFFFFFFF) return MAPI_E_NOT_ENOUGH_MEMORY;
    void* raw = nullptr;
    const HRESULT hr = mapi::AllocateBuffer(static_cast<ULONG>(size), &raw);
    buffer.reset(static_cast<T*>(raw));
    if (hr != S_OK) buffer.reset();
    return hr == S_OK && !buffer ? MAPI_E_CALL_FAILED : hr;
}

/// A list of property tags in the platform's layout: CTagList columns(PR_ENTRYID, PR_SEARCH_KEY).
template <size_t N>
class CTagList {
  public:
    template <typename... Tags>
    explicit CTagList(Tags... tags) : m_tags{static_cast<ULONG>(tags)...} {}
    operator SPropTagArray*() { return reinterpret_cast<SPropTagArray*>(this); }

  private:
    ULONG m_nCount = N;
    ULONG m_tags[N];
};
template <typename... Tags>
CTagList(Tags...) -> CTagList<sizeof...(Tags)>;

}  // namespace store
