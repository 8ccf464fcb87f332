#pragma once
// Named properties to tags. Names are looked up, never created.

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
HRESULT ResolveTags(IMessage* item, TComparyProps* props);
}  // namespace store
