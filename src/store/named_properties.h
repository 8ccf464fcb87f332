#pragma once
// Named properties to tags. Names are looked up, never created.

#include <mapicode.h>

#include <vector>

#include "quorvel.h"
#include "store/resources.h"

/// The library's own property set, whose entries name derived properties.
inline constexpr char kPrivateSet[] = "{7A3C5E19-4B82-4D6F-9E15-3F8A2C6B7D40}";
inline constexpr char kSetAddress[] = "{00062004-0000-0000-C000-000000000046}";
inline constexpr char kSetAppointment[] = "{00062002-0000-0000-C000-000000000046}";
inline constexpr char kSetTask[] = "{00062003-0000-0000-C000-000000000046}";
inline constexpr char kSetCommon[] = "{00062008-0000-0000-C000-000000000046}";
inline constexpr char kSetJournal[] = "{0006200A-0000-0000-C000-000000000046}";
inline constexpr char kSetPublicStrings[] = "{00020329-0000-0000-C000-000000000046}";

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
