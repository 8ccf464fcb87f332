#include <algorithm>
#include <map>

#include "host/html.h"
#include "host/matrix_view.h"
#include "host/reports.h"
#include "host/text.h"

namespace host {

namespace {

// A report stays readable, and is made in reasonable time, however much was found.
constexpr size_t kGroupsWithMatrix = 500;
constexpr size_t kItemsInMatrix = 8;
constexpr size_t kValueLimit = 4000;

std::string Percent(size_t part, size_t whole) {
    return std::to_string(whole == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole)) +
           "%";
}

std::string Summary(const ScanResult& result) {
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
    for (const Item& item : result.items) ++items[item.folder];
    for (const Group& group : result.groups) {
        for (size_t i = 1; i < group.items.size(); ++i) ++duplicates[result.items[group.items[i]].folder];
    }
    html +=
        "<h2 id=\"folders\">Folders</h2>\n<p class=\"legend soft\"><i "
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
    return html + "</div>\n";
}

// The item's place, and the file that it was made from.
std::string WhereHtml(const ScanResult& result, size_t item) {
    const std::string source = SourceText(result.items[item]);
    return Escape(Place(result.catalog, result.items[item])) +
           (source.empty() ? "" : "<br><span class=\"soft\">" + Escape(source) + "</span>");
}

std::string ColumnHead(const ScanResult& result, size_t item, bool isKept) {
    return std::string("<th scope=\"col\"><span class=\"role ") +
           (isKept ? "keep\">keep" : "duplicate\">duplicate") + "</span>" + WhereHtml(result, item) + "</th>";
}

std::string MatrixHtml(IMAPISession* session, const ScanResult& result, const Group& group) {
    const size_t shown = std::min(group.items.size(), kItemsInMatrix);
    std::vector<Item> items;
    for (size_t i = 0; i < shown; ++i) items.push_back(result.items[group.items[i]]);
    MatrixView view;
    try {
        view = BuildMatrix(session, result.catalog, items, result.scans[group.scan].definitions, kValueLimit,
                           EMatrixItems::Duplicates);
    } catch (const Failure& failure) {
        return "<p class=\"soft\">" + Escape(failure.what()) + "</p>";
    }
    std::string html = "<table><thead><tr><th scope=\"col\">Property</th>";
    for (size_t i = 0; i < shown; ++i) html += ColumnHead(result, group.items[i], i == 0);
    html += "</tr></thead><tbody>\n";
    for (const MatrixRow& row : view.rows) {
        const bool differs = row.verdict == Verdict::Different || row.verdict == Verdict::OneSided;
        html += std::string("<tr") + (differs ? " class=\"differs\"" : "") + "><th scope=\"row\">" +
                Escape(row.property) + (differs ? "<span class=\"soft\"> (differs)</span>" : "") + "</th>";
        for (const std::string& text : row.texts) html += "<td>" + Cell(text) + "</td>";
        html += "</tr>\n";
    }
    return html + "</tbody></table>";
}

// The duplicates that are not moved, with what would be lost.
std::string StayingHtml(const ScanResult& result, const Group& group) {
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
                    "</b>; the kept copy has " + (loss.kept.empty() ? "none" : Escape(loss.kept)) + "</li>";
        }
        html += "</ul>\n";
    }
    return html;
}

std::string ListHtml(const ScanResult& result, const Group& group, size_t first) {
    std::string html = "<ul>";
    for (size_t i = first; i < group.items.size(); ++i) {
        html += std::string("<li><span class=\"") + (i == 0 ? "keep\">keep" : "duplicate\">duplicate") +
                "</span> " + WhereHtml(result, group.items[i]) + "</li>";
    }
    return html + "</ul>";
}

std::string GroupHtml(IMAPISession* session, const ScanResult& result, size_t index) {
    const Group& group = result.groups[index];
    const Item& kept = result.items[group.items.front()];
    std::string html = "<details class=\"group\"" + std::string(index < 3 ? " open" : "") + "><summary><b>" +
                       Escape(kept.title.empty() ? "(no title)" : kept.title) + "</b>";
    if (!kept.who.empty()) html += " · " + Escape(kept.who);
    if (const std::string when = TimeText(kept.when); !when.empty()) html += " · " + when;
    html += " <span class=\"soft\">" + Count(group.items.size(), "copy", "copies") +
            "</span></summary>\n<div><p>Kept: " + Escape(Place(result.catalog, kept)) + ", " +
            Escape(group.reason) + ".</p>\n" + StayingHtml(result, group);
    if (index < kGroupsWithMatrix) {
        html += MatrixHtml(session, result, group);
        if (group.items.size() > kItemsInMatrix)
            html += "<p>And further:</p>" + ListHtml(result, group, kItemsInMatrix);
    } else {
        html += ListHtml(result, group, 0);
    }
    return html + "</div></details>\n";
}

std::string NearHtml(const ScanResult& result) {
    if (result.nearPairs.empty()) return {};
    std::string html = "<h2>Kept apart by one property</h2>\n<ul class=\"near\">\n";
    for (const NearPair& pair : result.nearPairs) {
        html += "<li><b>" + Escape(result.items[pair.a].title) +
                "</b>: " + Escape(Place(result.catalog, result.items[pair.a])) + " and " +
                Escape(Place(result.catalog, result.items[pair.b])) + " differ in <b>" +
                Escape(pair.property) + "</b></li>\n";
    }
    return html + "</ul>\n";
}

std::string UnreadableHtml(const ScanResult& result) {
    std::string html;
    for (const KindScan& scan : result.scans) {
        for (const size_t item : scan.unreadable)
            html += "<li>" + Escape(Place(result.catalog, result.items[item])) + "</li>\n";
    }
    return html.empty() ? html : "<h2>Could not be read</h2>\n<ul>\n" + html + "</ul>\n";
}

}  // namespace

std::string HtmlReport(IMAPISession* session, const ScanResult& result, Progress& progress) {
    std::string html = HtmlHead("quorvel", "Duplicates") + Summary(result) + "<main>\n";
    for (size_t scan = 0; scan < result.scans.size(); ++scan) {
        const std::string kind = KindName(result.scans[scan].kind);
        html += "<h2>" + std::string(1, static_cast<char>(kind[0] - 'a' + 'A')) + kind.substr(1) +
                " items</h2>\n<p class=\"soft\">" + Escape(result.scans[scan].definitions.about) + "</p>\n";
        bool hasGroups = false;
        for (size_t i = 0; i < result.groups.size(); ++i) {
            if (result.groups[i].scan != scan) continue;
            progress("groups written", i, result.groups.size());
            StopIfInterrupted();
            html += GroupHtml(session, result, i);
            hasGroups = true;
        }
        if (!hasGroups) html += "<p>No duplicates.</p>\n";
        if (const size_t count = result.scans[scan].sentAndReceived.size(); count != 0) {
            html += "<p class=\"soft\">" + Count(count, "mail", "mails") +
                    " both sent and received, taken for no duplicates.</p>\n";
        }
        if (const size_t count = result.scans[scan].unidentified.size(); count != 0) {
            html += "<p class=\"soft\">" + Count(count, "item", "items") +
                    " without any value that identifies them, taken for no "
                    "duplicates.</p>\n";
        }
    }
    return html + NearHtml(result) + UnreadableHtml(result) + "</main>\n</body>\n</html>\n";
}

}  // namespace host
