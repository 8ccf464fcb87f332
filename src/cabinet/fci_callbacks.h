#pragma once
// The callbacks as FCI wants them. The context value of each is the CFCI whose operation it forwards to;
// memory is the C runtime's heap.

#include <windows.h>
#include <fci.h>

namespace cabinet {

namespace fci {
FNFCIFILEPLACED(FilePlaced);
FNFCIALLOC(Allocate);
FNFCIFREE(Free);
FNFCIOPEN(Open);
FNFCIREAD(Read);
FNFCIWRITE(Write);
FNFCICLOSE(Close);
FNFCISEEK(Seek);
FNFCIDELETE(Delete);
FNFCIGETTEMPFILE(GetTempFile);
FNFCIGETNEXTCABINET(GetNextCabinet);
FNFCISTATUS(Status);
FNFCIGETOPENINFO(GetOpenInfo);
}  // namespace fci

}  // namespace cabinet
