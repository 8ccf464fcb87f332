// The interface identifiers that the program asks for: the build machine has no library of them.
#include <windows.h>
#include <objbase.h>

#define USES_IID_IMAPIFolder
#define USES_IID_IMessage
#include <initguid.h>
#include <mapiguid.h>
