#pragma once
// The one form of "call the platform, log a failure under the routine's tag, stop there".
//
//     CPlatformCalls calls("Quorvel_GetAttachments");
//     calls(table->SetColumns(columns, 0), "pTable->SetColumns return 0x%x\n") &&
//         calls(table->Restrict(&restriction, 0), "lpTable->Restrict return 0x%x\n") && ...;
//     return calls.result;
//
// A call converts to true when its result is exactly 0. The first argument of the format is the result;
// further arguments follow it. A call that hands out an object says so, and has failed without it:
//
//     calls.Gives(table, item->GetAttachmentTable(0, &table), "pMessage->GetAttachmentTable return 0x%x\n")

#include <mapicode.h>

#include "log/CLog.h"

namespace logging {

class CPlatformCalls {
  public:
    explicit CPlatformCalls(const char* routine) : tag(routine) {}

    template <typename... Args>
    bool operator()(HRESULT hr, const char* format, Args... args) {
        result = hr;
        if (hr == S_OK) return true;
        g_Log.Error(tag, format, hr, args...);
        return false;
    }

    /// The same for a call that hands out an object: a success without it is MAPI_E_CALL_FAILED.
    template <typename Object, typename... Args>
    bool Gives(const Object& object, HRESULT hr, const char* format, Args... args) {
        return (*this)(hr == S_OK && !object ? MAPI_E_CALL_FAILED : hr, format, args...);
    }

    /// For a buffer that some helper got from the platform: without it the result is out of memory.
    bool Allocated(const void* buffer) {
        return buffer || (*this)(E_OUTOFMEMORY, "MAPIAllocateBuffer returned 0x%x\n");
    }

    const char* const tag;
    /// Result of the last call made.
    HRESULT result = S_OK;
};

}  // namespace logging
