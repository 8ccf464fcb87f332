/* The public header as the only include of a C program. */
#include <quorvel.h>

/* Records can be written as initialisers and hold what they are given. */
static TComparyProp subject = {L"Subject", L"Subject", 0, 0x0037001FU, NULL,    0,
                               NULL,       0x1FU,      0, 1,           cmExact, 0};
static const TComparyProps definitions = {1, &subject};
static const TOriginalDefinition original = {okMostFilled, 0, 0, {0}, NULL};

int UseQuorvel(void);
int UseQuorvel(void) {
    Quorvel_ConfigLogEx(NULL, NULL, 0, 1, 0);
    return Quorvel_GetCompatibleCode() + definitions.n + (int)original.nKind;
}
