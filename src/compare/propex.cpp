#include "compare/propex.h"

#include <cstring>
#include <optional>
#include <span>

#include "compare/derived_value.h"
#include "compare/named_values.h"
#include "compare/value_compare.h"
#include "log/PlatformCalls.h"
#include "log/identifier_text.h"
#include "store/named_properties.h"
#include "store/properties.h"

namespace {

constexpr long kAddressIds[kAddressKinds] = {0x801A, 0x801B, 0x801C};
constexpr long kEmailIds[kEmailKinds] = {0x8083, 0x8093, 0x80A3};

constexpr ULONG kPhoneTags[kPhoneKinds] = {
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

constexpr ULONG kSenderTags[kSenderKinds] = {PR_SENT_REPRESENTING_NAME_W,
                                             PR_SENT_REPRESENTING_EMAIL_ADDRESS_W, PR_SENDER_NAME_W,
                                             PR_SENDER_EMAIL_ADDRESS_W};

ULONG TextType(bool unicode) {
    return unicode ? PT_UNICODE : PT_STRING8;
}

/// The tags of a derived value that the store knows, each with the kind it stands for.
struct KindTags {
    SizedSPropTagArray(kPhoneKinds, tags) = {};
    ULONG kinds[kPhoneKinds] = {};

    void Add(ULONG tag, ULONG kind) {
        kinds[tags.cValues] = kind;
        tags.aulPropTag[tags.cValues++] = tag;
    }
    SPropTagArray* List() { return reinterpret_cast<SPropTagArray*>(&tags); }
};

HRESULT NewNotFound(ULONG id, const char* tag, SPropValue** value) {
    PlatformCalls calls(tag);
    MapiBuffer<SPropValue> none;
    if (!calls(AllocateValue(sizeof(SPropValue), &none), "MAPIAllocateBuffer return 0x%x\n"))
        return calls.result;
    SetNotFound(*none, id);
    *value = none.release();
    return S_OK;
}

/// Reads the tags into one multi-valued string under the derived property's own id.
HRESULT ReadTogether(IMessage* item, KindTags& wanted, ULONG id, const char* tag, SPropValue** value,
                     ULONG* kinds) {
    *value = nullptr;
    if (wanted.tags.cValues == 0) return NewNotFound(id, tag, value);

    MapiBuffer<SPropValue> together;
    ULONG sources[kPhoneKinds] = {};
    const HRESULT hr = store::GetPropValuesInOneMValue(item, wanted.List(), Out(together), sources);
    if (!store::IsReadSuccess(hr)) return hr;
    if (!together) return NewNotFound(id, tag, value);

    together->ulPropTag = PROP_TAG(PROP_TYPE(together->ulPropTag), id);
    const bool found = PROP_TYPE(together->ulPropTag) != PT_ERROR;
    for (ULONG i = 0; kinds && found && i < together->Value.MVl.cValues; ++i)
        kinds[i] = wanted.kinds[sources[i]];
    *value = together.release();
    return hr;
}

HRESULT ReadPlainTexts(IMessage* item, std::span<const ULONG> tags, bool unicode, ULONG id, const char* tag,
                       SPropValue** value, ULONG* kinds) {
    KindTags wanted;
    for (ULONG kind = 0; kind < tags.size(); ++kind) {
        wanted.Add(CHANGE_PROP_TYPE(tags[kind], TextType(unicode)), kind);
    }
    return ReadTogether(item, wanted, id, tag, value, kinds);
}

std::optional<GUID> AddressSet() {
    GUID set;
    return Str2GUID(kSetAddress, &set) ? std::optional(set) : std::nullopt;
}

HRESULT ReadAddressTexts(IMessage* item, std::span<const long> ids, bool unicode, ULONG id, const char* tag,
                         SPropValue** value, ULONG* kinds, CKnownNames* names) {
    *value = nullptr;
    CKnownNames none;
    if (!names) names = &none;
    static const std::optional<GUID> set = AddressSet();
    if (!set) {
        g_Log.Error(tag, "Str2GUID failed\n");
        return -1;
    }
    KindTags wanted;
    for (ULONG kind = 0; kind < ids.size(); ++kind) {
        ULONG resolved = 0;
        const HRESULT hr = names->LookUp(item, *set, {ids[kind], nullptr, TextType(unicode)}, &resolved);
        if (hr != S_OK) {
            g_Log.Error(tag, "Critical: GetIDFromName(%d) failed, error = 0x%x\n", static_cast<int>(kind),
                        static_cast<unsigned>(hr));
            return hr;
        }
        if (resolved != 0) wanted.Add(resolved, kind);
    }
    return ReadTogether(item, wanted, id, tag, value, kinds);
}

}  // namespace

HRESULT AllocateValue(size_t bytes, MapiBuffer<SPropValue>* value) {
    const HRESULT hr = Allocate(bytes, *value);
    if (hr == S_OK) std::memset(value->get(), 0, bytes);
    return hr;
}

HRESULT ContactItem_Addresses(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds,
                              CKnownNames* names) {
    return ReadAddressTexts(item, kAddressIds, unicode, kIdAnyAddress, "QuorvelProps.ContactItem_Addresses",
                            value, kinds, names);
}

HRESULT ContactItem_Emails(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds,
                           CKnownNames* names) {
    return ReadAddressTexts(item, kEmailIds, unicode, kIdAnyEmail, "QuorvelProps.ContactItem_Emails", value,
                            kinds, names);
}

HRESULT ContactItem_Phones(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds) {
    return ReadPlainTexts(item, kPhoneTags, unicode, kIdAnyPhone, "QuorvelProps.ContactItem_Phones", value,
                          kinds);
}

HRESULT MailItem_Senders(IMessage* item, bool unicode, SPropValue** value) {
    return ReadPlainTexts(item, kSenderTags, unicode, kIdSenders, "MailItem_Senders", value, nullptr);
}
