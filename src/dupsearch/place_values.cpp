#include "dupsearch/place_values.h"

#include <cwchar>

#include "compare/CDefinitions.h"
#include "compare/calendar.h"
#include "compare/calendar_start.h"
#include "compare/calendar_subject.h"
#include "compare/value_compare.h"
#include "compare/value_operations.h"
#include "log/CLog.h"

namespace dupsearch {

using base::EName;
using compare::CHash;
using enum base::EName;
using items::TDerivedValue;
using logging::g_Log;

namespace {

constexpr char kTag[] = "CDuplicateSearch.Add";
constexpr char kOverrideTag[] = "CDuplicateSearch.Add_OverrideValue";
constexpr WORD kYearOfYearlyEvents = 1602;

// ---- What replaces a value that is compared

bool Overrides(const TComparyProp& definition, EName name) {
    return definition.nID == base::kNameTable[name].id &&
           compare::IsInSet(definition, base::kNameTable[name].set);
}

bool IsFilled(const SPropValue& value) {
    return PROP_TYPE(value.ulPropTag) != PT_ERROR &&
           !compare::PV_IsEmpty(value.Value, PROP_TYPE(value.ulPropTag), nullptr);
}

/// Asks once for each item; a failed test is asked again, and counts as no.
bool IsAllDayLike(TAddedItem& added) {
    TItem& item = added.item;
    int allDayLike = 0;
    if (item.nAllDayLike == -1 && added.message &&
        compare::AllDayEventLike(added.message, &allDayLike, TRUE, &item.store->names) == S_OK) {
        item.nAllDayLike = static_cast<short>(allDayLike);
    }
    return item.nAllDayLike == 1;
}

bool IsAllDayLikeFlag(const TComparyProp& definition) {
    return Overrides(definition, nameApntAllDay) &&
           std::wcscmp(compare::KeyOf(definition), L"Appointment.AllDayEventLike") == 0;
}

bool OverrideAllDayFlag(SPropValue& value, const TComparyProp& definition, TAddedItem& added) {
    if (std::wcscmp(compare::KeyOf(definition), L"Appointment.AllDayEvent") == 0) return false;
    if (!IsAllDayLikeFlag(definition)) {
        g_Log.Error(kOverrideTag, "Unknown key for AllDayEvent*\n");
        return false;
    }
    const bool allDayLike = IsAllDayLike(added);
    if (added.item.nAllDayLike == -1) return false;
    const bool changed = PROP_TYPE(value.ulPropTag) != PT_BOOLEAN || (value.Value.b != 0) != allDayLike;
    value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, PT_BOOLEAN);
    value.Value.b = allDayLike;
    return changed;
}

bool OverrideSubject(SPropValue& value, const TComparyProp& definition, TAddedItem& added) {
    const bool isSubject = PROP_ID(definition.ulPropTag) == PROP_ID(PR_SUBJECT);
    g_Log.Assert(isSubject, kOverrideTag, __LINE__, "cmApntAlldaylikeSubject: pProp->nTag == PR_SUBJECT");
    if (!isSubject || !IsFilled(value)) return false;
    const bool sameType = PROP_TYPE(value.ulPropTag) == PROP_TYPE(definition.ulPropTag);
    g_Log.Assert(sameType, kOverrideTag, __LINE__, "PROP_TYPE(value.tag) == PROP_TYPE(tag)");
    if (!sameType || !IsAllDayLike(added)) return false;
    // Definitions ask for wide texts; a subject of any other type stays as it is.
    if (PROP_TYPE(value.ulPropTag) != PT_UNICODE) return false;
    auto& texts = added.item.comparedTexts;
    std::wstring& text = texts.emplace_front(value.Value.lpszW);
    if (!compare::NormalizeBirthdayOrAnnvrsrySubjectW(text.data(), FALSE)) {
        texts.pop_front();
        return false;
    }
    value.Value.lpszW = text.data();
    return true;
}

bool IsBirthdayOrAnniversary(TAddedItem& added) {
    const SPropValue* subject = added.item.Find(PR_SUBJECT_W);
    const ULONG type = subject ? PROP_TYPE(subject->ulPropTag) : PT_UNSPECIFIED;
    if (type != PT_UNICODE && type != PT_STRING8) subject = nullptr;
    int result = 0;
    const int allDayLike = added.item.nAllDayLike;
    const HRESULT hr = compare::Appointment_IsBirthdayOrAnniversary(
        added.message, type != PT_STRING8, &result, &allDayLike, subject, &added.item.store->names);
    return hr == S_OK && result != 0;
}

bool OverrideStart(SPropValue& value, const TComparyProp& definition, TAddedItem& added) {
    const bool canonical = definition.nCompareMethod == cmApntAlldaylikeStart;
    const bool isTime = PROP_TYPE(definition.ulPropTag) == PT_SYSTIME;
    g_Log.Assert(isTime, kOverrideTag, __LINE__,
                 canonical ? "cmApntAlldaylikeStart: PROP_TYPE( pProp->nTag ) == PT_SYSTIME"
                           : "cmApntApproxStart: PROP_TYPE( pProp->nTag ) == PT_SYSTIME");
    if (!isTime || PROP_TYPE(value.ulPropTag) != PT_SYSTIME) return false;
    added.item.nODApntAnnvrsryYear = 0;
    if (!IsAllDayLike(added)) return false;
    const bool yearly = IsBirthdayOrAnniversary(added);
    WORD year = 0;
    bool changed = false;
    if (canonical) {
        changed = compare::Appointment_Normalize_AlldaylikeStart(&value.Value.ft, yearly, &year) != 0;
    } else if (yearly) {
        changed = compare::FILETIME_SetYear(&value.Value.ft, kYearOfYearlyEvents, &year) != 0;
    }
    added.item.nODApntAnnvrsryYear = static_cast<short>(year);
    return changed;
}

bool OverrideRecurring(SPropValue& value, const TComparyProp&, TAddedItem&) {
    if (PROP_TYPE(value.ulPropTag) == PT_BOOLEAN) return false;
    value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, PT_BOOLEAN);
    value.Value.b = FALSE;
    return true;
}

struct TComparedOverride {
    bool (*concerns)(const TComparyProp& definition);
    bool (*apply)(SPropValue& value, const TComparyProp& definition, TAddedItem& added);
};
constexpr TComparedOverride kComparedOverrides[] = {
    {[](const TComparyProp& d) { return Overrides(d, nameApntAllDay); }, OverrideAllDayFlag},
    {[](const TComparyProp& d) { return d.nCompareMethod == cmApntAlldaylikeSubject; }, OverrideSubject},
    {[](const TComparyProp& d) {
         return d.nCompareMethod == cmApntAlldaylikeStart || d.nCompareMethod == cmApntApproxStart;
     },
     OverrideStart},
    {[](const TComparyProp& d) { return Overrides(d, nameApntRecurring); }, OverrideRecurring},
};

// ---- Evaluating

TFiling& NextFiling(TPlaces& places, CCmpData& data, bool empty, CHash hash) {
    TFiling& filing = places.filings.emplace_back();
    filing.data = &data;
    filing.empty = empty;
    filing.hash = hash;
    return filing;
}

bool EvaluateStream(const TPlan& plan, TAddedItem& added, CCmpData& data, TPlaces& places) {
    store::TStreamStart& start = places.starts.emplace_front();
    int empty = TRUE;
    const ULONG tag = plan.tags.TagIn(added.item.store->number, data.Definition().ulPropTag);
    if (tag != 0 && store::StreamPropEmpty(added.message, tag, &empty, nullptr, &start) != S_OK) return false;
    TFiling& filing = NextFiling(places, data, empty != 0, std::nullopt);
    if (!empty) {
        filing.head = CStreamHead(start);
        filing.hash = data.HashOf(filing.head);
    }
    start.stream.Reset();
    return true;
}

bool EvaluateValue(const TPlan& plan, TAddedItem& added, CCmpData& data, TPlaces& places) {
    const TComparyProp& definition = data.Definition();
    const TDerivedValue* const derived =
        data.IsDerived() ? plan.DerivedOf(added.item, static_cast<unsigned>(definition.nID)) : nullptr;
    const SPropValue* const read = derived ? derived->value : added.item.Find(definition.ulPropTag);
    if (!read) {
        g_Log.ErrorW(kTag, L"value for prop(%s) not found\n", compare::KeyOf(definition));
        return false;
    }
    // Each definition has its own: what the one replaces, another of the same property compares as it was
    // read.
    SPropValue value = *read;
    if (OverrideComparedValue(value, definition, added) && g_Log.IsExtra())
        LogChangedValue(compare::KeyOf(definition), value);
    int empty = TRUE;
    if (!compare::IsEmptyValue(&value, &empty, nullptr)) return false;
    TFiling& filing = NextFiling(places, data, empty != 0, empty ? std::nullopt : data.HashOf(value));
    filing.value = value;
    if (data.IsMultiTree() && !empty && derived) {
        const size_t before = places.elements.size();
        data.AppendElements(*derived, places.elements);
        filing.nElements = places.elements.size() - before;
    }
    return true;
}

/// What an item has under one definition; false when that cannot be found out.
bool Evaluate(const TPlan& plan, TAddedItem& added, CCmpData& data, TPlaces& places) {
    const TComparyProp& definition = data.Definition();
    switch (definition.nInterface) {
        case 0:
            return EvaluateValue(plan, added, data, places);
        case 1:
            return EvaluateStream(plan, added, data, places);
        default:
            g_Log.Error(kTag, "Invalid interface(%d)\n", definition.nInterface);
            return true;
    }
}

}  // namespace

std::optional<TPlaces> PlaceValues(const TPlan& plan, CItems& items, TAddedItem& added,
                                   std::pmr::memory_resource& memory) {
    std::optional<TPlaces> places(memory);
    places->filings.reserve(plan.compareData.size());
    for (const auto& data : plan.compareData) {
        if (!Evaluate(plan, added, *data, *places)) return std::nullopt;
    }
    // Elements stay where they are from here on.
    size_t element = 0;
    for (TFiling& filing : places->filings) {
        filing.elements = std::span(places->elements).subspan(element, filing.nElements);
        element += filing.nElements;
        filing.data->Find({filing.data->Definition(), items, added.item,
                           filing.value ? &*filing.value : nullptr, added.message, &plan.tags},
                          filing);
    }
    return places;
}

bool FillsMissing(const TComparyProp& definition) {
    return IsAllDayLikeFlag(definition) || Overrides(definition, nameApntRecurring);
}

bool AsksItemToFill(const TComparyProp& definition) {
    return IsAllDayLikeFlag(definition);
}

bool OverrideComparedValue(SPropValue& value, const TComparyProp& definition, TAddedItem& added) {
    bool changed = false;
    for (const TComparedOverride& override : kComparedOverrides) {
        if (override.concerns(definition)) changed |= override.apply(value, definition, added);
    }
    return changed;
}

}  // namespace dupsearch
