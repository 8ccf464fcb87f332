#pragma once
// What is known of the match of two contacts, field by field. Lives on the stack for one check and refers to the two
// cached contacts and to the fields of the search.

#include "similar/TItemProps.h"

namespace similar {

/// Fields whose values may match across: any of item 1 with any of item 2.
struct TFieldGroup {
    bool enabled = false;
    const int* members = nullptr;  // field indexes
    int count = 0;

    bool Has(int field) const;
};

enum EGroup : int { grpStreetAddresses, grpEmails, grpPhones, grpBusinessPhones, grpHomePhones, grpCount };

/// Members in the largest group.
inline constexpr int kGroupCapacity = 19;

TFieldGroup GroupOf(const TSimilarPropIndexes& indexes, EGroup group);

struct TFieldEntry {
    int result = NotCompared;
    int counterpart = -1;  // the field of item 2 whose value matched, else the field itself
    const TMethods* methods = nullptr;
};

struct TCmpData {
    /// No field compared yet, no group enabled.
    TCmpData(const TItemProps& searchBy, const TItemProps& checked, const TContactFields& compared);

    const TItemProps& item1;
    const TItemProps& item2;
    const TContactFields& fields;
    TFieldEntry entries[kFieldCapacity];
    int reversedMode = 0;  // 1, 2: the names of item 1 or 2 are taken the other way round
    bool firstNameOk = false;
    bool lastNameOk = false;
    TFieldGroup groups[grpCount];

    /// Enables these groups and no others. Members of a group that changes are compared afresh.
    void EnableGroups(const std::array<EGroup, 3>& enabled);
    /// The enabled group that the field belongs to, or null.
    const TFieldGroup* EnabledGroupOf(int field) const;
};

inline constexpr std::array<EGroup, 3> kStrictGroups = {grpEmails, grpBusinessPhones, grpHomePhones};
inline constexpr std::array<EGroup, 3> kSuggestedGroups = {grpStreetAddresses, grpEmails, grpPhones};

}  // namespace similar
