#include "host/items.h"

#include "host/text.h"

namespace host {

namespace {

bool IsNumber(const std::string& text) {
    return !text.empty() && text.size() < 9 && text.find_first_not_of("0123456789") == std::string::npos;
}

TItem FindByNumber(IMAPISession* session, const TCatalog& catalog, const std::string& name, size_t hash) {
    const std::vector<size_t> folders = FindFolders(catalog, name.substr(0, hash));
    if (folders.size() > 1) {
        throw TFailure("\"" + name + "\" is an item of several folders: " + catalog.folders[folders[0]].path +
                       ", " + catalog.folders[folders[1]].path + ".");
    }
    std::vector<TItem> items;
    ReadItems(session, catalog, folders[0], items);
    const unsigned long number = std::stoul(name.substr(hash + 1));
    for (const TItem& item : items) {
        if (item.number == number) return item;
    }
    throw TFailure("The folder " + catalog.folders[folders[0]].path + " has " +
                   Count(items.size(), "item", "items") + ", no number " + std::to_string(number) + ".");
}

TItem FindByEntryId(IMAPISession* session, const TCatalog& catalog, const std::string& entryId) {
    for (size_t folder = 0; folder < catalog.folders.size(); ++folder) {
        std::vector<TItem> items;
        ReadItems(session, catalog, folder, items);
        for (const TItem& item : items) {
            if (EqualNoCase(item.entryId, entryId)) return item;
        }
    }
    throw TFailure("There is no item \"" + entryId +
                   "\": name it \"Folder#number\" or by its entry identifier.");
}

}  // namespace

std::vector<TItem> FindItems(IMAPISession* session, const TCatalog& catalog,
                             const std::vector<std::string>& names) {
    std::vector<TItem> items;
    for (const std::string& name : names) {
        const size_t hash = name.rfind('#');
        const bool isNumbered = hash != std::string::npos && IsNumber(name.substr(hash + 1));
        items.push_back(isNumbered ? FindByNumber(session, catalog, name, hash)
                                   : FindByEntryId(session, catalog, name));
    }
    return items;
}

}  // namespace host
