#include "host/bookkeeping.h"

#include <fstream>

#include <nlohmann/json.hpp>

#include "host/definitions.h"
#include "host/item_values.h"
#include "host/property_catalogue.h"
#include "host/text.h"

namespace host {

unsigned long TBookkeeping::Meaningful(const std::string& property) const {
    const auto found = properties.find(property);
    return found == properties.end() ? kAllBits : found->second;
}

std::string TBookkeeping::Name(EKind kind, const std::string& property) const {
    for (const std::string& key : {KindName(kind) + ("/" + property), property}) {
        if (const auto found = names.find(key); found != names.end()) return found->second;
    }
    return "property " + property;
}

namespace {

// The names of the catalogue of comparable properties: its keys begin with the kind, "Contact.Notes".
void AddCatalogue(std::map<std::string, std::string>& names) {
    for (const TCatalogueEntry& known : Catalogue()) {
        const std::string key = known.key;
        const std::string property = PropertyName(known.tag, known.set, known.id, known.stringId);
        std::string kind;
        for (const EKind one : kScannedKinds) {
            const std::string name = KindName(one);
            if (EqualNoCase(key.substr(0, key.find('.')), name)) kind = name + "/";
        }
        names[kind + property] = Narrow(known.name);
    }
}

}  // namespace

TBookkeeping LoadBookkeeping() {
    const std::filesystem::path file = BuiltInFile("bookkeeping.json");
    const auto fail = [&](const std::string& what) {
        return TFailure("The file \"" + Narrow(file.wstring()) + "\" " + what + ".");
    };
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw fail("is missing");
    TBookkeeping result;
    try {
        const nlohmann::json document = nlohmann::json::parse(stream);
        for (const auto& entry : document.at("bookkeeping")) {
            const std::string property = entry.at("property").get<std::string>();
            if (entry.at("why").get<std::string>().empty()) throw fail("gives no reason for " + property);
            if (entry.value("key", false)) {
                result.keys.insert(property);
                continue;
            }
            const auto bits = entry.find("meaningful");
            result.properties[property] = bits == entry.end() ? 0 : bits->get<unsigned long>();
        }
        AddCatalogue(result.names);
        for (const auto& [property, name] : document.at("names").items())
            result.names[property] = name.get<std::string>();
    } catch (const nlohmann::json::exception& error) {
        throw fail(std::string("cannot be understood: ") + error.what());
    }
    return result;
}

}  // namespace host
