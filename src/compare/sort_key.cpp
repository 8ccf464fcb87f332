#include "compare/sort_key.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>

#include "compare/string_compare.h"

namespace {

constexpr int kComparedDigits = 7;

int MakeKey(const wchar_t* text, unsigned char* key, size_t capacity) {
    // The thread's locale is what lstrcmpiW compares by.
    return LCMapStringW(GetThreadLocale(), LCMAP_SORTKEY | NORM_IGNORECASE, text, -1,
                        reinterpret_cast<wchar_t*>(key), static_cast<int>(capacity));
}

}  // namespace

size_t compare::AppendSortKey(const wchar_t* text, ECompareMethod method, std::vector<unsigned char>& arena) {
    if (!text) text = L"";
    wchar_t buffer[kComparedDigits + 1];
    if (method == cmLast7Digits) {
        const wchar_t* digits = ExtractLastDigits(text, buffer, kComparedDigits);
        if (*digits) text = digits;
    }

    // Room for a key of usual proportions, so that the system is rarely asked twice.
    const size_t begin = arena.size(), room = 8 * std::wcslen(text) + 16;
    arena.resize(begin + room);
    int size = MakeKey(text, arena.data() + begin, room);
    if (size == 0 && GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        const int needed = MakeKey(text, nullptr, 0);
        arena.resize(begin + static_cast<size_t>(needed));
        size = needed > 0 ? MakeKey(text, arena.data() + begin, static_cast<size_t>(needed)) : 0;
    }
    arena.resize(begin + static_cast<size_t>(size));
    return static_cast<size_t>(size);
}

// Eight bytes at a time: keys of texts that begin alike are compared far in, and the C runtime's comparison
// goes byte by byte.
int compare::CompareSortKeys(SortKey a, SortKey b) {
    const size_t common = std::min(a.size(), b.size());
    size_t i = 0;
    for (; i + sizeof(uint64_t) <= common; i += sizeof(uint64_t)) {
        uint64_t x, y;
        std::memcpy(&x, a.data() + i, sizeof(x));
        std::memcpy(&y, b.data() + i, sizeof(y));
        if (x != y) return __builtin_bswap64(x) < __builtin_bswap64(y) ? -1 : 1;
    }
    for (; i < common; ++i) {
        if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
    }
    return (a.size() > b.size()) - (a.size() < b.size());
}
