#pragma once
// The script and the style of the HTML report, the files of host/report: the build puts them into the program.

#include <string_view>

namespace host {

extern const std::string_view kPageScript;
/// "sha256-...": what a Content-Security-Policy permits the script by.
extern const std::string_view kPageScriptHash;
extern const std::string_view kPageStyle;

}  // namespace host
