// The public header as the only include of a C++ program, in the oldest dialect that it promises.
#include <quorvel.h>
#include <type_traits>

// A handle of one family does not pass for another's, nor for any pointer.
static_assert(!std::is_convertible<HSearch, HCmpMatrix>::value, "a search is no matrix");
static_assert(!std::is_convertible<HSimilarSearch, HSearch>::value,
              "a similar search is no duplicate search");
static_assert(!std::is_convertible<void*, HFci>::value, "a pointer is no cabinet");

int UseQuorvel();
int UseQuorvel() {
    static TComparyProp subject = {L"Subject", L"Subject", 0, 0x0037001FU, nullptr, 0,
                                   nullptr,    0x1FU,      0, 1,           cmExact, 0};
    const TComparyProps definitions = {1, &subject};
    Quorvel_ConfigLogEx(nullptr, nullptr, 0, 1, 0);
    return Quorvel_GetCompatibleCode() + definitions.n;
}
