#pragma once
// The `similar` command: contacts that resemble one another, gathered in clusters, with the reasons.

#include <set>
#include <string>
#include <vector>

#include "host/folders.h"
#include "host/progress.h"
#include "host/similar_clusters.h"

namespace host {

struct TSimilarOptions {
    std::string contact;  // empty: every contact against every later one; else this one against all others
    std::vector<std::string> folders;
    bool pairs = false;  // pairs one by one instead of clusters
    std::string notSame;
};

struct TSimilarResult {
    TCatalog catalog;
    std::vector<TItem> contacts;
    std::vector<unsigned> filled;  // fields that each has filled; 0 where nobody asked
    std::vector<TReason> reasons;
    /// Every pair with --pairs, else the strict ones.
    std::vector<TSimilarPair> pairs;
    size_t similarPairs = 0;
    size_t strictPairs = 0;
    std::vector<TCluster> clusters;
    std::vector<TResembling> resembling;
    std::vector<size_t> others;  // lists of the above that touch no cluster
    std::set<TContactPair> notSame;
    size_t notSamePairs = 0;  // left out by it
    size_t unknown = 0;       // contacts that it names and nobody has
    std::vector<size_t> unreadable;
    /// Left out: another contact has the identifier, by which alone the library tells contacts apart.
    std::vector<size_t> sameIdentifier;
    bool isInterrupted = false;
    unsigned long long compared = 0, toCompare = 0;

    bool HasFound() const { return similarPairs + strictPairs != 0; }
};

/// Throws Failure, and TInterrupted while there is nothing to show yet; Ctrl-C while contacts are compared leaves
/// what was found until then.
TSimilarResult FindSimilar(IMAPISession* session, const TSimilarOptions& options, CProgress& progress);

/// The contact of a cluster that has most filled; of several the first.
uint32_t MostFilled(const TSimilarResult& result, const TCluster& cluster);
/// Why a cluster was parted, in a sentence.
std::string CutText(const TSimilarResult& result, const TCut& cut);
std::string NameOf(const TSimilarResult& result, uint32_t contact);

}  // namespace host
