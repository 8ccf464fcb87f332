#include "base/text.h"

namespace base {

std::wstring Widen(const char* text) {
    const int size = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    if (size <= 1) return {};
    std::wstring wide(static_cast<size_t>(size), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), size);
    wide.pop_back();
    return wide;
}

std::string Narrow(std::wstring_view text) {
    const int units = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_ACP, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return {};
    std::string narrow(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, text.data(), units, narrow.data(), size, nullptr, nullptr);
    return narrow;
}

}  // namespace base
