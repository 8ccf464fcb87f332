#pragma once
// The original by a wanted field value: whether an item's value of one property matches it.

#include <string>

#include "dupsearch/CItems.h"
#include "quorvel.h"

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

/// The session's address book, opened once; its failure is remembered.
class CAddressBook {
  public:
    /// Null when it cannot be opened, which is logged the first time.
    IAddrBook* Get(IMAPISession* session);

  private:
    ComPtr<IAddrBook> m_book;
    HRESULT m_result = S_OK;
    bool m_tried = false;
};

/// An e-mail property of a contact as an SMTP address where the address book knows one; else as it is.
HRESULT GetContactSmtpEmail(CAddressBook& book, IMAPISession* session, IMessage* item, ULONG tag, int index,
                            SPropValue** value);

/// Whether the open item carries the wanted value in the property of the definition, whose tag is resolved.
bool HasFieldValue(CAddressBook& book, IMAPISession* session, IMessage* item, const TComparyProp& definition,
                   const TWantedValue& wanted);
