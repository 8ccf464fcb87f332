#pragma once
// The `similar` command: contacts that resemble one another, with the verdict and the fields that decided.

#include <string>
#include <vector>

#include "host/folders.h"
#include "host/progress.h"

namespace host {

struct SimilarPair {
    size_t a = 0;
    size_t b = 0;
    bool strict = false;
    std::string verdict;  // the library's explanation
    std::string fields;   // the fields that matched
};

struct SimilarResult {
    Catalog catalog;
    std::vector<Item> contacts;
    std::vector<SimilarPair> pairs;
    std::vector<size_t> unreadable;
    /// Left out: another contact has the identifier, by which alone the library tells contacts apart.
    std::vector<size_t> sameIdentifier;
};

/// contact empty: every contact against every later one; else the contacts whose name or entry-identifier
/// text it is against all others. Throws Failure.
SimilarResult FindSimilar(IMAPISession* session, const std::string& contact,
                          const std::vector<std::string>& folders, Progress& progress);
std::string SimilarText(const SimilarResult& result);
std::string SimilarJson(const SimilarResult& result);

}  // namespace host
