#include "host/clean_merge.h"

#include <algorithm>
#include <cstdio>

#include "host/losses.h"
#include "host/text.h"

namespace host {

namespace {

std::vector<TMergeCopy> CopiesOf(std::vector<TLiveGroup::TDuplicate>& duplicates) {
    std::vector<TMergeCopy> copies;
    copies.reserve(duplicates.size());
    for (TLiveGroup::TDuplicate& one : duplicates)
        copies.push_back({&one.item, &one.values, &one.losses, true});
    return copies;
}

// What somebody chose in a report, by the values that the choices are about.
void ChooseByReport(const TPlannedItem& planned, std::vector<TLoss>& losses) {
    for (const TLoss& chosen : planned.losses) {
        if (chosen.choice == EChoice::None) continue;
        const auto found = std::ranges::find(losses, chosen.id, &TLoss::id);
        if (found == losses.end()) {
            throw TFailure("The choice for " + chosen.property + " of " + planned.folder +
                           " is about a value that the item does not have; nothing was moved.");
        }
        found->choice = chosen.choice;
    }
}

// What somebody decided on the page: of each conflict the copy whose value stays.
void Choose(const TPlannedGroup& group, const std::vector<TPlannedGroup::TChosen>& chosen,
            std::vector<TLiveGroup::TDuplicate>& duplicates) {
    for (TLiveGroup::TDuplicate& one : duplicates) {
        const auto place = static_cast<size_t>(one.planned - group.duplicates.data());
        for (TLoss& loss : one.losses) {
            const auto about = std::ranges::find(chosen, ConflictId(loss), &TPlannedGroup::TChosen::id);
            // A value that nobody was shown is given up by no choice.
            const bool isAsked = about != chosen.end() && (about->offered.contains(place) ||
                                                           about->texts.contains(Visible(loss.value)));
            loss.choice = !isAsked               ? EChoice::None
                          : about->copy == place ? EChoice::Duplicate
                                                 : EChoice::Kept;
        }
    }
}

// The planned duplicates' losses, settled. A choice for the value of a copy that does not go is none: for it the
// others would go with theirs.
void PlanLive(CPlanCheck& check, const TPlannedGroup& group, TLiveGroup& live) {
    const bool isLossAllowed = check.Plan().allowLoss;
    std::vector<TPlannedGroup::TChosen> chosen = group.chosen;
    const auto goes = [&](const TPlannedGroup::TChosen& one) {
        return !one.copy || std::ranges::any_of(live.duplicates, [&](const TLiveGroup::TDuplicate& copy) {
            return copy.planned == &group.duplicates[*one.copy] && IsMergeable(copy.losses, isLossAllowed);
        });
    };
    for (bool isSettled = false; !isSettled;) {
        if (check.Plan().isDecided) Choose(group, chosen, live.duplicates);
        PlanMerge(check.Reader(), check.Plan().definitions[group.definitions], live.kept, live.keptValues,
                  CopiesOf(live.duplicates), isLossAllowed);
        const auto dropped = std::ranges::find_if_not(chosen, goes);
        isSettled = dropped == chosen.end();
        if (isSettled) continue;
        live.unfollowed.push_back(std::move(*dropped));
        chosen.erase(dropped);
    }
}

}  // namespace

std::vector<TMergeCopy> TLiveGroup::Copies() {
    return CopiesOf(duplicates);
}

bool TLiveGroup::IsCompleted() const {
    return std::ranges::any_of(
        duplicates, [](const TDuplicate& one) { return std::ranges::any_of(one.losses, IsTaken); });
}

std::optional<TLiveGroup> ReadLive(CPlanCheck& check, const TPlannedGroup& group,
                                   const std::vector<const TPlannedItem*>& duplicates) {
    CItemReader& reader = check.Reader();
    const TDefinitions& definitions = check.Plan().definitions[group.definitions];
    const std::optional<TItem> kept = check.Find(group.keep);
    std::optional<TItemValues> keptValues = kept ? reader.Read(*kept) : std::nullopt;
    if (!keptValues) return {};
    TLiveGroup live{*kept, std::move(*keptValues), {}, {}};
    for (const TPlannedItem* planned : duplicates) {
        const std::optional<TItem> item = check.Find(*planned);
        std::optional<TItemValues> values = item ? reader.Read(*item) : std::nullopt;
        if (!values) return {};
        // Of what somebody decided, equality was not asked for.
        const auto lossesOf = group.isRecorded ? LossesOfUnlike : Losses;
        std::vector<TLoss> losses = lossesOf(reader, definitions, live.kept, live.keptValues, *item, *values);
        if (!check.Plan().isDecided) ChooseByReport(*planned, losses);
        live.duplicates.push_back({planned, *item, std::move(*values), std::move(losses)});
    }
    PlanLive(check, group, live);
    return live;
}

void PlanMerging(CPlanCheck& check, TPlan& plan, CProgress& progress) {
    size_t done = 0;
    for (TPlannedGroup& group : plan.groups) {
        progress("groups merged", ++done, plan.groups.size());
        StopIfInterrupted();
        std::vector<const TPlannedItem*> duplicates;
        bool hasLosses = !plan.isVerified;
        for (const TPlannedItem& item : group.duplicates) {
            if (item.fate != EFate::Protected) duplicates.push_back(&item);
            hasLosses = hasLosses || !item.losses.empty();
        }
        if (!hasLosses) continue;
        std::optional<TLiveGroup> live = ReadLive(check, group, duplicates);
        if (!live) continue;
        for (const TPlannedGroup::TChosen& one : live->unfollowed) {
            progress.Clear();
            printf("not followed: the choice of %s from %s, which stays\n", one.property.c_str(),
                   group.duplicates[*one.copy].folder.c_str());
        }
        for (TLiveGroup::TDuplicate& one : live->duplicates) {
            TPlannedItem& item = group.duplicates[static_cast<size_t>(one.planned - group.duplicates.data())];
            const bool goes = IsMergeable(one.losses, plan.allowLoss);
            item.fate = goes ? EFate::Move : EFate::Loss;
            // Of one that stays, what keeps it.
            if (!goes) std::erase_if(one.losses, IsSettled);
            item.losses = std::move(one.losses);
        }
    }
}

}  // namespace host
