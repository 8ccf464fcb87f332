#pragma once
// Searches over a small mailbox, and everything that can be seen of one as a text.

#include <sstream>
#include <string>
#include <vector>

#include "base/mapi_extra.h"
#include "dupsearch/CDuplicateSearch.h"
#include "store/named_properties.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/definitions.h"
#include "tests/support/MailboxFixture.h"

class SearchTest : public MailboxTest {
  protected:
    void Create(dupsearch::CDuplicateSearch& search, std::vector<TComparyProp> definitions,
                unsigned kind = okCallerOrder, std::vector<unsigned> rules = {},
                unsigned algorithm = saIdentical, bool grouped = false) {
        const TComparyProps props{static_cast<int>(definitions.size()), definitions.data()};
        const TOriginalDefinition original{kind, 0, 0, {}, nullptr};
        search.Create(Session(), &props, &original, algorithm, grouped, rules.data(),
                      static_cast<unsigned>(rules.size()));
    }

    /// -1: not added; else whether equals were found.
    int Add(dupsearch::CDuplicateSearch& search, const TestItem& item, unsigned rank = 0) {
        unsigned found = 7;
        const int added = search.Add(item.Id().c_str(), Store().Id().c_str(), &found, rank);
        EXPECT_EQ(found == 7, added == 0) << "*found is written when the item is added, and only then";
        return added ? static_cast<int>(found) : -1;
    }

    static std::vector<std::vector<uint32_t>> Groups(dupsearch::CDuplicateSearch& search) {
        EXPECT_EQ(search.Build(), 1);
        return search.Groups();
    }

    static std::string Describe(const dupsearch::CDuplicateSearch& search) {
        std::ostringstream out;
        out << search.Items().Count() << " items, kind " << search.OriginalKind() << "\n";
        for (uint32_t i = 0; i < search.Items().Count(); ++i) {
            const dupsearch::TItem& item = search.Item(i);
            out << i << ": " << item.EntryID << " " << item.nCallerRank << " " << item.nFilledProps << " "
                << item.nMessageSize << " " << item.nHasFieldValue << " " << item.nODApntRecurIndex << " "
                << item.nODApntAnnvrsryYear << " " << item.nHasCRMID << " " << item.cValues << "\n";
        }
        if (search.Items().Count() == 0) return out.str();
        for (const auto& data : search.Plan()->compareData) {
            const dupsearch::TTreeStatistics& s = data->Statistics();
            out << s.nNodes << " " << s.nItems << " " << s.nComparesTotal << " " << s.nComparesLast << " "
                << s.nRebuilds << " " << s.nMeasured << " " << s.fEfficiencySum << ":";
            for (uint32_t i = 0; i <= search.Items().Count(); ++i) {
                out << " " << data->IsEmpty(i) << data->IsFiled(i) << data->Tree().NodeOf(i);
                for (const auto& filed : data->MultiTree().NodesOf(i))
                    out << "," << filed.node << "/" << filed.mask;
            }
            out << "\n";
        }
        for (const auto& group : search.Groups()) {
            for (const uint32_t item : group) out << item << " ";
            out << ";";
        }
        for (const dupsearch::TBuildChange& c : search.Changes())
            out << " " << c.kind << c.original << c.duplicate << c.position;
        return out.str();
    }
};

/// Lines of one severity and routine, one after the other.
inline std::string TextOf(const LogLines& lines) {
    std::string text;
    for (const LogLine& line : lines) text += line.text;
    return text;
}
