#include "compare/value_hash.h"

#include <string_view>

namespace {

// The comparison of numbers takes a difference that wraps: within these bounds it cannot.
constexpr LONG kLargestNumber = 0x3FFFFFFF;

std::optional<uint64_t> HashTextValue(const _PV& value, ECompareMethod method, CTextHash& texts) {
    return compare::HashText(value.lpszW, method, texts);
}

std::optional<uint64_t> HashTime(const _PV& value, ECompareMethod method, CTextHash&) {
    if (method != cmExact) return std::nullopt;
    return uint64_t{value.ft.dwHighDateTime} << 32 | value.ft.dwLowDateTime;
}

std::optional<uint64_t> HashNumber(const _PV& value, ECompareMethod, CTextHash&) {
    if (value.l < -kLargestNumber || value.l > kLargestNumber) return std::nullopt;
    return value.ul;
}

std::optional<uint64_t> HashFlag(const _PV& value, ECompareMethod, CTextHash&) {
    return value.b != 0;
}

std::optional<uint64_t> HashBytes(const _PV& value, ECompareMethod method, CTextHash&) {
    if (method == cmRecipients || !value.bin.lpb || value.bin.cb > ULONG{kLargestNumber}) return std::nullopt;
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(value.bin.lpb), value.bin.cb});
}

struct HashRule {
    ULONG type;
    std::optional<uint64_t> (*hash)(const _PV& value, ECompareMethod method, CTextHash& texts);
};
constexpr HashRule kRules[] = {{PT_UNICODE, HashTextValue},
                               {PT_SYSTIME, HashTime},
                               {PT_LONG, HashNumber},
                               {PT_BOOLEAN, HashFlag},
                               {PT_BINARY, HashBytes}};

}  // namespace

std::optional<uint64_t> compare::HashText(const wchar_t* text, ECompareMethod method, CTextHash& texts) {
    // Other methods are asserted by each comparison.
    if (method != cmExact && method != cmLast7Digits) return std::nullopt;
    return texts.Hash(text, method);
}

std::optional<uint64_t> compare::HashValue(const SPropValue& value, ECompareMethod method, CTextHash& texts) {
    for (const HashRule& rule : kRules) {
        if (rule.type == PROP_TYPE(value.ulPropTag)) return rule.hash(value.Value, method, texts);
    }
    return std::nullopt;
}
