#include "host/page_data.h"

#include <algorithm>

#include "host/digest.h"
#include "host/losses.h"
#include "host/merge_plan.h"
#include "host/text.h"

namespace host {

namespace {

using json = nlohmann::ordered_json;

// Nothing of it ends a script element, or begins a comment in one.
std::string Inlined(const json& value) {
    const std::string plain = EscapeActing(value.dump(-1, ' ', false, json::error_handler_t::replace));
    std::string text;
    text.reserve(plain.size());
    for (const char c : plain) {
        if (c == '<') {
            text += "\\u003c";
        } else {
            text += c;
        }
    }
    return text;
}

// "2024-03-04T09:00:00" where the rest is zero, which the script adds again.
std::string ShortTime(const std::string& time) {
    static constexpr std::string_view kRest = ".0000000Z";
    return time.ends_with(kRest) ? time.substr(0, time.size() - kRest.size()) : time;
}

// Of each property of which any item has a value: its name, whether the values differ (with the items that the merged
// value comes from, and those whose own is left, unless it is the first item's alone), and the values; a number stands
// for the value of an earlier item.
json RowsJson(const TMatrixView& view, const auto& numberOf) {
    json rows = json::array();
    for (const TMatrixRow& row : view.rows) {
        if (row.verdict == EVerdict::AllEmpty) continue;
        json one = json::array({numberOf(row.property), row.verdict == EVerdict::Equal ? 0 : 1});
        if (row.from != std::vector<size_t>{0} || !row.left.empty()) one[1] = {one[1], row.from, row.left};
        for (auto text = row.texts.begin(); text != row.texts.end(); ++text) {
            const auto same = std::find(row.texts.begin(), text, *text);
            if (same == text) {
                one.push_back(Visible(*text));
            } else {
                one.push_back(same - row.texts.begin());
            }
        }
        rows.push_back(std::move(one));
    }
    return rows;
}

std::string CommonStart(const std::string& a, const std::string& b) {
    const auto end = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first;
    return {a.begin(), end};
}

}  // namespace

CPageData::CPageData(CItemReader& reader, const TScanResult& result) : m_reader(reader), m_result(result) {
    for (size_t i = 0; i < result.catalog.folders.size(); ++i) {
        const TFolder& folder = result.catalog.folders[i];
        const std::string& storeId = result.catalog.stores[folder.store].entryId;
        m_folderNumbers.emplace(std::pair{storeId, folder.entryId}, i);
        m_folders.push_back({OneLine(folder.path), storeId, folder.entryId, result.policy.isProtected[i]});
    }
}

size_t CPageData::TextOf(const std::string& text) {
    const auto [known, isNew] = m_textNumbers.emplace(Visible(text), m_texts.size());
    if (isNew) m_texts.push_back(known->first);
    return known->second;
}

size_t CPageData::FolderOf(const TCatalog& catalog, size_t index) {
    const TFolder& folder = catalog.folders[index];
    const std::string& storeId = catalog.stores[folder.store].entryId;
    const auto [known, isNew] = m_folderNumbers.emplace(std::pair{storeId, folder.entryId}, m_folders.size());
    if (isNew) m_folders.push_back({OneLine(folder.path), storeId, folder.entryId, false});
    return known->second;
}

// The line that makes items equal which differ in this alone, and what else has to be changed for it.
size_t CPageData::ApartOf(const TNearPair& pair) {
    const auto [known, isNew] = m_apartNumbers.emplace(std::pair{pair.scan, pair.left}, m_apart.size());
    if (!isNew) return known->second;
    const TDefinitions& definitions = m_result.scans[pair.scan].definitions;
    if (pair.left == kNoProperty) {
        m_apart.emplace_back("\"attachments\": false", std::string());
        return known->second;
    }
    json line = json::parse(DefinitionsText(definitions)).at("properties").at(pair.left);
    line["compare"] = false;
    const bool hasRule = WithoutProperty(definitions, pair.left).exceptions != definitions.exceptions;
    m_apart.emplace_back(line.dump(-1, ' ', false, json::error_handler_t::replace),
                         hasRule ? "and without \"cleContFirstLast\" among the \"exceptions\"" : "");
    return known->second;
}

CPageData::TPageItem CPageData::ItemOf(const TCatalog& catalog, const TItem& item, std::string values) {
    TPageItem one;
    const TFolder& folder = catalog.folders[item.folder];
    one.folder = FolderOf(catalog, item.folder);
    one.number = item.number;
    one.size = item.size;
    one.when = TimeText(item.when);
    one.planned.folder = OneLine(Place(catalog, item));
    one.planned.title = OneLine(item.title);
    one.planned.modified = IsoTime(item.modified);
    one.planned.entryId = item.entryId;
    one.planned.folderId = folder.entryId;
    one.planned.storeId = catalog.stores[folder.store].entryId;
    one.planned.values = std::move(values);
    if (m_folders[one.folder].isProtected) one.planned.fate = EFate::Protected;
    const size_t name = item.sourcePath.rfind('/') + 1;
    one.sourceFolder = item.sourcePath.substr(0, name);
    one.sourceName = OneLine(item.sourcePath.substr(name));
    one.sourcePlace = item.sourcePlace;
    return one;
}

void CPageData::Add(TEntry entry, const std::vector<std::vector<TLoss>>& losses, const TMatrixView* view) {
    TFoundGroup group{entry.found, m_result.scans[entry.definitions].kind, {}, ConflictsOf(losses)};
    for (const TPageItem& item : entry.items) group.items.push_back(item.planned);
    entry.check = CheckOf(group);
    json values = json::object();
    if (view) values["r"] = RowsJson(*view, [&](const std::string& name) { return TextOf(name); });
    for (size_t i = 0; i < losses.size(); ++i) {
        for (const TLoss& loss : losses[i]) {
            const size_t name = TextOf(loss.property);
            values["l"].push_back({i, name, Visible(loss.value), Visible(loss.kept), MergeText(loss)});
            std::vector<size_t>& names = entry.items[i].losses;
            if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
        }
    }
    for (const TConflict& conflict : group.conflicts) {
        json one{conflict.id, TextOf(conflict.property), conflict.isReplaceable ? 1 : 0, json::array()};
        for (const TConflict::TValue& value : conflict.values) {
            one.back().push_back({value.copy, value.text});
            if (value.isBrought) one.back().back().push_back(1);
        }
        values["c"].push_back(std::move(one));
    }
    entry.hasConflicts = !group.conflicts.empty();
    m_values += Inlined(values) + "\n";
    m_entries.push_back(std::move(entry));
}

void CPageData::AddGroup(const TGroup& group, const TMatrixView* view) {
    TEntry entry;
    entry.definitions = group.scan;
    entry.why = TextOf(group.reason);
    entry.who = OneLine(m_result.items[group.items.front()].who);
    std::vector<std::vector<TLoss>> losses;
    for (size_t i = 0; i < group.items.size(); ++i) {
        entry.items.push_back(
            ItemOf(m_result.catalog, m_result.items[group.items[i]], group.fates[i].values));
        entry.items.back().fate = group.fates[i].fate;
        losses.push_back(group.fates[i].losses);
    }
    Add(std::move(entry), losses, view);
}

void CPageData::AddNear(const TNearPair& pair, const TMatrixView* view) {
    TEntry entry;
    entry.found = EFound::Near;
    entry.definitions = pair.scan;
    entry.why = TextOf(pair.property);
    entry.apart = ApartOf(pair);
    const TItem& a = m_result.items[pair.a];
    const TItem& b = m_result.items[pair.b];
    entry.who = OneLine(a.who);
    for (const TItem* item : {&a, &b})
        entry.items.push_back(ItemOf(m_result.catalog, *item, DigestOfWhole(m_reader, *item)));
    std::vector<std::vector<TLoss>> losses(2);
    const std::optional<TItemValues> kept = m_reader.Read(a);
    const std::optional<TItemValues> values = m_reader.Read(b);
    if (kept && values) {
        const TDefinitions& definitions = m_result.scans[pair.scan].definitions;
        losses[1] = LossesOfUnlike(m_reader, definitions, a, *kept, b, *values);
        PlanMergeOfTwo(m_reader, definitions, a, *kept, b, *values, losses[1]);
    }
    Add(std::move(entry), losses, view);
}

void CPageData::AddResembling(const TSimilarResult& similar, const std::vector<uint32_t>& contacts,
                              const std::string& why, const TMatrixView* view) {
    const auto scan = std::ranges::find(m_result.scans, EKind::Contact, &TKindScan::kind);
    if (scan == m_result.scans.end()) return;
    TEntry entry;
    entry.found = EFound::Resembling;
    entry.definitions = static_cast<size_t>(scan - m_result.scans.begin());
    entry.why = TextOf(why);
    const TItem& first = similar.contacts[contacts.front()];
    entry.who = OneLine(first.who);
    std::vector<std::vector<TLoss>> losses;
    const std::optional<TItemValues> kept = m_reader.Read(first);
    for (const uint32_t contact : contacts) {
        const TItem& item = similar.contacts[contact];
        entry.items.push_back(ItemOf(similar.catalog, item, DigestOfWhole(m_reader, item)));
        const std::optional<TItemValues> values = m_reader.Read(item);
        losses.push_back(&item == &first || !kept || !values
                             ? std::vector<TLoss>()
                             : LossesOfUnlike(m_reader, scan->definitions, first, *kept, item, *values));
        if (!losses.back().empty())
            PlanMergeOfTwo(m_reader, scan->definitions, first, *kept, item, *values, losses.back());
    }
    Add(std::move(entry), losses, view);
}

std::string CPageData::Data() const {
    TPlan head;
    head.allowLoss = m_result.policyOptions.allowLoss;
    head.sentCopies = m_result.policyOptions.sentCopies;
    std::vector<std::string> found;
    std::vector<std::string> prefixes(m_folders.size());
    std::vector<bool> hasPrefix(m_folders.size());
    std::map<std::string, size_t> sources;
    for (const TKindScan& scan : m_result.scans) head.definitions.push_back(scan.definitions);
    for (const TEntry& entry : m_entries) {
        if (entry.found == EFound::Duplicates) found.push_back(entry.check);
        for (const TPageItem& item : entry.items) {
            const std::string& id = item.planned.entryId;
            prefixes[item.folder] = hasPrefix[item.folder] ? CommonStart(prefixes[item.folder], id) : id;
            hasPrefix[item.folder] = true;
            sources.emplace(item.sourceFolder, sources.size());
        }
    }
    const std::string scan = CheckOfScan(head, found);
    json data{{"scan", scan},
              {"policy", {{"allowLoss", head.allowLoss}, {"sentCopies", head.sentCopies}}},
              {"definitions", json::array()},
              {"stores", json::array()},
              {"folders", json::array()},
              {"sources", json::array()},
              {"texts", m_texts},
              {"apart", m_apart},
              {"groups", json::array()}};
    for (const TDefinitions& definitions : head.definitions)
        data["definitions"].push_back(json::parse(DefinitionsText(definitions)));
    std::map<std::string, size_t> stores;
    for (const TPageFolder& folder : m_folders) {
        const auto [store, isNew] = stores.emplace(folder.storeId, stores.size());
        if (isNew) data["stores"].push_back(folder.storeId);
        const size_t index = static_cast<size_t>(&folder - m_folders.data());
        data["folders"].push_back(
            {folder.path, store->second, folder.folderId, prefixes[index], folder.isProtected ? 1 : 0});
    }
    std::vector<std::string> folders(sources.size());
    for (const auto& [folder, number] : sources) folders[number] = OneLine(folder);
    data["sources"] = folders;
    for (const TEntry& entry : m_entries) {
        json items = json::array();
        const TPageItem& first = entry.items.front();
        for (const TPageItem& item : entry.items) {
            json more = json::object();
            if (&item == &first || item.planned.title != first.planned.title) more["t"] = item.planned.title;
            if (&item == &first || item.when != first.when) more["w"] = item.when;
            if (!item.sourceName.empty())
                more["s"] = {sources.at(item.sourceFolder), item.sourceName, item.sourcePlace};
            if (!item.losses.empty()) more["l"] = item.losses;
            if (&item == &first && entry.hasConflicts) more["c"] = 1;
            json one{item.folder,
                     item.number,
                     item.planned.entryId.substr(prefixes[item.folder].size()),
                     ShortTime(item.planned.modified),
                     item.planned.values,
                     item.size,
                     static_cast<int>(item.fate)};
            if (!more.empty()) one.push_back(std::move(more));
            items.push_back(std::move(one));
        }
        data["groups"].push_back({static_cast<int>(entry.found), entry.definitions, entry.why,
                                  CheckWithin(scan, entry.check), entry.who, std::move(items)});
        if (entry.found == EFound::Near) data["groups"].back().push_back(entry.apart);
    }
    return Inlined(data);
}

}  // namespace host
