#pragma once
// What was found of contacts, as one HTML file.

#include <string>

#include "host/similar_command.h"

namespace host {

std::string SimilarHtml(IMAPISession* session, const TSimilarResult& result, CProgress& progress);

}  // namespace host
