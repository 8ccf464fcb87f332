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
    Keep::Rule rule;
    const char* name;
} kKeeps[] = {
    {Keep::Rule::MostFilled, "most-filled"},
    {Keep::Rule::First, "first"},
    {Keep::Rule::Last, "last"},
    {Keep::Rule::Newest, "newest"},
    {Keep::Rule::Oldest, "oldest"},
    {Keep::Rule::Read, "read"},
    {Keep::Rule::Flagged, "flagged"},
    {Keep::Rule::LargestValues, "largest-values"},
    {Keep::Rule::Largest, "largest"},
    {Keep::Rule::Field, "field"},
    {Keep::Rule::Recurrence, "recurrence"},
    {Keep::Rule::CrmId, "crm-id"},
};

constexpr char kAppointment[] = "{00062002-0000-0000-C000-000000000046}";
constexpr char kPublic[] = "{00020329-0000-0000-C000-000000000046}";

const PropertyChoice* FindField(const Definitions& definitions, const std::string& name) {
    for (const PropertyChoice& choice : definitions.properties) {
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
long long HasField(IMessage* message, const Keep& keep, const Definitions& definitions) {
    const PropertyChoice* choice = FindField(definitions, keep.field);
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
std::vector<unsigned long> Sizes(IMessage* message, const Definitions& definitions) {
    PropertyList properties(definitions);
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
std::vector<long long> LargestValues(CItemReader& reader, const Definitions& definitions,
                                     const std::vector<const Item*>& items) {
    std::vector<std::vector<unsigned long>> sizes;
    std::vector<unsigned long> largest;
    for (const Item* item : items) {
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

long long FilledCount(CItemReader& reader, const Item& item) {
    const std::optional<TItemValues> values = reader.Read(item);
    return values ? static_cast<long long>(values->Filled()) : -1;
}

long long Fact(CItemReader& reader, const Keep& keep, const Definitions& definitions, const Item& item) {
    switch (keep.rule) {
        case Keep::Rule::Newest:
            return Ticks(item.arrived);
        case Keep::Rule::Oldest:
            return Ticks(item.arrived) == 0 ? std::numeric_limits<long long>::min() : -Ticks(item.arrived);
        case Keep::Rule::Read:
            return item.isRead;
        case Keep::Rule::Flagged:
            return item.isFlagged;
        case Keep::Rule::MostFilled:
            return FilledCount(reader, item);
        default:
            break;
    }
    const ComPtr<IMessage> message = reader.Open(item);
    if (!message) return -1;
    switch (keep.rule) {
        case Keep::Rule::Largest:
            return static_cast<long long>(
                Quorvel_GetSubjectBodyAttachmentsSize(message.Get(), 1, nullptr, 0));
        case Keep::Rule::Field:
            return HasField(message.Get(), keep, definitions);
        case Keep::Rule::Recurrence:
            return Recurrence(message.Get());
        default:
            return HasCrmId(message.Get());
    }
}

}  // namespace

Keep KeepOf(const std::string& text) {
    std::string names;
    for (const auto& row : kKeeps) {
        if (row.rule == Keep::Rule::Field) continue;
        if (EqualNoCase(text, row.name)) return Keep{row.rule, {}, {}};
        names += std::string(row.name) + ", ";
    }
    if (text.rfind("field=", 0) == 0) {
        const size_t colon = text.find(':', 6);
        if (colon != std::string::npos && colon > 6 && colon + 1 < text.size()) {
            return Keep{Keep::Rule::Field, text.substr(6, colon - 6), text.substr(colon + 1)};
        }
    }
    throw Failure("\"" + text + "\" does not say which copy to keep; allowed are " + names +
                  "field=NAME:TEXT.");
}

std::string KeepText(const std::vector<Keep>& rules) {
    std::string text;
    for (const Keep& keep : rules) {
        if (!text.empty()) text += ", then ";
        for (const auto& row : kKeeps) {
            if (row.rule == keep.rule) text += row.name;
        }
        if (keep.rule == Keep::Rule::Field) text += "=" + keep.field + ":" + keep.text;
    }
    return text;
}

void CheckKeep(const Definitions& definitions, const std::vector<Keep>& rules) {
    std::vector<std::string> known;
    known.reserve(definitions.properties.size());
    for (const PropertyChoice& choice : definitions.properties) known.emplace_back(choice.property->key);
    for (const Keep& keep : rules) {
        if (keep.rule != Keep::Rule::Field || FindField(definitions, keep.field)) continue;
        throw Failure("--keep field=" + keep.field + ": the definitions of " + KindName(definitions.kind) +
                      " items have no such property." + Suggestion(keep.field, known));
    }
}

std::vector<long long> KeepFacts(CItemReader& reader, const Keep& keep, const Definitions& definitions,
                                 const std::vector<const Item*>& items) {
    if (keep.rule == Keep::Rule::LargestValues) return LargestValues(reader, definitions, items);
    std::vector<long long> facts;
    facts.reserve(items.size());
    for (size_t i = 0; i < items.size(); ++i) {
        // The order of the folders is that of the items.
        const long long place = static_cast<long long>(i);
        facts.push_back(keep.rule == Keep::Rule::First  ? -place
                        : keep.rule == Keep::Rule::Last ? place
                                                        : Fact(reader, keep, definitions, *items[i]));
    }
    return facts;
}

std::string KeepSentence(const Keep& keep, long long kept, long long next) {
    switch (keep.rule) {
        case Keep::Rule::MostFilled:
            return "most filled: " + std::to_string(kept) + " values, the next has " + std::to_string(next);
        case Keep::Rule::First:
            return "the first in the order of the folders";
        case Keep::Rule::Last:
            return "the last in the order of the folders";
        case Keep::Rule::Newest:
            return "the newest";
        case Keep::Rule::Oldest:
            return "the oldest";
        case Keep::Rule::Read:
            return "it is read";
        case Keep::Rule::Flagged:
            return "it is flagged";
        case Keep::Rule::LargestValues:
            return "the longest values: in " + std::to_string(kept) + " of the compared properties";
        case Keep::Rule::Largest:
            return "the largest: " + SizeText(static_cast<unsigned long long>(kept));
        case Keep::Rule::Field:
            return "by field=" + keep.field + ":" + keep.text;
        case Keep::Rule::Recurrence:
            return "it is a recurring series";
        case Keep::Rule::CrmId:
            return "it carries a CRM identifier";
    }
    return {};
}

}  // namespace host
