#pragma once
// The `pack` command: files into one cabinet.

#include <string>
#include <vector>

namespace host {

/// Names inside the cabinet are the files' own, made distinct. Throws Failure; no half cabinet is left then.
void Pack(const std::string& cabinet, const std::vector<std::string>& files);

}  // namespace host
