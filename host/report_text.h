#pragma once
// What a scan found, as text for a terminal.

#include <string>

#include "host/scan.h"

namespace host {

std::string TextReport(const TScanResult& result);

}  // namespace host
