#pragma once
// Times and property values as text for the log.

#include <mapidefs.h>
#include <windows.h>

namespace logging {

/// Text of a time; "0" for null and for time 0. local non-zero: in local time (log/local_time.h), or in UTC
/// where that does not convert. Always returns buffer, always terminated. capacity in characters.
wchar_t* FileTimeToText(const FILETIME* time, wchar_t* buffer, size_t capacity, int local);
/// Text of any property value, "NULL" for null; a non-zero low byte of flags puts the type's label in front.
/// Times are in UTC, 64-bit halves high first. Of the elements of a multi-valued string, those are listed
/// that fit whole, up to the first that does not. Returns buffer.
wchar_t* PropValueText(const SPropValue* value, wchar_t* buffer, size_t capacity, unsigned flags);
/// Text of one element of a multi-valued string, on one line: line breaks become blanks. "NULL" for null,
/// "ERROR:outofbounds" for an index without element. Returns buffer.
wchar_t* ElementText(const SPropValue* value, int index, wchar_t* buffer, size_t capacity);

}  // namespace logging
