#pragma once
// The values of a cluster's contacts, side by side.

#include <optional>
#include <vector>

#include "host/matrix_view.h"
#include "host/similar_command.h"

namespace host {

// A report stays readable, and is made in reasonable time, however much was found.
inline constexpr size_t kClustersWithValues = 500;
inline constexpr size_t kContactsSideBySide = 8;

/// The first contacts of a cluster.
std::vector<TItem> SideBySide(const TSimilarResult& result, const TCluster& cluster);
/// The values of those. Nothing for a cluster beyond the first ones, or when a contact cannot be
/// read any more.
std::optional<TMatrixView> ValuesOf(IMAPISession* session, const TSimilarResult& result, size_t cluster);

}  // namespace host
