#include "compare/recipients.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdio>
#include <cwchar>
#include <memory>
#include <new>
#include <numeric>
#include <span>
#include <utility>

#include "base/text.h"
#include "compare/string_compare.h"
#include "log/CLog.h"

namespace compare {

using logging::g_Log;

namespace {

constexpr size_t kLoggedCharacters = 512;
constexpr size_t kFewRecipients = 8;  // fewer are sorted in place, without memory

/// Removes blanks at both ends, in place; true when there were any. Only the space character counts.
bool Trim(wchar_t* text) {
    const std::wstring_view whole(text), trimmed = base::Trimmed(whole, std::wstring_view(L" "));
    if (trimmed.size() == whole.size()) return false;
    std::wmemmove(text, trimmed.data(), trimmed.size());
    text[trimmed.size()] = 0;
    return true;
}

bool RemoveApostrophes(wchar_t* name) {
    const size_t length = std::wcslen(name);
    if (length < 2 || name[0] != L'\'' || name[length - 1] != L'\'') return false;
    std::wmemmove(name, name + 1, length - 2);
    name[length - 2] = 0;
    Trim(name);
    return true;
}

/// "Ann Lee (ann@lee.org)" becomes "Ann Lee" when that is the e-mail; one in the middle of a name stays.
bool CutTrailingEmail(wchar_t* name, size_t nameLength, const wchar_t* email, size_t emailLength) {
    const wchar_t* found = FindTextNoCase(name, email);
    if (!found) return false;
    size_t open = static_cast<size_t>(found - name);
    size_t close = open + emailLength;
    while (open > 0 && name[open - 1] == L' ') --open;
    while (name[close] == L' ') ++close;
    if (open == 0 || name[open - 1] != L'(') return false;
    if (name[close] != L')' || close != nameLength - 1) return false;
    name[open - 1] = 0;
    Trim(name);
    return true;
}

bool NormalizePair(TMessageRecipient& recipient) {
    wchar_t* const name = recipient.name;
    const bool trimmedName = Trim(name), trimmedEmail = Trim(recipient.email);
    const bool changed = RemoveApostrophes(name) || trimmedName || trimmedEmail;

    const size_t nameLength = std::wcslen(name), emailLength = std::wcslen(recipient.email);
    if (emailLength == 0) return changed;
    if (nameLength == emailLength) {
        if (lstrcmpiW(name, recipient.email) != 0) return changed;
        name[0] = 0;
        return true;
    }
    if (nameLength < emailLength + 2) return changed;
    return CutTrailingEmail(name, nameLength, recipient.email, emailLength) || changed;
}

bool IsLess(const TMessageRecipient& a, const TMessageRecipient& b) {
    return CompareRecipients(a, b) < 0;
}

using Recipients = std::span<TMessageRecipient>;

using Numbers = std::span<uint32_t>;
constexpr uint32_t kTaken = 0xFFFFFFFF;

/// Places by their ranks: which is the first of the smallest ones left. Their number is a power of two.
class CSmallest {
  public:
    /// winners: room for two of each place.
    CSmallest(Numbers ranks, Numbers winners) : m_ranks(ranks), m_winners(winners) {
        std::iota(winners.begin() + std::ssize(ranks), winners.end(), 0u);
        for (size_t i = ranks.size() - 1; i > 0; --i) Play(i);
    }
    uint32_t First() const { return m_winners[1]; }
    void Set(uint32_t place, uint32_t rank) {
        m_ranks[place] = rank;
        for (size_t i = (m_ranks.size() + place) / 2; i > 0; i /= 2) Play(i);
    }

  private:
    void Play(size_t i) {
        const uint32_t left = m_winners[2 * i], right = m_winners[2 * i + 1];
        m_winners[i] = m_ranks[right] < m_ranks[left] ? right : left;
    }

    const Numbers m_ranks;
    const Numbers m_winners;
};

/// The rank of each recipient among all; equal ones have the same. order: room for as many.
void FindRanks(Recipients recipients, Numbers order, Numbers ranks) {
    std::iota(order.begin(), order.end(), 0u);
    std::sort(order.begin(), order.end(),
              [&](uint32_t a, uint32_t b) { return IsLess(recipients[a], recipients[b]); });
    uint32_t rank = 0;
    for (size_t i = 0; i < order.size(); ++i) {
        if (i > 0 && IsLess(recipients[order[i - 1]], recipients[order[i]])) ++rank;
        ranks[order[i]] = rank;
    }
}

/// Differences of types wrap: only within half of all numbers are they an order.
bool AreOrdered(Recipients recipients) {
    const auto [least, most] = std::ranges::minmax_element(
        recipients, {}, [](const TMessageRecipient& r) { return static_cast<LONG>(r.type); });
    return LONGLONG{static_cast<LONG>(most->type)} - static_cast<LONG>(least->type) <= LONG_MAX;
}

/// Selection sort: the first smallest of the rest takes each place, so where equal ones end follows from the
/// exchanges. True when there was one.
bool SelectionSort(Recipients recipients) {
    bool moved = false;
    for (auto at = recipients.begin(); at != recipients.end(); ++at) {
        const auto smallest = std::min_element(at, recipients.end(), IsLess);
        if (smallest == at) continue;
        std::swap(*at, *smallest);
        moved = true;
    }
    return moved;
}

/// The same exchanges, each smallest one found at once.
bool SortRecipients(Recipients recipients) {
    if (recipients.size() < kFewRecipients || !AreOrdered(recipients)) return SelectionSort(recipients);
    if (std::ranges::is_sorted(recipients, IsLess)) return false;
    const size_t n = recipients.size(), places = std::bit_ceil(n);
    // Names are normalised by now and must not be again, so that this may not fail.
    const std::unique_ptr<uint32_t[]> room(new (std::nothrow) uint32_t[n + 3 * places]);
    if (!room) return SelectionSort(recipients);
    const Numbers ranks(room.get() + n, places);
    FindRanks(recipients, {room.get(), n}, ranks);
    std::fill(ranks.begin() + std::ssize(recipients), ranks.end(), kTaken);
    CSmallest smallest(ranks, {room.get() + n + places, 2 * places});
    for (uint32_t at = 0; at < n; ++at) {
        const uint32_t first = smallest.First();
        if (first != at) {
            std::swap(recipients[at], recipients[first]);
            smallest.Set(first, ranks[at]);
        }
        smallest.Set(at, kTaken);
    }
    return true;
}

void NormalizeOnce(TRecipientList* list) {
    if (list->normalised) return;
    wchar_t before[kLoggedCharacters], after[kLoggedCharacters];
    const bool logged = g_Log.IsExtra();
    if (logged) RecipientsToText(list, before, kLoggedCharacters, false);
    const bool changed = NormalizeRecipients(list);
    list->normalised = 1;
    if (!logged || !changed) return;
    g_Log.Extra(L"Normalize recipients:\n");
    g_Log.Extra(L"\t  %s\n", before);
    g_Log.Extra(L"\t->%s\n", RecipientsToText(list, after, kLoggedCharacters, false));
}

/// Appends to a text of a fixed capacity whatever fits whole.
class CBoundedText {
  public:
    CBoundedText(wchar_t* buffer, size_t capacity) : m_lpszAt(buffer), m_nLeft(capacity) {
        if (capacity > 0) *buffer = 0;
    }

    template <typename... Args>
    bool Append(const wchar_t* format, Args... args) {
        const int written = m_nLeft > 0 ? _snwprintf(m_lpszAt, m_nLeft, format, args...) : -1;
        if (written < 0 || static_cast<size_t>(written) >= m_nLeft) {
            if (m_nLeft > 0) *m_lpszAt = 0;
            return false;
        }
        m_lpszAt += written;
        m_nLeft -= static_cast<size_t>(written);
        return true;
    }

  private:
    wchar_t* m_lpszAt;
    size_t m_nLeft;
};

}  // namespace

bool NormalizeRecipients(TRecipientList* list) {
    bool changed = false;
    for (ULONG i = 0; i < list->count; ++i) {
        if (NormalizePair(list->recipients[i])) changed = true;
    }
    const bool moved = SortRecipients({list->recipients, list->count});
    return moved || changed;
}

int CompareRecipients(const TMessageRecipient& a, const TMessageRecipient& b) {
    if (a.type != b.type) return static_cast<LONG>(a.type - b.type) < 0 ? -1 : 1;
    if (const int byName = lstrcmpiW(a.name, b.name)) return byName;
    return lstrcmpiW(a.email, b.email);
}

int CompareRecipientLists(TRecipientList* a, TRecipientList* b) {
    if (a->count != b->count) return static_cast<LONG>(a->count - b->count) < 1 ? -1 : 1;
    if (a->count == 0) return 0;
    NormalizeOnce(a);
    NormalizeOnce(b);
    for (ULONG i = 0; i < a->count; ++i) {
        if (const int order = CompareRecipients(a->recipients[i], b->recipients[i])) return order;
    }
    return 0;
}

wchar_t* RecipientsToText(const TRecipientList* list, wchar_t* buffer, size_t capacity, bool verbose) {
    CBoundedText text(buffer, capacity);
    if (!list) {
        text.Append(L"NULL");
        return buffer;
    }
    const auto quote = [](const wchar_t* value) { return value ? L"\"" : L""; };
    const auto orNull = [](const wchar_t* value) { return value ? value : L"NULL"; };
    bool fits = text.Append(L"(%scount=%d)%s", verbose ? L"TMessageRecipient, " : L"",
                            static_cast<int>(list->count), list->count ? L" { " : L"");
    for (ULONG i = 0; i < list->count && fits; ++i) {
        const TMessageRecipient& r = list->recipients[i];
        fits = text.Append(L"{%s%s%s,%s%s%s,%d}%s", quote(r.name), orNull(r.name), quote(r.name),
                           quote(r.email), orNull(r.email), quote(r.email), static_cast<int>(r.type),
                           i + 1 < list->count ? L", " : L" }");
    }
    return buffer;
}

}  // namespace compare
