#include "items/CDefinedTags.h"

#include <algorithm>
#include <utility>

#include "log/CLog.h"
#include "log/identifier_text.h"
#include "store/checked_calls.h"

namespace items {

using base::EName;
using base::TName;
using compare::CTagArray;
using logging::g_Log;
using store::MapiBuffer;

namespace {

constexpr char kTag[] = "CDefinedTags.Settle";

/// Of a name that a store has not answered for.
constexpr ULONG kUntold = 0xFFFFFFFF;

bool IsId(ULONG id) {
    return id != 0 && id != kUntold;
}

}  // namespace

const CDefinedTags::TNamed* CDefinedTags::FindNamed(const MAPINAMEID& name) const {
    const auto found = std::ranges::find_if(m_names, [&](const TNamed& known) {
        if (known.set != *name.lpguid) return false;
        return name.ulKind == MNID_ID ? known.id == name.Kind.lID
                                      : known.id == 0 && known.text == name.Kind.lpwstrName;
    });
    return found == m_names.end() ? nullptr : &*found;
}

size_t CDefinedTags::Enter(const MAPINAMEID& name) {
    if (const TNamed* known = FindNamed(name)) return static_cast<size_t>(known - m_names.data());
    const bool numeric = name.ulKind == MNID_ID;
    m_names.push_back({*name.lpguid, numeric ? name.Kind.lID : 0, numeric ? L"" : name.Kind.lpwstrName});
    return m_names.size() - 1;
}

CDefinedTags::TStore& CDefinedTags::At(size_t store) {
    if (store >= m_stores.size()) m_stores.resize(store + 1);
    m_stores[store].ids.resize(m_names.size(), kUntold);
    return m_stores[store];
}

/// What the first store answered for a name.
void CDefinedTags::Take(TStore& store, const MAPINAMEID& name, ULONG tag, HRESULT result) {
    const size_t index = Enter(name);
    store.ids.resize(m_names.size(), kUntold);
    if (tag != 0) {
        m_names[index].canonical = store.ids[index] = PROP_ID(tag);
        m_takenIds.push_back(PROP_ID(tag));
    } else if (store.ids[index] == kUntold && !store::IsLookUpFailure(result)) {
        store.ids[index] = 0;
    }
    // One that failed is given up: it is asked for again only when another store knows it.
    store.isSettled = true;
    CompareWithCanonical();
}

void CDefinedTags::Resolve(IMessage* item, size_t number, TComparyProps definitions) {
    // Aside until all is at hand: definitions with tags are not named ones any more.
    std::vector<TComparyProp> entries(definitions.lpProps, definitions.lpProps + definitions.n);
    TComparyProps list{definitions.n, entries.data()};
    CDefinedTags resolved(*this);
    resolved.m_nFirst = number;
    std::vector<HRESULT> results;
    store::ResolveTags(item, &list, &results);
    TStore& store = resolved.At(number);
    store.isSettled = store.isCanonical = true;
    for (size_t i = 0; i < entries.size(); ++i) {
        const ULONG tag = entries[i].ulPropTag;
        GUID set;
        MAPINAMEID name;
        if (store::NameOf(definitions.lpProps[i], &set, &name)) {
            resolved.Take(store, name, tag, results[i]);
        } else if (tag != 0) {
            resolved.m_takenIds.push_back(PROP_ID(tag));
        }
    }
    for (size_t i = 0; i < entries.size(); ++i) definitions.lpProps[i].ulPropTag = entries[i].ulPropTag;
    *this = std::move(resolved);
}

ULONG CDefinedTags::Resolve(IMessage* item, EName which) {
    const TName& wanted = base::kNameTable[which];
    GUID set;
    MAPINAMEID name = {};
    logging::Str2GUID(wanted.set, &set);
    name.lpguid = &set;
    name.ulKind = MNID_ID;
    name.Kind.lID = wanted.id;
    ULONG tag = 0;
    HRESULT hr = store::GetIDFromName(item, &name, &tag);
    if (store::IsLookUpFailure(hr)) hr = store::GetIDFromName(item, &name, &tag);
    if (hr != S_OK) tag = 0;
    Take(At(m_nFirst), name, tag, hr);
    return tag == 0 ? 0 : tag | wanted.type;
}

HRESULT CDefinedTags::Ask(IMessage* item, const std::vector<size_t>& names, TStore& store) {
    std::vector<MAPINAMEID> ids(names.size());
    std::vector<MAPINAMEID*> list(names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        TNamed& named = m_names[names[i]];
        ids[i].lpguid = &named.set;
        ids[i].ulKind = named.id != 0 ? MNID_ID : MNID_STRING;
        if (named.id != 0) {
            ids[i].Kind.lID = named.id;
        } else {
            ids[i].Kind.lpwstrName = named.text.data();
        }
        list[i] = &ids[i];
    }
    MapiBuffer<SPropTagArray> tags;
    const HRESULT hr = store::LookUpNames(item, static_cast<ULONG>(names.size()), list.data(), tags);
    if (store::IsLookUpFailure(hr)) return hr;
    for (size_t i = 0; i < names.size(); ++i) {
        const ULONG tag = store::IsReadSuccess(hr) ? tags->aulPropTag[i] : PROP_TAG(PT_ERROR, 0);
        store.ids[names[i]] = PROP_TYPE(tag) == PT_ERROR ? 0 : PROP_ID(tag);
    }
    return S_OK;
}

HRESULT CDefinedTags::Settle(IMessage* item, size_t number) {
    if (number < m_stores.size() && m_stores[number].isSettled) return S_OK;
    TStore& store = At(number);
    std::vector<size_t> untold;
    for (size_t i = 0; i < m_names.size(); ++i) {
        if (store.ids[i] == kUntold) untold.push_back(i);
    }
    if (!untold.empty()) {
        HRESULT hr = Ask(item, untold, store);
        if (hr != S_OK) {
            g_Log.Warning(kTag, "GetIDsFromNames returned 0x%x, asking again\n", static_cast<unsigned>(hr));
            hr = Ask(item, untold, store);
        }
        if (hr != S_OK) return hr;
    }
    store.isSettled = store.isNew = true;
    CompareWithCanonical();
    return S_OK;
}

/// The wanted property id, or another where that stands for something else already.
ULONG CDefinedTags::FreeId(ULONG wanted) const {
    constexpr ULONG kFirstNamed = 0x8000;
    const auto isTaken = [this](ULONG id) { return std::ranges::find(m_takenIds, id) != m_takenIds.end(); };
    ULONG id = wanted;
    if (isTaken(id)) {
        for (id = kFirstNamed; isTaken(id);) ++id;
    }
    return id;
}

bool CDefinedTags::BringIn(size_t number) {
    if (!IsNew(number)) return false;
    m_takenIds.reserve(m_takenIds.size() + m_names.size());
    m_stores[number].isNew = false;
    const TStore& store = m_stores[number];
    bool any = false;
    for (size_t i = 0; i < m_names.size(); ++i) {
        if (m_names[i].canonical != 0 || !IsId(store.ids[i])) continue;
        m_names[i].canonical = FreeId(store.ids[i]);
        m_takenIds.push_back(m_names[i].canonical);
        any = true;
        // A store that did not answer is asked again now.
        for (TStore& other : m_stores) {
            if (i < other.ids.size() && other.ids[i] == kUntold) other.isSettled = false;
        }
    }
    if (any) CompareWithCanonical();
    return any;
}

void CDefinedTags::CompareWithCanonical() {
    for (TStore& store : m_stores) {
        store.isCanonical = true;
        for (size_t i = 0; i < m_names.size(); ++i) {
            const ULONG id = i < store.ids.size() ? store.ids[i] : kUntold;
            if (m_names[i].canonical != 0 && m_names[i].canonical != id) store.isCanonical = false;
        }
    }
}

int CDefinedTags::FillIn(TComparyProps definitions) const {
    int filled = 0;
    for (int i = 0; i < definitions.n; ++i) {
        TComparyProp& definition = definitions.lpProps[i];
        GUID set;
        MAPINAMEID name;
        const TNamed* const named = store::NameOf(definition, &set, &name) ? FindNamed(name) : nullptr;
        if (!named || named->canonical == 0) continue;
        definition.ulPropTag = PROP_TAG(PROP_TYPE(definition.nType), named->canonical);
        ++filled;
    }
    return filled;
}

ULONG CDefinedTags::CanonicalOf(EName which) const {
    GUID set;
    logging::Str2GUID(base::kNameTable[which].set, &set);
    for (const TNamed& named : m_names) {
        if (named.id == base::kNameTable[which].id && named.set == set && named.canonical != 0)
            return PROP_TAG(base::kNameTable[which].type, named.canonical);
    }
    return 0;
}

ULONG CDefinedTags::TagIn(size_t store, ULONG canonical) const {
    if (PROP_ID(canonical) == 0 || IsCanonicalIn(store)) return canonical;
    for (size_t i = 0; i < m_names.size(); ++i) {
        if (m_names[i].canonical != PROP_ID(canonical)) continue;
        const auto& ids = m_stores[store].ids;
        const ULONG id = i < ids.size() ? ids[i] : 0;
        return IsId(id) ? PROP_TAG(PROP_TYPE(canonical), id) : 0;
    }
    return canonical;
}

TTagsInStore::TTagsInStore(const CDefinedTags& tags, size_t store, const CTagArray& canonical) {
    const bool isCanonical = tags.IsCanonicalIn(store);
    for (const ULONG tag : canonical) {
        if (isCanonical) {
            places.push_back(own.Count());
            own.Append(tag);
            continue;
        }
        const ULONG ownTag = tags.TagIn(store, tag);
        places.push_back(PROP_ID(ownTag) == 0 ? kNone : own.Count());
        if (PROP_ID(ownTag) != 0) own.Append(ownTag);
    }
}

}  // namespace items
