#pragma once
// Named properties to tags. Names are looked up, never created.

#include <mapicode.h>

#include <vector>

#include "base/names.h"
#include "quorvel.h"
#include "store/resources.h"

namespace store {

HRESULT GetIDFromName(IMessage* item, MAPINAMEID* name, ULONG* tag);
ULONG GetIDFromName2(IMessage* item, const char* guid, long id, ULONG type);
HRESULT GetIDsFromNames(IMessage* item, ULONG count, MAPINAMEID* name, SPropTagArray** tags);
/// results, when given, receives the result of each definition's look-up, S_OK for one that was not looked up;
/// a look-up that fails is then tried a second time.
HRESULT ResolveTags(IMessage* item, TComparyProps* props, std::vector<HRESULT>* results = nullptr);

/// Whether a look-up did not answer. A store without the name, or without names, has answered.
inline bool IsLookUpFailure(HRESULT hr) {
    return hr != S_OK && hr != MAPI_W_ERRORS_RETURNED && hr != MAPI_E_NOT_FOUND && hr != MAPI_E_NO_SUPPORT;
}
/// The name of a definition without a tag, as the platform takes it; false for one that has none. It points into
/// the definition and *set.
bool NameOf(const TComparyProp& definition, GUID* set, MAPINAMEID* name);

}  // namespace store
