#pragma once
// The contact fields that the similar search reads and compares, and the further fields that it only counts.
//
// Both are tables in fields.cpp. A compared field's position in its table is its index everywhere in this
// engine, and TSimilarPropIndexes gives each index its name.

#include <windows.h>

#include <cstdint>
#include <vector>

#include "quorvel.h"
#include "similar/compare_method.h"

namespace similar {

/// Room for fields in the records of the engine.
inline constexpr int kFieldCapacity = 150;

/// A set of compared fields, a bit for each index.
using TFieldSet = uint64_t;
constexpr TFieldSet SetOf(int field) {
    return field < 0 ? 0 : TFieldSet{1} << field;
}

template <size_t N>
constexpr std::array<int, N> UnsetIndexes() {
    std::array<int, N> indexes{};
    for (int& index : indexes) index = -1;
    return indexes;
}

/// Index of each compared field, and the fields that form groups. Every index is -1 until the field list is
/// built.
struct TSimilarPropIndexes {
    int Title = -1, FirstName = -1, MiddleName = -1, LastName = -1, Suffix = -1;
    int BusinessAddressStreet = -1, HomeAddressStreet = -1, OtherAddressStreet = -1;
    int AssistantsPhone = -1, BusinessFax = -1, BusinessPhone = -1, BusinessPhone2 = -1, Callback = -1,
        CarPhone = -1, CompanyMainPhone = -1, HomeFax = -1, HomePhone = -1, HomePhone2 = -1, ISDN = -1,
        MobilePhone = -1, OtherFax = -1, OtherPhone = -1, Pager = -1, PrimaryPhone = -1, RadioPhone = -1,
        Telex = -1, TTYTDDPhone = -1;
    int Email = -1, Email2 = -1, Email3 = -1;
    int Account = -1, Anniversary = -1, AssistantsName = -1, BillingInformation = -1, Birthday = -1,
        Categories = -1, Children = -1, Company = -1, CustomerID = -1, Department = -1, FTPSite = -1,
        GovernmentIDNumber = -1, Hobbies = -1, IMAddress = -1, InternetFreeBusyAddress = -1, JobTitle = -1,
        Language = -1, Location = -1, ManagersName = -1, Mileage = -1, Nickname = -1, Notes = -1,
        OfficeLocation = -1, OrganizationalIDNumber = -1, PersonalHomePage = -1, Profession = -1,
        ReferredBy = -1, Spouse = -1, UserField1 = -1, UserField2 = -1, UserField3 = -1, UserField4 = -1,
        WebPage = -1, BusinessHomePage = -1;

    std::array<int, 3> StreetAddresses = UnsetIndexes<3>();
    std::array<int, 3> Emails = UnsetIndexes<3>();
    std::array<int, 19> Phones = UnsetIndexes<19>();
    std::array<int, 2> BusinessPhones = UnsetIndexes<2>();
    std::array<int, 2> HomePhones = UnsetIndexes<2>();

    /// Field index of phone 1 to 19; any other number asserts and gives -1.
    int Phone(int number) const;
};

/// Names one field in a table.
using TFieldName = int TSimilarPropIndexes::*;

/// The compared fields: their definitions, named ones without a tag, and the indexes into these.
struct TContactFields {
    std::vector<TComparyProp> list;
    TSimilarPropIndexes indexes;

    int Count() const { return static_cast<int>(list.size()); }
    const wchar_t* Name(int field) const { return list.data()[field].lpszName; }
    ULONG TypeOf(int field) const { return list.data()[field].nType; }
    bool IsName(int field) const { return field == indexes.FirstName || field == indexes.LastName; }
    bool IsDate(int field) const { return field == indexes.Birthday || field == indexes.Anniversary; }
};

TContactFields BuildFields();
/// The counted fields: those of the second table that the compared fields do not hold already.
std::vector<TComparyProp> BuildOtherFields(const TContactFields& fields);

/// Methods by which the values of a compared field may match.
const TMethods& MethodsOf(int field);

}  // namespace similar
