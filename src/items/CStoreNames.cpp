#include "items/CStoreNames.h"

#include <algorithm>

#include "log/CLog.h"
#include "store/named_properties.h"

namespace items {

using base::EName;
using compare::CNamedValues;
using logging::g_Log;

HRESULT CStoreNames::LookUp(IMAPIProp* item, std::span<const EName> names, ULONG* tags) {
    EName missing[CNamedValues::kMost];
    ULONG found[CNamedValues::kMost] = {};
    size_t count = 0;
    for (const EName name : names) {
        if (m_tags[name] == 0) missing[count++] = name;
    }
    if (count != 0) {
        const std::span asked(missing, count);
        HRESULT hr = compare::AskForNames(item, asked, found);
        if (store::IsLookUpFailure(hr)) {
            g_Log.Warning("CStoreNames.LookUp", "GetIDsFromNames returned 0x%x, asking again\n",
                          static_cast<unsigned>(hr));
            hr = compare::AskForNames(item, asked, found);
        }
        if (hr != S_OK) return hr;
        for (size_t i = 0; i < count; ++i) m_tags[missing[i]] = found[i];
    }
    std::ranges::transform(names, tags, [this](EName name) { return m_tags[name]; });
    return S_OK;
}

}  // namespace items
