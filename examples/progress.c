/*
 * A search that the user can watch and stop: a window with a bar and a button. The library starts no threads and
 * never calls back; a host looks after its window between two additions, which take a moment each.
 *
 *     progress [N]      presses its own button after N items, to show what happens then
 */
#include "example.h"
#include <commctrl.h>

enum { kCancel = 1 };

typedef struct TProgress {
    HWND window, bar, button;
    HSearch search;
    const char* store_id;
    int all, done, press_after;
    int cancelled;
} TProgress;

static LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM w, LPARAM l) {
    TProgress* progress = (TProgress*)GetWindowLongPtrW(window, GWLP_USERDATA);
    /* The button, and the cross of the window, ask for the end: the walk sees it after the present item. */
    if (progress && ((message == WM_COMMAND && LOWORD(w) == kCancel) || message == WM_CLOSE)) {
        progress->cancelled = 1;
        return 0;
    }
    return DefWindowProcW(window, message, w, l);
}

static int open_window(TProgress* progress) {
    WNDCLASSW kind = {0};
    kind.lpfnWndProc = on_message;
    kind.hInstance = GetModuleHandleW(NULL);
    kind.hCursor = LoadCursorW(NULL, (LPCWSTR)IDC_ARROW);
    kind.hbrBackground = (HBRUSH)(COLOR_3DFACE + 1);
    kind.lpszClassName = L"ProgressOfSearch";
    InitCommonControls();
    if (!RegisterClassW(&kind)) return 0;
    progress->window =
        CreateWindowW(kind.lpszClassName, L"Looking for duplicates", WS_CAPTION | WS_SYSMENU | WS_VISIBLE,
                      CW_USEDEFAULT, CW_USEDEFAULT, 360, 120, NULL, NULL, kind.hInstance, NULL);
    if (!progress->window) return 0;
    progress->bar = CreateWindowW(PROGRESS_CLASSW, NULL, WS_CHILD | WS_VISIBLE, 10, 10, 324, 20,
                                  progress->window, NULL, kind.hInstance, NULL);
    progress->button = CreateWindowW(L"BUTTON", L"Cancel", WS_CHILD | WS_VISIBLE | BS_PUSHBUTTON, 254, 42, 80,
                                     26, progress->window, (HMENU)(INT_PTR)kCancel, kind.hInstance, NULL);
    SetWindowLongPtrW(progress->window, GWLP_USERDATA, (LONG_PTR)progress);
    return progress->bar && progress->button;
}

static int count_item(void* context, const char* item_id, const wchar_t* title) {
    (void)item_id, (void)title;
    ++*(int*)context;
    return 1;
}

static int add_item(void* context, const char* item_id, const wchar_t* title) {
    TProgress* progress = (TProgress*)context;
    MSG message;
    (void)title;
    Search_Add(progress->search, item_id, progress->store_id, NULL, 0);
    ++progress->done;
    SendMessageW(progress->bar, PBM_SETPOS, (WPARAM)(100 * progress->done / progress->all), 0);
    if (progress->done == progress->press_after) PostMessageW(progress->button, BM_CLICK, 0, 0);
    while (PeekMessageW(&message, NULL, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return !progress->cancelled;
}

int main(int argc, char** argv) {
    TComparyProp subject = compared(L"Mail.Subject", PR_SUBJECT_W);
    TComparyProps list = {1, &subject};
    TMailbox mailbox;
    TProgress progress = {0};
    progress.press_after = argc > 1 ? atoi(argv[1]) : 0;
    Quorvel_ConfigLog(NULL, "progress.log", 0, 1);
    if (!open_mailbox(&mailbox)) return 2;
    if (!open_window(&progress)) fprintf(stderr, "there is no window: the search runs without\n");
    progress.store_id = mailbox.store_id;
    progress.search = Search_Create(mailbox.session, &list, NULL, saIdentical, 0);
    each_item(&mailbox, L"IPF.Note", count_item, &progress.all);
    each_item(&mailbox, L"IPF.Note", add_item, &progress);
    /* What was added until the end was asked for can still be grouped, or left. */
    if (progress.cancelled)
        printf("cancelled after %d of %d mails\n", progress.done, progress.all);
    else if (Search_Build(progress.search))
        printf("%d mails, %d groups\n", progress.all, Search_GetOriginalCount(progress.search));
    if (progress.window) DestroyWindow(progress.window);
    Search_Delete(progress.search);
    close_mailbox(&mailbox);
    return progress.cancelled ? 1 : 0;
}
