#include "log/identifier_text.h"

#include <array>

namespace logging {

namespace {
const char kDigits[] = "0123456789ABCDEF";

constexpr auto kDigitValues = [] {
    std::array<signed char, 256> values{};
    for (auto& value : values) value = -1;
    for (unsigned char i = 0; i < 10; ++i) values['0' + i] = static_cast<signed char>(i);
    for (unsigned char i = 0; i < 6; ++i) {
        values['A' + i] = values['a' + i] = static_cast<signed char>(10 + i);
    }
    return values;
}();

/// Value of a hexadecimal digit, or -1.
int DigitValue(char c) {
    return kDigitValues[static_cast<unsigned char>(c)];
}
}  // namespace

void BytesToHex(const BYTE* bytes, size_t count, char* out) {
    for (size_t i = 0; i < count; ++i) {
        *out++ = kDigits[bytes[i] >> 4];
        *out++ = kDigits[bytes[i] & 0x0F];
    }
    *out = '\0';
}

void HexToBytes(const char* text, size_t count, BYTE* out) {
    for (size_t i = 0; i < count; ++i, text += 2) {
        const int high = DigitValue(text[0]);
        const int low = high < 0 ? high : DigitValue(text[1]);
        out[i] = static_cast<BYTE>((high | low) >= 0 ? high << 4 | low : Hex2Dec(text, 2));
    }
}

unsigned long Hex2Dec(const char* text, int n) {
    unsigned long value = 0;
    for (int i = 0; i < n; ++i) {
        const int digit = DigitValue(*text);
        if (digit < 0) {
            OutputDebugStringA("Hex2DecError\n");
            value = 0xFFFFFFFF;
        } else {
            value = value << 4 | static_cast<unsigned long>(digit);
        }
        // A text that is shorter than n digits is not read past its end.
        if (*text != '\0') ++text;
    }
    return value;
}

int Str2GUID(const char* text, GUID* out) {
    // The first three fields are numbers and stand in memory lowest byte first; the rest is in reading order.
    static const int kOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    if (text == nullptr) return 0;
    BYTE bytes[16] = {};
    for (int digits = 0; digits < 32; ++text) {
        if (*text == '\0') return 0;
        const int digit = DigitValue(*text);
        if (digit < 0) continue;
        BYTE& byte = bytes[kOrder[digits / 2]];
        byte = static_cast<BYTE>(byte << 4 | digit);
        ++digits;
    }
    memcpy(out, bytes, sizeof(bytes));
    return 1;
}

}  // namespace logging
