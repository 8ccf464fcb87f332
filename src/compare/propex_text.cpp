#include "compare/propex_text.h"

#include <cstdio>

#include "compare/propex.h"
#include "compare/recipients.h"
#include "log/CLog.h"
#include "log/value_text.h"

namespace compare {

using logging::g_Log;

namespace {

constexpr const wchar_t* kNames[] = {L"Contact.AnyAddress",     L"Contact.AnyEmail", L"Contact.AnyPhone",
                                     L"Contact.CompanyContact", L"Mail.Senders",     L"Mail.Recipients"};

constexpr const wchar_t* kAddressNames[kAddressKinds] = {L"HomeAddress", L"BusinessAddress", L"OtherAddress"};
constexpr const wchar_t* kEmailNames[kEmailKinds] = {L"Email1Address", L"Email2Address", L"Email3Address"};
constexpr const wchar_t* kPhoneNames[kPhoneKinds] = {
    L"Car",      L"Home",      L"Home2",       L"HomeFax",  L"Mobile", L"Pager",     L"Radio",
    L"Business", L"Business2", L"BusinessFax", L"Company",  L"Telex",  L"Assistant", L"Callback",
    L"ISDN",     L"Primary",   L"Other",       L"OtherFax", L"TTYTDD"};

/// The kinds of one derived property, and how wide their names and an unknown one print.
struct TKinds {
    EPropEx propex;
    const wchar_t* const* names;
    int count;
    int width;
    int unknownWidth;
};
constexpr TKinds kKinds[] = {{propexAnyAddress, kAddressNames, kAddressKinds, 15, 15},
                             {propexAnyEmail, kEmailNames, kEmailKinds, 0, 15},
                             {propexAnyPhone, kPhoneNames, kPhoneKinds, 11, 0}};

}  // namespace

const wchar_t* QuorvelPropEx_ToStringW(unsigned id) {
    if (id >= 1 && id <= std::size(kNames)) return kNames[id - 1];
    g_Log.Error("QuorvelPropEx_ToStringW", "Unknown propex(%d)\n", static_cast<int>(id));
    return L"unknown";
}

const wchar_t* PropExKindText(unsigned propex, int index, wchar_t* buffer, size_t capacity) {
    for (const TKinds& kinds : kKinds) {
        if (kinds.propex != propex) continue;
        if (index >= 0 && index < kinds.count) {
            _snwprintf(buffer, capacity, L"%-*s", kinds.width, kinds.names[index]);
        } else {
            wchar_t unknown[32];
            _snwprintf(unknown, std::size(unknown), L"Unknown(%d)", index);
            _snwprintf(buffer, capacity, L"%-*s", kinds.unknownWidth, unknown);
        }
        buffer[capacity - 1] = 0;
        return buffer;
    }
    _snwprintf(buffer, capacity, L"%d", index);
    buffer[capacity - 1] = 0;
    return buffer;
}

wchar_t* PropValueToText(const SPropValue* value, wchar_t* buffer, size_t capacity, unsigned propex,
                         bool verbose) {
    const bool recipients = propex == propexRecipients && value && PROP_TYPE(value->ulPropTag) == PT_BINARY &&
                            value->Value.bin.cb >= sizeof(TRecipientList);
    if (!recipients) return logging::PropValueText(value, buffer, capacity, verbose ? 1 : 0);
    return RecipientsToText(reinterpret_cast<const TRecipientList*>(value->Value.bin.lpb), buffer, capacity,
                            verbose);
}

}  // namespace compare
