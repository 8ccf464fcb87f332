#pragma once
// The text of a mailbox file: read once from its start to its end when the mailbox is opened, and again wherever
// a long value lies when somebody asks for it. Owns the open file and the places of the long values.
//
// The file is read and not mapped: Windows replaces no file that is mapped, and a mapped file that something
// cuts short takes the program with it. Every reading is checked against what the file was when it was opened,
// so a value is what it was then or a failure. While the file is open other programs may read and replace it,
// and not write into it.
//
// Requires the platform's lock for everything that it does.

#include <windows.h>

#include <deque>
#include <memory>
#include <string>
#include <string_view>

namespace mailbox {

class CFileText;

/// A value that stays in the file: the characters between its quotation marks. How many bytes it is decoded is
/// known by whoever holds it. Valid as long as the file's text.
struct TPlace {
    enum class EForm : unsigned char { Text, EscapedText, Base64 };
    static constexpr unsigned long long kNowhere = ~0ull;

    CFileText* file = nullptr;
    /// kNowhere: no longer in the file, which was saved since without it.
    unsigned long long offset = kNowhere;
    unsigned long long rawSize = 0;
    EForm form = EForm::Text;
    /// Where the save that is under way puts it.
    mutable unsigned long long movesTo = kNowhere;

    /// Decodes the first bytes of the value into out. False: the file does not hold the value any more, or not as
    /// a value of so many bytes or more; CFileText::Failure says which.
    bool Load(char* out, size_t size) const;
    /// The same for any bytes of EForm::Base64.
    bool LoadBinary(unsigned long long from, char* out, size_t size) const;
};

/// By what a file shows that somebody else wrote it.
struct TStamp {
    unsigned long long size = 0;
    unsigned long long written = 0;
    bool operator==(const TStamp&) const = default;
};

/// A file handle that closes itself.
class CFile {
  public:
    CFile() = default;
    explicit CFile(HANDLE handle) : m_handle(handle) {}
    CFile(const CFile&) = delete;
    CFile& operator=(CFile&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~CFile() { Close(); }
    bool IsOpen() const { return m_handle != INVALID_HANDLE_VALUE && m_handle != nullptr; }
    HANDLE Handle() const { return m_handle; }
    void Close() {
        if (IsOpen()) CloseHandle(m_handle);
        m_handle = INVALID_HANDLE_VALUE;
    }
    bool ReadStamp(TStamp& stamp) const;

  private:
    HANDLE m_handle = INVALID_HANDLE_VALUE;
};

class CFileText {
  public:
    CFileText() = default;
    CFileText(const CFileText&) = delete;
    /// A text in memory instead of a file.
    explicit CFileText(std::string text);

    /// 0, or the system's error.
    DWORD Open(const std::wstring& path);
    unsigned long long Size() const { return m_stamp.size; }
    const TStamp& TheStamp() const { return m_stamp; }

    /// All of the bytes or false.
    bool Read(unsigned long long offset, char* out, size_t size);
    /// The same where they lie; valid until the next call. For no more than kMostRaw.
    bool Raw(unsigned long long offset, size_t size, std::string_view& raw);
    static constexpr size_t kMostRaw = 1 << 16;
    /// What the last reading that failed failed with.
    HRESULT Failure() const { return m_failure; }
    /// Notes that the value is not what it was; false.
    bool Gone(const TPlace& place);

    const TPlace* Add(unsigned long long offset, unsigned long long rawSize, TPlace::EForm form);

    // Saving: between BeginMoves and Moved a writer notes for each place where it put the value.
    void BeginMoves();
    /// Lets go of the file, so that it can be replaced. The next reading opens it again.
    void Close() { m_file.Close(); }
    /// The file was replaced by one with this stamp: all places are where they were noted, or nowhere.
    void Moved(const TStamp& stamp);

  private:
    bool Fail(HRESULT failure, DWORD error);
    bool IsOpen();

    std::wstring m_path;
    CFile m_file;
    /// The text itself when it is none of a file.
    std::string m_memory;
    TStamp m_stamp;
    HRESULT m_failure = S_OK;
    std::deque<TPlace> m_places;
    /// What was read last; items are read in the order of the file more often than not.
    std::string m_window;
    unsigned long long m_nWindowStart = 0;
};

}  // namespace mailbox
