#pragma once
// Texts of contacts under a compare method.
//
// All comparisons ignore case as the platform's lstrcmpiW does (é is É, ß is ss, soft hyphens do not count);
// nothing here decides differently, whatever it uses to be faster. Texts are borrowed: they outlive what
// refers to them.

#include <forward_list>
#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include "similar/CUnitWeights.h"
#include "similar/compare_method.h"

namespace similar {

/// A text, its length, a number that differs between two texts only when lstrcmpiW tells them apart (0: not
/// worked out), and whether its weights are known to be those of its units; asked for only where a method
/// compares parts of a text.
struct TText {
    const wchar_t* text = L"";
    size_t length = 0;
    size_t key = 0;
    bool byUnits = false;
};

/// A text with the part of it that its methods compare: for the Last7Digits family its last seven digits, for
/// HttpUrlCompare its normalised form, for all others none.
struct TFieldText {
    TText whole;
    TText part;

    bool IsEmpty() const { return whole.length == 0; }
};

/// Texts that somebody keeps for others to refer to.
using TKeptTexts = std::pmr::forward_list<std::pmr::wstring>;

/// Whether one of the methods compares parts of two texts, and so one that keys of their parts stand for.
bool ComparesByUnits(const TMethods& methods);
/// Prepares a text for many comparisons under the given methods. Its part, if any, is kept in parts. scratch
/// is room to work in.
TFieldText PrepareText(const wchar_t* text, const TMethods& methods, TKeptTexts* parts, CUnitWeights* weights,
                       std::vector<unsigned char>* scratch);
/// Whether two texts prepared for this method match. *matched, when given, receives the method; of
/// Last7DigitsAnyMethod the member of its family that matched.
bool StrEqual(const TFieldText& a, const TFieldText& b, ECompareMethod method,
              ECompareMethod* matched = nullptr);
/// The same for any two texts. A method outside 0 to 8 asserts and works as Exact.
bool StrEqual(const wchar_t* a, const wchar_t* b, ECompareMethod method, ECompareMethod* matched = nullptr);

/// A web address without surrounding blanks, "http://", "www." and trailing slashes; every backslash becomes
/// a slash.
std::wstring NormalizeUrl(std::wstring_view url);

}  // namespace similar
