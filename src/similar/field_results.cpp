// How each field of two contacts matches.

#include <algorithm>
#include <cstdio>
#include <cwchar>

#include "compare/value_compare.h"
#include "log/CLog.h"
#include "log/local_time.h"
#include "similar/CSimilarSearch.h"
#include "similar/dates.h"

namespace similar {
namespace {

constexpr char kNameTag[] = "CSimilarSearch.CmpLFNameProp";
constexpr char kDateTag[] = "CSimilarSearch.CmpBADateProp";
constexpr char kGroupTag[] = "CSimilarSearch.CmpStringPropToAny";

/// The first method by which two texts match; Unequal when one of them is empty.
int FirstMatch(const TMethods& methods, const TFieldText& a, const TFieldText& b) {
    if (a.IsEmpty() || b.IsEmpty()) return Unequal;
    for (ECompareMethod method : methods) {
        if (method == NotCompared) break;
        ECompareMethod matched;
        if (StrEqual(a, b, method, &matched)) return matched;
    }
    return Unequal;
}

bool IsExactly(const TFieldText& a, const TFieldText& b) {
    return !a.IsEmpty() && !b.IsEmpty() && StrEqual(a, b, Exact);
}

struct TNamePair {
    const TFieldText& name1;
    const TFieldText& name2;
};

/// One attempt to match two names by an exact first or last name, item 1 (mode 1) or item 2 (mode 2) taken
/// reversed.
struct TNamePass {
    int reversedMode;
    bool byFirstName;
    bool byLastName;
};
constexpr TNamePass kNamePasses[] = {{0, true, true}, {1, true, false}, {2, true, true}};

bool IsNameOk(const TNamePair& pair, int result) {
    return pair.name1.IsEmpty() || pair.name2.IsEmpty() || IsMatch(result);
}

}  // namespace

int CSimilarSearch::GetFieldResult(TCmpData& data, int field) const {
    TFieldEntry& entry = data.fields[field];
    if (entry.result != NotCompared) return entry.result;
    if (field == m_indexes.FirstName || field == m_indexes.LastName) return CmpLFNameProp(data, field);
    if (field == m_indexes.Birthday || field == m_indexes.Anniversary)
        entry.result = CmpBADateProp(data, field);
    else if (const TFieldGroup* group = data.EnabledGroupOf(field))
        CmpStringPropToAny(data, *group, field);
    else if (TypeOf(field) != PT_UNICODE)
        entry.result = CmpTypedProp(data, field);
    else
        entry.result = CmpStringProp(data, field);
    return entry.result;
}

int CSimilarSearch::CmpLFNameProp(TCmpData& data, int field) const {
    const bool isName = field == m_indexes.FirstName || field == m_indexes.LastName;
    g_Log.Assert(isName, kNameTag, __LINE__, "field is the first or the last name");
    if (!isName) return Unequal;
    if (data.fields[field].result == NotCompared) CompareNames(data);
    return data.fields[field].result;
}

void CSimilarSearch::CompareNames(TCmpData& data) const {
    const TFieldText& first1 = data.item1->Text(m_indexes.FirstName);
    const TFieldText& last1 = data.item1->Text(m_indexes.LastName);
    const TFieldText& first2 = data.item2->Text(m_indexes.FirstName);
    const TFieldText& last2 = data.item2->Text(m_indexes.LastName);
    TFieldEntry& first = data.fields[m_indexes.FirstName];
    TFieldEntry& last = data.fields[m_indexes.LastName];

    // What is compared as first name and as last name in each reversed mode.
    const TNamePair firstPairs[] = {{first1, first2}, {last1, first2}, {first1, last2}};
    const TNamePair lastPairs[] = {{last1, last2}, {first1, last2}, {last1, first2}};

    for (const TNamePass& pass : kNamePasses) {
        const TNamePair& firstPair = firstPairs[pass.reversedMode];
        const TNamePair& lastPair = lastPairs[pass.reversedMode];
        if (pass.byFirstName && IsExactly(firstPair.name1, firstPair.name2)) {
            first.result = Exact;
            last.result = FirstMatch(*last.methods, lastPair.name1, lastPair.name2);
        } else if (pass.byLastName && IsExactly(lastPair.name1, lastPair.name2)) {
            last.result = Exact;
            first.result = FirstMatch(*first.methods, firstPair.name1, firstPair.name2);
        } else {
            continue;
        }
        data.reversedMode = pass.reversedMode;
        break;
    }
    if (first.result == NotCompared) {
        first.result = FirstMatch(*first.methods, first1, first2);
        last.result = FirstMatch(*last.methods, last1, last2);
    }
    if (data.reversedMode == 2) std::swap(first.counterpart, last.counterpart);
    data.firstNameOk = IsNameOk(firstPairs[data.reversedMode], first.result);
    data.lastNameOk = IsNameOk(lastPairs[data.reversedMode], last.result);
}

void CSimilarSearch::SwitchReversedMode(TCmpData& data) const {
    TFieldEntry& first = data.fields[m_indexes.FirstName];
    TFieldEntry& last = data.fields[m_indexes.LastName];
    data.reversedMode = 3 - data.reversedMode;
    std::swap(data.firstNameOk, data.lastNameOk);
    std::swap(first.result, last.result);
    std::swap(first.counterpart, last.counterpart);  // each other's in mode 2, their own in mode 1
}

int CSimilarSearch::CmpBADateProp(const TCmpData& data, int field) const {
    const FILETIME* times[] = {data.item1->ft(field), data.item2->ft(field)};
    if (!times[0] || !times[1]) return Unequal;
    TDate dates[2];
    for (int i = 0; i < 2; ++i) {
        FILETIME local;
        if (!FileTimeToLocalFileTimeFIX(times[i], &local)) local = *times[i];
        const bool converted = ToDate(local, &dates[i]);
        g_Log.Assert(converted, kDateTag, __LINE__, "FileTimeToSystemTime");
        if (!converted) return Unequal;
        if (const TDate* bad = PlaceholderOf(dates[i], *times[i])) {
            g_Log.Info(kPlaceholderLevel, kDateTag, "Skipping bad date(%02d.%02d.%02d)\n", bad->year,
                       bad->month, bad->day);
            return Unequal;
        }
    }
    return dates[0] == dates[1] ? Exact : Unequal;
}

/// The values of a group's members in one contact. used: empty, the repetition of an earlier member, or
/// paired already.
struct CSimilarSearch::TGroupValues {
    const TFieldText* texts[kGroupCapacity];
    bool used[kGroupCapacity];
};

CSimilarSearch::TGroupValues CSimilarSearch::ValuesOf(const TCmpData& data, const TFieldGroup& group,
                                                      int itemNumber) const {
    const TItemProps& item = itemNumber == 1 ? *data.item1 : *data.item2;
    TGroupValues values{};
    for (int i = 0; i < group.count; ++i) {
        values.texts[i] = &item.Text(group.members[i]);
        values.used[i] = values.texts[i]->IsEmpty();
        for (int earlier = 0; earlier < i && !values.used[i]; ++earlier) {
            if (!IsExactly(*values.texts[i], *values.texts[earlier])) continue;
            values.used[i] = true;
            if (!g_Log.IsExtra()) continue;
            wchar_t label[kLabelCapacity], earlierLabel[kLabelCapacity];
            FieldLabel(data, group.members[i], label);
            FieldLabel(data, group.members[earlier], earlierLabel);
            g_Log.Extra(L"GrouppedCmpRules(Item%d): skipping %s coz equal to %s\n", itemNumber, label,
                        earlierLabel);
        }
    }
    return values;
}

int CSimilarSearch::CmpStringPropToAny(TCmpData& data, const TFieldGroup& group, int field) const {
    const bool isMember = group.Has(field);
    g_Log.Assert(isMember, kGroupTag, __LINE__, "field is a member of the group");
    if (!isMember) return Unequal;
    for (int i = 0; i < group.count; ++i) data.fields[group.members[i]].result = Unequal;

    TGroupValues values1 = ValuesOf(data, group, 1);
    TGroupValues values2 = ValuesOf(data, group, 2);
    for (ECompareMethod method : *data.fields[field].methods) {
        if (method == NotCompared) break;
        for (int i = 0; i < group.count; ++i) {
            for (int j = 0; j < group.count && !values1.used[i]; ++j) {
                ECompareMethod matched;
                if (values2.used[j] || !StrEqual(*values1.texts[i], *values2.texts[j], method, &matched))
                    continue;
                TFieldEntry& entry = data.fields[group.members[i]];
                entry.result = matched;
                entry.counterpart = group.members[j];
                values1.used[i] = values2.used[j] = true;
            }
        }
    }
    return data.fields[field].result;
}

int CSimilarSearch::CmpTypedProp(const TCmpData& data, int field) const {
    const ULONG type = TypeOf(field);
    const SPropValue& value1 = data.item1->values[field];
    const SPropValue& value2 = data.item2->values[field];
    for (const SPropValue* value : {&value1, &value2}) {
        int empty = 1;
        if (PROP_TYPE(value->ulPropTag) != type || !compare::IsEmptyValue(value, &empty, nullptr) || empty)
            return Unequal;
    }
    long order = 1;
    if (compare::ComparePropValues(&value1, &value2, &order, ::cmExact) && order == 0) return Exact;
    const TMethods& methods = *data.fields[field].methods;
    if (type != PT_MV_UNICODE || std::find(methods.begin(), methods.end(), Intercept) == methods.end())
        return Unequal;
    int intersects = 0;
    compare::IsMVPropsIntersects(&value1, &value2, &intersects, ::cmExact);
    return intersects ? Intercept : Unequal;
}

int CSimilarSearch::CmpStringProp(const TCmpData& data, int field) const {
    if (field == m_indexes.Notes) return data.item1->HasSameBody(*data.item2) ? Exact : Unequal;
    return FirstMatch(*data.fields[field].methods, data.item1->Text(field), data.item2->Text(field));
}

void CSimilarSearch::FieldLabel(const TCmpData& data, int field, wchar_t (&label)[kLabelCapacity]) const {
    const bool isName = field == m_indexes.FirstName || field == m_indexes.LastName;
    const int counterpart = data.fields[field].counterpart;
    if (isName && data.reversedMode != 0)
        _snwprintf(label, kLabelCapacity, L"%s(item%dreversed)", Name(field), data.reversedMode);
    else if (counterpart != field)
        _snwprintf(label, kLabelCapacity, L"%s(item2.%s)", Name(field), Name(counterpart));
    else
        _snwprintf(label, kLabelCapacity, L"%s", Name(field));
    label[kLabelCapacity - 1] = 0;
    *std::remove(label, label + wcslen(label), L' ') = 0;
}

}  // namespace similar
