#pragma once
// Definitions of compared properties, with what differs from the usual.

#include "base/names.h"
#include "quorvel.h"
#include "store/named_properties.h"

inline TComparyProp Tagged(const wchar_t* key, ULONG tag, unsigned method = cmExact, unsigned nInterface = 0,
                           unsigned compared = 1) {
    return {key, L"Name", 0, tag, nullptr, 0, nullptr, PROP_TYPE(tag), nInterface, compared, method, 0};
}
inline TComparyProp Named(const wchar_t* key, const char* set, int id, ULONG type, unsigned method = cmExact,
                          unsigned nInterface = 0) {
    return {key, L"Name", 0, 0, set, id, nullptr, type, nInterface, 1, method, 0};
}
inline TComparyProp Derived(const wchar_t* key, int id, unsigned method = cmExact) {
    return Named(key, base::kPrivateSet, id, PT_MV_UNICODE, method);
}
