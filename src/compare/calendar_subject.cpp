#include "compare/calendar_subject.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "log/CLog.h"

namespace compare {

using logging::g_Log;

namespace {

constexpr std::wstring_view kSuffixes[] = {L"'s birthday", L"'s anniversary"};

/// Start of the suffix that ends a subject with something in front of it, or null.
wchar_t* FindSuffix(wchar_t* subject, size_t length) {
    for (const std::wstring_view suffix : kSuffixes) {
        if (length <= suffix.size()) continue;
        wchar_t* tail = subject + length - suffix.size();
        if (lstrcmpiW(tail, suffix.data()) == 0) return tail;
    }
    return nullptr;
}

/// The words of a text, ascending without regard to case; of equal words the later one is first. Blanks in
/// text become terminators, and the words point into it.
std::vector<const wchar_t*> SortedWords(std::wstring& text) {
    std::vector<const wchar_t*> words;
    wchar_t* const end = text.data() + text.size();
    for (wchar_t* at = text.data(); at != end;) {
        if (*at == L' ') {
            *at++ = 0;
            continue;
        }
        wchar_t* const word = at;
        while (at != end && *at != L' ') ++at;
        if (at != end) *at++ = 0;
        const auto place =
            std::lower_bound(words.begin(), words.end(), word,
                             [](const wchar_t* a, const wchar_t* b) { return lstrcmpiW(a, b) < 0; });
        words.insert(place, word);
    }
    return words;
}

}  // namespace

int NormalizeBirthdayOrAnnvrsrySubjectW(wchar_t* subject, int testOnly) {
    if (!subject) return 0;
    const size_t length = std::wcslen(subject);
    wchar_t* const suffix = FindSuffix(subject, length);
    if (!suffix) return 0;
    if (testOnly) return 1;

    std::wstring names(subject, suffix);
    const std::vector<const wchar_t*> words = SortedWords(names);
    if (words.empty()) return 0;
    wchar_t* at = subject;
    for (const wchar_t* word : words) {
        if (at != subject) *at++ = L' ';
        const size_t wordLength = std::wcslen(word);
        std::wmemcpy(at, word, wordLength);
        at += wordLength;
    }
    g_Log.Assert(at <= suffix, "Normalize_BirthdayOrAnnvrsrySubjectW", 0, "pDst <= pLastWord");
    std::wmemmove(at, suffix, static_cast<size_t>(subject + length - suffix) + 1);
    return 1;
}

int NormalizeBirthdayOrAnnvrsrySubject(char* subject, int testOnly) {
    if (!subject || !*subject) return 0;
    const int bytes = static_cast<int>(std::strlen(subject)) + 1;
    std::vector<wchar_t> wide(static_cast<size_t>(bytes));
    if (!MultiByteToWideChar(CP_ACP, 0, subject, -1, wide.data(), bytes)) return 0;
    if (!NormalizeBirthdayOrAnnvrsrySubjectW(wide.data(), testOnly)) return 0;
    if (testOnly) return 1;

    // Bytes that are no text may grow on the way back: the subject then stays as it is.
    std::vector<char> narrow(static_cast<size_t>(bytes));
    if (!WideCharToMultiByte(CP_ACP, 0, wide.data(), -1, narrow.data(), bytes, nullptr, nullptr)) return 0;
    std::strcpy(subject, narrow.data());
    return 1;
}

}  // namespace compare
