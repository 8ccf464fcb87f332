#pragma once
// Several single values of an item gathered into one multi-valued value.

#include <mapidefs.h>

#include <cstddef>

namespace store {

/// One multi-valued value of the found, non-empty values in tag order; PT_ERROR with MAPI_E_NOT_FOUND when
/// there is none. Found values of different types, or of a type without a multi-valued form, are
/// MAPI_E_INVALID_TYPE. The property id in the value's tag is 0. sources, when given, has room for
/// tags->cValues entries and receives for each element the index of the tag that it came from.
HRESULT GetPropValuesInOneMValue(IMessage* item, SPropTagArray* tags, SPropValue** value,
                                 ULONG* sources = nullptr);
/// The bytes that a value of a single-valued type keeps outside its record: a text with its terminator, the
/// bytes of a binary, a GUID.
struct TOutside {
    const void* data = nullptr;  // null: nothing
    size_t size = 0;
};
TOutside OutsideOf(const SPropValue& value);

}  // namespace store
