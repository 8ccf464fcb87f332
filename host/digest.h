#pragma once
// Checks over texts: they tell what was written from what somebody changed since, by accident or without thought. They
// are no protection from who wants to deceive.

#include <cstdint>
#include <string>
#include <string_view>

#include "host/item_values.h"

namespace host {

/// 64-bit FNV-1a over parts that do not run into one another.
class CDigest {
  public:
    CDigest& Add(std::string_view part);
    /// 16 hexadecimal digits.
    std::string Text() const;

  private:
    uint64_t m_nHash = 0xCBF29CE484222325u;
};

/// Of everything that was read of an item.
std::string DigestOf(const TItemValues& values);
/// Of that and of the recipients and the attachments' names; empty when the item cannot be read.
std::string DigestOfWhole(CItemReader& reader, const TItem& item);
/// Of everything in an item that is attached to another one: recipients and attachments, to the innermost, included. Empty
/// when it cannot be read.
std::string DigestOfAttachedItem(CItemReader& reader, const TItem& holder, long number);

}  // namespace host
