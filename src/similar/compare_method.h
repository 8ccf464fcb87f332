#pragma once
// How two values of a contact field were found to match; methods to try and results are one set of numbers.

#include <array>

namespace similar {

enum ECompareMethod : int {
    NotCompared = -2,
    Unequal = -1,
    Exact = 0,
    StartWith = 1,             // one text begins with the other
    MissChar = 2,              // one character is missing
    DiffChar = 3,              // one character differs
    Last7Digits = 4,           // the last seven decimal digits are the same
    Last7Digits1Miss = 5,      // ... but for one that is missing
    Last7Digits1Diff = 6,      // ... but for one that differs
    Last7DigitsAnyMethod = 7,  // any of the three before, for callers of StrEqual
    HttpUrlCompare = 8,        // the same web address, written differently
    Intercept = 9              // two lists share an element
};

/// Methods in order of trial. The first is always Exact; NotCompared ends the list early.
using TMethods = std::array<ECompareMethod, 4>;

inline bool IsMatch(int result) {
    return result >= Exact;
}

/// Text of a result, in parentheses on request. omitExact gives an empty text for Exact. Any other number
/// asserts and gives "Unknown".
const wchar_t* CmpMethod2Str(int value, bool omitExact, bool parentheses);

}  // namespace similar
