#pragma once
// Texts and times under a comparison method.
//
// Every comparison is three-way: negative when the first value sorts before the second, 0 when they count as
// equal, positive otherwise; only the sign means something. None of them allocates, except FindTextNoCase on
// long texts. A method that is made for another type leaves an assertion in the log and compares as cmExact
// does.

#include <windows.h>

#include "quorvel.h"

namespace compare {

/// The system's comparison of texts: without regard to case, by the user's locale. A null text counts as
/// empty. cmLast7Digits compares the last seven decimal digits of each text; a text without a digit stands
/// for itself.
int LPCSTR_Compare(const char* a, const char* b, ECompareMethod method);
int LPCWSTR_Compare(const wchar_t* a, const wchar_t* b, ECompareMethod method);

/// cmTimeWithin10Min and cmTimeWithinDay: equal when at most 599 s or 86,400 s apart, a begun second counted
/// whole. cmDayAndMonth: equal on the same day of the same month when the years are at most two apart, or
/// when one lies within the last five years and the other ten or more years back (a placeholder against a
/// real year of birth). None of the three is transitive: see their tests before sorting by them.
int FILETIME_Compare(const FILETIME& ft1, const FILETIME& ft2, ECompareMethod method);

/// Last n decimal digits ('0' to '9') of text, in order; "" when it has none. buffer holds n + 1 characters;
/// the result points into it.
const char* ExtractLastDigits(const char* text, char* buffer, int n);
const wchar_t* ExtractLastDigits(const wchar_t* text, wchar_t* buffer, int n);

/// First place of needle in haystack without regard to case, or null; an empty needle is nowhere. Works on
/// the stack for texts of ordinary length, and goes on without the memory that longer ones would like: names are
/// changed in place by what it finds, one after the other.
const wchar_t* FindTextNoCase(const wchar_t* haystack, const wchar_t* needle) noexcept;

/// What cmDayAndMonth takes for the current local time: the system's clock, unless a test sets its own.
extern void (*g_localClock)(SYSTEMTIME* now);

inline constexpr int kComparedDigits = 7;
/// What cmExact and cmLast7Digits compare of a text: the text, or under the latter its last digits where it has
/// any. buffer holds kComparedDigits + 1 characters.
const wchar_t* ComparedText(const wchar_t* text, ECompareMethod method, wchar_t* buffer);

}  // namespace compare
