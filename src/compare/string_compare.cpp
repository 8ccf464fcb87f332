#include "compare/string_compare.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <new>
#include <string>

#include "base/ticks.h"
#include "log/CLog.h"

namespace compare {

using logging::g_Log;

namespace {

// Last time differences, in whole seconds, that still count as equal.
constexpr ULONGLONG kMost10Min = 599;
constexpr ULONGLONG kMostDay = 86400;

int SystemCompare(const char* a, const char* b) {
    return lstrcmpiA(a, b);
}
int SystemCompare(const wchar_t* a, const wchar_t* b) {
    return lstrcmpiW(a, b);
}

template <typename Char>
const Char* LastDigits(const Char* text, Char* buffer, int n) {
    Char* first = buffer + n;
    *first = 0;
    for (const Char* at = text + std::char_traits<Char>::length(text); at != text && first != buffer;) {
        --at;
        if (*at >= '0' && *at <= '9') *--first = *at;
    }
    return first;
}

template <typename Char>
const Char* DigitsOrWhole(const Char* text, Char* buffer) {
    const Char* digits = LastDigits(text, buffer, kComparedDigits);
    return *digits ? digits : text;
}

template <typename Char>
int CompareTexts(const Char* a, const Char* b, ECompareMethod method, const char* tag) {
    static constexpr Char kEmpty[1] = {};
    if (!a) a = kEmpty;
    if (!b) b = kEmpty;
    if (method == cmLast7Digits) {
        Char digitsA[kComparedDigits + 1], digitsB[kComparedDigits + 1];
        return SystemCompare(DigitsOrWhole(a, digitsA), DigitsOrWhole(b, digitsB));
    }
    g_Log.Assert(method == cmExact, tag, 29, nullptr);
    return SystemCompare(a, b);
}

/// 0 when the times are at most so many seconds apart, a begun second counted whole; else the sign of ft1 -
/// ft2.
int CompareWithin(const FILETIME& ft1, const FILETIME& ft2, ULONGLONG mostSeconds) {
    const auto delta = static_cast<LONGLONG>(base::Ticks(ft1) - base::Ticks(ft2));
    const ULONGLONG distance = delta < 0 ? 0 - static_cast<ULONGLONG>(delta) : static_cast<ULONGLONG>(delta);
    const ULONGLONG seconds = (distance + base::kTicksPerSecond - 1) / base::kTicksPerSecond;
    if (seconds <= mostSeconds) return 0;
    return delta < 0 ? -1 : 1;
}

/// Whether one year is a recent placeholder and the other a real year of long ago.
bool IsPlaceholderOf(int recent, int old, int now) {
    return recent >= now - 5 && old <= now - 10;
}

int CompareDayAndMonth(const FILETIME& ft1, const FILETIME& ft2) {
    const int order = CompareFileTime(&ft1, &ft2);
    if (order == 0) return 0;

    SYSTEMTIME st1, st2;
    const bool converted1 = FileTimeToSystemTime(&ft1, &st1);
    g_Log.Assert(converted1, "FILETIME_Compare", 763, "FileTimeToSystemTime");
    if (!converted1) return order;
    const bool converted2 = FileTimeToSystemTime(&ft2, &st2);
    g_Log.Assert(converted2, "FILETIME_Compare", 767, "FileTimeToSystemTime");
    if (!converted2) return order;

    if (st1.wDay != st2.wDay || st1.wMonth != st2.wMonth) return order;
    if (std::abs(st1.wYear - st2.wYear) <= 2) return 0;

    SYSTEMTIME now;
    g_localClock(&now);
    const bool placeholder =
        IsPlaceholderOf(st1.wYear, st2.wYear, now.wYear) || IsPlaceholderOf(st2.wYear, st1.wYear, now.wYear);
    return placeholder ? 0 : order;
}

/// A lower-case copy of a text, on the stack up to an ordinary length; null without memory for a longer one.
class CLowerCase {
  public:
    CLowerCase(const wchar_t* text, size_t length) {
        wchar_t* copy = m_short;
        if (length >= std::size(m_short)) {
            m_long.reset(new (std::nothrow) wchar_t[length + 1]);
            copy = m_long.get();
        }
        if (copy) m_lpszText = CharLowerW(std::wmemcpy(copy, text, length + 1));
    }
    CLowerCase(const CLowerCase&) = delete;
    const wchar_t* Text() const { return m_lpszText; }

  private:
    wchar_t m_short[512];
    std::unique_ptr<wchar_t[]> m_long;
    const wchar_t* m_lpszText = nullptr;
};

/// A character with nothing above its 16 bits stands for itself, in and out.
wchar_t LowerOf(wchar_t character) {
    const auto lower =
        reinterpret_cast<UINT_PTR>(CharLowerW(reinterpret_cast<wchar_t*>(UINT_PTR{character})));
    return static_cast<wchar_t>(lower);
}

}  // namespace

void (*g_localClock)(SYSTEMTIME* now) = [](SYSTEMTIME* now) { GetLocalTime(now); };

const wchar_t* ComparedText(const wchar_t* text, ECompareMethod method, wchar_t* buffer) {
    return method == cmLast7Digits ? DigitsOrWhole(text, buffer) : text;
}

int LPCSTR_Compare(const char* a, const char* b, ECompareMethod method) {
    return CompareTexts(a, b, method, "LPCSTR_Compare");
}

int LPCWSTR_Compare(const wchar_t* a, const wchar_t* b, ECompareMethod method) {
    return CompareTexts(a, b, method, "LPCWSTR_Compare");
}

int FILETIME_Compare(const FILETIME& ft1, const FILETIME& ft2, ECompareMethod method) {
    switch (method) {
        case cmTimeWithin10Min:
            return CompareWithin(ft1, ft2, kMost10Min);
        case cmTimeWithinDay:
            return CompareWithin(ft1, ft2, kMostDay);
        case cmDayAndMonth:
            return CompareDayAndMonth(ft1, ft2);
        default:
            g_Log.Assert(method == cmExact, "FILETIME_Compare", 155, nullptr);
            return CompareFileTime(&ft1, &ft2);
    }
}

const char* ExtractLastDigits(const char* text, char* buffer, int n) {
    return LastDigits(text, buffer, n);
}

const wchar_t* ExtractLastDigits(const wchar_t* text, wchar_t* buffer, int n) {
    return LastDigits(text, buffer, n);
}

const wchar_t* FindTextNoCase(const wchar_t* haystack, const wchar_t* needle) noexcept {
    const size_t length = std::wcslen(haystack), needleLength = std::wcslen(needle);
    if (needleLength == 0 || needleLength > length) return nullptr;
    if (needleLength == length) return lstrcmpiW(haystack, needle) == 0 ? haystack : nullptr;

    const CLowerCase lowHaystack(haystack, length), lowNeedle(needle, needleLength);
    if (!lowHaystack.Text() || !lowNeedle.Text()) {
        const wchar_t* const end = haystack + length;
        const auto alike = [](wchar_t a, wchar_t b) { return LowerOf(a) == LowerOf(b); };
        const wchar_t* const place = std::search(haystack, end, needle, needle + needleLength, alike);
        return place == end ? nullptr : place;
    }
    const wchar_t* found = std::wcsstr(lowHaystack.Text(), lowNeedle.Text());
    return found ? haystack + (found - lowHaystack.Text()) : nullptr;
}

}  // namespace compare
