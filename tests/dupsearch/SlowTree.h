#pragma once
// The sorting tree written out as its rule says: linked nodes, a full list for every rebuild. Slow, and
// the measure for the real one: same nodes, same order, same counters.

#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <vector>

#include "dupsearch/CSortTree.h"

namespace dupsearch {

inline std::ostream& operator<<(std::ostream& out, const TTreeStatistics& s) {
    return out << s.nNodes << " nodes, " << s.nItems << " items, compares " << s.nComparesTotal << "/"
               << s.nComparesLast << ", " << s.nRebuilds << " rebuilds, measured " << s.nMeasured
               << ", efficiency " << s.fLastEfficiency << "/" << s.fEfficiencySum << "/" << s.fEfficiencyAvg;
}

}  // namespace dupsearch

class SlowTree {
  public:
    /// The item against a node's first item; sets error to refuse.
    using Compare = std::function<int(int item, int first, bool& error)>;

    /// Whether the item was filed.
    bool Insert(int item, const Compare& compare) {
        if (WantsRebuild()) Rebuild(InOrder());
        s.nComparesLast = 0;
        Node** at = &m_root;
        while (*at) {
            ++s.nComparesLast;
            bool error = false;
            const int order = compare(item, (*at)->items[0], error);
            if (error) return false;
            if (order == 0) break;
            at = order < 0 ? &(*at)->left : &(*at)->right;
        }
        if (!*at) {
            m_nodes.push_back(std::make_unique<Node>());
            *at = m_nodes.back().get();
            ++s.nNodes;
        }
        (*at)->items.push_back(item);
        m_index[item] = *at;
        ++s.nItems;
        s.nComparesTotal += s.nComparesLast;
        return true;
    }

    void Remove(int item) {
        const auto found = m_index.find(item);
        if (found == m_index.end()) return;
        Node* const node = found->second;
        m_index.erase(found);
        std::erase(node->items, item);
        if (node->items.empty()) {
            std::vector<Node*> list = InOrder();
            std::erase(list, node);
            Rebuild(list);
        }
        --s.nItems;
    }

    std::vector<std::vector<int>> Groups() const {
        std::vector<std::vector<int>> groups;
        for (const Node* node : InOrder()) groups.push_back(node->items);
        return groups;
    }

    dupsearch::TTreeStatistics s;

  private:
    struct Node {
        Node* left = nullptr;
        Node* right = nullptr;
        std::vector<int> items;
    };

    bool WantsRebuild() {
        if (s.nComparesLast < 1 || s.nNodes < 8) return false;
        s.fLastEfficiency = std::log2(s.nNodes) * 100.0 / s.nComparesLast;
        s.fEfficiencySum += s.fLastEfficiency;
        ++s.nMeasured;
        s.fEfficiencyAvg = s.fEfficiencySum / s.nMeasured;
        return s.fEfficiencyAvg < 85.0;
    }
    static void List(Node* node, std::vector<Node*>& list) {
        if (!node) return;
        List(node->left, list);
        list.push_back(node);
        List(node->right, list);
    }
    std::vector<Node*> InOrder() const {
        std::vector<Node*> list;
        List(m_root, list);
        return list;
    }
    static Node* Balance(const std::vector<Node*>& list, int lo, int hi) {
        if (lo > hi) return nullptr;
        const int middle = (lo + hi) / 2;
        Node* const node = list[static_cast<size_t>(middle)];
        node->left = Balance(list, lo, middle - 1);
        node->right = Balance(list, middle + 1, hi);
        return node;
    }
    void Rebuild(const std::vector<Node*>& list) {
        m_root = Balance(list, 0, static_cast<int>(list.size()) - 1);
        s.nNodes = static_cast<int>(list.size());
        ++s.nRebuilds;
        s.fLastEfficiency = s.fEfficiencySum = s.fEfficiencyAvg = 100.0;
        s.nMeasured = 1;
    }
    std::vector<std::unique_ptr<Node>> m_nodes;
    Node* m_root = nullptr;
    std::map<int, Node*> m_index;
};
