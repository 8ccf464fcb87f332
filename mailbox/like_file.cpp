#include "mailbox/like_file.h"

#include <sddl.h>

#include <memory>
#include <string_view>

namespace mailbox {

namespace {

constexpr DWORD kKeptAttributes =
    FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED | FILE_ATTRIBUTE_ENCRYPTED;

/// A file's list of access rights, as a descriptor and as the bytes by which it is compared.
struct TRights {
    std::string descriptor;

    PSECURITY_DESCRIPTOR Descriptor() { return descriptor.data(); }
    bool IsProtected() {
        SECURITY_DESCRIPTOR_CONTROL control = 0;
        DWORD revision = 0;
        return GetSecurityDescriptorControl(Descriptor(), &control, &revision) &&
               (control & SE_DACL_PROTECTED) != 0;
    }
    std::string_view List() {
        BOOL isThere = FALSE, isDefault = FALSE;
        ACL* list = nullptr;
        if (!GetSecurityDescriptorDacl(Descriptor(), &isThere, &list, &isDefault) || !isThere || !list)
            return {};
        return {reinterpret_cast<const char*>(list), list->AclSize};
    }
};

DWORD ReadRights(const std::wstring& path, TRights& rights) {
    DWORD size = 0;
    while (!GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, rights.descriptor.data(),
                             static_cast<DWORD>(rights.descriptor.size()), &size)) {
        const DWORD error = GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || size <= rights.descriptor.size()) return error;
        rights.descriptor.resize(size);
    }
    return ERROR_SUCCESS;
}

bool HasRights(const std::wstring& path, TRights& wanted) {
    TRights rights;
    return ReadRights(path, rights) == ERROR_SUCCESS && rights.List() == wanted.List() &&
           rights.IsProtected() == wanted.IsProtected();
}

DWORD SetRights(const std::wstring& path, TRights& rights) {
    // Without this the rights that came from the folder would count as the file's own from now on.
    SetSecurityDescriptorControl(rights.Descriptor(), SE_DACL_AUTO_INHERIT_REQ, SE_DACL_AUTO_INHERIT_REQ);
    const SECURITY_INFORMATION inheriting =
        rights.IsProtected() ? PROTECTED_DACL_SECURITY_INFORMATION : UNPROTECTED_DACL_SECURITY_INFORMATION;
    return SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION | inheriting, rights.Descriptor())
               ? ERROR_SUCCESS
               : GetLastError();
}

DWORD Create(const std::wstring& path, DWORD attributes, SECURITY_ATTRIBUTES* security, CFile& file) {
    file = CFile(CreateFileW(path.c_str(), GENERIC_WRITE, 0, security, CREATE_NEW, attributes, nullptr));
    return file.IsOpen() ? ERROR_SUCCESS : GetLastError();
}

void Discard(const std::wstring& path, CFile& file) {
    file.Close();
    DeleteFileW(path.c_str());
}

/// Wine keeps of a list what fits a Unix mode, and gives the group whatever the owner has, the right to run the file
/// included. So a list cannot be set there; but these two steps make a mode of 0600.
bool IsWine() {
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    return system != nullptr && GetProcAddress(system, "wine_get_version") != nullptr;
}

struct TLocalDeleter {
    void operator()(void* block) const { LocalFree(block); }
};

DWORD CreateForOwner(const std::wstring& path, DWORD attributes, CFile& file) {
    PSECURITY_DESCRIPTOR made = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;FA;;;OW)", SDDL_REVISION_1, &made,
                                                              nullptr))
        return GetLastError();
    const std::unique_ptr<void, TLocalDeleter> owner(made);
    SECURITY_ATTRIBUTES security{sizeof security, owner.get(), FALSE};
    const DWORD error = Create(path, attributes, &security, file);
    if (error != ERROR_SUCCESS) return error;
    // Whose rights Wine does not know: the mode is 0. A file that is not read-only gets what its owner needs.
    FILE_BASIC_INFO basic{};
    basic.FileAttributes = attributes;
    return SetFileInformationByHandle(file.Handle(), FileBasicInfo, &basic, sizeof basic) ? ERROR_SUCCESS
                                                                                          : GetLastError();
}

}  // namespace

std::wstring ResolveLinks(const std::wstring& path) {
    const CFile file(CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                 nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file.IsOpen()) return path;
    // A disk without a letter has its name alone.
    for (const DWORD form : {VOLUME_NAME_DOS, VOLUME_NAME_GUID}) {
        std::wstring real(GetFinalPathNameByHandleW(file.Handle(), nullptr, 0, form), L'\0');
        if (real.empty()) continue;
        const DWORD length =
            GetFinalPathNameByHandleW(file.Handle(), real.data(), static_cast<DWORD>(real.size()), form);
        if (length == 0 || length >= real.size()) continue;
        real.resize(length);
        const std::wstring share = L"\\\\?\\UNC\\", local = L"\\\\?\\";
        // The long form is kept where it is needed: for long paths, and for disks without a letter.
        if (length >= MAX_PATH || form == VOLUME_NAME_GUID) return real;
        if (real.starts_with(share)) return L"\\\\" + real.substr(share.size());
        return real.starts_with(local) ? real.substr(local.size()) : real;
    }
    return path;
}

DWORD CreateLike(const std::wstring& old, const std::wstring& path, CFile& file) {
    TRights rights;
    DWORD error = ReadRights(old, rights);
    const DWORD found = GetFileAttributesW(old.c_str());
    if (error != ERROR_SUCCESS) return error;
    const DWORD attributes =
        FILE_ATTRIBUTE_ARCHIVE | (found == INVALID_FILE_ATTRIBUTES ? 0 : found & kKeptAttributes);
    const bool isWine = IsWine();
    if (isWine) {
        error = CreateForOwner(path, attributes, file);
        if (error != ERROR_SUCCESS || HasRights(path, rights)) return error;
        Discard(path, file);
    }
    // Most have the rights that any new file gets in their folder. Nobody else opens the file until it is closed.
    error = Create(path, attributes, nullptr, file);
    if (error != ERROR_SUCCESS || HasRights(path, rights)) return error;
    if (!isWine) return SetRights(path, rights);
    Discard(path, file);
    return CreateForOwner(path, attributes, file);
}

}  // namespace mailbox
