#pragma once
// The original by a wanted field value: whether an item's value of one property matches it.

#include <string>

#include "items/CItemReader.h"
#include "quorvel.h"

namespace dupsearch {

/// A wanted value and its type. A wide text is in lower case already.
struct TWantedValue {
    ULONG type = PT_NULL;
    LONG number = 0;      // PT_I2, PT_LONG
    double real = 0.0;    // PT_DOUBLE
    bool flag = false;    // PT_BOOLEAN
    std::wstring text{};  // PT_UNICODE
    std::string text8{};  // PT_STRING8
    SYSTEMTIME time{};    // PT_SYSTIME
};

/// Whether a filled value matches the wanted one. Types that do not go together, and types that cannot be
/// matched, are logged and do not match. method: how times are compared.
bool MatchesWantedValue(const TWantedValue& wanted, const SPropValue& value, ECompareMethod method);

/// An e-mail property of a contact as an SMTP address where the address book knows one; else as it is.
HRESULT GetContactSmtpEmail(items::CItemReader& reader, items::CItemReader::TStore& store, IMessage* item,
                            ULONG tag, int index, SPropValue** value);

/// Whether the open item carries the wanted value in the property of the definition, whose tag is its store's.
bool HasFieldValue(items::CItemReader& reader, items::CItemReader::TStore& store, IMessage* item,
                   const TComparyProp& definition, const TWantedValue& wanted);

}  // namespace dupsearch
