#include "mailbox/CFileText.h"

#include <mapidefs.h>

#include <mapicode.h>

#include <algorithm>
#include <cstring>

#include "mailbox/text.h"

namespace mailbox {

bool CFile::ReadStamp(TStamp& stamp) const {
    LARGE_INTEGER size;
    FILETIME written;
    if (!GetFileSizeEx(m_handle, &size) || !GetFileTime(m_handle, nullptr, nullptr, &written)) return false;
    stamp.size = static_cast<unsigned long long>(size.QuadPart);
    stamp.written = static_cast<unsigned long long>(written.dwHighDateTime) << 32 | written.dwLowDateTime;
    return true;
}

CFileText::CFileText(std::string text) : m_memory(std::move(text)) {
    m_stamp.size = m_memory.size();
}

DWORD CFileText::Open(const std::wstring& path) {
    m_path = path;
    m_file = CFile(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return m_file.IsOpen() && m_file.ReadStamp(m_stamp) ? ERROR_SUCCESS : GetLastError();
}

bool CFileText::Fail(HRESULT failure, DWORD error) {
    m_failure = failure;
    ::SetLastError(error);
    return false;
}

bool CFileText::Gone(const TPlace& place) {
    return Fail(place.offset == TPlace::kNowhere ? MAPI_E_OBJECT_DELETED : MAPI_E_OBJECT_CHANGED,
                ERROR_FILE_INVALID);
}

/// Opens the file again after it was let go of.
bool CFileText::IsOpen() {
    if (m_file.IsOpen()) return true;
    const TStamp known = m_stamp;
    if (Open(m_path) != ERROR_SUCCESS) return Fail(MAPI_E_DISK_ERROR, GetLastError());
    if (m_stamp == known) return true;
    m_stamp = known;
    m_file.Close();
    return Fail(MAPI_E_OBJECT_CHANGED, ERROR_FILE_INVALID);
}

bool CFileText::Read(unsigned long long offset, char* out, size_t size) {
    if (offset > m_stamp.size || size > m_stamp.size - offset)
        return Fail(MAPI_E_OBJECT_CHANGED, ERROR_FILE_INVALID);
    if (m_path.empty()) {
        std::memcpy(out, m_memory.data() + offset, size);
        return true;
    }
    if (!IsOpen()) return false;
    while (size != 0) {
        OVERLAPPED where{};
        where.Offset = static_cast<DWORD>(offset);
        where.OffsetHigh = static_cast<DWORD>(offset >> 32);
        DWORD got = 0;
        const DWORD asked = static_cast<DWORD>(std::min<size_t>(size, 1u << 30));
        if (!ReadFile(m_file.Handle(), out, asked, &got, &where) || got == 0) {
            const DWORD error = GetLastError();
            return Fail(MAPI_E_DISK_ERROR, error != ERROR_SUCCESS ? error : ERROR_HANDLE_EOF);
        }
        out += got;
        offset += got;
        size -= got;
    }
    // Not every file system enforces the sharing mode: something may have written into the file.
    TStamp now;
    if (!m_file.ReadStamp(now)) return Fail(MAPI_E_DISK_ERROR, GetLastError());
    return now == m_stamp || Fail(MAPI_E_OBJECT_CHANGED, ERROR_FILE_INVALID);
}

bool CFileText::Raw(unsigned long long offset, size_t size, std::string_view& raw) {
    const bool isThere = offset >= m_nWindowStart && offset - m_nWindowStart <= m_window.size() &&
                         size <= m_window.size() - (offset - m_nWindowStart);
    if (!isThere) {
        const unsigned long long left = offset < m_stamp.size ? m_stamp.size - offset : 0;
        m_window.resize(static_cast<size_t>(std::min<unsigned long long>(left, kMostRaw)));
        m_nWindowStart = offset;
        const bool isRead = size <= m_window.size() ? Read(offset, m_window.data(), m_window.size())
                                                    : Fail(MAPI_E_OBJECT_CHANGED, ERROR_FILE_INVALID);
        if (!isRead) return m_window.clear(), false;
    }
    raw = std::string_view(m_window).substr(static_cast<size_t>(offset - m_nWindowStart), size);
    return true;
}

const TPlace* CFileText::Add(unsigned long long offset, unsigned long long rawSize, TPlace::EForm form) {
    return &m_places.emplace_back(TPlace{this, offset, rawSize, form});
}

void CFileText::BeginMoves() {
    for (TPlace& place : m_places) place.movesTo = TPlace::kNowhere;
}

void CFileText::Moved(const TStamp& stamp) {
    for (TPlace& place : m_places) place.offset = place.movesTo;
    m_stamp = stamp;
    m_window.clear();
}

namespace {

/// Turns the escapes of a JSON text into what they mean until the text or the room ends. Stops in front of an
/// escape that is not all there. False for one that means nothing.
bool Unescape(std::string_view& raw, char*& out, const char* end) {
    while (!raw.empty() && out != end) {
        const size_t plain = std::min(raw.find('\\'), raw.size());
        const size_t run = std::min(plain, static_cast<size_t>(end - out));
        std::memcpy(out, raw.data(), run);
        out += run;
        raw.remove_prefix(run);
        if (run != plain || raw.empty()) continue;
        char character[4];
        size_t length = 0;
        const EEscape escape = TakeEscape(raw, character, length);
        if (escape != EEscape::Whole) return escape == EEscape::Cut;
        length = std::min(length, static_cast<size_t>(end - out));
        std::memcpy(out, character, length);
        out += length;
    }
    return true;
}

}  // namespace

bool TPlace::Load(char* out, size_t size) const {
    if (form == EForm::Base64) return LoadBinary(0, out, size);
    const char* const end = out + size;
    for (unsigned long long done = 0; out != end;) {
        std::string_view raw;
        const size_t piece =
            static_cast<size_t>(std::min<unsigned long long>(rawSize - done, CFileText::kMostRaw));
        if (offset == kNowhere || piece == 0) return file->Gone(*this);
        if (!file->Raw(offset + done, piece, raw)) return false;
        if (form == EForm::Text) {
            const size_t run = std::min(raw.size(), static_cast<size_t>(end - out));
            std::memcpy(out, raw.data(), run);
            out += run;
            raw.remove_prefix(run);
        } else if (!Unescape(raw, out, end)) {
            return file->Gone(*this);
        }
        if (raw.size() == piece) return file->Gone(*this);
        done += piece - raw.size();
    }
    return true;
}

bool TPlace::LoadBinary(unsigned long long from, char* out, size_t size) const {
    std::string bytes;
    while (size != 0) {
        // Four characters are three bytes.
        const unsigned long long start = from / 3 * 4;
        const size_t skip = static_cast<size_t>(from % 3);
        if (offset == kNowhere || start >= rawSize) return file->Gone(*this);
        const size_t piece =
            static_cast<size_t>(std::min<unsigned long long>(rawSize - start, CFileText::kMostRaw));
        std::string_view raw;
        if (!file->Raw(offset + start, piece, raw)) return false;
        if (!FromBase64(raw, bytes) || bytes.size() <= skip) return file->Gone(*this);
        const size_t run = std::min(bytes.size() - skip, size);
        std::memcpy(out, bytes.data() + skip, run);
        out += run;
        from += run;
        size -= run;
    }
    return true;
}

}  // namespace mailbox
