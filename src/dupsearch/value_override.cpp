#include "dupsearch/value_override.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "base/text.h"
#include "compare/calendar.h"
#include "compare/CDefinitions.h"
#include "compare/value_compare.h"
#include "log/CLog.h"
#include "store/properties.h"

namespace {

constexpr char kTag[] = "CDuplicateSearch.Add_OverrideValue";
constexpr WORD kYearOfYearlyEvents = 1602;

bool Overrides(const TComparyProp& definition, EName name) {
    return definition.nID == kNameTable[name].id && IsInSet(definition, kNameTable[name].set);
}

bool IsFilled(const SPropValue& value) {
    return PROP_TYPE(value.ulPropTag) != PT_ERROR &&
           !PV_IsEmpty(value.Value, PROP_TYPE(value.ulPropTag), nullptr);
}

// ---- Values as they are read
// ------------------------------------------------------------------------------------

bool OverrideMessageSize(SPropValue& value, const TAddedItem& added) {
    // The item's own subject counts, not the trimmed one among the values.
    const ULONG size = store::GetSubjectBodyAttachmentsSize(added.message, TRUE, nullptr, 0);
    const bool changed = PROP_TYPE(value.ulPropTag) != PT_LONG || value.Value.ul != size;
    value.ulPropTag = PR_MESSAGE_SIZE;
    value.Value.ul = size;
    return changed;
}

bool OverrideContentUnread(SPropValue& value, const TAddedItem& added) {
    return PROP_TYPE(value.ulPropTag) == PT_ERROR && ComputeContentUnread(value, added.message);
}

template <typename Char>
bool Trim(Char*& text) {
    if (!text) return false;
    constexpr Char kBlanks[] = {' ', '\t', '\r', '\n', 0};
    using View = std::basic_string_view<Char>;
    const View whole(text), trimmed = base::Trimmed(whole, View(kBlanks));
    if (trimmed.size() == whole.size()) return false;
    text += trimmed.data() - whole.data();
    text[trimmed.size()] = 0;
    return true;
}

bool TrimText(SPropValue& value, const TAddedItem&) {
    switch (PROP_TYPE(value.ulPropTag)) {
        case PT_UNICODE:
            return Trim(value.Value.lpszW);
        case PT_STRING8:
            return Trim(value.Value.lpszA);
        default:
            return false;
    }
}

struct ReadOverride {
    ULONG id;
    bool (*apply)(SPropValue& value, const TAddedItem& added);
};
constexpr ReadOverride kReadOverrides[] = {{PROP_ID(PR_MESSAGE_SIZE), OverrideMessageSize},
                                           {PROP_ID(PR_CONTENT_UNREAD), OverrideContentUnread},
                                           {PROP_ID(PR_SUBJECT), TrimText},
                                           {PROP_ID(PR_CONVERSATION_TOPIC), TrimText}};

// ---- Values as they are compared
// --------------------------------------------------------------------------------

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
           std::wcscmp(KeyOf(definition), L"Appointment.AllDayEventLike") == 0;
}

bool OverrideAllDayFlag(SPropValue& value, const TComparyProp& definition, TAddedItem& added) {
    if (std::wcscmp(KeyOf(definition), L"Appointment.AllDayEvent") == 0) return false;
    if (!IsAllDayLikeFlag(definition)) {
        g_Log.Error(kTag, "Unknown key for AllDayEvent*\n");
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
    g_Log.Assert(isSubject, kTag, __LINE__, "cmApntAlldaylikeSubject: pProp->nTag == PR_SUBJECT");
    if (!isSubject || !IsFilled(value)) return false;
    const bool sameType = PROP_TYPE(value.ulPropTag) == PROP_TYPE(definition.ulPropTag);
    g_Log.Assert(sameType, kTag, __LINE__, "PROP_TYPE(value.tag) == PROP_TYPE(tag)");
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
    const HRESULT hr = Appointment_IsBirthdayOrAnniversary(added.message, type != PT_STRING8, &result,
                                                           &allDayLike, subject, &added.item.store->names);
    return hr == S_OK && result != 0;
}

bool OverrideStart(SPropValue& value, const TComparyProp& definition, TAddedItem& added) {
    const bool canonical = definition.nCompareMethod == cmApntAlldaylikeStart;
    const bool isTime = PROP_TYPE(definition.ulPropTag) == PT_SYSTIME;
    g_Log.Assert(isTime, kTag, __LINE__,
                 canonical ? "cmApntAlldaylikeStart: PROP_TYPE( pProp->nTag ) == PT_SYSTIME"
                           : "cmApntApproxStart: PROP_TYPE( pProp->nTag ) == PT_SYSTIME");
    if (!isTime || PROP_TYPE(value.ulPropTag) != PT_SYSTIME) return false;
    added.item.nODApntAnnvrsryYear = 0;
    if (!IsAllDayLike(added)) return false;
    const bool yearly = IsBirthdayOrAnniversary(added);
    WORD year = 0;
    bool changed = false;
    if (canonical) {
        changed = Appointment_Normalize_AlldaylikeStart(&value.Value.ft, yearly, &year) != 0;
    } else if (yearly) {
        changed = FILETIME_SetYear(&value.Value.ft, kYearOfYearlyEvents, &year) != 0;
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

struct ComparedOverride {
    bool (*concerns)(const TComparyProp& definition);
    bool (*apply)(SPropValue& value, const TComparyProp& definition, TAddedItem& added);
};
constexpr ComparedOverride kComparedOverrides[] = {
    {[](const TComparyProp& d) { return Overrides(d, nameApntAllDay); }, OverrideAllDayFlag},
    {[](const TComparyProp& d) { return d.nCompareMethod == cmApntAlldaylikeSubject; }, OverrideSubject},
    {[](const TComparyProp& d) {
         return d.nCompareMethod == cmApntAlldaylikeStart || d.nCompareMethod == cmApntApproxStart;
     },
     OverrideStart},
    {[](const TComparyProp& d) { return Overrides(d, nameApntRecurring); }, OverrideRecurring},
};

}  // namespace

bool ComputeContentUnread(SPropValue& value, IMessage* message) {
    MapiBuffer<SPropValue> flags;
    const HRESULT hr = store::GetPropValue(message, PR_MESSAGE_FLAGS, Out(flags));
    if (!store::IsReadSuccess(hr) || !flags || PROP_TYPE(flags->ulPropTag) != PT_LONG) return false;
    value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, PT_LONG);
    value.Value.l = (flags->Value.l & MSGFLAG_READ) ? 0 : 1;
    return true;
}

bool OverrideReadValue(SPropValue& value, const TAddedItem& added) {
    for (const ReadOverride& override : kReadOverrides) {
        if (override.id == PROP_ID(value.ulPropTag)) return override.apply(value, added);
    }
    return false;
}

bool IsOverridden(const TComparyProp& definition) {
    return std::ranges::any_of(kComparedOverrides,
                               [&](const ComparedOverride& o) { return o.concerns(definition); });
}

bool FillsMissing(const TComparyProp& definition) {
    return IsAllDayLikeFlag(definition) || Overrides(definition, nameApntRecurring);
}

bool AsksItemToFill(const TComparyProp& definition) {
    return IsAllDayLikeFlag(definition);
}

bool OverrideComparedValue(SPropValue& value, const TComparyProp& definition, TAddedItem& added) {
    bool changed = false;
    for (const ComparedOverride& override : kComparedOverrides) {
        if (override.concerns(definition)) changed |= override.apply(value, definition, added);
    }
    return changed;
}
