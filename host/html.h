#pragma once
// What the HTML reports share: one file without references to anywhere, and everything from the mailbox escaped.

#include <string>
#include <string_view>

namespace host {

/// Up to the beginning of the body. generator: what tells a report of this kind. script: the hash of the one script
/// that the page runs; without, it runs none.
std::string HtmlHead(const std::string& generator, const std::string& title, std::string_view script = {});
std::string Escape(std::string_view text);
/// A value in a table; a long one is folded.
std::string Cell(const std::string& text);

}  // namespace host
