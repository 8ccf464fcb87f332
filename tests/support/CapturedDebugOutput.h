#pragma once
// What this process sends to the debugger while an object of this class lives. One at a time.

#include <string>
#include <vector>

class CapturedDebugOutput {
  public:
    CapturedDebugOutput();
    ~CapturedDebugOutput();
    CapturedDebugOutput(const CapturedDebugOutput&) = delete;

    /// One text for each call, in the ANSI code page.
    std::vector<std::string> Texts() const;

  private:
    void* m_handler;
};
