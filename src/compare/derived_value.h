#pragma once
// What the builders of derived values share.

#include "base/mapi_extra.h"
#include "store/resources.h"

namespace compare {

/// The one tag, without type, of each derived property's values. Published properties that say the same in
/// one value stand for the whole, so that dumps stay readable.
inline constexpr ULONG kIdAnyAddress = PROP_ID(PR_POSTAL_ADDRESS);
inline constexpr ULONG kIdAnyEmail = PROP_ID(PR_EMAIL_ADDRESS);
inline constexpr ULONG kIdAnyPhone = PROP_ID(PR_PRIMARY_TELEPHONE_NUMBER);
inline constexpr ULONG kIdCompanyContact = PROP_ID(PR_COMPANY_NAME);
inline constexpr ULONG kIdSenders = PROP_ID(PR_SENDER_NAME);
inline constexpr ULONG kIdRecipients = PROP_ID(PR_MESSAGE_RECIPIENTS);

/// New zeroed block of so many bytes, a value at its start. The platform's result.
HRESULT AllocateValue(size_t bytes, store::MapiBuffer<SPropValue>* value);

/// Makes an allocated value say that the item has nothing of the sort.
inline void SetNotFound(SPropValue& value, ULONG id) {
    value.ulPropTag = PROP_TAG(PT_ERROR, id);
    value.Value.err = MAPI_E_NOT_FOUND;
}

}  // namespace compare
