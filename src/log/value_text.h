#pragma once
// Times and property values as text for the log, and the conversions between UTC and local time that use the
// daylight rules of the converted date instead of today's.

#include <mapidefs.h>
#include <windows.h>

/// 1 on success. 0 when a platform conversion fails: *local is then the input unchanged.
int FileTimeToLocalFileTimeFIX(const FILETIME* utc, FILETIME* local);
/// Inverse of FileTimeToLocalFileTimeFIX: 1 on success, 0 with *utc the input unchanged.
int LocalFileTimeToFileTimeFIX(const FILETIME* local, FILETIME* utc);

/// Text of a time; "0" for null and for time 0. Always returns buffer, always terminated. capacity in
/// characters.
wchar_t* FileTimeToText(const FILETIME* time, wchar_t* buffer, size_t capacity, int local);
/// Text of any property value; a non-zero low byte of flags puts the type's label in front. Returns buffer.
wchar_t* PropValueText(const SPropValue* value, wchar_t* buffer, size_t capacity, unsigned flags);
/// Text of one element of a multi-valued string, always on one line. Returns buffer.
wchar_t* ElementText(const SPropValue* value, int index, wchar_t* buffer, size_t capacity);
