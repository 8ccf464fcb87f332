#pragma once
// What a scan found: as text for a terminal, as JSON for programs, as one HTML file for reading.

#include <string>

#include "host/scan.h"

namespace host {

std::string TextReport(const ScanResult& result);
std::string JsonReport(const ScanResult& result);
/// One file without references to anywhere; everything that came from the mailbox is escaped. Reads the
/// groups' items once more for their values.
std::string HtmlReport(IMAPISession* session, const ScanResult& result);

}  // namespace host
