#include "mailbox/text.h"

#include <emmintrin.h>
#include <windows.h>

#include <cstdint>
#include <cstring>

namespace mailbox {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// Takes one character off the front of a text that is not empty. A malformed byte is taken alone, as U+FFFD.
char32_t TakeCharacter(std::string_view& text) {
    const auto byte = [&](size_t index) { return static_cast<unsigned char>(text[index]); };
    const auto follows = [&](size_t index) { return index < text.size() && (byte(index) & 0xC0) == 0x80; };
    const unsigned first = byte(0);
    char32_t character = kReplacement;
    size_t length = 1;
    if (first < 0x80) {
        character = first;
    } else if (first >= 0xC2 && first < 0xE0 && follows(1)) {
        character = ((first & 0x1Fu) << 6) | (byte(1) & 0x3Fu);
        length = 2;
    } else if (first >= 0xE0 && first < 0xF0 && follows(1) && follows(2)) {
        const char32_t value = ((first & 0x0Fu) << 12) | ((byte(1) & 0x3Fu) << 6) | (byte(2) & 0x3Fu);
        if (value >= 0x800) {
            character = value;
            length = 3;
        }
    } else if (first >= 0xF0 && first < 0xF5 && follows(1) && follows(2) && follows(3)) {
        const char32_t value = ((first & 0x07u) << 18) | ((byte(1) & 0x3Fu) << 12) |
                               ((byte(2) & 0x3Fu) << 6) | (byte(3) & 0x3Fu);
        if (value >= 0x10000 && value <= 0x10FFFF) {
            character = value;
            length = 4;
        }
    }
    text.remove_prefix(length);
    return character;
}

void AppendCharacter(std::string& out, char32_t character) {
    const auto tail = [&](unsigned shift) { out += static_cast<char>(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80) {
        out += static_cast<char>(character);
    } else if (character < 0x800) {
        out += static_cast<char>(0xC0 | (character >> 6));
        tail(0);
    } else if (character < 0x10000) {
        out += static_cast<char>(0xE0 | (character >> 12));
        tail(6), tail(0);
    } else {
        out += static_cast<char>(0xF0 | (character >> 18));
        tail(12), tail(6), tail(0);
    }
}

bool IsHighSurrogate(wchar_t unit) {
    return (unit & 0xFC00) == 0xD800;
}
bool IsLowSurrogate(wchar_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}

}  // namespace

size_t AsciiBlocks(std::string_view text) {
    size_t done = 0;
    for (; done + 16 <= text.size(); done += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + done));
        if (_mm_movemask_epi8(block) != 0) break;
    }
    return done;
}

bool IsAscii(std::string_view text) {
    for (size_t index = AsciiBlocks(text); index < text.size(); ++index)
        if (static_cast<unsigned char>(text[index]) >= 0x80) return false;
    return true;
}

size_t WideLength(std::string_view utf8) {
    size_t length = AsciiBlocks(utf8);
    utf8.remove_prefix(length);
    while (!utf8.empty()) length += TakeCharacter(utf8) >= 0x10000 ? 2u : 1u;
    return length;
}

wchar_t* WriteWide(std::string_view utf8, wchar_t* out) {
    const __m128i zero = _mm_setzero_si128();
    while (!utf8.empty()) {
        while (utf8.size() >= 16) {
            const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(utf8.data()));
            if (_mm_movemask_epi8(block) != 0) break;
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(block, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out) + 1, _mm_unpackhi_epi8(block, zero));
            out += 16;
            utf8.remove_prefix(16);
        }
        // The rest of this block one by one; then ASCII may go on in blocks.
        for (const size_t end = utf8.size() > 16 ? utf8.size() - 16 : 0; utf8.size() > end;) {
            const char32_t character = TakeCharacter(utf8);
            if (character >= 0x10000) *out++ = static_cast<wchar_t>(0xD7C0 + (character >> 10));
            *out++ = character >= 0x10000 ? static_cast<wchar_t>(0xDC00 | (character & 0x3FF))
                                          : static_cast<wchar_t>(character);
        }
    }
    return out;
}

std::string ToWideBytes(std::string_view utf8) {
    std::string bytes(WideLength(utf8) * sizeof(wchar_t), '\0');
    WriteWide(utf8, reinterpret_cast<wchar_t*>(bytes.data()));
    return bytes;
}

std::wstring ToWide(std::string_view utf8) {
    std::wstring wide(WideLength(utf8), L'\0');
    WriteWide(utf8, wide.data());
    return wide;
}

std::string FromWide(std::wstring_view wide) {
    std::string out;
    out.reserve(wide.size() + wide.size() / 8);
    for (size_t index = 0; index < wide.size(); ++index) {
        const wchar_t unit = wide[index];
        if (IsHighSurrogate(unit) && index + 1 < wide.size() && IsLowSurrogate(wide[index + 1])) {
            ++index;
            AppendCharacter(out, 0x10000u + ((unit & 0x3FFu) << 10) + (wide[index] & 0x3FFu));
        } else {
            AppendCharacter(out, unit);
        }
    }
    return out;
}

std::string ToAnsi(std::string_view utf8) {
    if (IsAscii(utf8)) return std::string(utf8);
    const std::wstring wide = ToWide(utf8);
    const int length = static_cast<int>(wide.size());
    const int size = WideCharToMultiByte(CP_ACP, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string ansi(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, wide.data(), length, ansi.data(), size, nullptr, nullptr);
    return ansi;
}

std::string FromAnsi(std::string_view ansi) {
    if (IsAscii(ansi)) return std::string(ansi);
    const int length = static_cast<int>(ansi.size());
    const int size = MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, nullptr, 0);
    std::wstring wide(static_cast<size_t>(size), L'\0');
    MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, wide.data(), size);
    return FromWide(wide);
}

std::wstring CallText(const void* text, bool isWide) {
    if (text == nullptr) return {};
    if (isWide) return static_cast<const wchar_t*>(text);
    return ToWide(FromAnsi(static_cast<const char*>(text)));
}

size_t StrictCharacter(std::string_view text) {
    std::string_view rest = text;
    const char32_t character = TakeCharacter(rest);
    const size_t length = text.size() - rest.size();
    if (character >= 0xD800 && character < 0xE000) return 0;
    // A real U+FFFD has three bytes, a malformed byte one.
    return character == kReplacement && length == 1 ? 0 : length;
}

bool IsStrictUtf8(std::string_view text) {
    text.remove_prefix(AsciiBlocks(text));
    while (!text.empty()) {
        const size_t length = StrictCharacter(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

namespace {

/// The unit of "\\u00E4" at the place, -1 when it is none, -2 when it is cut short.
int EscapedUnit(std::string_view text) {
    static const char start[] = {'\\', 'u'};
    int unit = 0;
    for (size_t index = 0; index < 6; ++index) {
        if (index == text.size()) return -2;
        const char c = text[index];
        const int digit = c >= '0' && c <= '9'   ? c - '0'
                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                 : -1;
        if (index < 2 ? c != start[index] : digit < 0) return -1;
        if (index >= 2) unit = unit * 16 + digit;
    }
    return unit;
}

}  // namespace

EEscape TakeEscape(std::string_view& text, char* utf8, size_t& length) {
    static const char letters[] = "\"\\/bfnrt";
    static const char meanings[] = "\"\\/\b\f\n\r\t";
    if (text.size() < 2) return EEscape::Cut;
    if (text[1] != 'u') {
        const char* const letter = std::strchr(letters, text[1]);
        if (letter == nullptr || text[1] == '\0') return EEscape::Bad;
        *utf8 = meanings[letter - letters];
        length = 1;
        text.remove_prefix(2);
        return EEscape::Whole;
    }
    const int first = EscapedUnit(text);
    if (first < 0) return first == -2 ? EEscape::Cut : EEscape::Bad;
    char32_t character = static_cast<char32_t>(first);
    size_t taken = 6;
    if (IsLowSurrogate(static_cast<wchar_t>(first))) return EEscape::Bad;
    if (IsHighSurrogate(static_cast<wchar_t>(first))) {
        const int second = EscapedUnit(text.substr(6));
        if (second == -2) return EEscape::Cut;
        if (second < 0 || !IsLowSurrogate(static_cast<wchar_t>(second))) return EEscape::Bad;
        character = 0x10000u + ((character & 0x3FFu) << 10) + (static_cast<char32_t>(second) & 0x3FFu);
        taken = 12;
    }
    std::string bytes;
    AppendCharacter(bytes, character);
    length = bytes.copy(utf8, 4);
    text.remove_prefix(taken);
    return EEscape::Whole;
}

std::string ToHex(std::string_view bytes) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[byte & 15];
    }
    return text;
}

bool FromHex(std::string_view text, std::string& bytes) {
    const auto digit = [](char c) {
        return c >= '0' && c <= '9'   ? c - '0'
               : c >= 'A' && c <= 'F' ? c - 'A' + 10
               : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                      : -1;
    };
    bytes.clear();
    if (text.size() % 2 != 0) return false;
    for (size_t index = 0; index < text.size(); index += 2) {
        const int high = digit(text[index]);
        const int low = digit(text[index + 1]);
        if (high < 0 || low < 0) return false;
        bytes += static_cast<char>(high * 16 + low);
    }
    return true;
}

namespace {
const char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
}

std::string ToBase64(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t index = 0; index < bytes.size(); index += 3) {
        const size_t count = bytes.size() - index < 3 ? bytes.size() - index : 3;
        std::uint32_t group = 0;
        for (size_t byte = 0; byte < 3; ++byte)
            group = group << 8 | (byte < count ? static_cast<unsigned char>(bytes[index + byte]) : 0u);
        for (size_t place = 0; place < 4; ++place)
            text += place <= count ? kBase64[(group >> (18 - 6 * place)) & 63] : '=';
    }
    return text;
}

bool FromBase64(std::string_view text, std::string& bytes) {
    static const auto table = [] {
        struct TTable {
            signed char value[256];
        } made;
        std::memset(made.value, -1, sizeof made.value);
        for (signed char index = 0; index < 64; ++index)
            made.value[static_cast<unsigned char>(kBase64[index])] = index;
        return made;
    }();
    bytes.clear();
    if (text.size() % 4 != 0) return false;
    bytes.resize(text.size() / 4 * 3);
    char* out = bytes.data();
    for (size_t index = 0; index < text.size(); index += 4) {
        size_t count = 4;
        if (index + 4 == text.size())
            while (count > 2 && text[index + count - 1] == '=') --count;
        std::uint32_t group = 0;
        for (size_t place = 0; place < 4; ++place) {
            const int value =
                place < count ? table.value[static_cast<unsigned char>(text[index + place])] : 0;
            if (value < 0) return false;
            group = group << 6 | static_cast<std::uint32_t>(value);
        }
        for (size_t byte = 0; byte + 1 < count; ++byte) *out++ = static_cast<char>(group >> (16 - 8 * byte));
    }
    bytes.resize(static_cast<size_t>(out - bytes.data()));
    return true;
}

}  // namespace mailbox
