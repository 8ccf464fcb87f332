#pragma once
// What merging may do with a property: tables, each row with its reason. A property is named as PropertyName does; what
// stores keep for themselves is no matter of merging at all (bookkeeping.h).

#include <string>
#include <vector>

#include "host/definitions.h"

namespace host {

/// Why a property of such an item never changes, not even where the kept copy has none; null when it may.
const char* WhyNever(EKind kind, const std::string& property);

/// Properties that say one thing together: what the kept copy lacks of them is copied only while nothing that both
/// copies have differs. Null when the property stands for itself.
struct TTogether {
    const char* why;
    std::vector<std::string> properties;
};
const TTogether* TogetherWith(const std::string& property);

/// Where a number or an address of this place may go when the place is taken, in order, and by what two of them are
/// one. Null when there is no other.
struct TPlaces {
    std::vector<std::string> places;  // the first is its own
    ECompareMethod method;
    bool isEmail;
};
const TPlaces* PlacesOf(const std::string& property);
/// All places that a number or an address of these may stand in already.
const std::vector<std::string>& PlacesOfKind(const TPlaces& places);

/// States of which the earlier in the list stands when copies differ. Null when it is no such state.
struct TRanked {
    std::string property;
    std::vector<std::string> states;
};
const TRanked* RankedStates(const std::string& property);

/// What goes along with a property, filled or not: without it the value would say something else. Of an e-mail address
/// the places are numbered alike.
std::vector<std::string> Companions(const std::string& property);

/// The forms of an item's text: plain, HTML, RTF.
bool IsTextForm(const std::string& property);
extern const char kPlainText[];
extern const char kHtmlText[];
extern const char kRtfText[];

/// Members of a distribution list, and what each of them is called beside it.
extern const char kMembers[];
extern const char kMemberNames[];
extern const char kMemberStream[];  // of a list too long for the two

/// Marks that stores keep outside the item's own values.
extern const char kReadMark[];
extern const char kStatusMark[];
extern const char kPhotoFlag[];
/// Which of the three e-mail places are filled: as a list of their numbers, and as bits.
extern const char kEmailList[];
extern const char kEmailBits[];
/// 0, 1, 2; negative for what is no address.
int EmailNumber(const std::string& property);
/// Of a name that an e-mail place shows, with or without an address.
int EmailNumberOfName(const std::string& property);

}  // namespace host
