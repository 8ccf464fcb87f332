#pragma once
// What mingw-w64's headers of the messaging platform lack.

#include <windows.h>
#include <mapix.h>
#include <mapitags.h>
#include <mapiutil.h>

#ifndef PR_SMTP_ADDRESS_W
#define PR_SMTP_ADDRESS_W PROP_TAG(PT_UNICODE, 0x39FE)
#define PR_SMTP_ADDRESS_A PROP_TAG(PT_STRING8, 0x39FE)
#endif
#ifndef ATTACH_BY_WEBREFERENCE
#define ATTACH_BY_WEBREFERENCE 7
#endif
#ifndef PR_ATTACHMENT_HIDDEN
#define PR_ATTACHMENT_HIDDEN PROP_TAG(PT_BOOLEAN, 0x7FFE)
#endif
#ifndef PR_ATTACHMENT_CONTACTPHOTO
#define PR_ATTACHMENT_CONTACTPHOTO PROP_TAG(PT_BOOLEAN, 0x7FFF)
#endif
