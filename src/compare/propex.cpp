#include "compare/propex.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "compare/CTagArray.h"
#include "compare/derived_value.h"
#include "compare/named_values.h"
#include "log/CPlatformCalls.h"
#include "store/checked_calls.h"
#include "store/one_mvalue.h"

namespace compare {

using base::EName;
using logging::CPlatformCalls;
using logging::g_Log;
using store::MapiBuffer;

namespace {

constexpr ULONG kSenderTags[kSenderKinds] = {PR_SENT_REPRESENTING_NAME_W,
                                             PR_SENT_REPRESENTING_EMAIL_ADDRESS_W, PR_SENDER_NAME_W,
                                             PR_SENDER_EMAIL_ADDRESS_W};

ULONG TextType(bool unicode) {
    return unicode ? PT_UNICODE : PT_STRING8;
}

/// The tags of a derived value that the store knows, each with the kind it stands for.
struct TKindTags {
    SizedSPropTagArray(kPhoneKinds, tags) = {};
    ULONG kinds[kPhoneKinds] = {};

    void Add(ULONG tag, ULONG kind) {
        kinds[tags.cValues] = kind;
        tags.aulPropTag[tags.cValues++] = tag;
    }
    SPropTagArray* List() { return reinterpret_cast<SPropTagArray*>(&tags); }
};

HRESULT NewNotFound(ULONG id, const char* tag, SPropValue** value) {
    CPlatformCalls calls(tag);
    MapiBuffer<SPropValue> none;
    if (!calls(AllocateValue(sizeof(SPropValue), &none), "MAPIAllocateBuffer return 0x%x\n"))
        return calls.result;
    SetNotFound(*none, id);
    *value = none.release();
    return S_OK;
}

/// What the elements of a derived value are read from: published properties, or names of the address set.
struct TTextSources {
    unsigned propex;
    ULONG id;  // of the derived value's tag
    const char* logTag;
    std::span<const ULONG> tags;
    std::span<const EName> names;
};
constexpr TTextSources kTextSources[] = {
    {propexAnyAddress, kIdAnyAddress, "QuorvelProps.ContactItem_Addresses", {}, base::kPostalAddresses},
    {propexAnyEmail, kIdAnyEmail, "QuorvelProps.ContactItem_Emails", {}, base::kEmails},
    {propexAnyPhone, kIdAnyPhone, "QuorvelProps.ContactItem_Phones", base::kPhoneTags, {}},
    {propexSenders, kIdSenders, "MailItem_Senders", kSenderTags, {}},
};

const TTextSources* FindTextSources(unsigned propex) {
    const auto found = std::ranges::find(kTextSources, propex, &TTextSources::propex);
    return found == std::end(kTextSources) ? nullptr : found;
}

/// Tags for the names that the item's store knows.
HRESULT LookUpSources(IMessage* item, const TTextSources& sources, bool unicode, CNames* names,
                      TKindTags& wanted) {
    for (ULONG kind = 0; kind < sources.names.size(); ++kind) {
        ULONG tag = 0;
        const HRESULT hr = LookUpNames(item, sources.names.subspan(kind, 1), &tag, names);
        if (hr != S_OK) {
            g_Log.Error(sources.logTag, "Critical: GetIDFromName(%d) failed, error = 0x%x\n",
                        static_cast<int>(kind), static_cast<unsigned>(hr));
            return hr;
        }
        if (tag != 0) wanted.Add(CHANGE_PROP_TYPE(tag, TextType(unicode)), kind);
    }
    return S_OK;
}

/// Reads the sources of a derived value into one multi-valued string.
HRESULT ReadTexts(IMessage* item, unsigned propex, bool unicode, SPropValue** value, ULONG* kinds,
                  CNames* names = nullptr) {
    *value = nullptr;
    const TTextSources& sources = *FindTextSources(propex);
    TKindTags wanted;
    for (ULONG kind = 0; kind < sources.tags.size(); ++kind) {
        wanted.Add(CHANGE_PROP_TYPE(sources.tags[kind], TextType(unicode)), kind);
    }
    if (!sources.names.empty()) {
        const HRESULT hr = LookUpSources(item, sources, unicode, names, wanted);
        if (hr != S_OK) return hr;
    }
    if (wanted.tags.cValues == 0) return NewNotFound(sources.id, sources.logTag, value);

    MapiBuffer<SPropValue> together;
    ULONG elements[kPhoneKinds] = {};
    const HRESULT hr = store::GetPropValuesInOneMValue(item, wanted.List(), store::Out(together), elements);
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

HRESULT ContactItem_Addresses(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds, CNames* names) {
    return ReadTexts(item, propexAnyAddress, unicode, value, kinds, names);
}

HRESULT ContactItem_Emails(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds, CNames* names) {
    return ReadTexts(item, propexAnyEmail, unicode, value, kinds, names);
}

HRESULT ContactItem_Phones(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds) {
    return ReadTexts(item, propexAnyPhone, unicode, value, kinds);
}

HRESULT MailItem_Senders(IMessage* item, bool unicode, SPropValue** value) {
    return ReadTexts(item, propexSenders, unicode, value, nullptr);
}

ULONG DerivedTextsTag(unsigned propex) {
    const TTextSources* const sources = FindTextSources(propex);
    return sources ? PROP_TAG(PT_MV_UNICODE, sources->id) : 0;
}

bool AppendTextTags(unsigned propex, const CNames& names, CTagArray& tags) {
    const TTextSources& sources = *FindTextSources(propex);
    const auto isUnknown = [&](EName name) { return names.Find(name) == 0; };
    if (std::ranges::any_of(sources.names, isUnknown)) return false;
    for (const ULONG tag : sources.tags) tags.Append(CHANGE_PROP_TYPE(tag, PT_UNICODE));
    for (const EName name : sources.names) tags.Append(names.Find(name));
    return true;
}

}  // namespace compare
