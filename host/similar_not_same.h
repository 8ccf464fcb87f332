#pragma once
// The file of contacts that somebody said are not the same.

#include <string>

#include "host/similar_command.h"

namespace host {

/// Lines of contacts that are not one person, `A <> B <> C`, each by entry identifier or "Folder#number". Throws
/// Failure for a file or a line that cannot be read; contacts that are no more are counted.
void ReadNotSame(const std::string& path, TSimilarResult* result);

/// The members of a cluster as a line for that file.
std::string NotSameLine(const TSimilarResult& result, const TCluster& cluster);

}  // namespace host
