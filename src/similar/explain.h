#pragma once
// A search in words: the two texts that explain a verdict, and what is written while extra logging is on.

#include <string>

#include "similar/TCmpData.h"
#include "similar/TVerdict.h"
#include "similar/rules.h"

namespace similar {

/// "Strict . // FirstName + LastName(MissChar)". There is a verdict.
std::wstring VerdictText(const TCmpData& data, const TVerdict& verdict);
/// The names of the deciding fields.
std::wstring MatchedFields(const TContactFields& fields, const TVerdict& verdict);

// ---- Lines of the extra log; nothing is done while it is off ----

/// The rules of every search are the same: only the first call of the process writes them.
void LogRulesOnce(const TContactFields& fields, const TRuleTables& rules);
/// searchByPos: 0 for a contact that is not searched by. fresh: with its fields.
void LogContact(const TContactFields& fields, const TItemProps& item, unsigned searchByPos, wchar_t marker,
                bool fresh);
/// A value of a group that counts once: an earlier field of the same contact has it too.
void LogRepeatedValue(const TCmpData& data, int itemNumber, int field, int earlier);
void LogComparedFields(const TCmpData& data, const wchar_t* heading);
void LogReversedMode(const TCmpData& data);
/// The verdict's text, with the values of the deciding fields.
void LogVerdict(const TCmpData& data, const TVerdict& verdict, const std::wstring& text);

}  // namespace similar
