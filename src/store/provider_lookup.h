#pragma once
// Where the messaging platform's module is: the first of these that loads and exports all six functions.
//
//   1. The mail client that HKLM\Software\Microsoft\Windows Messaging Subsystem\MSMapiApps names for the
//      running program's file.
//   2. The default mail client: the unnamed value of Software\Clients\Mail, the user's, then the machine's.
//   3. mapi32.dll of the system directory.
//
// A client's module is found under Software\Clients\Mail\<client>, the user's key, then the machine's:
// through the installer (MSIComponentID with MSIOfficeLCID or MSIApplicationLCID), then DLLPathEx, then
// DLLPath. Environment variables in expandable values are expanded. A bare file name is looked for in the
// program's and the system's directories; a path that is relative in any other way would depend on the
// current directory and is passed over.

#include <windows.h>

#include <string>
#include <vector>

namespace store {

/// Loads the module; null when there is none. The caller owns the reference. refused: a line for each module that
/// was tried without success, with the reason.
HMODULE LoadProvider(std::vector<std::wstring>& refused);

}  // namespace store
