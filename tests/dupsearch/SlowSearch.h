#pragma once
// The duplicate search written out plainly: sets of items for every property, copied and intersected, a
// map of sets, a list of groups. Knows nothing of mailboxes: an item is a cell of numbers for each property.

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

/// A value of one property: none for an empty one, several for a multi-valued one.
using Cell = std::vector<int>;

/// How the values of a property are equal.
enum class Equality {
    kSame,      // the same number
    kShared,    // a number in common
    kNear,      // less than kNearReach apart
    kTolerant,  // joins the first node on the way down the sorting tree that is at most kTolerance apart
};
inline constexpr int kNearReach = 4;
inline constexpr int kTolerance = 1;

struct SlowItem {
    std::vector<Cell> cells;  // by property
    int rank = 0;
    int filled = 0;          // properties filled, for choosing originals
    std::vector<int> sizes;  // of each property, for the same
};

struct SlowChange {
    unsigned kind;
    int original;
    int duplicate;
    int position;
    auto operator<=>(const SlowChange&) const = default;
};

class SlowTree;

class SlowSearch {
  public:
    struct Property {
        Equality equality;
        int group;
    };
    using Exempt = std::function<bool(int item, int equal)>;

    SlowSearch(std::vector<Property> properties, bool identical, bool grouped, unsigned kind, Exempt exempt);
    ~SlowSearch();

    /// Whether the item has equals.
    bool Add(const SlowItem& item);
    void Build();

    const std::vector<std::vector<int>>& Groups() const { return m_groups; }
    const std::vector<SlowChange>& Changes() const { return m_changes; }

  private:
    using Set = std::set<int>;
    enum Outcome { kNo, kYes, kUnknown };

    Set EqualsIn(size_t property, int item) const;
    Outcome Identical(int item, int group, Set*& equals, Set& storage, bool& allEmpty) const;
    Outcome Similar(int item, int group, Set*& equals, Set& equalsStorage, Set*& empties,
                    Set& emptiesStorage) const;
    Set Find(int item) const;
    int CompareOriginal(int a, int b) const;

    std::vector<Property> m_properties;
    bool m_identical;
    bool m_grouped;
    int m_nGroups;
    unsigned m_kind;
    Exempt m_exempt;
    std::vector<SlowItem> m_items;
    std::vector<Set> m_empties;  // by property
    std::vector<std::unique_ptr<SlowTree>> m_trees;
    std::map<int, Set> m_duplicates;
    std::vector<std::vector<int>> m_groups;
    std::vector<SlowChange> m_changes;
};
