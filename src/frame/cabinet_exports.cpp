// Exports of the cabinet writer.

#include <memory>

#include "cabinet/CFCI.h"
#include "log/CLog.h"
#include "quorvel.h"

using cabinet::CFCI;
using logging::g_Log;

namespace {
CFCI* Cabinet(HFci handle) {
    return reinterpret_cast<CFCI*>(handle);
}
}  // namespace

HFci FCI_Create(const char* directory, const char* name) {
    auto cabinet = std::make_unique<CFCI>();
    if (cabinet->Create(directory, name)) return reinterpret_cast<HFci>(cabinet.release());
    g_Log.Error("FCI_Create", "GetLastError = 0x%x", static_cast<unsigned>(GetLastError()));
    return nullptr;
}

int FCI_AddFile(HFci handle, const char* source, const char* storedName) {
    return handle ? Cabinet(handle)->AddFile(source, storedName) : 0;
}

int FCI_FlushCabinet(HFci handle) {
    return handle ? Cabinet(handle)->FlushCabinet() : 0;
}

void FCI_Delete(HFci handle) {
    delete Cabinet(handle);
}
