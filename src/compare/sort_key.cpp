#include "compare/sort_key.h"

#include <windows.h>

#include <cwchar>

namespace {

int MakeKey(const wchar_t* text, unsigned char* key, size_t capacity) {
    // The thread's locale is what lstrcmpiW compares by.
    return LCMapStringW(GetThreadLocale(), LCMAP_SORTKEY | NORM_IGNORECASE, text, -1,
                        reinterpret_cast<wchar_t*>(key), static_cast<int>(capacity));
}

}  // namespace

size_t compare::AppendSortKey(const wchar_t* text, std::vector<unsigned char>& arena) {
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
