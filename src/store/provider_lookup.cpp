#include "store/provider_lookup.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/text.h"

namespace store {

namespace {

constexpr wchar_t kProgramsKey[] = L"Software\\Microsoft\\Windows Messaging Subsystem\\MSMapiApps";
constexpr wchar_t kClientsKey[] = L"Software\\Clients\\Mail";
constexpr const char* kFunctions[] = {"MAPIInitialize",     "MAPIUninitialize", "MAPILogonEx",
                                      "MAPIAllocateBuffer", "MAPIFreeBuffer",   "FreeProws"};
const std::array kUserThenMachine = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE};
constexpr size_t kLongestPath = 32768;

struct TModuleCloser {
    using pointer = HMODULE;
    void operator()(HMODULE module) const { FreeLibrary(module); }
};
using ModuleOwner = std::unique_ptr<HMODULE, TModuleCloser>;

template <typename Function>
Function* Address(const ModuleOwner& module, const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module.get(), name)));
}

// ---- The registry

/// The bytes of a value of one of the types in flags, expandable texts expanded; empty when there is none.
std::vector<BYTE> ReadValue(HKEY root, const std::wstring& key, const wchar_t* name, DWORD flags) {
    std::vector<BYTE> bytes(512);
    for (;;) {
        DWORD size = static_cast<DWORD>(bytes.size());
        const LSTATUS status = RegGetValueW(root, key.c_str(), name, flags, nullptr, bytes.data(), &size);
        if (status != ERROR_MORE_DATA) {
            bytes.resize(status == ERROR_SUCCESS ? size : 0);
            return bytes;
        }
        bytes.resize(std::max<size_t>(size, 2 * bytes.size()));
    }
}

/// The texts of a REG_SZ, REG_EXPAND_SZ or REG_MULTI_SZ value, empty ones left out.
std::vector<std::wstring> ReadTexts(HKEY root, const std::wstring& key, const wchar_t* name) {
    const std::vector<BYTE> bytes = ReadValue(root, key, name, RRF_RT_REG_SZ | RRF_RT_REG_MULTI_SZ);
    std::wstring all(bytes.size() / sizeof(wchar_t), 0);
    std::copy_n(bytes.begin(), all.size() * sizeof(wchar_t), reinterpret_cast<BYTE*>(all.data()));
    std::vector<std::wstring> texts;
    for (size_t start = 0; start < all.size();) {
        const size_t end = std::min(all.find(L'\0', start), all.size());
        if (end > start) texts.push_back(all.substr(start, end - start));
        start = end + 1;
    }
    return texts;
}

/// One text, or an empty one.
std::wstring ReadText(HKEY root, const std::wstring& key, const wchar_t* name) {
    std::vector<std::wstring> texts = ReadTexts(root, key, name);
    return texts.empty() ? std::wstring() : std::move(texts.front());
}

std::wstring ReadNumberText(HKEY root, const std::wstring& key, const wchar_t* name) {
    const std::vector<BYTE> bytes = ReadValue(root, key, name, RRF_RT_REG_DWORD);
    DWORD number = 0;
    if (bytes.size() != sizeof number) return {};
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<BYTE*>(&number));
    return std::to_wstring(number);
}

// ---- Modules

std::wstring SystemPath(const wchar_t* file) {
    std::wstring path(kLongestPath, 0);
    path.resize(GetSystemDirectoryW(path.data(), static_cast<UINT>(path.size())));
    return path + L'\\' + file;
}

ModuleOwner LoadSystemModule(const wchar_t* file) {
    return ModuleOwner(LoadLibraryExW(SystemPath(file).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
}

bool IsAbsolute(const std::wstring& path) {
    return path.starts_with(L"\\\\") ||
           (path.size() > 2 && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/'));
}

/// What was tried without success, and why.
using Refused = std::vector<std::wstring>;

/// The module at this path if it is a messaging platform.
ModuleOwner LoadPlatform(const std::wstring& path, Refused& refused) {
    if (path.empty()) return {};
    DWORD flags = LOAD_WITH_ALTERED_SEARCH_PATH;
    if (!IsAbsolute(path)) {
        if (path.find_first_of(L"\\/:") != std::wstring::npos) {
            refused.push_back(path + L": depends on the current directory");
            return {};
        }
        flags = LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
    }
    ModuleOwner module(LoadLibraryExW(path.c_str(), nullptr, flags));
    if (!module) {
        refused.push_back(path + L": does not load, error " + std::to_wstring(GetLastError()));
        return {};
    }
    for (const char* name : kFunctions) {
        if (GetProcAddress(module.get(), name)) continue;
        refused.push_back(path + L": has no " + std::wstring(name, name + std::strlen(name)));
        return {};
    }
    return module;
}

// ---- The installer

/// What may stand for the language in a component's qualifier. MSIOfficeLCID and MSIApplicationLCID are the
/// qualifier itself or name the key and the values that hold it. The last is none at all.
std::vector<std::wstring> Qualifiers(HKEY root, const std::wstring& clientKey) {
    std::vector<std::wstring> qualifiers;
    for (const wchar_t* name : {L"MSIOfficeLCID", L"MSIApplicationLCID"}) {
        const std::vector<std::wstring> texts = ReadTexts(root, clientKey, name);
        if (texts.size() == 1) qualifiers.push_back(texts[0]);
        for (size_t i = 1; i < texts.size(); i++) {
            for (const HKEY languageRoot : kUserThenMachine) {
                qualifiers.push_back(ReadNumberText(languageRoot, texts[0], texts[i].c_str()));
                qualifiers.push_back(ReadText(languageRoot, texts[0], texts[i].c_str()));
            }
        }
    }
    std::erase(qualifiers, std::wstring());
    qualifiers.emplace_back();
    return qualifiers;
}

/// The installer's path of a component as the system's mail library tells it; empty when it cannot.
std::wstring PathFromMailLibrary(const std::wstring& component, const std::wstring& qualifier) {
    using GetComponentPath = BOOL WINAPI(char*, char*, char*, DWORD, BOOL);
    const ModuleOwner library = LoadSystemModule(L"mapi32.dll");
    auto* const getPath = library ? Address<GetComponentPath>(library, "FGetComponentPath") : nullptr;
    if (!getPath) return {};
    std::string componentText = base::Narrow(component), qualifierText = base::Narrow(qualifier);
    std::array<char, MAX_PATH> path = {};
    const bool found = getPath(componentText.data(), qualifier.empty() ? nullptr : qualifierText.data(),
                               path.data(), static_cast<DWORD>(path.size()), FALSE);
    return found ? base::Widen(path.data()) : std::wstring();
}

/// The same from the installer itself.
std::wstring PathFromInstaller(const std::wstring& component, const std::wstring& qualifier) {
    using ProvideQualifiedComponent = UINT WINAPI(const wchar_t*, const wchar_t*, DWORD, wchar_t*, DWORD*);
    constexpr DWORD kExistingOnly = 0xFFFFFFFF;  // INSTALLMODE_EXISTING: never installs anything
    const ModuleOwner installer = LoadSystemModule(L"msi.dll");
    auto* const provide =
        installer ? Address<ProvideQualifiedComponent>(installer, "MsiProvideQualifiedComponentW") : nullptr;
    if (!provide) return {};
    std::wstring path(kLongestPath, 0);
    DWORD size = static_cast<DWORD>(path.size());
    if (provide(component.c_str(), qualifier.c_str(), kExistingOnly, path.data(), &size) != ERROR_SUCCESS)
        return {};
    path.resize(std::min<size_t>(size, path.size()));
    return path;
}

ModuleOwner FromInstaller(HKEY root, const std::wstring& clientKey, Refused& refused) {
    const std::wstring component = ReadText(root, clientKey, L"MSIComponentID");
    if (component.empty()) return {};
    for (const std::wstring& qualifier : Qualifiers(root, clientKey)) {
        for (auto* const find : {PathFromMailLibrary, PathFromInstaller}) {
            if (ModuleOwner module = LoadPlatform(find(component, qualifier), refused)) return module;
        }
    }
    return {};
}

// ---- Mail clients

ModuleOwner FromClient(const std::wstring& client, Refused& refused) {
    if (client.empty()) return {};
    const std::wstring clientKey = std::wstring(kClientsKey) + L'\\' + client;
    for (const HKEY root : kUserThenMachine) {
        if (ModuleOwner module = FromInstaller(root, clientKey, refused)) return module;
        for (const wchar_t* name : {L"DLLPathEx", L"DLLPath"}) {
            if (ModuleOwner module = LoadPlatform(ReadText(root, clientKey, name), refused)) return module;
        }
    }
    return {};
}

std::wstring ProgramFileName() {
    std::wstring path(kLongestPath, 0);
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(path.find_last_of(L'\\') + 1);
}

}  // namespace

HMODULE LoadProvider(std::vector<std::wstring>& refused) {
    ModuleOwner module =
        FromClient(ReadText(HKEY_LOCAL_MACHINE, kProgramsKey, ProgramFileName().c_str()), refused);
    for (const HKEY root : kUserThenMachine) {
        if (!module) module = FromClient(ReadText(root, kClientsKey, nullptr), refused);
    }
    if (!module) module = LoadPlatform(SystemPath(L"mapi32.dll"), refused);
    return module.release();
}

}  // namespace store
