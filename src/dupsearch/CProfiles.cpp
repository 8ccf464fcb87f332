#include "dupsearch/CProfiles.h"

#include <algorithm>
#include <utility>

CProfiles::CProfiles(const CompareData& compareData)
    : m_compareData(compareData), m_nodeHeads(compareData.size()), m_emptyHeads(compareData.size(), kNone) {}

uint32_t CProfiles::StateOf(const CCmpData& data, uint32_t item) {
    if (data.IsMultiTree()) {
        const auto filed = data.MultiTree().NodesOf(item);
        if (filed.size() == 1) return filed[0].node;
        if (!filed.empty()) {
            m_nodes.clear();
            for (const auto& f : filed) m_nodes.push_back(f.node);
            std::sort(m_nodes.begin(), m_nodes.end());
            return m_sets.FindOrAdd(m_nodes) | kSetBit;
        }
    } else if (const uint32_t node = data.Tree().NodeOf(item); node != kNone) {
        return node;
    }
    return data.IsEmpty(item) ? kEmpty : kUnfiled;
}

bool CProfiles::GetStates(uint32_t item, States& states) {
    states.resize(m_compareData.size());
    bool bUnfiled = false;
    for (size_t p = 0; p < states.size(); ++p) {
        states[p] = StateOf(*m_compareData[p], item);
        bUnfiled |= states[p] == kUnfiled;
    }
    return !bUnfiled;
}

std::span<const uint32_t> CProfiles::Nodes(size_t property, const uint32_t& state) const {
    const bool isSet = m_compareData[property]->IsMultiTree() && (state & kSetBit) != 0;
    return isSet ? m_sets[state & ~kSetBit] : std::span<const uint32_t>(&state, 1);
}

void CProfiles::Append(uint32_t item, const States& states, uint32_t likely) {
    const uint32_t newProfile = Count();
    const auto isEqual = [&](uint32_t profile) {
        return std::equal(states.begin(), states.end(), m_states.begin() + profile * states.size());
    };
    const uint32_t profile = likely != kNone && isEqual(likely)
                                 ? likely
                                 : m_profiles.FindOrEnter(CTuples::Hash(states), newProfile, isEqual);
    if (profile == newProfile) {
        ++m_count;
        m_states.insert(m_states.end(), states.begin(), states.end());
        List(profile, states);
    }
    if (item > m_profileOf.size()) m_profileOf.resize(item, kNone);
    m_profileOf.push_back(profile);
}

/// Puts the items appended since the last time into the lists of their profiles.
void CProfiles::LinkItems() const {
    if (m_next.size() == m_profileOf.size()) return;
    m_members.resize(m_count);
    while (m_next.size() < m_profileOf.size()) {
        const auto item = static_cast<uint32_t>(m_next.size());
        m_next.push_back(kNone);
        if (m_profileOf[item] == kNone) continue;
        Members& members = m_members[m_profileOf[item]];
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

void CProfiles::List(uint32_t profile, const States& states) {
    const uint64_t filled = FilledOf(profile);
    for (size_t p = 0; p < states.size(); ++p) {
        if (states[p] == kUnfiled) continue;
        if (states[p] == kEmpty) {
            ListAt(m_emptyHeads[p], profile, filled);
        } else {
            for (const uint32_t node : Nodes(p, states[p])) ListAt(HeadOf(p, node), profile, filled);
        }
    }
}

void CProfiles::ListAt(uint32_t& head, uint32_t profile, uint64_t filled) {
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

void CProfiles::AddCell(Bucket& bucket, uint32_t profile) {
    m_cells.push_back({profile, bucket.firstCell});
    bucket.firstCell = static_cast<uint32_t>(m_cells.size() - 1);
    ++bucket.count;
}

uint32_t CProfiles::Head(size_t property, uint32_t node) const {
    if (node == kEmpty) return m_emptyHeads[property];
    const auto& heads = m_nodeHeads[property];
    return node < heads.size() ? heads[node] : kNone;
}

uint32_t& CProfiles::HeadOf(size_t property, uint32_t node) {
    auto& heads = m_nodeHeads[property];
    if (node > heads.size()) heads.resize(node, kNone);
    if (node == heads.size()) heads.push_back(kNone);
    return heads[node];
}

uint32_t CProfiles::BucketFor(uint32_t& head, uint64_t filled) {
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
