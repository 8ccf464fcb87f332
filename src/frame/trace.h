#pragma once
// The entry trace of the exports.

#include "log/CLog.h"

namespace frame {

inline void Trace(const char* exportName) {
    logging::g_Log.Info(2, exportName, "->\n");
}

}  // namespace frame
