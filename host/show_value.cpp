#include "host/show_value.h"

#include <mapitags.h>

#include <cstdio>

#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

// What a derived property is gathered from: named properties of the address set, or tags.
constexpr int kAddressIds[] = {0x801A, 0x801B, 0x801C};
constexpr int kEmailIds[] = {0x8083, 0x8093, 0x80A3};
constexpr ULONG kPhoneTags[] = {
    PR_CAR_TELEPHONE_NUMBER_W,
    PR_HOME_TELEPHONE_NUMBER_W,
    PR_HOME2_TELEPHONE_NUMBER_W,
    PR_HOME_FAX_NUMBER_W,
    PR_MOBILE_TELEPHONE_NUMBER_W,
    PR_PAGER_TELEPHONE_NUMBER_W,
    PR_RADIO_TELEPHONE_NUMBER_W,
    PR_BUSINESS_TELEPHONE_NUMBER_W,
    PR_BUSINESS2_TELEPHONE_NUMBER_W,
    PR_BUSINESS_FAX_NUMBER_W,
    PR_COMPANY_MAIN_PHONE_NUMBER_W,
    PR_TELEX_NUMBER_W,
    PR_ASSISTANT_TELEPHONE_NUMBER_W,
    PR_CALLBACK_TELEPHONE_NUMBER_W,
    PR_ISDN_NUMBER_W,
    PR_PRIMARY_TELEPHONE_NUMBER_W,
    PR_OTHER_TELEPHONE_NUMBER_W,
    PR_PRIMARY_FAX_NUMBER_W,
    PR_TTYTDD_PHONE_NUMBER_W,
};
constexpr ULONG kSenderTags[] = {PR_SENT_REPRESENTING_NAME_W, PR_SENT_REPRESENTING_EMAIL_ADDRESS_W,
                                 PR_SENDER_NAME_W, PR_SENDER_EMAIL_ADDRESS_W};

std::string Cut(const std::string& text, size_t limit) {
    return Width(text) <= limit ? text : Fit(text, limit);
}

void Append(std::string& list, const std::string& text, const char* separator) {
    if (text.empty()) return;
    if (!list.empty()) list += separator;
    list += text;
}

}  // namespace

ULONG ResolvedTag(IMessage* message, const char* set, int id, const wchar_t* stringId, unsigned type) {
    TComparyProp entry{};
    entry.lpszKey = L"";
    entry.lpszGuid = set;
    entry.nID = id;
    entry.lpszID = stringId;
    entry.nType = type;
    TComparyProps list{1, &entry};
    Quorvel_ResolveTags(message, &list);
    return entry.ulPropTag;
}

std::span<const int> DerivedNumbers(int id) {
    if (id == 1) return kAddressIds;
    if (id == 2) return kEmailIds;
    return {};
}

std::span<const ULONG> DerivedTags(int id) {
    if (id == 3) return kPhoneTags;
    if (id == 5) return kSenderTags;
    return {};
}

namespace {

std::string Show(const SPropValue& value) {
    char number[48];
    switch (PROP_TYPE(value.ulPropTag)) {
        case PT_UNICODE:
            return Narrow(value.Value.lpszW);
        case PT_BOOLEAN:
            return value.Value.b ? "yes" : "no";
        case PT_LONG:
            return std::to_string(value.Value.l);
        case PT_I2:
            return std::to_string(value.Value.i);
        case PT_DOUBLE:
            snprintf(number, sizeof number, "%g", value.Value.dbl);
            return number;
        case PT_SYSTIME:
            return TimeText(value.Value.ft);
        case PT_BINARY:
            return Hex(value.Value.bin.lpb, value.Value.bin.cb);
        case PT_MV_UNICODE: {
            std::string list;
            for (ULONG i = 0; i < value.Value.MVszW.cValues; ++i)
                Append(list, Narrow(value.Value.MVszW.lppszW[i]), ", ");
            return list;
        }
        default:
            return {};
    }
}

std::string ShowTag(IMessage* message, ULONG tag) {
    if (tag == 0) return {};
    const MapiPtr<SPropValue> value = ReadValue(message, tag);
    return value ? Show(*value) : std::string();
}

std::string ShowStream(IMessage* message, ULONG tag) {
    void* raw = nullptr;
    unsigned long bytes = 0;
    const HRESULT hr = Quorvel_GetStreamPropValue(message, static_cast<long>(tag), &raw, &bytes, 1);
    const MapiPtr<void> text(raw);
    if (hr != S_OK || !text) return {};
    return PROP_TYPE(tag) == PT_UNICODE ? Narrow(static_cast<const wchar_t*>(text.get()))
                                        : std::string(static_cast<const char*>(text.get()));
}

std::string ShowRecipients(IMessage* message) {
    static constexpr const char* kRoles[] = {"To", "Cc", "Bcc"};
    ComPtr<IMAPITable> table;
    if (message->GetRecipientTable(0, table.GetAddressOf()) != S_OK) return {};
    std::string list;
    const std::vector<ULONG> columns{PR_RECIPIENT_TYPE, PR_DISPLAY_NAME_W, PR_EMAIL_ADDRESS_W};
    ForEachRow(table.Get(), columns, "recipients", [&](const SRow& row) {
        const long type = LongOf(FindValue(row.lpProps, row.cValues, PR_RECIPIENT_TYPE));
        const std::string name = TextOf(FindValue(row.lpProps, row.cValues, PR_DISPLAY_NAME_W));
        const std::string address = TextOf(FindValue(row.lpProps, row.cValues, PR_EMAIL_ADDRESS_W));
        std::string one = type >= MAPI_TO && type <= MAPI_BCC ? std::string(kRoles[type - 1]) + " " : "";
        one += name.empty() || name == address ? address : name + " <" + address + ">";
        Append(list, one, "; ");
        return true;
    });
    return list;
}

std::string ShowDerived(IMessage* message, int id) {
    std::string list;
    if (id == 4) {
        if (!ShowTag(message, PR_GIVEN_NAME_W).empty() || !ShowTag(message, PR_SURNAME_W).empty())
            return "no";
        return ShowTag(message, PR_COMPANY_NAME_W).empty() ? "" : "yes";
    }
    if (id == 6) return ShowRecipients(message);
    for (const int one : DerivedNumbers(id))
        Append(list, ShowTag(message, ResolvedTag(message, kAddressSet, one, nullptr, PT_UNICODE)), "; ");
    for (const ULONG tag : DerivedTags(id)) Append(list, ShowTag(message, tag), "; ");
    return list;
}

bool IsDerived(const TCatalogueEntry& property) {
    return property.set && std::string_view(property.set) == kDerivedSet;
}

ULONG TagOf(IMessage* message, const TCatalogueEntry& property) {
    if (property.tag) return property.tag;
    return ResolvedTag(message, property.set, property.id, property.stringId, property.type);
}

}  // namespace

bool IsUnreadable(IMessage* message, const TCatalogueEntry& property) {
    if (IsDerived(property) || property.stream) return false;
    const ULONG tag = TagOf(message, property);
    if (tag == 0) return false;
    SPropValue* raw = nullptr;
    const HRESULT hr = Quorvel_GetPropValue(message, static_cast<long>(tag), &raw);
    const MapiPtr<SPropValue> value(raw);
    if (hr == MAPI_E_NOT_FOUND) return false;
    return !value || (PROP_TYPE(value->ulPropTag) == PT_ERROR && value->Value.err != MAPI_E_NOT_FOUND);
}

std::string ShowValue(IMessage* message, const TCatalogueEntry& property, size_t limit) {
    // Not what the store says: the search compares what a person put in.
    if (property.tag == PR_MESSAGE_SIZE)
        return std::to_string(Quorvel_GetSubjectBodyAttachmentsSize(message, 1, nullptr, 0));
    if (IsDerived(property)) return Cut(ShowDerived(message, property.id), limit);
    const ULONG tag = TagOf(message, property);
    return Cut(property.stream ? ShowStream(message, tag) : ShowTag(message, tag), limit);
}

}  // namespace host
