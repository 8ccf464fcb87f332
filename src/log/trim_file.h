#pragma once
// Keeping a log file within its limit.

namespace logging {

/// Low 32 bits of the file's size in bytes; 0 when it cannot be opened for reading.
unsigned long LogFileSize(const char* path);

/// Brings a file that is longer than limit bytes down to about its last half of that, cut at the start of a
/// line, and converts a file without the UTF-8 mark from the ANSI code page. A file that is within the limit
/// and has the mark is left alone. Whatever fails on the way leaves the file as it was. The copy is written to a
/// file of the same name with a "1" behind it; when that is the file at other (may be null), it cannot be.
void TrimLogFile(const char* path, unsigned long limit, const char* other);

}  // namespace logging
