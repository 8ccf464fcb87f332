#include "host/progress.h"

#include <io.h>

#include <cstdio>

namespace host {

namespace {

void Show(const std::string& text) {
    fputs(text.c_str(), stderr);
    fflush(stderr);
}

}  // namespace

Progress::Progress(bool quiet) : m_isShown(!quiet && _isatty(_fileno(stderr))), m_start(Clock::now()) {}

Progress::~Progress() {
    if (m_hasLine) Show(std::string("\r") + std::string(78, ' ') + "\r");
}

void Progress::operator()(const std::string& what, size_t done, size_t all) {
    if (!m_isShown) return;
    const Clock::time_point now = Clock::now();
    if (done < m_last) m_start = now;
    m_last = done;
    if (done != all && now - m_shown < std::chrono::milliseconds(100)) return;
    m_shown = now;
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    const double left = rate > 0 ? static_cast<double>(all - done) / rate : 0;
    char line[128];
    snprintf(line, sizeof line, "\r%-20s %zu of %zu, %.0f a second, %.0f s left    ", what.c_str(), done, all,
             rate, left);
    Show(line);
    m_hasLine = true;
}

}  // namespace host
