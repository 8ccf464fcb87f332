// The operations behind FCI's callbacks, what is refused, and cabinets whose writing fails somewhere on the way.
// What a good cabinet holds is checked by check_cabinets.py.

#include <windows.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "cabinet/CFCI.h"
#include "quorvel.h"
#include "tests/support/CapturedLog.h"

using cabinet::CFCI;
using enum logging::ESeverity;

namespace {

namespace fs = std::filesystem;

// A folder of its own for each test, and an empty one that takes the temporary files.
class Cabinet : public testing::Test {
  protected:
    void SetUp() override {
        const char* temp = getenv("TMP");
        m_formerTemp = temp ? temp : "";
        _putenv_s("TMP", m_temp.Path().c_str());
    }
    void TearDown() override {
        EXPECT_TRUE(fs::is_empty(m_temp.Path())) << "temporary files are left";
        _putenv_s("TMP", m_formerTemp.c_str());
    }
    std::string Path(const std::string& name) const { return m_folder.File(name); }
    std::string Directory() const { return m_folder.Path() + "\\"; }
    // Text that does not compress to nothing.
    std::string Source(const std::string& name, size_t size) const {
        std::string bytes(size, ' ');
        unsigned state = 12345;
        for (char& byte : bytes) byte = static_cast<char>((state = state * 1103515245 + 12345) >> 24);
        std::ofstream(Path(name), std::ios::binary) << bytes;
        return Path(name);
    }
    std::string Content(const std::string& name) const { return ReadWholeFile(Path(name)); }

    TemporaryFolder m_folder;
    TemporaryFolder m_temp;

  private:
    std::string m_formerTemp;
};

// Creates, adds and flushes; true when every step reported success.
bool Pack(CFCI& cabinet, const std::string& directory, const std::string& name, const std::string& source) {
    return cabinet.Create(directory.c_str(), name.c_str()) && cabinet.AddFile(source.c_str(), "a") &&
           cabinet.AddFile(source.c_str(), "b") && cabinet.FlushCabinet();
}

TEST_F(Cabinet, NamesFurtherCabinetsAfterTheFirst) {
    const struct {
        std::string name, pattern, seventh;
    } cases[] = {
        {"backup.cab", "backup%d.cab", "backup7.cab"},
        {"a.b.cab", "a.b%d.cab", "a.b7.cab"},
        {"data", "data%d", "data7"},
        {".cab", "%d.cab", "7.cab"},
        {"end.", "end%d.", "end7."},
        {"", "%d", "7"},
        {"100%s%n.cab", "100%s%n%d.cab", "100%s%n7.cab"},
        {"a%d.c%d", "a%d%d.c%d", "a%d7.c%d"},
        {std::string(253, 'x'), std::string(253, 'x') + "%d", std::string(253, 'x') + "7"},
        {std::string(300, 'x'), std::string(253, 'x') + "%d", std::string(253, 'x') + "7"},
        {std::string(250, 'x') + ".cabinet", std::string(250, 'x') + "%d.ca", std::string(250, 'x') + "7.ca"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        CFCI cabinet;
        ASSERT_TRUE(cabinet.Create(Directory().c_str(), one.name.c_str()));
        EXPECT_EQ(cabinet.Template(), one.pattern);
        CCAB next{};
        next.iCab = 7;
        EXPECT_TRUE(cabinet.GetNextCabinet(&next, 0));
        EXPECT_EQ(next.szCab, one.seventh);
    }
}

TEST_F(Cabinet, CutsTheNumberedNameAtItsPlaceInTheRecord) {
    CFCI cabinet;
    ASSERT_TRUE(cabinet.Create("", std::string(253, 'x').c_str()));
    CCAB next{};
    next.iCab = 2147483647;
    memset(next.szCabPath, '#', sizeof next.szCabPath);
    EXPECT_TRUE(cabinet.GetNextCabinet(&next, 0));
    EXPECT_EQ(next.szCab, std::string(253, 'x') + "21");
    EXPECT_EQ(next.szCabPath[0], '#') << "written past the name";
}

TEST_F(Cabinet, GivesTemporaryNamesThatFit) {
    CFCI cabinet;
    char name[MAX_PATH];
    ASSERT_TRUE(cabinet.GetTempFile(name, sizeof name));
    EXPECT_FALSE(fs::exists(name));
    EXPECT_EQ(fs::path(name).filename().string().substr(0, 2), "xx");
    const int length = static_cast<int>(strlen(name));
    char exact[MAX_PATH];
    memset(exact, '#', sizeof exact);
    EXPECT_FALSE(cabinet.GetTempFile(exact, 0));
    EXPECT_FALSE(cabinet.GetTempFile(exact, length));
    EXPECT_EQ(exact[0], '#');
    EXPECT_TRUE(cabinet.GetTempFile(exact, length + 1));
    EXPECT_EQ(exact[length + 1], '#');
}

FILETIME Utc(WORD year, WORD month, WORD day) {
    const SYSTEMTIME parts{year, month, 0, day, 12, 34, 56, 0};
    FILETIME time{};
    EXPECT_TRUE(SystemTimeToFileTime(&parts, &time));
    return time;
}

// Noon: on the same day in every zone.
TEST_F(Cabinet, StoresTimesThatMsDosKnows) {
    const std::string path = Source("dated", 1);
    const struct {
        WORD year, month, day;
        bool stored;
    } cases[] = {
        {1601, 1, 2, false}, {1979, 12, 31, false}, {1980, 1, 1, true},  {1999, 12, 31, true},
        {2024, 2, 29, true}, {2105, 12, 31, true},  {2108, 1, 1, false}, {2236, 1, 1, false},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.year);
        const HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        const FILETIME time = Utc(one.year, one.month, one.day);
        ASSERT_TRUE(SetFileTime(file, nullptr, nullptr, &time));
        CloseHandle(file);
        std::string name = path;
        USHORT date = 1, clock = 1, attributes = 1;
        int error = 0;
        CFCI cabinet;
        const INT_PTR opened = cabinet.GetOpenInfo(name.data(), &date, &clock, &attributes, &error);
        ASSERT_NE(opened, -1);
        cabinet.Close(opened, &error);
        if (one.stored) {
            EXPECT_EQ(date, ((one.year - 1980) << 9) + (one.month << 5) + one.day);
            EXPECT_EQ(clock & 31, 56 / 2);
        } else {
            EXPECT_EQ(date, 0);
            EXPECT_EQ(clock, 0);
        }
    }
}

// A file without content on the disk, as large as it is said to be.
std::string Sparse(const std::string& path, LONGLONG size) {
    const HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    LARGE_INTEGER end;
    end.QuadPart = size;
    EXPECT_TRUE(SetFilePointerEx(file, end, nullptr, FILE_BEGIN) && SetEndOfFile(file));
    CloseHandle(file);
    return path;
}

struct CSmallFormat : CFCI {
    using CFCI::kMostFiles;
    CSmallFormat(unsigned mostFiles, ULONGLONG largestFolder)
        : CFCI("CABINET.DLL", mostFiles, largestFolder) {}
};

// What is refused leaves no trace: the cabinet is the one that it would be without.
TEST_F(Cabinet, GoesOnAfterWhatItRefuses) {
    const std::string source = Source("source", 1000), held = Source("held", 100);
    CFCI undisturbed;
    ASSERT_TRUE(Pack(undisturbed, Directory(), "good.cab", source));
    const HANDLE writer = CreateFileA(held.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(writer, INVALID_HANDLE_VALUE);
    const struct {
        const char* what;
        std::string source, name;
    } refused[] = {
        {"missing", Path("missing"), "stored"},
        {"no folder", Path("no\\such\\folder"), "stored"},
        {"written by another", held, "stored"},
        {"a folder", m_temp.Path(), "stored"},
        {"no name", "", "stored"},
        {"too long a path", std::string(400, 'x'), "stored"},
        {"more blocks than are left in the folder", Sparse(Path("large"), 65535LL * 32768 - 999), "stored"},
        {"beyond 4 GB", Sparse(Path("larger"), 0x100000001LL), "stored"},
        {"stored under no name", source, ""},
        {"stored under too long a name", source, std::string(256, 'x')},
    };
    CFCI cabinet;
    ASSERT_TRUE(cabinet.Create(Directory().c_str(), "out.cab"));
    ASSERT_TRUE(cabinet.AddFile(source.c_str(), "a"));
    for (const auto& one : refused) {
        EXPECT_FALSE(cabinet.AddFile(one.source.c_str(), one.name.c_str())) << one.what;
        EXPECT_FALSE(cabinet.Erf().fError) << one.what;
    }
    CloseHandle(writer);
    ASSERT_TRUE(cabinet.AddFile(source.c_str(), "b"));
    ASSERT_TRUE(cabinet.FlushCabinet());
    EXPECT_EQ(Content("out.cab"), Content("good.cab"));
}

TEST_F(Cabinet, TakesNoMoreThanTheFormatCounts) {
    EXPECT_EQ(CSmallFormat::kMostFiles, 0xFFFFu);
    CSmallFormat cabinet(5, 2'000'000);
    const std::string zeros = Sparse(Path("zeros"), 1'100'000), dense = Source("dense", 1'000'000);
    const struct {
        const char* what;
        std::string source;
        bool fits;
    } files[] = {{"into an empty folder", zeros, true},
                 {"more than the folder has room for", zeros, false},
                 {"less, but the rest is not enough for it", Sparse(Path("rest"), 900'001), false},
                 {"what is left", Sparse(Path("left"), 900'000), true},
                 {"nothing, into a full folder", Sparse(Path("empty"), 0), true},
                 {"a byte more", Source("byte", 1), false}};
    ASSERT_TRUE(cabinet.Create(Directory().c_str(), "out.cab"));
    EXPECT_FALSE(cabinet.FlushCabinet()) << "a cabinet without files";
    for (const auto& file : files)
        EXPECT_EQ(cabinet.AddFile(file.source.c_str(), "a") != 0, file.fits) << file.what;
    EXPECT_TRUE(cabinet.FlushCabinet());
    const std::string whole = Content("out.cab");
    EXPECT_FALSE(cabinet.AddFile(dense.c_str(), "b")) << "into a complete cabinet";
    EXPECT_TRUE(cabinet.FlushCabinet());
    EXPECT_EQ(Content("out.cab"), whole) << "a second flush writes another cabinet over the first";

    // What does not compress ends a folder; its count and the files' begin anew.
    ASSERT_TRUE(cabinet.Create(Directory().c_str(), "next.cab"));
    for (const bool fits : {true, true, true, true, true, false})
        EXPECT_EQ(cabinet.AddFile(dense.c_str(), "a") != 0, fits);
    EXPECT_TRUE(cabinet.FlushCabinet());
    EXPECT_EQ(Content("next.cab")[26], 5) << "folders";
}

TEST_F(Cabinet, ForgivesNullArguments) {
    CapturedLog log;
    EXPECT_EQ(FCI_Create(nullptr, "out.cab"), nullptr);
    EXPECT_EQ(log.Lines(), LogLines({{sevError, "FCI_Create", "GetLastError = 0x57"}}));
    log.Clear();
    EXPECT_EQ(FCI_Create("", nullptr), nullptr);
    EXPECT_EQ(log.Lines(), LogLines({{sevError, "FCI_Create", "GetLastError = 0x57"}}));
    log.Clear();
    EXPECT_EQ(FCI_AddFile(nullptr, "a", "b"), 0);
    EXPECT_EQ(FCI_FlushCabinet(nullptr), 0);
    FCI_Delete(nullptr);
    HFci cabinet = FCI_Create(Directory().c_str(), "out.cab");
    ASSERT_NE(cabinet, nullptr);
    EXPECT_EQ(FCI_AddFile(cabinet, nullptr, "b"), 0);
    EXPECT_EQ(FCI_AddFile(cabinet, "a", nullptr), 0);
    FCI_Delete(cabinet);
    EXPECT_EQ(log.Lines(), LogLines());
}

TEST_F(Cabinet, WritesOneCabinetAfterAnother) {
    const std::string source = Source("source", 40000);
    CFCI cabinet;
    ASSERT_TRUE(cabinet.Create(Directory().c_str(), "one.cab"));
    ASSERT_TRUE(cabinet.AddFile(source.c_str(), "stored"));
    ASSERT_TRUE(cabinet.FlushCabinet());
    EXPECT_EQ(cabinet.Uncompressed(), 40000u);
    EXPECT_GT(cabinet.Compressed(), 39000u);
    // Given up half-way: nothing of it stays.
    ASSERT_TRUE(cabinet.Create(Directory().c_str(), "given_up.cab"));
    EXPECT_EQ(cabinet.Compressed(), 0u);
    ASSERT_TRUE(cabinet.AddFile(source.c_str(), "stored"));
    ASSERT_TRUE(cabinet.Create(Directory().c_str(), "two.cab"));
    ASSERT_TRUE(cabinet.AddFile(source.c_str(), "stored"));
    ASSERT_TRUE(cabinet.FlushCabinet());
    EXPECT_GE(cabinet.Uncompressed(), 80000u) << "the uncompressed total is never set back";
    EXPECT_EQ(Content("one.cab"), Content("two.cab"));
    EXPECT_GT(fs::file_size(Path("two.cab")), 39000u);
    EXPECT_FALSE(fs::exists(Path("given_up.cab")));
}

// Makes callback number `when` fail; closing and removing files go on, as after a real failure.
class Disturbed : public CFCI {
  public:
    explicit Disturbed(int when) : m_when(when) {}
    bool Struck() const { return m_count >= m_when; }
    int Callbacks() const { return m_count; }

    INT_PTR Open(char* name, int flags, int mode, int* error) override {
        return Fails(error) ? -1 : CFCI::Open(name, flags, mode, error);
    }
    UINT Read(INT_PTR file, void* buffer, UINT count, int* error) override {
        return Fails(error) ? UINT(-1) : CFCI::Read(file, buffer, count, error);
    }
    UINT Write(INT_PTR file, void* buffer, UINT count, int* error) override {
        return CFCI::Write(file, buffer, Fails(error) ? count / 2 : count, error);
    }
    BOOL GetTempFile(char* name, int capacity) override {
        int error;
        return Fails(&error) ? FALSE : CFCI::GetTempFile(name, capacity);
    }
    INT_PTR GetOpenInfo(char* name, USHORT* date, USHORT* time, USHORT* attributes, int* error) override {
        return Fails(error) ? -1 : CFCI::GetOpenInfo(name, date, time, attributes, error);
    }

  private:
    bool Fails(int* error) {
        *error = ENOSPC;
        return ++m_count == m_when;
    }
    int m_when;
    int m_count = 0;
};

// A report of success means a whole cabinet, whatever failed on the way to it.
TEST_F(Cabinet, NeverReportsABrokenCabinetAsWritten) {
    const std::string source = Source("source", 70000);
    CFCI undisturbed;
    ASSERT_TRUE(Pack(undisturbed, Directory(), "good.cab", source));
    const std::string good = Content("good.cab");
    int failed = 0;
    for (int when = 1;; ++when) {
        SCOPED_TRACE("callback " + std::to_string(when) + " fails");
        Disturbed cabinet(when);
        const bool written = Pack(cabinet, Directory(), "bad.cab", source);
        EXPECT_TRUE(!written || Content("bad.cab") == good) << "reported as written, but it is not whole";
        const int callbacks = cabinet.Callbacks();
        EXPECT_TRUE(written || (!cabinet.AddFile(source.c_str(), "c") && !cabinet.FlushCabinet()));
        EXPECT_TRUE(written || cabinet.Callbacks() == callbacks) << "FCI is called after its failure";
        const HANDLE alone = CreateFileA(source.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        EXPECT_NE(alone, INVALID_HANDLE_VALUE) << "the source is still open";
        CloseHandle(alone);
        failed += !written;
        if (!cabinet.Struck()) {
            EXPECT_TRUE(written);
            break;
        }
        fs::remove(Path("bad.cab"));
    }
    EXPECT_GT(failed, 20) << "the failures did not reach the writer";
}

}  // namespace
