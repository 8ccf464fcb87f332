// Exports of the duplicate search.

#include <climits>
#include <cstring>
#include <memory>

#include "dupsearch/CDuplicateSearch.h"
#include "frame/trace.h"
#include "quorvel.h"

using dupsearch::CDuplicateSearch;
using dupsearch::TBuildChange;
using dupsearch::TItem;
using frame::Trace;
using logging::g_Log;

namespace {

CDuplicateSearch& From(HSearch handle) {
    return *reinterpret_cast<CDuplicateSearch*>(handle);
}

/// Copies a text out when it fits; the size it needs, terminator included, is given back either way.
void CopyText(const char* text, char* buffer, unsigned* size) {
    if (!size) return;
    const auto needed = static_cast<unsigned>(std::strlen(text) + 1);
    if (buffer && *size >= needed) std::memcpy(buffer, text, needed);
    *size = needed;
}

/// The member of a group, or null: 0 is the original.
const TItem* Member(const CDuplicateSearch& search, int group, int member) {
    const auto& groups = search.Groups();
    if (group < 0 || static_cast<size_t>(group) >= groups.size()) return nullptr;
    const auto& items = groups[static_cast<size_t>(group)];
    if (member < 0 || static_cast<size_t>(member) >= items.size()) return nullptr;
    return &search.Item(items[static_cast<size_t>(member)]);
}

void CopyIds(const TItem* item, char* entryId, unsigned* entryIdSize, char* storeId, unsigned* storeIdSize) {
    if (!item) return;
    CopyText(item->EntryID, entryId, entryIdSize);
    CopyText(item->StoreID(), storeId, storeIdSize);
}

/// The texts of a change are the search's own; null for an empty one.
void PointToIds(const TItem* item, const char** entryId, const char** storeId) {
    const auto orNull = [](const char* text) { return *text ? text : nullptr; };
    *entryId = item ? orNull(item->EntryID) : nullptr;
    *storeId = item ? orNull(item->StoreID()) : nullptr;
}

}  // namespace

HSearch Search_Create(IMAPISession* session, const TComparyProps* props, const TOriginalDefinition* original,
                      unsigned algorithm, int grouped) {
    Trace(__func__);
    auto search = std::make_unique<CDuplicateSearch>();
    search->Create(session, props, original, algorithm, grouped != 0, nullptr, 0);
    return reinterpret_cast<HSearch>(search.release());
}

HSearch Search_Create2(IMAPISession* session, const TComparyProps* props, const TOriginalDefinition* original,
                       unsigned algorithm, int grouped, const unsigned* exceptions, unsigned exceptionCount) {
    Trace(__func__);
    auto search = std::make_unique<CDuplicateSearch>();
    search->Create(session, props, original, algorithm, grouped != 0, exceptions, exceptionCount);
    return reinterpret_cast<HSearch>(search.release());
}

void Search_Delete(HSearch handle) {
    Trace(__func__);
    if (!handle) return;
    delete &From(handle);
    g_Log.Info(1, __func__, "Search Deleted\n");
}

int Search_Add(HSearch handle, const char* entryId, const char* storeId, unsigned* found,
               unsigned callerRank) {
    return From(handle).Add(entryId, storeId, found, callerRank);
}

int Search_Build(HSearch handle) {
    try {
        return From(handle).Build();
    } catch (...) {
        g_Log.Error(__func__, "Exception");
        return 0;
    }
}

int Search_GetOriginalCount(HSearch handle) {
    return static_cast<int>(From(handle).Groups().size());
}

void Search_GetOriginal(HSearch handle, int group, char* entryId, unsigned* entryIdSize, char* storeId,
                        unsigned* storeIdSize) {
    CopyIds(Member(From(handle), group, 0), entryId, entryIdSize, storeId, storeIdSize);
}

int Search_GetDuplicateCount(HSearch handle, int group) {
    const auto& groups = From(handle).Groups();
    if (group < 0 || static_cast<size_t>(group) >= groups.size()) return 0;
    return static_cast<int>(groups[static_cast<size_t>(group)].size()) - 1;
}

void Search_GetDuplicate(HSearch handle, int group, int duplicate, char* entryId, unsigned* entryIdSize,
                         char* storeId, unsigned* storeIdSize) {
    if (duplicate < 0 || duplicate == INT_MAX) return;
    CopyIds(Member(From(handle), group, duplicate + 1), entryId, entryIdSize, storeId, storeIdSize);
}

int Search_GetBuildChange(HSearch handle, int index, unsigned* kind, const char** originalId,
                          const char** originalStoreId, const char** duplicateId,
                          const char** duplicateStoreId, int* position) {
    const CDuplicateSearch& search = From(handle);
    if (index < 0 || static_cast<size_t>(index) >= search.Changes().size()) {
        g_Log.Error(__func__, "index is out of bounds\n");
        return 0;
    }
    const TBuildChange& change = search.Changes()[static_cast<size_t>(index)];
    *kind = change.kind;
    PointToIds(&search.Item(change.original), originalId, originalStoreId);
    PointToIds(change.duplicate == base::kNone ? nullptr : &search.Item(change.duplicate), duplicateId,
               duplicateStoreId);
    *position = change.position;
    return 1;
}
