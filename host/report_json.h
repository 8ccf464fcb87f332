#pragma once
// What a scan found, as JSON for programs: as docs/schemas/report.schema.json says.

#include <string>

#include "host/scan.h"

namespace host {

std::string JsonReport(const TScanResult& result);

}  // namespace host
