#include "mailbox/mailbox_file.h"

#include <algorithm>
#include <map>
#include <vector>

#include "mailbox/calls.h"
#include "mailbox/platform.h"
#include "mailbox/file_kind.h"
#include "mailbox/file_reader.h"
#include "mailbox/file_writer.h"
#include "mailbox/like_file.h"
#include "mailbox/platform_headers.h"

namespace mailbox {

struct TMailboxFileState {
    std::wstring path;
    /// Where a save puts the mailbox until it is whole: under a name that nobody else gives to a file.
    std::wstring newPath;
    /// Open as long as the mailbox is in use, shared with nobody.
    CFile lock;
    /// The folder of the file cannot be written to: the mailbox is only read.
    bool isReadOnly = false;
};

namespace {

std::shared_ptr<CDatabase>& Installed() {
    static auto& installed = *new std::shared_ptr<CDatabase>;
    return installed;
}

/// The mailboxes that this process uses, by path in lower case.
std::map<std::wstring, std::weak_ptr<CDatabase>>& Open() {
    static auto& open = *new std::map<std::wstring, std::weak_ptr<CDatabase>>;
    return open;
}

std::wstring ErrorText(DWORD error) {
    wchar_t text[256];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        error, 0, text, ARRAYSIZE(text), nullptr);
    std::wstring message(text, length);
    message.erase(message.find_last_not_of(L" \r\n.") + 1);
    return message.empty() ? L"error " + std::to_wstring(error) : message;
}

HRESULT Fail(HRESULT result, const std::wstring& reason) {
    SetLastError(reason);
    return result;
}

std::wstring FromEnvironment(const wchar_t* name) {
    std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    if (value.empty()) return value;
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

std::wstring FromRegistry(HKEY root) {
    wchar_t value[1024];
    DWORD size = sizeof value;
    // This takes REG_EXPAND_SZ as well, with its environment variables expanded.
    const LSTATUS status =
        RegGetValueW(root, L"Software\\Quorvel\\Mailbox", L"File", RRF_RT_REG_SZ, nullptr, value, &size);
    return status == ERROR_SUCCESS ? value : std::wstring();
}

std::wstring ConfiguredFile() {
    std::wstring path = FromEnvironment(L"QUORVEL_MAILBOX");
    if (path.empty()) path = FromRegistry(HKEY_CURRENT_USER);
    if (path.empty()) path = FromRegistry(HKEY_LOCAL_MACHINE);
    if (path.empty()) return path;
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    // A save replaces the file, and not a link to it; and whoever comes another way meets the same lock.
    return ResolveLinks(full);
}

/// Whether no file is there any more.
bool Remove(const std::wstring& path) {
    const auto isGone = [&] { return DeleteFileW(path.c_str()) || GetLastError() == ERROR_FILE_NOT_FOUND; };
    // A file that is read-only has to be freed of that first.
    return isGone() || (SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL) && isGone());
}

/// Removes what a process left behind that was stopped while it saved: the mailbox is the file as it was before. Stopped
/// within the moment in which the new file has no rights yet (CreateLike), it leaves one under Wine that only the
/// superuser can remove: then saves go under another name.
void ChooseNewPath(TMailboxFileState& file) {
    for (int number = 1; number < 100; ++number) {
        file.newPath = file.path + L".quorvel-new" + (number == 1 ? L"" : std::to_wstring(number));
        if (file.isReadOnly || Remove(file.newPath)) return;
        if ((GetFileAttributesW(file.newPath.c_str()) & FILE_ATTRIBUTE_DIRECTORY) != 0) return;
    }
}

/// One process at a time: the next one is refused, before it could overwrite what this one saves.
HRESULT Lock(TMailboxFileState& file) {
    const std::wstring path = file.path + L".quorvel-lock";
    // What this process makes goes with it; what is there already (a file of the user's, or what a power failure left)
    // serves as well and stays. A lock that goes in between is made anew.
    const struct {
        DWORD how, flags;
    } ways[] = {
        {CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE}, {OPEN_EXISTING, 0}, {CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE}};
    DWORD error = ERROR_SUCCESS;
    for (const auto& way : ways) {
        file.lock = CFile(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr,
                                      way.how, FILE_ATTRIBUTE_NORMAL | way.flags, nullptr));
        if (file.lock.IsOpen()) return S_OK;
        error = GetLastError();
        if (error != ERROR_FILE_EXISTS && error != ERROR_FILE_NOT_FOUND) break;
    }
    if (error == ERROR_SHARING_VIOLATION)
        return Fail(MAPI_E_BUSY, file.path + L": another program uses this mailbox");
    // Where no lock can be made, nothing can be saved either; reading does no harm.
    file.isReadOnly = true;
    return S_OK;
}

/// Somebody took a folder, or the mails themselves, for a mailbox file.
HRESULT FailImportFirst(const std::wstring& path, const wchar_t* what) {
    return Fail(MAPI_E_CORRUPT_STORE, path + L" is " + what +
                                          L" and no mailbox file; import it first: mailbox/import --output "
                                          L"NEW.json INPUT makes one of it");
}

HRESULT Read(const TMailboxFileState& state, CDatabase& database) {
    const auto text = std::make_shared<CFileText>();
    const DWORD error = text->Open(state.path);
    if (error != ERROR_SUCCESS) {
        if (error == ERROR_SHARING_VIOLATION)
            return Fail(MAPI_E_BUSY, state.path + L": another program has this mailbox open for writing");
        const bool isMissing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
        return Fail(isMissing ? MAPI_E_NOT_FOUND : MAPI_E_NO_ACCESS,
                    state.path + L": cannot be opened: " + ErrorText(error));
    }
    std::wstring why;
    if (ReadMailbox(text, database, why)) return S_OK;
    std::string begin(static_cast<size_t>(std::min<unsigned long long>(text->Size(), 80)), '\0');
    if (!text->Read(0, begin.data(), begin.size())) begin.clear();
    if (const wchar_t* const kind = KindOfFile(begin, state.path)) return FailImportFirst(state.path, kind);
    return Fail(MAPI_E_CORRUPT_STORE, state.path + L": " + why);
}

}  // namespace

void Install(std::shared_ptr<CDatabase> database) {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    Installed() = std::move(database);
}

HRESULT OpenMailbox(std::shared_ptr<CDatabase>& database) {
    SetLastError({});
    database = Installed();
    if (database != nullptr) return S_OK;
    auto state = std::make_shared<TMailboxFileState>();
    state->path = ConfiguredFile();
    if (state->path.empty())
        return Fail(
            MAPI_E_UNCONFIGURED,
            L"no mailbox file is configured: set the environment variable QUORVEL_MAILBOX to its full path");
    std::wstring key = state->path;
    CharLowerBuffW(key.data(), static_cast<DWORD>(key.size()));
    database = Open()[key].lock();
    if (database != nullptr) return S_OK;

    const DWORD attributes = GetFileAttributesW(state->path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return FailImportFirst(state->path, L"a folder");
    HRESULT hr = Lock(*state);
    if (hr != S_OK) return hr;
    auto read = std::make_shared<CDatabase>();
    hr = Read(*state, *read);
    if (hr != S_OK) return hr;
    ChooseNewPath(*state);
    read->file = std::move(state);
    Open()[key] = read;
    database = std::move(read);
    return S_OK;
}

void BeginSession(CDatabase& database) {
    ++database.sessions;
}

HRESULT EndSession(CDatabase& database) {
    return --database.sessions == 0 ? WriteMailbox(database) : S_OK;
}

HRESULT CheckChange(const CDatabase& database) {
    if (database.sessions == 0) return MAPI_E_END_OF_SESSION;
    return database.file != nullptr && database.file->isReadOnly ? MAPI_E_NO_ACCESS : S_OK;
}

namespace {

HRESULT FailWrite(const std::wstring& path, DWORD error) {
    const bool isFull = error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL;
    return Fail(isFull ? MAPI_E_NOT_ENOUGH_DISK : MAPI_E_DISK_ERROR,
                path + L": cannot be written: " + ErrorText(error));
}

/// Writes everything to the file and sees it onto the disk. 0, or the system's error.
DWORD WriteAll(const CDatabase& database, HANDLE file) {
    const bool isWritten = FormatMailbox(database, [file](std::string_view piece) {
        DWORD written = 0;
        return WriteFile(file, piece.data(), static_cast<DWORD>(piece.size()), &written, nullptr) &&
               written == piece.size();
    });
    if (isWritten && FlushFileBuffers(file)) return ERROR_SUCCESS;
    const DWORD error = GetLastError();
    return error != ERROR_SUCCESS ? error : ERROR_DISK_FULL;
}

bool ReadStamp(const std::wstring& path, TStamp& stamp) {
    const CFile file(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file.IsOpen() && file.ReadStamp(stamp);
}

/// Writes the mailbox beside its file. 0, or the system's error.
DWORD WriteNew(const CDatabase& database, const std::wstring& old, const std::wstring& path, TStamp& stamp) {
    CFile file;
    DWORD error = CreateLike(old, path, file);
    if (error == ERROR_SUCCESS) error = WriteAll(database, file.Handle());
    if (error != ERROR_SUCCESS) return error;
    file.Close();
    return ReadStamp(path, stamp) ? ERROR_SUCCESS : GetLastError();
}

}  // namespace

HRESULT WriteMailbox(CDatabase& database) {
    if (!database.dirty) return S_OK;
    if (database.file == nullptr) {
        database.dirty = false;
        return S_OK;
    }
    const TMailboxFileState& state = *database.file;
    CFileText& text = *database.text;
    // Whether the file is still what this process read or wrote last.
    const auto isUnchanged = [&] {
        TStamp now;
        return ReadStamp(state.path, now) && now == text.TheStamp();
    };
    const auto failChanged = [&] {
        return Fail(MAPI_E_OBJECT_CHANGED,
                    state.path + L": was changed by another program since it was read; nothing was saved");
    };
    if (state.isReadOnly)
        return Fail(MAPI_E_NO_ACCESS, state.path + L": nothing can be saved beside this file");
    if (!isUnchanged()) return failChanged();

    const std::wstring& path = state.newPath;
    TStamp stamp;
    text.BeginMoves();
    DWORD error = WriteNew(database, state.path, path, stamp);
    const bool isReplaceable = error == ERROR_SUCCESS && isUnchanged();
    // Windows replaces no file that is open.
    text.Close();
    // ReplaceFile would keep the rights by itself, but in two renames: killed between them, the mailbox has no file.
    if (isReplaceable &&
        !MoveFileExW(path.c_str(), state.path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        error = GetLastError();
    if (isReplaceable && error == ERROR_SUCCESS) {
        text.Moved(stamp);
        database.dirty = false;
        return S_OK;
    }
    Remove(path);
    if (error == ERROR_FILE_INVALID || (!isReplaceable && error == ERROR_SUCCESS)) return failChanged();
    return FailWrite(state.path, error);
}

}  // namespace mailbox
