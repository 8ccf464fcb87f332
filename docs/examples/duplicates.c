/*
 * The smallest useful host: finds duplicate mails in the folders named on the command line.
 *
 *     duplicates STORE-ID FOLDER-ID...        (entry-identifier texts)
 *
 * Compares subject, sender's address and the time of sending; prints each group, the copy to keep first.
 */
#include <stdio.h>
#include <stdlib.h>
#include <quorvel_host.h>
#include <mapitags.h>

/* Frees what the library and the platform hand out. */
static TQuorvelFree* free_buffer;

static TComparyProp plain(const wchar_t* key, unsigned int tag) {
    TComparyProp property = {0};
    property.lpszKey = property.lpszName = key;
    property.ulPropTag = tag;
    property.nType = PROP_TYPE(tag);
    property.bCompare = 1;
    property.nCompareMethod = cmExact;
    return property;
}

/* Hands every item of a folder to the search. */
static int add_folder(HSearch search, IMsgStore* store, const char* store_id, const char* folder_id) {
    static SizedSPropTagArray(1, columns) = {1, {PR_ENTRYID}};
    IMAPIFolder* folder = NULL;
    IMAPITable* table = NULL;
    int added = -1;
    if (Quorvel_OpenStoreFolder(store, folder_id, &folder) == S_OK &&
        folder->lpVtbl->GetContentsTable(folder, 0, &table) == S_OK &&
        table->lpVtbl->SetColumns(table, (SPropTagArray*)&columns, 0) == S_OK) {
        SRowSet* rows = NULL;
        added = 0;
        while (table->lpVtbl->QueryRows(table, 100, 0, &rows) == S_OK && rows->cRows > 0) {
            for (ULONG i = 0; i < rows->cRows; ++i) {
                unsigned int found = 0;
                char* item_id = QuorvelHost_IdText(&rows->aRow[i].lpProps[0].Value.bin);
                if (item_id) added += (int)Search_Add(search, item_id, store_id, &found, 0);
                free(item_id);
            }
            QuorvelHost_FreeRows(free_buffer, rows);
            rows = NULL;
        }
        QuorvelHost_FreeRows(free_buffer, rows); /* the empty set that ends the table */
    }
    if (table) table->lpVtbl->Release(table);
    Quorvel_CloseFolder(folder); /* null is ignored */
    return added;
}

static void print_groups(HSearch search) {
    int groups = Search_GetOriginalCount(search);
    printf("%d groups of duplicates\n", groups);
    for (int i = 0; i < groups; ++i) {
        char item[1024], store[1024];
        unsigned int item_size = sizeof item, store_size = sizeof store;
        /* The sizes needed are written back: a text that is longer than its buffer was not copied. */
        Search_GetOriginal(search, i, item, &item_size, store, &store_size);
        printf("keep      %s\n", item_size <= sizeof item ? item : "(a longer identifier)");
        for (int j = 0; j < Search_GetDuplicateCount(search, i); ++j) {
            item_size = sizeof item, store_size = sizeof store;
            Search_GetDuplicate(search, i, j, item, &item_size, store, &store_size);
            printf("duplicate %s\n", item_size <= sizeof item ? item : "(a longer identifier)");
        }
    }
}

int main(int argc, char** argv) {
    TComparyProp properties[3];
    TComparyProps list = {3, properties};
    TOriginalDefinition original = {0}; /* keep the copy with the most filled properties */
    IMAPISession* session = NULL;
    IMsgStore* store = NULL;
    if (argc < 3) return fprintf(stderr, "usage: duplicates STORE-ID FOLDER-ID...\n"), 2;
    properties[0] = plain(L"Mail.Subject", PR_SUBJECT_W);
    properties[1] = plain(L"Mail.FromAddress", PR_SENT_REPRESENTING_EMAIL_ADDRESS_W);
    properties[2] = plain(L"Mail.SentTime", PR_CLIENT_SUBMIT_TIME);

    Quorvel_ConfigLog(NULL, "duplicates.log", 0, 1);
    if (Quorvel_Logon(&session, 0, 0) != S_OK) return fprintf(stderr, "logging on failed\n"), 2;
    free_buffer = QuorvelHost_FindFree(session);
    if (free_buffer && Quorvel_OpenStore(session, argv[1], &store) == S_OK) {
        HSearch search = Search_Create(session, &list, &original, 1 /* identical */, 0);
        for (int i = 2; i < argc; ++i) printf("%d items\n", add_folder(search, store, argv[1], argv[i]));
        if (Search_Build(search)) print_groups(search);
        Search_Delete(search);
    }
    Quorvel_CloseStore(store);
    Quorvel_Logoff(session);
    return 0;
}
