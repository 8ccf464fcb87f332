#include "dupsearch/CProfiles.h"

#include <algorithm>
#include <array>
#include <utility>

namespace dupsearch {

using base::CHashIndex;
using base::CTuples;

CProfiles::CProfiles(const CompareData& compareData)
    : m_compareData(compareData), m_nodeHeads(compareData.size()), m_emptyHeads(compareData.size(), kNone) {}

uint32_t CProfiles::StateOf(const TFiling& filing) {
    if (filing.empty) return kEmpty;
    if (!filing.data->IsMultiTree()) return filing.node == kNone ? kUnfiled : filing.node;
    std::array<uint32_t, compare::kPhoneKinds> few;
    const auto nodes = few.begin();
    auto end = nodes;
    for (const TElement& element : filing.elements) {
        if (element.node != kNone) *end++ = element.node;
    }
    if (end == nodes) return kUnfiled;
    std::sort(nodes, end);
    end = std::unique(nodes, end);
    return end == nodes + 1 ? *nodes : m_sets.FindOrAdd({nodes, end}) | kSetBit;
}

CProfiles::States CProfiles::StatesOf(std::span<const TFiling> filings, CTuples::Tuple ruleFacts,
                                      std::pmr::memory_resource& memory) {
    States states(m_compareData.size() + 1, kUnfiled, &memory);
    states.back() = ruleFacts.empty() ? 0 : m_ruleFacts.FindOrAdd(ruleFacts);
    // Filings are in the order of the properties.
    size_t p = 0;
    for (const TFiling& filing : filings) {
        while (m_compareData[p].get() != filing.data) ++p;
        states[p] = StateOf(filing);
    }
    return states;
}

std::span<const uint32_t> CProfiles::Nodes(size_t property, const uint32_t& state) const {
    const bool isSet = m_compareData[property]->IsMultiTree() && (state & kSetBit) != 0;
    return isSet ? m_sets[state & ~kSetBit] : std::span<const uint32_t>(&state, 1);
}

uint32_t CProfiles::Find(std::span<const uint32_t> states) const {
    return m_profiles.Find(CTuples::Hash(states), [&](uint32_t profile) {
        return std::equal(states.begin(), states.end(), m_states.begin() + profile * states.size());
    });
}

void CProfiles::MakeRoomFor(uint32_t item, std::span<const uint32_t> states) {
    base::MakeRoom(m_profileOf, size_t{item} + 1);
    m_profiles.MakeRoomFor(m_nCount);
    base::MakeRoom(m_states, m_states.size() + states.size());
    size_t listings = 0;
    for (size_t p = 0; p < m_compareData.size(); ++p) {
        if (states[p] == kUnfiled) continue;
        ++listings;
        if (states[p] == kEmpty) continue;
        const auto nodes = Nodes(p, states[p]);
        listings += nodes.size();
        base::MakeRoom(m_nodeHeads[p], size_t{*std::ranges::max_element(nodes)} + 1);
    }
    // A listing may turn a single profile into a bucket and need another.
    base::MakeRoom(m_buckets, m_buckets.size() + 2 * listings);
    base::MakeRoom(m_cells, m_cells.size() + 2 * listings);
}

void CProfiles::Append(uint32_t item, uint32_t profile, std::span<const uint32_t> states) noexcept {
    if (profile == kNone) {
        profile = m_nCount;
        m_profiles.Enter(CTuples::Hash(states), profile);
        AddProfile(states);
    }
    if (item > m_profileOf.size()) m_profileOf.resize(item, kNone);
    m_profileOf.push_back(profile);
}

void CProfiles::AppendAlone(uint32_t item, std::span<const uint32_t> states) noexcept {
    AddProfile(states);
    Append(item, m_nCount - 1, states);
}

void CProfiles::AddProfile(std::span<const uint32_t> states) noexcept {
    const uint32_t profile = m_nCount++;
    m_states.insert(m_states.end(), states.begin(), states.end());
    List(profile, states);
}

void CProfiles::AddProperties() {
    constexpr size_t kBucketsOfAHead = kMostBuckets + 2;
    const size_t before = Properties(), now = m_compareData.size();
    std::vector<uint32_t> states;
    CHashIndex profiles;
    states.reserve(m_nCount * (now + 1));
    profiles.MakeRoomFor(m_nCount);
    for (uint32_t profile = 0; profile < m_nCount; ++profile) {
        const auto old = std::span(m_states).subspan(profile * (before + 1), before + 1);
        const bool isKnown =
            m_profiles.Find(CTuples::Hash(old), [&](uint32_t other) { return other == profile; }) == profile;
        const size_t first = states.size();
        states.insert(states.end(), old.begin(), old.end() - 1);
        for (size_t p = before; p < now; ++p) {
            const uint32_t node = m_compareData[p]->Tree().NodeOf(First(profile));
            states.push_back(node == base::kNone ? kEmpty : node);
        }
        states.push_back(old.back());
        // One that no other item joins is found by nobody.
        if (isKnown) profiles.Enter(CTuples::Hash(std::span(states).subspan(first)), profile);
    }
    base::MakeRoom(m_cells, m_cells.size() + (now - before) * m_nCount);
    m_nodeHeads.resize(now);
    size_t heads = 0;
    for (size_t p = before; p < now; ++p) {
        const uint32_t nodes = m_compareData[p]->Tree().NodeLimit();
        base::MakeRoom(m_nodeHeads[p], nodes);
        heads += 1 + nodes;
    }
    base::MakeRoom(m_buckets, m_buckets.size() + heads * kBucketsOfAHead);
    m_emptyHeads.resize(now, kNone);
    // Nothing can fail any more.
    m_states = std::move(states);
    m_profiles = std::move(profiles);
    for (uint32_t profile = 0; profile < m_nCount; ++profile) {
        const uint64_t filled = FilledOf(profile);
        for (size_t p = before; p < now; ++p) {
            const uint32_t node = State(profile, p);
            ListAt(node == kEmpty ? m_emptyHeads[p] : HeadOf(p, node), profile, filled);
        }
    }
}

/// Puts the items appended since the last time into the lists of their profiles.
void CProfiles::LinkItems() const {
    if (m_next.size() == m_profileOf.size()) return;
    m_members.resize(m_nCount);
    base::MakeRoom(m_next, m_profileOf.size());
    while (m_next.size() < m_profileOf.size()) {
        const auto item = static_cast<uint32_t>(m_next.size());
        m_next.push_back(kNone);
        if (m_profileOf[item] == kNone) continue;
        TMembers& members = m_members[m_profileOf[item]];
        (members.first == kNone ? members.first : m_next[members.last]) = item;
        members.last = item;
    }
}

/// A bit for each property that is not empty, of the first 64.
uint64_t CProfiles::FilledOf(uint32_t profile) const {
    uint64_t filled = 0;
    for (size_t p = 0; p < m_compareData.size() && p < 64; ++p) {
        filled |= uint64_t{State(profile, p) != kEmpty} << p;
    }
    return filled;
}

void CProfiles::List(uint32_t profile, std::span<const uint32_t> states) noexcept {
    const uint64_t filled = FilledOf(profile);
    for (size_t p = 0; p < m_compareData.size(); ++p) {
        if (states[p] == kUnfiled) continue;
        if (states[p] == kEmpty) {
            ListAt(m_emptyHeads[p], profile, filled);
        } else {
            for (const uint32_t node : Nodes(p, states[p])) ListAt(HeadOf(p, node), profile, filled);
        }
    }
}

void CProfiles::ListAt(uint32_t& head, uint32_t profile, uint64_t filled) noexcept {
    if (head == kNone) {
        head = profile;
        return;
    }
    if (IsSingle(head)) {
        const uint32_t single = std::exchange(head, kNone);
        AddCell(m_buckets[BucketFor(head, FilledOf(single))], single);
    }
    AddCell(m_buckets[BucketFor(head, filled)], profile);
}

void CProfiles::AddCell(TBucket& bucket, uint32_t profile) noexcept {
    m_cells.push_back({profile, bucket.firstCell});
    bucket.firstCell = static_cast<uint32_t>(m_cells.size() - 1);
    ++bucket.count;
}

uint32_t CProfiles::Head(size_t property, uint32_t node) const {
    if (node == kEmpty) return m_emptyHeads[property];
    const auto& heads = m_nodeHeads[property];
    return node < heads.size() ? heads[node] : kNone;
}

uint32_t& CProfiles::HeadOf(size_t property, uint32_t node) noexcept {
    auto& heads = m_nodeHeads[property];
    if (node > heads.size()) heads.resize(node, kNone);
    if (node == heads.size()) heads.push_back(kNone);
    return heads[node];
}

uint32_t CProfiles::BucketFor(uint32_t& head, uint64_t filled) noexcept {
    int buckets = 0;
    uint32_t mixed = kNone;
    for (uint32_t b = FirstBucket(head); b != kNone; b = m_buckets[b].next, ++buckets) {
        if (m_buckets[b].mixed) {
            mixed = b;
        } else if (m_buckets[b].filled == filled) {
            return b;
        }
    }
    if (mixed != kNone) return mixed;
    m_buckets.push_back({filled, kNone, 0, FirstBucket(head), buckets >= kMostBuckets});
    const auto bucket = static_cast<uint32_t>(m_buckets.size() - 1);
    head = bucket | kBucketBit;
    return bucket;
}

uint32_t CProfiles::CountAt(size_t property, uint32_t node) const {
    const uint32_t head = Head(property, node);
    if (IsSingle(head)) return 1;
    uint32_t count = 0;
    for (uint32_t b = FirstBucket(head); b != kNone; b = m_buckets[b].next) count += m_buckets[b].count;
    return count;
}

}  // namespace dupsearch
