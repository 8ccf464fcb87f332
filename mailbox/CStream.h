#pragma once
// A property as a stream: its bytes (wide text as UTF-16, without a terminator), read, and written back by
// Commit.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "mailbox/CFileText.h"
#include "mailbox/platform_headers.h"

namespace mailbox {

/// What a stream shows: own bytes, a view of bytes that keep holds in place, or a value of the mailbox file, which
/// is read when it is asked for. A text elsewhere is shown as its UTF-16; it is converted when more than its start
/// is read.
struct TStreamData {
    std::string own;
    std::string_view view;
    std::shared_ptr<const void> keep;
    const TPlace* place = nullptr;
    size_t placedSize = 0;
    bool isText = false;
};

/// Takes the bytes over when the stream is committed.
using StreamCommit = std::function<HRESULT(const std::string& bytes)>;

class CPropCore;

/// A stream with one reference. Without commit it is read-only. The owner lives as long as the stream.
IStream* NewStream(TStreamData data, CPropCore& owner, StreamCommit commit);

}  // namespace mailbox
