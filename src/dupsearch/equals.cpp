// The equals of a new item: matched, exempted pairs taken out, and the facts that choosing originals among
// them needs.

#include <algorithm>

#include "dupsearch/CDuplicateSearch.h"
#include "dupsearch/exceptions.h"
#include "log/CLog.h"

void CDuplicateSearch::FindDuplicates(const TItem& item) {
    TEquals& equals = m_equals;
    equals.items.clear();
    m_matching->FindDuplicates(item, equals.profiles);
    if (equals.IsNone()) return;
    if (g_Log.IsExtra()) LogEquals(L"\tFound equals:\n\t\titem[%d] =", item, equals);
    if (m_exceptions.empty()) return;
    equals = RemoveExceptions(item, equals.profiles);
    if (!g_Log.IsExtra()) return;
    if (equals.IsNone()) {
        g_Log.Extra(L"\tFinal equals:\n\t\tnone\n");
    } else {
        LogEquals(L"\tFinal equals:\n\t\titem[%d] =", item, equals);
    }
}

// A profile of which no item is exempt stays a profile.
TEquals CDuplicateSearch::RemoveExceptions(const TItem& item, const std::vector<uint32_t>& profiles) const {
    const CProfiles& all = m_matching->Profiles();
    std::vector<uint32_t> kept, exemptFrom;
    for (const uint32_t i : ItemsOf({profiles, {}})) {
        if (IsExempt(*m_preparation, m_items, item.nIndex, i)) {
            exemptFrom.push_back(all.Of(i));
        } else {
            kept.push_back(i);
        }
    }
    std::sort(exemptFrom.begin(), exemptFrom.end());
    const auto isWhole = [&](uint32_t profile) {
        return !std::binary_search(exemptFrom.begin(), exemptFrom.end(), profile);
    };
    TEquals equals;
    std::copy_if(profiles.begin(), profiles.end(), std::back_inserter(equals.profiles), isWhole);
    std::copy_if(kept.begin(), kept.end(), std::back_inserter(equals.items),
                 [&](uint32_t i) { return !isWhole(all.Of(i)); });
    return equals;
}

/// In order of addition.
std::vector<uint32_t> CDuplicateSearch::ItemsOf(const TEquals& equals) const {
    const CProfiles& profiles = m_matching->Profiles();
    std::vector<uint32_t> items = equals.items;
    for (const uint32_t profile : equals.profiles) {
        for (uint32_t i = profiles.First(profile); i != kNone; i = profiles.Next(i)) items.push_back(i);
    }
    std::sort(items.begin(), items.end());
    return items;
}

void CDuplicateSearch::LogEquals(const wchar_t* format, const TItem& item, const TEquals& equals) const {
    g_Log.Extra(format, static_cast<int>(item.nIndex));
    wchar_t separator = L' ';
    for (const uint32_t i : ItemsOf(equals)) {
        g_Log.Extra(L"%cItem[%d]", separator, static_cast<int>(i));
        separator = L',';
    }
    g_Log.Extra(L"\n");
}

void CDuplicateSearch::CalcODPropsOfEquals() {
    const CProfiles& profiles = m_matching->Profiles();
    std::vector<uint32_t>& missing = m_factsMissing;
    missing.assign(m_equals.items.begin(), m_equals.items.end());
    m_factsFrom.resize(profiles.Count(), kNone);
    for (const uint32_t profile : m_equals.profiles) {
        // Items up to here have their facts.
        uint32_t& from = m_factsFrom[profile];
        const uint32_t first = profiles.First(profile);
        if (from == kNone) from = first;
        while (m_items[from].nFilledProps != -1 && profiles.Next(from) != kNone) from = profiles.Next(from);
        for (uint32_t i = from; i != kNone; i = profiles.Next(i)) missing.push_back(i);
    }
    std::sort(missing.begin(), missing.end());
    for (const uint32_t i : missing) {
        if (m_items[i].nFilledProps == -1) CalcODProps(m_items[i], nullptr);
    }
}
