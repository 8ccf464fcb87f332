#include "log/CLog.h"

// Constructed before and destroyed after every other static object of the library.
CLog g_Log __attribute__((init_priority(101)));
