#pragma once
// Which items equal each other, and the groups that they form under their originals.
//
// Kept is which profiles' items were found equal. An item equals those of the profiles of its profile that were added
// before it; a pair of profiles is kept once for each side of which items may be added still.
//
// The first item of a profile is matched with all profiles, the second with its own as well: that is how far a
// profile is decided. A profile that stays of one item has matched alone; others learn of it when they are
// added to.

#include <span>
#include <vector>

#include "dupsearch/CProfiles.h"

namespace dupsearch {

/// A change that a build made, items by number.
struct TBuildChange {
    ESearchChange kind;
    uint32_t original;
    uint32_t duplicate;  // kNone but for scJoined and scLeft
    int position;        // of the duplicate among the group's duplicates; -1 but for scJoined
};

class CGroups {
  public:
    /// Whether items of this profile have equals, as far as it is decided.
    bool HasEquals(uint32_t profile) const { return m_decided[profile].hasEquals; }

    /// The profiles with which an item that is added to this one has to be matched still.
    std::vector<uint32_t> Undecided(uint32_t profile) const;

    /// Makes room, so that the next addition, with so many equal profiles, cannot fail.
    void MakeRoomFor(size_t equals);
    /// A new profile, the next one, of an item that equals those of these profiles. alone: it stays of one.
    void AddProfile(std::span<const uint32_t> equals, bool alone) noexcept;
    /// An item was added to this profile, and equals those of these profiles among the undecided ones.
    void AddTo(uint32_t profile, std::span<const uint32_t> equals) noexcept;

    /// Forms the groups anew: rank(items) puts those that have equals in order, the best original first.
    template <typename Rank>
    void Build(const CProfiles& profiles, uint32_t nItems, Rank&& rank) {
        const CView equals(*this, profiles, nItems);
        Form(equals, profiles, nItems, rank(equals.Keys()));
    }
    /// The result of the last Build: groups are of items by number, the original first.
    const std::vector<std::vector<uint32_t>>& Groups() const { return m_groups; }
    const std::vector<TBuildChange>& Changes() const { return m_changes; }

  private:
    /// The map as it is now, looked up from both sides.
    class CView {
      public:
        CView(const CGroups& map, const CProfiles& profiles, uint32_t nItems);

        /// Items that have equals, in order of addition.
        const std::vector<uint32_t>& Keys() const { return m_keys; }
        bool IsKey(uint32_t item) const;
        /// Visits each item equal to this one, in no order, but for those of profiles for which isVisited says
        /// no.
        template <typename IsVisited, typename Visit>
        void VisitEquals(uint32_t item, IsVisited&& isVisited, Visit&& visit) const {
            const uint32_t own = m_profiles.Of(item);
            for (const uint32_t profile : m_earlier.Of(own)) {
                if (!isVisited(profile)) continue;
                for (uint32_t i = m_profiles.First(profile); i < item; i = m_profiles.Next(i)) visit(i);
            }
            for (const uint32_t profile : m_later.Of(own)) {
                if (!isVisited(profile)) continue;
                for (uint32_t i = m_profiles.First(profile); i != kNone; i = m_profiles.Next(i)) {
                    if (i > item) visit(i);
                }
            }
        }

      private:
        /// Lists of profiles by profile, back to back.
        struct TLists {
            std::vector<uint32_t> begins;
            std::vector<uint32_t> numbers;
            std::span<const uint32_t> Of(uint32_t key) const {
                return {numbers.data() + begins[key], begins[key + 1] - begins[key]};
            }
        };
        /// The others of all pairs by one side.
        template <typename Key, typename Other>
        TLists ListBy(uint32_t profiles, Key&& key, Other&& other) const;

        const CGroups& m_map;
        const CProfiles& m_profiles;
        TLists m_earlier;  // profiles whose items the profile's equal where these were added later
        TLists m_later;    // the same the other way round
        std::vector<uint32_t> m_keys;
    };

    struct TEdge {
        uint32_t profile;
        uint32_t other;
    };

    struct TDecided {
        uint32_t alone = 0;      // how many of m_alone it was matched with
        bool self = false;       // whether it was matched with itself
        bool hasEquals = false;  // it has an edge
    };

    void Form(const CView& equals, const CProfiles& profiles, uint32_t nItems,
              const std::vector<uint32_t>& ranked);
    bool IsAlone(uint32_t profile) const;
    void AddEdge(uint32_t profile, uint32_t other) noexcept;

    std::vector<TEdge> m_edges;
    std::vector<TDecided> m_decided;  // by profile
    std::vector<uint32_t> m_alone;    // profiles that stay of one item, ascending

    std::vector<std::vector<uint32_t>> m_groups;
    std::vector<TBuildChange> m_changes;
};

}  // namespace dupsearch
