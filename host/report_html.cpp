#include "host/report_html.h"

#include <algorithm>
#include <map>
#include <optional>

#include "host/html.h"
#include "host/matrix_origins.h"
#include "host/page_data.h"
#include "host/page_files.h"
#include "host/text.h"

namespace host {

namespace {

// What is there without scripts stays readable, however much was found.
constexpr size_t kGroupsWithMatrix = 2000;
constexpr size_t kItemsInMatrix = 8;
constexpr size_t kValueLimit = 4000;

std::string Percent(size_t part, size_t whole) {
    return std::to_string(whole == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole)) +
           "%";
}

std::string Summary(const TScanResult& result) {
    std::string html =
        "<header><h1>" + Count(result.Duplicates(), "duplicate", "duplicates") + " in " +
        Count(result.items.size(), "item", "items") + "</h1>\n<p>" +
        Count(result.groups.size(), "group", "groups") + ", " + SizeText(result.DuplicateBytes()) +
        " in duplicates. One copy of each group is kept" +
        (result.Staying() == 0
             ? std::string(".")
             : "; " + Count(result.Staying(), "duplicate is", "duplicates are") + " not moved either.") +
        "</p></header>\n";
    std::map<size_t, size_t> duplicates;
    std::map<size_t, size_t> items;
    for (const TItem& item : result.items) ++items[item.folder];
    for (const TGroup& group : result.groups) {
        for (size_t i = 1; i < group.items.size(); ++i) ++duplicates[result.items[group.items[i]].folder];
    }
    html +=
        "<details id=\"folders\" open><summary><h2>Folders</h2></summary>\n<p class=\"legend soft\"><i "
        "style=\"background:var(--keep)\"></i>kept"
        "<i style=\"background:var(--dup)\"></i>duplicates</p>\n<div "
        "class=\"bars\">\n";
    for (const auto& [folder, count] : items) {
        const size_t extra = duplicates[folder];
        html += "<div class=\"row\"><span class=\"name\">" + Escape(result.catalog.folders[folder].path) +
                "</span><span class=\"bar\" aria-hidden=\"true\"><span class=\"kept\" "
                "style=\"width:" +
                Percent(count - extra, count) +
                "\"></span><span class=\"dup\" style=\"width:" + Percent(extra, count) +
                "\"></span></span><span class=\"count\">" + std::to_string(count - extra) + " kept, " +
                std::to_string(extra) + (extra == 1 ? " duplicate" : " duplicates") + "</span></div>\n";
    }
    return html + "</div></details>\n";
}

// The item's place, and the file that it was made from.
std::string WhereHtml(const TScanResult& result, size_t item) {
    const std::string source = SourceText(result.items[item]);
    return Escape(Place(result.catalog, result.items[item])) +
           (source.empty() ? "" : "<br><span class=\"soft\">" + Escape(source) + "</span>");
}

std::string ColumnHead(const TScanResult& result, const TGroup& group, size_t copy) {
    return std::string("<th scope=\"col\"><span class=\"role ") +
           (copy == 0 ? "keep\">keep" : "duplicate\">duplicate") + "</span>" + std::to_string(copy + 1) +
           " " + WhereHtml(result, group.items[copy]) + "</th>";
}

// Nothing, and the reason, when an item cannot be read. hasLosses: whether an item may have what the first one lacks.
std::optional<TMatrixView> ViewOf(CItemReader& reader, const TScanResult& result, size_t scan,
                                  const std::vector<size_t>& group, EMatrixItems known, bool hasLosses,
                                  std::string* why) {
    const TDefinitions& definitions = result.scans[scan].definitions;
    std::vector<TItem> items;
    for (size_t i = 0; i < std::min(group.size(), kItemsWithValues); ++i)
        items.push_back(result.items[group[i]]);
    try {
        TMatrixView view =
            BuildMatrix(reader.session(), result.catalog, items, definitions, kValueLimit, known);
        if (hasLosses)
            AddOrigins(view, reader, items, definitions, known == EMatrixItems::Duplicates);
        else
            AddOriginsWithoutLosses(view);
        return view;
    } catch (const TFailure& failure) {
        *why = failure.what();
        return std::nullopt;
    }
}

std::string MatrixHtml(const TScanResult& result, const TGroup& group, const TMatrixView& view) {
    const size_t shown = std::min(group.items.size(), kItemsInMatrix);
    std::string html = "<table><thead><tr><th scope=\"col\">Property</th>";
    for (size_t i = 0; i < shown; ++i) html += ColumnHead(result, group, i);
    html += "<th scope=\"col\">Merged</th></tr></thead><tbody>\n";
    for (const TMatrixRow& row : view.rows) {
        const bool differs = row.verdict == EVerdict::Different || row.verdict == EVerdict::OneSided;
        html += std::string("<tr") + (differs ? " class=\"differs\"" : "") + "><th scope=\"row\">" +
                Escape(row.property) + (differs ? "<span class=\"soft\"> (differs)</span>" : "") + "</th>";
        for (size_t i = 0; i < shown; ++i) html += "<td>" + Cell(row.texts[i]) + "</td>";
        html += "<td>" + OriginNumbers(row) + "</td></tr>\n";
    }
    return html + "</tbody></table>";
}

// The duplicates that are not moved, with what would be lost.
std::string StayingHtml(const TScanResult& result, const TGroup& group) {
    std::string html;
    for (size_t i = 1; i < group.items.size(); ++i) {
        const TCopyFate& fate = group.fates[i];
        if (fate.fate == EFate::Move && fate.losses.empty()) continue;
        const std::string why = WhyItStays(fate.fate, fate.losses);
        html += "<p>" + Escape(Place(result.catalog, result.items[group.items[i]])) +
                (why.empty() ? " goes with what the kept copy lacks" : " stays: it " + Escape(why)) + ".</p>";
        if (fate.losses.empty()) continue;
        html += "<ul class=\"losses\">";
        for (const TLoss& loss : fate.losses) {
            html += "<li>" + Escape(loss.property) + ": <b>" + Escape(loss.value) +
                    "</b>; the kept copy has " + (loss.kept.empty() ? "none" : Escape(loss.kept)) + "; " +
                    Escape(MergeText(loss)) + "</li>";
        }
        html += "</ul>\n";
    }
    return html;
}

std::string ListHtml(const TScanResult& result, const TGroup& group, size_t first) {
    std::string html = "<ul>";
    for (size_t i = first; i < group.items.size(); ++i) {
        html += std::string("<li><span class=\"") + (i == 0 ? "keep\">keep" : "duplicate\">duplicate") +
                "</span> " + WhereHtml(result, group.items[i]) + "</li>";
    }
    return html + "</ul>";
}

std::string GroupHtml(const TScanResult& result, size_t index, const std::optional<TMatrixView>& view,
                      const std::string& whyNone) {
    const TGroup& group = result.groups[index];
    const TItem& kept = result.items[group.items.front()];
    std::string html = "<details class=\"group\"" + std::string(index < 3 ? " open" : "") + "><summary><b>" +
                       Escape(kept.title.empty() ? "(no title)" : kept.title) + "</b>";
    if (!kept.who.empty()) html += " · " + Escape(kept.who);
    if (const std::string when = TimeText(kept.when); !when.empty()) html += " · " + when;
    html += " <span class=\"soft\">" + Count(group.items.size(), "copy", "copies") +
            "</span></summary>\n<div><p>Kept: " + Escape(Place(result.catalog, kept)) + ", " +
            Escape(group.reason) + ".</p>\n" + StayingHtml(result, group);
    if (index < kGroupsWithMatrix) {
        html += view ? MatrixHtml(result, group, *view) : "<p class=\"soft\">" + Escape(whyNone) + "</p>";
        if (group.items.size() > kItemsInMatrix)
            html += "<p>And further:</p>" + ListHtml(result, group, kItemsInMatrix);
    } else {
        html += ListHtml(result, group, 0);
    }
    return html + "</div></details>\n";
}

std::string NearHtml(const TScanResult& result) {
    if (result.nearPairs.empty()) return {};
    std::string html = "<h2>Kept apart by one property</h2>\n<ul class=\"near\">\n";
    for (const TNearPair& pair : result.nearPairs) {
        html += "<li><b>" + Escape(result.items[pair.a].title) +
                "</b>: " + Escape(Place(result.catalog, result.items[pair.a])) + " and " +
                Escape(Place(result.catalog, result.items[pair.b])) + " differ in <b>" +
                Escape(pair.property) + "</b></li>\n";
    }
    return html + "</ul>\n";
}

std::string ResemblingHtml(const TSimilarResult* similar) {
    if (!similar || similar->clusters.empty()) return {};
    std::string html = "<h2>Contacts that resemble one another</h2>\n<ul class=\"near\">\n";
    for (const TCluster& cluster : similar->clusters) {
        html += "<li>By <b>" + Escape(similar->reasons[cluster.reason].fields) + "</b>:";
        for (const uint32_t contact : cluster.contacts) {
            html += (contact == cluster.contacts.front() ? " " : ", ") + Escape(NameOf(*similar, contact)) +
                    " <span class=\"soft\">" + Escape(Place(similar->catalog, similar->contacts[contact])) +
                    "</span>";
        }
        html += "</li>\n";
    }
    return html + "</ul>\n";
}

std::string UnreadableHtml(const TScanResult& result) {
    std::string html;
    for (const TKindScan& scan : result.scans) {
        for (const size_t item : scan.unreadable)
            html += "<li>" + Escape(Place(result.catalog, result.items[item])) + "</li>\n";
    }
    return html.empty() ? html : "<h2>Could not be read</h2>\n<ul>\n" + html + "</ul>\n";
}

// What a reader without scripts sees, a section a kind.
class CSections {
  public:
    explicit CSections(const TScanResult& result) : m_result(result), m_groups(result.scans.size()) {}

    void Add(size_t group, const std::optional<TMatrixView>& view, const std::string& whyNone) {
        m_groups[m_result.groups[group].scan] += GroupHtml(m_result, group, view, whyNone);
    }

    std::string Html() const {
        std::string html;
        for (size_t i = 0; i < m_groups.size(); ++i) {
            const TKindScan& scan = m_result.scans[i];
            html += "<h2>" + KindHtml(scan) + "</h2>\n<p class=\"soft\">" + Escape(scan.definitions.about) +
                    "</p>\n" + (m_groups[i].empty() ? "<p>No duplicates.</p>\n" : m_groups[i]);
        }
        return html;
    }

    /// What is no duplicate, and is said with scripts and without.
    std::string TakenForNone() const {
        std::string html;
        for (const TKindScan& scan : m_result.scans) {
            if (const size_t count = scan.sentAndReceived.size(); count != 0) {
                html += "<p class=\"soft\">" + Count(count, "mail", "mails") +
                        " both sent and received, taken for no duplicates.</p>\n";
            }
            if (const size_t count = scan.unidentified.size(); count != 0) {
                html += "<p class=\"soft\">" + KindHtml(scan) + ": " + Count(count, "item", "items") +
                        " without any value that identifies them, taken for no duplicates.</p>\n";
            }
        }
        return html;
    }

  private:
    static std::string KindHtml(const TKindScan& scan) {
        const std::string kind = KindName(scan.kind);
        return std::string(1, static_cast<char>(kind[0] - 'a' + 'A')) + kind.substr(1) + " items";
    }

    const TScanResult& m_result;
    std::vector<std::string> m_groups;
};

void AddClusters(CItemReader& reader, const TSimilarResult& similar, CPageData& data, CProgress& progress) {
    const TDefinitions definitions = LoadDefinitions(BuiltInDefinitions(EKind::Contact));
    for (size_t i = 0; i < similar.clusters.size(); ++i) {
        progress("clusters written", i, similar.clusters.size());
        StopIfInterrupted();
        const TCluster& cluster = similar.clusters[i];
        // The fullest is proposed to stay.
        std::vector<uint32_t> contacts = cluster.contacts;
        const auto fullest = std::ranges::find(contacts, MostFilled(similar, cluster));
        if (fullest != contacts.end()) std::rotate(contacts.begin(), fullest, fullest + 1);
        std::vector<TItem> items;
        for (size_t j = 0; j < std::min(contacts.size(), kItemsWithValues); ++j)
            items.push_back(similar.contacts[contacts[j]]);
        std::optional<TMatrixView> view;
        try {
            view = BuildMatrix(reader.session(), similar.catalog, items, definitions, kValueLimit,
                               EMatrixItems::Resembling);
            AddOrigins(*view, reader, items, definitions, false);
        } catch (const TFailure&) {
            view.reset();
        }
        data.AddResembling(similar, contacts, similar.reasons[cluster.reason].fields,
                           view ? &*view : nullptr);
    }
}

std::string ScriptElement(const char* type, const char* id, std::string_view text) {
    return std::string("<script type=\"") + type + "\" id=\"" + id + "\">" + std::string(text) +
           "</script>\n";
}

}  // namespace

std::string HtmlReport(IMAPISession* session, const TScanResult& result, const TSimilarResult* similar,
                       CProgress& progress) {
    const TBookkeeping bookkeeping = LoadBookkeeping();
    CItemReader reader(session, result.catalog, bookkeeping);
    CPageData data(reader, result);
    CSections sections(result);
    std::string why;
    for (size_t i = 0; i < result.groups.size(); ++i) {
        progress("groups written", i, result.groups.size());
        StopIfInterrupted();
        const TGroup& group = result.groups[i];
        const bool hasLosses =
            std::ranges::any_of(group.fates, [](const TCopyFate& fate) { return !fate.losses.empty(); });
        const auto view =
            ViewOf(reader, result, group.scan, group.items, EMatrixItems::Duplicates, hasLosses, &why);
        sections.Add(i, view, why);
        data.AddGroup(group, view ? &*view : nullptr);
    }
    for (size_t i = 0; i < result.nearPairs.size(); ++i) {
        progress("near pairs written", i, result.nearPairs.size());
        StopIfInterrupted();
        const TNearPair& pair = result.nearPairs[i];
        const auto view = ViewOf(reader, result, pair.scan, {pair.a, pair.b}, EMatrixItems::Any, true, &why);
        data.AddNear(pair, view ? &*view : nullptr);
    }
    if (similar) AddClusters(reader, *similar, data, progress);
    return HtmlHead("quorvel", "Duplicates", kPageScriptHash) + Summary(result) +
           "<main id=\"list\">\n<noscript>" + sections.Html() + NearHtml(result) + ResemblingHtml(similar) +
           "</noscript></main>\n" + sections.TakenForNone() + UnreadableHtml(result) +
           ScriptElement("application/json", "data", data.Data()) +
           ScriptElement("text/plain", "values", data.Values()) + "<script>" + std::string(kPageScript) +
           "</script>\n</body>\n</html>\n";
}

}  // namespace host
