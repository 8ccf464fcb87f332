#include "host/similar_report.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "host/matrix_view.h"
#include "host/similar_not_same.h"
#include "host/similar_values.h"
#include "host/text.h"

namespace host {

namespace {

using json = nlohmann::ordered_json;

constexpr size_t kNamesOfList = 5;

std::string PlaceOf(const TSimilarResult& result, size_t contact) {
    return Place(result.catalog, result.contacts[contact]);
}

/// "40 contacts by Company: Ann (Contacts#1), Bob (Contacts#2) and 38 more"
std::string ListText(const TSimilarResult& result, const TResembling& list) {
    std::string text = Count(list.contacts.size(), "contact", "contacts") + " by " +
                       OneLine(result.reasons[list.reason].fields) + ": ";
    for (size_t i = 0; i < std::min(kNamesOfList, list.contacts.size()); ++i)
        text += (i == 0 ? "" : ", ") + NameOf(result, list.contacts[i]) + " (" +
                PlaceOf(result, list.contacts[i]) + ")";
    if (list.contacts.size() > kNamesOfList)
        text += " and " + std::to_string(list.contacts.size() - kNamesOfList) + " more";
    return text;
}

std::string ClusterText(const TSimilarResult& result, size_t index) {
    const TCluster& cluster = result.clusters[index];
    const uint32_t most = MostFilled(result, cluster);
    std::string text = "cluster " + std::to_string(index + 1) + ": " +
                       Count(cluster.contacts.size(), "contact", "contacts") + " by " +
                       OneLine(result.reasons[cluster.reason].fields) + ", " +
                       Count(cluster.pairs, "pair", "pairs") + "\n";
    for (const uint32_t contact : cluster.contacts) {
        text += std::string(contact == most ? "   fullest  " : "            ") +
                Fit(NameOf(result, contact), 28) + "  " + PlaceOf(result, contact) + "  " +
                Count(result.filled[contact], "field", "fields") + "\n";
    }
    for (const size_t list : cluster.resembling)
        text += "   similar  " + ListText(result, result.resembling[list]) + "\n";
    for (const TCut& cut : cluster.cuts) {
        text += "   parted   from " +
                (cut.other == kNoCluster ? "a contact" : "cluster " + std::to_string(cut.other + 1)) + ": " +
                CutText(result, cut) + "\n";
    }
    return text;
}

std::string ClustersText(const TSimilarResult& result) {
    std::string text;
    for (size_t i = 0; i < result.clusters.size(); ++i) text += (i == 0 ? "" : "\n") + ClusterText(result, i);
    for (size_t i = 0; i < result.others.size(); ++i)
        text += (i == 0 && !text.empty() ? "\nsimilar  " : "similar  ") +
                ListText(result, result.resembling[result.others[i]]) + "\n";
    return text;
}

std::string PairsText(const TSimilarResult& result) {
    std::string text;
    uint32_t last = ~0u;
    for (const TSimilarPair& pair : result.pairs) {
        if (pair.a != last)
            text +=
                (text.empty() ? "" : "\n") + NameOf(result, pair.a) + "  " + PlaceOf(result, pair.a) + "\n";
        last = pair.a;
        const TReason& reason = result.reasons[pair.reason];
        text += std::string(reason.strict ? "   strict   " : "   similar  ") +
                Fit(result.contacts[pair.b].title, 28) + "  " + PlaceOf(result, pair.b) + "  by " +
                OneLine(reason.fields) + "\n";
    }
    return text;
}

/// What was not compared, and what a person left out.
std::string LeftOutText(const TSimilarResult& result) {
    std::string text;
    for (const size_t item : result.unreadable) text += "could not be read: " + PlaceOf(result, item) + "\n";
    for (const size_t item : result.sameIdentifier)
        text += "not compared, its identifier is another contact's: " + PlaceOf(result, item) + "\n";
    if (result.notSamePairs != 0)
        text += Count(result.notSamePairs, "pair is", "pairs are") + " not shown: said to be two people\n";
    if (result.unknown != 0)
        text += Count(result.unknown, "contact that is", "contacts that are") + " named as not the same " +
                (result.unknown == 1 ? "is" : "are") + " not here\n";
    if (result.isInterrupted)
        text += "interrupted: " + std::to_string(result.compared) + " of " +
                std::to_string(result.toCompare) + " pairs were compared\n";
    return text;
}

json ItemJson(const TSimilarResult& result, size_t index) {
    const TItem& contact = result.contacts[index];
    const TFolder& folder = result.catalog.folders[contact.folder];
    return json{{"folder", folder.path},
                {"number", contact.number},
                {"title", contact.title},
                {"entryId", contact.entryId},
                {"storeId", result.catalog.stores[folder.store].entryId}};
}

json ItemsJson(const TSimilarResult& result, const auto& contacts) {
    json items = json::array();
    for (const auto contact : contacts) items.push_back(ItemJson(result, contact));
    return items;
}

json PairJson(const TSimilarResult& result, const TSimilarPair& pair) {
    const TReason& reason = result.reasons[pair.reason];
    return json{{"verdict", reason.strict ? "strict" : "similar"},
                {"fields", reason.fields},
                {"explanation", reason.explanation},
                {"a", ItemJson(result, pair.a)},
                {"b", ItemJson(result, pair.b)}};
}

json ListJson(const TSimilarResult& result, size_t list) {
    const TResembling& of = result.resembling[list];
    return json{{"fields", result.reasons[of.reason].fields},
                {"pairs", of.pairs},
                {"contacts", ItemsJson(result, of.contacts)}};
}

json ClusterJson(IMAPISession* session, const TSimilarResult& result, size_t index) {
    const TCluster& cluster = result.clusters[index];
    const TReason& reason = result.reasons[cluster.reason];
    json object{{"fields", reason.fields}, {"explanation", reason.explanation}, {"pairs", cluster.pairs}};
    object["contacts"] = json::array();
    for (const uint32_t contact : cluster.contacts) {
        object["contacts"].push_back(ItemJson(result, contact));
        object["contacts"].back()["filled"] = result.filled[contact];
    }
    object["mostFilled"] = ItemJson(result, MostFilled(result, cluster));
    object["values"] = json::array();
    if (const auto values = ValuesOf(session, result, index)) {
        for (const TMatrixRow& row : values->rows)
            object["values"].push_back(json{{"property", row.property}, {"values", row.texts}});
    }
    object["similar"] = json::array();
    for (const size_t list : cluster.resembling) object["similar"].push_back(ListJson(result, list));
    object["parted"] = json::array();
    for (const TCut& cut : cluster.cuts) {
        object["parted"].push_back(PairJson(result, cut.pair));
        object["parted"].back()["strangers"] = ItemsJson(result, cut.strangers);
    }
    object["notSame"] = NotSameLine(result, cluster);
    return object;
}

}  // namespace

std::string SimilarText(const TSimilarResult& result, bool pairs) {
    std::string text = pairs ? PairsText(result) : ClustersText(result);
    const std::string leftOut = LeftOutText(result);
    text += leftOut;
    text +=
        std::string(text.empty() ? "" : "\n") + Count(result.contacts.size(), "contact", "contacts") + ", ";
    if (!pairs) text += Count(result.clusters.size(), "cluster", "clusters") + ", ";
    return text + Count(result.similarPairs + result.strictPairs, "pair", "pairs") +
           " that resemble one another, " + std::to_string(result.strictPairs) + " strictly\n";
}

std::string SimilarJson(IMAPISession* session, const TSimilarResult& result, bool pairs,
                        CProgress& progress) {
    json report{
        {"format", "quorvel-similar"}, {"version", pairs ? 1 : 2}, {"contacts", result.contacts.size()}};
    if (pairs) {
        report["pairs"] = json::array();
        for (const TSimilarPair& pair : result.pairs) report["pairs"].push_back(PairJson(result, pair));
    } else {
        report["clusters"] = json::array();
        for (size_t i = 0; i < result.clusters.size(); ++i) {
            progress("clusters written", i, result.clusters.size());
            report["clusters"].push_back(ClusterJson(session, result, i));
        }
        report["similar"] = json::array();
        for (const size_t list : result.others) report["similar"].push_back(ListJson(result, list));
    }
    report["unreadable"] = ItemsJson(result, result.unreadable);
    report["sameIdentifier"] = ItemsJson(result, result.sameIdentifier);
    report["summary"] = {{"strict", result.strictPairs},   {"similar", result.similarPairs},
                         {"notSame", result.notSamePairs}, {"interrupted", result.isInterrupted},
                         {"compared", result.compared},    {"toCompare", result.toCompare}};
    return EscapeActing(report.dump(1, ' ', false, json::error_handler_t::replace)) + "\n";
}

}  // namespace host
