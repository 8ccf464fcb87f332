#include "host/duplicate_search.h"

#include <algorithm>
#include <memory>
#include <string>
#include <unordered_map>

#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

struct TSearchDeleter {
    using pointer = HSearch;
    void operator()(HSearch search) const { Search_Delete(search); }
};
using Search = std::unique_ptr<HSearch, TSearchDeleter>;

Search CreateSearch(const CItemReader& reader, const TDefinitions& definitions) {
    CPropertyList properties(definitions);
    // Which copy stays is decided here, over more than the search reads: it goes by the ranks alone.
    TOriginalDefinition original{};
    original.nKind = okCallerOrder;
    Search search(Search_Create2(reader.session(), properties.get(), &original, definitions.algorithm,
                                 definitions.grouped, definitions.exceptions.data(),
                                 static_cast<unsigned>(definitions.exceptions.size())));
    if (!search) throw TFailure("The search cannot be created.");
    return search;
}

bool AddItem(const Search& search, const CItemReader& reader, const TItem& item, unsigned rank) {
    unsigned found = 0;
    return Search_Add(search.get(), item.entryId.c_str(), reader.StoreId(item).c_str(), &found, rank) != 0;
}

void Build(const Search& search) {
    if (!Search_Build(search.get())) throw TFailure("Grouping the duplicates failed; --log FILE tells more.");
}

std::string KeyOf(const std::string& entryId, const std::string& storeId) {
    return entryId + '|' + storeId;
}

// The two-call protocol of the identifier getters.
template <typename Getter>
std::string ReadKey(Getter getter) {
    unsigned entrySize = 0;
    unsigned storeSize = 0;
    getter(nullptr, &entrySize, nullptr, &storeSize);
    std::string entryId(entrySize, '\0');
    std::string storeId(storeSize, '\0');
    getter(entryId.data(), &entrySize, storeId.data(), &storeSize);
    entryId.resize(entrySize ? entrySize - 1 : 0);
    storeId.resize(storeSize ? storeSize - 1 : 0);
    return KeyOf(entryId, storeId);
}

}  // namespace

TSearchOutcome RunSearch(const CItemReader& reader, const TDefinitions& definitions,
                         const std::vector<TItem>& items, const std::vector<TSearchItem>& searched,
                         std::string_view what, CProgress& progress) {
    const Search search = CreateSearch(reader, definitions);
    TSearchOutcome outcome;
    std::unordered_map<std::string, size_t> byKey;
    for (size_t i = 0; i < searched.size(); ++i) {
        const TItem& item = items[searched[i].item];
        if (AddItem(search, reader, item, searched[i].rank)) {
            byKey.emplace(KeyOf(item.entryId, reader.StoreId(item)), searched[i].item);
        } else {
            outcome.unreadable.push_back(searched[i].item);
        }
        progress(what, i + 1, searched.size());
        StopIfInterrupted();
    }
    {
        const CStopAtOnce stop;
        Build(search);
    }
    StopIfInterrupted();
    const int groups = static_cast<int>(Search_GetOriginalCount(search.get()));
    for (int i = 0; i < groups; ++i) {
        std::vector<size_t> group;
        group.push_back(
            byKey.at(ReadKey([&](char* entry, unsigned* entrySize, char* store, unsigned* storeSize) {
                Search_GetOriginal(search.get(), i, entry, entrySize, store, storeSize);
            })));
        const int duplicates = static_cast<int>(Search_GetDuplicateCount(search.get(), i));
        for (int j = 0; j < duplicates; ++j) {
            group.push_back(
                byKey.at(ReadKey([&](char* entry, unsigned* entrySize, char* store, unsigned* storeSize) {
                    Search_GetDuplicate(search.get(), i, j, entry, entrySize, store, storeSize);
                })));
        }
        outcome.groups.push_back(std::move(group));
    }
    return outcome;
}

namespace {

// A stream that fails to be read leaves a pair to the other properties, and the search does not tell: what two items
// are found equal by is read once more, with an answer of its own.
EPair CompareStreams(CItemReader& reader, const TDefinitions& definitions, const TItem& first,
                     const TItem& second) {
    const auto isRead = [](const TPropertyChoice& choice) {
        return choice.compare && choice.property->stream;
    };
    // In groups one property decides, and the others may differ.
    if (definitions.grouped || std::ranges::none_of(definitions.properties, isRead)) return EPair::Equal;
    const ComPtr<IMessage> one = reader.Open(first);
    const ComPtr<IMessage> other = reader.Open(second);
    if (!one) return EPair::FirstUnreadable;
    if (!other) return EPair::SecondUnreadable;
    for (const TPropertyChoice& choice : definitions.properties) {
        if (!isRead(choice)) continue;
        long order = 0;
        bool isCompared = false;
        if (Quorvel_CompareStreamProp(one.Get(), other.Get(), choice.property->tag, &order, &isCompared) !=
            S_OK)
            return EPair::SecondUnreadable;
        if (isCompared && order != 0) return EPair::Apart;
    }
    return EPair::Equal;
}

}  // namespace

EPair ComparePair(CItemReader& reader, const TDefinitions& definitions, const TItem& first,
                  const TItem& second) {
    const Search search = CreateSearch(reader, definitions);
    if (!AddItem(search, reader, first, 0)) return EPair::FirstUnreadable;
    if (!AddItem(search, reader, second, 1)) return EPair::SecondUnreadable;
    Build(search);
    if (Search_GetOriginalCount(search.get()) != 1) return EPair::Apart;
    return CompareStreams(reader, definitions, first, second);
}

}  // namespace host
