#include "similar/CContactCache.h"

#include <utility>

#include "base/room.h"
#include "base/ticks.h"

namespace similar {

using items::TPlainValues;

CContactCache::CContactCache(const TContactFields& fields, const TRuleTables& rules)
    : m_fields(fields), m_rules(rules) {
    m_index.Create(fields, rules);
}

CContactCache::TRecord CContactCache::NewRecord(TItemInfo&& info, TPlainValues&& plain) {
    TContacts aside(&m_memory);
    std::pmr::string key(info.entryId, &m_memory);
    aside.try_emplace(std::move(key), std::move(info), std::move(plain));
    return aside.extract(aside.begin());
}

TItemProps* CContactCache::Add(TRecord record) {
    TItemProps& props = record.mapped();
    props.PrepareTexts(m_fields, &m_weights);
    PrepareRoom(props.entryId);
    const CCandidateIndex::TKeys keys = m_index.Prepare(props, m_weights);

    // From here on nothing can fail. An older version goes; or, since the host may have been called while the
    // platform read, one that it has cached by itself.
    const bool isSearchBy = m_pSearchBy && m_pSearchBy->entryId == props.entryId;
    Forget(props.entryId);
    m_contacts.insert(std::move(record));
    props.indexed = m_index.File(keys);
    m_known.push_back({&props, m_entryIds.size(), props.AllFilled()});
    const char* const entryId = props.entryId.c_str();
    m_entryIds.insert(m_entryIds.end(), entryId, entryId + props.entryId.size() + 1);
    if (isSearchBy) m_pSearchBy = &props;
    return &props;
}

void CContactCache::Forget(std::string_view entryId) {
    const auto cached = m_contacts.find(entryId);
    if (cached == m_contacts.end()) return;
    if (&cached->second == m_pSearchBy) SetSearchBy(nullptr);
    m_known[cached->second.indexed.number].props = nullptr;
    m_contacts.erase(cached);
    m_index.Retire();
}

TItemProps* CContactCache::Find(const TItemInfo& info) {
    const auto cached = m_contacts.find(info.entryId);
    if (cached == m_contacts.end()) return nullptr;
    TItemProps& props = cached->second;
    return base::Ticks(props.lastModification) == base::Ticks(info.lastModification) ? &props : nullptr;
}

unsigned CContactCache::Find(std::string_view entryId) {
    if (const unsigned next = m_nFound + 1; next < m_known.size() && m_known[next].props) {
        const TKnown& known = m_known[next];
        if (m_entryIds.size() - known.entryId > entryId.size() && entryId == &m_entryIds[known.entryId])
            return m_nFound = next;
    }
    const auto cached = m_contacts.find(entryId);
    return m_nFound = cached == m_contacts.end() ? kUnknown : cached->second.indexed.number;
}

void CContactCache::SetOtherFilledCount(TItemProps* props, long filled) {
    props->otherFilledCount = filled;
    m_known[props->indexed.number].filledCount = props->AllFilled();
}

void CContactCache::SetSearchBy(const TItemProps* props) {
    m_pSearchBy = props;
    m_bCollected = false;
}

void CContactCache::Collect() {
    m_index.Collect(*m_pSearchBy, m_weights);
    m_bCollected = true;
}

/// Room for one more contact, and an index that is not worn.
void CContactCache::PrepareRoom(std::string_view entryId) {
    const auto most =
        static_cast<size_t>(m_contacts.max_load_factor() * static_cast<float>(m_contacts.bucket_count()));
    if (m_contacts.size() + 1 > most) m_contacts.reserve(2 * (m_contacts.size() + 1));
    if (m_index.IsWorn()) RenewIndex();
    base::MakeRoom(m_known, m_known.size() + 1);
    base::MakeRoom(m_entryIds, m_entryIds.size() + entryId.size() + 1);
}

void CContactCache::RenewIndex() {
    CCandidateIndex renewed;
    std::vector<TKnown> known;
    std::vector<char> entryIds;
    renewed.Create(m_fields, m_rules);
    for (auto& [id, props] : m_contacts) {
        renewed.File(renewed.Prepare(props, m_weights));
        known.push_back({&props, entryIds.size(), props.AllFilled()});
        entryIds.insert(entryIds.end(), id.c_str(), id.c_str() + id.size() + 1);
    }
    for (unsigned number = 0; number < known.size(); ++number) known[number].props->indexed.number = number;
    std::swap(m_index, renewed);
    m_known.swap(known);
    m_entryIds.swap(entryIds);
    m_nFound = kUnknown;
    m_bCollected = false;
}

}  // namespace similar
