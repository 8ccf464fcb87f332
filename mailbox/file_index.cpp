#include "mailbox/file_index.h"

#include "mailbox/text.h"

namespace mailbox {

namespace {

class CIndexer {
  public:
    CIndexer(CDatabase& database, std::wstring& why) : m_database(database), m_why(why) {}
    bool Run();

  private:
    bool IndexStore(TStore& store, size_t index);
    bool IndexFolder(const std::shared_ptr<TFolder>& folder, const std::string& place);
    std::string IdFromPlace(const TStore& store);
    bool CheckReferences(const TStore& store, const std::string& place);

    CDatabase& m_database;
    std::wstring& m_why;
    unsigned long long m_nPlaceNumber = 0;
};

std::string CIndexer::IdFromPlace(const TStore& store) {
    // The counter stands for the place, so the identifier is the same whenever the same file is read.
    ++m_nPlaceNumber;
    std::string id(4, '\0');
    id.append(SearchKeyOf(store.id)).append("place");
    id.append(reinterpret_cast<const char*>(&m_nPlaceNumber), sizeof m_nPlaceNumber);
    return id;
}

bool CIndexer::IndexFolder(const std::shared_ptr<TFolder>& folder, const std::string& place) {
    TStore& store = *folder->store;
    const auto fail = [&](const std::string& where) {
        m_why = ToWide(where + ".id: another folder or item of the store has this identifier");
        return false;
    };
    const auto isTaken = [&](const std::string& id) {
        return store.foldersById.contains(id) || store.itemsById.Contains(id);
    };
    if (folder->id.empty()) folder->id = IdFromPlace(store);
    if (isTaken(folder->id)) return fail(place);
    store.foldersById.emplace(folder->id, folder);
    for (size_t index = 0; const auto& item : folder->items) {
        if (item->id.empty()) item->id = IdFromPlace(store);
        if (!store.itemsById.Add(item) || store.foldersById.contains(item->id))
            return fail(place + ".items[" + std::to_string(index) + "]");
        ++index;
    }
    folder->items.shrink_to_fit();
    for (size_t index = 0; const auto& child : folder->folders) {
        if (!IndexFolder(child, place + ".folders[" + std::to_string(index) + "]")) return false;
        ++index;
    }
    return true;
}

bool CIndexer::IndexStore(TStore& store, size_t index) {
    const std::string place = "stores[" + std::to_string(index) + "]";
    if (store.id.empty()) store.id = SearchKeyOf("store " + std::to_string(index));
    if (m_database.FindStore(store.id) != &store) {
        m_why = ToWide(place + ".id: another store has this identifier");
        return false;
    }
    if (!IndexFolder(store.root, place + ".root")) return false;
    if (store.special[sfIpmSubtree].empty()) store.special[sfIpmSubtree] = store.root->id;
    return CheckReferences(store, place);
}

bool CIndexer::CheckReferences(const TStore& store, const std::string& place) {
    for (const std::string& special : store.special)
        if (!special.empty() && !store.foldersById.contains(special)) {
            m_why = ToWide(place + ".special: the store has no folder " + ToHex(special));
            return false;
        }
    if (!store.serviceUid.empty() && m_database.FindService(store.serviceUid) == nullptr) {
        m_why = ToWide(place + ".service: the file has no service " + ToHex(store.serviceUid));
        return false;
    }
    return true;
}

bool CIndexer::Run() {
    const auto fail = [&](const char* list, size_t index, const char* what) {
        m_why = ToWide(std::string(list) + "[" + std::to_string(index) + "]: " + what);
        return false;
    };
    for (size_t index = 0; const auto& service : m_database.services) {
        if (m_database.FindService(service->uid) != service.get())
            return fail("services", index, "another service has this uid");
        ++index;
    }
    for (size_t index = 0, defaults = 0; const auto& store : m_database.stores) {
        if (store->isDefault && ++defaults > 1) return fail("stores", index, "a second default store");
        if (!IndexStore(*store, index)) return false;
        ++index;
    }
    std::unordered_map<std::string_view, size_t> seen;
    for (size_t index = 0; const auto& entry : m_database.addressBook) {
        if (!seen.emplace(entry->id, index).second)
            return fail("addressBook", index, "another entry has this identifier");
        ++index;
    }
    return true;
}

}  // namespace

bool IndexMailbox(CDatabase& database, std::wstring& why) {
    return CIndexer(database, why).Run();
}

}  // namespace mailbox
