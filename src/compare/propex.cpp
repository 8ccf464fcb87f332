#include "compare/propex.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>

#include "compare/CTagArray.h"
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

/// What the elements of a derived value are read from: published properties, or names of the address set.
struct TextSources {
    unsigned propex;
    ULONG id;  // of the derived value's tag
    const char* logTag;
    std::span<const ULONG> tags;
    std::span<const long> names;
};
constexpr TextSources kTextSources[] = {
    {propexAnyAddress, kIdAnyAddress, "QuorvelProps.ContactItem_Addresses", {}, kAddressIds},
    {propexAnyEmail, kIdAnyEmail, "QuorvelProps.ContactItem_Emails", {}, kEmailIds},
    {propexAnyPhone, kIdAnyPhone, "QuorvelProps.ContactItem_Phones", kPhoneTags, {}},
    {propexSenders, kIdSenders, "MailItem_Senders", kSenderTags, {}},
};

const TextSources* FindTextSources(unsigned propex) {
    const auto found = std::ranges::find(kTextSources, propex, &TextSources::propex);
    return found == std::end(kTextSources) ? nullptr : found;
}

const std::optional<GUID>& AddressSet() {
    static const std::optional<GUID> set = [] {
        GUID parsed;
        return Str2GUID(kSetAddress, &parsed) ? std::optional(parsed) : std::nullopt;
    }();
    return set;
}

/// Tags for the names that the item's store knows.
HRESULT LookUpNames(IMessage* item, const TextSources& sources, bool unicode, CKnownNames* names,
                    KindTags& wanted) {
    CKnownNames none;
    if (!names) names = &none;
    const std::optional<GUID>& set = AddressSet();
    if (!set) {
        g_Log.Error(sources.logTag, "Str2GUID failed\n");
        return -1;
    }
    for (ULONG kind = 0; kind < sources.names.size(); ++kind) {
        ULONG tag = 0;
        const HRESULT hr = names->LookUp(item, *set, {sources.names[kind], nullptr, TextType(unicode)}, &tag);
        if (hr != S_OK) {
            g_Log.Error(sources.logTag, "Critical: GetIDFromName(%d) failed, error = 0x%x\n",
                        static_cast<int>(kind), static_cast<unsigned>(hr));
            return hr;
        }
        if (tag != 0) wanted.Add(tag, kind);
    }
    return S_OK;
}

/// Reads the sources of a derived value into one multi-valued string.
HRESULT ReadTexts(IMessage* item, unsigned propex, bool unicode, SPropValue** value, ULONG* kinds,
                  CKnownNames* names = nullptr) {
    *value = nullptr;
    const TextSources& sources = *FindTextSources(propex);
    KindTags wanted;
    for (ULONG kind = 0; kind < sources.tags.size(); ++kind) {
        wanted.Add(CHANGE_PROP_TYPE(sources.tags[kind], TextType(unicode)), kind);
    }
    if (!sources.names.empty()) {
        const HRESULT hr = LookUpNames(item, sources, unicode, names, wanted);
        if (hr != S_OK) return hr;
    }
    if (wanted.tags.cValues == 0) return NewNotFound(sources.id, sources.logTag, value);

    MapiBuffer<SPropValue> together;
    ULONG elements[kPhoneKinds] = {};
    const HRESULT hr = store::GetPropValuesInOneMValue(item, wanted.List(), Out(together), elements);
    if (!store::IsReadSuccess(hr)) return hr;
    if (!together) return NewNotFound(sources.id, sources.logTag, value);

    together->ulPropTag = PROP_TAG(PROP_TYPE(together->ulPropTag), sources.id);
    const bool found = PROP_TYPE(together->ulPropTag) != PT_ERROR;
    for (ULONG i = 0; kinds && found && i < together->Value.MVl.cValues; ++i)
        kinds[i] = wanted.kinds[elements[i]];
    *value = together.release();
    return hr;
}

}  // namespace

HRESULT AllocateValue(size_t bytes, MapiBuffer<SPropValue>* value) {
    const HRESULT hr = Allocate(bytes, *value);
    if (hr == S_OK) std::memset(value->get(), 0, bytes);
    return hr;
}

HRESULT ContactItem_Addresses(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds,
                              CKnownNames* names) {
    return ReadTexts(item, propexAnyAddress, unicode, value, kinds, names);
}

HRESULT ContactItem_Emails(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds,
                           CKnownNames* names) {
    return ReadTexts(item, propexAnyEmail, unicode, value, kinds, names);
}

HRESULT ContactItem_Phones(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds) {
    return ReadTexts(item, propexAnyPhone, unicode, value, kinds);
}

HRESULT MailItem_Senders(IMessage* item, bool unicode, SPropValue** value) {
    return ReadTexts(item, propexSenders, unicode, value, nullptr);
}

ULONG DerivedTextsTag(unsigned propex) {
    const TextSources* const sources = FindTextSources(propex);
    return sources ? PROP_TAG(PT_MV_UNICODE, sources->id) : 0;
}

bool AppendTextTags(unsigned propex, const CKnownNames& names, CTagArray& tags) {
    const TextSources& sources = *FindTextSources(propex);
    const auto idOf = [&](long name) { return AddressSet() ? names.Find(*AddressSet(), name) : 0; };
    if (std::ranges::any_of(sources.names, [&](long name) { return idOf(name) == 0; })) return false;
    for (const ULONG tag : sources.tags) tags.Append(CHANGE_PROP_TYPE(tag, PT_UNICODE));
    for (const long name : sources.names) tags.Append(PROP_TAG(PT_UNICODE, idOf(name)));
    return true;
}
