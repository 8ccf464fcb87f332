#include "host/keep_rules.h"

#include <mapitags.h>

#include <algorithm>
#include <limits>

#include "host/show_value.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

constexpr struct {
    TKeep::ERule rule;
    const char* name;
} kKeeps[] = {
    {TKeep::ERule::MostFilled, "most-filled"},
    {TKeep::ERule::First, "first"},
    {TKeep::ERule::Last, "last"},
    {TKeep::ERule::Newest, "newest"},
    {TKeep::ERule::Oldest, "oldest"},
    {TKeep::ERule::Read, "read"},
    {TKeep::ERule::Flagged, "flagged"},
    {TKeep::ERule::LargestValues, "largest-values"},
    {TKeep::ERule::Largest, "largest"},
    {TKeep::ERule::Field, "field"},
    {TKeep::ERule::Recurrence, "recurrence"},
    {TKeep::ERule::CrmId, "crm-id"},
};

constexpr char kAppointment[] = "{00062002-0000-0000-C000-000000000046}";
constexpr char kPublic[] = "{00020329-0000-0000-C000-000000000046}";

const TPropertyChoice* FindField(const TDefinitions& definitions, const std::string& name) {
    for (const TPropertyChoice& choice : definitions.properties) {
        if (EqualNoCase(name, choice.property->key) || EqualNoCase(name, Narrow(choice.property->name)))
            return &choice;
    }
    return nullptr;
}

MapiPtr<SPropValue> ReadNamed(IMessage* message, const char* set, int id, const wchar_t* stringId,
                              unsigned type) {
    const ULONG tag = ResolvedTag(message, set, id, stringId, type);
    return tag ? ReadValue(message, tag) : nullptr;
}

long long Ticks(const FILETIME& time) {
    return static_cast<long long>((static_cast<unsigned long long>(time.dwHighDateTime) << 32) |
                                  time.dwLowDateTime);
}

// A text holds the wanted one, in any letter case; any other value reads like it.
long long HasField(IMessage* message, const TKeep& keep, const TDefinitions& definitions) {
    const TPropertyChoice* choice = FindField(definitions, keep.field);
    if (!choice) return 0;
    const std::string value = ShowValue(message, *choice->property, 1 << 20);
    const unsigned type = choice->property->type & ~MV_FLAG;
    const bool isText = type == PT_UNICODE || choice->property->stream;
    return isText ? ContainsNoCase(value, keep.text) : EqualNoCase(value, keep.text);
}

// A series before a single date; of two yearly days the earlier year; then one of whole days, without a
// time.
long long Recurrence(IMessage* message) {
    const auto series = ReadNamed(message, kAppointment, 0x8223, nullptr, PT_BOOLEAN);
    if (!series || PROP_TYPE(series->ulPropTag) != PT_BOOLEAN || !series->Value.b) return 0;
    int isWholeDays = 0;
    Appointment_AllDayEventLike(message, &isWholeDays, 1);
    const MapiPtr<SPropValue> subject = ReadValue(message, PR_SUBJECT_W);
    const bool isYearly = subject && PROP_TYPE(subject->ulPropTag) == PT_UNICODE &&
                          Normalize_BirthdayOrAnnvrsrySubjectW(subject->Value.lpszW, 1);
    const auto start = ReadNamed(message, kAppointment, 0x820D, nullptr, PT_SYSTIME);
    SYSTEMTIME utc{};
    SYSTEMTIME local{};
    const FILETIME time = TimeOf(start.get());
    const bool hasStart = Ticks(time) != 0 && FileTimeToSystemTime(&time, &utc) &&
                          SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local);
    const bool hasTimeOfDay = !hasStart || local.wHour || local.wMinute || local.wSecond;
    const int index = (isYearly ? 4 : isWholeDays ? 2 : 1) + (isYearly || isWholeDays ? !hasTimeOfDay : 0);
    const int year = isYearly && hasStart ? 100'000 - local.wYear : 0;
    return 1 + 10LL * year + index;
}

long long HasCrmId(IMessage* message) {
    const auto value = ReadNamed(message, kPublic, 0, L"crmid", PT_UNICODE);
    return value && PROP_TYPE(value->ulPropTag) == PT_UNICODE && value->Value.lpszW[0] != 0;
}

// The sizes of the compared values, in the order of the definitions.
std::vector<unsigned long> Sizes(IMessage* message, const TDefinitions& definitions) {
    CPropertyList properties(definitions);
    Quorvel_ResolveTags(message, properties.get());
    std::vector<unsigned long> sizes;
    for (int i = 0; i < properties.get()->n; ++i) {
        const TComparyProp& property = properties.get()->lpProps[i];
        if (!property.bCompare || property.ulPropTag == 0) continue;
        SPropTagArray tag{1, {property.ulPropTag}};
        long filled = 0;
        unsigned long size = 0;
        if (property.nInterface == 0) {
            Quorvel_CountProps(message, &tag, &filled, &size);
        } else {
            Quorvel_CountStreamProps(message, &tag, &filled, &size);
        }
        sizes.push_back(size);
    }
    return sizes;
}

// In how many compared properties no other copy has a larger value.
std::vector<long long> LargestValues(CItemReader& reader, const TDefinitions& definitions,
                                     const std::vector<const TItem*>& items) {
    std::vector<std::vector<unsigned long>> sizes;
    std::vector<unsigned long> largest;
    for (const TItem* item : items) {
        const ComPtr<IMessage> message = reader.Open(*item);
        sizes.push_back(message ? Sizes(message.Get(), definitions) : std::vector<unsigned long>());
        largest.resize(std::max(largest.size(), sizes.back().size()));
        for (size_t i = 0; i < sizes.back().size(); ++i) largest[i] = std::max(largest[i], sizes.back()[i]);
    }
    std::vector<long long> facts;
    facts.reserve(sizes.size());
    for (const auto& own : sizes) {
        long long count = own.empty() ? -1 : 0;
        for (size_t i = 0; i < own.size(); ++i) count += own[i] == largest[i];
        facts.push_back(count);
    }
    return facts;
}

long long FilledCount(CItemReader& reader, const TItem& item) {
    const std::optional<TItemValues> values = reader.Read(item);
    return values ? static_cast<long long>(values->Filled()) : -1;
}

long long Fact(CItemReader& reader, const TKeep& keep, const TDefinitions& definitions, const TItem& item) {
    switch (keep.rule) {
        case TKeep::ERule::Newest:
            return Ticks(item.arrived);
        case TKeep::ERule::Oldest:
            return Ticks(item.arrived) == 0 ? std::numeric_limits<long long>::min() : -Ticks(item.arrived);
        case TKeep::ERule::Read:
            return item.isRead;
        case TKeep::ERule::Flagged:
            return item.isFlagged;
        case TKeep::ERule::MostFilled:
            return FilledCount(reader, item);
        default:
            break;
    }
    const ComPtr<IMessage> message = reader.Open(item);
    if (!message) return -1;
    switch (keep.rule) {
        case TKeep::ERule::Largest:
            return static_cast<long long>(
                Quorvel_GetSubjectBodyAttachmentsSize(message.Get(), 1, nullptr, 0));
        case TKeep::ERule::Field:
            return HasField(message.Get(), keep, definitions);
        case TKeep::ERule::Recurrence:
            return Recurrence(message.Get());
        default:
            return HasCrmId(message.Get());
    }
}

}  // namespace

TKeep KeepOf(const std::string& text) {
    std::string names;
    for (const auto& row : kKeeps) {
        if (row.rule == TKeep::ERule::Field) continue;
        if (EqualNoCase(text, row.name)) return TKeep{row.rule, {}, {}};
        names += std::string(row.name) + ", ";
    }
    if (text.rfind("field=", 0) == 0) {
        const size_t colon = text.find(':', 6);
        if (colon != std::string::npos && colon > 6 && colon + 1 < text.size()) {
            return TKeep{TKeep::ERule::Field, text.substr(6, colon - 6), text.substr(colon + 1)};
        }
    }
    throw TFailure("\"" + text + "\" does not say which copy to keep; allowed are " + names +
                   "field=NAME:TEXT.");
}

std::string KeepText(const std::vector<TKeep>& rules) {
    std::string text;
    for (const TKeep& keep : rules) {
        if (!text.empty()) text += ", then ";
        for (const auto& row : kKeeps) {
            if (row.rule == keep.rule) text += row.name;
        }
        if (keep.rule == TKeep::ERule::Field) text += "=" + keep.field + ":" + keep.text;
    }
    return text;
}

void CheckKeep(const TDefinitions& definitions, const std::vector<TKeep>& rules) {
    std::vector<std::string> known;
    known.reserve(definitions.properties.size());
    for (const TPropertyChoice& choice : definitions.properties) known.emplace_back(choice.property->key);
    for (const TKeep& keep : rules) {
        if (keep.rule != TKeep::ERule::Field || FindField(definitions, keep.field)) continue;
        throw TFailure("--keep field=" + keep.field + ": the definitions of " + KindName(definitions.kind) +
                       " items have no such property." + Suggestion(keep.field, known));
    }
}

std::vector<long long> KeepFacts(CItemReader& reader, const TKeep& keep, const TDefinitions& definitions,
                                 const std::vector<const TItem*>& items) {
    if (keep.rule == TKeep::ERule::LargestValues) return LargestValues(reader, definitions, items);
    std::vector<long long> facts;
    facts.reserve(items.size());
    for (size_t i = 0; i < items.size(); ++i) {
        // The order of the folders is that of the items.
        const long long place = static_cast<long long>(i);
        facts.push_back(keep.rule == TKeep::ERule::First  ? -place
                        : keep.rule == TKeep::ERule::Last ? place
                                                          : Fact(reader, keep, definitions, *items[i]));
    }
    return facts;
}

std::string KeepSentence(const TKeep& keep, long long kept, long long next) {
    switch (keep.rule) {
        case TKeep::ERule::MostFilled:
            return "most filled: " + std::to_string(kept) + " values, the next has " + std::to_string(next);
        case TKeep::ERule::First:
            return "the first in the order of the folders";
        case TKeep::ERule::Last:
            return "the last in the order of the folders";
        case TKeep::ERule::Newest:
            return "the newest";
        case TKeep::ERule::Oldest:
            return "the oldest";
        case TKeep::ERule::Read:
            return "it is read";
        case TKeep::ERule::Flagged:
            return "it is flagged";
        case TKeep::ERule::LargestValues:
            return "the longest values: in " + std::to_string(kept) + " of the compared properties";
        case TKeep::ERule::Largest:
            return "the largest: " + SizeText(static_cast<unsigned long long>(kept));
        case TKeep::ERule::Field:
            return "by field=" + keep.field + ":" + keep.text;
        case TKeep::ERule::Recurrence:
            return "it is a recurring series";
        case TKeep::ERule::CrmId:
            return "it carries a CRM identifier";
    }
    return {};
}

}  // namespace host
