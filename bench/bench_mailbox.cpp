// What Quorvel Mailbox itself costs in processor time, so that it is known not to hide the library's own
// cost.
//   bench_mailbox open FILE [ROUNDS]   opens items of the largest folder, reads ten properties each
//   bench_mailbox make FILE ITEMS      writes a mailbox file of that many mails
//   bench_mailbox logon FILE           logs on and off

#include <windows.h>
#include <psapi.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <random>
#include <string>

#include "mailbox/CDatabase.h"
#include "mailbox/platform.h"
#include "mailbox/file_writer.h"
#include "mailbox/platform_headers.h"
#include "mailbox/text.h"

namespace {

/// Processor time of this process: what other programs do on the machine does not count.
double Seconds() {
    FILETIME made, ended, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &made, &ended, &kernel, &user);
    const auto ticks = [](FILETIME time) {
        return static_cast<double>(time.dwHighDateTime) * 4294967296.0 +
               static_cast<double>(time.dwLowDateTime);
    };
    return (ticks(kernel) + ticks(user)) / 1e7;
}

std::wstring Words(std::mt19937& random, size_t count) {
    static const wchar_t* const words[] = {L"meeting",  L"report",  L"the", L"of",    L"Grüße",
                                           L"tomorrow", L"invoice", L"a",   L"draft", L"and"};
    std::wstring text;
    for (; count != 0; --count)
        text += std::wstring(text.empty() ? L"" : L" ") + words[random() % std::size(words)];
    return text;
}

std::shared_ptr<const mailbox::TMessageData> MakeMail(mailbox::TStore& store, std::mt19937& random,
                                                      unsigned long long index) {
    const GUID common = {0x00062008, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    auto data = std::make_shared<mailbox::TMessageData>();
    const unsigned long long ticks = 133000000000000000ull + index * 60 * 10000000;
    const FILETIME time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    const std::wstring sender = Words(random, 2);
    data->properties.Text(PR_MESSAGE_CLASS_W, L"IPM.Note")
        .Text(PR_SUBJECT_W, Words(random, 6))
        .Text(PR_BODY_W, Words(random, 100 + random() % 200))
        .Text(PR_SENDER_NAME_W, sender)
        .Text(PR_SENDER_EMAIL_ADDRESS_W, sender + L"@example.org")
        .Text(PR_SENT_REPRESENTING_NAME_W, sender)
        .Text(PR_SENT_REPRESENTING_EMAIL_ADDRESS_W, sender + L"@example.org")
        .Text(PROP_TAG(PT_UNICODE, 0x1035), L"<" + std::to_wstring(index) + L"@example.org>")
        .Time(PR_MESSAGE_DELIVERY_TIME, time)
        .Time(PR_CLIENT_SUBMIT_TIME, time)
        .Time(PR_CREATION_TIME, time)
        .Time(PR_LAST_MODIFICATION_TIME, time)
        .Long(PR_IMPORTANCE, 1)
        .Long(PR_MESSAGE_FLAGS, 1)
        .Binary(PR_CONVERSATION_INDEX, std::string(22, 'c'));
    for (LONG name = 0x8500; name < 0x8510; ++name)
        data->properties.Long(PROP_TAG(PT_LONG, store.names.FindOrAdd({common, true, name, {}})),
                              static_cast<ULONG>(name));
    for (ULONG recipient = 0; recipient < 2; ++recipient) {
        const std::wstring name = Words(random, 2);
        data->recipients.emplace_back()
            .Long(PR_RECIPIENT_TYPE, recipient + 1)
            .Text(PR_DISPLAY_NAME_W, name)
            .Text(PR_EMAIL_ADDRESS_W, name);
    }
    data->properties.Compact();
    return data;
}

int Make(const char* path, unsigned long long items) {
    mailbox::CDatabase database;
    mailbox::TStore* store = database.AddStore({}, L"Bench");
    std::mt19937 random(1);
    mailbox::TFolder* folder =
        database.AddFolder(*store->root, {}, mailbox::CProperties().Text(PR_DISPLAY_NAME_W, L"Inbox"));
    for (unsigned long long index = 0; index < items; ++index)
        database.AddItem(*folder, {}, MakeMail(*store, random, index));
    std::ofstream file(path, std::ios::binary);
    const double start = Seconds();
    mailbox::FormatMailbox(database, [&](std::string_view piece) {
        return static_cast<bool>(file.write(piece.data(), static_cast<std::streamsize>(piece.size())));
    });
    std::printf("%llu items, %.1f MB, written in %.2f s\n", items, static_cast<double>(file.tellp()) / 1e6,
                Seconds() - start);
    return 0;
}

IMAPISession* Logon() {
    IMAPISession* session = nullptr;
    const double start = Seconds();
    MAPIInitialize(nullptr);
    const HRESULT hr = MAPILogonEx(0, nullptr, nullptr, MAPI_EXTENDED, &session);
    PROCESS_MEMORY_COUNTERS_EX memory{};
    GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory),
                         sizeof memory);
    std::printf("logon 0x%lx: %.2f s, private %.0f MB, working set %.0f MB, at most %.0f MB\n", hr,
                Seconds() - start, static_cast<double>(memory.PrivateUsage) / 1e6,
                static_cast<double>(memory.WorkingSetSize) / 1e6,
                static_cast<double>(memory.PeakWorkingSetSize) / 1e6);
    if (hr != S_OK) std::printf("%ls\n", mailbox::LastError().c_str());
    return session;
}

int Open(unsigned rounds) {
    IMAPISession* session = Logon();
    if (session == nullptr) return 1;
    IMsgStore* store = nullptr;
    IUnknown* root = nullptr;
    IMAPITable* table = nullptr;
    session->OpenMsgStore(0, 0, nullptr, nullptr, MAPI_BEST_ACCESS, &store);
    store->OpenEntry(0, nullptr, nullptr, 0, nullptr, &root);
    static_cast<IMAPIFolder*>(root)->GetHierarchyTable(0, &table);
    SizedSPropTagArray(1, id) = {1, {PR_ENTRYID}};
    SRowSet* rows = nullptr;
    table->SetColumns(reinterpret_cast<SPropTagArray*>(&id), 0);
    table->QueryRows(1, 0, &rows);
    IUnknown* folder = nullptr;
    const SBinary& inbox = rows->aRow[0].lpProps[0].Value.bin;
    store->OpenEntry(inbox.cb, reinterpret_cast<ENTRYID*>(inbox.lpb), nullptr, 0, nullptr, &folder);
    IMAPITable* contents = nullptr;
    SRowSet* items = nullptr;
    double start = Seconds();
    static_cast<IMAPIFolder*>(folder)->GetContentsTable(0, &contents);
    contents->SetColumns(reinterpret_cast<SPropTagArray*>(&id), 0);
    contents->QueryRows(MAXLONG, 0, &items);
    std::printf("contents table of %lu items: %.3f s\n", items->cRows, Seconds() - start);
    SizedSPropTagArray(10, tags) = {
        10,
        {PR_SUBJECT_W, PR_MESSAGE_CLASS_W, PR_SENDER_NAME_W, PR_SENDER_EMAIL_ADDRESS_W, PR_CLIENT_SUBMIT_TIME,
         PR_MESSAGE_DELIVERY_TIME, PR_IMPORTANCE, PR_SEARCH_KEY, PR_HASATTACH, PROP_TAG(PT_LONG, 0x8003)}};
    start = Seconds();
    unsigned long long opened = 0;
    unsigned long long failed = 0;
    for (unsigned round = 0; round < rounds; ++round)
        for (ULONG row = 0; row < items->cRows; ++row) {
            const SBinary& entry = items->aRow[row].lpProps[0].Value.bin;
            IUnknown* message = nullptr;
            SPropValue* values = nullptr;
            ULONG count = 0;
            failed += store->OpenEntry(entry.cb, reinterpret_cast<ENTRYID*>(entry.lpb), &IID_IMessage, 0,
                                       nullptr, &message) != S_OK;
            failed += static_cast<IMessage*>(message)->GetProps(reinterpret_cast<SPropTagArray*>(&tags), 0,
                                                                &count, &values) != S_OK;
            MAPIFreeBuffer(values);
            message->Release();
            ++opened;
        }
    std::printf("open, ten properties, release: %.3f us an item (%llu failed)\n",
                (Seconds() - start) * 1e6 / static_cast<double>(opened), failed);
    return failed != 0;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string what = count >= 3 ? arguments[1] : "";
    if (what == "make" && count == 4) return Make(arguments[2], std::stoull(arguments[3]));
    if (count >= 3) SetEnvironmentVariableW(L"QUORVEL_MAILBOX", mailbox::ToWide(arguments[2]).c_str());
    if (what == "logon") return Logon() == nullptr;
    if (what == "open") return Open(count == 4 ? static_cast<unsigned>(std::stoul(arguments[3])) : 1);
    std::printf("usage: bench_mailbox make FILE ITEMS | logon FILE | open FILE [ROUNDS]\n");
    return 2;
}
