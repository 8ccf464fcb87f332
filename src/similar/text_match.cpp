#include "similar/text_match.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>

#include "compare/sort_key.h"
#include "compare/string_compare.h"
#include "log/CLog.h"

namespace similar {

using logging::g_Log;

namespace {

constexpr int kPhoneDigits = 7;

bool IsDigit(wchar_t unit) {
    return unit >= L'0' && unit <= L'9';
}
wchar_t FoldAscii(wchar_t unit) {
    return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit + 32) : unit;
}
bool IsAsciiAlnum(wchar_t unit) {
    const wchar_t folded = FoldAscii(unit);
    return IsDigit(unit) || (folded >= L'a' && folded <= L'z');
}
/// Two letters or digits of ASCII that differ do so in every language, alone and as the first of a text; a
/// letter that merges with its neighbours (aa, ch, dzs) still begins with itself.
bool DifferSurely(wchar_t a, wchar_t b) {
    return IsAsciiAlnum(a) && IsAsciiAlnum(b) && FoldAscii(a) != FoldAscii(b);
}

bool SameText(const wchar_t* a, const wchar_t* b, size_t length) {
    return CompareStringW(GetThreadLocale(), NORM_IGNORECASE, a, static_cast<int>(length), b,
                          static_cast<int>(length)) == CSTR_EQUAL;
}

bool SameUnit(wchar_t a, wchar_t b) {
    if (a == b) return true;
    if (IsAsciiAlnum(a) && IsAsciiAlnum(b)) return FoldAscii(a) == FoldAscii(b);
    return SameText(&a, &b, 1);
}

/// lstrcmpiW says equal. Most texts are told apart before it is asked: digits stand alone in every language,
/// so equal ones in front decide nothing.
bool SameText(const wchar_t* a, const wchar_t* b) {
    size_t i = 0;
    while (IsDigit(a[i]) && a[i] == b[i]) ++i;
    if (a[i] == 0 && b[i] == 0) return true;
    if (DifferSurely(a[i], b[i])) return false;
    return lstrcmpiW(a, b) == 0;
}

bool SameText(const TText& a, const TText& b) {
    if (a.key != 0 && b.key != 0 && a.key != b.key) return false;
    return SameText(a.text, b.text);
}

bool StartsWith(const TText& a, const TText& b) {
    const size_t common = std::min(a.length, b.length);
    if (common == 0 || DifferSurely(a.text[0], b.text[0])) return false;
    return SameText(a.text, b.text, common);
}

size_t FirstDifference(const TText& a, const TText& b) {
    const size_t common = std::min(a.length, b.length);
    size_t i = 0;
    while (i < common && SameUnit(a.text[i], b.text[i])) ++i;
    return i;
}

bool DiffersByMissingUnit(const TText& a, const TText& b) {
    const TText& shorter = a.length < b.length ? a : b;
    const TText& longer = a.length < b.length ? b : a;
    if (shorter.length == 0 || longer.length != shorter.length + 1) return false;
    const size_t first = FirstDifference(shorter, longer);
    return first == shorter.length || SameText(shorter.text + first, longer.text + first + 1);
}

bool DiffersByOtherUnit(const TText& a, const TText& b) {
    if (a.length != b.length || a.length < 2) return false;
    const size_t first = FirstDifference(a, b);
    if (first == a.length) return false;
    return SameText(a.text + first + 1, b.text + first + 1);
}

/// The digits of a phone number, or the whole text when it has none.
const TText& DigitsOrAll(const TFieldText& phone) {
    return phone.part.length > 0 ? phone.part : phone.whole;
}

bool HaveDigitsToSpare(const TFieldText& a, const TFieldText& b) {
    return a.part.length >= 2 && b.part.length >= 2;
}

bool StrEqualOnly(const TFieldText& a, const TFieldText& b, ECompareMethod method) {
    const bool digits = HaveDigitsToSpare(a, b);
    switch (method) {
        case StartWith:
            return StartsWith(a.whole, b.whole);
        case MissChar:
            return DiffersByMissingUnit(a.whole, b.whole);
        case DiffChar:
            return DiffersByOtherUnit(a.whole, b.whole);
        case Last7Digits:
            return SameText(DigitsOrAll(a), DigitsOrAll(b));
        case Last7Digits1Miss:
            return DiffersByMissingUnit(digits ? a.part : a.whole, digits ? b.part : b.whole);
        case Last7Digits1Diff:
            return DiffersByOtherUnit(digits ? a.part : a.whole, digits ? b.part : b.whole);
        case HttpUrlCompare:
            return a.part.length > 0 && b.part.length > 0 && SameText(a.part, b.part);
        default:
            return SameText(a.whole, b.whole);
    }
}

TText PlainText(const wchar_t* text) {
    return {text, wcslen(text)};
}

bool IsDigitsMethod(ECompareMethod method) {
    return method >= Last7Digits && method <= Last7DigitsAnyMethod;
}
bool ComparesPart(ECompareMethod method) {
    return IsDigitsMethod(method) || method == HttpUrlCompare;
}

/// The part of a text that a method compares, into parts; none for most methods.
TText PartOf(const wchar_t* text, ECompareMethod method, TKeptTexts* parts) {
    if (IsDigitsMethod(method)) {
        wchar_t buffer[kPhoneDigits + 1];
        parts->emplace_front(compare::ExtractLastDigits(text, buffer, kPhoneDigits));
    } else if (method == HttpUrlCompare) {
        parts->emplace_front(NormalizeUrl(text));
    } else {
        return {};
    }
    return PlainText(parts->front().c_str());
}

/// Works out a text's key, and of its weights what is asked for.
void PrepareKey(TText* text, CUnitWeights* weights, std::vector<unsigned char>* scratch) {
    scratch->clear();
    if (compare::AppendSortKey(text->text, *scratch) == 0) return;
    const std::string_view key(reinterpret_cast<const char*>(scratch->data()), scratch->size());
    text->key = std::max<size_t>(std::hash<std::string_view>()(key), 1);
    if (weights) text->byUnits = weights->AreThoseOfUnits(text->text, *scratch);
}

}  // namespace

bool ComparesByUnits(const TMethods& methods) {
    return std::any_of(methods.begin(), methods.end(), [](ECompareMethod method) {
        return method == StartWith || method == MissChar || method == DiffChar || IsDigitsMethod(method);
    });
}

TFieldText PrepareText(const wchar_t* text, const TMethods& methods, TKeptTexts* parts, CUnitWeights* weights,
                       std::vector<unsigned char>* scratch) {
    TFieldText prepared{PlainText(text), {}};
    if (prepared.IsEmpty()) return prepared;
    if (!ComparesByUnits(methods)) weights = nullptr;
    PrepareKey(&prepared.whole, weights, scratch);
    const auto method = std::find_if(methods.begin(), methods.end(), ComparesPart);
    if (method != methods.end()) prepared.part = PartOf(text, *method, parts);
    if (*prepared.part.text) PrepareKey(&prepared.part, weights, scratch);
    return prepared;
}

bool StrEqual(const TFieldText& a, const TFieldText& b, ECompareMethod method, ECompareMethod* matched) {
    if (matched) *matched = method;
    if (method != Last7DigitsAnyMethod) return StrEqualOnly(a, b, method);
    for (ECompareMethod digits : {Last7Digits, Last7Digits1Miss, Last7Digits1Diff}) {
        if (!StrEqualOnly(a, b, digits)) continue;
        if (matched) *matched = digits;
        return true;
    }
    return false;
}

bool StrEqual(const wchar_t* a, const wchar_t* b, ECompareMethod method, ECompareMethod* matched) {
    g_Log.Assert(method >= Exact && method <= HttpUrlCompare, "StrEqual", __LINE__, "method is 0 to 8");
    TKeptTexts parts;
    const TFieldText preparedA{PlainText(a), PartOf(a, method, &parts)};
    const TFieldText preparedB{PlainText(b), PartOf(b, method, &parts)};
    return StrEqual(preparedA, preparedB, method, matched);
}

std::wstring NormalizeUrl(std::wstring_view url) {
    constexpr std::wstring_view kBlanks = L" \t";
    constexpr std::wstring_view kPrefixes[] = {L"http://www.", L"http://", L"www."};

    const size_t begin = url.find_first_not_of(kBlanks);
    if (begin == std::wstring_view::npos) return {};
    std::wstring text(url.substr(begin, url.find_last_not_of(kBlanks) + 1 - begin));
    std::replace(text.begin(), text.end(), L'\\', L'/');
    for (std::wstring_view prefix : kPrefixes) {
        if (text.size() < prefix.size() || !SameText(text.c_str(), prefix.data(), prefix.size())) continue;
        text.erase(0, prefix.size());
        break;
    }
    while (!text.empty() && text.back() == L'/') text.pop_back();
    return text;
}

}  // namespace similar
