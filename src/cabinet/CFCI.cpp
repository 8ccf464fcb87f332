#include "cabinet/CFCI.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cabinet/fci_callbacks.h"

namespace cabinet {

namespace {

constexpr ULONG kCabinetSize = 0x7FFFFFFF;
constexpr ULONG kFolderThreshold = 900000;
constexpr size_t kLongestName = 255;
constexpr DWORD kStoredAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;

struct THandleCloser {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
struct THeapDeleter {
    void operator()(char* text) const { free(text); }
};

template <size_t N>
void CopyCut(char (&out)[N], const char* text) {
    const size_t length = std::min(strlen(text), N - 1);
    memcpy(out, text, length);
    out[length] = 0;
}

// Where the number goes in a cabinet's name: before its extension.
const char* LastPoint(const char* name) {
    const char* point = strrchr(name, '.');
    return point ? point : name + strlen(name);
}

size_t PositionIn(const char* text, const char* place) {
    return static_cast<size_t>(place - text);
}

int Failed(int* error) {
    *error = errno;
    return -1;
}

HANDLE OpenSource(const char* name) {
    return CreateFileA(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                       FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
}

// Conversions check no range: outside MS-DOS's years they would give some other date.
void ToLocalDosTime(const FILETIME& utc, USHORT* date, USHORT* time) {
    *date = *time = 0;
    FILETIME local;
    SYSTEMTIME parts;
    if (!FileTimeToLocalFileTime(&utc, &local) || !FileTimeToSystemTime(&local, &parts)) return;
    if (parts.wYear < 1980 || parts.wYear > 2107) return;
    WORD dosDate, dosTime;
    if (!FileTimeToDosDateTime(&local, &dosDate, &dosTime)) return;
    *date = dosDate;
    *time = dosTime;
}

USHORT StoredAttributes(const char* name) {
    const DWORD attributes = GetFileAttributesA(name);
    return attributes == INVALID_FILE_ATTRIBUTES ? USHORT{0}
                                                 : static_cast<USHORT>(attributes & kStoredAttributes);
}

template <typename Function>
bool BindName(HMODULE library, const char* name, Function& out) {
    // Through void*: the address of a function of unknown type.
    out = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    return out != nullptr;
}

}  // namespace

CFCI::CFCI() : CFCI("CABINET.DLL") {}

CFCI::CFCI(const char* library, unsigned mostFiles, ULONGLONG largestFolder)
    : m_nMostFiles(mostFiles), m_cbLargestFolder(largestFolder) {
    Bind(library);
    if (!m_hCabinetDll) {
        m_erf.erfOper = -1;
        m_erf.fError = 1;
    }
}

CFCI::~CFCI() {
    Destroy();
}

void CFCI::Bind(const char* library) {
    m_hCabinetDll.reset(LoadLibraryA(library));
    if (!m_hCabinetDll) return;
    const HMODULE module = m_hCabinetDll.get();
    if (BindName(module, "FCICreate", m_pfnCreate) && BindName(module, "FCIAddFile", m_pfnAddFile) &&
        BindName(module, "FCIFlushCabinet", m_pfnFlushCabinet) &&
        BindName(module, "FCIFlushFolder", m_pfnFlushFolder) &&
        BindName(module, "FCIDestroy", m_pfnDestroy)) {
        return;
    }
    m_pfnCreate = nullptr;
    m_pfnAddFile = nullptr;
    m_pfnFlushCabinet = nullptr;
    m_pfnFlushFolder = nullptr;
    m_pfnDestroy = nullptr;
    const DWORD missing = GetLastError();
    m_hCabinetDll.reset();
    SetLastError(missing);
}

// The running totals differ on purpose: the uncompressed one goes on over the cabinets of an object.
void CFCI::Destroy() {
    if (m_hfci && m_pfnDestroy) m_pfnDestroy(m_hfci);
    m_hfci = nullptr;
    m_bFailed = m_bComplete = false;
    m_nFiles = 0;
    m_cbFolder = m_cbFolderCompressed = 0;
    m_cbCompressed = 0;
}

void CFCI::MakeTemplate(const char* name) {
    // Room is left for the number's place and the terminator.
    const std::string kept(name, std::min(strlen(name), sizeof m_szCabTemplate - 3));
    const size_t point = PositionIn(kept.c_str(), LastPoint(kept.c_str()));
    CopyCut(m_szCabTemplate, (kept.substr(0, point) + "%d" + kept.substr(point)).c_str());
}

bool CFCI::Create(const char* directory, const char* name) {
    Destroy();
    if (!directory || !name) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    MakeTemplate(name);
    CCAB cabinet{};
    cabinet.cb = kCabinetSize;
    cabinet.cbFolderThresh = kFolderThreshold;
    cabinet.iCab = 1;
    cabinet.setID = 1;
    CopyCut(cabinet.szCab, name);
    CopyCut(cabinet.szCabPath, directory);
    if (m_pfnCreate) {
        m_hfci =
            m_pfnCreate(&m_erf, fci::FilePlaced, fci::Allocate, fci::Free, fci::Open, fci::Read, fci::Write,
                        fci::Close, fci::Seek, fci::Delete, fci::GetTempFile, &cabinet, this);
    }
    return m_hfci != nullptr;
}

BOOL CFCI::AddFile(const char* source, const char* storedName) {
    ULONGLONG size = 0;
    if (!m_hfci || !m_pfnAddFile || !source || !storedName || m_bFailed || m_bComplete ||
        !Admits(source, storedName, &size)) {
        return FALSE;
    }
    // FCI takes texts that it may write to.
    std::string from(source);
    std::string to(storedName);
    const BOOL added = m_pfnAddFile(m_hfci, from.data(), to.data(), FALSE, fci::GetNextCabinet, fci::Status,
                                    fci::GetOpenInfo, tcompTYPE_MSZIP);
    if (added) {
        ++m_nFiles;
        m_cbFolder += size;
        if (m_cbFolderCompressed >= kFolderThreshold) m_cbFolder = m_cbFolderCompressed = 0;
        return added;
    }
    m_bFailed = true;
    if (m_source != -1) _close(static_cast<int>(m_source));
    m_source = -1;
    return added;
}

/// Whether a file can be compressed: what FCI would find out half-way, or not at all, is refused while nothing of it
/// is in the cabinet.
bool CFCI::Admits(const char* source, const char* storedName, ULONGLONG* size) const {
    const size_t length = strlen(storedName);
    if (length == 0 || length > kLongestName || m_nFiles >= m_nMostFiles) return false;
    const HANDLE handle = OpenSource(source);
    if (handle == INVALID_HANDLE_VALUE) return false;
    const std::unique_ptr<HANDLE, THandleCloser> file(handle);
    LARGE_INTEGER bytes;
    if (!GetFileSizeEx(handle, &bytes)) return false;
    *size = static_cast<ULONGLONG>(bytes.QuadPart);
    return *size + m_cbFolder <= m_cbLargestFolder;
}

BOOL CFCI::FlushCabinet() {
    // A cabinet without files is none: not every program reads what FCI makes of it.
    if (!m_hfci || !m_pfnFlushCabinet || m_bFailed || m_nFiles == 0) return FALSE;
    if (m_bComplete) return TRUE;
    const BOOL flushed = m_pfnFlushCabinet(m_hfci, FALSE, fci::GetNextCabinet, fci::Status);
    m_bFailed = !flushed;
    m_bComplete = !m_bFailed;
    return flushed;
}

void CFCI::OnClosed(INT_PTR file) {
    if (file == m_source) m_source = -1;
}

int CFCI::FilePlaced(CCAB*, char*, long, BOOL) {
    return 0;
}

INT_PTR CFCI::Open(char* name, int flags, int mode, int* error) {
    const int file = _open(name, flags, mode);
    return file == -1 ? Failed(error) : file;
}

// A short count is judged by errno: what an earlier call left there would make the end of a file an error.
UINT CFCI::Read(INT_PTR file, void* buffer, UINT count, int* error) {
    errno = 0;
    const UINT done = static_cast<UINT>(_read(static_cast<int>(file), buffer, count));
    if (done != count) *error = errno;
    return done;
}

UINT CFCI::Write(INT_PTR file, void* buffer, UINT count, int* error) {
    errno = 0;
    const UINT done = static_cast<UINT>(_write(static_cast<int>(file), buffer, count));
    if (done != count) *error = errno;
    return done;
}

int CFCI::Close(INT_PTR file, int* error) {
    const int result = _close(static_cast<int>(file));
    if (result != 0) *error = errno;
    return result;
}

long CFCI::Seek(INT_PTR file, long distance, int origin, int* error) {
    const long position = _lseek(static_cast<int>(file), distance, origin);
    return position == -1 ? Failed(error) : position;
}

int CFCI::Delete(char* name, int* error) {
    const int result = remove(name);
    if (result != 0) *error = errno;
    return result;
}

BOOL CFCI::GetTempFile(char* name, int capacity) {
    char directory[] = "";
    char prefix[] = "xx";
    const std::unique_ptr<char, THeapDeleter> made(_tempnam(directory, prefix));
    if (!made || capacity <= 0) return FALSE;
    const size_t size = strlen(made.get()) + 1;
    if (size > static_cast<size_t>(capacity)) return FALSE;
    memcpy(name, made.get(), size);
    return TRUE;
}

// The template is taken apart at its number's place rather than handed to a formatter: the rest is the
// caller's name, per cent signs included.
BOOL CFCI::GetNextCabinet(CCAB* cabinet, ULONG) {
    const char* tail = LastPoint(m_szCabTemplate);
    const std::string head(m_szCabTemplate, PositionIn(m_szCabTemplate, tail));
    CopyCut(cabinet->szCab, (head.substr(0, head.rfind('%')) + std::to_string(cabinet->iCab) + tail).c_str());
    return TRUE;
}

long CFCI::Status(UINT kind, ULONG count1, ULONG count2) {
    if (kind == statusFile) {
        m_cbCompressed += count1;
        m_cbUncompressed += count2;
    }
    return 0;
}

INT_PTR CFCI::GetOpenInfo(char* name, USHORT* date, USHORT* time, USHORT* attributes, int* error) {
    *error = 0;
    {
        const HANDLE handle = OpenSource(name);
        if (handle == INVALID_HANDLE_VALUE) return -1;
        const std::unique_ptr<HANDLE, THandleCloser> file(handle);
        BY_HANDLE_FILE_INFORMATION information;
        if (!GetFileInformationByHandle(handle, &information)) return -1;
        ToLocalDosTime(information.ftLastWriteTime, date, time);
        *attributes = StoredAttributes(name);
    }
    return Open(name, _O_RDONLY | _O_BINARY, 0, error);
}

}  // namespace cabinet
