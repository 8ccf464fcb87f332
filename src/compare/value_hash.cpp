#include "compare/value_hash.h"

#include <string_view>

#include "base/ticks.h"

namespace compare {

namespace {

// The comparison of numbers takes a difference that wraps: within these bounds it cannot.
constexpr LONG kLargestNumber = 0x3FFFFFFF;

CHash HashTextValue(const _PV& value, ECompareMethod method, CTextHash& texts) {
    return HashText(value.lpszW, method, texts);
}

CHash HashTime(const _PV& value, ECompareMethod method, CTextHash&) {
    if (method != cmExact) return std::nullopt;
    return base::Ticks(value.ft);
}

CHash HashNumber(const _PV& value, ECompareMethod, CTextHash&) {
    if (value.l < -kLargestNumber || value.l > kLargestNumber) return std::nullopt;
    return value.ul;
}

CHash HashFlag(const _PV& value, ECompareMethod, CTextHash&) {
    return value.b != 0 ? 2 : 1;
}

CHash HashBytes(const _PV& value, ECompareMethod method, CTextHash&) {
    if (method == cmRecipients || !value.bin.lpb || value.bin.cb > ULONG{kLargestNumber}) return std::nullopt;
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(value.bin.lpb), value.bin.cb});
}

struct THashRule {
    ULONG type;
    CHash (*hash)(const _PV& value, ECompareMethod method, CTextHash& texts);
};
constexpr THashRule kRules[] = {{PT_UNICODE, HashTextValue},
                                {PT_SYSTIME, HashTime},
                                {PT_LONG, HashNumber},
                                {PT_BOOLEAN, HashFlag},
                                {PT_BINARY, HashBytes}};

}  // namespace

CHash HashText(const wchar_t* text, ECompareMethod method, CTextHash& texts) {
    // Other methods are asserted by each comparison.
    if (method != cmExact && method != cmLast7Digits) return std::nullopt;
    return texts.Hash(text, method);
}

CHash HashValue(const SPropValue& value, ECompareMethod method, CTextHash& texts) {
    for (const THashRule& rule : kRules) {
        if (rule.type == PROP_TYPE(value.ulPropTag)) return rule.hash(value.Value, method, texts);
    }
    return std::nullopt;
}

}  // namespace compare
