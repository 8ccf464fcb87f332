// Exports of the interface level and the log.

#include "log/CLog.h"
#include "quorvel.h"

using logging::g_Log;

int Quorvel_GetCompatibleCode(void) {
    return 4;
}

void Quorvel_ConfigLog(const char* errPath, const char* logPath, int debugOutput, int verbosity) {
    g_Log.Configure(errPath, logPath, debugOutput != 0, verbosity, 0);
}

void Quorvel_ConfigLogEx(const char* errPath, const char* logPath, int debugOutput, int verbosity,
                         int extra) {
    g_Log.Configure(errPath, logPath, debugOutput != 0, verbosity, extra);
}

const char* Quorvel_GetFilenameLog(void) {
    return g_Log.LogFile();
}

const char* Quorvel_GetFilenameErr(void) {
    return g_Log.ErrFile();
}
