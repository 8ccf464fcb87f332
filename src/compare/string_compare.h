#pragma once
// Texts and times under a comparison method.

#include <windows.h>

#include "quorvel.h"

int LPCSTR_Compare(const char* a, const char* b, ECompareMethod method);
int LPCWSTR_Compare(const wchar_t* a, const wchar_t* b, ECompareMethod method);
int FILETIME_Compare(const FILETIME& ft1, const FILETIME& ft2, ECompareMethod method);

/// Last n decimal digits of text, in order. buffer holds n + 1 characters; the result points into it.
const char* ExtractLastDigits(const char* text, char* buffer, int n);
const wchar_t* ExtractLastDigits(const wchar_t* text, wchar_t* buffer, int n);
/// First place of needle in haystack without regard to case, or null.
const wchar_t* FindTextNoCase(const wchar_t* haystack, const wchar_t* needle);
