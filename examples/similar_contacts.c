/*
 * Finds contacts that resemble one another: the same person or company, written differently. Each pair is
 * looked at once; the line below it says which fields decided.
 */
#include "example.h"

enum { kMost = 1000 };
typedef struct TContacts {
    int n;
    char* ids[kMost];
    wchar_t* names[kMost];
} TContacts;

static int take_contact(void* context, const char* item_id, const wchar_t* title) {
    TContacts* contacts = (TContacts*)context;
    if (contacts->n == kMost) return 0;
    contacts->ids[contacts->n] = _strdup(item_id);
    contacts->names[contacts->n] = _wcsdup(title);
    if (!contacts->ids[contacts->n] || !contacts->names[contacts->n]) return 0;
    ++contacts->n;
    return 1;
}

static void print_pair(const TContacts* contacts, int a, int b, unsigned int verdict, const wchar_t* why) {
    printf("%s: ", verdict == 2 ? "same" : "alike");
    print_text(contacts->names[a]);
    printf(" / ");
    print_text(contacts->names[b]);
    printf("\n    ");
    print_text(why);
    printf("\n");
}

/* Checks all contacts after one against it. */
static int check_rest(const TMailbox* mailbox, HSimilarSearch search, const TContacts* contacts, int one) {
    IMessage* contact = NULL;
    unsigned int filled = 0;
    int pairs = 0;
    if (Quorvel_OpenStoreItem(mailbox->store, contacts->ids[one], &contact) != S_OK) return 0;
    if (SimilarSearch_SetSearchByItem(search, contact, &filled)) {
        for (int other = one + 1; other < contacts->n; ++other) {
            unsigned int verdict = 0;
            const wchar_t *why = L"", *fields = L"";
            /* The first time a contact is opened and read; from then on it is in the search's cache. */
            if (SimilarSearch_CheckItemFastW(search, contacts->ids[other], &verdict, &filled, &why,
                                             &fields) &&
                verdict > 0) {
                print_pair(contacts, one, other, verdict, why); /* the texts live until the next check */
                ++pairs;
            }
        }
    }
    Quorvel_CloseItem(contact);
    return pairs;
}

int main(void) {
    static TContacts contacts;
    TMailbox mailbox;
    HSimilarSearch search;
    int pairs = 0;
    Quorvel_ConfigLog(NULL, "similar_contacts.log", 0, 1);
    if (!open_mailbox(&mailbox)) return 2;
    each_item(&mailbox, L"IPF.Contact", take_contact, &contacts);
    search = SimilarSearch_Create(mailbox.session, mailbox.store_id, 0);
    for (int i = 0; i < contacts.n; ++i) pairs += check_rest(&mailbox, search, &contacts, i);
    printf("%d contacts, %d pairs\n", contacts.n, pairs);
    SimilarSearch_Delete(search);
    for (int i = 0; i < contacts.n; ++i) free(contacts.ids[i]), free(contacts.names[i]);
    close_mailbox(&mailbox);
    return 0;
}
