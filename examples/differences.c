/*
 * Why are these mails not the same? Puts all mails with one subject side by side: a line a property, a column a
 * mail; equal letters are equal values, a hyphen is an empty one. Attachments are compared by what they hold.
 *
 *     differences "Subject"
 */
#include "example.h"

enum { kProperties = 4 };
typedef struct TRows {
    HCmpMatrix matrix;
    const char* store_id;
    const wchar_t* subject;
} TRows;

static int add_row(void* context, const char* item_id, const wchar_t* title) {
    TRows* rows = (TRows*)context;
    if (_wcsicmp(title, rows->subject) == 0) CmpMatrix_Add(rows->matrix, item_id, rows->store_id);
    return 1;
}

static void print_letter(unsigned int value) {
    printf("  %c", value == 0 ? '-' : value <= 26 ? (char)('A' + value - 1) : '+');
}

static void print_matrix(HCmpMatrix matrix, const TComparyProps* list) {
    unsigned int rows = 0;
    CmpMatrix_Size(matrix, &rows, NULL);
    printf("%u mails\n", rows);
    for (int column = 0; column < list->n; ++column) {
        printf("%-22ls", list->lpProps[column].lpszName);
        for (unsigned int row = 0; row < rows; ++row) print_letter(CmpMatrix_Value(matrix, (int)row, column));
        printf("\n");
    }
    if (!CmpMatrix_BuildAttachMatrix(matrix)) return;
    for (int column = 0; column < CmpMatrix_AttachCount(matrix); ++column) {
        const wchar_t* name = L"";
        unsigned int size = 0;
        if (!CmpMatrix_AttachInfoW(matrix, column, &name, &size)) continue;
        printf("%-22ls", name);
        for (unsigned int row = 0; row < rows; ++row)
            printf("  %c", CmpMatrix_AttachValue(matrix, (int)row, column) >= 0 ? 'x' : '-');
        printf("  (%u bytes)\n", size);
    }
}

int main(int argc, char** argv) {
    TComparyProp properties[kProperties];
    TComparyProps list = {kProperties, properties};
    TMailbox mailbox;
    TRows rows = {0};
    wchar_t subject[256];
    if (argc != 2 || !MultiByteToWideChar(CP_ACP, 0, argv[1], -1, subject, 256))
        return fprintf(stderr, "usage: differences \"Subject\"\n"), 2;
    properties[0] = compared(L"Subject", PR_SUBJECT_W);
    properties[1] = compared(L"Sent", PR_CLIENT_SUBMIT_TIME);
    properties[2] = compared(L"Sender", PR_SENT_REPRESENTING_EMAIL_ADDRESS_W);
    properties[3] = compared(L"Text", PR_BODY_W);
    properties[3].nInterface = 1; /* read through a stream: a text may be longer than a value can be */

    Quorvel_ConfigLog(NULL, "differences.log", 0, 1);
    if (!open_mailbox(&mailbox)) return 2;
    rows.store_id = mailbox.store_id;
    rows.subject = subject;
    rows.matrix = CmpMatrix_Create(mailbox.session, &list);
    if (rows.matrix) {
        each_item(&mailbox, L"IPF.Note", add_row, &rows);
        print_matrix(rows.matrix, &list);
    }
    CmpMatrix_Delete(rows.matrix);
    close_mailbox(&mailbox);
    return 0;
}
