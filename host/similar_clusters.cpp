#include "host/similar_clusters.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace host {

namespace {

/// Strict pairs as seen from each contact. Twins are one.
struct TEdge {
    uint32_t to;
    uint32_t pair;  // by position
};

class CStrictGraph {
  public:
    CStrictGraph(const TTwins& twins, const std::vector<TSimilarPair>& pairs,
                 const std::vector<TReason>& reasons)
        : m_pairs(pairs),
          m_reasons(reasons),
          m_edges(twins.first.size()),
          m_isCut(pairs.size()),
          m_marks(twins.first.size()),
          m_from(twins.first.size()) {
        for (uint32_t i = 0; i < pairs.size(); ++i) {
            const uint32_t a = twins.first[pairs[i].a], b = twins.first[pairs[i].b];
            m_edges[a].push_back({b, i});
            if (a != b) m_edges[b].push_back({a, i});
        }
    }

    /// All that hang together with a contact, in their order.
    std::vector<uint32_t> Connected(uint32_t start) {
        std::vector<uint32_t> members{start};
        ++m_nMark;
        Mark(start);
        for (size_t i = 0; i < members.size(); ++i) {
            ForEachNeighbour(members[i], [&](const TEdge& edge) {
                if (Mark(edge.to)) members.push_back(edge.to);
                return true;
            });
        }
        std::sort(members.begin(), members.end());
        return members;
    }

    /// The first member that is neither strict to a contact nor shares a strict third with it, and is not related
    /// to it either.
    template <typename AreStrangers>
    bool FindStranger(const std::vector<uint32_t>& members, uint32_t contact, AreStrangers&& areStrangers,
                      uint32_t* stranger) {
        ++m_nMark;
        Mark(contact);
        size_t left = members.size() - 1;
        std::vector<uint32_t> friends;
        ForEachNeighbour(contact, [&](const TEdge& edge) {
            if (Mark(edge.to)) --left;
            friends.push_back(edge.to);
            return true;
        });
        for (size_t i = 0; i < friends.size() && left > 0; ++i) {
            ForEachNeighbour(friends[i], [&](const TEdge& edge) {
                if (Mark(edge.to)) --left;
                return left > 0;
            });
        }
        for (size_t i = 0; i < members.size() && left > 0; ++i) {
            if (m_marks[members[i]] == m_nMark) continue;
            --left;
            if (!areStrangers(contact, members[i])) continue;
            *stranger = members[i];
            return true;
        }
        return false;
    }

    /// Cuts the weakest pair of a shortest path between two contacts; false when there is no path.
    bool CutWeakest(uint32_t a, uint32_t b, uint32_t* cut) {
        std::vector<uint32_t> reached{a};
        ++m_nMark;
        Mark(a);
        for (size_t i = 0; i < reached.size() && m_marks[b] != m_nMark; ++i) {
            ForEachNeighbour(reached[i], [&](const TEdge& edge) {
                if (!Mark(edge.to)) return true;
                m_from[edge.to] = {reached[i], edge.pair};
                reached.push_back(edge.to);
                return edge.to != b;
            });
        }
        if (m_marks[b] != m_nMark) return false;
        *cut = m_from[b].pair;
        for (uint32_t at = b; at != a; at = m_from[at].to)
            if (Strength(m_from[at].pair) < Strength(*cut)) *cut = m_from[at].pair;
        m_isCut[*cut] = true;
        return true;
    }

    bool IsCut(uint32_t pair) const { return m_isCut[pair]; }

  private:
    int Strength(uint32_t pair) const { return m_reasons[m_pairs[pair].reason].strength; }
    bool Mark(uint32_t contact) { return std::exchange(m_marks[contact], m_nMark) != m_nMark; }
    template <typename Visit>
    void ForEachNeighbour(uint32_t contact, Visit&& visit) const {
        for (const TEdge& edge : m_edges[contact])
            if (!m_isCut[edge.pair] && !visit(edge)) return;
    }

    const std::vector<TSimilarPair>& m_pairs;
    const std::vector<TReason>& m_reasons;
    std::vector<std::vector<TEdge>> m_edges;
    std::vector<bool> m_isCut;
    std::vector<uint32_t> m_marks;
    std::vector<TEdge> m_from;
    uint32_t m_nMark = 0;
};

}  // namespace

void CResembling::Add(const TSimilarPair& pair, const TReason& reason, const TTwins& twins) {
    const size_t contacts = twins.first.size();
    auto of = std::find_if(m_byFields.begin(), m_byFields.end(),
                           [&](const TByFields& known) { return known.fields == reason.fields; });
    if (of == m_byFields.end()) {
        m_byFields.push_back({reason.fields, pair.reason, std::vector<uint32_t>(contacts, kNone),
                              std::vector<size_t>(contacts, 0)});
        of = m_byFields.end() - 1;
    }
    twins.ForEachLater(pair.a, twins.first[pair.b], [&](uint32_t contact, size_t pairs) {
        uint32_t& first = of->first[contact];
        if (first == kNone) first = pair.a;
        of->pairs[first] += pairs;
    });
}

std::vector<TResembling> CResembling::Lists() const {
    std::vector<TResembling> lists;
    for (const TByFields& of : m_byFields) {
        std::map<uint32_t, size_t> byFirst;
        for (uint32_t contact = 0; contact < of.first.size(); ++contact) {
            if (of.first[contact] == kNone) continue;
            const auto [known, isNew] = byFirst.try_emplace(of.first[contact], lists.size());
            if (isNew) lists.push_back({of.reason, {known->first}, of.pairs[known->first]});
            lists[known->second].contacts.push_back(contact);
        }
    }
    return lists;
}

std::vector<TCluster> BuildClusters(const TTwins& twins, const std::vector<TSimilarPair>& strictPairs,
                                    const std::vector<TReason>& reasons,
                                    const std::set<TContactPair>& notSame, const TAreRelated& areRelated) {
    CStrictGraph graph(twins, strictPairs, reasons);
    std::map<TContactPair, bool> asked;
    const auto areStrangers = [&](uint32_t a, uint32_t b) {
        const auto [known, isNew] = asked.try_emplace(std::minmax(a, b), false);
        if (isNew) known->second = !areRelated(a, b);
        return known->second;
    };
    // Two members that may not stay in one cluster.
    const auto findStrangers = [&](const std::vector<uint32_t>& members, uint32_t(&strangers)[2]) {
        for (const auto& [a, b] : notSame) {
            if (!std::binary_search(members.begin(), members.end(), a) ||
                !std::binary_search(members.begin(), members.end(), b))
                continue;
            strangers[0] = a;
            strangers[1] = b;
            return true;
        }
        return std::any_of(members.begin(), members.end(), [&](uint32_t member) {
            strangers[0] = member;
            return graph.FindStranger(members, member, areStrangers, &strangers[1]);
        });
    };

    std::vector<size_t> clusterOf(twins.first.size(), kNoCluster);
    std::vector<TCluster> clusters;
    // Of contacts with all their twins.
    const auto addCluster = [&](const std::vector<uint32_t>& firsts) {
        std::vector<uint32_t> all;
        for (const uint32_t first : firsts)
            all.insert(all.end(), twins.members[first].begin(), twins.members[first].end());
        std::sort(all.begin(), all.end());
        for (const uint32_t member : all) clusterOf[member] = clusters.size();
        clusters.push_back({std::move(all), 0, 0, {}, {}});
    };
    std::vector<TCut> cuts;
    std::vector<uint32_t> starts;
    std::vector<bool> isStrictToTwins(twins.first.size());
    for (const TSimilarPair& pair : strictPairs) {
        starts.push_back(pair.a);
        if (twins.first[pair.b] == pair.a) isStrictToTwins[pair.a] = true;
    }
    while (!starts.empty()) {
        const uint32_t start = starts.back();
        starts.pop_back();
        if (clusterOf[start] != kNoCluster) continue;
        const std::vector<uint32_t> members = graph.Connected(start);
        TCut cut{};
        if (members.size() > 1 && findStrangers(members, cut.strangers)) {
            for (uint32_t pair = 0; graph.CutWeakest(cut.strangers[0], cut.strangers[1], &pair);) {
                cut.pair = strictPairs[pair];
                cuts.push_back(cut);
            }
            starts.insert(starts.end(), members.begin(), members.end());
            continue;
        }
        if (members.size() > 1 || isStrictToTwins[start]) addCluster(members);
    }

    // What lost all others keeps at least one: a strict pair is shown, the strongest first.
    std::stable_sort(cuts.begin(), cuts.end(), [&](const TCut& a, const TCut& b) {
        return reasons[a.pair.reason].strength > reasons[b.pair.reason].strength;
    });
    for (const TCut& cut : cuts) {
        if (clusterOf[cut.pair.a] != kNoCluster || clusterOf[cut.pair.b] != kNoCluster) continue;
        addCluster({twins.first[cut.pair.a], twins.first[cut.pair.b]});
    }

    // In the order of their first contacts, whatever was cut when.
    std::vector<size_t> order(clusters.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::sort(order.begin(), order.end(),
              [&](size_t a, size_t b) { return clusters[a].contacts[0] < clusters[b].contacts[0]; });
    std::vector<TCluster> sorted;
    for (const size_t i : order) {
        for (const uint32_t member : clusters[i].contacts) clusterOf[member] = sorted.size();
        sorted.push_back(std::move(clusters[i]));
    }
    for (uint32_t i = 0; i < strictPairs.size(); ++i) {
        const TSimilarPair& pair = strictPairs[i];
        if (graph.IsCut(i) && clusterOf[pair.a] != clusterOf[pair.b]) continue;
        if (clusterOf[pair.a] == kNoCluster) continue;
        TCluster& cluster = sorted[clusterOf[pair.a]];
        if (cluster.pairs == 0 || reasons[pair.reason].strength > reasons[cluster.reason].strength)
            cluster.reason = pair.reason;
        cluster.pairs += twins.PairsOf(pair.a, twins.first[pair.b]);
    }
    for (TCut& cut : cuts) {
        const size_t sides[] = {clusterOf[cut.pair.a], clusterOf[cut.pair.b]};
        if (sides[0] == sides[1]) continue;
        for (const size_t side : {0, 1}) {
            cut.other = sides[1 - side];
            if (sides[side] != kNoCluster) sorted[sides[side]].cuts.push_back(cut);
        }
    }
    return sorted;
}

std::vector<size_t> AttachResembling(size_t contacts, const std::vector<TResembling>& lists,
                                     std::vector<TCluster>* clusters) {
    std::vector<size_t> clusterOf(contacts, kNoCluster);
    for (size_t i = 0; i < clusters->size(); ++i)
        for (const uint32_t member : (*clusters)[i].contacts) clusterOf[member] = i;
    std::vector<size_t> others;
    for (size_t i = 0; i < lists.size(); ++i) {
        size_t first = kNoCluster;
        bool isWithin = true;
        for (const uint32_t contact : lists[i].contacts) {
            first = std::min(first, clusterOf[contact]);
            isWithin = isWithin && clusterOf[contact] != kNoCluster &&
                       clusterOf[contact] == clusterOf[lists[i].contacts[0]];
        }
        if (isWithin) continue;
        if (first == kNoCluster)
            others.push_back(i);
        else
            (*clusters)[first].resembling.push_back(i);
    }
    return others;
}

int StrengthOf(const std::string& fields, const std::string& explanation) {
    const auto count = [](const std::string& text, const char* part) {
        int found = 0;
        for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
        return found;
    };
    int strength = 2 * (1 + count(fields, ", "));
    for (const char* inexact :
         {"(StartWith)", "(MissChar)", "(DiffChar)", "1Miss)", "1Diff)", "// LastNameOK"})
        strength -= count(explanation, inexact);
    return strength;
}

}  // namespace host
