#pragma once
// What the script of the HTML report works on: the groups of all kinds, as one compact JSON text, and the values of
// their items, a line of JSON a group, which the script reads when somebody looks.
//
// host/report/decide.js says what stands where. Texts of the mailbox are made visible before they come in, and nothing
// in the result can end the element that it stands in.

#include <map>
#include <string>
#include <vector>

#include "host/decisions.h"
#include "host/item_values.h"
#include "host/matrix_view.h"
#include "host/scan.h"
#include "host/similar_command.h"

namespace host {

/// A group is shown with the values of so many of its items.
inline constexpr size_t kItemsWithValues = 64;

class CPageData {
  public:
    /// Both outlive it.
    CPageData(CItemReader& reader, const TScanResult& result);

    /// view: the values of the group's first items; null when they cannot be read.
    void AddGroup(const TGroup& group, const TMatrixView* view);
    void AddNear(const TNearPair& pair, const TMatrixView* view);
    /// contacts: of the cluster, the one that is proposed to stay first, with why they resemble one another.
    void AddResembling(const TSimilarResult& similar, const std::vector<uint32_t>& contacts,
                       const std::string& why, const TMatrixView* view);

    std::string Data() const;
    const std::string& Values() const { return m_values; }

  private:
    struct TPageItem {
        TPlannedItem planned;
        size_t folder = 0;  // of the table
        unsigned number = 0;
        unsigned size = 0;
        EFate fate = EFate::Move;
        std::string when;
        std::string sourceFolder, sourceName;
        unsigned sourcePlace = 0;
        std::vector<size_t> losses;  // names of properties that only this one has
    };
    struct TEntry {
        EFound found = EFound::Duplicates;
        size_t definitions = 0;
        size_t why = 0;    // a text
        size_t apart = 0;  // of a near pair: what would make it one of duplicates
        std::string who;
        std::string check;
        std::vector<TPageItem> items;
        bool hasConflicts = false;
    };
    struct TPageFolder {
        std::string path, storeId, folderId;
        bool isProtected = false;
    };
    size_t TextOf(const std::string& text);
    size_t FolderOf(const TCatalog& catalog, size_t folder);
    size_t ApartOf(const TNearPair& pair);
    TPageItem ItemOf(const TCatalog& catalog, const TItem& item, std::string values);
    void Add(TEntry entry, const std::vector<std::vector<TLoss>>& losses, const TMatrixView* view);

    CItemReader& m_reader;
    const TScanResult& m_result;
    std::vector<std::string> m_texts;
    std::map<std::string, size_t> m_textNumbers;
    std::vector<TPageFolder> m_folders;
    std::map<std::pair<std::string, std::string>, size_t> m_folderNumbers;
    std::vector<std::pair<std::string, std::string>> m_apart;  // a line of a definitions file, and what else
    std::map<std::pair<size_t, size_t>, size_t> m_apartNumbers;
    std::vector<TEntry> m_entries;
    std::string m_values;
};

}  // namespace host
