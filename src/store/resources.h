#pragma once
// Owners of what the messaging platform hands out. Interfaces are owned by Microsoft::WRL::ComPtr.

#include <wrl/client.h>

#include <memory>

#include "store/MapiProvider.h"

using Microsoft::WRL::ComPtr;

struct MapiBufferDeleter {
    void operator()(void* buffer) const { mapi::FreeBuffer(buffer); }
};
/// A block of MAPIAllocateBuffer.
template <typename T>
using MapiBuffer = std::unique_ptr<T, MapiBufferDeleter>;

struct RowSetDeleter {
    void operator()(SRowSet* rows) const { mapi::FreeProws(rows); }
};
/// The rows of IMAPITable::QueryRows, each row's properties included.
using RowSet = std::unique_ptr<SRowSet, RowSetDeleter>;

/// Lets a call that fills a raw pointer fill an owner: item->GetProps(tags, 0, &count, Out(values)).
template <typename Owner>
class OutPointer {
  public:
    explicit OutPointer(Owner& owner) : m_owner(owner) {}
    OutPointer(const OutPointer&) = delete;
    ~OutPointer() { m_owner.reset(m_raw); }
    operator typename Owner::pointer *() { return &m_raw; }

  private:
    Owner& m_owner;
    typename Owner::pointer m_raw = nullptr;
};
template <typename Owner>
OutPointer<Owner> Out(Owner& owner) {
    return OutPointer<Owner>(owner);
}
