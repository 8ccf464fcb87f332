// What the search writes while extra logging is on: rules, contacts, compared fields, results.

#include <algorithm>
#include <cwchar>

#include "compare/value_compare.h"
#include "log/CLog.h"
#include "log/value_text.h"
#include "similar/CSimilarSearch.h"

namespace similar {
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
    return OneLine(PropValueText(&value, buffer, kDisplayedValue, 0));
}

std::wstring TextOf(const wchar_t* text) {
    SPropValue value{};
    value.ulPropTag = PROP_TAG(PT_UNICODE, 0);
    value.Value.lpszW = const_cast<wchar_t*>(text);
    return TextOf(value);
}

bool IsFilled(const SPropValue& value) {
    const ULONG type = PROP_TYPE(value.ulPropTag);
    return type != PT_ERROR && !PV_IsEmpty(value.Value, type, nullptr);
}

/// One line of a contact's fields; the names end in one column.
void LogField(const wchar_t* indent, const wchar_t* name, const std::wstring& value) {
    const std::wstring bracketed = std::wstring(L"[") + name + L"]";
    const std::wstring padded =
        indent + std::wstring(kNameWidth - std::min(kNameWidth, bracketed.size()), L' ');
    g_Log.Extra(L"%s%s: %s\n", padded.c_str(), bracketed.c_str(), value.c_str());
}

}  // namespace

void CSimilarSearch::LogRules() const {
    g_Log.Extra(L"%sCompareRules ---------------------------------------------\n", kRuleIndent);
    g_Log.Extra(L"%sGrouppedProps ( for strict comparation ) -----------------\n", kRuleIndent);
    LogGroups(kStrictGroups);
    for (int table = 0; table < rtSuggestedPair; ++table) LogRuleTable(m_rules.data()[table]);
    g_Log.Extra(L"%sGrouppedProps ( for suggested comparation ) --------------\n", kRuleIndent);
    LogGroups(kSuggestedGroups);
    for (int table = rtSuggestedPair; table < rtCount; ++table) LogRuleTable(m_rules.data()[table]);
}

void CSimilarSearch::LogGroups(const std::array<EGroup, 3>& enabled) const {
    int number = 0;
    for (EGroup name : enabled) {
        const TFieldGroup group = GroupOf(m_indexes, name);
        std::wstring names;
        for (int i = 0; i < group.count; ++i)
            names += std::wstring(i > 0 ? L", " : L"") + Name(group.members[i]);
        g_Log.Extra(L"%s%02d. %s\n", kRuleEntryIndent, ++number, names.c_str());
    }
}

void CSimilarSearch::LogRuleTable(const TRuleTable& table) const {
    const std::wstring heading = std::wstring(table.heading) + L" ";
    const std::wstring line =
        heading + std::wstring(kHeadingWidth - std::min(kHeadingWidth, heading.size()), L'-');
    g_Log.Extra(L"%s%s\n", kRuleIndent, line.c_str());
    int number = 0;
    for (const TRule& rule : table.rules) {
        ++number;
        if (table.kind == rkPairs)
            g_Log.Extra(L"%s%02d. %s + %s\n", kRuleEntryIndent, number, Name(rule.first), Name(rule.second));
        else if (rule.second != -1)
            g_Log.Extra(L"%s%02d. %s / %s\n", kRuleEntryIndent, number, Name(rule.first), Name(rule.second));
        else
            g_Log.Extra(L"%s%02d. %s\n", kRuleEntryIndent, number, Name(rule.first));
    }
}

void CSimilarSearch::LogItem(const TItemProps& item, wchar_t marker, bool fresh) const {
    LogItem(item, &item == m_pSearchByProps ? m_nSearchByPos : 0, marker, fresh);
}

void CSimilarSearch::LogItem(const TItemProps& item, unsigned searchByPos, wchar_t marker, bool fresh) const {
    if (!g_Log.IsExtra()) return;
    struct TDisplayName {
        const wchar_t* label;
        const wchar_t* name;
    };
    // The labels are of one width: the lines of many contacts form columns.
    const TDisplayName choices[] = {{L"FullName", item.fullName.c_str()},
                                    {L"Company ", item.Text(m_indexes.Company).whole.text},
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
    if (fresh) LogFields(item, isSearchBy ? kItemIndent : kDetailIndent);
}

void CSimilarSearch::LogFields(const TItemProps& item, const wchar_t* indent) const {
    for (int field = 0; field < FieldCount(); ++field)
        if (IsFilled(item.values[field])) LogField(indent, Name(field), ValueText(item, field));
    wchar_t buffer[kDisplayedValue];
    LogField(indent, L"LMT", FileTimeToText(&item.lastModification, buffer, kDisplayedValue, 1));
}

/// The value of a field as it was compared.
std::wstring CSimilarSearch::ValueText(const TItemProps& item, int field) const {
    if (field == m_indexes.Notes) return TextOf(item.body.c_str());
    const TFieldText* text = TypeOf(field) == PT_UNICODE ? &item.Text(field) : nullptr;
    return text && !text->IsEmpty() ? TextOf(text->whole.text) : TextOf(item.values[field]);
}

/// The field of item 1 whose value a result is about: the other name while its names are taken reversed.
int CSimilarSearch::FieldOfItem1(const TCmpData& data, int field) const {
    if (data.reversedMode != 1) return field;
    if (field == m_indexes.FirstName) return m_indexes.LastName;
    return field == m_indexes.LastName ? m_indexes.FirstName : field;
}

void CSimilarSearch::LogComparedFields(const TCmpData& data, const wchar_t* heading) const {
    if (!g_Log.IsExtra()) return;
    g_Log.Extra(L"%sCompared fields %s\n", kDetailIndent, heading);
    for (int field = 0; field < FieldCount(); ++field) {
        const TFieldEntry& entry = data.fields[field];
        if (entry.result == NotCompared) continue;
        wchar_t label[kLabelCapacity];
        FieldLabel(data, field, label);
        g_Log.Extra(L"%s  %-*s %-*s %s | %s\n", kDetailIndent, kLabelWidth, label, kMethodWidth,
                    CmpMethod2Str(entry.result, false, false),
                    ValueText(*data.item1, FieldOfItem1(data, field)).c_str(),
                    ValueText(*data.item2, entry.counterpart).c_str());
    }
}

void CSimilarSearch::LogVerdict(const TCmpData& data, std::initializer_list<int> fields) const {
    std::wstring line = m_verdictTextW;
    line.pop_back();
    for (int field : fields) {
        line +=
            std::wstring(L"; [") + Name(field) + L"] " + ValueText(*data.item1, FieldOfItem1(data, field));
        line += L" | " + ValueText(*data.item2, data.fields[field].counterpart);
    }
    g_Log.Extra(L"%s%s\n", kDetailIndent, line.c_str());
}

}  // namespace similar
