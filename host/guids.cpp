// The interface identifiers that the program asks for: the build machine has no library of them.
#include <windows.h>
#include <objbase.h>

#define USES_IID_IMAPIFolder
#include <initguid.h>
#include <mapiguid.h>
