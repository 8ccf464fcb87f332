#pragma once
// The `pack` command: files into one cabinet.

#include <string>
#include <vector>

namespace host {

/// Names inside the cabinet are the files' own, made distinct where they differ in case alone. Throws Failure;
/// an earlier cabinet of the name is then as it was, and no half one is left. force: replace any file.
void Pack(const std::string& cabinet, const std::vector<std::string>& files, bool force);

}  // namespace host
