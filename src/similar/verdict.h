#pragma once
// The verdict on two contacts: the rule tables, walked in their order over the results of the fields.

#include <span>

#include "similar/TCmpData.h"
#include "similar/rules.h"

namespace similar {

enum EVerdict : unsigned { verdictNone = 0, verdictSimilar = 1, verdictStrict = 2 };

/// What two contacts are to each other, and by what.
struct TVerdict {
    static constexpr size_t kMostFields = 3;

    EVerdict type = verdictNone;
    std::array<int, kMostFields> fields{};
    size_t count = 0;         // of the deciding fields
    bool byLastName = false;  // by a rule that asks for a last name that is in order
    const wchar_t* rule = L"";

    std::span<const int> Fields() const { return {fields.data(), count}; }
};

/// Compares fields as the rules ask for them, and writes the compared ones to the log.
TVerdict GetSimilarType(TCmpData& data, const TRuleTables& rules);

}  // namespace similar
