// Matching, where some items could not be placed in some properties, against the algorithms written out with
// sets: the equals, and every line written on the way. Such items come from stores that fail half-way, too
// rarely for the searches over whole mailboxes to meet them.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "dupsearch/CMatching.h"
#include "tests/support/CapturedLog.h"

namespace {

using Set = std::set<uint32_t>;
using Random = std::mt19937;

constexpr char kIdentical[] = "CDuplicateSearch.FindDuplicates_Identical_";
constexpr char kSimilar[] = "CDuplicateSearch.FindDuplicates_Similar_";
constexpr ULONGLONG kHour = 36000000000ULL;

uint32_t Below(Random& random, uint32_t limit) {
    return random() % limit;
}

/// Items in a few properties, numbers and starts, without a mailbox.
class MatchedItems {
  public:
    MatchedItems(Random& random, bool identical, bool grouped) : m_random(random), m_identical(identical) {
        const uint32_t n = 1 + Below(random, 5);
        m_definitions.resize(n);
        for (uint32_t p = 0; p < n; ++p) {
            TComparyProp& d = m_definitions[p];
            d.lpszKey = L"Key";
            const bool start = Below(random, 3) == 0;
            d.ulPropTag = PROP_TAG(start ? PT_SYSTIME : PT_LONG, 0x6000 + p);
            d.nCompareMethod = start ? cmApntApproxStart : cmExact;
            // Groups without gaps, in any order.
            d.nGroup = static_cast<int>(Below(random, static_cast<uint32_t>(std::min(m_nGroups, 2)) + 1));
            m_nGroups = std::max(m_nGroups, d.nGroup + 1);
        }
        std::shuffle(m_definitions.begin(), m_definitions.end(), random);
        for (TComparyProp& d : m_definitions)
            m_data.push_back(std::make_unique<CCmpData>(d, false, m_textHash));
        m_matching =
            std::make_unique<CMatching>(m_data, identical ? saIdentical : saSimilar, grouped, m_nGroups);
        if (!grouped) m_nGroups = -1;
    }

    /// One more item. unfiled, wrongType: how often, one in so many (0: never).
    void Add(uint32_t values, uint32_t unfiled, uint32_t wrongType) {
        const std::string id = "Item" + std::to_string(m_items.Count());
        TItem& item = m_items.Append(id.c_str());
        m_items.Keep();
        m_values.emplace_back(m_definitions.size());
        m_filings.clear();
        for (size_t p = 0; p < m_definitions.size(); ++p) {
            if (unfiled && Below(m_random, unfiled) == 0) continue;
            if (Below(m_random, 3) == 0) {
                m_filings.push_back({.data = m_data[p].get(), .empty = true});
                m_data[p]->Find({m_definitions[p], m_items, item}, m_filings.back());
                continue;
            }
            SPropValue& value = m_values.back()[p];
            value.ulPropTag = m_definitions[p].ulPropTag;
            const uint32_t number = Below(m_random, values);
            if (PROP_TYPE(value.ulPropTag) == PT_SYSTIME && !(wrongType && Below(m_random, wrongType) == 0)) {
                const ULONGLONG time = (1000 + 13 * number) * kHour;
                value.Value.ft = {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
            } else {
                value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, PT_LONG);
                value.Value.l = static_cast<LONG>(number);
            }
            m_filings.push_back({.data = m_data[p].get(), .value = value, .hash = m_data[p]->HashOf(value)});
            m_data[p]->Find({m_definitions[p], m_items, item, &value, nullptr}, m_filings.back());
        }
    }

    /// The newest item's equals as the engine finds them; it counts for the items after it.
    Set Find() {
        Set equals;
        std::vector<uint32_t> profiles;
        m_matching->SetItem(m_items[Newest()], m_filings, {});
        m_matching->FindDuplicates(profiles);
        for (const uint32_t profile : profiles) {
            for (uint32_t i = m_matching->Profiles().First(profile); i != kNone;
                 i = m_matching->Profiles().Next(i)) {
                equals.insert(i);
            }
        }
        m_matching->MakeRoomForItem();
        for (const TFiling& filing : m_filings) filing.data->File(Newest(), filing);
        m_matching->Append();
        return equals;
    }

    /// The same by sets of items; what is to be written is appended to the lines.
    Set FindSlowly(std::vector<std::string>& lines) {
        m_lines = &lines;
        Set result = m_identical ? Identical() : Similar();
        result.erase(Newest());
        return result;
    }

  private:
    enum Outcome { kNo, kYes, kUnknown };

    uint32_t Newest() const { return m_items.Count() - 1; }
    bool IsIn(size_t p, int group) const { return group < 0 || m_definitions[p].nGroup == group; }

    Set EmptyIn(size_t p) const {
        Set items;
        for (uint32_t i = 0; i < m_items.Count(); ++i) {
            if (m_data[p]->IsEmpty(i)) items.insert(i);
        }
        return items;
    }

    Set EqualIn(size_t p) {
        const CPtrTree& tree = m_data[p]->Tree();
        Set items;
        const auto add = [&](uint32_t node) {
            const auto equals = tree.FindEquals(tree.FirstOf(node));
            items.insert(equals.begin(), equals.end());
            return true;
        };
        if (m_definitions[p].nCompareMethod != cmApntApproxStart) {
            add(tree.NodeOf(Newest()));
            return items;
        }
        const SPropValue& mine = m_values[Newest()][p];
        const bool done = tree.VisitEqualsInRange(
            tree.NodeOf(Newest()),
            [&](uint32_t node, bool& error) {
                const SPropValue& other = m_values[tree.FirstOf(node)][p];
                error = PROP_TYPE(mine.ulPropTag) != PT_SYSTIME || PROP_TYPE(other.ulPropTag) != PT_SYSTIME;
                const auto hours = [](const SPropValue& v) {
                    return static_cast<long long>(
                        (ULONGLONG{v.Value.ft.dwHighDateTime} << 32 | v.Value.ft.dwLowDateTime) / kHour);
                };
                const long long apart = error ? 0 : hours(mine) - hours(other);
                return apart > -24 && apart < 24 ? 0 : apart > 0 ? 1 : -1;
            },
            add);
        if (!done) {
            m_lines->push_back("CCmpData.fnCompare_ApproxStart");
            m_lines->push_back("CCmpData.FindEqualsInRange");
        }
        return items;
    }

    bool IsPlaced(size_t p, const char* routine) {
        if (m_data[p]->IsEmpty(Newest()) != (m_data[p]->Tree().NodeOf(Newest()) != kNone)) return true;
        m_lines->push_back(routine);
        return false;
    }

    Set Identical() {
        bool allEmpty = true, exists = false;
        Set equals;
        for (int group = m_nGroups < 0 ? -1 : 0; group < std::max(m_nGroups, 0); ++group) {
            bool groupFound = false;
            for (size_t p = 0; p < m_definitions.size(); ++p) {
                if (!IsIn(p, group)) continue;
                groupFound = true;
                if (!IsPlaced(p, kIdentical)) continue;
                const bool empty = m_data[p]->IsEmpty(Newest());
                const Set s = empty ? EmptyIn(p) : EqualIn(p);
                if (!empty) allEmpty = false;
                if (!exists) equals = s;
                exists = true;
                std::erase_if(equals, [&](uint32_t i) { return !s.contains(i); });
                if (equals.size() < 2) return {};
            }
            if (!groupFound) {
                m_lines->push_back(kIdentical);
                return {};
            }
            if (!allEmpty) return equals;
        }
        return {};
    }

    Outcome SimilarIn(int group, bool& exists, Set& equals, Set& empties) {
        bool groupFound = false;
        for (size_t p = 0; p < m_definitions.size(); ++p) {
            if (!IsIn(p, group)) continue;
            groupFound = true;
            if (!IsPlaced(p, kSimilar) || m_data[p]->IsEmpty(Newest())) continue;
            Set s = EqualIn(p), lacking = EmptyIn(p);
            if (!exists) {
                exists = true;
                equals = s;
                empties = lacking;
                continue;
            }
            Set newEquals, newEmpties;
            for (const uint32_t i : equals) {
                if (s.erase(i) || lacking.erase(i)) newEquals.insert(i);
            }
            for (const uint32_t i : s) {
                if (empties.erase(i)) newEquals.insert(i);
            }
            for (const uint32_t i : empties) {
                if (lacking.contains(i)) newEmpties.insert(i);
            }
            equals = newEquals;
            empties = newEmpties;
            if (equals.size() < 2 && empties.empty()) break;
        }
        if (!groupFound) {
            m_lines->push_back(kSimilar);
            return kNo;
        }
        if (!exists) return kUnknown;
        if (equals.size() >= 2) return kYes;
        return empties.empty() ? kNo : kUnknown;
    }

    Set Similar() {
        bool exists = false;
        Set equals, empties, result;
        for (int group = m_nGroups < 0 ? -1 : 0; group < std::max(m_nGroups, 0); ++group) {
            const Outcome outcome = SimilarIn(group, exists, equals, empties);
            if (outcome == kNo) break;
            if (outcome == kUnknown) continue;
            result.insert(equals.begin(), equals.end());
            if (empties.empty()) break;
            equals = {Newest()};
        }
        return result;
    }

    Random& m_random;
    const bool m_identical;
    int m_nGroups = 0;  // -1: not grouped
    std::vector<TComparyProp> m_definitions;
    CTextHash m_textHash;
    CProfiles::CompareData m_data;
    CItems m_items;
    std::vector<std::vector<SPropValue>> m_values;  // by item and property
    std::vector<TFiling> m_filings;                 // of the newest item
    std::unique_ptr<CMatching> m_matching;
    std::vector<std::string>* m_lines = nullptr;
};

/// Who wrote the lines of matching; filing writes under other names.
std::vector<std::string> MatchingLines(const CapturedLog& log) {
    std::vector<std::string> tags;
    for (const LogLine& line : log.Lines(sevError)) {
        if (line.tag != "CDuplicateSearch.fnCompare") tags.push_back(line.tag);
    }
    return tags;
}

struct Trouble {
    const char* name;
    uint32_t unfiled, wrongType;
};

class Matching : public testing::TestWithParam<Trouble> {};

TEST_P(Matching, AgreesWithSets) {
    CapturedLog log;
    for (unsigned seed = 0; seed < 300; ++seed) {
        Random random(seed);
        const bool identical = random() % 2, grouped = random() % 2;
        SCOPED_TRACE("seed " + std::to_string(seed) + (identical ? ", identical" : ", similar") +
                     (grouped ? ", grouped" : ""));
        log.Clear();
        std::vector<std::string> lines;
        MatchedItems items(random, identical, grouped);
        const uint32_t n = 2 + Below(random, 20), values = 1 + Below(random, 6);
        for (uint32_t i = 0; i < n; ++i) {
            items.Add(values, GetParam().unfiled, GetParam().wrongType);
            const Set found = items.Find();
            ASSERT_EQ(found, items.FindSlowly(lines)) << "item " << i;
        }
        ASSERT_EQ(MatchingLines(log), lines);
    }
}

INSTANTIATE_TEST_SUITE_P(Troubles, Matching,
                         testing::Values(Trouble{"None", 0, 0}, Trouble{"Unplaced", 6, 0},
                                         Trouble{"StartsOfAnotherType", 0, 6}, Trouble{"Both", 8, 8}),
                         [](const auto& suite) { return suite.param.name; });

}  // namespace
