#include <algorithm>
#include <map>

#include "host/matrix_view.h"
#include "host/reports.h"
#include "host/text.h"

namespace host {

namespace {

// A report stays readable, and is made in reasonable time, however much was found.
constexpr size_t kGroupsWithMatrix = 500;
constexpr size_t kItemsInMatrix = 8;
constexpr size_t kValueLimit = 4000;
constexpr size_t kFoldFrom = 160;

constexpr char kHead[] = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="generator" content="quorvel">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; img-src data:">
<link rel="icon" href="data:,">
<title>Duplicates</title>
<style>
:root { color-scheme: light dark; --ink: #1d2329; --soft: #5b6570; --paper: #ffffff; --panel: #f4f6f8; --line: #d5dbe1;
  --keep: #1f7a4d; --dup: #b3541e; --mark: #fff0c2; --focus: #1a5fb4; }
@media (prefers-color-scheme: dark) { :root { --ink: #e4e8ec; --soft: #9aa5b1; --paper: #15191d; --panel: #1f252b;
  --line: #36404a; --keep: #5cc795; --dup: #f0a06a; --mark: #4a3f14; --focus: #78aeed; } }
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 76rem; padding: 1.2rem; background: var(--paper); color: var(--ink);
  font: 16px/1.5 system-ui, "Segoe UI", sans-serif; }
h1 { font-size: 1.6rem; margin: 0 0 .3rem; } h2 { font-size: 1.2rem; margin: 2rem 0 .6rem; }
p { margin: .3rem 0; } .soft { color: var(--soft); }
:focus-visible { outline: 3px solid var(--focus); outline-offset: 2px; }
.bars { display: grid; grid-template-columns: minmax(8rem, 22rem) 1fr auto; gap: .3rem .8rem; align-items: center; }
.bars .row { display: contents; } .bars .name { overflow-wrap: anywhere; min-width: 0; }
.bar { display: flex; height: .9rem; background: var(--panel); border: 1px solid var(--line); border-radius: .2rem; overflow: hidden; }
.bar span { display: block; } .bar .kept { background: var(--keep); } .bar .dup { background: var(--dup); }
.count { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
.legend i { display: inline-block; width: .8rem; height: .8rem; border-radius: .15rem; margin: 0 .3rem 0 .8rem; }
details.group { border: 1px solid var(--line); border-radius: .4rem; margin: .5rem 0; background: var(--panel); }
details.group > summary { padding: .5rem .8rem; cursor: pointer; overflow-wrap: anywhere; }
details.group > div { padding: 0 .8rem .8rem; overflow-x: auto; }
summary b { font-weight: 600; }
table { border-collapse: collapse; width: 100%; background: var(--paper); font-size: .92rem; }
th, td { border: 1px solid var(--line); padding: .3rem .5rem; text-align: left; vertical-align: top; overflow-wrap: anywhere;
  min-width: 9rem; white-space: pre-wrap; }
th[scope=row] { min-width: 7rem; font-weight: 500; } tr.differs td { background: var(--mark); }
.role { display: block; font-weight: 600; } .keep { color: var(--keep); } .duplicate { color: var(--dup); }
.near li { margin: .3rem 0; overflow-wrap: anywhere; }
.losses { margin: .4rem 0; padding-left: 1.2rem; overflow-wrap: anywhere; }
@media (max-width: 40rem) { body { padding: .7rem; } .bars { display: block; }
  .bars .row { display: grid; grid-template-columns: 1fr auto; gap: .1rem .6rem; margin: .5rem 0; align-items: end; }
  .bars .bar { grid-row: 2; grid-column: 1 / -1; } th, td { min-width: 7rem; } }
@media print { body { max-width: none; } details::details-content { content-visibility: visible; block-size: auto; }
  details.group > div { overflow: visible; } th, td { min-width: 0; } tr { break-inside: avoid; } }
</style>
</head>
<body>
)";

std::string Escape(std::string_view text) {
    std::string html;
    for (const char c : Visible(text)) {
        switch (c) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            case '\'':
                html += "&#39;";
                break;
            case '\0':
                break;
            default:
                html += c;
        }
    }
    return html;
}

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

std::string Cell(const std::string& text) {
    if (Width(text) < kFoldFrom) return Escape(text);
    return "<details><summary>" + Escape(OneLine(Fit(text, kFoldFrom / 2))) + "</summary>" + Escape(text) +
           "</details>";
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
    std::string html = kHead + Summary(result) + "<main>\n";
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
