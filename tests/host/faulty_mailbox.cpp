// Quorvel Mailbox with one fault in its calls: QUORVEL_TEST_FAULT holds "METHOD TAG NTH TIMES", the tag in hexadecimal; a 0 behind
// them makes a call that says that it was done.

#include <windows.h>

#include <cstdlib>
#include <sstream>

#include "mailbox/platform.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    const char* const text = std::getenv("QUORVEL_TEST_FAULT");
    if (reason != DLL_PROCESS_ATTACH || !text) return TRUE;
    mailbox::TFault fault;
    std::istringstream words(text);
    words >> fault.method >> std::hex >> fault.tag >> std::dec >> fault.nth >> fault.times;
    if (HRESULT result = S_OK; words >> result) fault.result = result;
    mailbox::calls::Fail(fault);
    return TRUE;
}
