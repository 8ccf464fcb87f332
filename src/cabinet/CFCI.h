#pragma once
// A cabinet being written through the system's file compression interface (FCI).
//
// One object is one cabinet: Create, AddFile for each file, FlushCabinet, which completes it. Destroying the
// object does not flush: a cabinet that was never flushed is incomplete. Create starts over, so an object can
// write one cabinet after another. A source that is refused before FCI sees it leaves the cabinet as it was;
// after a failure of FCI itself nothing reaches FCI any more, and the cabinet is never reported as written. Nor
// does anything once it is complete: FCI would begin another one in its place. The object owns the compression
// context, its temporary files and the cabinet library, which is loaded at construction; without that library
// every operation fails and none crashes.
//
// The virtual operations are what FCI calls back; each reports a failure of the C runtime through *error, and
// FCI turns that into a failure of the call that is running. FCI's record of the failure is Erf().

#include <windows.h>
#include <fci.h>

#include <memory>
#include <type_traits>

namespace cabinet {

class CFCI {
  public:
    CFCI();
    CFCI(const CFCI&) = delete;
    CFCI& operator=(const CFCI&) = delete;

    virtual int FilePlaced(CCAB* cabinet, char* name, long size, BOOL continued);
    virtual INT_PTR Open(char* name, int flags, int mode, int* error);
    virtual UINT Read(INT_PTR file, void* buffer, UINT count, int* error);
    virtual UINT Write(INT_PTR file, void* buffer, UINT count, int* error);
    virtual int Close(INT_PTR file, int* error);
    virtual long Seek(INT_PTR file, long distance, int origin, int* error);
    virtual int Delete(char* name, int* error);
    /// TRUE with the name of a file that does not exist yet; FALSE when there is none of less than capacity
    /// bytes.
    virtual BOOL GetTempFile(char* name, int capacity);
    /// Names cabinet number cabinet->iCab of a set.
    virtual BOOL GetNextCabinet(CCAB* cabinet, ULONG previousSize);
    /// Adds up the bytes of the blocks that were compressed.
    virtual long Status(UINT kind, ULONG count1, ULONG count2);
    /// Opens a source for reading and tells what the cabinet says about it: last write in local time, zero
    /// when MS-DOS cannot express it, and its read-only, hidden, system and archive attributes. -1: refused.
    virtual INT_PTR GetOpenInfo(char* name, USHORT* date, USHORT* time, USHORT* attributes, int* error);

    virtual ~CFCI();

    /// Starts a cabinet. directory ends in a backslash; the two together name the file. Each is cut at 255
    /// bytes. False when the library is missing or FCI refuses; GetLastError() then says why, as far as
    /// anybody said.
    bool Create(const char* directory, const char* name);
    /// Compresses a file into the cabinet under storedName. Zero is failure: the file cannot be read or the
    /// format has no room for it, or its name is not one of 1 to 255 bytes, and the cabinet goes on; or FCI
    /// failed, or the cabinet is complete.
    BOOL AddFile(const char* source, const char* storedName);
    /// Completes the cabinet. FCI's result, zero after a failure of FCI: zero is failure. A complete one stays so.
    BOOL FlushCabinet();

    /// What the callbacks tell besides: FCI leaves a source open when it fails, and starts a new folder behind
    /// so many compressed bytes.
    void OnSourceOpened(INT_PTR file) { m_source = file; }
    void OnClosed(INT_PTR file);
    void OnCompressed(ULONG count) { m_cbFolderCompressed += count; }

    const ERF& Erf() const { return m_erf; }
    const char* Template() const { return m_szCabTemplate; }
    ULONG Compressed() const { return m_cbCompressed; }
    ULONG Uncompressed() const { return m_cbUncompressed; }

  protected:
    /// Files, and the 32,768-byte blocks of a folder, are counted in 16 bits by the format.
    static constexpr unsigned kMostFiles = 65535;
    static constexpr ULONGLONG kLargestFolder = 65535ULL * 32768;

    /// For a cabinet library of another name, and cabinets of fewer files and smaller folders.
    explicit CFCI(const char* library, unsigned mostFiles = kMostFiles,
                  ULONGLONG largestFolder = kLargestFolder);

  private:
    struct TLibraryDeleter {
        void operator()(HMODULE library) const { FreeLibrary(library); }
    };
    using Library = std::unique_ptr<std::remove_pointer_t<HMODULE>, TLibraryDeleter>;

    void Bind(const char* library);
    void MakeTemplate(const char* name);
    bool Admits(const char* source, const char* storedName, ULONGLONG* size) const;
    void Destroy();

    HFCI m_hfci = nullptr;
    bool m_bFailed = false;    // FCI failed in this cabinet
    bool m_bComplete = false;  // it was flushed
    const unsigned m_nMostFiles;
    const ULONGLONG m_cbLargestFolder;
    unsigned m_nFiles = 0;  // in this cabinet
    // Of the folder being filled.
    ULONGLONG m_cbFolder = 0;
    ULONGLONG m_cbFolderCompressed = 0;
    INT_PTR m_source = -1;  // the file being compressed
    ERF m_erf{};
    ULONG m_cbCompressed = 0;
    ULONG m_cbUncompressed = 0;
    char m_szCabTemplate[256]{};  // the cabinet's name with "%d" in front of its last point
    Library m_hCabinetDll;
    decltype(&::FCICreate) m_pfnCreate{};
    decltype(&::FCIAddFile) m_pfnAddFile{};
    decltype(&::FCIFlushCabinet) m_pfnFlushCabinet{};
    decltype(&::FCIFlushFolder) m_pfnFlushFolder{};
    decltype(&::FCIDestroy) m_pfnDestroy{};
};

}  // namespace cabinet
