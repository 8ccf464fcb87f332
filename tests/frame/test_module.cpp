// The module as a host loads it: by name, with nothing of this program's own copy of the library.

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "tests/support/CapturedLog.h"

namespace {
class Module : public testing::Test {
  protected:
    void SetUp() override {
        char path[MAX_PATH];
        GetModuleFileNameA(nullptr, path, MAX_PATH);
        std::string file = path;
        file = file.substr(0, file.rfind('\\') + 1) + "Quorvel.dll";
        m_module = LoadLibraryA(file.c_str());
        ASSERT_NE(m_module, nullptr) << file;
    }
    void TearDown() override { Unload(); }
    void Unload() {
        if (m_module != nullptr) FreeLibrary(m_module);
        m_module = nullptr;
    }

    template <typename Function>
    Function* Find(const char* name) {
        const FARPROC found = GetProcAddress(m_module, name);
        EXPECT_NE(found, nullptr) << name;
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
    }
    void ConfigLog(const char* err, const char* log, int verbosity, int extra) {
        Find<void(const char*, const char*, int, int, int)>("Quorvel_ConfigLogEx")(err, log, 0, verbosity,
                                                                                   extra);
    }
    LogLines Log() const { return ParseLog(ReadWholeFile(logPath)); }

    TemporaryFolder folder;
    const std::string logPath = folder.File("log.txt");

  private:
    HMODULE m_module = nullptr;
};

TEST_F(Module, CompatibleCode) {
    auto* code = Find<int()>("Quorvel_GetCompatibleCode");
    EXPECT_EQ(code(), 4);
    EXPECT_EQ(code(), 4);
}

TEST_F(Module, DeleteOfNullLeavesItsTraceOnly) {
    struct Case {
        const char* name;
        int extra;
        LogLines lines;
    };
    const Case cases[] = {
        {"Search_Delete", 1, {{sevInfo, "Search_Delete", "->\n"}}},
        {"CmpMatrix_Delete", 1, {{sevInfo, "CmpMatrix_Delete", "->\n"}}},
        {"SimilarSearch_Delete", 0, {{sevInfo, "SimilarSearch_Delete", "->\n"}}},
        {"SimilarSearch_Delete", 1, {{sevRaw, "", "\n"}, {sevInfo, "SimilarSearch_Delete", "->\n"}}},
        {"FCI_Delete", 1, {}},
    };
    for (const Case& c : cases) {
        DeleteFileA(logPath.c_str());
        ConfigLog(nullptr, logPath.c_str(), 2, c.extra);
        Find<void(void*)>(c.name)(nullptr);
        ConfigLog(nullptr, nullptr, 0, 0);
        EXPECT_EQ(Log(), c.lines) << c.name << ", extra logging " << c.extra;
    }
}

TEST_F(Module, UnloadsAndClosesItsFiles) {
    ConfigLog(logPath.c_str(), logPath.c_str(), 2, 1);
    Find<void(void*)>("CmpMatrix_Delete")(nullptr);
    EXPECT_EQ(Log().size(), 1u);
    Unload();
    EXPECT_TRUE(DeleteFileA(logPath.c_str())) << "the log file is still open";
}

TEST_F(Module, HasOneCloseUnderThreeNames) {
    const void* item = reinterpret_cast<void*>(Find<void()>("Quorvel_CloseItem"));
    EXPECT_EQ(reinterpret_cast<void*>(Find<void()>("Quorvel_CloseFolder")), item);
    EXPECT_EQ(reinterpret_cast<void*>(Find<void()>("Quorvel_CloseStore")), item);
}
}  // namespace
