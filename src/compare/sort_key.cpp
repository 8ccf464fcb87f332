#include "compare/sort_key.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <string>

namespace compare {

namespace {

constexpr wchar_t kFirstBeyondAscii = 0x80;

int MakeKey(const wchar_t* text, unsigned char* key, size_t capacity) {
    // The thread's locale is what lstrcmpiW compares by.
    return LCMapStringW(GetThreadLocale(), LCMAP_SORTKEY | NORM_IGNORECASE, text, -1,
                        reinterpret_cast<wchar_t*>(key), static_cast<int>(capacity));
}

size_t AppendSystemKey(const wchar_t* text, std::vector<unsigned char>& arena) {
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

/// Whether what seems to be the end of the weights is one of them: behind the end are others or an end again.
bool IsBroken(const unsigned char* begin, const unsigned char* end) {
    const auto* const mark = std::find(begin, end, kEndOfWeights);
    return end - mark > 1 && mark[1] == 0;
}

bool HasBrokenKey(const wchar_t* text) {
    std::vector<unsigned char> key;
    const size_t size = AppendSystemKey(text, key);
    return size == 0 || IsBroken(key.data(), key.data() + size);
}

/// Whether two texts are the same in whatever text they are.
bool AreAlike(const std::wstring& a, const std::wstring& b) {
    return lstrcmpiW(a.c_str(), b.c_str()) == 0 &&
           lstrcmpiW((L'a' + a + L'a').c_str(), (L'a' + b + L'a').c_str()) == 0;
}

/// A character taken apart: something without broken key that compares as it does. The character itself where
/// there is nothing such.
std::wstring TakeApart(wchar_t character) {
    std::wstring whole(1, character);
    for (const DWORD parts : {DWORD{MAP_COMPOSITE}, DWORD{MAP_FOLDCZONE | MAP_COMPOSITE}}) {
        wchar_t buffer[32];
        const int size = FoldStringW(parts, whole.c_str(), -1, buffer, static_cast<int>(std::size(buffer)));
        if (size == 0) continue;
        std::wstring apart = buffer;
        // Marks alone are given a blank to stand on.
        for (int blank = 0; blank < 2 && !apart.empty(); ++blank, apart.erase(0, 1)) {
            if (!HasBrokenKey(apart.c_str()) && AreAlike(whole, apart)) return apart;
        }
    }
    return whole;
}

std::wstring WithoutBrokenKeys(const wchar_t* text) {
    std::wstring apart;
    for (; *text; ++text) {
        const wchar_t character[] = {*text, 0};
        if (*text >= kFirstBeyondAscii && HasBrokenKey(character)) {
            apart += TakeApart(*text);
        } else {
            apart += *text;
        }
    }
    return apart;
}

}  // namespace

size_t AppendSortKey(const wchar_t* text, std::vector<unsigned char>& arena) {
    const size_t begin = arena.size();
    size_t size = AppendSystemKey(text, arena);
    const auto isBroken = [&] { return IsBroken(arena.data() + begin, arena.data() + begin + size); };
    if (!isBroken()) return size;
    arena.resize(begin);
    size = AppendSystemKey(WithoutBrokenKeys(text).c_str(), arena);
    if (!isBroken()) return size;
    arena.resize(begin);
    return 0;
}

}  // namespace compare
