// Exports of the cabinet writer.

#include <memory>

#include "cabinet/CFCI.h"
#include "log/CLog.h"
#include "quorvel.h"

void* FCI_Create(const char* directory, const char* name) {
    auto cabinet = std::make_unique<CFCI>();
    if (cabinet->Create(directory, name)) return cabinet.release();
    g_Log.Error("FCI_Create", "GetLastError = 0x%x", static_cast<unsigned>(GetLastError()));
    return nullptr;
}

int FCI_AddFile(void* handle, const char* source, const char* storedName) {
    return handle ? static_cast<CFCI*>(handle)->AddFile(source, storedName) : 0;
}

int FCI_FlushCabinet(void* handle) {
    return handle ? static_cast<CFCI*>(handle)->FlushCabinet() : 0;
}

void FCI_Delete(void* handle) {
    delete static_cast<CFCI*>(handle);
}
