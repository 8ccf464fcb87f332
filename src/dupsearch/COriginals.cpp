#include "dupsearch/COriginals.h"

#include <algorithm>
#include <span>

#include "base/room.h"
#include "base/text.h"
#include "compare/contact_item.h"
#include "compare/item_compare.h"
#include "compare/value_operations.h"
#include "dupsearch/recurrence.h"
#include "log/CLog.h"
#include "store/properties.h"

namespace dupsearch {

using compare::CTagArray;
using items::CDefinedTags;
using items::TTagsInStore;
using logging::g_Log;
using store::ComPtr;

namespace {

constexpr char kCreateTag[] = "CDuplicateSearch.Create";
constexpr char kTag[] = "CDuplicateSearch.CalcODProps";
constexpr char kCompareTag[] = "CDuplicateSearch.fnCompareOriginal";

/// The wanted text in lower case, as values are matched; an unusable one leaves the type unset.
TWantedValue WantedText(const TOriginalDefinition& definition) {
    TWantedValue wanted;
    if (definition.nKind != okFieldValue || !definition.lpszValue) return wanted;
    switch (definition.nFieldType) {
        case PT_STRING8:
            wanted.text = base::Widen(static_cast<const char*>(definition.lpszValue));
            break;
        case PT_UNICODE:
            wanted.text = static_cast<const wchar_t*>(definition.lpszValue);
            break;
        default:
            return wanted;
    }
    CharLowerW(wanted.text.data());
    wanted.type = PT_UNICODE;
    return wanted;
}

// ---- What is asked of an item

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

// ---- Which of two items is kept

/// 1 when a is the larger, -1 when b is, 0 for a tie.
template <typename T>
int Larger(T a, T b) {
    return (a > b) - (a < b);
}

int NotInitialized(const char* message) {
    g_Log.Error(kCompareTag, "%s", message);
    return 0;
}

int ByOrder(const TItem& a, const TItem& b) {
    return a.nIndex < b.nIndex ? 1 : -1;
}

int ByFilledProps(const TItem& a, const TItem& b) {
    if (a.nFilledProps == -1 || b.nFilledProps == -1) return NotInitialized("nFilledProps not initialized\n");
    return Larger(a.nFilledProps, b.nFilledProps);
}

int ByValuesSizes(const TItem& a, const TItem& b, size_t sizes) {
    if (!a.ValuesSizes || !b.ValuesSizes) return NotInitialized("ValuesSizes not initialized\n");
    int sum = 0;
    for (size_t i = 0; i < sizes; ++i) sum += Larger(a.ValuesSizes[i], b.ValuesSizes[i]);
    return Larger(sum, 0);
}

int ByMessageSize(const TItem& a, const TItem& b) {
    if (a.nMessageSize == -1 || b.nMessageSize == -1) return NotInitialized("nMessageSize not initialized\n");
    return Larger(a.nMessageSize, b.nMessageSize);
}

int ByFieldValue(const TItem& a, const TItem& b) {
    if (a.nHasFieldValue == -1 || b.nHasFieldValue == -1)
        return NotInitialized("nHasFieldValue not initialized\n");
    return Larger(a.nHasFieldValue > 0, b.nHasFieldValue > 0);
}

int ByYear(short a, short b) {
    if (a == -1 || b == -1) return NotInitialized("nODApntAnnvrsryYear not initialized\n");
    if (a == b) return 0;
    if (a == 0) return -1;
    if (b == 0) return 1;
    if (a < b) return 1;
    g_Log.Assert(b < a, kCompareTag, 640, nullptr);
    return -1;
}

int ByRecurrence(const TItem& a, const TItem& b) {
    const bool known = a.nODApntRecurIndex != -1 && b.nODApntRecurIndex != -1;
    if (known && (a.nODApntRecurIndex > 0) != (b.nODApntRecurIndex > 0))
        return a.nODApntRecurIndex > 0 ? 1 : -1;
    if (const int order = ByYear(a.nODApntAnnvrsryYear, b.nODApntAnnvrsryYear)) return order;
    if (!known) return NotInitialized("nODApntRecurIndex not initialized\n");
    return Larger(a.nODApntRecurIndex, b.nODApntRecurIndex);
}

int ByCrmId(const TItem& a, const TItem& b) {
    if (a.nHasCRMID == -1 || b.nHasCRMID == -1) return NotInitialized("nHasCRMID not initialized\n");
    return Larger(a.nHasCRMID > 0, b.nHasCRMID > 0);
}

/// The kind's own criterion.
int ByKind(const TItem& a, const TItem& b, unsigned nKind, size_t sizes) {
    switch (nKind) {
        case okLargestValues:
            return ByValuesSizes(a, b, sizes);
        case okLargestItem:
            return ByMessageSize(a, b);
        case okFieldValue:
            return ByFieldValue(a, b);
        case okApntRecurrence:
            return ByRecurrence(a, b);
        case okHasCrmId:
            return ByCrmId(a, b);
        default:
            return 0;
    }
}

}  // namespace

COriginals::COriginals(const TOriginalDefinition* definition, int nFieldIndex) : m_nFieldIndex(nFieldIndex) {
    if (definition) {
        m_nKind = definition->nKind;
        m_wanted = WantedText(*definition);
    }
    if (m_nKind == okFieldValue && (m_nFieldIndex == -1 || m_wanted.type != PT_UNICODE)) {
        g_Log.Error(kCreateTag, "FieldValue original definition:bad field, using MostFilled\n");
        m_nKind = okMostFilled;
    }
    if (m_nKind > okHasCrmId) {
        g_Log.Error(kCreateTag, "Invalid original definition(%d), using MostFilled\n", m_nKind);
        m_nKind = okMostFilled;
    }
}

bool COriginals::NeedsFacts() const {
    return m_nKind != okCallerOrder && m_nKind != okCallerOrder2;
}

/// Whether the values that were read when the item was added do not tell all that is asked for.
bool COriginals::NeedsMessage(const TPlan& p, const TItem& item) const {
    const bool kindNeeds = m_nKind >= okLargestItem && !(m_nKind == okLargestItem && item.nMessageSize != -1);
    return kindNeeds || !item.bAsRead || p.streamTags.Count() != 0 || p.originalPlainTags.Count() != 0 ||
           p.originalStreamTags.Count() != 0;
}

/// Counts what is filled among the values that were just read, where they tell all that choosing an original
/// asks for: the item need not be looked at again when it finds an equal. False when they do not.
bool COriginals::CountAtHand(const TPlan& plan, TItem& item) const {
    if (m_nKind == okLargestValues || NeedsMessage(plan, item)) return false;
    const std::span values(item.values, item.cValues);
    const auto isFailure = [](const SPropValue& value) {
        return PROP_TYPE(value.ulPropTag) == PT_ERROR && value.Value.err != MAPI_E_NOT_FOUND;
    };
    // A failed reading has a line in the log, for items that have equals.
    if (std::ranges::any_of(values, isFailure)) return false;
    item.nFilledProps = CountFilledProps(plan, item, nullptr);
    return true;
}

// The number of filled properties, which tells that the facts are known, comes last: the others may fail.
bool COriginals::CalcFacts(const TSource& source, TItem& item, IMessage* message) {
    ComPtr<IMessage> opened;
    if (!message && NeedsMessage(source.plan, item)) {
        opened = source.items.Open(item, kTag);
        if (!opened) return false;
        message = opened.Get();
    }
    const int nFilledProps = CountFilledProps(source.plan, item, message);
    switch (m_nKind) {
        case okLargestItem:
            if (item.nMessageSize == -1) {
                item.nMessageSize =
                    static_cast<int>(store::GetSubjectBodyAttachmentsSize(message, TRUE, nullptr, 0));
            }
            break;
        case okFieldValue:
            if (item.nHasFieldValue == -1) CalcFieldValue(source, item, message);
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
            compare::ContactItem_HasCrmId(message, &has, &item.store->names);
            item.nHasCRMID = static_cast<short>(has);
            break;
        }
        default:
            break;
    }
    item.nFilledProps = nFilledProps;
    return true;
}

int COriginals::CountFilledProps(const TPlan& p, TItem& item, IMessage* message) const {
    const auto count = [&](Counter counter, const CTagArray& tags, ULONG* sizes) {
        return CountFilled(counter, item, message, p.tags, tags, sizes);
    };
    ULONG* sizes = nullptr;
    if (m_nKind == okLargestValues) {
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

void COriginals::CalcFieldValue(const TSource& source, TItem& item, IMessage* message) {
    TComparyProp definition = source.plan.definitions[m_nFieldIndex];
    if (definition.ulPropTag == 0) {
        item.nHasFieldValue = 0;
        g_Log.ErrorW(kTag, L"Cant use FieldValue original definition for Prop.Key=%s, reset to MostFilled\n",
                     compare::KeyOf(definition));
        m_nKind = okMostFilled;
        return;
    }
    definition.ulPropTag = source.plan.tags.TagIn(item.store->number, definition.ulPropTag);
    const bool has = definition.ulPropTag != 0 &&
                     HasFieldValue(source.items.Reader(), *item.store, message, definition, m_wanted);
    item.nHasFieldValue = has ? 1 : 0;
}

COriginals::TAsked COriginals::Ask(const TSource& source, TAddedItem& added, bool hasEquals) {
    TAsked asked;
    if (!NeedsFacts()) return asked;
    asked.counted = CountAtHand(source.plan, added.item);
    asked.equalsToo = hasEquals && !(m_bAllCounted && asked.counted);
    if (asked.equalsToo && added.item.nFilledProps == -1) CalcFacts(source, added.item, added.message);
    return asked;
}

// Items of profiles that were known to be equal have had their facts looked for when that was found, or when they
// were added; only those that failed are tried again.
void COriginals::AskEquals(const TSource& source, const std::vector<uint32_t>& profiles,
                           std::vector<uint32_t> again, TAsked& asked) {
    std::vector<uint32_t> missing = std::move(again);
    for (const uint32_t profile : profiles) {
        const uint32_t upTo = profile < m_upTo.size() ? m_upTo[profile] : kNone;
        uint32_t last = upTo;
        for (uint32_t i = upTo == kNone ? source.profiles.First(profile) : source.profiles.Next(upTo);
             i != kNone; i = source.profiles.Next(i)) {
            missing.push_back(i);
            last = i;
        }
        if (last != upTo) asked.walked.push_back(last);
    }
    std::sort(missing.begin(), missing.end());
    missing.erase(std::unique(missing.begin(), missing.end()), missing.end());
    for (const uint32_t i : missing) {
        TItem& item = source.items[i];
        if (item.nFilledProps == -1 && !CalcFacts(source, item, nullptr)) asked.failed.push_back(i);
    }
}

void COriginals::MakeRoomFor(const TSource& source, const TAsked& asked) {
    base::MakeRoom(m_upTo, source.profiles.Count());
    base::MakeRoom(m_failed, m_failed.size() + asked.failed.size());
}

void COriginals::Record(const TSource& source, const TAsked& asked) noexcept {
    if (!asked.walked.empty()) m_upTo.resize(source.profiles.Count(), kNone);
    for (const uint32_t i : asked.walked) m_upTo[source.profiles.Of(i)] = i;
    std::erase_if(m_failed, [&](uint32_t i) { return source.items[i].nFilledProps != -1; });
    for (const uint32_t i : asked.failed) {
        if (std::ranges::find(m_failed, i) == m_failed.end()) m_failed.push_back(i);
    }
    m_bAllCounted = m_bAllCounted && asked.counted;
}

bool COriginals::KnowsField(const TPlan& plan) const {
    return m_nFieldIndex >= 0 && plan.definitions[m_nFieldIndex].ulPropTag != 0;
}

void COriginals::TakeFieldBack(CItems& items) {
    if (m_wanted.type == PT_UNICODE) m_nKind = okFieldValue;
    for (uint32_t i = 0; i < items.Count(); ++i) {
        TItem& item = items[i];
        if (item.nFilledProps != -1 && item.nHasFieldValue == -1) item.nHasFieldValue = 0;
    }
}

std::vector<uint32_t> COriginals::Rank(const TPlan& plan, const CItems& items,
                                       const std::vector<uint32_t>& numbers) const {
    const size_t sizes = plan.plainTags.Count() + plan.streamTags.Count();
    // The comparator is no order that a sort could rely on: the tree and the order of insertion are the
    // ranking.
    CPtrTree tree;
    for (const uint32_t item : numbers) {
        tree.Insert(item, [&](uint32_t node, bool&) {
            return -fnCompareOriginal(items[item], items[tree.FirstOf(node)], m_nKind, sizes);
        });
    }
    std::vector<uint32_t> ranked = tree.NodesInOrder();
    for (uint32_t& node : ranked) node = tree.FirstOf(node);
    return ranked;
}

int fnCompareOriginal(const TItem& a, const TItem& b, unsigned nKind, size_t sizes) {
    const int rankA = static_cast<int>(a.nCallerRank), rankB = static_cast<int>(b.nCallerRank);
    if (rankA != rankB) return rankA < rankB ? 1 : -1;
    if (nKind > okHasCrmId) {
        g_Log.Error(kCompareTag, "Invalid OriginalDefinition\n");
        return -1;
    }
    if (nKind == okCallerOrder || nKind == okCallerOrder2) return ByOrder(a, b);
    if (const int order = ByKind(a, b, nKind, sizes)) return order;
    if (const int order = ByFilledProps(a, b)) return order;
    return ByOrder(a, b);
}

}  // namespace dupsearch
