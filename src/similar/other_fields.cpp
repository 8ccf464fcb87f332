// Counting the fields that are not compared, and opening contacts by their entry identifier.

#include "base/mapi_extra.h"
#include "compare/value_compare.h"
#include "log/CLog.h"
#include "similar/CSimilarSearch.h"
#include "store/properties.h"
#include "store/streams.h"

namespace similar {
namespace {

constexpr char kCountTag[] = "CSimilarSearch.CountFilledOtherPropsIf";

enum ECountMode : unsigned { countNever = 0, countAll = 1, countStrict = 2 };

/// Whether a contact with this verdict is worth the reading of its other fields.
bool IsCounted(unsigned verdict, unsigned mode) {
    return (verdict != verdictNone && mode == countAll) || (verdict == verdictStrict && mode == countStrict);
}

}  // namespace

void CSimilarSearch::CountFilledOtherPropsIf(TItemProps* props, IMessage* item, unsigned verdict) {
    if (props->otherFilledCount != -1 || !IsCounted(verdict, m_nCountMode)) return;
    ComPtr<IMessage> opened;
    if (!item) {
        opened = OpenItem(props->entryId.c_str());
        item = opened.Get();
    }
    if (!item) {
        g_Log.Error(kCountTag, "OpenItem failed\n");
        return;
    }
    long filled = 0;
    if (!m_otherFields.empty()) {
        if (!CountOtherFields(item, props->store.number, &filled)) {
            g_Log.Error(kCountTag, "CountProps failed\n");
            return;
        }
    }
    int empty = 1;
    if (!store::IsReadSuccess(store::StreamPropEmpty(item, PR_BODY_W, &empty, nullptr)))
        g_Log.Error(kCountTag, "StreamPropEmpty(PR_BODY_W) failed\n");
    else if (!empty)
        ++filled;
    props->otherFilledCount = filled;
    m_known[props->indexed.number].filledCount = FilledCount(*props);
}

bool CSimilarSearch::CountOtherFields(IMessage* item, size_t store, long* filled) {
    const TComparyProps fields{static_cast<int>(m_otherFields.size()), m_otherFields.data()};
    if (m_otherTags.IsEmpty()) m_otherTags.Resolve(item, store, fields);
    if (m_otherTags.Settle(item, store) != S_OK) return false;
    if (m_otherTags.BringIn(store)) m_otherTags.FillIn(fields);
    CTagArray canonical;
    for (const TComparyProp& field : m_otherFields) canonical.Append(field.ulPropTag);
    TTagsInStore tags(m_otherTags, store, canonical);
    return tags.own.Count() == 0 ||
           store::IsReadSuccess(compare::CountProps(item, tags.own.Get(), filled, nullptr));
}

ComPtr<IMessage> CSimilarSearch::OpenItem(const char* entryId) {
    if (!m_lpSession || !*entryId) return {};
    return m_reader.Open(entryId, m_storeEntryId.c_str()).message;
}

}  // namespace similar
