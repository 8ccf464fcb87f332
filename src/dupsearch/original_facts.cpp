// What the kinds of original definitions need to know of an item.

#include <algorithm>
#include <span>

#include "compare/contact_item.h"
#include "compare/value_compare.h"
#include "dupsearch/CDuplicateSearch.h"
#include "dupsearch/recurrence.h"
#include "log/CLog.h"
#include "store/properties.h"

namespace {

constexpr char kTag[] = "CDuplicateSearch.CalcODProps";

using Counter = HRESULT (*)(IMessage* item, SPropTagArray* tags, long* filled, ULONG* sizes);

/// How many of these properties are filled; their sizes too, when asked for.
int CountFilled(Counter count, const TItem& item, IMessage* message, const CDefinedTags& all,
                const CTagArray& canonical, ULONG* sizes) {
    if (canonical.Count() == 0) return 0;
    TTagsInStore tags(all, item.store->number, canonical);
    if (tags.own.Count() == 0) return 0;
    long filled = 0;
    std::vector<ULONG> ownSizes(sizes ? tags.own.Count() : 0);
    count(message, tags.own.Get(), &filled, sizes ? ownSizes.data() : nullptr);
    for (size_t i = 0; sizes && i < tags.places.size(); ++i) {
        if (tags.places[i] != TTagsInStore::kNone) sizes[i] = ownSizes[tags.places[i]];
    }
    return static_cast<int>(filled);
}

}  // namespace

bool CDuplicateSearch::NeedsODProps() const {
    return m_original.nKind != okCallerOrder && m_original.nKind != okCallerOrder2;
}

/// Whether the values that were read when the item was added do not tell all that is asked for.
bool CDuplicateSearch::NeedsMessage(const TItem& item) const {
    const TPlan& p = *m_plan;
    const bool kindNeeds =
        m_original.nKind >= okLargestItem && !(m_original.nKind == okLargestItem && item.nMessageSize != -1);
    return kindNeeds || !item.bAsRead || p.streamTags.Count() != 0 || p.originalPlainTags.Count() != 0 ||
           p.originalStreamTags.Count() != 0;
}

/// Counts what is filled among the values that were just read, where they tell all that choosing an original
/// asks for: the item need not be looked at again when it finds an equal. False when they do not.
bool CDuplicateSearch::CountAtHand(TItem& item) {
    if (m_original.nKind == okLargestValues || NeedsMessage(item)) return false;
    const std::span values(item.values, item.cValues);
    const auto isFailure = [](const SPropValue& value) {
        return PROP_TYPE(value.ulPropTag) == PT_ERROR && value.Value.err != MAPI_E_NOT_FOUND;
    };
    // A failed reading has a line in the log, for items that have equals.
    if (std::ranges::any_of(values, isFailure)) return false;
    item.nFilledProps = CountFilledProps(item, nullptr);
    return true;
}

// The number of filled properties, which tells that the facts are known, comes last: the others may fail.
bool CDuplicateSearch::CalcODProps(TItem& item, IMessage* message) {
    ComPtr<IMessage> opened;
    if (!message && NeedsMessage(item)) {
        opened = m_items.Open(item, kTag);
        if (!opened) return false;
        message = opened.Get();
    }
    const int nFilledProps = CountFilledProps(item, message);
    switch (m_original.nKind) {
        case okLargestItem:
            if (item.nMessageSize == -1) {
                item.nMessageSize =
                    static_cast<int>(store::GetSubjectBodyAttachmentsSize(message, TRUE, nullptr, 0));
            }
            break;
        case okFieldValue:
            if (item.nHasFieldValue == -1) CalcFieldValue(item, message);
            break;
        case okApntRecurrence:
            if (item.nODApntRecurIndex == -1)
                item.nODApntRecurIndex = CalcRecurIndex(message, item.store->names);
            if (item.nODApntAnnvrsryYear == -1) {
                if (IsYearlyAppointment(message, item.store->names)) {
                    // The year is known from a start compared by methods 6 or 8; it is not worked out here.
                    g_Log.Error(kTag,
                                "todo pItem->nODApntAnnvrsryYear = Year( Appointment_StartYear( lpMsg ) )\n");
                } else {
                    item.nODApntAnnvrsryYear = 0;
                }
            }
            break;
        case okHasCrmId: {
            int has = 0;
            ContactItem_HasCrmId(message, &has, &item.store->names);
            item.nHasCRMID = static_cast<short>(has);
            break;
        }
        default:
            break;
    }
    item.nFilledProps = nFilledProps;
    return true;
}

int CDuplicateSearch::CountFilledProps(TItem& item, IMessage* message) {
    const TPlan& p = *m_plan;
    const auto count = [&](Counter counter, const CTagArray& tags, ULONG* sizes) {
        return CountFilled(counter, item, message, p.tags, tags, sizes);
    };
    ULONG* sizes = nullptr;
    if (m_original.nKind == okLargestValues) {
        item.ValuesSizes = std::make_unique<ULONG[]>(p.plainTags.Count() + p.streamTags.Count());
        sizes = item.ValuesSizes.get();
    }
    ULONG* const streamSizes = sizes ? sizes + p.plainTags.Count() : nullptr;
    long plain = 0;
    if (item.bAsRead) {
        compare::CountProps2(item.values, item.cValues, &plain, sizes);
    } else {
        plain = count(compare::CountProps, p.plainTags, sizes);
    }
    return static_cast<int>(plain) + count(compare::CountStreamProps, p.streamTags, streamSizes) +
           count(compare::CountProps, p.originalPlainTags, nullptr) +
           count(compare::CountStreamProps, p.originalStreamTags, nullptr);
}

void CDuplicateSearch::CalcFieldValue(TItem& item, IMessage* message) {
    TComparyProp definition = m_plan->definitions[m_nFieldIndex];
    if (definition.ulPropTag == 0) {
        item.nHasFieldValue = 0;
        g_Log.ErrorW(kTag, L"Cant use FieldValue original definition for Prop.Key=%s, reset to MostFilled\n",
                     KeyOf(definition));
        m_original.nKind = okMostFilled;
        return;
    }
    definition.ulPropTag = m_plan->tags.TagIn(item.store->number, definition.ulPropTag);
    const bool has = definition.ulPropTag != 0 &&
                     HasFieldValue(m_items.Reader(), *item.store, message, definition, m_wanted);
    item.nHasFieldValue = has ? 1 : 0;
}

/// Facts of the item, and of its equals, as far as nobody looked for them yet. Items keep what they were asked.
CDuplicateSearch::TAsked CDuplicateSearch::AskForFacts(TAddedItem& added, const TMatchedItem& matched,
                                                       const TRuleItem& placed, const TEquals& equals) {
    TAsked asked;
    if (!NeedsODProps()) return asked;
    asked.counted = CountAtHand(added.item);
    if (!equals.found || (m_bAllCounted && asked.counted)) return asked;
    if (added.item.nFilledProps == -1) CalcODProps(added.item, added.message);
    CalcODPropsOfEquals(matched, placed, equals, asked);
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
    std::erase_if(items,
                  [&](uint32_t i) { return std::ranges::find(equals, profiles.Of(i)) == equals.end(); });
    return items;
}

// Items of profiles that were known to be equal have had their facts looked for when that was found, or when they
// were added; only those that failed are tried again.
void CDuplicateSearch::CalcODPropsOfEquals(const TMatchedItem& matched, const TRuleItem& added,
                                           const TEquals& equals, TAsked& asked) {
    const CProfiles& profiles = m_matching->Profiles();
    std::vector<uint32_t> missing;
    for (const uint32_t profile : equals.profiles) {
        const uint32_t upTo = profile < m_factsUpTo.size() ? m_factsUpTo[profile] : kNone;
        uint32_t last = upTo;
        for (uint32_t i = upTo == kNone ? profiles.First(profile) : profiles.Next(upTo); i != kNone;
             i = profiles.Next(i)) {
            missing.push_back(i);
            last = i;
        }
        if (last != upTo) asked.walked.push_back(last);
    }
    const std::vector<uint32_t> again = EqualsAmong(m_factsFailed, matched, added, equals);
    missing.insert(missing.end(), again.begin(), again.end());
    std::sort(missing.begin(), missing.end());
    missing.erase(std::unique(missing.begin(), missing.end()), missing.end());
    for (const uint32_t i : missing) {
        if (m_items[i].nFilledProps == -1 && !CalcODProps(m_items[i], nullptr)) asked.failed.push_back(i);
    }
}
