#include "cabinet/fci_callbacks.h"

#include <cstdlib>

#include "cabinet/CFCI.h"

namespace cabinet {

namespace fci {
namespace {
CFCI& Writer(void* context) {
    return *static_cast<CFCI*>(context);
}
}  // namespace

void* DIAMONDAPI Allocate(ULONG size) {
    return malloc(size);
}

void DIAMONDAPI Free(void* memory) {
    free(memory);
}

int DIAMONDAPI FilePlaced(CCAB* cabinet, char* name, long size, BOOL continued, void* context) {
    return Writer(context).FilePlaced(cabinet, name, size, continued);
}

INT_PTR DIAMONDAPI Open(char* name, int flags, int mode, int* error, void* context) {
    return Writer(context).Open(name, flags, mode, error);
}

UINT DIAMONDAPI Read(INT_PTR file, void* buffer, UINT count, int* error, void* context) {
    return Writer(context).Read(file, buffer, count, error);
}

UINT DIAMONDAPI Write(INT_PTR file, void* buffer, UINT count, int* error, void* context) {
    return Writer(context).Write(file, buffer, count, error);
}

int DIAMONDAPI Close(INT_PTR file, int* error, void* context) {
    Writer(context).OnClosed(file);
    return Writer(context).Close(file, error);
}

// A folder that holds no bytes has no temporary file, and FCI goes back to the start of it all the same.
long DIAMONDAPI Seek(INT_PTR file, long distance, int origin, int* error, void* context) {
    if (file == -1 && distance == 0 && origin == SEEK_SET) return 0;
    return Writer(context).Seek(file, distance, origin, error);
}

int DIAMONDAPI Delete(char* name, int* error, void* context) {
    return Writer(context).Delete(name, error);
}

BOOL DIAMONDAPI GetTempFile(char* name, int capacity, void* context) {
    return Writer(context).GetTempFile(name, capacity);
}

BOOL DIAMONDAPI GetNextCabinet(CCAB* cabinet, ULONG previousSize, void* context) {
    return Writer(context).GetNextCabinet(cabinet, previousSize);
}

long DIAMONDAPI Status(UINT kind, ULONG count1, ULONG count2, void* context) {
    if (kind == statusFile) Writer(context).OnCompressed(count1);
    return Writer(context).Status(kind, count1, count2);
}

INT_PTR DIAMONDAPI GetOpenInfo(char* name, USHORT* date, USHORT* time, USHORT* attributes, int* error,
                               void* context) {
    const INT_PTR file = Writer(context).GetOpenInfo(name, date, time, attributes, error);
    Writer(context).OnSourceOpened(file);
    return file;
}

}  // namespace fci

}  // namespace cabinet
