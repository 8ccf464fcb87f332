#include "host/similar_command.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>

#include <nlohmann/json.hpp>

#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

struct SimilarDeleter {
    using pointer = HSimilarSearch;
    void operator()(HSimilarSearch search) const { SimilarSearch_Delete(search); }
};
using SimilarSearch = std::unique_ptr<HSimilarSearch, SimilarDeleter>;

const std::string& StoreId(const Catalog& catalog, const Item& item) {
    return catalog.stores[catalog.folders[item.folder].store].entryId;
}

std::vector<size_t> ChooseContacts(const SimilarResult& result, const std::string& contact) {
    std::vector<size_t> chosen;
    std::vector<std::string> names;
    for (size_t i = 0; i < result.contacts.size(); ++i) {
        const Item& item = result.contacts[i];
        names.push_back(item.title);
        if (contact.empty() || EqualNoCase(item.title, contact) || EqualNoCase(item.entryId, contact) ||
            EqualNoCase(Place(result.catalog, item), contact)) {
            chosen.push_back(i);
        }
    }
    if (chosen.empty() && !contact.empty()) {
        throw Failure("There is no contact \"" + contact + "\"." + Suggestion(contact, names));
    }
    return chosen;
}

// One search for each store: the search reopens contacts in the store that it was created for.
SimilarSearch FillSearch(IMAPISession* session, const std::string& storeId, SimilarResult& result,
                         Progress& progress) {
    SimilarSearch search(SimilarSearch_Create(session, storeId.c_str(), 0));
    if (!search) throw Failure("The similar-contact search cannot be created.");
    std::set<std::string> identifiers;
    for (size_t i = 0; i < result.contacts.size(); ++i) {
        const Item& item = result.contacts[i];
        if (!identifiers.insert(item.entryId).second) {
            result.sameIdentifier.push_back(i);
            continue;
        }
        ComPtr<IMessage> message;
        const bool opened =
            Quorvel_OpenItem(session, item.entryId.c_str(), StoreId(result.catalog, item).c_str(),
                             message.GetAddressOf()) == S_OK;
        if (!opened || !SimilarSearch_AddToCache(search.get(), message.Get())) result.unreadable.push_back(i);
        progress("contacts read", i + 1, result.contacts.size());
        StopIfInterrupted();
    }
    return search;
}

}  // namespace

SimilarResult FindSimilar(IMAPISession* session, const std::string& contact,
                          const std::vector<std::string>& folders, Progress& progress) {
    SimilarResult result;
    result.catalog = ReadCatalog(session);
    std::vector<size_t> chosenFolders;
    for (const std::string& path : folders) {
        for (const size_t folder : FindFolders(result.catalog, path)) chosenFolders.push_back(folder);
    }
    for (size_t i = 0; i < result.catalog.folders.size(); ++i) {
        const bool isChosen = folders.empty() ||
                              std::find(chosenFolders.begin(), chosenFolders.end(), i) != chosenFolders.end();
        if (isChosen && result.catalog.folders[i].kind == Kind::Contact) {
            ReadItems(session, result.catalog, i, result.contacts);
        }
    }
    const std::vector<size_t> chosen = ChooseContacts(result, contact);
    if (chosen.empty()) return result;
    const SimilarSearch search =
        FillSearch(session, StoreId(result.catalog, result.contacts[chosen[0]]), result, progress);
    for (size_t n = 0; n < chosen.size(); ++n) {
        const size_t a = chosen[n];
        const auto unreadable = [&](size_t i) {
            return std::ranges::find(result.unreadable, i) != result.unreadable.end() ||
                   std::ranges::find(result.sameIdentifier, i) != result.sameIdentifier.end();
        };
        progress("contacts compared", n, chosen.size());
        StopIfInterrupted();
        if (unreadable(a)) continue;
        const Item& item = result.contacts[a];
        ComPtr<IMessage> message;
        unsigned filled = 0;
        if (Quorvel_OpenItem(session, item.entryId.c_str(), StoreId(result.catalog, item).c_str(),
                             message.GetAddressOf()) != S_OK ||
            !SimilarSearch_SetSearchByItem(search.get(), message.Get(), &filled)) {
            continue;
        }
        for (size_t b = contact.empty() ? a + 1 : 0; b < result.contacts.size(); ++b) {
            if (b == a || unreadable(b)) continue;
            unsigned verdict = 0;
            const wchar_t* text = nullptr;
            const wchar_t* fields = nullptr;
            if (SimilarSearch_CheckItemFastW(search.get(), result.contacts[b].entryId.c_str(), &verdict,
                                             &filled, &text, &fields) &&
                verdict != 0) {
                result.pairs.push_back(SimilarPair{a, b, verdict == 2, Narrow(text), Narrow(fields)});
            }
        }
    }
    return result;
}

std::string SimilarText(const SimilarResult& result) {
    std::string text;
    size_t last = static_cast<size_t>(-1);
    for (const SimilarPair& pair : result.pairs) {
        if (pair.a != last) {
            const Item& item = result.contacts[pair.a];
            text += (text.empty() ? "" : "\n") + (item.title.empty() ? "(no name)" : item.title) + "  " +
                    Place(result.catalog, item) + "\n";
        }
        last = pair.a;
        const Item& other = result.contacts[pair.b];
        text += std::string(pair.strict ? "   strict   " : "   similar  ") + Fit(other.title, 28) + "  " +
                Place(result.catalog, other) + "  by " + OneLine(pair.fields) + "\n";
    }
    for (const size_t item : result.unreadable) {
        text += "could not be read: " + Place(result.catalog, result.contacts[item]) + "\n";
    }
    for (const size_t item : result.sameIdentifier) {
        text += "not compared, its identifier is another contact's: " +
                Place(result.catalog, result.contacts[item]) + "\n";
    }
    const auto strict = std::count_if(result.pairs.begin(), result.pairs.end(),
                                      [](const SimilarPair& pair) { return pair.strict; });
    return text + (text.empty() ? "" : "\n") + Count(result.contacts.size(), "contact", "contacts") + ", " +
           Count(result.pairs.size(), "pair", "pairs") + " that resemble one another, " +
           std::to_string(strict) + " strictly\n";
}

std::string SimilarJson(const SimilarResult& result) {
    using json = nlohmann::ordered_json;
    const auto item = [&](size_t index) {
        const Item& contact = result.contacts[index];
        return json{{"folder", result.catalog.folders[contact.folder].path},
                    {"number", contact.number},
                    {"title", contact.title},
                    {"entryId", contact.entryId},
                    {"storeId", StoreId(result.catalog, contact)}};
    };
    json report{{"format", "quorvel-similar"}, {"version", 1}, {"contacts", result.contacts.size()}};
    report["pairs"] = json::array();
    for (const SimilarPair& pair : result.pairs) {
        report["pairs"].push_back(json{{"verdict", pair.strict ? "strict" : "similar"},
                                       {"fields", pair.fields},
                                       {"explanation", pair.verdict},
                                       {"a", item(pair.a)},
                                       {"b", item(pair.b)}});
    }
    report["unreadable"] = json::array();
    for (const size_t index : result.unreadable) report["unreadable"].push_back(item(index));
    report["sameIdentifier"] = json::array();
    for (const size_t index : result.sameIdentifier) report["sameIdentifier"].push_back(item(index));
    return EscapeActing(report.dump(1, ' ', false, json::error_handler_t::replace)) + "\n";
}

}  // namespace host
