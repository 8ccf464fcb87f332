// Runs the tests with a silent log: a test that looks at it captures it.

#include <gtest/gtest.h>

#include "log/CLog.h"

using logging::g_Log;

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    g_Log.Configure(nullptr, nullptr, false, 1, 0);
    return RUN_ALL_TESTS();
}
