// The identifiers of the platform's interfaces: mingw-w64 has no library of them, so this one file defines
// them.
#include <windows.h>
#include <objbase.h>

#define USES_IID_IMAPISession
#define USES_IID_IMAPIFolder
#define USES_IID_IMAPIProp
#define USES_IID_IMAPITable
#define USES_IID_IMsgStore
#define USES_IID_IMessage
#define USES_IID_IAttachment
#define USES_IID_IAddrBook
#define USES_IID_IMailUser
#define USES_IID_IABContainer
#define USES_IID_IMAPIContainer
#define USES_IID_IMsgServiceAdmin
#define USES_IID_IStreamDocfile
// Behind the other headers: only what is listed above is defined here.
#include <initguid.h>
#include <mapiguid.h>
