#include "mailbox/MailboxFile.h"

#include "mailbox/Calls.h"
#include "mailbox/Platform.h"
#include "mailbox/platform_headers.h"

namespace mailbox {

namespace {

std::shared_ptr<Database>& Installed() {
    static auto& installed = *new std::shared_ptr<Database>;
    return installed;
}

}  // namespace

void Install(std::shared_ptr<Database> database) {
    const std::lock_guard<PlatformLock> guard(g_lock);
    Installed() = std::move(database);
}

HRESULT OpenMailbox(std::shared_ptr<Database>& database) {
    database = Installed();
    if (database != nullptr) return S_OK;
    SetLastError(L"no mailbox file is configured");
    return MAPI_E_UNCONFIGURED;
}

void BeginSession(Database& database) {
    ++database.sessions;
}

HRESULT EndSession(Database& database) {
    return --database.sessions == 0 ? WriteMailbox(database) : S_OK;
}

HRESULT WriteMailbox(Database& database) {
    if (database.file == nullptr) database.dirty = false;
    return S_OK;
}

}  // namespace mailbox
