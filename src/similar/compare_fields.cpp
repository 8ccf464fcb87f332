#include "similar/compare_fields.h"

#include <algorithm>
#include <utility>

#include "compare/value_operations.h"
#include "log/CLog.h"
#include "log/local_time.h"
#include "similar/dates.h"
#include "similar/explain.h"

namespace similar {

using logging::g_Log;

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

// ---- Names ----

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

struct TNameResults {
    int first;
    int last;
    int reversedMode;
    bool firstOk;
    bool lastOk;
};

bool IsNameOk(const TNamePair& pair, int result) {
    return pair.name1.IsEmpty() || pair.name2.IsEmpty() || IsMatch(result);
}

TNameResults CompareNames(const TCmpData& data) {
    const TSimilarPropIndexes& indexes = data.fields.indexes;
    const TFieldText& first1 = data.item1.Text(indexes.FirstName);
    const TFieldText& last1 = data.item1.Text(indexes.LastName);
    const TFieldText& first2 = data.item2.Text(indexes.FirstName);
    const TFieldText& last2 = data.item2.Text(indexes.LastName);
    const TMethods& firstMethods = *data.entries[indexes.FirstName].methods;
    const TMethods& lastMethods = *data.entries[indexes.LastName].methods;

    // What is compared as first name and as last name in each reversed mode.
    const TNamePair firstPairs[] = {{first1, first2}, {last1, first2}, {first1, last2}};
    const TNamePair lastPairs[] = {{last1, last2}, {first1, last2}, {last1, first2}};
    const auto resultsOf = [&](int mode, int first, int last) -> TNameResults {
        return {first, last, mode, IsNameOk(firstPairs[mode], first), IsNameOk(lastPairs[mode], last)};
    };

    for (const auto& [mode, byFirstName, byLastName] : kNamePasses) {
        const TNamePair& first = firstPairs[mode];
        const TNamePair& last = lastPairs[mode];
        if (byFirstName && IsExactly(first.name1, first.name2))
            return resultsOf(mode, Exact, FirstMatch(lastMethods, last.name1, last.name2));
        if (byLastName && IsExactly(last.name1, last.name2))
            return resultsOf(mode, FirstMatch(firstMethods, first.name1, first.name2), Exact);
    }
    return resultsOf(0, FirstMatch(firstMethods, first1, first2), FirstMatch(lastMethods, last1, last2));
}

int CmpLFNameProp(TCmpData& data, int field) {
    const bool isName = data.fields.IsName(field);
    g_Log.Assert(isName, kNameTag, __LINE__, "field is the first or the last name");
    if (!isName) return Unequal;
    TFieldEntry& first = data.entries[data.fields.indexes.FirstName];
    TFieldEntry& last = data.entries[data.fields.indexes.LastName];
    const TNameResults names = CompareNames(data);
    first.result = names.first;
    last.result = names.last;
    if (names.reversedMode == 2) std::swap(first.counterpart, last.counterpart);
    data.reversedMode = names.reversedMode;
    data.firstNameOk = names.firstOk;
    data.lastNameOk = names.lastOk;
    return data.entries[field].result;
}

// ---- Dates ----

int CmpBADateProp(const TCmpData& data, int field) {
    const FILETIME* times[] = {data.item1.ft(field), data.item2.ft(field)};
    if (!times[0] || !times[1]) return Unequal;
    TDate dates[2];
    for (int i = 0; i < 2; ++i) {
        FILETIME local;
        if (!logging::FileTimeToLocalFileTimeFIX(times[i], &local)) local = *times[i];
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

// ---- Groups ----

/// The values of a group's members in one contact. used: empty, the repetition of an earlier member, or
/// paired already.
struct TGroupValues {
    const TFieldText* texts[kGroupCapacity];
    bool used[kGroupCapacity];
};

TGroupValues ValuesOf(const TCmpData& data, const TFieldGroup& group, int itemNumber) {
    const TItemProps& item = itemNumber == 1 ? data.item1 : data.item2;
    TGroupValues values{};
    for (int i = 0; i < group.count; ++i) {
        values.texts[i] = &item.Text(group.members[i]);
        values.used[i] = values.texts[i]->IsEmpty();
        for (int earlier = 0; earlier < i && !values.used[i]; ++earlier) {
            if (!IsExactly(*values.texts[i], *values.texts[earlier])) continue;
            values.used[i] = true;
            LogRepeatedValue(data, itemNumber, group.members[i], group.members[earlier]);
        }
    }
    return values;
}

/// How each member of a group matches in item 1, and its partner among the members.
struct TGroupResults {
    int results[kGroupCapacity];
    int partners[kGroupCapacity];
};

TGroupResults PairValues(TGroupValues values1, TGroupValues values2, int count, const TMethods& methods) {
    TGroupResults paired;
    for (int i = 0; i < count; ++i) {
        paired.results[i] = Unequal;
        paired.partners[i] = i;
    }
    for (ECompareMethod method : methods) {
        if (method == NotCompared) break;
        for (int i = 0; i < count; ++i) {
            for (int j = 0; j < count && !values1.used[i]; ++j) {
                ECompareMethod matched;
                if (values2.used[j] || !StrEqual(*values1.texts[i], *values2.texts[j], method, &matched))
                    continue;
                paired.results[i] = matched;
                paired.partners[i] = j;
                values1.used[i] = values2.used[j] = true;
            }
        }
    }
    return paired;
}

int CmpStringPropToAny(TCmpData& data, const TFieldGroup& group, int field) {
    const bool isMember = group.Has(field);
    g_Log.Assert(isMember, kGroupTag, __LINE__, "field is a member of the group");
    if (!isMember) return Unequal;
    const TGroupValues values1 = ValuesOf(data, group, 1);
    const TGroupValues values2 = ValuesOf(data, group, 2);
    const TGroupResults paired = PairValues(values1, values2, group.count, *data.entries[field].methods);
    for (int i = 0; i < group.count; ++i) {
        TFieldEntry& entry = data.entries[group.members[i]];
        entry.result = paired.results[i];
        entry.counterpart = group.members[paired.partners[i]];
    }
    return data.entries[field].result;
}

// ---- All others ----

int CmpTypedProp(const TCmpData& data, int field) {
    const ULONG type = data.fields.TypeOf(field);
    const SPropValue& value1 = data.item1.values[field];
    const SPropValue& value2 = data.item2.values[field];
    for (const SPropValue* value : {&value1, &value2}) {
        int empty = 1;
        if (PROP_TYPE(value->ulPropTag) != type || !compare::IsEmptyValue(value, &empty, nullptr) || empty)
            return Unequal;
    }
    long order = 1;
    if (compare::ComparePropValues(&value1, &value2, &order, ::cmExact) && order == 0) return Exact;
    const TMethods& methods = *data.entries[field].methods;
    if (type != PT_MV_UNICODE || std::find(methods.begin(), methods.end(), Intercept) == methods.end())
        return Unequal;
    int intersects = 0;
    compare::IsMVPropsIntersects(&value1, &value2, &intersects, ::cmExact);
    return intersects ? Intercept : Unequal;
}

int CmpStringProp(const TCmpData& data, int field) {
    if (field == data.fields.indexes.Notes) return data.item1.HasSameBody(data.item2) ? Exact : Unequal;
    return FirstMatch(*data.entries[field].methods, data.item1.Text(field), data.item2.Text(field));
}

}  // namespace

int GetFieldResult(TCmpData& data, int field) {
    TFieldEntry& entry = data.entries[field];
    if (entry.result != NotCompared) return entry.result;
    if (data.fields.IsName(field)) return CmpLFNameProp(data, field);
    if (data.fields.IsDate(field)) return entry.result = CmpBADateProp(data, field);
    if (const TFieldGroup* group = data.EnabledGroupOf(field)) return CmpStringPropToAny(data, *group, field);
    const bool isText = data.fields.TypeOf(field) == PT_UNICODE;
    return entry.result = isText ? CmpStringProp(data, field) : CmpTypedProp(data, field);
}

void SwitchReversedMode(TCmpData& data) {
    TFieldEntry& first = data.entries[data.fields.indexes.FirstName];
    TFieldEntry& last = data.entries[data.fields.indexes.LastName];
    data.reversedMode = 3 - data.reversedMode;
    std::swap(data.firstNameOk, data.lastNameOk);
    std::swap(first.result, last.result);
    std::swap(first.counterpart, last.counterpart);  // each other's in mode 2, their own in mode 1
}

}  // namespace similar
