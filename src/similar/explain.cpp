#include "similar/explain.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>

#include "compare/value_compare.h"
#include "log/CLog.h"
#include "log/value_text.h"

namespace similar {

using logging::g_Log;

namespace {

constexpr wchar_t kRuleIndent[] = L"    ";
constexpr wchar_t kRuleEntryIndent[] = L"        ";
constexpr wchar_t kSearchByIndent[] = L"    ";
constexpr wchar_t kItemIndent[] = L"        ";
constexpr wchar_t kDetailIndent[] = L"            ";
constexpr size_t kHeadingWidth = 58;
constexpr size_t kDisplayedValue = 512;
// Width of the longest name in brackets.
constexpr size_t kNameWidth = 28;
// Columns of the compared fields: label, result, values.
constexpr int kLabelWidth = 28;
constexpr int kMethodWidth = 19;

/// A text on one line.
std::wstring OneLine(std::wstring text) {
    const auto isBreak = [](wchar_t unit) { return unit == L'\r' || unit == L'\n'; };
    std::replace_if(text.begin(), text.end(), isBreak, L' ');
    return text;
}

std::wstring TextOf(const SPropValue& value) {
    wchar_t buffer[kDisplayedValue];
    return OneLine(logging::PropValueText(&value, buffer, kDisplayedValue, 0));
}

std::wstring TextOf(const wchar_t* text) {
    SPropValue value{};
    value.ulPropTag = PROP_TAG(PT_UNICODE, 0);
    value.Value.lpszW = const_cast<wchar_t*>(text);
    return TextOf(value);
}

bool IsFilled(const SPropValue& value) {
    const ULONG type = PROP_TYPE(value.ulPropTag);
    return type != PT_ERROR && !compare::PV_IsEmpty(value.Value, type, nullptr);
}

/// One line of a contact's fields; the names end in one column.
void LogField(const wchar_t* indent, const wchar_t* name, const std::wstring& value) {
    const std::wstring bracketed = std::wstring(L"[") + name + L"]";
    const std::wstring padded =
        indent + std::wstring(kNameWidth - std::min(kNameWidth, bracketed.size()), L' ');
    g_Log.Extra(L"%s%s: %s\n", padded.c_str(), bracketed.c_str(), value.c_str());
}

/// The value of a field as it was compared.
std::wstring ValueText(const TContactFields& fields, const TItemProps& item, int field) {
    if (field == fields.indexes.Notes) return TextOf(item.body.c_str());
    const TFieldText* text = fields.TypeOf(field) == PT_UNICODE ? &item.Text(field) : nullptr;
    return text && !text->IsEmpty() ? TextOf(text->whole.text) : TextOf(item.values[field]);
}

/// The values that a result is about. While the names of item 1 are taken reversed, its other name.
std::wstring ValueText1(const TCmpData& data, int field) {
    const TSimilarPropIndexes& indexes = data.fields.indexes;
    if (data.reversedMode == 1 && data.fields.IsName(field))
        field = field == indexes.FirstName ? indexes.LastName : indexes.FirstName;
    return ValueText(data.fields, data.item1, field);
}
std::wstring ValueText2(const TCmpData& data, int field) {
    return ValueText(data.fields, data.item2, data.entries[field].counterpart);
}

/// A field as it is named in a verdict: without blanks, and with the field that it matched.
struct TLabel {
    wchar_t text[64];
};

TLabel FieldLabel(const TCmpData& data, int field) {
    const TContactFields& fields = data.fields;
    const int counterpart = data.entries[field].counterpart;
    TLabel label;
    auto& text = label.text;
    if (fields.IsName(field) && data.reversedMode != 0)
        _snwprintf(text, std::size(text), L"%s(item%dreversed)", fields.Name(field), data.reversedMode);
    else if (counterpart != field)
        _snwprintf(text, std::size(text), L"%s(item2.%s)", fields.Name(field), fields.Name(counterpart));
    else
        _snwprintf(text, std::size(text), L"%s", fields.Name(field));
    text[std::size(text) - 1] = 0;
    *std::remove(text, text + wcslen(text), L' ') = 0;
    return label;
}

void LogFields(const TContactFields& fields, const TItemProps& item, const wchar_t* indent) {
    for (int field = 0; field < fields.Count(); ++field)
        if (IsFilled(item.values[field]))
            LogField(indent, fields.Name(field), ValueText(fields, item, field));
    wchar_t buffer[kDisplayedValue];
    LogField(indent, L"LMT", logging::FileTimeToText(&item.lastModification, buffer, kDisplayedValue, 1));
}

void LogGroups(const TContactFields& fields, const std::array<EGroup, 3>& enabled) {
    int number = 0;
    for (EGroup name : enabled) {
        const TFieldGroup group = GroupOf(fields.indexes, name);
        std::wstring names;
        for (int i = 0; i < group.count; ++i)
            names += std::wstring(i > 0 ? L", " : L"") + fields.Name(group.members[i]);
        g_Log.Extra(L"%s%02d. %s\n", kRuleEntryIndent, ++number, names.c_str());
    }
}

void LogRuleTable(const TContactFields& fields, const TRuleTable& table) {
    const std::wstring heading = std::wstring(table.heading) + L" ";
    const std::wstring line =
        heading + std::wstring(kHeadingWidth - std::min(kHeadingWidth, heading.size()), L'-');
    g_Log.Extra(L"%s%s\n", kRuleIndent, line.c_str());
    int number = 0;
    for (const TRule& rule : table.rules) {
        const wchar_t* const first = fields.Name(rule.first);
        const wchar_t* const second = rule.second != -1 ? fields.Name(rule.second) : nullptr;
        ++number;
        if (table.kind == ERuleKind::Pairs)
            g_Log.Extra(L"%s%02d. %s + %s\n", kRuleEntryIndent, number, first, second);
        else if (second)
            g_Log.Extra(L"%s%02d. %s / %s\n", kRuleEntryIndent, number, first, second);
        else
            g_Log.Extra(L"%s%02d. %s\n", kRuleEntryIndent, number, first);
    }
}

bool g_rulesLogged = false;

}  // namespace

// ---- Texts of a verdict ----

std::wstring VerdictText(const TCmpData& data, const TVerdict& verdict) {
    TLabel labels[TVerdict::kMostFields] = {};
    const wchar_t* methods[TVerdict::kMostFields] = {L"", L"", L""};
    size_t count = 0;
    for (const int field : verdict.Fields()) {
        labels[count] = FieldLabel(data, field);
        methods[count++] = CmpMethod2Str(data.entries[field].result, true, true);
    }
    const wchar_t* const second = count > 1 ? L" + " : L"";
    const wchar_t* const third = count > 2 ? L" + " : L"";
    wchar_t text[512];  // enough for three labels
    _snwprintf(text, std::size(text), L"%s. // %s%s%s%s%s%s%s%s%s%s%s\n",
               verdict.type == verdictStrict ? L"Strict " : L"Similar", labels[0].text, methods[0], second,
               labels[1].text, methods[1], third, labels[2].text, methods[2],
               verdict.byLastName ? L" // LastNameOK" : L"", *verdict.rule ? L" // " : L"", verdict.rule);
    return {text, wcslen(text) - 1};
}

std::wstring MatchedFields(const TContactFields& fields, const TVerdict& verdict) {
    std::wstring names;
    for (const int field : verdict.Fields()) {
        if (!names.empty()) names += L", ";
        names += fields.Name(field);
    }
    return names;
}

// ---- Log ----

void LogRulesOnce(const TContactFields& fields, const TRuleTables& rules) {
    if (!g_Log.IsExtra() || g_rulesLogged) return;
    g_rulesLogged = true;
    g_Log.Extra(L"%sCompareRules ---------------------------------------------\n", kRuleIndent);
    g_Log.Extra(L"%sGrouppedProps ( for strict comparation ) -----------------\n", kRuleIndent);
    LogGroups(fields, kStrictGroups);
    for (size_t table = 0; table < rtSuggestedPair; ++table) LogRuleTable(fields, rules[table]);
    g_Log.Extra(L"%sGrouppedProps ( for suggested comparation ) --------------\n", kRuleIndent);
    LogGroups(fields, kSuggestedGroups);
    for (size_t table = rtSuggestedPair; table < rtCount; ++table) LogRuleTable(fields, rules[table]);
}

void LogContact(const TContactFields& fields, const TItemProps& item, unsigned searchByPos, wchar_t marker,
                bool fresh) {
    if (!g_Log.IsExtra()) return;
    struct TDisplayName {
        const wchar_t* label;
        const wchar_t* name;
    };
    // The labels are of one width: the lines of many contacts form columns.
    const TDisplayName choices[] = {{L"FullName", item.fullName.c_str()},
                                    {L"Company ", item.Text(fields.indexes.Company).whole.text},
                                    {L" FileAs ", item.fileAs.c_str()},
                                    {L" Empty  ", L"Untitled"}};
    const TDisplayName& display = *std::find_if(std::begin(choices), std::end(choices),
                                                [](const TDisplayName& choice) { return *choice.name != 0; });
    const std::wstring entryId(item.entryId.begin(), item.entryId.end());
    const bool isSearchBy = searchByPos != 0;
    if (isSearchBy) {
        g_Log.Extra(L"%s%s\n", kSearchByIndent, std::wstring(102, L'-').c_str());
        g_Log.Extra(
            L"    "
            L" %d.SearchByContact( %s%sDisplayName(%s) = \"%s\" )\n",
            searchByPos, entryId.c_str(), L", ", display.label, display.name);
    } else {
        g_Log.Extra(
            L"        "
            L"%cContact( %s%sDisplayName(%s) = \"%s\" )\n",
            marker, entryId.c_str(), L", ", display.label, display.name);
    }
    if (fresh) LogFields(fields, item, isSearchBy ? kItemIndent : kDetailIndent);
}

void LogRepeatedValue(const TCmpData& data, int itemNumber, int field, int earlier) {
    if (!g_Log.IsExtra()) return;
    g_Log.Extra(L"GrouppedCmpRules(Item%d): skipping %s coz equal to %s\n", itemNumber,
                FieldLabel(data, field).text, FieldLabel(data, earlier).text);
}

void LogComparedFields(const TCmpData& data, const wchar_t* heading) {
    if (!g_Log.IsExtra()) return;
    g_Log.Extra(L"%sCompared fields %s\n", kDetailIndent, heading);
    for (int field = 0; field < data.fields.Count(); ++field) {
        const int result = data.entries[field].result;
        if (result == NotCompared) continue;
        g_Log.Extra(L"%s  %-*s %-*s %s | %s\n", kDetailIndent, kLabelWidth, FieldLabel(data, field).text,
                    kMethodWidth, CmpMethod2Str(result, false, false), ValueText1(data, field).c_str(),
                    ValueText2(data, field).c_str());
    }
}

void LogReversedMode(const TCmpData& data) {
    g_Log.Extra(L"Switchig to other reversed mode: item%dreversed", data.reversedMode);
}

void LogVerdict(const TCmpData& data, const TVerdict& verdict, const std::wstring& text) {
    if (!g_Log.IsExtra()) return;
    std::wstring line = text;
    for (const int field : verdict.Fields()) {
        line += std::wstring(L"; [") + data.fields.Name(field) + L"] " + ValueText1(data, field);
        line += L" | " + ValueText2(data, field);
    }
    g_Log.Extra(L"%s%s\n", kDetailIndent, line.c_str());
}

}  // namespace similar
