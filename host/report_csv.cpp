#include "host/report_csv.h"

#include <string_view>

#include "host/text.h"

namespace host {

namespace {

// A spreadsheet takes a cell that begins with one of these for a formula, and what it says is done.
constexpr std::string_view kFormulaStarts = "=+-@";
// Where a cell may begin: spreadsheets of some countries part cells at other characters than the comma.
constexpr std::string_view kCellStarts = ",;|\t\r\n\"'";

// An apostrophe in front of what would be a formula: spreadsheets take the rest for text.
std::string Cell(const std::string& text) {
    std::string cell = "\"";
    bool isStart = true;
    for (const char c : text) {
        if (isStart && kFormulaStarts.find(c) != std::string_view::npos) cell += '\'';
        isStart = kCellStarts.find(c) != std::string_view::npos || (isStart && c == ' ');
        if (c == '"') cell += '"';
        cell += c;
    }
    return cell + '"';
}

std::string Line(const std::vector<std::string>& texts) {
    std::string line;
    for (const std::string& text : texts) line += (line.empty() ? "" : ",") + Cell(text);
    return line + "\r\n";
}

}  // namespace

std::string CsvReport(const TScanResult& result) {
    // The mark tells spreadsheets that this is UTF-8.
    std::string report = "\xEF\xBB\xBF" + Line({"group", "copy", "store", "folder", "identifier", "subject",
                                                "reason", "merge"});
    for (size_t group = 0; group < result.groups.size(); ++group) {
        const TGroup& found = result.groups[group];
        for (size_t i = 0; i < found.items.size(); ++i) {
            const TItem& item = result.items[found.items[i]];
            const TFolder& folder = result.catalog.folders[item.folder];
            report += Line({std::to_string(group + 1), i == 0 ? "keep" : "duplicate",
                            result.catalog.stores[folder.store].name, folder.path, item.entryId, item.title,
                            i == 0 ? found.reason : WhyItStays(found.fates[i].fate, found.fates[i].losses),
                            MergesText(found.fates[i].losses)});
        }
    }
    return report;
}

}  // namespace host
