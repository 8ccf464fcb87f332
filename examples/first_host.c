/*
 * The smallest host: one header, one import library. Configures the log, logs on to the mail client's default
 * profile and off again. Usage: first_host [LOG_FILE]
 */
#include <quorvel.h>
#include <stdio.h>

int main(int argc, char** argv) {
    IMAPISession* session = NULL;
    HRESULT hr;

    Quorvel_ConfigLog(NULL, argc > 1 ? argv[1] : "quorvel.log", 0, 2);
    printf("compatible code %d, log in %s\n", Quorvel_GetCompatibleCode(), Quorvel_GetFilenameLog());

    hr = Quorvel_Logon(&session, 0, 0);
    if (hr != S_OK) {
        printf("no session: 0x%lx\n", (unsigned long)hr);
        return 1;
    }
    puts("logged on");
    Quorvel_Logoff(session);
    return 0;
}
