#pragma once
// For each item the items found equal to it. Being equal goes both ways, so a pair is kept once, with the
// item that was added later; equals that are a whole profile are kept as the profile.

#include <span>
#include <vector>

#include "dupsearch/CProfiles.h"

/// The equals of a new item: profiles, as far as they were filled before it, and single items.
struct TEquals {
    std::vector<uint32_t> profiles;
    std::vector<uint32_t> items;
    bool IsNone() const { return profiles.empty() && items.empty(); }
};

class CDuplicateMap {
  public:
    /// Called for items in order of addition.
    void Add(uint32_t item, const TEquals& equals);

    /// The map as it is now, looked up from both sides.
    class CView {
      public:
        CView(const CDuplicateMap& map, const CProfiles& profiles, uint32_t nItems);

        /// Items that have equals, in order of addition.
        const std::vector<uint32_t>& Keys() const { return m_keys; }
        /// Visits each item equal to this one, in no order.
        template <typename Visit>
        void VisitEquals(uint32_t item, Visit&& visit) const {
            if (m_entryOf[item] != kNone) {
                const Entry& entry = m_map.m_entries[m_entryOf[item]];
                for (const uint32_t profile : m_map.ProfilesOf(entry)) {
                    for (uint32_t i = m_profiles.First(profile); i < item; i = m_profiles.Next(i)) visit(i);
                }
                for (const uint32_t i : m_map.ItemsOf(entry)) visit(i);
            }
            for (const uint32_t later : m_byProfile.Of(m_profiles.Of(item))) {
                if (later > item) visit(later);
            }
            for (const uint32_t later : m_byItem.Of(item)) visit(later);
        }

      private:
        /// Lists of numbers by number, back to back.
        struct Lists {
            std::vector<uint32_t> begins;
            std::vector<uint32_t> numbers;
            std::span<const uint32_t> Of(uint32_t key) const {
                return {numbers.data() + begins[key], begins[key + 1] - begins[key]};
            }
        };

        template <typename Select>
        Lists Reverse(size_t keys, Select&& select) const;
        void FindKeys(uint32_t nItems);

        const CDuplicateMap& m_map;
        const CProfiles& m_profiles;
        std::vector<uint32_t> m_entryOf;  // by item
        Lists m_byProfile;                // items added later that equal the profile's
        Lists m_byItem;                   // the same of single items
        std::vector<uint32_t> m_keys;
    };

  private:
    struct Entry {
        uint32_t item;
        uint32_t begin;  // in m_numbers: profiles, then items
        uint32_t profiles;
        uint32_t items;
    };

    std::span<const uint32_t> ProfilesOf(const Entry& e) const {
        return {m_numbers.data() + e.begin, e.profiles};
    }
    std::span<const uint32_t> ItemsOf(const Entry& e) const {
        return {m_numbers.data() + e.begin + e.profiles, e.items};
    }

    std::vector<Entry> m_entries;
    std::vector<uint32_t> m_numbers;
};
