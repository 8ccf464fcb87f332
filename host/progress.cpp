#include "host/progress.h"

#include <windows.h>
#include <io.h>

#include <atomic>
#include <cstdio>

namespace host {

namespace {

constexpr auto kFirstShown = std::chrono::seconds(1);
constexpr auto kShownAgain = std::chrono::milliseconds(200);
constexpr size_t kWidth = 78;

std::atomic<bool> g_isInterrupted = false;

// What Ctrl-C finds when it ends the program at once.
struct TAtOnce {
    std::mutex lock;
    bool isOn = false;
    std::function<void()> clear;
    Progress* line = nullptr;  // the one that is shown
};

TAtOnce& AtOnce() {
    static auto& atOnce = *new TAtOnce;  // the thread of Ctrl-C may outlive everything
    return atOnce;
}

void Show(const std::string& text);

BOOL WINAPI OnControl(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    {
        const std::lock_guard lock(AtOnce().lock);
        if (AtOnce().isOn) {
            if (AtOnce().clear) AtOnce().clear();
            if (AtOnce().line) AtOnce().line->Clear();
            Show(kInterruptedText);
            TerminateProcess(GetCurrentProcess(), kInterrupted);
        }
    }
    return g_isInterrupted.exchange(true) ? FALSE : TRUE;
}

void Show(const std::string& text) {
    fputs(text.c_str(), stderr);
    fflush(stderr);
}

}  // namespace

Progress::Progress(bool quiet)
    : m_isShown(!quiet && _isatty(_fileno(stderr))), m_begin(Clock::now()), m_start(m_begin) {
    {
        const std::lock_guard lock(AtOnce().lock);
        AtOnce().line = this;
    }
    WatchForInterrupt();  // the commands that show their progress are the ones that ask
    if (m_isShown) m_thread = std::thread([this] { Run(); });
}

Progress::~Progress() {
    {
        const std::lock_guard lock(AtOnce().lock);
        AtOnce().line = nullptr;
    }
    if (!m_isShown) return;
    {
        const std::lock_guard lock(m_lock);
        m_isOver = true;
    }
    m_wake.notify_one();
    m_thread.join();
    Wipe();
}

void Progress::operator()(std::string_view what, size_t done, size_t all) {
    if (!m_isShown) return;
    const std::lock_guard lock(m_lock);
    if (what != m_what || done < m_done) m_start = Clock::now();
    m_what = what;
    m_done = done;
    m_all = all;
    m_isHidden = false;
}

void Progress::Clear() {
    if (!m_isShown) return;
    const std::lock_guard lock(m_lock);
    Wipe();
    m_isHidden = true;
}

void Progress::Wipe() {
    if (m_hasLine) Show("\r" + std::string(kWidth, ' ') + "\r");
    m_hasLine = false;
}

std::string Progress::Line(Clock::time_point now) const {
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    char line[160];
    if (m_all == 0) {
        snprintf(line, sizeof line, "%s: %.0f s", m_what.c_str(), seconds);
    } else if (m_done == 0 || m_done >= m_all) {
        snprintf(line, sizeof line, "%s: %zu of %zu, %.0f s", m_what.c_str(), m_done, m_all, seconds);
    } else {
        const double rate = static_cast<double>(m_done) / seconds;
        snprintf(line, sizeof line, "%s: %zu of %zu, %.0f a second, %.0f s left", m_what.c_str(), m_done,
                 m_all, rate, static_cast<double>(m_all - m_done) / rate);
    }
    std::string text(line);
    text.resize(kWidth, ' ');
    return "\r" + text;
}

void Progress::Run() {
    std::unique_lock lock(m_lock);
    while (!m_wake.wait_for(lock, kShownAgain, [this] { return m_isOver; })) {
        const Clock::time_point now = Clock::now();
        if (m_what.empty() || m_isHidden || now - m_begin < kFirstShown) continue;
        Show(Line(now));
        m_hasLine = true;
    }
}

void WatchForInterrupt() {
    SetConsoleCtrlHandler(OnControl, TRUE);
}

bool Interrupted() {
    return g_isInterrupted;
}

CStopAtOnce::CStopAtOnce(std::function<void()> clear) {
    StopIfInterrupted();
    const std::lock_guard lock(AtOnce().lock);
    AtOnce().clear = std::move(clear);
    AtOnce().isOn = true;
}

CStopAtOnce::~CStopAtOnce() {
    const std::lock_guard lock(AtOnce().lock);
    AtOnce().isOn = false;
    AtOnce().clear = nullptr;
}

void StopIfInterrupted() {
    if (g_isInterrupted) throw TInterrupted{};
}

}  // namespace host
