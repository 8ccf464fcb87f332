#include "host/items.h"

#include "host/text.h"

namespace host {

namespace {

bool IsNumber(const std::string& text) {
    return !text.empty() && text.size() < 9 && text.find_first_not_of("0123456789") == std::string::npos;
}

Item FindByNumber(IMAPISession* session, const Catalog& catalog, const std::string& name, size_t hash) {
    const std::vector<size_t> folders = FindFolders(catalog, name.substr(0, hash));
    if (folders.size() > 1) {
        throw Failure("\"" + name + "\" is an item of several folders: " + catalog.folders[folders[0]].path +
                      ", " + catalog.folders[folders[1]].path + ".");
    }
    std::vector<Item> items;
    ReadItems(session, catalog, folders[0], items);
    const unsigned long number = std::stoul(name.substr(hash + 1));
    for (const Item& item : items) {
        if (item.number == number) return item;
    }
    throw Failure("The folder " + catalog.folders[folders[0]].path + " has " +
                  Count(items.size(), "item", "items") + ", no number " + std::to_string(number) + ".");
}

Item FindByEntryId(IMAPISession* session, const Catalog& catalog, const std::string& entryId) {
    for (size_t folder = 0; folder < catalog.folders.size(); ++folder) {
        std::vector<Item> items;
        ReadItems(session, catalog, folder, items);
        for (const Item& item : items) {
            if (EqualNoCase(item.entryId, entryId)) return item;
        }
    }
    throw Failure("There is no item \"" + entryId +
                  "\": name it \"Folder#number\" or by its entry identifier.");
}

}  // namespace

std::vector<Item> FindItems(IMAPISession* session, const Catalog& catalog,
                            const std::vector<std::string>& names) {
    std::vector<Item> items;
    for (const std::string& name : names) {
        const size_t hash = name.rfind('#');
        const bool isNumbered = hash != std::string::npos && IsNumber(name.substr(hash + 1));
        items.push_back(isNumbered ? FindByNumber(session, catalog, name, hash)
                                   : FindByEntryId(session, catalog, name));
    }
    return items;
}

}  // namespace host
