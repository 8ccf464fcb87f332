#include "host/groups.h"

#include <algorithm>
#include <map>

#include "host/attachments.h"
#include "host/digest.h"
#include "host/duplicate_search.h"
#include "host/identity.h"
#include "host/losses.h"
#include "host/merge_plan.h"

namespace host {

namespace {

std::vector<const TItem*> ItemsOf(const TScanResult& result, const std::vector<size_t>& group) {
    std::vector<const TItem*> items;
    items.reserve(group.size());
    for (const size_t item : group) items.push_back(&result.items[item]);
    return items;
}

TCopyFate FateOfCopy(CItemReader& reader, const TScanResult& result, const TKindScan& scan,
                     const TItem& keptItem, const TItemValues& kept, const TItem& item,
                     const TItemValues& values) {
    TCopyFate fate;
    fate.values = DigestOf(values);
    fate.losses = Losses(reader, scan.definitions, keptItem, kept, item, values);
    if (result.policy.isProtected[item.folder]) {
        fate.fate = EFate::Protected;
    } else if (!fate.losses.empty() && !result.policy.allowLoss) {
        fate.fate = EFate::Loss;
    }
    return fate;
}

// What merging would do about the losses of a group; values: of those of its items that have any.
void PlanMergeOf(CItemReader& reader, const TScanResult& result, const TKindScan& scan, TGroup& group,
                 const TItemValues& kept, const std::map<size_t, TItemValues>& values) {
    std::vector<TMergeCopy> copies;
    for (const auto& [index, own] : values) {
        TCopyFate& fate = group.fates[index];
        copies.push_back(
            {&result.items[group.items[index]], &own, &fate.losses, fate.fate != EFate::Protected});
    }
    PlanMerge(reader, scan.definitions, result.items[group.items[0]], kept, copies, result.policy.allowLoss);
}

// One group around the copy that stays. Returns the copies that are not equal to it; those that cannot be
// read are noted.
std::vector<size_t> AddAroundKept(CItemReader& reader, TScanResult& result, size_t scanIndex,
                                  std::vector<size_t> copies) {
    TKindScan& scan = result.scans[scanIndex];
    while (copies.size() > 1) {
        const TChoice choice =
            ChooseCopy(reader, result.policy, scan.definitions, scan.keep, ItemsOf(result, copies));
        const size_t keptIndex = copies[choice.kept];
        const TItem& keptItem = result.items[keptIndex];
        const std::optional<TItemValues> kept = reader.Read(keptItem);
        bool isReadable = kept.has_value();
        TGroup group{scanIndex, {keptIndex}, std::vector<TCopyFate>(1), choice.reason};
        if (kept) group.fates.front().values = DigestOf(*kept);
        std::vector<size_t> apart;
        std::vector<size_t> unreadable;
        std::map<size_t, TItemValues> losing;
        for (const size_t copy : copies) {
            if (copy == keptIndex || !isReadable) continue;
            const TItem& item = result.items[copy];
            const EPair pair = ComparePair(reader, scan.definitions, keptItem, item);
            isReadable = pair != EPair::FirstUnreadable;
            if (pair == EPair::Apart) apart.push_back(copy);
            if (pair == EPair::SecondUnreadable) unreadable.push_back(copy);
            if (pair != EPair::Equal) continue;
            std::optional<TItemValues> values = reader.Read(item);
            if (!values) {
                unreadable.push_back(copy);
                continue;
            }
            group.items.push_back(copy);
            group.fates.push_back(FateOfCopy(reader, result, scan, keptItem, *kept, item, *values));
            if (!group.fates.back().losses.empty())
                losing.emplace(group.items.size() - 1, std::move(*values));
        }
        if (!isReadable) {
            // Another one has to stay.
            scan.unreadable.push_back(keptIndex);
            std::erase(copies, keptIndex);
            continue;
        }
        scan.unreadable.insert(scan.unreadable.end(), unreadable.begin(), unreadable.end());
        if (!losing.empty()) PlanMergeOf(reader, result, scan, group, *kept, losing);
        if (group.items.size() > 1) result.groups.push_back(std::move(group));
        return apart;
    }
    return {};
}

void AddPart(CItemReader& reader, TScanResult& result, size_t scanIndex, const std::vector<size_t>& part) {
    const auto sides = PartBySentAndReceived(reader, result.policy, ItemsOf(result, part));
    if (sides.size() > 1) result.scans[scanIndex].sentAndReceived.push_back(part);
    for (const std::vector<size_t>& side : sides) {
        std::vector<size_t> copies;
        copies.reserve(side.size());
        for (const size_t index : side) copies.push_back(part[index]);
        std::sort(copies.begin(), copies.end());
        while (copies.size() > 1) copies = AddAroundKept(reader, result, scanIndex, std::move(copies));
    }
}

}  // namespace

std::vector<std::vector<size_t>> PartGroup(CItemReader& reader, const TScanResult& result,
                                           const TKindScan& scan, const std::vector<size_t>& group) {
    if (!scan.definitions.attachments) return {group};
    return PartByAttachments(reader.session(), result.catalog, result.items, group);
}

void AddGroup(CItemReader& reader, TScanResult& result, size_t scanIndex, const std::vector<size_t>& group) {
    TKindScan& scan = result.scans[scanIndex];
    if (!HasIdentity(reader.session(), result.catalog, result.items[group.front()], scan.definitions)) {
        scan.unidentified.insert(scan.unidentified.end(), group.begin(), group.end());
        return;
    }
    for (const std::vector<size_t>& part : PartGroup(reader, result, scan, group)) {
        if (part.front() != group.front()) {
            result.nearPairs.push_back(
                TNearPair{scanIndex, group.front(), part.front(), "Attachments", kNoProperty});
        }
        AddPart(reader, result, scanIndex, part);
    }
}

}  // namespace host
