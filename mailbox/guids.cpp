// The identifiers of the platform's interfaces: mingw-w64 has no library of them. The linker keeps one of
// each where another part of a program defines them too.
#define INITGUID
#define USES_IID_IMAPISession
#define USES_IID_IMAPIFolder
#define USES_IID_IMAPIProp
#define USES_IID_IMAPITable
#define USES_IID_IMsgStore
#define USES_IID_IMessage
#define USES_IID_IAttachment
#define USES_IID_IAddrBook
#define USES_IID_IMailUser
#define USES_IID_IMAPIContainer
#define USES_IID_IMsgServiceAdmin
#define USES_IID_IStreamDocfile
#define USES_PS_MAPI
#define USES_PS_PUBLIC_STRINGS
#include <windows.h>
#include <mapix.h>
#include <mapiguid.h>
