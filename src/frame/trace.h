#pragma once
// The entry trace of the exports.

#include "log/CLog.h"

inline void Trace(const char* exportName) {
    g_Log.Info(2, exportName, "->\n");
}
