#include "dupsearch/CSortTree.h"

#include <algorithm>
#include <cmath>

namespace dupsearch {

namespace {
constexpr int kSmallestRebuilt = 8;
constexpr double kLowestAverage = 85.0;
}  // namespace

bool CSortTree::WantsRebuild(TTreeStatistics& s) {
    if (s.nComparesLast < 1 || s.nNodes < kSmallestRebuilt) return false;
    s.fLastEfficiency = std::log2(s.nNodes) * 100.0 / s.nComparesLast;
    s.fEfficiencySum += s.fLastEfficiency;
    ++s.nMeasured;
    s.fEfficiencyAvg = s.fEfficiencySum / s.nMeasured;
    return s.fEfficiencyAvg < kLowestAverage;
}

void CSortTree::CountRebuild(TTreeStatistics& s) const {
    s.nNodes = static_cast<int>(m_order.Size());
    ++s.nRebuilds;
    s.fLastEfficiency = s.fEfficiencySum = s.fEfficiencyAvg = 100.0;
    s.nMeasured = 1;
}

void CSortTree::CountInsertion(TTreeStatistics& s) {
    ++s.nItems;
    s.nComparesTotal += s.nComparesLast;
}

// Puts the nodes made since the last rebuild between those that were there. Nothing is touched before all
// memory is at hand.
void CSortTree::Balance() {
    std::sort(m_hanging.begin(), m_hanging.end(),
              [](const THanging& a, const THanging& b) { return a.rank < b.rank; });
    std::vector<uint32_t> fresh;
    std::vector<size_t> ends;
    for (const THanging& hanging : m_hanging) {
        AppendInOrder(hanging.top, fresh);
        ends.push_back(fresh.size());
    }
    m_order.Reserve(fresh.size());
    size_t begin = 0;
    for (size_t i = 0; i < m_hanging.size(); begin = ends[i++]) {
        m_order.Insert(m_hanging[i].rank + begin, fresh.data() + begin, ends[i] - begin);
        if (m_hanging[i].parent != kNone) m_links[m_hanging[i].parent] = {};
    }
    for (const uint32_t node : fresh) m_links[node] = {};
    m_hanging.clear();
    m_nFirstRoot = kNone;
}

void CSortTree::AppendInOrder(uint32_t top, std::vector<uint32_t>& out) const {
    std::vector<uint32_t> path;
    for (uint32_t node = top; node != kNone || !path.empty();) {
        if (node != kNone) {
            path.push_back(node);
            node = m_links[node].left;
            continue;
        }
        out.push_back(path.back());
        node = m_links[path.back()].right;
        path.pop_back();
    }
}

void CSortTree::Take(const TPlace& place) noexcept {
    m_statistics = place.statistics;
    if (!place.isNew) return;
    if (Owe(place.node)) m_links.emplace_back();
    const TParent& parent = place.parent;
    if (parent.balanced) m_hanging.push_back({place.rank, place.node, parent.node});
    if (parent.node == kNone) {
        m_nFirstRoot = place.node;
    } else {
        (parent.right ? m_links[parent.node].right : m_links[parent.node].left) = place.node;
    }
}

std::vector<uint32_t> CSortTree::InOrder() const {
    std::vector<uint32_t> nodes;
    nodes.reserve(static_cast<size_t>(m_statistics.nNodes));
    VisitRange([](uint32_t, bool&) { return 0; },
               [&](uint32_t node) {
                   nodes.push_back(node);
                   return true;
               });
    return nodes;
}

void CSortTree::Erase(uint32_t node) {
    Balance();
    size_t rank = 0;
    while (m_order[rank] != node) ++rank;
    m_order.Erase(rank);
    CountRebuild(m_statistics);
}

}  // namespace dupsearch
