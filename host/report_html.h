#pragma once
// What a scan found, as one HTML file without references to anywhere, in which a person decides what becomes of each
// item and saves that (decisions.h); without scripts it is for reading. Everything that came from the mailbox is escaped.

#include <string>

#include "host/progress.h"
#include "host/scan.h"
#include "host/similar_command.h"

namespace host {

/// Reads the groups' items once more for their values. similar: contacts that resemble one another, or null. Throws
/// TInterrupted.
std::string HtmlReport(IMAPISession* session, const TScanResult& result, const TSimilarResult* similar,
                       CProgress& progress);

}  // namespace host
