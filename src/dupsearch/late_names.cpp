#include "dupsearch/late_names.h"

#include <algorithm>
#include <utility>

#include "compare/derived_value.h"
#include "log/CLog.h"

namespace dupsearch {

using store::ComPtr;

namespace {

constexpr char kTag[] = "CDuplicateSearch.Add";

/// Puts a plan back as it was before names came in, unless these stay.
class CComingIn {
  public:
    explicit CComingIn(TPlan& plan) : m_plan(plan), m_readings(static_cast<const TReadings&>(plan)) {
        const TComparyProps list = plan.definitions.List();
        m_definitions.assign(list.lpProps, list.lpProps + list.n);
    }
    CComingIn(const CComingIn&) = delete;
    ~CComingIn() {
        if (m_bStay) return;
        TPlan& p = m_plan;
        p.compareData.erase(p.compareData.begin() + static_cast<ptrdiff_t>(m_nCompared), p.compareData.end());
        static_cast<TReadings&>(p) = std::move(m_readings);
        std::ranges::copy(m_definitions, p.definitions.List().lpProps);
    }
    void Stay() noexcept { m_bStay = true; }

  private:
    TPlan& m_plan;
    TReadings m_readings;
    std::vector<TComparyProp> m_definitions;
    size_t m_nCompared = m_plan.compareData.size();
    bool m_bStay = false;
};

/// What an item's missing value is filed as; none: it is empty.
std::optional<SPropValue> ValueOfMissing(CItems& items, TItem& item, const TComparyProp& definition) {
    ComPtr<IMessage> opened;
    if (AsksItemToFill(definition) && item.nAllDayLike == -1) opened = items.Open(item, kTag);
    TAddedItem asked{item, opened.Get()};
    SPropValue value;
    compare::SetNotFound(value, PROP_ID(definition.ulPropTag));
    return OverrideComparedValue(value, definition, asked) ? std::optional(value) : std::nullopt;
}

/// Files all items in a property that came in. Most are empty in it; but what makes a value of a missing one, makes
/// it of theirs too, or they would not find their equals in the other store. Items that were equal without it, and
/// have different values, are empty.
void FileAllIn(CCmpData& data, const TLateNames& search) {
    const TComparyProp& definition = data.Definition();
    const CProfiles& profiles = search.matching.Profiles();
    std::vector<std::optional<SPropValue>> values(profiles.Count());
    for (uint32_t profile = 0; profile < profiles.Count() && FillsMissing(definition); ++profile) {
        const uint32_t first = profiles.First(profile);
        std::optional<SPropValue>& value = values[profile] =
            ValueOfMissing(search.items, search.items[first], definition);
        for (uint32_t i = profiles.Next(first); value && i != kNone; i = profiles.Next(i)) {
            const auto other = ValueOfMissing(search.items, search.items[i], definition);
            if (!other || (other->Value.b != 0) != (value->Value.b != 0)) value.reset();
        }
    }
    for (uint32_t i = 0; i < search.items.Count(); ++i) {
        TFiling filing;
        filing.value = values[profiles.Of(i)];
        filing.empty = !filing.value;
        if (filing.value) filing.hash = data.HashOf(*filing.value);
        data.Find({definition, search.items, search.items[i], filing.value ? &*filing.value : nullptr,
                   nullptr, &search.plan.tags},
                  filing);
        data.File(i, filing);
    }
}

}  // namespace

void BringInLateNames(const TLateNames& search, size_t store) {
    TPlan& p = search.plan;
    if (!p.tags.IsNew(store)) return;
    CComingIn comingIn(p);
    const size_t plain = p.plainTags.Count(), streams = p.streamTags.Count(), before = p.compareData.size();
    const bool hadField = search.originals.KnowsField(p);
    if (!BringIn(p, store, search.definitions, search.bGrouped)) return comingIn.Stay();
    for (size_t i = before; i < p.compareData.size(); ++i) FileAllIn(*p.compareData[i], search);
    std::vector<std::unique_ptr<ULONG[]>> sizes(search.items.Count());
    for (uint32_t i = 0; i < search.items.Count(); ++i) {
        const ULONG* const known = search.items[i].ValuesSizes.get();
        if (!known) continue;
        sizes[i] = std::make_unique<ULONG[]>(p.plainTags.Count() + p.streamTags.Count());
        std::copy_n(known, plain, sizes[i].get());
        std::copy_n(known + plain, streams, sizes[i].get() + p.plainTags.Count());
    }
    search.matching.AddProperties(p.nGroups);

    // Nothing can fail any more.
    comingIn.Stay();
    for (uint32_t i = 0; i < search.items.Count(); ++i) {
        if (sizes[i]) search.items[i].ValuesSizes = std::move(sizes[i]);
    }
    if (!hadField && search.originals.KnowsField(p)) search.originals.TakeFieldBack(search.items);
}

}  // namespace dupsearch
