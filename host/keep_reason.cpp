#include "host/keep_reason.h"

#include <algorithm>

#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

ComPtr<IMessage> Open(IMAPISession* session, const Catalog& catalog, const Item& item) {
    ComPtr<IMessage> message;
    const std::string& storeId = catalog.stores[catalog.folders[item.folder].store].entryId;
    if (Quorvel_OpenItem(session, item.entryId.c_str(), storeId.c_str(), message.GetAddressOf()) != S_OK) {
        message.Reset();
    }
    return message;
}

// Tags of the definitions against one item, plain and stream apart; named ones resolved.
struct Tags {
    std::vector<ULONG> plain{0};  // counted, as SPropTagArray is
    std::vector<ULONG> stream{0};
};

Tags ResolvedTags(IMessage* message, const Definitions& definitions) {
    PropertyList properties(definitions);
    Quorvel_ResolveTags(message, properties.get());
    Tags tags;
    for (int i = 0; i < properties.get()->n; ++i) {
        const TComparyProp& property = properties.get()->lpProps[i];
        if (property.ulPropTag == 0) continue;
        (property.nInterface == 0 ? tags.plain : tags.stream).push_back(property.ulPropTag);
    }
    tags.plain[0] = static_cast<ULONG>(tags.plain.size() - 1);
    tags.stream[0] = static_cast<ULONG>(tags.stream.size() - 1);
    return tags;
}

long long FilledCount(IMessage* message, const Definitions& definitions) {
    Tags tags = ResolvedTags(message, definitions);
    long plain = 0;
    long stream = 0;
    if (tags.plain[0]) {
        Quorvel_CountProps(message, reinterpret_cast<SPropTagArray*>(tags.plain.data()), &plain, nullptr);
    }
    if (tags.stream[0]) {
        Quorvel_CountStreamProps(message, reinterpret_cast<SPropTagArray*>(tags.stream.data()), &stream,
                                 nullptr);
    }
    return plain + stream;
}

MapiPtr<SPropValue> ReadNamed(IMessage* message, const char* set, int id, const wchar_t* stringId,
                              unsigned type) {
    TComparyProp entry{};
    entry.lpszKey = L"";
    entry.lpszGuid = set;
    entry.nID = id;
    entry.lpszID = stringId;
    entry.nType = type;
    TComparyProps list{1, &entry};
    Quorvel_ResolveTags(message, &list);
    return entry.ulPropTag ? ReadValue(message, entry.ulPropTag) : nullptr;
}

long long IsRecurring(IMessage* message) {
    const auto value =
        ReadNamed(message, "{00062002-0000-0000-C000-000000000046}", 0x8223, nullptr, PT_BOOLEAN);
    return value && value->Value.b != 0;
}

long long HasCrmId(IMessage* message) {
    const auto value = ReadNamed(message, "{00020329-0000-0000-C000-000000000046}", 0, L"crmid", PT_UNICODE);
    return value && value->Value.lpszW[0] != 0;
}

// A fact of an item, the larger the better; -1 when the item cannot be opened.
long long Fact(IMessage* message, const Item& item, const Definitions& definitions, Keep::Rule rule) {
    if (rule == Keep::Rule::Largest) return item.size;
    if (!message) return -1;
    switch (rule) {
        case Keep::Rule::Recurrence:
            return IsRecurring(message);
        case Keep::Rule::CrmId:
            return HasCrmId(message);
        default:
            return FilledCount(message, definitions);
    }
}

std::string Sentence(Keep::Rule rule, long long kept, long long best) {
    switch (rule) {
        case Keep::Rule::Largest:
            return "the largest: " + SizeText(static_cast<unsigned long long>(kept));
        case Keep::Rule::Recurrence:
            return "it is a recurring series";
        case Keep::Rule::CrmId:
            return "it carries a CRM identifier";
        default:
            return "most filled: " + std::to_string(kept) + " of the compared properties, the next has " +
                   std::to_string(best);
    }
}

}  // namespace

std::string KeepReason(IMAPISession* session, const Catalog& catalog, const std::vector<Item>& items,
                       const std::vector<size_t>& group, const Definitions& definitions, const Keep& keep) {
    if (keep.rule == Keep::Rule::First) return "the first in the order of the folders";
    if (keep.rule == Keep::Rule::Last) return "the last in the order of the folders";
    std::vector<ComPtr<IMessage>> messages;
    messages.reserve(group.size());
    for (const size_t item : group) messages.push_back(Open(session, catalog, items[item]));
    // The chosen rule first; a tie falls to the number of filled properties, then to the order.
    std::vector<Keep::Rule> rules{keep.rule, Keep::Rule::MostFilled};
    if (keep.rule == Keep::Rule::Field || keep.rule == Keep::Rule::LargestValues)
        rules = {Keep::Rule::MostFilled};
    for (const Keep::Rule rule : rules) {
        const long long kept = Fact(messages[0].Get(), items[group[0]], definitions, rule);
        long long best = -1;
        for (size_t i = 1; i < group.size(); ++i) {
            best = std::max(best, Fact(messages[i].Get(), items[group[i]], definitions, rule));
        }
        if (kept > best) return Sentence(rule, kept, best);
    }
    if (keep.rule == Keep::Rule::Field)
        return "by " + KeepText(keep) + ", then the first in the order of the folders";
    if (keep.rule == Keep::Rule::LargestValues)
        return "by the lengths of its values, then the first in order";
    return "all equal in this: the first in the order of the folders";
}

}  // namespace host
