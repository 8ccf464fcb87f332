// A program of its own over the mailbox file: sets the subject of every item in the root and saves, once (to
// "1") or with one number after another until it is killed.
//   mailbox_writer once|forever   loads qvmailbox.dll from beside itself
//   mailbox_writer lookup         once, over the module that the look-up finds
// Exit: 0 done, 3 logon refused and the reason printed, 1 anything else, which standard error names.

#include <cstdio>
#include <string>

#include "mailbox/platform_headers.h"
#include "store/resources.h"

using store::CMapiProvider;
using store::ComPtr;
using store::RowSet;

namespace {

const wchar_t* Reason() {
    using LastError = const wchar_t*(WINAPI*)();
    const HMODULE module = CMapiProvider::Module();
    const FARPROC address = module == nullptr ? nullptr : GetProcAddress(module, "QvMailbox_LastError");
    return address == nullptr ? L"no module"
                              : reinterpret_cast<LastError>(reinterpret_cast<void*>(address))();
}

bool IsDone(HRESULT result, const char* call) {
    if (result == S_OK) return true;
    std::fprintf(stderr, "mailbox_writer: %s %08lX, error %lu: %ls\n", call, static_cast<ULONG>(result),
                 GetLastError(), Reason());
    return false;
}

bool NextGeneration(IMAPIFolder* root, std::wstring text) {
    SizedSPropTagArray(1, columns) = {1, {PR_ENTRYID}};
    ComPtr<IMAPITable> table;
    RowSet rows;
    if (!IsDone(root->GetContentsTable(0, table.GetAddressOf()), "GetContentsTable") ||
        !IsDone(table->SetColumns(reinterpret_cast<SPropTagArray*>(&columns), 0), "SetColumns") ||
        !IsDone(table->QueryRows(MAXLONG, 0, store::Out(rows)), "QueryRows"))
        return false;
    SPropValue subject{};
    subject.ulPropTag = PR_SUBJECT_W;
    subject.Value.lpszW = text.data();
    for (ULONG row = 0; row < rows->cRows; ++row) {
        const SBinary& id = rows->aRow[row].lpProps[0].Value.bin;
        ComPtr<IUnknown> object;
        ComPtr<IMessage> message;
        if (!IsDone(root->OpenEntry(id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, MAPI_BEST_ACCESS,
                                    nullptr, object.GetAddressOf()),
                    "OpenEntry of an item") ||
            !IsDone(object->QueryInterface(IID_IMessage, reinterpret_cast<void**>(message.GetAddressOf())),
                    "QueryInterface of an item") ||
            !IsDone(message->SetProps(1, &subject, nullptr), "SetProps") ||
            !IsDone(message->SaveChanges(0), "SaveChanges of an item"))
            return false;
    }
    return true;
}

bool Write(IMAPISession* session, bool isForever) {
    ComPtr<IMsgStore> store;
    ComPtr<IUnknown> object;
    ComPtr<IMAPIFolder> root;
    if (!IsDone(session->OpenMsgStore(0, 0, nullptr, nullptr, MAPI_BEST_ACCESS, store.GetAddressOf()),
                "OpenMsgStore") ||
        !IsDone(store->OpenEntry(0, nullptr, nullptr, MAPI_BEST_ACCESS, nullptr, object.GetAddressOf()),
                "OpenEntry of the root") ||
        !IsDone(object->QueryInterface(IID_IMAPIFolder, reinterpret_cast<void**>(root.GetAddressOf())),
                "QueryInterface of the root"))
        return false;
    if (!isForever) return NextGeneration(root.Get(), L"1");
    while (NextGeneration(root.Get(), std::to_wstring(GetTickCount64())) &&
           IsDone(store->SaveChanges(0), "SaveChanges"))
        continue;
    return false;
}

int Run(const std::string& how) {
    if (how != "lookup") CMapiProvider::Bind(LoadLibraryW(L"qvmailbox.dll"));
    store::mapi::Initialize(nullptr);
    ComPtr<IMAPISession> session;
    if (!IsDone(store::mapi::LogonEx(0, nullptr, nullptr, MAPI_EXTENDED, session.GetAddressOf()), "LogonEx"))
        return CMapiProvider::Module() != nullptr && Reason()[0] != L'\0' ? 3 : 1;
    return Write(session.Get(), how == "forever") && IsDone(session->Logoff(0, 0, 0), "Logoff") ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    return count == 2 ? Run(arguments[1]) : 1;
}
