#include "host/report_json.h"

#include <nlohmann/json.hpp>

#include "host/text.h"

namespace host {

namespace {

using json = nlohmann::ordered_json;

json ItemJson(const TScanResult& result, size_t index) {
    const TItem& item = result.items[index];
    const TFolder& folder = result.catalog.folders[item.folder];
    json object;
    object["folder"] = folder.path;
    object["role"] = RoleName(folder.role);
    object["number"] = item.number;
    if (!item.sourcePath.empty()) {
        object["sourcePath"] = item.sourcePath;
        if (item.sourcePlace != 0) object["sourcePlace"] = item.sourcePlace;
    }
    object["title"] = item.title;
    object["who"] = item.who;
    object["when"] = IsoTime(item.when);
    object["size"] = item.size;
    object["modified"] = IsoTime(item.modified);
    object["entryId"] = item.entryId;
    object["folderId"] = folder.entryId;
    object["storeId"] = result.catalog.stores[folder.store].entryId;
    return object;
}

json LossJson(const TLoss& loss) {
    json object{
        {"property", loss.property},      {"value", loss.value},         {"kept", loss.kept}, {"id", loss.id},
        {"merge", MergeName(loss.merge)}, {"mergeText", MergeText(loss)}};
    if (loss.merge != EMerge::Conflict) return object;
    object["choices"] = {ChoiceName(EChoice::Kept)};
    if (loss.isReplaceable) object["choices"].push_back(ChoiceName(EChoice::Duplicate));
    return object;
}

json DuplicateJson(const TScanResult& result, const TGroup& group, size_t index) {
    const TCopyFate& fate = group.fates[index];
    json object = ItemJson(result, group.items[index]);
    object["move"] = fate.fate == EFate::Move;
    object["fate"] = FateName(fate.fate);
    object["why"] = WhyItStays(fate.fate, fate.losses);
    object["losses"] = json::array();
    for (const TLoss& loss : fate.losses) {
        object["losses"].push_back(LossJson(loss));
    }
    return object;
}

json PolicyJson(const TPolicyOptions& options) {
    json object;
    object["prefer"] = options.prefer;
    object["protect"] = options.protect;
    object["skip"] = options.skip;
    object["allowLoss"] = options.allowLoss;
    object["sentCopies"] = options.sentCopies;
    return object;
}

json ScanJson(const TScanResult& result, const TKindScan& scan) {
    json object;
    object["kind"] = KindName(scan.kind);
    object["algorithm"] = scan.definitions.algorithm == saIdentical ? "identical" : "similar";
    object["keep"] = KeepText(scan.keep);
    object["properties"] = json::array();
    for (const TPropertyChoice& choice : scan.definitions.properties) {
        if (choice.compare) object["properties"].push_back(choice.property->key);
    }
    object["definitions"] = json::parse(DefinitionsText(scan.definitions));
    object["folders"] = json::array();
    for (const size_t folder : scan.folders) object["folders"].push_back(result.catalog.folders[folder].path);
    object["items"] = scan.items.size();
    object["unreadable"] = json::array();
    for (const size_t item : scan.unreadable) object["unreadable"].push_back(ItemJson(result, item));
    object["unidentified"] = json::array();
    for (const size_t item : scan.unidentified) object["unidentified"].push_back(ItemJson(result, item));
    object["sentAndReceived"] = json::array();
    for (const std::vector<size_t>& mails : scan.sentAndReceived) {
        object["sentAndReceived"].push_back(json::array());
        for (const size_t item : mails) object["sentAndReceived"].back().push_back(ItemJson(result, item));
    }
    return object;
}

}  // namespace

std::string JsonReport(const TScanResult& result) {
    json report;
    report["format"] = "quorvel-report";
    report["version"] = 2;
    report["policy"] = PolicyJson(result.policyOptions);
    report["scans"] = json::array();
    for (const TKindScan& scan : result.scans) report["scans"].push_back(ScanJson(result, scan));
    report["groups"] = json::array();
    for (const TGroup& group : result.groups) {
        json object;
        object["kind"] = KindName(result.scans[group.scan].kind);
        object["reason"] = group.reason;
        object["keep"] = ItemJson(result, group.items[0]);
        object["duplicates"] = json::array();
        for (size_t i = 1; i < group.items.size(); ++i) {
            object["duplicates"].push_back(DuplicateJson(result, group, i));
        }
        report["groups"].push_back(std::move(object));
    }
    report["near"] = json::array();
    for (const TNearPair& pair : result.nearPairs) {
        json object;
        object["kind"] = KindName(result.scans[pair.scan].kind);
        object["property"] = pair.property;
        object["a"] = ItemJson(result, pair.a);
        object["b"] = ItemJson(result, pair.b);
        report["near"].push_back(std::move(object));
    }
    report["summary"] = {{"items", result.items.size()},      {"groups", result.groups.size()},
                         {"duplicates", result.Duplicates()}, {"staying", result.Staying()},
                         {"bytes", result.DuplicateBytes()},  {"seconds", result.seconds}};
    // Lone surrogates of a mailbox's text are replaced: a report always is valid UTF-8.
    return EscapeActing(report.dump(1, ' ', false, json::error_handler_t::replace)) + "\n";
}

}  // namespace host
