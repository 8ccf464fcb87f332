#include "host/similar_values.h"

#include "host/text.h"

namespace host {

namespace {

constexpr size_t kValueLimit = 4000;

}  // namespace

std::vector<TItem> SideBySide(const TSimilarResult& result, const TCluster& cluster) {
    std::vector<TItem> items;
    for (const uint32_t contact : cluster.contacts) {
        if (items.size() == kContactsSideBySide) break;
        items.push_back(result.contacts[contact]);
    }
    return items;
}

std::optional<TMatrixView> ValuesOf(IMAPISession* session, const TSimilarResult& result, size_t cluster) {
    if (cluster >= kClustersWithValues) return std::nullopt;
    const std::vector<TItem> items = SideBySide(result, result.clusters[cluster]);
    try {
        return BuildMatrix(session, result.catalog, items,
                           LoadDefinitions(BuiltInDefinitions(EKind::Contact)), kValueLimit,
                           EMatrixItems::Resembling);
    } catch (const TFailure&) {
        return std::nullopt;
    }
}

}  // namespace host
