#pragma once
// Text of the program: UTF-8 inside, wide only where Windows and the messaging platform ask for it.

#include <windows.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// What ends a command with one sentence on standard error and exit status 2.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string Narrow(std::wstring_view wide);
std::wstring Widen(std::string_view utf8);

/// Equality and order without regard to case, as Windows has it for names.
bool EqualNoCase(std::string_view a, std::string_view b);

/// Number of code points: what a text takes on a terminal, near enough.
size_t Width(std::string_view utf8);
/// Exactly `width` wide: cut with an ellipsis or padded with blanks.
std::string Fit(std::string_view utf8, size_t width);
/// One line: control characters become blanks, and a text that would change the terminal's state cannot.
std::string OneLine(std::string_view utf8);

/// "2024-03-05 09:30" in local time; empty for time 0.
std::string TimeText(const FILETIME& time);
/// "2024-03-05T08:30:00.0000000Z"; empty for time 0. The form of reports, compared text by text.
std::string IsoTime(const FILETIME& time);
/// "512 bytes", "3.4 KB", "12 MB".
std::string SizeText(unsigned long long bytes);
/// "1 item", "2 items".
std::string Count(unsigned long long n, std::string_view one, std::string_view many);
/// "0x8004010f" and what it means when that is well known.
std::string ResultText(HRESULT hr);

/// The candidates nearest to a name that was not found, best first, at most three.
std::vector<std::string> Nearest(std::string_view wanted, const std::vector<std::string>& candidates);
/// " Did you mean A, B or C?", or nothing.
std::string Suggestion(std::string_view wanted, const std::vector<std::string>& candidates);

}  // namespace host
