#include "host/text.h"

#include <mapicode.h>

#include <algorithm>
#include <cstdio>
#include <numeric>

#include "quorvel.h"

namespace host {

std::string Narrow(std::wstring_view wide) {
    const int units = static_cast<int>(wide.size());
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, text.data(), bytes, nullptr, nullptr);
    return text;
}

static std::wstring WidenFrom(UINT codePage, std::string_view text) {
    const int bytes = static_cast<int>(text.size());
    const int units = MultiByteToWideChar(codePage, 0, text.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<size_t>(units), L'\0');
    MultiByteToWideChar(codePage, 0, text.data(), bytes, wide.data(), units);
    return wide;
}

std::wstring Widen(std::string_view utf8) {
    return WidenFrom(CP_UTF8, utf8);
}

std::wstring WidenAnsi(std::string_view ansi) {
    return WidenFrom(CP_ACP, ansi);
}

namespace {

std::wstring Lower(std::string_view text) {
    std::wstring lower = Widen(text);
    CharLowerBuffW(lower.data(), static_cast<DWORD>(lower.size()));
    return lower;
}

}  // namespace

bool EqualNoCase(std::string_view a, std::string_view b) {
    return lstrcmpiW(Widen(a).c_str(), Widen(b).c_str()) == 0;
}

bool ContainsNoCase(std::string_view text, std::string_view part) {
    return Lower(text).find(Lower(part)) != std::wstring::npos;
}

size_t Width(std::string_view utf8) {
    return static_cast<size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string Fit(std::string_view utf8, size_t width) {
    const size_t has = Width(utf8);
    if (has <= width) return std::string(utf8) + std::string(width - has, ' ');
    std::string cut;
    size_t points = 0;
    for (const char c : utf8) {
        if ((c & 0xC0) != 0x80 && ++points == width) break;
        cut += c;
    }
    return cut + "…";
}

namespace {

constexpr wchar_t kMark = 0xFFFD;

constexpr struct {
    wchar_t first;
    wchar_t last;
} kActing[] = {
    {0x0001, 0x001F}, {0x007F, 0x009F}, {0x061C, 0x061C},
    {0x200E, 0x200F}, {0x202A, 0x202E}, {0x2066, 0x2069},
};

bool IsActing(wchar_t c) {
    return std::any_of(std::begin(kActing), std::end(kActing),
                       [c](const auto& range) { return c >= range.first && c <= range.last; });
}

bool IsBreak(wchar_t c) {
    return c == L'\t' || c == L'\n' || c == L'\r' || c == 0x0B || c == 0x0C || c == 0x85 || c == 0x2028 ||
           c == 0x2029;
}

// Plain ASCII is what most texts are.
bool IsPlain(std::string_view utf8) {
    return std::all_of(utf8.begin(), utf8.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

std::string Cleaned(std::string_view utf8, bool isOneLine) {
    if (IsPlain(utf8)) return std::string(utf8);
    std::wstring wide = Widen(utf8);
    for (wchar_t& c : wide) {
        if (isOneLine && IsBreak(c)) {
            c = L' ';
        } else if (IsActing(c) && c != L'\t' && c != L'\n' && c != L'\r') {
            c = kMark;
        }
    }
    return Narrow(wide);
}

}  // namespace

std::string Visible(std::string_view utf8) {
    return Cleaned(utf8, false);
}

std::string OneLine(std::string_view utf8) {
    return Cleaned(utf8, true);
}

std::string EscapeActing(std::string json) {
    if (IsPlain(json)) return json;
    std::string escaped;
    size_t done = 0;
    // Everything that acts and that JSON leaves as it is has two or three bytes, or is U+007F.
    for (size_t at = 0; at < json.size(); ++at) {
        const auto lead = static_cast<unsigned char>(json[at]);
        const size_t length = lead == 0x7F ? 1 : lead >> 5 == 6 ? 2 : lead >> 4 == 14 ? 3 : 0;
        if (length == 0) continue;
        const std::wstring wide = Widen(std::string_view(json).substr(at, length));
        if (wide.size() != 1 || !IsActing(wide[0])) continue;
        char text[8];
        snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(wide[0]));
        escaped.append(json, done, at - done).append(text);
        done = at + length;
    }
    return escaped.append(json, done);
}

namespace {

bool IsZero(const FILETIME& time) {
    return time.dwLowDateTime == 0 && time.dwHighDateTime == 0;
}

}  // namespace

std::string TimeText(const FILETIME& time) {
    SYSTEMTIME utc;
    SYSTEMTIME local;
    if (IsZero(time) || !FileTimeToSystemTime(&time, &utc)) return {};
    if (!SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local)) local = utc;
    char text[32];
    // A day without a time: birthdays, due dates.
    if (local.wHour == 0 && local.wMinute == 0) {
        snprintf(text, sizeof text, "%04u-%02u-%02u", local.wYear, local.wMonth, local.wDay);
        return text;
    }
    snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u", local.wYear, local.wMonth, local.wDay,
             local.wHour, local.wMinute);
    return text;
}

std::string IsoTime(const FILETIME& time) {
    SYSTEMTIME utc;
    if (IsZero(time) || !FileTimeToSystemTime(&time, &utc)) return {};
    const unsigned long long ticks =
        (static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    char text[40];
    snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%07uZ", utc.wYear, utc.wMonth, utc.wDay,
             utc.wHour, utc.wMinute, utc.wSecond, static_cast<unsigned>(ticks % 10'000'000));
    return text;
}

std::string SizeText(unsigned long long bytes) {
    if (bytes < 1024) return Count(bytes, "byte", "bytes");
    static constexpr const char* kUnits[] = {"KB", "MB", "GB", "TB"};
    double amount = static_cast<double>(bytes) / 1024;
    size_t unit = 0;
    for (; amount >= 1024 && unit + 1 < std::size(kUnits); ++unit) amount /= 1024;
    char text[32];
    snprintf(text, sizeof text, amount < 10 ? "%.1f %s" : "%.0f %s", amount, kUnits[unit]);
    return text;
}

std::string Count(unsigned long long n, std::string_view one, std::string_view many) {
    return std::to_string(n) + " " + std::string(n == 1 ? one : many);
}

std::string ResultText(HRESULT hr) {
    static constexpr struct {
        HRESULT hr;
        const char* text;
    } kKnown[] = {
        {MAPI_E_NOT_FOUND, "not found"},
        {MAPI_E_LOGON_FAILED, "logging on failed"},
        {MAPI_E_USER_CANCEL, "cancelled"},
        {MAPI_E_NO_ACCESS, "no access"},
        {MAPI_E_NOT_ENOUGH_MEMORY, "not enough memory"},
        {MAPI_E_NOT_ENOUGH_DISK, "not enough disk space"},
        {MAPI_E_CORRUPT_DATA, "damaged data"},
        {MAPI_E_BUSY, "in use by another program"},
        {MAPI_E_NO_SUPPORT, "not supported"},
        {MAPI_E_CALL_FAILED, "no mail client answered"},
    };
    char code[16];
    snprintf(code, sizeof code, "0x%08lx", static_cast<unsigned long>(hr));
    for (const auto& known : kKnown) {
        if (known.hr == hr) return std::string(known.text) + " (" + code + ")";
    }
    return code;
}

namespace {

// Edit distance without regard to case (Wagner and Fischer).
size_t Distance(const std::wstring& a, const std::wstring& b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row[b.size()];
}

}  // namespace

std::vector<std::string> Nearest(std::string_view wanted, const std::vector<std::string>& candidates) {
    const std::wstring name = Lower(wanted);
    std::vector<std::pair<size_t, std::string>> ranked;
    for (const std::string& candidate : candidates) {
        const std::wstring other = Lower(candidate);
        const std::wstring tail = other.substr(other.rfind(L'/') + 1);
        const bool contains = !name.empty() && other.find(name) != std::wstring::npos;
        const size_t distance = contains ? 1 : std::min(Distance(name, other), Distance(name, tail));
        if (distance <= std::max<size_t>(2, name.size() / 2)) ranked.emplace_back(distance, candidate);
    }
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> nearest;
    for (const auto& [distance, candidate] : ranked) {
        if (nearest.size() < 3) nearest.push_back(candidate);
    }
    return nearest;
}

std::string Suggestion(std::string_view wanted, const std::vector<std::string>& candidates) {
    const std::vector<std::string> nearest = Nearest(wanted, candidates);
    if (nearest.empty()) return {};
    std::string text = " Did you mean ";
    for (size_t i = 0; i < nearest.size(); ++i) {
        if (i != 0) text += i + 1 == nearest.size() ? " or " : ", ";
        text += "\"" + nearest[i] + "\"";
    }
    return text + "?";
}

}  // namespace host
