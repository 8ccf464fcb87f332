// Adding an item: opened, read, its values overridden, filed in every compared property, matched.
//
// All that can fail comes first; the trees are touched only once every value is at hand, so that a failed
// addition leaves them as they were.

#include <algorithm>

#include "base/text.h"
#include "compare/CThreadLocale.h"
#include "compare/value_compare.h"
#include "dupsearch/CDuplicateSearch.h"
#include "log/CLog.h"
#include "log/value_text.h"
#include "store/properties.h"
#include "store/streams.h"

namespace {

constexpr char kTag[] = "CDuplicateSearch.Add";
constexpr size_t kValueText = 2048;

const char* TextOf(const char* text) {
    return text ? text : "";
}

void LogChange(const wchar_t* name, const SPropValue& value) {
    wchar_t text[kValueText];
    g_Log.Extra(L"\t\t[%s]->\t%s\n", name, PropValueText(&value, text, std::size(text), 0));
}

/// Takes the record of an item out again, unless it stays.
class CRecord {
  public:
    CRecord(CItems& items, const char* entryId) : m_items(items), item(items.Append(entryId)) {}
    CRecord(const CRecord&) = delete;
    ~CRecord() {
        if (!m_stays) m_items.RemoveLast();
    }
    void Stay() noexcept { m_stays = true; }

  private:
    CItems& m_items;
    bool m_stays = false;

  public:
    TItem& item;
};

/// Says that an item is not added, which is the result.
int Refuse(const char* storeId) {
    g_Log.Info(3, kTag, "Item(%s) removing from duplicate search\n", storeId);
    return 0;
}

}  // namespace

int CDuplicateSearch::Add(const char* entryId, const char* storeId, unsigned* found, unsigned nCallerRank) {
    const CThreadLocale locale(m_locale);
    entryId = TextOf(entryId);
    storeId = TextOf(storeId);
    const bool first = m_items.Count() == 0;
    const CItemReader::TOpened opened = m_items.Open(entryId, storeId, kTag);
    if (!opened.message) return Refuse(storeId);
    IMessage* const message = opened.message.Get();
    if (!first && !SettleNames(entryId, opened)) return Refuse(storeId);
    CRecord record(m_items, entryId);
    TItem& item = record.item;
    item.store = opened.store;
    item.nCallerRank = nCallerRank;
    if (first) {
        m_matching.reset();
        m_preparation = Prepare(message, opened.store->number, m_definitions, m_exceptions, m_bGrouped);
        m_matching = std::make_unique<CMatching>(m_preparation->compareData, m_nCompareAlgorithm, m_bGrouped,
                                                 m_preparation->nGroups);
    }
    if (m_preparation->compareData.empty()) {
        g_Log.Error(kTag, "Number of props to compare = 0\n");
        return Refuse(storeId);
    }
    TAddedItem added{item, message};
    if (!Read(added)) return Refuse(storeId);
    FindPlaces(added);
    TAddition addition;
    FindDuplicates(item, addition);
    m_items.Keep();
    if (NeedsODProps()) {
        addition.counted = CountAtHand(item);
        if (addition.found && !(m_bAllCounted && addition.counted)) {
            if (item.nFilledProps == -1) CalcODProps(item, message);
            CalcODPropsOfEquals(addition);
        }
    }
    MakeRoomFor(addition);

    Commit(item, addition);
    record.Stay();
    if (found) *found = addition.found ? 1 : 0;
    return 1;
}

/// Reads an item and evaluates what it has for each compared property.
bool CDuplicateSearch::Read(TAddedItem& added) {
    if (g_Log.IsExtra()) {
        g_Log.Extra(L"Add Item[%d]:\n", static_cast<int>(added.item.nIndex));
        g_Log.Extra(L"\tProps:\n\t\t[EntryID]:\t%s\n", base::Widen(added.item.EntryID).c_str());
    }
    added.item.derived.resize(m_preparation->derivedIds.size());
    m_preparation->RequestFor(added.item.store->number)
        .ReadTogether(added.message, added.item.store->names, added.item, m_items.Memory());
    if (!ReadPlain(added) || !ReadDerived(added)) return false;
    m_filings.resize(m_preparation->compareData.size());
    m_nFilings = 0;
    m_elements.clear();
    m_starts = 0;
    for (const auto& data : m_preparation->compareData) {
        if (!Evaluate(added, *data)) return false;
    }
    return true;
}

bool CDuplicateSearch::ReadPlain(TAddedItem& added) {
    TPreparation& p = *m_preparation;
    TItem& item = added.item;
    if (p.plainTags.Count() == 0) return true;
    if (!item.values) {
        const HRESULT hr = p.RequestFor(item.store->number).ReadPlain(added.message, item);
        if (!store::IsReadSuccess(hr)) {
            g_Log.Error(kTag, "Quorvel_GetPropValues returned 0x%x, EntryID = %s\n",
                        static_cast<unsigned>(hr), item.EntryID);
            return false;
        }
    }
    item.bAsRead = item.values && item.cValues == p.plainTags.Count();
    item.cValues = item.values ? std::min(item.cValues, p.plainTags.Count()) : 0;
    for (ULONG i = 0; i < item.cValues; ++i) {
        SPropValue& value = item.values[i];
        const bool extra = g_Log.IsExtra();
        const std::wstring name = extra ? PlainTagName(p, i) : std::wstring();
        if (extra) {
            wchar_t text[kValueText];
            g_Log.Extra(L"\t\t[%s]:\t%s\n", name.c_str(), PropValueText(&value, text, std::size(text), 0));
        }
        if (OverrideReadValue(value, added)) {
            item.bAsRead = false;
            if (extra) LogChange(name.c_str(), value);
        }
        if (value.ulPropTag == PR_MESSAGE_SIZE) item.nMessageSize = static_cast<int>(value.Value.l);
    }
    return true;
}

bool CDuplicateSearch::ReadDerived(TAddedItem& added) {
    TItem& item = added.item;
    for (size_t i = 0; i < item.derived.size(); ++i) {
        const unsigned id = m_preparation->derivedIds[i];
        TDerivedValue& derived = item.derived[i];
        const HRESULT hr =
            derived.value ? S_OK : BuildDerived(kTag, id, added.message, item.store->names, derived);
        if (!store::IsReadSuccess(hr) || !derived.value) {
            g_Log.Error(kTag, "Failed to read propex = %d; Error = 0x%x; Item.EntryID = %s\n", id,
                        static_cast<unsigned>(hr), item.EntryID);
            return false;
        }
        if (g_Log.IsExtra()) {
            wchar_t text[kValueText];
            g_Log.Extra(L"\t\t[%s]:\t%s\n", QuorvelPropEx_ToStringW(id),
                        PropValueToText(derived.value, text, std::size(text), id, false));
        }
    }
    return true;
}

TFiling& CDuplicateSearch::NextFiling(CCmpData& data, bool empty, THash hash) {
    TFiling& filing = m_filings[m_nFilings++];
    filing = {};
    filing.data = &data;
    filing.empty = empty;
    filing.hash = hash;
    return filing;
}

/// Finds out where the item goes in one property; false when that cannot be decided.
bool CDuplicateSearch::Evaluate(TAddedItem& added, CCmpData& data) {
    const TComparyProp& definition = data.Definition();
    switch (definition.nInterface) {
        case 0:
            return EvaluateValue(added, data);
        case 1:
            return EvaluateStream(added, data);
        default:
            g_Log.Error(kTag, "Invalid interface(%d)\n", definition.nInterface);
            return true;
    }
}

bool CDuplicateSearch::EvaluateStream(TAddedItem& added, CCmpData& data) {
    // Starts stay where they are while others are added.
    if (m_starts == m_streamStarts.size()) m_streamStarts.emplace_back();
    store::TStreamStart& start = m_streamStarts[m_starts];
    int empty = TRUE;
    const ULONG tag = m_preparation->tags.TagIn(added.item.store->number, data.Definition().ulPropTag);
    if (tag != 0 && store::StreamPropEmpty(added.message, tag, &empty, nullptr, &start) != S_OK) {
        start.stream.Reset();
        return false;
    }
    TFiling& filing = NextFiling(data, empty != 0, std::nullopt);
    if (!empty) {
        ++m_starts;
        filing.head = CStreamHead(start);
        filing.hash = data.HashOf(filing.head);
    }
    start.stream.Reset();
    return true;
}

bool CDuplicateSearch::EvaluateValue(TAddedItem& added, CCmpData& data) {
    const TComparyProp& definition = data.Definition();
    const int index =
        data.IsDerived() ? m_preparation->DerivedIndex(static_cast<unsigned>(definition.nID)) : -1;
    const SPropValue* const read = index >= 0 ? added.item.derived[static_cast<size_t>(index)].value
                                              : added.item.Find(definition.ulPropTag);
    if (!read) {
        g_Log.ErrorW(kTag, L"value for prop(%s) not found\n", KeyOf(definition));
        return false;
    }
    // Each definition has its own: what the one replaces, another of the same property compares as it was
    // read.
    SPropValue value = *read;
    if (data.IsOverridden() && OverrideComparedValue(value, definition, added) && g_Log.IsExtra())
        LogChange(KeyOf(definition), value);
    int empty = TRUE;
    if (!compare::IsEmptyValue(&value, &empty, nullptr)) return false;
    const THash hash = empty ? std::nullopt : data.HashOf(value);
    TFiling& filing = NextFiling(data, empty != 0, hash);
    filing.value = value;
    if (data.IsMultiTree() && !empty && index >= 0) {
        const size_t first = m_elements.size();
        data.AppendElements(added.item.derived[static_cast<size_t>(index)], m_elements);
        filing.nElements = m_elements.size() - first;
    }
    return true;
}

/// Finds where each value belongs. A value that cannot be placed is logged and stays unfiled.
void CDuplicateSearch::FindPlaces(const TAddedItem& added) {
    const auto filings = std::span(m_filings).first(m_nFilings);
    size_t element = 0;
    for (TFiling& filing : filings) {
        filing.elements = std::span(m_elements).subspan(element, filing.nElements);
        element += filing.nElements;
        filing.data->Find({filing.data->Definition(), m_items, added.item,
                           filing.value ? &*filing.value : nullptr, added.message, &m_preparation->tags},
                          filing);
    }
}

/// After this nothing is left that can fail.
void CDuplicateSearch::MakeRoomFor(const TAddition& addition) {
    m_matching->MakeRoomForItem();
    m_duplicates.MakeRoomFor(addition.equals.size());
    base::MakeRoom(m_factsUpTo, m_matching->Profiles().Count());
    base::MakeRoom(m_factsFailed, m_factsFailed.size() + addition.failed.size());
}

void CDuplicateSearch::Commit(const TItem& item, const TAddition& addition) noexcept {
    for (const TFiling& filing : std::span(m_filings).first(m_nFilings))
        filing.data->File(item.nIndex, filing);
    if (const uint32_t profile = m_matching->Profile(); profile != kNone) {
        m_duplicates.AddTo(profile, addition.equals);
    } else {
        m_duplicates.AddProfile(addition.equals, m_matching->IsAlone());
    }
    if (!addition.walked.empty()) m_factsUpTo.resize(m_matching->Profiles().Count(), kNone);
    for (const uint32_t i : addition.walked) m_factsUpTo[m_matching->Profiles().Of(i)] = i;
    std::erase_if(m_factsFailed, [this](uint32_t i) { return m_items[i].nFilledProps != -1; });
    for (const uint32_t i : addition.failed) {
        if (std::ranges::find(m_factsFailed, i) == m_factsFailed.end()) m_factsFailed.push_back(i);
    }
    m_bAllCounted = m_bAllCounted && addition.counted;
    m_matching->Append();
}
