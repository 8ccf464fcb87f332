#pragma once
// What was found of contacts, as text and as JSON.

#include <string>

#include "host/similar_command.h"

namespace host {

std::string SimilarText(const TSimilarResult& result, bool pairs);
std::string SimilarJson(IMAPISession* session, const TSimilarResult& result, bool pairs, CProgress& progress);

}  // namespace host
