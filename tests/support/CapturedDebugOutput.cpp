#include "tests/support/CapturedDebugOutput.h"

#include <windows.h>

namespace {
std::vector<std::string> g_texts;

// Debugger output is an exception that nobody but a debugger handles; the wide call raises a wide one first
// where the system has it, and the 8-bit one when that is not taken.
LONG CALLBACK Record(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode == DBG_PRINTEXCEPTION_C && record.NumberParameters >= 2) {
        g_texts.emplace_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    }
    return EXCEPTION_CONTINUE_SEARCH;
}
}  // namespace

CapturedDebugOutput::CapturedDebugOutput() : m_handler(AddVectoredExceptionHandler(1, Record)) {
    g_texts.clear();
}

CapturedDebugOutput::~CapturedDebugOutput() {
    RemoveVectoredExceptionHandler(m_handler);
}

std::vector<std::string> CapturedDebugOutput::Texts() const {
    return g_texts;
}
