#pragma once
// Values for comparison tests: an arena that keeps what they point to, random texts.

#include <gtest/gtest.h>
#include <mapidefs.h>

#include <cstring>
#include <deque>
#include <random>
#include <string>
#include <vector>

#include "tests/support/MailboxFixture.h"

inline int SignOf(long value) {
    return (value > 0) - (value < 0);
}

inline FILETIME FileTime(unsigned long long ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}
inline unsigned long long TicksOf(const FILETIME& time) {
    return static_cast<unsigned long long>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}
inline constexpr unsigned long long kSecond = 10'000'000, kDay = 86'400 * kSecond;

/// Builds values; what they point to lives as long as the arena.
class Arena {
  public:
    template <typename T>
    static _PV Of(T value) {
        _PV result{};
        static_assert(sizeof(T) <= sizeof(result));
        std::memcpy(&result, &value, sizeof(T));
        return result;
    }
    _PV Text(const std::wstring& text) { return Of(Keep(m_wide, text)); }
    _PV Text8(const std::string& text) { return Of(Keep(m_narrow, text)); }
    _PV Binary(const std::string& bytes) {
        return Of(SBinary{static_cast<ULONG>(bytes.size()), reinterpret_cast<BYTE*>(Keep(m_narrow, bytes))});
    }
    /// So many bytes or elements that are nowhere.
    static _PV Missing(ULONG count) { return Of(SBinary{count, nullptr}); }
    /// A multi-valued value of elements of one size, given as their bytes.
    _PV Array(const std::string& bytes, size_t elementSize) {
        return Of(SBinary{static_cast<ULONG>(bytes.size() / elementSize),
                          reinterpret_cast<BYTE*>(Keep(m_narrow, bytes))});
    }
    _PV Texts(const std::vector<std::wstring>& texts) {
        std::vector<void*> pointers;
        for (const auto& text : texts) pointers.push_back(Keep(m_wide, text));
        return Pointers(pointers);
    }
    _PV Texts8(const std::vector<std::string>& texts) {
        std::vector<void*> pointers;
        for (const auto& text : texts) pointers.push_back(Keep(m_narrow, text));
        return Pointers(pointers);
    }
    _PV Binaries(const std::vector<std::string>& values) {
        std::string records;
        for (const auto& value : values) {
            const SBinary record = Binary(value).bin;
            records.append(reinterpret_cast<const char*>(&record), sizeof(record));
        }
        return Array(records, sizeof(SBinary));
    }

  private:
    template <typename Text>
    static typename Text::value_type* Keep(std::deque<Text>& kept, Text text) {
        kept.push_back(std::move(text));
        return kept.back().data();
    }
    _PV Pointers(const std::vector<void*>& pointers) {
        return Array({reinterpret_cast<const char*>(pointers.data()), pointers.size() * sizeof(void*)},
                     sizeof(void*));
    }

    std::deque<std::wstring> m_wide;
    std::deque<std::string> m_narrow;
};

/// Texts of up to so many characters of an alphabet.
class RandomTexts {
  public:
    RandomTexts(std::wstring alphabet, size_t most, unsigned seed = 1)
        : m_alphabet(std::move(alphabet)), m_length(0, most), m_random(seed) {}
    std::wstring operator()() {
        std::wstring text(m_length(m_random), L' ');
        for (wchar_t& c : text) c = m_alphabet[m_random() % m_alphabet.size()];
        return text;
    }

  private:
    std::wstring m_alphabet;
    std::uniform_int_distribution<size_t> m_length;
    std::mt19937 m_random;
};
