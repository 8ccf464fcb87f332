// The equals of a new item: matched, exempted pairs taken out, and the facts that choosing originals among
// them needs.
//
// Equality is one of profiles, and so is what the rules say of a pair. The first item of a profile is matched
// with all profiles, the second with its own as well; to those after them nothing is left to be found, but for
// items that are matched alone and came in between. Extra logging wants to see each pair.

#include <algorithm>
#include <iterator>

#include "dupsearch/CDuplicateSearch.h"
#include "dupsearch/exceptions.h"
#include "log/CLog.h"

void CDuplicateSearch::FindDuplicates(const TItem& item, TAddition& addition) {
    const auto filings = std::span(m_filings).first(m_nFilings);
    std::vector<uint32_t> facts;
    AppendRuleFacts(*m_preparation, {item, filings}, facts);
    m_matching->SetItem(item, filings, facts);

    const uint32_t own = m_matching->Profile();
    std::vector<uint32_t>& equals = addition.equals;
    if (own == kNone || g_Log.IsExtra()) {
        m_matching->FindDuplicates(equals);
        if (!equals.empty()) {
            if (g_Log.IsExtra()) LogEquals(L"\tFound equals:\n\t\titem[%d] =", item, equals);
            RemoveExceptions(item, equals);
        }
        addition.found = !equals.empty();
        if (own == kNone) return;
    }
    std::vector<uint32_t> undecided = m_duplicates.Undecided(own);
    if (g_Log.IsExtra()) {
        std::erase_if(equals, [&](uint32_t p) { return std::ranges::find(undecided, p) == undecided.end(); });
        return;
    }
    if (!undecided.empty()) {
        m_matching->FindDuplicatesAmong(std::move(undecided), equals);
        RemoveExceptions(item, equals);
    }
    addition.found = !equals.empty() || m_duplicates.HasEquals(own);
}

/// A pair of profiles is decided by the first items of both; with extra logging on each pair of items is looked
/// at, and written.
void CDuplicateSearch::RemoveExceptions(const TItem& item, std::vector<uint32_t>& profiles) const {
    if (m_exceptions.empty()) return;
    const CProfiles& all = m_matching->Profiles();
    const TRuleItem added{item, std::span(m_filings).first(m_nFilings)};
    const auto isExempt = [&](uint32_t i) { return IsExempt(*m_preparation, added, {m_items[i], {}}, true); };
    if (!g_Log.IsExtra()) {
        std::erase_if(profiles, [&](uint32_t profile) { return isExempt(all.First(profile)); });
        return;
    }
    std::vector<uint32_t> exempt;
    for (const uint32_t i : ItemsOf(profiles)) {
        if (isExempt(i)) exempt.push_back(all.Of(i));
    }
    std::erase_if(profiles, [&](uint32_t p) { return std::ranges::find(exempt, p) != exempt.end(); });
    if (profiles.empty()) {
        g_Log.Extra(L"\tFinal equals:\n\t\tnone\n");
    } else {
        LogEquals(L"\tFinal equals:\n\t\titem[%d] =", item, profiles);
    }
}

/// In order of addition.
std::vector<uint32_t> CDuplicateSearch::ItemsOf(const std::vector<uint32_t>& equals) const {
    const CProfiles& profiles = m_matching->Profiles();
    std::vector<uint32_t> items;
    for (const uint32_t profile : equals) {
        for (uint32_t i = profiles.First(profile); i != kNone; i = profiles.Next(i)) items.push_back(i);
    }
    std::sort(items.begin(), items.end());
    return items;
}

void CDuplicateSearch::LogEquals(const wchar_t* format, const TItem& item,
                                 const std::vector<uint32_t>& profiles) const {
    g_Log.Extra(format, static_cast<int>(item.nIndex));
    wchar_t separator = L' ';
    for (const uint32_t i : ItemsOf(profiles)) {
        g_Log.Extra(L"%cItem[%d]", separator, static_cast<int>(i));
        separator = L',';
    }
    g_Log.Extra(L"\n");
}

/// Which of these items equal the item being added.
std::vector<uint32_t> CDuplicateSearch::EqualsAmong(std::vector<uint32_t> items,
                                                    const TAddition& addition) const {
    const CProfiles& profiles = m_matching->Profiles();
    if (items.empty()) return items;
    std::vector<uint32_t> equals = addition.equals;
    if (m_matching->Profile() != kNone) {
        for (const uint32_t i : items) equals.push_back(profiles.Of(i));
        std::sort(equals.begin(), equals.end());
        equals.erase(std::unique(equals.begin(), equals.end()), equals.end());
        m_matching->FindDuplicatesAmong(equals, equals);
        const TRuleItem added{m_items[m_items.Count() - 1], std::span(m_filings).first(m_nFilings)};
        std::erase_if(equals, [&](uint32_t profile) {
            return IsExempt(*m_preparation, added, {m_items[profiles.First(profile)], {}}, false);
        });
    }
    std::erase_if(items,
                  [&](uint32_t i) { return std::ranges::find(equals, profiles.Of(i)) == equals.end(); });
    return items;
}

// Items of profiles that were known to be equal have had their facts looked for when that was found, or when they
// were added; only those that failed are tried again.
void CDuplicateSearch::CalcODPropsOfEquals(TAddition& addition) {
    const CProfiles& profiles = m_matching->Profiles();
    std::vector<uint32_t> missing;
    for (const uint32_t profile : addition.equals) {
        const uint32_t upTo = profile < m_factsUpTo.size() ? m_factsUpTo[profile] : kNone;
        uint32_t last = upTo;
        for (uint32_t i = upTo == kNone ? profiles.First(profile) : profiles.Next(upTo); i != kNone;
             i = profiles.Next(i)) {
            missing.push_back(i);
            last = i;
        }
        if (last != upTo) addition.walked.push_back(last);
    }
    const std::vector<uint32_t> equals = EqualsAmong(m_factsFailed, addition);
    missing.insert(missing.end(), equals.begin(), equals.end());
    std::sort(missing.begin(), missing.end());
    missing.erase(std::unique(missing.begin(), missing.end()), missing.end());
    for (const uint32_t i : missing) {
        if (m_items[i].nFilledProps == -1 && !CalcODProps(m_items[i], nullptr)) addition.failed.push_back(i);
    }
}
