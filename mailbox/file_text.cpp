#include "mailbox/file_text.h"

#include <charconv>
#include <chrono>
#include <cstdio>

#include "mailbox/text.h"

namespace mailbox {

namespace {

constexpr size_t kGuidLength = 38;

template <typename Number>
bool ParseWhole(std::string_view digits, Number& number, int base) {
    if (digits.empty() || digits.front() == '-') return false;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    return error == std::errc() && end == digits.data() + digits.size();
}

bool IsHexNumber(std::string_view name, ULONG& number) {
    return name.size() <= 10 && (name.starts_with("0x") || name.starts_with("0X")) &&
           ParseWhole(name.substr(2), number, 16);
}

template <typename... Args>
std::string Print(const char* format, Args... args) {
    char text[64];
    std::snprintf(text, sizeof text, format, args...);
    return text;
}

}  // namespace

bool ParseGuid(std::string_view text, GUID& guid) {
    if (text.size() != kGuidLength || text.front() != '{' || text.back() != '}') return false;
    std::string digits;
    for (const size_t dash : {9u, 14u, 19u, 24u})
        if (text[dash] != '-') return false;
    for (const char character : text.substr(1, kGuidLength - 2))
        if (character != '-') digits += character;
    std::string bytes;
    if (digits.size() != 32 || !FromHex(digits, bytes)) return false;
    const auto byte = [&](size_t index) { return static_cast<unsigned char>(bytes[index]); };
    guid.Data1 = static_cast<ULONG>(byte(0)) << 24 | static_cast<ULONG>(byte(1)) << 16 |
                 static_cast<ULONG>(byte(2)) << 8 | byte(3);
    guid.Data2 = static_cast<USHORT>(byte(4) << 8 | byte(5));
    guid.Data3 = static_cast<USHORT>(byte(6) << 8 | byte(7));
    for (size_t index = 0; index < 8; ++index) guid.Data4[index] = byte(8 + index);
    return true;
}

std::string FormatGuid(const GUID& guid) {
    const BYTE* last = guid.Data4;
    return Print("{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1, guid.Data2, guid.Data3,
                 last[0], last[1], last[2], last[3], last[4], last[5], last[6], last[7]);
}

bool ParseName(std::string_view text, TName& name) {
    if (text.size() < kGuidLength + 2 || !ParseGuid(text.substr(0, kGuidLength), name.set)) return false;
    if (text[kGuidLength] != ':') return false;
    std::string_view rest = text.substr(kGuidLength + 1);
    ULONG number = 0;
    name.numeric = IsHexNumber(rest, number);
    name.number = static_cast<LONG>(number);
    if (name.numeric) return name.text.clear(), true;
    name.number = 0;
    if (rest.starts_with('=')) rest.remove_prefix(1);
    name.text = ToWide(rest);
    return !rest.empty();
}

std::string FormatName(const TName& name) {
    if (name.numeric) return FormatGuid(name.set) + ":" + Print("0x%lX", static_cast<ULONG>(name.number));
    const std::string text = FromWide(name.text);
    ULONG number = 0;
    return FormatGuid(name.set) + (text.starts_with('=') || IsHexNumber(text, number) ? ":=" : ":") + text;
}

bool ParseKey(std::string_view text, TPropertyKey& key) {
    ULONG type = 0;
    if (text.size() == 8) {
        key.isNamed = false;
        if (!ParseWhole(text, key.tag, 16)) return false;
        return IsKnownType(PROP_TYPE(key.tag)) && PROP_ID(key.tag) != 0 && PROP_ID(key.tag) < 0x8000;
    }
    // A name and ":001F"
    if (text.size() < 5 || text[text.size() - 5] != ':') return false;
    if (!ParseWhole(text.substr(text.size() - 4), type, 16) || !IsKnownType(type)) return false;
    key.isNamed = true;
    key.tag = type;
    return ParseName(text.substr(0, text.size() - 5), key.name);
}

std::string FormatKey(ULONG tag, const TName* name) {
    return name == nullptr ? Print("%08lX", tag) : FormatName(*name) + Print(":%04lX", PROP_TYPE(tag));
}

namespace {

constexpr unsigned long long kTicksPerSecond = 10'000'000;
constexpr unsigned long long kTicksPerDay = 86'400 * kTicksPerSecond;
constexpr std::chrono::sys_days kFirstDay{std::chrono::year{1601} / 1 / 1};
constexpr std::chrono::sys_days kEndDay{std::chrono::year{10000} / 1 / 1};

}  // namespace

bool ParseTime(std::string_view text, unsigned long long& ticks) {
    // 2023-07-10T13:30:00.1234567Z
    if (text.size() < 20 || text.back() != 'Z') return false;
    static constexpr size_t places[] = {4, 7, 10, 13, 16};
    static constexpr char expected[] = {'-', '-', 'T', ':', ':'};
    for (size_t index = 0; index < std::size(places); ++index)
        if (text[places[index]] != expected[index]) return false;
    int year = 0;
    unsigned month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!ParseWhole(text.substr(0, 4), year, 10) || !ParseWhole(text.substr(5, 2), month, 10) ||
        !ParseWhole(text.substr(8, 2), day, 10) || !ParseWhole(text.substr(11, 2), hour, 10) ||
        !ParseWhole(text.substr(14, 2), minute, 10) || !ParseWhole(text.substr(17, 2), second, 10))
        return false;
    const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{month},
                                           std::chrono::day{day}};
    if (!date.ok() || year < 1601 || hour > 23 || minute > 59 || second > 59) return false;
    unsigned long long fraction = 0;
    std::string_view rest = text.substr(19, text.size() - 20);
    if (!rest.empty()) {
        if (rest.front() != '.' || rest.size() < 2 || rest.size() > 8) return false;
        std::string digits(rest.substr(1));
        digits.resize(7, '0');
        if (!ParseWhole(digits, fraction, 10)) return false;
    }
    const auto days = static_cast<unsigned long long>((std::chrono::sys_days{date} - kFirstDay).count());
    ticks = days * kTicksPerDay + (hour * 3600ull + minute * 60 + second) * kTicksPerSecond + fraction;
    return true;
}

std::string FormatTime(unsigned long long ticks) {
    const unsigned long long days = ticks / kTicksPerDay;
    if (days >= static_cast<unsigned long long>((kEndDay - kFirstDay).count())) return {};
    const std::chrono::year_month_day date{kFirstDay + std::chrono::days{days}};
    const unsigned long long seconds = ticks % kTicksPerDay / kTicksPerSecond;
    std::string text = Print("%04d-%02u-%02uT%02llu:%02llu:%02llu", static_cast<int>(date.year()),
                             static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                             seconds / 3600, seconds / 60 % 60, seconds % 60);
    const unsigned long long fraction = ticks % kTicksPerSecond;
    if (fraction != 0) {
        std::string digits = Print(".%07llu", fraction);
        digits.erase(digits.find_last_not_of('0') + 1);
        text += digits;
    }
    return text + "Z";
}

}  // namespace mailbox
