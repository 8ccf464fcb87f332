#include "host/matrix_origins.h"

#include <algorithm>
#include <functional>
#include <set>

#include "host/losses.h"
#include "host/merge_plan.h"
#include "host/show_value.h"

namespace host {

namespace {

// The properties that a row stands for: its own, or all that a derived one is gathered from.
std::set<std::string> NamesOf(const TCatalogueEntry& property) {
    if (!property.set || std::string_view(property.set) != kDerivedSet)
        return {PropertyName(property.tag, property.set, property.id, property.stringId)};
    std::set<std::string> names;
    for (const int id : DerivedNumbers(property.id)) names.insert(PropertyName(0, kAddressSet, id, nullptr));
    for (const ULONG tag : DerivedTags(property.id)) names.insert(PropertyName(tag, nullptr, 0, nullptr));
    if (property.key == std::string_view("Mail.Recipients")) names.insert("recipients");
    return names;
}

void Insert(std::vector<size_t>& items, size_t item) {
    if (std::ranges::find(items, item) == items.end()) items.push_back(item);
}

// What merging one item does about a value of the row.
void Add(TMatrixRow& row, size_t item, const TLoss& loss, bool isGathered) {
    if (!IsTaken(loss)) {
        if (loss.merge == EMerge::Conflict) Insert(row.left, item);
        return;
    }
    // A value that takes the place of another one leaves nothing of it.
    const bool isInstead = loss.merge == EMerge::Copy || loss.merge == EMerge::Conflict;
    if (isInstead && !isGathered) {
        row.left.insert(row.left.end(), row.from.begin(), row.from.end());
        row.from.clear();
    }
    Insert(row.from, item);
}

bool IsAttachment(const TLoss& loss) {
    return loss.id.starts_with("attachment") || loss.id.starts_with("photo:");
}

// By what merging does about the losses of each item; of the one that stays there are none.
void AddLosses(TMatrixView& view, const TDefinitions& definitions,
               const std::vector<std::vector<TLoss>>& losses, size_t into) {
    for (size_t i = 0; i < view.rows.size(); ++i) {
        TMatrixRow& row = view.rows[i];
        // The last row may be the one of the attachments.
        const bool isProperty = i < definitions.properties.size();
        const std::set<std::string> names =
            isProperty ? NamesOf(*definitions.properties[i].property) : std::set<std::string>();
        if (row.marks[into] != 0) row.from = {into};
        for (size_t item = 0; item < losses.size(); ++item) {
            for (const TLoss& loss : losses[item]) {
                if (isProperty ? names.contains(loss.id) || names.contains(loss.into) : IsAttachment(loss))
                    Add(row, item, loss, !isProperty || names.size() > 1);
            }
        }
    }
}

std::string Text(const TMatrixRow& row, const std::function<std::string(size_t)>& name) {
    const auto names = [&](const std::vector<size_t>& items, const char* between) {
        std::string text;
        for (const size_t item : items) text += (text.empty() ? "" : between) + name(item);
        return text;
    };
    const std::string left = names(row.left, ", ");
    return names(row.from, "+") + (left.empty() ? "" : ", not " + left);
}

}  // namespace

void AddOrigins(TMatrixView& view, CItemReader& reader, const std::vector<TItem>& items,
                const TDefinitions& definitions, bool areEqual, size_t into) {
    std::vector<TItemValues> values;
    for (const TItem& item : items) {
        std::optional<TItemValues> read = reader.Read(item);
        if (!read) return;
        values.push_back(std::move(*read));
    }
    std::vector<std::vector<TLoss>> losses(items.size());
    std::vector<TMergeCopy> copies;
    for (size_t i = 0; i < items.size(); ++i) {
        if (i == into) continue;
        losses[i] = (areEqual ? Losses : LossesOfUnlike)(reader, definitions, items[into], values[into],
                                                         items[i], values[i]);
        copies.push_back({&items[i], &values[i], &losses[i], true});
    }
    PlanMerge(reader, definitions, items[into], values[into], copies, true);
    AddLosses(view, definitions, losses, into);
}

void AddOriginsWithoutLosses(TMatrixView& view) {
    for (TMatrixRow& row : view.rows) {
        if (row.marks[0] != 0) row.from = {0};
    }
}

std::string OriginText(const TMatrixRow& row) {
    return Text(row, [](size_t item) { return std::string(1, static_cast<char>('A' + item % 26)); });
}

std::string OriginNumbers(const TMatrixRow& row) {
    return Text(row, [](size_t item) { return std::to_string(item + 1); });
}

}  // namespace host
