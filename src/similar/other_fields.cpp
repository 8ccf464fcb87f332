// Counting the fields that are not compared, and opening contacts by their entry identifier.

#include "compare/value_compare.h"
#include "log/CLog.h"
#include "similar/CSimilarSearch.h"
#include "store/mapi_extra.h"
#include "store/properties.h"
#include "store/sessions.h"
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
        if (m_lpOtherTags.Count() == 0) m_lpOtherTags = ResolveTags(item, &m_otherFields);
        if (!store::IsReadSuccess(compare::CountProps(item, m_lpOtherTags.Get(), &filled, nullptr))) {
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
}

ComPtr<IMessage> CSimilarSearch::OpenItem(const char* entryId) {
    ComPtr<IMessage> item;
    if (!m_lpSession || !*entryId) return item;
    auto opened = m_stores.find(m_storeEntryId);
    if (opened == m_stores.end()) {
        ComPtr<IMsgStore> msgStore;
        if (store::OpenStore(m_lpSession, m_storeEntryId.c_str(), &msgStore) != S_OK || !msgStore)
            return item;
        opened = m_stores.emplace(m_storeEntryId, std::move(msgStore)).first;
    }
    if (store::OpenStoreItem(opened->second.Get(), entryId, &item) != S_OK) item.Reset();
    return item;
}

}  // namespace similar
