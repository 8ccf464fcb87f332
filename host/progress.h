#pragma once
// One line on standard error that shows how far a long command is, with its rate and the time left. Silent
// when standard error is no terminal.

#include <chrono>
#include <string>

namespace host {

class Progress {
  public:
    explicit Progress(bool quiet);
    /// Wipes the line.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Shown at most ten times a second. A smaller `done` than before begins a new count.
    void operator()(const std::string& what, size_t done, size_t all);

  private:
    using Clock = std::chrono::steady_clock;
    bool m_isShown;
    bool m_hasLine = false;
    size_t m_last = 0;
    Clock::time_point m_start;
    Clock::time_point m_shown;
};

}  // namespace host
