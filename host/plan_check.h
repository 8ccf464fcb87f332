#pragma once
// What the items of a plan are now: before one is moved it is seen that it, and the copy that stays, still are what
// the scan saw, and duplicates of one another.

#include <map>
#include <optional>
#include <set>
#include <string>

#include "host/clean_plan.h"
#include "host/item_values.h"

namespace host {

/// An item now, against what the scan saw.
struct TLook {
    std::string why;  // it is something else; empty when it is the same
    bool isGone = false;
    std::string searchKey;
    std::string identity;  // the same for two forms of one item's identifier
};

class CPlanCheck {
  public:
    /// Both outlive the check. target: the folder, beside a store's others, that duplicates go to. Throws Failure
    /// when a store of the plan is none of the session's.
    CPlanCheck(IMAPISession* session, const TPlan& plan, const std::string& target);
    CPlanCheck(const CPlanCheck&) = delete;
    CPlanCheck& operator=(const CPlanCheck&) = delete;

    TLook Look(const TPlannedItem& item);
    /// When it was changed last, in the form of plans.
    std::string Modified(const TPlannedItem& item);
    /// Why this is not moved for the copy that its group keeps; empty when it is. A plan that this run has not
    /// verified is held to all that makes a scan call two items duplicates and move one; `isAgain`, when its turn
    /// has come: to a search of the two.
    std::string WhyNot(const TPlannedGroup& group, const TPlannedItem& item, bool isAgain);

    /// The item's record; nothing when its folder is not there any more.
    std::optional<TItem> Find(const TPlannedItem& item);
    CItemReader& Reader() { return m_reader; }
    const TPlan& Plan() const { return m_plan; }

  private:
    std::string WhyNotByScan(const TDefinitions& definitions, const TItem& kept, const TItem& item);
    std::string WhyNotAsRecorded(const TPlannedGroup& group, const TPlannedItem& planned, const TItem& kept,
                                 const TItem& item, bool isAgain);

    const TPlan& m_plan;
    TCatalog m_catalog;
    TBookkeeping m_bookkeeping;
    CItemReader m_reader;
    std::map<std::pair<std::string, std::string>, std::optional<size_t>>
        m_folders;               // by store and identifier
    std::set<size_t> m_targets;  // folders that duplicates go to, with those below
};

}  // namespace host
