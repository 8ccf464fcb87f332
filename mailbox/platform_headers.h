#pragma once
// The messaging platform's headers, and the few tags and flags that they lack.

#include <windows.h>
#include <mapix.h>
#include <mapiutil.h>
#include <mapitags.h>
#include <mapiguid.h>
