#include "similar/TCmpData.h"

#include <algorithm>

namespace similar {

bool TFieldGroup::Has(int field) const {
    return std::find(members, members + count, field) != members + count;
}

TFieldGroup GroupOf(const TSimilarPropIndexes& indexes, EGroup group) {
    const auto of = [](const auto& members) -> TFieldGroup {
        static_assert(std::tuple_size_v<std::decay_t<decltype(members)>> <= kGroupCapacity);
        return {false, members.data(), static_cast<int>(members.size())};
    };
    switch (group) {
        case grpStreetAddresses:
            return of(indexes.StreetAddresses);
        case grpEmails:
            return of(indexes.Emails);
        case grpPhones:
            return of(indexes.Phones);
        case grpBusinessPhones:
            return of(indexes.BusinessPhones);
        case grpHomePhones:
            return of(indexes.HomePhones);
        default:
            return {};
    }
}

TCmpData::TCmpData(const TItemProps& searchBy, const TItemProps& checked, const TContactFields& compared)
    : item1(searchBy), item2(checked), fields(compared) {
    for (int field = 0; field < fields.Count(); ++field)
        entries[field] = {NotCompared, field, &MethodsOf(field)};
    for (int group = 0; group < grpCount; ++group)
        groups[group] = GroupOf(fields.indexes, static_cast<EGroup>(group));
}

void TCmpData::EnableGroups(const std::array<EGroup, 3>& enabled) {
    for (int i = 0; i < grpCount; ++i) {
        TFieldGroup& group = groups[i];
        const bool wanted = std::find(enabled.begin(), enabled.end(), i) != enabled.end();
        if (group.enabled == wanted) continue;
        group.enabled = wanted;
        for (int member = 0; member < group.count; ++member) {
            const int field = group.members[member];
            entries[field].result = NotCompared;
            entries[field].counterpart = field;
        }
    }
}

const TFieldGroup* TCmpData::EnabledGroupOf(int field) const {
    for (const TFieldGroup& group : groups)
        if (group.enabled && group.Has(field)) return &group;
    return nullptr;
}

}  // namespace similar
