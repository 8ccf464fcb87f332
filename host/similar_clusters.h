#pragma once
// Contacts that belong together, made of pairs: strict pairs join, and what merely resembles is named beside.
//
// A chain of strict pairs does not make strangers one person: where two members of a cluster have no verdict and
// no third member that is strict to both, the weakest strict pair of each path between them is cut, and the two
// parts name each other. Pairs that somebody said are two people never share a cluster.

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/similar_twins.h"

namespace host {

/// Why two contacts are a pair. The same for many pairs.
struct TReason {
    bool strict = false;
    std::string fields;       // that matched
    std::string explanation;  // the library's
    /// The more fields a reason rests on, and the fewer of them are inexact, the stronger it is.
    int strength = 0;
};

/// Of twins the first pair of two, which stands for all others.
struct TSimilarPair {
    uint32_t a;  // contacts by number, a before b
    uint32_t b;
    uint32_t reason;
};

inline constexpr size_t kNoCluster = static_cast<size_t>(-1);

/// Two contacts whose strict pair was cut, and the two strangers that it had held together.
struct TCut {
    TSimilarPair pair;
    uint32_t strangers[2];
    size_t other = 0;  // the cluster on the other side; kNoCluster: a contact that is in none
};

/// Contacts that resemble the first of them by the same fields.
struct TResembling {
    uint32_t reason;
    std::vector<uint32_t> contacts;
    size_t pairs = 0;  // with those among the others
};

struct TCluster {
    std::vector<uint32_t> contacts;  // in their order
    size_t pairs = 0;
    uint32_t reason = 0;  // the strongest
    std::vector<TCut> cuts;
    std::vector<size_t> resembling;  // which of the lists touch this cluster, and no earlier one
};

/// Gathers pairs that are only similar, in the order in which they are found, one field list after another, in
/// room that grows with the contacts and not with the pairs.
class CResembling {
  public:
    void Add(const TSimilarPair& pair, const TReason& reason, const TTwins& twins);
    std::vector<TResembling> Lists() const;

  private:
    static constexpr uint32_t kNone = ~0u;
    struct TByFields {
        std::string fields;
        uint32_t reason;
        std::vector<uint32_t> first;  // of each contact: the first one that it resembles
        std::vector<size_t> pairs;    // by that first one
    };
    std::vector<TByFields> m_byFields;
};

using TContactPair = std::pair<uint32_t, uint32_t>;  // the lower first

/// Whether two contacts have any verdict.
using TAreRelated = std::function<bool(uint32_t a, uint32_t b)>;

/// Nobody of notSame has a twin. Asks about as few pairs as there are strangers, and only those that stand for their
/// twins.
std::vector<TCluster> BuildClusters(const TTwins& twins, const std::vector<TSimilarPair>& strictPairs,
                                    const std::vector<TReason>& reasons,
                                    const std::set<TContactPair>& notSame, const TAreRelated& areRelated);
/// Says at each cluster which lists touch it, and gives the lists that touch none. A list within one cluster says
/// nothing new and is left out.
std::vector<size_t> AttachResembling(size_t contacts, const std::vector<TResembling>& lists,
                                     std::vector<TCluster>* clusters);

/// Strength of the reason that the library explains in these words.
int StrengthOf(const std::string& fields, const std::string& explanation);

}  // namespace host
