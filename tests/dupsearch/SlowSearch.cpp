#include "tests/dupsearch/SlowSearch.h"

#include <algorithm>
#include <cstdlib>

#include "quorvel.h"
#include "tests/dupsearch/SlowTree.h"

SlowSearch::SlowSearch(std::vector<Property> properties, bool identical, bool grouped, unsigned kind,
                       Exempt exempt)
    : m_properties(std::move(properties)),
      m_identical(identical),
      m_grouped(grouped),
      m_kind(kind),
      m_exempt(std::move(exempt)),
      m_empties(m_properties.size()) {
    std::set<int> groups;
    for (const Property& p : m_properties) groups.insert(p.group);
    for (Property& p : m_properties) {
        p.group = static_cast<int>(std::distance(groups.begin(), groups.find(p.group)));
        m_trees.push_back(std::make_unique<SlowTree>());
    }
    m_nGroups = static_cast<int>(groups.size());
}

SlowSearch::~SlowSearch() = default;

/// The items whose value equals the item's, the item among them.
SlowSearch::Set SlowSearch::EqualsIn(size_t property, int item) const {
    Set found{item};
    const auto cell = [&](int i) -> const Cell& { return m_items[static_cast<size_t>(i)].cells[property]; };
    if (m_properties[property].equality == Equality::kTolerant) {
        for (const auto& node : m_trees[property]->Groups()) {
            if (std::count(node.begin(), node.end(), item)) found.insert(node.begin(), node.end());
        }
        return found;
    }
    for (int other = 0; other < static_cast<int>(m_items.size()); ++other) {
        for (const int a : cell(item)) {
            for (const int b : cell(other)) {
                const int reach = m_properties[property].equality == Equality::kNear ? kNearReach : 1;
                if (std::abs(a - b) < reach) found.insert(other);
            }
        }
    }
    return found;
}

SlowSearch::Outcome SlowSearch::Identical(int item, int group, Set*& equals, Set& storage,
                                          bool& allEmpty) const {
    for (size_t p = 0; p < m_properties.size(); ++p) {
        if (group >= 0 && m_properties[p].group != group) continue;
        const bool empty = m_empties[p].count(item) != 0;
        Set s = empty ? m_empties[p] : EqualsIn(p, item);
        if (!empty) allEmpty = false;
        if (!equals) {
            storage = s;
            equals = &storage;
        } else {
            std::erase_if(*equals, [&](int i) { return s.count(i) == 0; });
        }
        if (equals->size() < 2) return kNo;
    }
    return allEmpty ? kUnknown : kYes;
}

SlowSearch::Outcome SlowSearch::Similar(int item, int group, Set*& equals, Set& equalsStorage, Set*& empties,
                                        Set& emptiesStorage) const {
    for (size_t p = 0; p < m_properties.size(); ++p) {
        if (group >= 0 && m_properties[p].group != group) continue;
        if (m_empties[p].count(item)) continue;
        Set s = EqualsIn(p, item);
        Set lacking = m_empties[p];
        if (!equals) {
            equalsStorage = s;
            emptiesStorage = lacking;
            equals = &equalsStorage;
            empties = &emptiesStorage;
            continue;
        }
        Set newEquals, newEmpties;
        for (const int i : *equals) {
            if (s.erase(i) || lacking.erase(i)) newEquals.insert(i);
        }
        for (const int i : s) {
            if (empties->erase(i)) newEquals.insert(i);
        }
        for (const int i : *empties) {
            if (lacking.count(i)) newEmpties.insert(i);
        }
        *equals = newEquals;
        *empties = newEmpties;
        if (equals->size() < 2 && empties->empty()) break;
    }
    if (!equals) return kUnknown;
    if (equals->size() >= 2) return kYes;
    return empties->empty() ? kNo : kUnknown;
}

SlowSearch::Set SlowSearch::Find(int item) const {
    Set storage, emptiesStorage, result;
    Set *equals = nullptr, *empties = nullptr;
    bool allEmpty = true;
    Outcome outcome = kUnknown;
    if (m_identical) {
        for (int group = m_grouped ? 0 : -1; outcome == kUnknown && group < (m_grouped ? m_nGroups : 0);
             ++group) {
            outcome = Identical(item, group, equals, storage, allEmpty);
        }
        if (outcome == kYes) result = *equals;
    } else if (!m_grouped) {
        if (Similar(item, -1, equals, storage, empties, emptiesStorage) == kYes) result = *equals;
    } else {
        for (int group = 0; group < m_nGroups; ++group) {
            outcome = Similar(item, group, equals, storage, empties, emptiesStorage);
            if (outcome == kNo) break;
            if (outcome == kUnknown) continue;
            result.insert(equals->begin(), equals->end());
            if (empties->empty()) break;
            *equals = {item};
        }
    }
    result.erase(item);
    std::erase_if(result, [&](int i) { return m_exempt(item, i); });
    return result;
}

bool SlowSearch::Add(const SlowItem& added) {
    const int item = static_cast<int>(m_items.size());
    m_items.push_back(added);
    for (size_t p = 0; p < m_properties.size(); ++p) {
        if (added.cells[p].empty()) {
            m_empties[p].insert(item);
        } else if (m_properties[p].equality == Equality::kTolerant) {
            m_trees[p]->Insert(item, [&](int a, int b, bool&) {
                const int difference =
                    m_items[static_cast<size_t>(a)].cells[p][0] - m_items[static_cast<size_t>(b)].cells[p][0];
                return std::abs(difference) <= kTolerance ? 0 : difference;
            });
        }
    }
    const Set equals = Find(item);
    if (equals.empty()) return false;
    for (const int equal : equals) m_duplicates[equal].insert(item);
    m_duplicates[item] = equals;
    return true;
}

/// 1 when a is preferred as original.
int SlowSearch::CompareOriginal(int a, int b) const {
    const SlowItem &x = m_items[static_cast<size_t>(a)], &y = m_items[static_cast<size_t>(b)];
    if (x.rank != y.rank) return x.rank < y.rank ? 1 : -1;
    if (m_kind == okLargestValues) {
        int sum = 0;
        for (size_t i = 0; i < x.sizes.size(); ++i)
            sum += (x.sizes[i] > y.sizes[i]) - (x.sizes[i] < y.sizes[i]);
        if (sum != 0) return sum > 0 ? 1 : -1;
    }
    const bool byOrder = m_kind == okCallerOrder || m_kind == okCallerOrder2;
    if (!byOrder && x.filled != y.filled) return x.filled > y.filled ? 1 : -1;
    return a < b ? 1 : -1;
}

void SlowSearch::Build() {
    SlowTree tree;
    for (const auto& [item, equals] : m_duplicates) {
        tree.Insert(item, [this](int a, int b, bool&) { return -CompareOriginal(a, b); });
    }
    std::map<int, int> buildIndex;
    std::vector<int> ranked;
    for (const auto& node : tree.Groups()) {
        buildIndex[node[0]] = static_cast<int>(ranked.size());
        ranked.push_back(node[0]);
    }
    std::map<int, Set> old;
    for (const auto& group : m_groups) old[group[0]] = Set(group.begin() + 1, group.end());
    m_groups.clear();
    m_changes.clear();
    Set grouped;
    for (const int item : ranked) {
        if (grouped.count(item)) continue;
        std::vector<int> group{item};
        for (const int equal : m_duplicates[item]) {
            if (!grouped.count(equal)) group.push_back(equal);
        }
        std::sort(group.begin(), group.end(), [&](int a, int b) { return buildIndex[a] < buildIndex[b]; });
        if (group.size() < 2) continue;
        grouped.insert(group.begin(), group.end());
        const auto before = old.find(item);
        if (before == old.end()) m_changes.push_back({scNewGroup, item, -1, -1});
        for (size_t i = 1; i < group.size(); ++i) {
            if (before != old.end() && before->second.erase(group[i])) continue;
            m_changes.push_back({scJoined, item, group[i], static_cast<int>(i) - 1});
        }
        if (before != old.end()) {
            for (const int left : before->second) m_changes.push_back({scLeft, item, left, -1});
            old.erase(before);
        }
        m_groups.push_back(group);
    }
    for (const auto& [original, duplicates] : old) m_changes.push_back({scGoneGroup, original, -1, -1});
}
