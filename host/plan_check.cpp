#include "host/plan_check.h"

#include <mapitags.h>

#include <algorithm>
#include <cstdlib>

#include "host/attachments.h"
#include "host/digest.h"
#include "host/duplicate_search.h"
#include "host/identity.h"
#include "host/item_moves.h"
#include "host/losses.h"
#include "host/policy.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

bool IsSameId(IMAPISession* session, const std::string& a, const std::string& b) {
    if (EqualNoCase(a, b)) return true;
    // An item or a folder may have identifiers of several forms.
    std::string bytes[2];
    for (const std::string* text : {&a, &b}) {
        for (size_t i = 0; i + 1 < text->size(); i += 2) {
            bytes[text == &b] += static_cast<char>(strtoul(text->substr(i, 2).c_str(), nullptr, 16));
        }
    }
    ULONG isSame = FALSE;
    return session->CompareEntryIDs(static_cast<ULONG>(bytes[0].size()),
                                    reinterpret_cast<ENTRYID*>(bytes[0].data()),
                                    static_cast<ULONG>(bytes[1].size()),
                                    reinterpret_cast<ENTRYID*>(bytes[1].data()), 0, &isSame) == S_OK &&
           isSame;
}

}  // namespace

CPlanCheck::CPlanCheck(IMAPISession* session, const TPlan& plan, const std::string& target)
    : m_plan(plan),
      m_catalog(ReadCatalog(session)),
      m_bookkeeping(LoadBookkeeping()),
      m_reader(session, m_catalog, m_bookkeeping) {
    std::set<std::string> stores;
    for (const TPlannedGroup& group : plan.groups) {
        stores.insert(group.keep.storeId);
        for (const TPlannedItem& item : group.duplicates) stores.insert(item.storeId);
    }
    for (const std::string& store : stores) {
        if (!HasStore(session, store))
            throw TFailure("The report belongs to another mailbox; nothing was moved.");
    }
    for (size_t i = 0; i < m_catalog.folders.size(); ++i) {
        if (m_catalog.folders[i].depth == 0 && EqualNoCase(m_catalog.folders[i].name, target)) {
            const std::vector<size_t> tree = TreeOf(m_catalog, i);
            m_targets.insert(tree.begin(), tree.end());
        }
    }
}

TLook CPlanCheck::Look(const TPlannedItem& item) {
    TLook look{{}, false, {}, item.storeId + '|' + item.entryId};
    ComPtr<IMessage> message;
    if (Quorvel_OpenItem(m_reader.session(), item.entryId.c_str(), item.storeId.c_str(),
                         message.GetAddressOf()) != S_OK) {
        look.why = "is not there any more";
        look.isGone = true;
        return look;
    }
    const std::string own = HexOf(ReadValue(message.Get(), PR_ENTRYID).get());
    if (!own.empty()) look.identity = item.storeId + '|' + own;
    look.searchKey = HexOf(ReadValue(message.Get(), PR_SEARCH_KEY).get());
    const std::string folder = HexOf(ReadValue(message.Get(), PR_PARENT_ENTRYID).get());
    const MapiPtr<SPropValue> modified = ReadValue(message.Get(), PR_LAST_MODIFICATION_TIME);
    // A platform that does not say where the item is cannot contradict the scan.
    if (!folder.empty() && !IsSameId(m_reader.session(), folder, item.folderId)) {
        look.why = "is in another folder now";
    } else if (IsoTime(TimeOf(modified.get())) != item.modified) {
        look.why = "changed since the scan";
    }
    return look;
}

std::string CPlanCheck::Modified(const TPlannedItem& item) {
    ComPtr<IMessage> message;
    if (Quorvel_OpenItem(m_reader.session(), item.entryId.c_str(), item.storeId.c_str(),
                         message.GetAddressOf()) != S_OK)
        return {};
    return IsoTime(TimeOf(ReadValue(message.Get(), PR_LAST_MODIFICATION_TIME).get()));
}

std::optional<TItem> CPlanCheck::Find(const TPlannedItem& item) {
    const auto [known, isNew] = m_folders.emplace(std::pair{item.storeId, item.folderId}, std::nullopt);
    for (size_t i = 0; isNew && i < m_catalog.folders.size() && !known->second; ++i) {
        const TFolder& folder = m_catalog.folders[i];
        if (EqualNoCase(m_catalog.stores[folder.store].entryId, item.storeId) &&
            IsSameId(m_reader.session(), folder.entryId, item.folderId)) {
            known->second = i;
        }
    }
    if (!known->second) return {};
    TItem found;
    found.entryId = item.entryId;
    found.folder = *known->second;
    return found;
}

// What a scan asks besides, in its order.
std::string CPlanCheck::WhyNotByScan(const TDefinitions& definitions, const TItem& kept, const TItem& item) {
    IMAPISession* const session = m_reader.session();
    if (!HasIdentity(session, m_catalog, kept, definitions)) return "has nothing that tells it from others";
    if (definitions.attachments) {
        const std::vector<unsigned> marks = CompareAttachments(session, m_catalog, {kept, item}).marks;
        if (marks[0] != marks[1]) return "has other attachments than the copy that is kept";
    }
    TPolicy policy;
    policy.sentCopies = m_plan.sentCopies;
    if (PartBySentAndReceived(m_reader, policy, {&kept, &item}).size() != 1)
        return "and the copy that is kept were sent the one, received the other";
    const std::optional<TItemValues> keptValues = m_reader.Read(kept);
    const std::optional<TItemValues> values = m_reader.Read(item);
    if (!keptValues || !values) return "or the copy that is kept cannot be read";
    // What merging makes of losses is settled by itself.
    if (m_plan.allowLoss || m_plan.isMerging) return {};
    const std::vector<TLoss> losses = Losses(m_reader, definitions, kept, *keptValues, item, *values);
    return losses.empty() ? std::string() : WhyItStays(EFate::Loss, losses);
}

// Who decided saw what the report showed: that is what both must still hold, whatever they have in common.
std::string CPlanCheck::WhyNotAsRecorded(const TPlannedGroup& group, const TPlannedItem& planned,
                                         const TItem& kept, const TItem& item, bool isAgain) {
    const auto isAsRecorded = [&](const TItem& one, const TPlannedItem& recorded) {
        if (recorded.values.empty()) return false;
        if (group.isRecorded) return DigestOfWhole(m_reader, one) == recorded.values;
        const std::optional<TItemValues> values = m_reader.Read(one);
        return values && DigestOf(*values) == recorded.values;
    };
    if (!isAsRecorded(kept, group.keep))
        return "stays: the copy that is kept does not hold what the report recorded";
    if (!isAsRecorded(item, planned)) return "does not hold what the report recorded";
    if (!group.isRecorded || isAgain || m_plan.allowLoss || m_plan.isMerging) return {};
    const std::optional<TItemValues> keptValues = m_reader.Read(kept);
    const std::optional<TItemValues> values = m_reader.Read(item);
    if (!keptValues || !values) return "or the copy that is kept cannot be read";
    const std::vector<TLoss> losses =
        LossesOfUnlike(m_reader, m_plan.definitions[group.definitions], kept, *keptValues, item, *values);
    return losses.empty() ? std::string() : WhyItStays(EFate::Loss, losses);
}

std::string CPlanCheck::WhyNot(const TPlannedGroup& group, const TPlannedItem& item, bool isAgain) {
    const TDefinitions& definitions = m_plan.definitions[group.definitions];
    const std::optional<TItem> kept = Find(group.keep);
    const std::optional<TItem> other = Find(item);
    if (!kept || !other) return "stays: its folder, or that of the copy that is kept, is not there any more";
    if (m_targets.contains(other->folder)) return "is in the folder already";
    if (m_targets.contains(kept->folder)) return "stays: the copy that is kept is where it would be moved to";
    if (m_plan.isVerified && !isAgain) return {};
    if (group.isRecorded || (!item.values.empty() && !isAgain)) {
        std::string why = WhyNotAsRecorded(group, item, *kept, *other, isAgain);
        if (group.isRecorded || !why.empty()) return why;
    }
    switch (ComparePair(m_reader, definitions, *kept, *other)) {
        case EPair::FirstUnreadable:
            return "stays: the copy that is kept cannot be read";
        case EPair::SecondUnreadable:
            return "cannot be read";
        case EPair::Apart:
            return "is no duplicate of the copy that is kept";
        case EPair::Equal:
            break;
    }
    return isAgain ? std::string() : WhyNotByScan(definitions, *kept, *other);
}

}  // namespace host
