#pragma once
// What a scan found: as text for a terminal, as JSON for programs, as one HTML file for reading, as CSV for
// spreadsheets.

#include <string>

#include "host/scan.h"
#include "host/similar_command.h"

namespace host {

std::string TextReport(const TScanResult& result);
/// As docs/schemas/report.schema.json says.
std::string JsonReport(const TScanResult& result);
/// A line an item of the groups; no cell is one that a spreadsheet would run.
std::string CsvReport(const TScanResult& result);
/// One file without references to anywhere, in which a person decides what becomes of each item and saves that
/// (decisions.h); without scripts it is for reading. Everything that came from the mailbox is escaped. Reads the
/// groups' items once more for their values. similar: contacts that resemble one another, or null. Throws
/// TInterrupted.
std::string HtmlReport(IMAPISession* session, const TScanResult& result, const TSimilarResult* similar,
                       CProgress& progress);

}  // namespace host
