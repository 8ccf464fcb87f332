#include "host/similar_html.h"

#include <algorithm>

#include "host/html.h"
#include "host/matrix_origins.h"
#include "host/similar_not_same.h"
#include "host/similar_values.h"
#include "host/text.h"

namespace host {

namespace {

constexpr size_t kNamesOfList = 40;

std::string PlaceHtml(const TSimilarResult& result, size_t contact) {
    const TItem& item = result.contacts[contact];
    const std::string source = SourceText(item);
    return Escape(Place(result.catalog, item)) +
           (source.empty() ? "" : "<br><span class=\"soft\">" + Escape(source) + "</span>");
}

std::string NamedHtml(const TSimilarResult& result, uint32_t contact) {
    return "<b>" + Escape(NameOf(result, contact)) + "</b> <span class=\"soft\">" +
           Escape(Place(result.catalog, result.contacts[contact])) + "</span>";
}

/// A list with its field named once.
std::string ListHtml(const TSimilarResult& result, size_t index) {
    const TResembling& list = result.resembling[index];
    const size_t shown = std::min(kNamesOfList, list.contacts.size());
    std::string html = "<details><summary>" + Count(list.contacts.size(), "contact", "contacts") +
                       " that resemble one another by <b>" + Escape(result.reasons[list.reason].fields) +
                       "</b></summary><ul>";
    for (size_t i = 0; i < shown; ++i) html += "<li>" + NamedHtml(result, list.contacts[i]) + "</li>";
    if (shown < list.contacts.size())
        html += "<li>and " + std::to_string(list.contacts.size() - shown) + " more</li>";
    return html + "</ul></details>\n";
}

// Into the fullest contact, when it is one of those side by side.
void AddOriginsOf(IMAPISession* session, const TSimilarResult& result, size_t index, TMatrixView& view) {
    const TCluster& cluster = result.clusters[index];
    const std::vector<TItem> items = SideBySide(result, cluster);
    const auto most = std::ranges::find(cluster.contacts, MostFilled(result, cluster));
    const auto into = static_cast<size_t>(most - cluster.contacts.begin());
    if (into >= items.size()) return;
    const TBookkeeping bookkeeping = LoadBookkeeping();
    CItemReader reader(session, result.catalog, bookkeeping);
    AddOrigins(view, reader, items, LoadDefinitions(BuiltInDefinitions(EKind::Contact)), false, into);
}

std::string ValuesHtml(IMAPISession* session, const TSimilarResult& result, size_t index) {
    const TCluster& cluster = result.clusters[index];
    std::optional<TMatrixView> values = ValuesOf(session, result, index);
    if (values) AddOriginsOf(session, result, index, *values);
    const uint32_t most = MostFilled(result, cluster);
    const size_t columns = values ? std::min(kContactsSideBySide, cluster.contacts.size()) : 0;
    std::string html;
    if (values) {
        html += "<table><thead><tr><th scope=\"col\">Property</th>";
        for (size_t i = 0; i < columns; ++i) {
            const uint32_t contact = cluster.contacts[i];
            html += "<th scope=\"col\"><span class=\"role" + std::string(contact == most ? " keep" : "") +
                    "\">" + std::to_string(i + 1) + ": " + Count(result.filled[contact], "field", "fields") +
                    (contact == most ? ", most filled" : "") + "</span>" + PlaceHtml(result, contact) +
                    "</th>";
        }
        html += "<th scope=\"col\">Merged into the fullest</th></tr></thead><tbody>\n";
        for (const TMatrixRow& row : values->rows) {
            if (row.verdict == EVerdict::AllEmpty) continue;
            const bool differs = row.verdict != EVerdict::Equal;
            html += std::string("<tr") + (differs ? " class=\"differs\"" : "") + "><th scope=\"row\">" +
                    Escape(row.property) + (differs ? "<span class=\"soft\"> (differs)</span>" : "") +
                    "</th>";
            for (const std::string& text : row.texts) html += "<td>" + Cell(text) + "</td>";
            html += "<td>" + OriginNumbers(row) + "</td></tr>\n";
        }
        html += "</tbody></table>\n";
    }
    if (columns == cluster.contacts.size()) return html;
    html += "<ul>";
    for (size_t i = columns; i < cluster.contacts.size(); ++i)
        html += "<li>" + NamedHtml(result, cluster.contacts[i]) + "</li>";
    return html + "</ul>\n";
}

std::string ClusterHtml(IMAPISession* session, const TSimilarResult& result, size_t index) {
    const TCluster& cluster = result.clusters[index];
    std::string html =
        "<details class=\"group\" id=\"cluster" + std::to_string(index + 1) + "\"" +
        (index < 3 ? " open" : "") + "><summary><b>" + Escape(NameOf(result, MostFilled(result, cluster))) +
        "</b> <span class=\"soft\">" + Count(cluster.contacts.size(), "contact", "contacts") + ", " +
        Count(cluster.pairs, "pair", "pairs") + "</span></summary>\n<div><p>By " +
        Escape(result.reasons[cluster.reason].fields) + ".</p>\n" + ValuesHtml(session, result, index);
    for (const TCut& cut : cluster.cuts) {
        html += "<p>Parted from " +
                (cut.other == kNoCluster
                     ? "a contact"
                     : "<a href=\"#cluster" + std::to_string(cut.other + 1) + "\">another cluster</a>") +
                ": " + Escape(CutText(result, cut)) + ".</p>\n";
    }
    for (const size_t list : cluster.resembling) html += ListHtml(result, list);
    return html +
           "<details><summary>Not one person?</summary><p>A line for the file of <code>--not-same</code>:</p>"
           "<p><code>" +
           Escape(NotSameLine(result, cluster)) + "</code></p></details></div></details>\n";
}

std::string ItemsHtml(const TSimilarResult& result, const char* heading,
                      const std::vector<size_t>& contacts) {
    if (contacts.empty()) return {};
    std::string html = std::string("<h2>") + heading + "</h2>\n<ul>\n";
    for (const size_t contact : contacts) html += "<li>" + PlaceHtml(result, contact) + "</li>\n";
    return html + "</ul>\n";
}

}  // namespace

std::string SimilarHtml(IMAPISession* session, const TSimilarResult& result, CProgress& progress) {
    std::string html = HtmlHead("quorvel similar", "Contacts that resemble one another") + "<header><h1>" +
                       Count(result.clusters.size(), "cluster", "clusters") + " of contacts</h1>\n<p>" +
                       Count(result.contacts.size(), "contact", "contacts") + ", " +
                       Count(result.strictPairs, "strict pair", "strict pairs") + ", " +
                       Count(result.similarPairs, "similar pair", "similar pairs") + ".</p>\n";
    if (result.isInterrupted) {
        html += "<p>Interrupted: " + std::to_string(result.compared) + " of " +
                std::to_string(result.toCompare) + " pairs were compared.</p>\n";
    }
    html += "</header>\n<main>\n";
    for (size_t i = 0; i < result.clusters.size(); ++i) {
        progress("clusters written", i, result.clusters.size());
        html += ClusterHtml(session, result, i);
    }
    if (!result.others.empty()) html += "<h2>Merely similar</h2>\n";
    for (const size_t list : result.others) html += ListHtml(result, list);
    return html + ItemsHtml(result, "Could not be read", result.unreadable) +
           ItemsHtml(result, "Not compared: the identifier is another contact's", result.sameIdentifier) +
           "</main>\n</body>\n</html>\n";
}

}  // namespace host
