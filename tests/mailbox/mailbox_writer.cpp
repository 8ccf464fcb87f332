// A program of its own over the mailbox file: sets the subject of every item in the root and saves, once (to
// "1") or with one number after another until it is killed.
//   mailbox_writer once|forever   loads qvmailbox.dll from beside itself
//   mailbox_writer lookup         once, over the module that the look-up finds
// Exit: 0 done, 3 logon refused and the reason told, 1 anything else.

#include <cstdio>
#include <string>

#include "mailbox/platform_headers.h"
#include "store/resources.h"

namespace {

bool NextGeneration(IMAPIFolder* root, std::wstring text) {
    SizedSPropTagArray(1, columns) = {1, {PR_ENTRYID}};
    ComPtr<IMAPITable> table;
    RowSet rows;
    if (root->GetContentsTable(0, table.GetAddressOf()) != S_OK) return false;
    if (table->SetColumns(reinterpret_cast<SPropTagArray*>(&columns), 0) != S_OK) return false;
    if (table->QueryRows(MAXLONG, 0, Out(rows)) != S_OK) return false;
    SPropValue subject{};
    subject.ulPropTag = PR_SUBJECT_W;
    subject.Value.lpszW = text.data();
    for (ULONG row = 0; row < rows->cRows; ++row) {
        const SBinary& id = rows->aRow[row].lpProps[0].Value.bin;
        ComPtr<IUnknown> object;
        ComPtr<IMessage> message;
        if (root->OpenEntry(id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, MAPI_BEST_ACCESS, nullptr,
                            object.GetAddressOf()) != S_OK)
            return false;
        if (object->QueryInterface(IID_IMessage, reinterpret_cast<void**>(message.GetAddressOf())) != S_OK)
            return false;
        if (message->SetProps(1, &subject, nullptr) != S_OK || message->SaveChanges(0) != S_OK) return false;
    }
    return true;
}

int Run(const std::string& how) {
    if (how != "lookup") MapiProvider::Bind(LoadLibraryW(L"qvmailbox.dll"));
    mapi::Initialize(nullptr);
    ComPtr<IMAPISession> session;
    if (mapi::LogonEx(0, nullptr, nullptr, MAPI_EXTENDED, session.GetAddressOf()) != S_OK) {
        using LastError = const wchar_t*(WINAPI*)();
        const auto reason = reinterpret_cast<LastError>(
            reinterpret_cast<void*>(GetProcAddress(MapiProvider::Module(), "QvMailbox_LastError")));
        if (reason == nullptr || reason()[0] == L'\0') return 1;
        std::fprintf(stderr, "%ls\n", reason());
        return 3;
    }
    ComPtr<IMsgStore> store;
    ComPtr<IUnknown> object;
    ComPtr<IMAPIFolder> root;
    if (session->OpenMsgStore(0, 0, nullptr, nullptr, MAPI_BEST_ACCESS, store.GetAddressOf()) != S_OK)
        return 1;
    if (store->OpenEntry(0, nullptr, nullptr, MAPI_BEST_ACCESS, nullptr, object.GetAddressOf()) != S_OK)
        return 1;
    if (object->QueryInterface(IID_IMAPIFolder, reinterpret_cast<void**>(root.GetAddressOf())) != S_OK)
        return 1;
    if (how != "forever" && !NextGeneration(root.Get(), L"1")) return 1;
    while (how == "forever")
        if (!NextGeneration(root.Get(), std::to_wstring(GetTickCount64())) || store->SaveChanges(0) != S_OK)
            return 1;
    return session->Logoff(0, 0, 0) == S_OK ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    return count == 2 ? Run(arguments[1]) : 1;
}
