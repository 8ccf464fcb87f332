#pragma once
// 8-bit text in wide messages.

#include <windows.h>

#include <string>

inline std::wstring Widen(const char* text) {
    const int size = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    if (size <= 1) return {};
    std::wstring wide(static_cast<size_t>(size), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), size);
    wide.pop_back();
    return wide;
}
