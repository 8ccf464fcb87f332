#ifndef EXAMPLE_H
#define EXAMPLE_H
/*
 * What the examples share: a session with its default store, and a walk over the items of the folders that
 * hold one kind. Owns all that it opens; close_mailbox gives it back in the opposite order.
 */
#include <mapitags.h>
#include <quorvel_host.h>
#include <stdio.h>
#include <string.h>

/* What one of the sets of platform headers lacks. */
#ifndef CONVENIENT_DEPTH
#define CONVENIENT_DEPTH 1
#endif
#ifndef PR_CONTAINER_CLASS_W
#define PR_CONTAINER_CLASS_W PROP_TAG(PT_UNICODE, 0x3613)
#endif

typedef struct TMailbox {
    IMAPISession* session;
    TQuorvelFree* free_buffer; /* for everything that the library and the platform hand out */
    IMsgStore* store;
    char* store_id;
} TMailbox;

/* Called for each item with its identifier and title; 0 ends the walk. */
typedef int TVisit(void* context, const char* item_id, const wchar_t* title);

/* One definition: a property that is compared by its plain value. */
static inline TComparyProp compared(const wchar_t* key, unsigned int tag) {
    TComparyProp property = {0};
    property.lpszKey = property.lpszName = key;
    property.ulPropTag = tag;
    property.nType = PROP_TYPE(tag);
    property.bCompare = 1;
    property.nCompareMethod = cmExact;
    return property;
}

/* Rows of a table under these columns, 100 at a time; 0 ends it. 1 when all were seen or the end was asked
 * for. */
static inline int each_row(const TMailbox* mailbox, IMAPITable* table, const SPropTagArray* columns,
                           int (*visit)(void* context, const SRow* row), void* context) {
    HRESULT hr = table->lpVtbl->SetColumns(table, (SPropTagArray*)columns, 0);
    int going = 1, ended = 0;
    while (hr == S_OK && going && !ended) {
        SRowSet* rows = NULL;
        hr = table->lpVtbl->QueryRows(table, 100, 0, &rows);
        if (hr != S_OK) break;
        ended = rows->cRows == 0;
        for (ULONG i = 0; i < rows->cRows && going; ++i) going = visit(context, &rows->aRow[i]);
        QuorvelHost_FreeRows(mailbox->free_buffer, rows);
    }
    return hr == S_OK;
}

static inline int take_default_store(void* context, const SRow* row) {
    char** id = (char**)context;
    if (row->lpProps[1].ulPropTag != PR_DEFAULT_STORE || !row->lpProps[1].Value.b) return 1;
    *id = QuorvelHost_IdText(&row->lpProps[0].Value.bin);
    return 0;
}

static inline void close_mailbox(TMailbox* mailbox) {
    Quorvel_CloseStore(mailbox->store);
    free(mailbox->store_id);
    if (mailbox->session) Quorvel_Logoff(mailbox->session);
    memset(mailbox, 0, sizeof *mailbox);
}

/* Logs on and opens the default store. 0 with a sentence on standard error when that fails; there is then
 * nothing to close. */
static inline int open_mailbox(TMailbox* mailbox) {
    static const SizedSPropTagArray(2, columns) = {2, {PR_ENTRYID, PR_DEFAULT_STORE}};
    IMAPITable* stores = NULL;
    HRESULT hr;
    memset(mailbox, 0, sizeof *mailbox);
    hr = Quorvel_Logon(&mailbox->session, 0, 0);
    if (hr != S_OK) mailbox->session = NULL;
    if (hr == S_OK) mailbox->free_buffer = QuorvelHost_FindFree(mailbox->session);
    if (hr == S_OK && !mailbox->free_buffer) hr = E_FAIL;
    if (hr == S_OK) hr = mailbox->session->lpVtbl->GetMsgStoresTable(mailbox->session, 0, &stores);
    if (hr == S_OK) {
        each_row(mailbox, stores, (const SPropTagArray*)&columns, take_default_store, &mailbox->store_id);
        stores->lpVtbl->Release(stores);
        hr = mailbox->store_id ? Quorvel_OpenStore(mailbox->session, mailbox->store_id, &mailbox->store)
                               : MAPI_E_NOT_FOUND;
    }
    if (hr == S_OK) return 1;
    fprintf(stderr, "the mailbox cannot be opened: 0x%lx\n", (unsigned long)hr);
    close_mailbox(mailbox);
    return 0;
}

/* The folder that holds all that the user sees; null when it cannot be opened. The caller closes it. */
static inline IMAPIFolder* open_top(const TMailbox* mailbox) {
    IMAPIFolder* top = NULL;
    SPropValue* subtree = NULL;
    char* id = NULL;
    if (Quorvel_GetPropValue((IMAPIProp*)mailbox->store, PR_IPM_SUBTREE_ENTRYID, &subtree) == S_OK)
        id = QuorvelHost_IdText(&subtree->Value.bin);
    mailbox->free_buffer(subtree);
    /* Without an identifier: the root of the store. */
    if (Quorvel_OpenStoreFolder(mailbox->store, id, &top) != S_OK) top = NULL;
    free(id);
    return top;
}

typedef struct TWalk {
    const TMailbox* mailbox;
    const wchar_t* container_class;
    TVisit* visit;
    void* context;
    int going;
    int items;
} TWalk;

static inline int visit_item(void* context, const SRow* row) {
    TWalk* walk = (TWalk*)context;
    const SPropValue* values = row->lpProps;
    const wchar_t* title = values[1].ulPropTag == PR_SUBJECT_W ? values[1].Value.lpszW : L"";
    char* id = QuorvelHost_IdText(&values[0].Value.bin);
    if (values[2].ulPropTag == PR_DISPLAY_NAME_W && !*title) title = values[2].Value.lpszW;
    ++walk->items;
    walk->going = id && walk->visit(walk->context, id, title);
    free(id);
    return walk->going;
}

static inline int visit_folder(void* context, const SRow* row) {
    static const SizedSPropTagArray(3, columns) = {3, {PR_ENTRYID, PR_SUBJECT_W, PR_DISPLAY_NAME_W}};
    TWalk* walk = (TWalk*)context;
    SPropValue* kind = NULL;
    IMAPIFolder* folder = NULL;
    IMAPITable* table = NULL;
    char* id = QuorvelHost_IdText(&row->lpProps[0].Value.bin);
    if (!id || Quorvel_OpenStoreFolder(walk->mailbox->store, id, &folder) != S_OK) folder = NULL;
    if (folder && Quorvel_GetPropValue((IMAPIProp*)folder, PR_CONTAINER_CLASS_W, &kind) == S_OK &&
        wcscmp(kind->Value.lpszW, walk->container_class) == 0 &&
        folder->lpVtbl->GetContentsTable(folder, 0, &table) == S_OK) {
        each_row(walk->mailbox, table, (const SPropTagArray*)&columns, visit_item, walk);
        table->lpVtbl->Release(table);
    }
    walk->mailbox->free_buffer(kind);
    Quorvel_CloseFolder(folder); /* null is ignored */
    free(id);
    return walk->going;
}

/* Visits the items of all folders of a class ("IPF.Note", "IPF.Contact") in the default store, in the order of
 * the platform's tables. Their number, or -1 when the folders cannot be listed. */
static inline int each_item(const TMailbox* mailbox, const wchar_t* container_class, TVisit* visit,
                            void* context) {
    static const SizedSPropTagArray(1, columns) = {1, {PR_ENTRYID}};
    TWalk walk = {mailbox, container_class, visit, context, 1, 0};
    IMAPIFolder* top = open_top(mailbox);
    IMAPITable* folders = NULL;
    int listed = 0;
    if (top && top->lpVtbl->GetHierarchyTable(top, CONVENIENT_DEPTH, &folders) == S_OK) {
        listed = each_row(mailbox, folders, (const SPropTagArray*)&columns, visit_folder, &walk);
        folders->lpVtbl->Release(folders);
    }
    Quorvel_CloseFolder(top);
    return listed ? walk.items : -1;
}

/* Prints a wide text as UTF-8. */
static inline void print_text(const wchar_t* text) {
    char utf8[1024];
    int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8, (int)sizeof utf8, NULL, NULL);
    printf("%s", size > 0 ? utf8 : "(a long text)");
}

/* Prints a text of an object; a pair of brackets when it has none. */
static inline void print_property(const TMailbox* mailbox, void* object, ULONG tag) {
    SPropValue* value = NULL;
    HRESULT hr = Quorvel_GetPropValue((IMAPIProp*)object, (long)tag, &value);
    print_text(hr == S_OK && *value->Value.lpszW ? value->Value.lpszW : L"()");
    mailbox->free_buffer(value);
}

/* A binary property of an object as identifier text, for free(); null when it has none. */
static inline char* id_of(const TMailbox* mailbox, void* object, ULONG tag) {
    SPropValue* value = NULL;
    char* id = NULL;
    if (Quorvel_GetPropValue((IMAPIProp*)object, (long)tag, &value) == S_OK)
        id = QuorvelHost_IdText(&value->Value.bin);
    mailbox->free_buffer(value);
    return id;
}

static inline void print_subject(const TMailbox* mailbox, const char* item_id) {
    IMessage* item = NULL;
    if (Quorvel_OpenStoreItem(mailbox->store, item_id, &item) != S_OK) return;
    print_property(mailbox, item, PR_SUBJECT_W);
    Quorvel_CloseItem(item);
}

/* Identifier text of the folder that an item is in, for free(); null when the item cannot be opened. */
static inline char* folder_of(const TMailbox* mailbox, const char* item_id) {
    IMessage* item = NULL;
    char* id = NULL;
    if (Quorvel_OpenStoreItem(mailbox->store, item_id, &item) != S_OK) return NULL;
    id = id_of(mailbox, item, PR_PARENT_ENTRYID);
    Quorvel_CloseItem(item);
    return id;
}

static inline void print_folder(const TMailbox* mailbox, const char* item_id) {
    IMAPIFolder* folder = NULL;
    char* id = folder_of(mailbox, item_id);
    if (id && Quorvel_OpenStoreFolder(mailbox->store, id, &folder) == S_OK)
        print_property(mailbox, folder, PR_DISPLAY_NAME_W);
    Quorvel_CloseFolder(folder);
    free(id);
}

#endif
