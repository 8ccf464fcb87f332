// Sorting trees against their rule written out slowly: nodes, order, ranges and every counter, after every
// step.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "dupsearch/CPtrTree.h"
#include "tests/dupsearch/SlowTree.h"

namespace {

/// A tree and its slow twin over the same values.
class TwinTrees {
  public:
    /// Values less than `tolerance` apart are equal; a value above `refused` cannot be compared.
    TwinTrees(int tolerance, int refused) : m_tolerance(tolerance), m_refused(refused) {}

    void Insert(int value) {
        const auto item = static_cast<uint32_t>(m_values.size());
        m_values.push_back(value);
        const CSortTree::TPlace inserted = m_tree.Insert(item, [&](uint32_t node, bool& error) {
            return Compare(static_cast<int>(item), static_cast<int>(m_tree.FirstOf(node)), error);
        });
        const bool filed = m_slow.Insert(static_cast<int>(item), Comparator());
        ASSERT_EQ(inserted.node != kNone, filed) << "value " << value;
        if (filed) {
            const std::vector<uint32_t> equals = m_tree.FindEquals(item);
            ASSERT_EQ(inserted.isNew, equals.size() == 1);
            ASSERT_EQ(equals.back(), item) << "the newest item comes last among its equals";
        }
        Check();
    }

    void Remove(int item) {
        m_tree.Remove(static_cast<uint32_t>(item));
        m_slow.Remove(item);
        ASSERT_EQ(m_tree.NodeOf(static_cast<uint32_t>(item)), kNone);
        Check();
    }

    void Check() const {
        ASSERT_EQ(m_tree.Statistics(), m_slow.s) << "after " << m_values.size() << " insertions";
        if (m_values.size() % 7 == 0) CheckGroups();
    }

    std::vector<std::vector<int>> Groups() const {
        std::vector<std::vector<int>> groups;
        for (const uint32_t node : m_tree.NodesInOrder()) {
            const auto items = m_tree.FindEquals(m_tree.FirstOf(node));
            groups.emplace_back(items.begin(), items.end());
        }
        return groups;
    }
    void CheckGroups() const { ASSERT_EQ(Groups(), m_slow.Groups()); }

    void CheckRange(int item, int reach) const {
        const auto within = [&](int a, int b, bool& error) {
            const int difference = m_values[static_cast<size_t>(a)] - m_values[static_cast<size_t>(b)];
            error = m_values[static_cast<size_t>(b)] == m_refused - 1 && reach > 5;
            return std::abs(difference) < reach ? 0 : difference;
        };
        std::vector<int> found;
        m_tree.VisitEqualsInRange(
            m_tree.NodeOf(static_cast<uint32_t>(item)),
            [&](uint32_t node, bool& error) {
                return within(item, static_cast<int>(m_tree.FirstOf(node)), error);
            },
            [&](uint32_t node) {
                for (const uint32_t i : m_tree.FindEquals(m_tree.FirstOf(node)))
                    found.push_back(static_cast<int>(i));
                return true;
            });
        ASSERT_EQ(found, m_slow.Range(item, within));
    }

    int Count() const { return static_cast<int>(m_values.size()); }
    bool IsFiled(int item) const { return m_tree.NodeOf(static_cast<uint32_t>(item)) != kNone; }
    const TTreeStatistics& Statistics() const { return m_tree.Statistics(); }

  private:
    int Compare(int a, int b, bool& error) const {
        const int difference = m_values[static_cast<size_t>(a)] - m_values[static_cast<size_t>(b)];
        error = m_values[static_cast<size_t>(a)] >= m_refused && difference % 3 == 0;
        return std::abs(difference) < m_tolerance ? 0 : difference;
    }
    SlowTree::Compare Comparator() const {
        return [this](int a, int b, bool& error) { return Compare(a, b, error); };
    }

    const int m_tolerance;
    const int m_refused;
    std::vector<int> m_values;
    CPtrTree m_tree;
    SlowTree m_slow;
};

struct Sequence {
    const char* name;
    int tolerance;
    std::function<int(int i, std::mt19937& random)> value;
};

class Trees : public testing::TestWithParam<Sequence> {};

TEST_P(Trees, AgreeWithTheRule) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        TwinTrees trees(GetParam().tolerance, 1 << 28);
        const int n = seed == 0 ? 1500 : 20 + static_cast<int>(random() % 300);
        for (int i = 0; i < n; ++i) {
            trees.Insert(GetParam().value(i, random));
            if (HasFatalFailure()) return;
        }
        trees.CheckGroups();
        for (int reach : {1, 4, 40})
            trees.CheckRange(static_cast<int>(random() % static_cast<unsigned>(n)), reach);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, Trees,
    testing::Values(
        Sequence{"Ascending", 1, [](int i, std::mt19937&) { return i; }},
        Sequence{"Descending", 1, [](int i, std::mt19937&) { return -i; }},
        Sequence{"Random", 1, [](int, std::mt19937& r) { return static_cast<int>(r() % 100000); }},
        Sequence{"FewValues", 1, [](int, std::mt19937& r) { return static_cast<int>(r() % 30); }},
        Sequence{"Clusters", 1, [](int i, std::mt19937&) { return i % 5 * 10000 + i; }},
        Sequence{"Zigzag", 1, [](int i, std::mt19937&) { return i % 2 ? i : -i; }},
        Sequence{"TolerantRandom", 9, [](int, std::mt19937& r) { return static_cast<int>(r() % 3000); }},
        Sequence{"TolerantAscending", 9,
                 [](int i, std::mt19937& r) { return i * 6 + static_cast<int>(r() % 9); }}),
    [](const auto& tested) { return tested.param.name; });

TEST(Trees, ErrorsAndRemovalsKeepTheRule) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        TwinTrees trees(1 + static_cast<int>(seed % 3), 60);
        for (int i = 0; i < 200; ++i) {
            if (trees.Count() > 0 && random() % 4 == 0) {
                trees.Remove(static_cast<int>(random() % static_cast<unsigned>(trees.Count())));
            } else {
                trees.Insert(static_cast<int>(random() % 80));
            }
            if (HasFatalFailure()) return;
        }
        trees.CheckGroups();
        for (int item = 0; item < trees.Count(); ++item) {
            if (trees.IsFiled(item)) trees.CheckRange(item, 1 + item % 9);
        }
    }
}

TEST(Trees, AscendingItemsRebuildOnceThereAreEight) {
    TwinTrees trees(1, 1 << 28);
    for (int i = 0; i < 8; ++i) trees.Insert(i);
    EXPECT_EQ(trees.Statistics().nRebuilds, 0);
    trees.Insert(8);
    EXPECT_EQ(trees.Statistics().nRebuilds, 1);
    EXPECT_EQ(trees.Statistics().nComparesLast, 4) << "four levels of a balanced tree of eight";
}

}  // namespace
