#pragma once
// New files that take another's place, and where that place is.

#include <windows.h>

#include <string>

#include "mailbox/CFileText.h"

namespace mailbox {

/// The file itself behind a path that leads through links; the path as it is when nothing can be opened there.
std::wstring ResolveLinks(const std::wstring& path);

/// Makes a file for writing where none is, shared with nobody, with the access rights and attributes of the old one.
/// From its first byte on nobody can read it who cannot read the old one. 0, or the system's error.
DWORD CreateLike(const std::wstring& old, const std::wstring& path, CFile& file);

}  // namespace mailbox
