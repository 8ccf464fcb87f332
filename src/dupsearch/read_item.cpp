#include "dupsearch/read_item.h"

#include <algorithm>

#include "base/text.h"
#include "compare/propex_text.h"
#include "log/CLog.h"
#include "log/value_text.h"
#include "store/properties.h"

namespace dupsearch {

using items::TDerivedValue;
using logging::g_Log;
using store::MapiBuffer;

namespace {

constexpr char kTag[] = "CDuplicateSearch.Add";
constexpr size_t kValueText = 2048;

// ---- What replaces a value that is read

bool OverrideMessageSize(SPropValue& value, const TAddedItem& added) {
    // The item's own subject counts, not the trimmed one among the values.
    const ULONG size = store::GetSubjectBodyAttachmentsSize(added.message, TRUE, nullptr, 0);
    const bool changed = PROP_TYPE(value.ulPropTag) != PT_LONG || value.Value.ul != size;
    value.ulPropTag = PR_MESSAGE_SIZE;
    value.Value.ul = size;
    return changed;
}

bool OverrideContentUnread(SPropValue& value, const TAddedItem& added) {
    return PROP_TYPE(value.ulPropTag) == PT_ERROR && ComputeContentUnread(value, added.message);
}

template <typename Char>
bool Trim(Char*& text) {
    if (!text) return false;
    constexpr Char kBlanks[] = {' ', '\t', '\r', '\n', 0};
    using View = std::basic_string_view<Char>;
    const View whole(text), trimmed = base::Trimmed(whole, View(kBlanks));
    if (trimmed.size() == whole.size()) return false;
    text += trimmed.data() - whole.data();
    text[trimmed.size()] = 0;
    return true;
}

bool TrimText(SPropValue& value, const TAddedItem&) {
    switch (PROP_TYPE(value.ulPropTag)) {
        case PT_UNICODE:
            return Trim(value.Value.lpszW);
        case PT_STRING8:
            return Trim(value.Value.lpszA);
        default:
            return false;
    }
}

struct TReadOverride {
    ULONG id;
    bool (*apply)(SPropValue& value, const TAddedItem& added);
};
constexpr TReadOverride kReadOverrides[] = {{PROP_ID(PR_MESSAGE_SIZE), OverrideMessageSize},
                                            {PROP_ID(PR_CONTENT_UNREAD), OverrideContentUnread},
                                            {PROP_ID(PR_SUBJECT), TrimText},
                                            {PROP_ID(PR_CONVERSATION_TOPIC), TrimText}};

/// Applied to every value read. True when the value changed. Texts are trimmed in place.
bool OverrideReadValue(SPropValue& value, const TAddedItem& added) {
    for (const TReadOverride& override : kReadOverrides) {
        if (override.id == PROP_ID(value.ulPropTag)) return override.apply(value, added);
    }
    return false;
}

// ---- Reading

bool ReadPlain(TPlan& plan, TAddedItem& added) {
    TItem& item = added.item;
    if (plan.plainTags.Count() == 0) return true;
    if (!item.values) {
        const HRESULT hr = plan.RequestFor(item.store->number).ReadPlain(added.message, item);
        if (!store::IsReadSuccess(hr)) {
            g_Log.Error(kTag, "Quorvel_GetPropValues returned 0x%x, EntryID = %s\n",
                        static_cast<unsigned>(hr), item.EntryID);
            return false;
        }
    }
    item.bAsRead = item.values && item.cValues == plan.plainTags.Count();
    item.cValues = item.values ? std::min(item.cValues, plan.plainTags.Count()) : 0;
    for (ULONG i = 0; i < item.cValues; ++i) {
        SPropValue& value = item.values[i];
        const bool extra = g_Log.IsExtra();
        const std::wstring name = extra ? PlainTagName(plan, i) : std::wstring();
        if (extra) {
            wchar_t text[kValueText];
            g_Log.Extra(L"\t\t[%s]:\t%s\n", name.c_str(),
                        logging::PropValueText(&value, text, std::size(text), 0));
        }
        if (OverrideReadValue(value, added)) {
            item.bAsRead = false;
            if (extra) LogChangedValue(name.c_str(), value);
        }
        if (value.ulPropTag == PR_MESSAGE_SIZE) item.nMessageSize = static_cast<int>(value.Value.l);
    }
    return true;
}

bool ReadDerived(const TPlan& plan, TAddedItem& added) {
    TItem& item = added.item;
    for (size_t i = 0; i < item.derived.size(); ++i) {
        const unsigned id = plan.derivedIds[i];
        TDerivedValue& derived = item.derived[i];
        const HRESULT hr =
            derived.value ? S_OK : items::BuildDerived(kTag, id, added.message, item.store->names, derived);
        if (!store::IsReadSuccess(hr) || !derived.value) {
            g_Log.Error(kTag, "Failed to read propex = %d; Error = 0x%x; Item.EntryID = %s\n", id,
                        static_cast<unsigned>(hr), item.EntryID);
            return false;
        }
        if (g_Log.IsExtra()) {
            wchar_t text[kValueText];
            g_Log.Extra(L"\t\t[%s]:\t%s\n", compare::QuorvelPropEx_ToStringW(id),
                        compare::PropValueToText(derived.value, text, std::size(text), id, false));
        }
    }
    return true;
}

}  // namespace

bool ReadItem(TPlan& plan, TAddedItem& added, std::pmr::memory_resource& memory) {
    TItem& item = added.item;
    if (g_Log.IsExtra()) {
        g_Log.Extra(L"Add Item[%d]:\n", static_cast<int>(item.nIndex));
        g_Log.Extra(L"\tProps:\n\t\t[EntryID]:\t%s\n", base::Widen(item.EntryID).c_str());
    }
    item.derived.resize(plan.derivedIds.size());
    plan.RequestFor(item.store->number).ReadTogether(added.message, item.store->names, item, memory);
    return ReadPlain(plan, added) && ReadDerived(plan, added);
}

void LogChangedValue(const wchar_t* name, const SPropValue& value) {
    wchar_t text[kValueText];
    g_Log.Extra(L"\t\t[%s]->\t%s\n", name, logging::PropValueText(&value, text, std::size(text), 0));
}

bool ComputeContentUnread(SPropValue& value, IMessage* message) {
    MapiBuffer<SPropValue> flags;
    const HRESULT hr = store::GetPropValue(message, PR_MESSAGE_FLAGS, store::Out(flags));
    if (!store::IsReadSuccess(hr) || !flags || PROP_TYPE(flags->ulPropTag) != PT_LONG) return false;
    value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, PT_LONG);
    value.Value.l = (flags->Value.l & MSGFLAG_READ) ? 0 : 1;
    return true;
}

}  // namespace dupsearch
