#pragma once
// Text of the program: UTF-8 inside, wide only where Windows and the messaging platform ask for it.

#include <windows.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// What ends a command with one sentence on standard error and exit status 2.
struct TFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string Narrow(std::wstring_view wide);
std::wstring Widen(std::string_view utf8);
/// Of a text in the system's code page.
std::wstring WidenAnsi(std::string_view ansi);

/// Equality and order without regard to case, as Windows has it for names.
bool EqualNoCase(std::string_view a, std::string_view b);
bool ContainsNoCase(std::string_view text, std::string_view part);

/// Number of code points: what a text takes on a terminal, near enough.
size_t Width(std::string_view utf8);
/// Exactly `width` wide: cut with an ellipsis or padded with blanks.
std::string Fit(std::string_view utf8, size_t width);
/// The text with a mark in place of each character that would act on what shows it: control characters,
/// those above U+0080 too, and the ones that turn the direction of reading. Tabs and line breaks stay.
std::string Visible(std::string_view utf8);
/// The same on one line: tabs and line breaks of any kind become blanks.
std::string OneLine(std::string_view utf8);

/// JSON in which the same characters are written as escapes: it says the same to a program.
std::string EscapeActing(std::string json);

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
