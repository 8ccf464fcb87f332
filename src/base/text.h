#pragma once
// Small things that every part does with texts.

#include <windows.h>

#include <string>
#include <string_view>

namespace base {

/// A text to print or to compare where the caller may have given none.
inline const char* OrEmpty(const char* text) {
    return text ? text : "";
}
inline const wchar_t* OrEmpty(const wchar_t* text) {
    return text ? text : L"";
}

/// Between 8-bit texts in the system's code page and wide ones; what cannot be converted is an empty text.
std::wstring Widen(const char* text);
std::string Narrow(std::wstring_view text);

/// The part of a text without such characters at its ends; an empty one lies at its beginning.
template <typename Char>
std::basic_string_view<Char> Trimmed(std::basic_string_view<Char> text, std::basic_string_view<Char> blanks) {
    const size_t begin = text.find_first_not_of(blanks);
    if (begin == text.npos) return text.substr(0, 0);
    return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

}  // namespace base
