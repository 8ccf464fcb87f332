#pragma once
// What a person at the terminal has of a long command: one line that says how far it is, and Ctrl-C.
//
// The line stands on standard error, is written by a thread of its own, and so moves on while a single call
// takes long. It appears once a command has taken a second; it never does when standard error is no terminal.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace host {

class CProgress {
  public:
    explicit CProgress(bool quiet);
    /// Wipes the line.
    ~CProgress();
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    /// How many of how many are done. Another `what`, or a smaller `done`, begins a new count. all 0: a step
    /// that cannot be counted. Costs next to nothing: call it for every item.
    void operator()(std::string_view what, size_t done, size_t all);
    /// A step that cannot be counted: its time is shown.
    void operator()(std::string_view what) { (*this)(what, 0, 0); }
    /// Wipes the line, for something to be printed in its place; the next call shows it again.
    void Clear();

  private:
    using Clock = std::chrono::steady_clock;
    void Run();
    std::string Line(Clock::time_point now) const;
    void Wipe();

    const bool m_bShown;
    const Clock::time_point m_begin;
    std::mutex m_lock;  // guards everything below
    std::condition_variable m_wake;
    bool m_bOver = false;
    bool m_bHasLine = false;
    bool m_bHidden = false;
    std::string m_what;
    size_t m_nDone = 0;
    size_t m_nAll = 0;
    Clock::time_point m_start;
    std::thread m_thread;
};

/// What is said then.
inline constexpr char kInterruptedText[] = "quorvel: interrupted\n";

/// From here on Ctrl-C sets a flag; a second one ends the program at once, as ever.
void WatchForInterrupt();
/// Whether Ctrl-C was pressed. A command that changes something finishes the step under way and saves.
bool Interrupted();

/// While it lives, a call is under way that cannot be asked to stop, and nothing has been changed: Ctrl-C ends the
/// program at once, with the same words and status as ever.
class CStopAtOnce {
  public:
    /// clear: takes away what must not outlive the program; called from another thread.
    explicit CStopAtOnce(std::function<void()> clear = {});
    ~CStopAtOnce();
    CStopAtOnce(const CStopAtOnce&) = delete;
    CStopAtOnce& operator=(const CStopAtOnce&) = delete;
};

/// What a command that has nothing to save is left by; the program's exit status is kInterrupted.
struct TInterrupted {};
inline constexpr int kInterrupted = 130;
/// Throws TInterrupted.
void StopIfInterrupted();

}  // namespace host
