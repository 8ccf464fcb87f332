#pragma once
// What matching sees of an item: in each compared property the node that it shares with its equals, or that
// its value is empty, or that it could not be filed; and what the exception rules read of it besides. Items that
// agree in all of this are one profile: they match the same items, so matching works on profiles, and a thousand
// copies of an item cost no more than one.
//
// Each node (and each property's emptiness) lists its profiles: most nodes have a single one. Several are in
// buckets by which properties are filled: a search for items that lack certain properties passes whole
// buckets by.

#include <memory>
#include <memory_resource>
#include <vector>

#include "dupsearch/CCmpData.h"
#include "base/CTuples.h"

namespace dupsearch {

class CProfiles {
  public:
    static constexpr uint32_t kEmpty = 0xFFFFFFFF;
    static constexpr uint32_t kUnfiled = 0xFFFFFFFE;
    using States = std::pmr::vector<uint32_t>;
    using CompareData = std::vector<std::unique_ptr<CCmpData>>;

    explicit CProfiles(const CompareData& compareData);

    /// The states of an item that is about to be filed: in each compared property a node, or what stands for a
    /// set of nodes, or one of the above; last a number for what the rules read.
    States StatesOf(std::span<const TFiling> filings, base::CTuples::Tuple ruleFacts,
                    std::pmr::memory_resource& memory);
    /// The profile of these states, or kNone.
    uint32_t Find(std::span<const uint32_t> states) const;
    /// Makes room, so that appending an item of these states cannot fail.
    void MakeRoomFor(uint32_t item, std::span<const uint32_t> states);
    /// Adds an item to its profile, or (kNone) to a new one.
    void Append(uint32_t item, uint32_t profile, std::span<const uint32_t> states) noexcept;
    /// The same for one that no other item shall join, whatever its states.
    void AppendAlone(uint32_t item, std::span<const uint32_t> states) noexcept;

    /// Properties of single values came in at the end, in which all items of a profile are filed alike. Profiles
    /// keep their numbers. Changes nothing when memory runs out.
    void AddProperties();
    size_t Properties() const { return m_emptyHeads.size(); }

    uint32_t Count() const { return m_nCount; }
    uint32_t State(uint32_t profile, size_t property) const {
        return m_states[profile * (m_compareData.size() + 1) + property];
    }
    /// The profile of an item that was appended.
    uint32_t Of(uint32_t item) const { return m_profileOf[item]; }
    /// Items of a profile in order of addition: the first, and the next one or kNone. Next is asked about the
    /// result of First or Next.
    uint32_t First(uint32_t profile) const {
        LinkItems();
        return m_members[profile].first;
    }
    uint32_t Next(uint32_t item) const { return m_next[item]; }
    uint32_t Last(uint32_t profile) const {
        LinkItems();
        return m_members[profile].last;
    }

    /// The nodes behind a state of a property that is neither kEmpty nor kUnfiled.
    std::span<const uint32_t> Nodes(size_t property, const uint32_t& state) const;

    /// How many profiles list a node, or (kEmpty) have the property empty.
    uint32_t CountAt(size_t property, uint32_t node) const;
    /// Visits the profiles at a node or emptiness, leaving out some or all that have one of these properties
    /// filled (bits of the first 64 properties).
    template <typename Visit>
    void VisitAt(size_t property, uint32_t node, uint64_t withoutFilled, Visit&& visit) const {
        const uint32_t head = Head(property, node);
        if (IsSingle(head)) return visit(head);
        for (uint32_t b = FirstBucket(head); b != kNone; b = m_buckets[b].next) {
            const TBucket& bucket = m_buckets[b];
            if (!bucket.mixed && (bucket.filled & withoutFilled) != 0) continue;
            for (uint32_t c = bucket.firstCell; c != kNone; c = m_cells[c].next) visit(m_cells[c].profile);
        }
    }

  private:
    // A set of several nodes is a state of its own, marked by this bit.
    static constexpr uint32_t kSetBit = 0x80000000;
    // A node of more buckets than this collects all further profiles in one.
    static constexpr int kMostBuckets = 32;

    struct TBucket {
        uint64_t filled;  // of every profile in it
        uint32_t firstCell;
        uint32_t count;
        uint32_t next;
        bool mixed;  // profiles of any kind
    };
    struct TCell {
        uint32_t profile;
        uint32_t next;
    };
    struct TMembers {
        uint32_t first = kNone;
        uint32_t last = kNone;
    };

    // What a node has: no profile (kNone), a single one, or its first bucket, marked by this bit.
    static constexpr uint32_t kBucketBit = 0x80000000;
    static bool IsSingle(uint32_t head) { return (head & kBucketBit) == 0; }
    static uint32_t FirstBucket(uint32_t head) { return head == kNone ? kNone : head & ~kBucketBit; }

    uint32_t StateOf(const TFiling& filing);
    void AddProfile(std::span<const uint32_t> states) noexcept;
    uint32_t Head(size_t property, uint32_t node) const;
    uint32_t& HeadOf(size_t property, uint32_t node) noexcept;
    void LinkItems() const;
    uint64_t FilledOf(uint32_t profile) const;
    void List(uint32_t profile, std::span<const uint32_t> states) noexcept;
    void ListAt(uint32_t& head, uint32_t profile, uint64_t filled) noexcept;
    void AddCell(TBucket& bucket, uint32_t profile) noexcept;
    uint32_t BucketFor(uint32_t& head, uint64_t filled) noexcept;

    const CompareData& m_compareData;
    std::vector<uint32_t> m_states;  // of one profile after the other
    base::CHashIndex m_profiles;     // by the hash of their states
    base::CTuples m_sets;            // nodes of each set
    base::CTuples m_ruleFacts;
    uint32_t m_nCount = 0;              // of profiles
    std::vector<uint32_t> m_profileOf;  // by item; kNone: it was not appended
    // The lists of items, as far as somebody asked for them: most items find no equal.
    mutable std::vector<TMembers> m_members;         // by profile
    mutable std::vector<uint32_t> m_next;            // by item
    std::vector<std::vector<uint32_t>> m_nodeHeads;  // by property and node
    std::vector<uint32_t> m_emptyHeads;              // by property
    std::vector<TBucket> m_buckets;
    std::vector<TCell> m_cells;
};

}  // namespace dupsearch
