/*
 * Finds the duplicates among the mails of the default store's folder tree, and says which copy to keep.
 *
 * Two mails are taken for one when subject, sender's address and time of sending are the same. A program that
 * moves or deletes compares more, the text for one: see the definitions that quorvel.exe uses.
 */
#include "example.h"

typedef struct TSearch {
    HSearch search;
    const char* store_id;
    int refused;
} TSearch;

static int add_item(void* context, const char* item_id, const wchar_t* title) {
    TSearch* search = (TSearch*)context;
    (void)title;
    if (!Search_Add(search->search, item_id, search->store_id, NULL, 0)) ++search->refused; /* log says why */
    return 1;
}

static void print_item(const TMailbox* mailbox, HSearch search, int group, int duplicate) {
    char item[1024], store[1024];
    unsigned int item_size = sizeof item, store_size = sizeof store;
    if (duplicate < 0)
        Search_GetOriginal(search, group, item, &item_size, store, &store_size);
    else
        Search_GetDuplicate(search, group, duplicate, item, &item_size, store, &store_size);
    /* The sizes needed are written back: a text that is longer than its buffer was not copied. */
    if (item_size > sizeof item || store_size > sizeof store) return;
    if (duplicate < 0) {
        print_subject(mailbox, item);
        printf("\n");
    }
    printf("    %s in ", duplicate < 0 ? "keep     " : "duplicate");
    print_folder(mailbox, item);
    printf("\n");
}

static void print_groups(const TMailbox* mailbox, HSearch search) {
    int groups = Search_GetOriginalCount(search);
    printf("%d groups of duplicates\n", groups);
    for (int i = 0; i < groups; ++i) {
        for (int j = -1; j < Search_GetDuplicateCount(search, i); ++j) print_item(mailbox, search, i, j);
    }
}

int main(void) {
    TComparyProp properties[3];
    TComparyProps list = {3, properties};
    TOriginalDefinition keep = {0}; /* the copy with the most filled properties */
    TMailbox mailbox;
    TSearch search = {0};
    int items, built;
    properties[0] = compared(L"Mail.Subject", PR_SUBJECT_W);
    properties[1] = compared(L"Mail.FromAddress", PR_SENT_REPRESENTING_EMAIL_ADDRESS_W);
    properties[2] = compared(L"Mail.SentTime", PR_CLIENT_SUBMIT_TIME);

    Quorvel_ConfigLog(NULL, "duplicates.log", 0, 1);
    if (!open_mailbox(&mailbox)) return 2;
    search.store_id = mailbox.store_id;
    search.search = Search_Create(mailbox.session, &list, &keep, saIdentical, 0);
    items = each_item(&mailbox, L"IPF.Note", add_item, &search);
    built = items >= 0 && Search_Build(search.search);
    if (built) {
        printf("%d mails, %d without anything to compare\n", items, search.refused);
        print_groups(&mailbox, search.search);
    } else {
        fprintf(stderr, "the search failed: duplicates.log says why\n");
    }
    Search_Delete(search.search); /* before the session ends: it holds the store open */
    close_mailbox(&mailbox);
    return built ? 0 : 2;
}
