#pragma once
// The recording platform (recording_platform.cpp), bound while an object of this class lives.

#include <gtest/gtest.h>

#include <string>

#include "store/CMapiProvider.h"

class RecordingPlatform {
  public:
    RecordingPlatform()
        : m_before(store::CMapiProvider::Module()), m_module(LoadLibraryW(L"recording_platform.dll")) {
        EXPECT_NE(m_module, nullptr) << "recording_platform.dll is not beside the test";
        store::CMapiProvider::Bind(m_module);
        TakeCalls();
    }
    ~RecordingPlatform() {
        store::CMapiProvider::Bind(m_before);
        FreeLibrary(m_module);
    }
    RecordingPlatform(const RecordingPlatform&) = delete;
    RecordingPlatform& operator=(const RecordingPlatform&) = delete;
    HMODULE Module() const { return m_module; }
    /// What was called since the last time, each followed by a blank.
    std::string TakeCalls() {
        std::string calls = Find<const char*()>("RecordedCalls")();
        Find<void()>("ForgetCalls")();
        return calls;
    }

  private:
    template <typename Function>
    Function* Find(const char* name) const {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(m_module, name)));
    }

    HMODULE m_before;
    HMODULE m_module;
};
