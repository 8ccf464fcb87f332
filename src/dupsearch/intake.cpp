// Adding an item: opened, read, its values overridden, filed in every compared property, matched.
//
// All that can fail comes first; the trees are touched only once every value is at hand, so that a failed
// addition leaves them as they were.

#include "compare/CThreadLocale.h"
#include "compare/value_compare.h"
#include "dupsearch/CDuplicateSearch.h"
#include "dupsearch/text.h"
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

/// Builds one derived value; the kinds of its elements where it has any.
HRESULT BuildDerived(unsigned id, IMessage* message, CKnownNames& names, TDerivedValue& derived) {
    ULONG kinds[kPhoneKinds] = {};
    HRESULT hr;
    switch (id) {
        case propexAnyAddress:
            hr = ContactItem_Addresses(message, true, Out(derived.own), kinds, &names);
            break;
        case propexAnyEmail:
            hr = ContactItem_Emails(message, true, Out(derived.own), kinds, &names);
            break;
        case propexAnyPhone:
            hr = ContactItem_Phones(message, true, Out(derived.own), kinds);
            break;
        case propexCompanyContact:
            hr = ContactItem_CompanyContact(message, Out(derived.own));
            break;
        case propexSenders:
            hr = MailItem_Senders(message, true, Out(derived.own));
            break;
        case propexRecipients:
            hr = MailItem_Recipients(message, Out(derived.own));
            break;
        default:
            g_Log.Error(kTag, "unknown propex(%d)\n", id);
            hr = -1;
    }
    for (size_t i = 0; i < kPhoneKinds; ++i) derived.kinds[i] = static_cast<unsigned char>(kinds[i]);
    derived.value = derived.own.get();
    return hr;
}

/// Takes an item that was not added out again, from wherever it got to.
class CRemoveUnlessAdded {
  public:
    CRemoveUnlessAdded(CItems& items, std::unique_ptr<TPreparation>& preparation, const char* storeId)
        : m_items(items), m_preparation(preparation), m_storeId(storeId), m_index(items.Count()) {}
    CRemoveUnlessAdded(const CRemoveUnlessAdded&) = delete;
    ~CRemoveUnlessAdded() {
        if (m_added) return;
        g_Log.Info(3, kTag, "Item(%s) removing from duplicate search\n", m_storeId);
        if (m_preparation) {
            for (const auto& data : m_preparation->compareData) data->Remove(m_index);
        }
        if (m_items.Count() > m_index) m_items.RemoveLast();
    }
    void Added() { m_added = true; }

  private:
    CItems& m_items;
    std::unique_ptr<TPreparation>& m_preparation;
    const char* const m_storeId;
    const uint32_t m_index;
    bool m_added = false;
};

}  // namespace

int CDuplicateSearch::Add(const char* entryId, const char* storeId, unsigned* found, unsigned nCallerRank) {
    const CThreadLocale locale(m_locale);
    entryId = TextOf(entryId);
    storeId = TextOf(storeId);
    const bool first = m_items.Count() == 0;
    CRemoveUnlessAdded removal(m_items, m_preparation, storeId);
    const char* cachedStoreId = nullptr;
    const ComPtr<IMessage> message = m_items.Open(entryId, storeId, kTag, &cachedStoreId);
    if (!message) return 0;
    TItem& item = m_items.Append(entryId);
    item.lpszStoreID = cachedStoreId;
    item.nCallerRank = nCallerRank;
    if (first) {
        m_matching.reset();
        m_preparation = Prepare(message.Get(), m_definitions, m_exceptions, m_bGrouped);
        m_matching = std::make_unique<CMatching>(m_preparation->compareData, m_nCompareAlgorithm, m_bGrouped,
                                                 m_preparation->nGroups);
    }
    if (m_preparation->compareData.empty()) {
        g_Log.Error(kTag, "Number of props to compare = 0\n");
        return 0;
    }
    TAddedItem added{item, message.Get(), {}};
    if (!ReadAndFile(added)) return 0;

    FindDuplicates(item);
    m_items.Keep();
    if (!m_equals.IsNone()) m_duplicates.Add(item.nIndex, m_equals);
    m_matching->Append();
    removal.Added();
    if (found) *found = m_equals.IsNone() ? 0 : 1;
    if (!NeedsODProps()) return 1;
    if (!CountAtHand(item)) m_bAllCounted = false;
    if (m_bAllCounted || m_equals.IsNone()) return 1;
    if (item.nFilledProps == -1) CalcODProps(item, message.Get());
    CalcODPropsOfEquals();
    return 1;
}

bool CDuplicateSearch::ReadAndFile(TAddedItem& added) {
    if (g_Log.IsExtra()) {
        g_Log.Extra(L"Add Item[%d]:\n", static_cast<int>(added.item.nIndex));
        g_Log.Extra(L"\tProps:\n\t\t[EntryID]:\t%s\n", Widen(added.item.EntryID).c_str());
    }
    added.item.derived.resize(m_preparation->derivedIds.size());
    m_preparation->combinedRead.Read(added.message, m_items.Names(), added.item, m_items.Memory());
    if (!ReadPlain(added) || !ReadDerived(added)) return false;
    m_filings.resize(m_preparation->compareData.size());
    m_nFilings = 0;
    m_elements.clear();
    m_starts = 0;
    for (const auto& data : m_preparation->compareData) {
        if (!Evaluate(added, *data)) return false;
    }
    File(added);
    return true;
}

bool CDuplicateSearch::ReadPlain(TAddedItem& added) {
    TPreparation& p = *m_preparation;
    TItem& item = added.item;
    if (p.plainTags.Count() == 0) return true;
    if (!item.values) {
        const HRESULT hr =
            store::GetPropValues(added.message, p.plainTags.Get(), &item.cValues, Out(item.read));
        item.values = item.read.get();
        if (!store::IsReadSuccess(hr)) {
            item.cValues = 0;
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
        const HRESULT hr = derived.value ? S_OK : BuildDerived(id, added.message, m_items.Names(), derived);
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

CDuplicateSearch::TFiling& CDuplicateSearch::NextFiling(CCmpData& data, bool empty, THash hash) {
    TFiling& filing = m_filings[m_nFilings++];
    filing.data = &data;
    filing.empty = empty;
    filing.hash = hash;
    filing.firstElement = m_elements.size();
    filing.elements = 0;
    return filing;
}

/// Finds out where the item goes in one property; false when that cannot be told.
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
    const ULONG tag = data.Definition().ulPropTag;
    const HRESULT hr = store::StreamPropEmpty(added.message, tag, &empty, nullptr, &start);
    if (hr != S_OK) {
        start.stream.Reset();
        return false;
    }
    TFiling& filing = NextFiling(data, empty != 0, std::nullopt);
    filing.value.reset();
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
        data.AppendElements(added.item.derived[static_cast<size_t>(index)], m_elements);
        filing.elements = m_elements.size() - filing.firstElement;
    }
    return true;
}

void CDuplicateSearch::File(const TAddedItem& added) {
    const auto filings = std::span(m_filings).first(m_nFilings);
    for (const TFiling& filing : filings) filing.data->Prepare(filing.hash);
    for (const TFiling& filing : filings) {
        const TCompareContext context{filing.data->Definition(), m_items, added.item,
                                      filing.value ? &*filing.value : nullptr, added.message};
        if (filing.empty) {
            filing.data->AddEmpty(added.item.nIndex);
        } else if (!filing.value) {
            filing.data->FileStream(context, filing.head, filing.hash);
        } else if (filing.data->IsMultiTree()) {
            filing.data->multitreeItems_Add(
                context, std::span(m_elements).subspan(filing.firstElement, filing.elements));
        } else {
            filing.data->FileValue(context, filing.hash);
        }
    }
}
