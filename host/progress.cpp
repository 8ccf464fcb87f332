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
    CProgress* line = nullptr;  // the one that is shown
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

CProgress::CProgress(bool quiet)
    : m_bShown(!quiet && _isatty(_fileno(stderr))), m_begin(Clock::now()), m_start(m_begin) {
    {
        const std::lock_guard lock(AtOnce().lock);
        AtOnce().line = this;
    }
    WatchForInterrupt();  // the commands that show their progress are the ones that ask
    if (m_bShown) m_thread = std::thread([this] { Run(); });
}

CProgress::~CProgress() {
    {
        const std::lock_guard lock(AtOnce().lock);
        AtOnce().line = nullptr;
    }
    if (!m_bShown) return;
    {
        const std::lock_guard lock(m_lock);
        m_bOver = true;
    }
    m_wake.notify_one();
    m_thread.join();
    Wipe();
}

void CProgress::operator()(std::string_view what, size_t done, size_t all) {
    if (!m_bShown) return;
    const std::lock_guard lock(m_lock);
    if (what != m_what || done < m_nDone) m_start = Clock::now();
    m_what = what;
    m_nDone = done;
    m_nAll = all;
    m_bHidden = false;
}

void CProgress::Clear() {
    if (!m_bShown) return;
    const std::lock_guard lock(m_lock);
    Wipe();
    m_bHidden = true;
}

void CProgress::Wipe() {
    if (m_bHasLine) Show("\r" + std::string(kWidth, ' ') + "\r");
    m_bHasLine = false;
}

std::string CProgress::Line(Clock::time_point now) const {
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    char line[160];
    if (m_nAll == 0) {
        snprintf(line, sizeof line, "%s: %.0f s", m_what.c_str(), seconds);
    } else if (m_nDone == 0 || m_nDone >= m_nAll) {
        snprintf(line, sizeof line, "%s: %zu of %zu, %.0f s", m_what.c_str(), m_nDone, m_nAll, seconds);
    } else {
        const double rate = static_cast<double>(m_nDone) / seconds;
        snprintf(line, sizeof line, "%s: %zu of %zu, %.0f a second, %.0f s left", m_what.c_str(), m_nDone,
                 m_nAll, rate, static_cast<double>(m_nAll - m_nDone) / rate);
    }
    std::string text(line);
    text.resize(kWidth, ' ');
    return "\r" + text;
}

void CProgress::Run() {
    std::unique_lock lock(m_lock);
    while (!m_wake.wait_for(lock, kShownAgain, [this] { return m_bOver; })) {
        const Clock::time_point now = Clock::now();
        if (m_what.empty() || m_bHidden || now - m_begin < kFirstShown) continue;
        Show(Line(now));
        m_bHasLine = true;
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
