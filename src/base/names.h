#pragma once
// Every property that the library asks for by name, and the telephone numbers of a contact: each of them once.
//
// Which tag a name has is a matter of the store: CStoreNames and CDefinedTags in items.

#include <iterator>

#include "base/mapi_extra.h"

namespace base {

/// The library's own property set, whose entries name derived properties.
inline constexpr char kPrivateSet[] = "{7A3C5E19-4B82-4D6F-9E15-3F8A2C6B7D40}";
inline constexpr char kSetAddress[] = "{00062004-0000-0000-C000-000000000046}";
inline constexpr char kSetAppointment[] = "{00062002-0000-0000-C000-000000000046}";
inline constexpr char kSetTask[] = "{00062003-0000-0000-C000-000000000046}";
inline constexpr char kSetCommon[] = "{00062008-0000-0000-C000-000000000046}";
inline constexpr char kSetJournal[] = "{0006200A-0000-0000-C000-000000000046}";
inline constexpr char kSetPublicStrings[] = "{00020329-0000-0000-C000-000000000046}";

enum EName : unsigned {
    nameFileAs,
    nameHasPhoto,
    nameHomeAddress,
    nameBusinessAddress,
    nameOtherAddress,
    nameWebPage,
    nameBusinessStreet,
    nameBusinessCity,
    nameBusinessState,
    nameBusinessPostalCode,
    nameBusinessCountry,
    nameBusinessPostOfficeBox,
    nameUserField1,
    nameUserField2,
    nameUserField3,
    nameUserField4,
    nameImAddress,
    nameEmail1,
    nameEmail1EntryId,
    nameEmail2,
    nameEmail2EntryId,
    nameEmail3,
    nameEmail3EntryId,
    nameFreeBusyAddress,
    nameApntStart,
    nameApntEnd,
    nameApntDuration,
    nameApntAllDay,
    nameApntRecurring,
    nameTaskStart,
    nameTaskDue,
    nameJournalDuration,
    nameMileage,
    nameBilling,
    nameLinks,
    nameKeywords,
    nameCrmId,
    nameCount
};

struct TName {
    EName name;
    const char* set;
    long id;              // 0: the name is a text
    const wchar_t* text;  // null: it is a number
    ULONG type;           // PT_* to read it as
};

inline constexpr TName kNameTable[] = {
    {nameFileAs, kSetAddress, 0x8005, nullptr, PT_UNICODE},
    {nameHasPhoto, kSetAddress, 0x8015, nullptr, PT_BOOLEAN},
    {nameHomeAddress, kSetAddress, 0x801A, nullptr, PT_UNICODE},
    {nameBusinessAddress, kSetAddress, 0x801B, nullptr, PT_UNICODE},
    {nameOtherAddress, kSetAddress, 0x801C, nullptr, PT_UNICODE},
    {nameWebPage, kSetAddress, 0x802B, nullptr, PT_UNICODE},
    {nameBusinessStreet, kSetAddress, 0x8045, nullptr, PT_UNICODE},
    {nameBusinessCity, kSetAddress, 0x8046, nullptr, PT_UNICODE},
    {nameBusinessState, kSetAddress, 0x8047, nullptr, PT_UNICODE},
    {nameBusinessPostalCode, kSetAddress, 0x8048, nullptr, PT_UNICODE},
    {nameBusinessCountry, kSetAddress, 0x8049, nullptr, PT_UNICODE},
    {nameBusinessPostOfficeBox, kSetAddress, 0x804A, nullptr, PT_UNICODE},
    {nameUserField1, kSetAddress, 0x804F, nullptr, PT_UNICODE},
    {nameUserField2, kSetAddress, 0x8050, nullptr, PT_UNICODE},
    {nameUserField3, kSetAddress, 0x8051, nullptr, PT_UNICODE},
    {nameUserField4, kSetAddress, 0x8052, nullptr, PT_UNICODE},
    {nameImAddress, kSetAddress, 0x8062, nullptr, PT_UNICODE},
    {nameEmail1, kSetAddress, 0x8083, nullptr, PT_UNICODE},
    {nameEmail1EntryId, kSetAddress, 0x8085, nullptr, PT_BINARY},
    {nameEmail2, kSetAddress, 0x8093, nullptr, PT_UNICODE},
    {nameEmail2EntryId, kSetAddress, 0x8095, nullptr, PT_BINARY},
    {nameEmail3, kSetAddress, 0x80A3, nullptr, PT_UNICODE},
    {nameEmail3EntryId, kSetAddress, 0x80A5, nullptr, PT_BINARY},
    {nameFreeBusyAddress, kSetAddress, 0x80D8, nullptr, PT_UNICODE},
    {nameApntStart, kSetAppointment, 0x820D, nullptr, PT_SYSTIME},
    {nameApntEnd, kSetAppointment, 0x820E, nullptr, PT_SYSTIME},
    {nameApntDuration, kSetAppointment, 0x8213, nullptr, PT_LONG},
    {nameApntAllDay, kSetAppointment, 0x8215, nullptr, PT_BOOLEAN},
    {nameApntRecurring, kSetAppointment, 0x8223, nullptr, PT_BOOLEAN},
    {nameTaskStart, kSetTask, 0x8104, nullptr, PT_SYSTIME},
    {nameTaskDue, kSetTask, 0x8105, nullptr, PT_SYSTIME},
    {nameJournalDuration, kSetJournal, 0x8707, nullptr, PT_LONG},
    {nameMileage, kSetCommon, 0x8534, nullptr, PT_UNICODE},
    {nameBilling, kSetCommon, 0x8535, nullptr, PT_UNICODE},
    {nameLinks, kSetCommon, 0x8586, nullptr, PT_MV_BINARY},
    {nameKeywords, kSetPublicStrings, 0, L"Keywords", PT_MV_UNICODE},
    {nameCrmId, kSetPublicStrings, 0, L"crmid", PT_STRING8},
};
static_assert(std::size(kNameTable) == nameCount && [] {
    for (unsigned i = 0; i < nameCount; ++i)
        if (kNameTable[i].name != i) return false;
    return true;
}());

inline constexpr EName kPostalAddresses[] = {nameHomeAddress, nameBusinessAddress, nameOtherAddress};
inline constexpr EName kEmails[] = {nameEmail1, nameEmail2, nameEmail3};
/// Of the address-book entry behind each e-mail.
inline constexpr EName kEmailEntryIds[] = {nameEmail1EntryId, nameEmail2EntryId, nameEmail3EntryId};

/// The telephone numbers, in the order in which they are the elements of any phone.
enum EPhone : unsigned {
    phoneCar,
    phoneHome,
    phoneHome2,
    phoneHomeFax,
    phoneMobile,
    phonePager,
    phoneRadio,
    phoneBusiness,
    phoneBusiness2,
    phoneBusinessFax,
    phoneCompany,
    phoneTelex,
    phoneAssistant,
    phoneCallback,
    phoneIsdn,
    phonePrimary,
    phoneOther,
    phoneOtherFax,
    phoneTtytdd,
    phoneCount
};
inline constexpr ULONG kPhoneTags[] = {
    PR_CAR_TELEPHONE_NUMBER_W,        // phoneCar
    PR_HOME_TELEPHONE_NUMBER_W,       // phoneHome
    PR_HOME2_TELEPHONE_NUMBER_W,      // phoneHome2
    PR_HOME_FAX_NUMBER_W,             // phoneHomeFax
    PR_MOBILE_TELEPHONE_NUMBER_W,     // phoneMobile
    PR_PAGER_TELEPHONE_NUMBER_W,      // phonePager
    PR_RADIO_TELEPHONE_NUMBER_W,      // phoneRadio
    PR_BUSINESS_TELEPHONE_NUMBER_W,   // phoneBusiness
    PR_BUSINESS2_TELEPHONE_NUMBER_W,  // phoneBusiness2
    PR_BUSINESS_FAX_NUMBER_W,         // phoneBusinessFax
    PR_COMPANY_MAIN_PHONE_NUMBER_W,   // phoneCompany
    PR_TELEX_NUMBER_W,                // phoneTelex
    PR_ASSISTANT_TELEPHONE_NUMBER_W,  // phoneAssistant
    PR_CALLBACK_TELEPHONE_NUMBER_W,   // phoneCallback
    PR_ISDN_NUMBER_W,                 // phoneIsdn
    PR_PRIMARY_TELEPHONE_NUMBER_W,    // phonePrimary
    PR_OTHER_TELEPHONE_NUMBER_W,      // phoneOther
    PR_PRIMARY_FAX_NUMBER_W,          // phoneOtherFax
    PR_TTYTDD_PHONE_NUMBER_W,         // phoneTtytdd
};
static_assert(std::size(kPhoneTags) == phoneCount);

}  // namespace base
