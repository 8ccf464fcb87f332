#pragma once
// Times as numbers: 100 nanoseconds since 1601.

#include <windows.h>

#include <cstdint>

namespace base {

inline constexpr uint64_t kTicksPerSecond = 10'000'000;
inline constexpr uint64_t kTicksPerMinute = 60 * kTicksPerSecond;
inline constexpr uint64_t kTicksPerDay = 1440 * kTicksPerMinute;

constexpr uint64_t Ticks(const FILETIME& time) {
    return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

constexpr FILETIME FromTicks(uint64_t ticks) {
    return {static_cast<DWORD>(ticks & 0xFFFFFFFF), static_cast<DWORD>(ticks >> 32)};
}

}  // namespace base
