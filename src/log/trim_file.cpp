#include "log/trim_file.h"

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace logging {

namespace {

constexpr size_t kChunk = 65536;
constexpr unsigned char kMark[3] = {0xEF, 0xBB, 0xBF};

struct TStreamCloser {
    void operator()(FILE* stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, TStreamCloser>;

struct THandleCloser {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const {
        if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
    }
};
using FileHandle = std::unique_ptr<HANDLE, THandleCloser>;

// The buffers of one copy: too large for the stack of an unknown host's thread.
struct TCopyBuffers {
    char bytes[kChunk];
    wchar_t wide[kChunk];
    char utf8[kChunk * 3];
};

bool ReadMark(FILE* file) {
    unsigned char head[3];
    const size_t read = fread(head, 1, sizeof head, file);
    if (read == sizeof head && memcmp(head, kMark, sizeof head) == 0) return true;
    if (read != 0) rewind(file);
    return false;
}

// Offset just behind the first line break of a block, "\r\n" before a lone "\n"; 0 when there is none.
size_t FirstLineStart(const char* block, size_t size) {
    const char* const end = block + size;
    for (const char* at = block;
         (at = static_cast<const char*>(memchr(at, '\r', static_cast<size_t>(end - at)))); ++at) {
        if (at + 1 < end && at[1] == '\n') return static_cast<size_t>(at + 2 - block);
    }
    const auto* lone = static_cast<const char*>(memchr(block, '\n', size));
    return lone ? static_cast<size_t>(lone + 1 - block) : 0;
}

void SeekToLastHalf(FILE* source, unsigned long size, unsigned long limit, bool hasMark,
                    TCopyBuffers& buffers) {
    long long start = static_cast<long long>(size) - limit / 2;
    if (hasMark && start < 3) start = 3;
    _fseeki64(source, start, SEEK_SET);
    const size_t read = fread(buffers.bytes, 1, kChunk, source);
    const size_t cut = FirstLineStart(buffers.bytes, read);
    if (cut != 0) _fseeki64(source, start + static_cast<long long>(cut), SEEK_SET);
}

bool CopyBytes(FILE* source, FILE* target, TCopyBuffers& buffers) {
    while (const size_t read = fread(buffers.bytes, 1, kChunk, source)) {
        if (fwrite(buffers.bytes, 1, read, target) != read) return false;
    }
    return true;
}

// Bytes of a block that may be converted by themselves: up to the last line break, so that no character of a
// double-byte code page is torn apart; all of them when the block has no break or is the last.
size_t ConvertibleSize(const char* block, size_t size, bool isLast) {
    if (isLast) return size;
    for (size_t end = size; end != 0; --end) {
        if (block[end - 1] == '\n') return end;
    }
    return size;
}

bool CopyAnsiAsUtf8(FILE* source, FILE* target, TCopyBuffers& buffers) {
    size_t held = 0;
    for (;;) {
        const size_t read = fread(buffers.bytes + held, 1, kChunk - held, source);
        held += read;
        if (held == 0) return true;
        const size_t used = ConvertibleSize(buffers.bytes, held, read == 0);
        const int units = MultiByteToWideChar(CP_ACP, 0, buffers.bytes, static_cast<int>(used), buffers.wide,
                                              static_cast<int>(kChunk));
        const int bytes = WideCharToMultiByte(CP_UTF8, 0, buffers.wide, units, buffers.utf8,
                                              static_cast<int>(sizeof buffers.utf8), nullptr, nullptr);
        if (units <= 0 || bytes <= 0) return false;
        if (fwrite(buffers.utf8, 1, static_cast<size_t>(bytes), target) != static_cast<size_t>(bytes))
            return false;
        held -= used;
        memmove(buffers.bytes, buffers.bytes + used, held);
    }
}

bool WriteTrimmed(FILE* source, FILE* target, unsigned long size, unsigned long limit, bool hasMark) {
    const std::unique_ptr<TCopyBuffers> buffers(new (std::nothrow) TCopyBuffers);
    if (!buffers) return false;
    if (size > limit) SeekToLastHalf(source, size, limit, hasMark, *buffers);
    if (fwrite(kMark, 1, sizeof kMark, target) != sizeof kMark) return false;
    const bool copied =
        hasMark ? CopyBytes(source, target, *buffers) : CopyAnsiAsUtf8(source, target, *buffers);
    return copied && !ferror(source) && fflush(target) == 0;
}

/// The identity of a file that exists; all zeros for one that does not.
BY_HANDLE_FILE_INFORMATION IdentityOf(const char* path) {
    BY_HANDLE_FILE_INFORMATION identity = {};
    const FileHandle file(CreateFileA(path, FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    if (file.get() == INVALID_HANDLE_VALUE || !GetFileInformationByHandle(file.get(), &identity)) return {};
    return identity;
}

/// Whether the two paths lead to one file that exists, however they are written.
bool IsOneFile(const char* path, const char* other) {
    if (!other) return false;
    const BY_HANDLE_FILE_INFORMATION a = IdentityOf(path), b = IdentityOf(other);
    return a.dwVolumeSerialNumber == b.dwVolumeSerialNumber && a.nFileIndexHigh == b.nFileIndexHigh &&
           a.nFileIndexLow == b.nFileIndexLow && (a.nFileIndexHigh != 0 || a.nFileIndexLow != 0);
}

}  // namespace

unsigned long LogFileSize(const char* path) {
    const FileHandle file(
        CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    return file.get() == INVALID_HANDLE_VALUE ? 0 : GetFileSize(file.get(), nullptr);
}

void TrimLogFile(const char* path, unsigned long limit, const char* other) {
    const unsigned long size = LogFileSize(path);
    if (size == 0) return;
    Stream source(fopen(path, "rb"));
    if (!source) return;
    const bool hasMark = ReadMark(source.get());
    if (size <= limit && hasMark) return;

    const size_t length = strlen(path);
    const std::unique_ptr<char[]> temporary(new (std::nothrow) char[length + 2]);
    if (!temporary) return;
    memcpy(temporary.get(), path, length);
    memcpy(temporary.get() + length, "1", 2);
    if (IsOneFile(temporary.get(), other)) return;
    Stream target(fopen(temporary.get(), "wb"));
    if (!target) return;

    const bool written = WriteTrimmed(source.get(), target.get(), size, limit, hasMark);
    target.reset();
    source.reset();
    // A half-written copy (full disk) or a file that another process holds: the file stays, the copy goes.
    if (!written || !DeleteFileA(path)) {
        DeleteFileA(temporary.get());
        return;
    }
    MoveFileA(temporary.get(), path);
}

}  // namespace logging
