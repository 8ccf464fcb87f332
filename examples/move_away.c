/*
 * Moves one duplicate to a folder of its own, and back. Nothing is deleted, and nothing is moved before the copy
 * that is kept was opened.
 *
 *     move_away "Subject"      of two mails with this subject the second is moved
 */
#include "example.h"

#define FOLDER L"Duplicates of the example"

typedef struct TPair {
    const wchar_t* subject;
    char* kept;
    char* moved;
} TPair;

static int take_pair(void* context, const char* item_id, const wchar_t* title) {
    TPair* pair = (TPair*)context;
    if (_wcsicmp(title, pair->subject) != 0) return 1;
    if (pair->kept)
        pair->moved = _strdup(item_id);
    else
        pair->kept = _strdup(item_id);
    return pair->kept && !pair->moved;
}

/* The folder for duplicates below the top, made when it is missing. */
static char* folder_for_duplicates(const TMailbox* mailbox) {
    IMAPIFolder *top = open_top(mailbox), *made = NULL;
    char* id = NULL;
    if (top && top->lpVtbl->CreateFolder(top, FOLDER_GENERIC, (LPTSTR)FOLDER, NULL, NULL,
                                         MAPI_UNICODE | OPEN_IF_EXISTS, &made) == S_OK) {
        id = id_of(mailbox, made, PR_ENTRYID);
        Quorvel_CloseFolder(made);
    }
    Quorvel_CloseFolder(top);
    return id;
}

/* Both ways. The identifier changes with each move: only the new one opens the item afterwards. */
static int move_and_back(const TMailbox* mailbox, const char* item, const char* from, const char* to) {
    char away[1024] = "", back[1024] = ""; /* two characters a byte of an identifier, and one more */
    HRESULT hr =
        Quorvel_ItemMove(mailbox->session, item, from, mailbox->store_id, to, mailbox->store_id, away);
    if (hr != S_OK || !*away) {
        fprintf(stderr, "not moved: 0x%lx\n", (unsigned long)hr);
        return 0;
    }
    printf("now in ");
    print_folder(mailbox, away);
    hr = Quorvel_ItemMove(mailbox->session, away, to, mailbox->store_id, from, mailbox->store_id, back);
    if (hr != S_OK) {
        fprintf(stderr, "\nit stays in the folder for duplicates: 0x%lx\n", (unsigned long)hr);
        return 0;
    }
    printf("\nand back in ");
    print_folder(mailbox, back);
    printf("\n");
    return 1;
}

int main(int argc, char** argv) {
    TMailbox mailbox;
    TPair pair = {0};
    wchar_t subject[256];
    char *kept_in, *from, *to;
    int done = 0;
    if (argc != 2 || !MultiByteToWideChar(CP_ACP, 0, argv[1], -1, subject, 256))
        return fprintf(stderr, "usage: move_away \"Subject\"\n"), 2;
    pair.subject = subject;
    Quorvel_ConfigLog(NULL, "move_away.log", 0, 1);
    if (!open_mailbox(&mailbox)) return 2;
    each_item(&mailbox, L"IPF.Note", take_pair, &pair);
    kept_in = pair.kept ? folder_of(&mailbox, pair.kept) : NULL;
    from = kept_in && pair.moved ? folder_of(&mailbox, pair.moved) : NULL;
    to = from ? folder_for_duplicates(&mailbox) : NULL;
    if (to)
        done = move_and_back(&mailbox, pair.moved, from, to);
    else
        fprintf(stderr, "there are no two mails with this subject that open\n");
    free(to), free(from), free(kept_in), free(pair.moved), free(pair.kept);
    close_mailbox(&mailbox);
    return done ? 0 : 2;
}
