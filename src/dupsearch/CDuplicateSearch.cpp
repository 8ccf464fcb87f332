#include "dupsearch/CDuplicateSearch.h"

#include <algorithm>

#include "base/text.h"
#include "compare/CThreadLocale.h"
#include "dupsearch/late_names.h"
#include "dupsearch/read_item.h"
#include "log/CLog.h"

namespace dupsearch {

using compare::CThreadLocale;
using items::CItemReader;
using logging::g_Log;

namespace {

constexpr char kTag[] = "CDuplicateSearch.Create";
constexpr char kAddTag[] = "CDuplicateSearch.Add";
/// What most additions need of memory until they are recorded, bytes.
constexpr size_t kUsualMemory = 8192;

/// Says that an item is not added, which is the result.
int Refuse(const char* storeId) {
    g_Log.Info(3, kAddTag, "Item(%s) removing from duplicate search\n", storeId);
    return 0;
}

bool IsIn(uint32_t number, const std::vector<uint32_t>& numbers) {
    return std::ranges::find(numbers, number) != numbers.end();
}

}  // namespace

CDuplicateSearch::~CDuplicateSearch() = default;

void CDuplicateSearch::Create(IMAPISession* session, const TComparyProps* props,
                              const TOriginalDefinition* original, unsigned nCompareAlgorithm, bool bGrouped,
                              const unsigned* exceptions, unsigned cExceptions) {
    const CThreadLocale locale(m_locale);
    m_groups = {};
    m_matching.reset();
    m_plan.reset();
    m_exceptions.clear();
    m_definitions = {};
    m_items = CItems(session);
    if (g_Log.IsExtra()) {
        const std::wstring rule(99, L'-');
        g_Log.Extra(L"%s\nNew Search\n%s\n", rule.c_str(), rule.c_str());
    }

    m_nCompareAlgorithm = nCompareAlgorithm;
    m_bGrouped = bGrouped;
    const int nFieldIndex = CopyDefinitions(props, original);
    m_originals = COriginals(original, nFieldIndex);

    if (cExceptions == 0) return;
    if (exceptions) {
        m_exceptions.assign(exceptions, exceptions + cExceptions);
    } else {
        g_Log.Error(kTag, "cExceptions > 0 && lpExceptions == NULL\n");
    }
}

/// Where the copied definitions have the field by which originals are chosen, or -1.
int CDuplicateSearch::CopyDefinitions(const TComparyProps* props, const TOriginalDefinition* original) {
    int nFieldIndex = -1;
    if (!props || !props->lpProps) return nFieldIndex;
    for (int i = 0; i < props->n; ++i) {
        const TComparyProp& definition = props->lpProps[i];
        if (definition.nInterface > 1) {
            g_Log.Error(kTag, "Ignoring prop with not supported interface(%d)\n", definition.nInterface);
            continue;
        }
        m_definitions.Add(definition);
        if (original && original->nKind == okFieldValue && static_cast<unsigned>(i) == original->nField) {
            nFieldIndex = m_definitions.Count() - 1;
        }
    }
    return nFieldIndex;
}

int CDuplicateSearch::Add(const char* entryId, const char* storeId, unsigned* found, unsigned nCallerRank) {
    const CThreadLocale locale(m_locale);
    entryId = base::OrEmpty(entryId);
    storeId = base::OrEmpty(storeId);
    const CItemReader::TOpened opened = m_items.Open(entryId, storeId, kAddTag);
    if (!opened.message || !SettlePlan(entryId, opened)) return Refuse(storeId);

    std::byte usual[kUsualMemory];
    std::pmr::monotonic_buffer_resource memory(usual, sizeof(usual));
    CItems::CNewItem record(m_items, entryId);
    TItem& item = *record;
    item.store = opened.store;
    item.nCallerRank = nCallerRank;
    TAddedItem added{item, opened.message.Get()};
    if (!ReadItem(*m_plan, added, m_items.Memory())) return Refuse(storeId);
    const std::optional<TPlaces> places = PlaceValues(*m_plan, m_items, added, memory);
    if (!places) return Refuse(storeId);
    const TRuleItem placed{item, places->filings};
    const TMatchedItem matched = Look(placed, memory);
    const TEquals equals = FindEquals(matched, placed);
    const COriginals::TAsked asked = AskForFacts(added, matched, placed, equals);
    MakeRoomFor(matched, equals, asked);

    Record(record, *places, matched, equals, asked);
    if (found) *found = equals.found ? 1 : 0;
    return 1;
}

/// The first item settles the plan, later ones what names their stores have. False, and a line, when the item
/// cannot be added under it.
bool CDuplicateSearch::SettlePlan(const char* entryId, const CItemReader::TOpened& opened) {
    if (m_items.Count() != 0) return SettleNames(entryId, opened);
    m_matching.reset();
    m_plan = Prepare(opened.message.Get(), opened.store->number, m_definitions, m_exceptions, m_bGrouped);
    m_matching =
        std::make_unique<CMatching>(m_plan->compareData, m_nCompareAlgorithm, m_bGrouped, m_plan->nGroups);
    if (!m_plan->compareData.empty()) return true;
    g_Log.Error(kAddTag, "Number of props to compare = 0\n");
    return false;
}

/// Has the names of the item's store known, those too that no store before held. False when the store does not
/// tell: values that cannot be asked for are not missing.
bool CDuplicateSearch::SettleNames(const char* entryId, const CItemReader::TOpened& opened) {
    const size_t store = opened.store->number;
    const HRESULT hr = m_plan->tags.Settle(opened.message.Get(), store);
    if (hr == S_OK) {
        BringInLateNames({*m_plan, m_items, *m_matching, m_originals, m_definitions, m_bGrouped}, store);
        return true;
    }
    g_Log.Error(kAddTag, "Quorvel_GetIDsFromNames returned 0x%x, EntryID = %s\n", static_cast<unsigned>(hr),
                entryId);
    return false;
}

TMatchedItem CDuplicateSearch::Look(const TRuleItem& added, std::pmr::memory_resource& memory) {
    std::vector<uint32_t> facts;
    AppendRuleFacts(*m_plan, added, facts);
    return m_matching->Look(added.item, added.filings, facts, memory);
}

/// Equality is one of profiles, and so is what the rules say of a pair. The first item of a profile is matched
/// with all profiles, the second with its own as well; to those after them nothing is left to be found, but for
/// items that are matched alone and came in between. Extra logging wants to see each pair.
CDuplicateSearch::TEquals CDuplicateSearch::FindEquals(const TMatchedItem& matched, const TRuleItem& added) {
    TEquals equals;
    const uint32_t own = matched.profile;
    if (own == kNone || g_Log.IsExtra()) {
        equals.profiles = m_matching->FindEquals(matched);
        if (!equals.profiles.empty()) {
            if (g_Log.IsExtra()) LogEquals(L"\tFound equals:\n\t\titem[%d] =", added.item, equals.profiles);
            TakeExceptionsOut(added, equals.profiles);
        }
        equals.found = !equals.profiles.empty();
        if (own == kNone) return equals;
    }
    std::vector<uint32_t> undecided = m_groups.Undecided(own);
    if (g_Log.IsExtra()) {
        std::erase_if(equals.profiles, [&](uint32_t p) { return !IsIn(p, undecided); });
        return equals;
    }
    if (!undecided.empty()) {
        equals.profiles = m_matching->FindEqualsAmong(matched, std::move(undecided));
        TakeExceptionsOut(added, equals.profiles);
    }
    equals.found = !equals.profiles.empty() || m_groups.HasEquals(own);
    return equals;
}

/// A pair of profiles is decided by the first items of both; with extra logging on each pair of items is looked
/// at, and written.
void CDuplicateSearch::TakeExceptionsOut(const TRuleItem& added, std::vector<uint32_t>& profiles) const {
    if (m_exceptions.empty()) return;
    const CProfiles& all = m_matching->Profiles();
    const auto isExempt = [&](uint32_t i) { return IsExempt(*m_plan, added, {m_items[i], {}}, true); };
    if (!g_Log.IsExtra()) {
        std::erase_if(profiles, [&](uint32_t profile) { return isExempt(all.First(profile)); });
        return;
    }
    std::vector<uint32_t> exempt;
    for (const uint32_t i : ItemsOf(profiles)) {
        if (isExempt(i)) exempt.push_back(all.Of(i));
    }
    std::erase_if(profiles, [&](uint32_t p) { return IsIn(p, exempt); });
    if (profiles.empty()) {
        g_Log.Extra(L"\tFinal equals:\n\t\tnone\n");
    } else {
        LogEquals(L"\tFinal equals:\n\t\titem[%d] =", added.item, profiles);
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

/// What choosing the original asks of the item, and of its equals as far as nobody asked them yet. Their records keep
/// it, also where the addition fails.
COriginals::TAsked CDuplicateSearch::AskForFacts(TAddedItem& added, const TMatchedItem& matched,
                                                 const TRuleItem& placed, const TEquals& equals) {
    COriginals::TAsked asked = m_originals.Ask(Source(), added, equals.found);
    if (asked.equalsToo) {
        m_originals.AskEquals(Source(), equals.profiles,
                              EqualsAmong(m_originals.Failed(), matched, placed, equals), asked);
    }
    return asked;
}

/// Which of these items equal the new one.
std::vector<uint32_t> CDuplicateSearch::EqualsAmong(std::vector<uint32_t> items, const TMatchedItem& matched,
                                                    const TRuleItem& added, const TEquals& known) const {
    const CProfiles& profiles = m_matching->Profiles();
    if (items.empty()) return items;
    std::vector<uint32_t> equals = known.profiles;
    if (matched.profile != kNone) {
        for (const uint32_t i : items) equals.push_back(profiles.Of(i));
        std::sort(equals.begin(), equals.end());
        equals.erase(std::unique(equals.begin(), equals.end()), equals.end());
        equals = m_matching->FindEqualsAmong(matched, std::move(equals));
        std::erase_if(equals, [&](uint32_t profile) {
            return IsExempt(*m_plan, added, {m_items[profiles.First(profile)], {}}, false);
        });
    }
    std::erase_if(items, [&](uint32_t i) { return !IsIn(profiles.Of(i), equals); });
    return items;
}

/// After this nothing is left that can fail.
void CDuplicateSearch::MakeRoomFor(const TMatchedItem& matched, const TEquals& equals,
                                   const COriginals::TAsked& asked) {
    m_matching->MakeRoomFor(matched);
    m_groups.MakeRoomFor(equals.profiles.size());
    m_originals.MakeRoomFor(Source(), asked);
}

void CDuplicateSearch::Record(CItems::CNewItem& item, const TPlaces& places, const TMatchedItem& matched,
                              const TEquals& equals, const COriginals::TAsked& asked) noexcept {
    for (const TFiling& filing : places.filings) filing.data->File((*item).nIndex, filing);
    if (matched.profile != kNone) {
        m_groups.AddTo(matched.profile, equals.profiles);
    } else {
        m_groups.AddProfile(equals.profiles, matched.bAlone);
    }
    m_items.Take(item);
    m_originals.Record(Source(), asked);
    m_matching->Append(matched);
}

int CDuplicateSearch::Build() {
    const CThreadLocale locale(m_locale);
    if (m_matching) {
        m_groups.Build(m_matching->Profiles(), m_items.Count(), [this](const std::vector<uint32_t>& items) {
            return m_originals.Rank(*m_plan, m_items, items);
        });
    }
    return 1;
}

}  // namespace dupsearch
