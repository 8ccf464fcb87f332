#pragma once
// The items of a store by their entry identifiers. A look-up touches a slot and the item, however many there
// are. Owns a reference to each item; an item's identifier stays as it is while the item is in here.

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace mailbox {

struct TItem;

class CItemIndex {
  public:
    /// Null when there is none.
    std::shared_ptr<TItem> Find(std::string_view id) const;
    bool Contains(std::string_view id) const { return SlotOf(id) != kNone; }
    /// False when the identifier is taken.
    bool Add(const std::shared_ptr<TItem>& item);
    /// An identifier that is not there is ignored.
    void Remove(std::string_view id);

  private:
    static constexpr uint32_t kNone = 0xFFFFFFFF;
    struct TSlot {
        uint32_t hash;
        uint32_t number = kNone;  // of the item; free
    };

    static uint32_t HashOf(std::string_view id);
    size_t SlotOf(std::string_view id) const;
    void Enter(TSlot slot);
    void Grow();

    std::vector<TSlot> m_slots;                   // a power of two, at most seven eighths in use
    std::vector<std::shared_ptr<TItem>> m_items;  // in order of addition; null: removed
};

}  // namespace mailbox
