#pragma once
// What two contacts are to each other, and by what.

#include <array>
#include <span>

namespace similar {

enum EVerdict : unsigned { verdictNone = 0, verdictSimilar = 1, verdictStrict = 2 };

struct TVerdict {
    static constexpr size_t kMostFields = 3;

    EVerdict type = verdictNone;
    std::array<int, kMostFields> fields{};
    size_t count = 0;         // of the deciding fields
    bool byLastName = false;  // by a rule that asks for a last name that is in order
    const wchar_t* rule = L"";

    std::span<const int> Fields() const { return {fields.data(), count}; }
};

}  // namespace similar
