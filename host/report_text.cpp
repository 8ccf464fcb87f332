#include "host/report_text.h"

#include <cstdio>

#include "host/text.h"

namespace host {

namespace {

constexpr size_t kShownOfValue = 60;

std::string Number(double value, const char* format) {
    char text[32];
    snprintf(text, sizeof text, format, value);
    return text;
}

std::string Describe(const TItem& item) {
    std::string text = item.title.empty() ? "(no title)" : item.title;
    if (!item.who.empty()) text += "  ·  " + item.who;
    const std::string when = TimeText(item.when);
    if (!when.empty()) text += "  ·  " + when;
    return text;
}

std::string Shorten(const std::string& value) {
    return Width(value) <= kShownOfValue ? value : Fit(value, kShownOfValue);
}

std::string GroupText(const TScanResult& result, const TGroup& group, size_t number) {
    std::string text = "\n" + std::to_string(number) + ". " + Describe(result.items[group.items[0]]) + "\n";
    for (size_t i = 0; i < group.items.size(); ++i) {
        const TItem& item = result.items[group.items[i]];
        text += (i == 0 ? "   keep       " : "   duplicate  ") + Place(result.catalog, item);
        text += "  (" + SizeText(item.size) + ")";
        const TCopyFate& fate = group.fates[i];
        if (i == 0) text += "  " + group.reason;
        if (const std::string why = WhyItStays(fate.fate, fate.losses); !why.empty())
            text += "  stays: it " + why;
        text += "\n";
        if (!item.sourcePath.empty()) text += "      from " + SourceText(item) + "\n";
        for (const TLoss& loss : fate.losses) {
            text += "      " + loss.property + ": " + Shorten(loss.value) +
                    (loss.kept.empty() ? "; the kept copy has none"
                                       : "; the kept copy has " + Shorten(loss.kept)) +
                    "; " + MergeText(loss) + "\n";
        }
    }
    return text;
}

std::string NearText(const TScanResult& result) {
    std::string text = "\nPairs that one property keeps apart:\n";
    for (const TNearPair& pair : result.nearPairs) {
        text += "   " + Place(result.catalog, result.items[pair.a]) + "  and  " +
                Place(result.catalog, result.items[pair.b]) + "  differ in " + pair.property + "\n";
    }
    return result.nearPairs.empty() ? "\nNo pair is kept apart by one property alone.\n" : text;
}

}  // namespace

std::string TextReport(const TScanResult& result) {
    std::string text;
    for (size_t i = 0; i < result.scans.size(); ++i) {
        const TKindScan& scan = result.scans[i];
        text += std::string(i == 0 ? "" : "\n") + KindName(scan.kind) + ": " +
                Count(scan.items.size(), "item", "items") + " in " +
                Count(scan.folders.size(), "folder", "folders") + ", " +
                (scan.definitions.algorithm == saIdentical ? "identical" : "similar") + ", keep " +
                KeepText(scan.keep) + "\n";
        size_t number = 0;
        for (const TGroup& group : result.groups) {
            if (group.scan == i) text += GroupText(result, group, ++number);
        }
        if (number == 0) text += "   no duplicates\n";
        if (!scan.unidentified.empty()) {
            text += "   " + Count(scan.unidentified.size(), "item", "items") +
                    " without any value that identifies them, taken for no duplicates\n";
        }
        if (!scan.sentAndReceived.empty()) {
            text += "   " + Count(scan.sentAndReceived.size(), "mail", "mails") +
                    " both sent and received, taken for no duplicates: --sent-copies "
                    "does\n";
        }
        for (const size_t item : scan.unreadable) {
            text += "   could not be read: " + Place(result.catalog, result.items[item]) + "\n";
        }
    }
    if (!result.nearPairs.empty()) text += NearText(result);
    if (result.Staying() != 0) {
        text += "\n" + std::to_string(result.Staying()) + " of " +
                Count(result.Duplicates(), "duplicate", "duplicates") + " would not be moved";
        const size_t merged = result.StayingUnmerged();
        text += (merged == result.Staying() ? "" : ", with --merge " + std::to_string(merged)) + "\n";
    }
    return text + "\n" + Count(result.items.size(), "item", "items") + ", " +
           Count(result.groups.size(), "group", "groups") + ", " +
           Count(result.Duplicates(), "duplicate", "duplicates") + " (" + SizeText(result.DuplicateBytes()) +
           "), " + Number(result.seconds, "%.2f") + " s\n";
}

}  // namespace host
