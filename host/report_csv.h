#pragma once
// What a scan found, as CSV for spreadsheets: a line an item of the groups; no cell is one that a spreadsheet would run.

#include <string>

#include "host/scan.h"

namespace host {

std::string CsvReport(const TScanResult& result);

}  // namespace host
