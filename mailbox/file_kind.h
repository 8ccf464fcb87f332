#pragma once
// What a file is that somebody named for a mailbox file and that is none.

#include <string>
#include <string_view>

namespace mailbox {

/// "a mail", "an mbox file" and the like, by how the file begins, else by its name. Null for what may have been
/// meant as a mailbox file.
const wchar_t* KindOfFile(std::string_view begin, const std::wstring& path);

}  // namespace mailbox
