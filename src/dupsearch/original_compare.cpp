#include "dupsearch/original_compare.h"

#include "log/CLog.h"
#include "quorvel.h"

namespace {

constexpr char kTag[] = "CDuplicateSearch.fnCompareOriginal";

/// 1 when a is the larger, -1 when b is, 0 for a tie.
template <typename T>
int Larger(T a, T b) {
    return (a > b) - (a < b);
}

int NotInitialized(const char* message) {
    g_Log.Error(kTag, "%s", message);
    return 0;
}

int ByOrder(const TItem& a, const TItem& b) {
    return a.nIndex < b.nIndex ? 1 : -1;
}

int ByFilledProps(const TItem& a, const TItem& b) {
    if (a.nFilledProps == -1 || b.nFilledProps == -1) return NotInitialized("nFilledProps not initialized\n");
    return Larger(a.nFilledProps, b.nFilledProps);
}

int ByValuesSizes(const TItem& a, const TItem& b, size_t sizes) {
    if (!a.ValuesSizes || !b.ValuesSizes) return NotInitialized("ValuesSizes not initialized\n");
    int sum = 0;
    for (size_t i = 0; i < sizes; ++i) sum += Larger(a.ValuesSizes[i], b.ValuesSizes[i]);
    return Larger(sum, 0);
}

int ByMessageSize(const TItem& a, const TItem& b) {
    if (a.nMessageSize == -1 || b.nMessageSize == -1) return NotInitialized("nMessageSize not initialized\n");
    return Larger(a.nMessageSize, b.nMessageSize);
}

int ByFieldValue(const TItem& a, const TItem& b) {
    if (a.nHasFieldValue == -1 || b.nHasFieldValue == -1)
        return NotInitialized("nHasFieldValue not initialized\n");
    return Larger(a.nHasFieldValue > 0, b.nHasFieldValue > 0);
}

int ByYear(short a, short b) {
    if (a == -1 || b == -1) return NotInitialized("nODApntAnnvrsryYear not initialized\n");
    if (a == b) return 0;
    if (a == 0) return -1;
    if (b == 0) return 1;
    if (a < b) return 1;
    g_Log.Assert(b < a, kTag, 640, nullptr);
    return -1;
}

int ByRecurrence(const TItem& a, const TItem& b) {
    const bool known = a.nODApntRecurIndex != -1 && b.nODApntRecurIndex != -1;
    if (known && (a.nODApntRecurIndex > 0) != (b.nODApntRecurIndex > 0))
        return a.nODApntRecurIndex > 0 ? 1 : -1;
    if (const int order = ByYear(a.nODApntAnnvrsryYear, b.nODApntAnnvrsryYear)) return order;
    if (!known) return NotInitialized("nODApntRecurIndex not initialized\n");
    return Larger(a.nODApntRecurIndex, b.nODApntRecurIndex);
}

int ByCrmId(const TItem& a, const TItem& b) {
    if (a.nHasCRMID == -1 || b.nHasCRMID == -1) return NotInitialized("nHasCRMID not initialized\n");
    return Larger(a.nHasCRMID > 0, b.nHasCRMID > 0);
}

/// The kind's own criterion.
int ByKind(const TItem& a, const TItem& b, unsigned nKind, size_t sizes) {
    switch (nKind) {
        case okLargestValues:
            return ByValuesSizes(a, b, sizes);
        case okLargestItem:
            return ByMessageSize(a, b);
        case okFieldValue:
            return ByFieldValue(a, b);
        case okApntRecurrence:
            return ByRecurrence(a, b);
        case okHasCrmId:
            return ByCrmId(a, b);
        default:
            return 0;
    }
}

}  // namespace

int fnCompareOriginal(const TItem& a, const TItem& b, unsigned nKind, size_t sizes) {
    const int rankA = static_cast<int>(a.nCallerRank), rankB = static_cast<int>(b.nCallerRank);
    if (rankA != rankB) return rankA < rankB ? 1 : -1;
    if (nKind > okHasCrmId) {
        g_Log.Error(kTag, "Invalid OriginalDefinition\n");
        return -1;
    }
    if (nKind == okCallerOrder || nKind == okCallerOrder2) return ByOrder(a, b);
    if (const int order = ByKind(a, b, nKind, sizes)) return order;
    if (const int order = ByFilledProps(a, b)) return order;
    return ByOrder(a, b);
}
