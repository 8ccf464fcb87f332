#include "mailbox/CDatabase.h"

#include <objbase.h>

#include <algorithm>
#include <cstring>
#include <tuple>

#include "mailbox/values.h"

namespace mailbox {

bool TName::operator<(const TName& other) const {
    const int sets = std::memcmp(&set, &other.set, sizeof set);
    if (sets != 0) return sets < 0;
    return std::tie(numeric, number, text) < std::tie(other.numeric, other.number, other.text);
}

namespace {
constexpr ULONG kFirstNamedId = 0x8000;
constexpr size_t kMostNames = 0xFFFE - kFirstNamedId + 1;
}  // namespace

ULONG CNameTable::Find(const TName& name) const {
    const auto found = m_ids.find(name);
    return found == m_ids.end() ? 0 : found->second;
}

ULONG CNameTable::FindOrAdd(const TName& name) {
    const ULONG known = Find(name);
    if (known != 0 || m_byId.size() == kMostNames) return known;
    const ULONG id = kFirstNamedId + static_cast<ULONG>(m_byId.size());
    m_byId.push_back(&m_ids.emplace(name, id).first->first);
    return id;
}

const TName* CNameTable::Of(ULONG id) const {
    return id >= kFirstNamedId && id - kFirstNamedId < m_byId.size() ? m_byId[id - kFirstNamedId] : nullptr;
}

const TAttachment* TMessageData::FindAttachment(ULONG number) const {
    const auto found =
        std::ranges::find(attachments, number, [](const auto& entry) { return entry->number; });
    return found == attachments.end() ? nullptr : found->get();
}

CDatabase::CDatabase() {
    GUID seed{};
    CoCreateGuid(&seed);
    std::memcpy(&m_nSeed, &seed, sizeof m_nSeed);
}

CDatabase::~CDatabase() = default;

std::string CDatabase::NewId(const TStore& store) {
    ++m_nLastId;
    std::string id(4, '\0');
    id.append(SearchKeyOf(store.id));
    id.append(reinterpret_cast<const char*>(&m_nSeed), sizeof m_nSeed);
    id.append(reinterpret_cast<const char*>(&m_nLastId), sizeof m_nLastId);
    return id;
}

TStore* CDatabase::AddStore(std::string id, std::wstring_view displayName) {
    auto store = std::make_unique<TStore>();
    if (id.empty()) id = NewId(*store);
    if (FindStore(id) != nullptr) return nullptr;
    store->id = std::move(id);
    store->properties.Text(PROP_TAG(PT_UNICODE, 0x3001), displayName);
    store->root = std::make_shared<TFolder>();
    store->root->id = NewId(*store);
    store->root->store = store.get();
    store->foldersById.emplace(store->root->id, store->root);
    stores.push_back(std::move(store));
    return stores.back().get();
}

TFolder* CDatabase::AddFolder(TFolder& parent, std::string id, CProperties properties) {
    TStore& store = *parent.store;
    if (id.empty()) id = NewId(store);
    if (store.foldersById.contains(id) || store.itemsById.Contains(id)) return nullptr;
    auto folder = std::make_shared<TFolder>();
    folder->id = std::move(id);
    folder->parent = &parent;
    folder->store = &store;
    folder->properties = std::move(properties);
    store.foldersById.emplace(folder->id, folder);
    parent.folders.push_back(folder);
    return folder.get();
}

TItem* CDatabase::AddItem(TFolder& folder, std::string id, std::shared_ptr<const TMessageData> data,
                          bool associated) {
    TStore& store = *folder.store;
    if (id.empty()) id = NewId(store);
    if (store.foldersById.contains(id) || store.itemsById.Contains(id)) return nullptr;
    auto item = std::make_shared<TItem>();
    item->id = std::move(id);
    item->folder = &folder;
    item->data = std::move(data);
    item->associated = associated;
    store.itemsById.Add(item);
    folder.items.push_back(item);
    return item.get();
}

TStore* CDatabase::FindStore(std::string_view id) const {
    const auto found =
        std::ranges::find(stores, id, [](const auto& store) { return std::string_view(store->id); });
    return found == stores.end() ? nullptr : found->get();
}

TService* CDatabase::FindService(std::string_view uid) const {
    const auto found =
        std::ranges::find(services, uid, [](const auto& entry) { return std::string_view(entry->uid); });
    return found == services.end() ? nullptr : found->get();
}

TAddressEntry* CDatabase::FindAddress(std::string_view id) const {
    const auto found =
        std::ranges::find(addressBook, id, [](const auto& entry) { return std::string_view(entry->id); });
    return found == addressBook.end() ? nullptr : found->get();
}

TStore* CDatabase::DefaultStore() const {
    const auto found = std::ranges::find_if(stores, [](const auto& store) { return store->isDefault; });
    if (found != stores.end()) return found->get();
    return stores.empty() ? nullptr : stores.front().get();
}

void CDatabase::RemoveItem(TItem& item) {
    TFolder& folder = *item.folder;
    const auto place = std::ranges::find(folder.items, &item, [](const auto& entry) { return entry.get(); });
    const std::shared_ptr<TItem> keep = *place;
    folder.items.erase(place);
    folder.store->itemsById.Remove(keep->id);
    keep->folder = nullptr;
}

void CDatabase::RemoveFolder(TFolder& folder) {
    while (!folder.folders.empty()) RemoveFolder(*folder.folders.back());
    TStore& store = *folder.store;
    for (const auto& item : folder.items) {
        store.itemsById.Remove(item->id);
        item->folder = nullptr;
    }
    folder.items.clear();
    auto& siblings = folder.parent->folders;
    const auto place = std::ranges::find(siblings, &folder, [](const auto& entry) { return entry.get(); });
    const std::shared_ptr<TFolder> keep = *place;
    siblings.erase(place);
    store.foldersById.erase(keep->id);
    for (std::string& special : store.special)
        if (special == keep->id) special.clear();
    keep->store = nullptr;
    keep->parent = nullptr;
}

TItem* CDatabase::CopyItem(const TItem& item, TFolder& target) {
    constexpr ULONG searchKey = PROP_TAG(PT_BINARY, 0x300B);
    TStore& from = *item.folder->store;
    std::shared_ptr<const TMessageData> data = Translate(item.data, from.names, target.store->names);
    if (data == nullptr) return nullptr;
    if (data->properties.Find(PROP_ID(searchKey)) == nullptr) {
        auto keyed = std::make_shared<TMessageData>(*data);
        keyed->properties.Binary(searchKey, SearchKeyOf(item.id));
        data = std::move(keyed);
    }
    return AddItem(target, {}, std::move(data), item.associated);
}

std::string SearchKeyOf(std::string_view entryId) {
    // Two 64-bit FNV-1a hashes with different starts: the key of an identifier must be the same in every
    // session.
    unsigned long long halves[2] = {0xCBF29CE484222325u, 0x84222325CBF29CE4u};
    for (unsigned long long& half : halves)
        for (const char byte : entryId) half = (half ^ static_cast<unsigned char>(byte)) * 0x100000001B3u;
    return {reinterpret_cast<const char*>(halves), sizeof halves};
}

namespace {

bool Translate(const CProperties& properties, const CNameTable& from, CNameTable& to, bool isSameMailbox,
               CProperties& translated) {
    for (const CProperties::TSlot& slot : properties.Slots()) {
        const TName* name = from.Of(PROP_ID(slot.tag));
        const ULONG id = name != nullptr ? to.FindOrAdd(*name) : PROP_ID(slot.tag);
        if (id == 0) return false;
        const ULONG tag = PROP_TAG(PROP_TYPE(slot.tag), id);
        if (isSameMailbox)
            translated.Set(tag, properties, slot);
        else if (TakeValue(properties, slot, tag, translated) != S_OK)
            return false;
    }
    return true;
}

}  // namespace

std::shared_ptr<const TMessageData> Translate(const std::shared_ptr<const TMessageData>& data,
                                              const CNameTable& from, CNameTable& to, bool isSameMailbox) {
    if (&from == &to) return data;
    auto translated = std::make_shared<TMessageData>();
    if (!Translate(data->properties, from, to, isSameMailbox, translated->properties)) return nullptr;
    translated->nextAttachment = data->nextAttachment;
    for (const CProperties& recipient : data->recipients)
        if (!Translate(recipient, from, to, isSameMailbox, translated->recipients.emplace_back()))
            return nullptr;
    for (const auto& attachment : data->attachments) {
        auto copy = std::make_shared<TAttachment>();
        copy->number = attachment->number;
        if (!Translate(attachment->properties, from, to, isSameMailbox, copy->properties)) return nullptr;
        if (attachment->message != nullptr) {
            copy->message = Translate(attachment->message, from, to, isSameMailbox);
            if (copy->message == nullptr) return nullptr;
        }
        translated->attachments.push_back(std::move(copy));
    }
    return translated;
}

}  // namespace mailbox
