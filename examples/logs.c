/*
 * Packs the logs of a session into a cabinet, logs.cab, as a user would send them to whom they ask for help.
 */
#include "example.h"

static int pack(HFci cabinet) {
    /* A failed call leaves the cabinet good for FCI_Delete only. */
    return FCI_AddFile(cabinet, "session.log", "logs\\session.log") &&
           FCI_AddFile(cabinet, "session-errors.log", "logs\\session-errors.log") &&
           FCI_FlushCabinet(cabinet); /* without the flush there is no cabinet */
}

int main(void) {
    TMailbox mailbox;
    HFci cabinet;
    IMessage* item = NULL;
    int packed = 0;
    Quorvel_ConfigLog("session-errors.log", "session.log", 0, 2); /* the file for errors comes first */
    if (!open_mailbox(&mailbox)) return 2;
    if (Quorvel_OpenStoreItem(mailbox.store, "00", &item) != S_OK) printf("an error for the log\n");
    close_mailbox(&mailbox);
    Quorvel_ConfigLog(NULL, NULL, 0, 0); /* closes the files: what is open for writing cannot be packed */

    cabinet = FCI_Create("", "logs.cab"); /* in the current directory */
    packed = cabinet && pack(cabinet);
    FCI_Delete(cabinet); /* null is ignored */
    printf(packed ? "logs.cab is written\n" : "logs.cab could not be written\n");
    return packed ? 0 : 2;
}
