#include "host/policy.h"

#include <mapitags.h>

#include <algorithm>
#include <functional>

#include "host/text.h"

namespace host {

namespace {

bool NeverStays(const TFolder& folder, const TItem& item) {
    return item.isMarkedDeleted || folder.role == ERole::Junk || folder.role == ERole::Deleted;
}

// The inbox and folders without a role are one to this.
size_t RoleRank(ERole role) {
    return role == ERole::Inbox ? static_cast<size_t>(ERole::Ordinary) : static_cast<size_t>(role);
}

void Mark(const TCatalog& catalog, const std::vector<std::string>& names, std::vector<bool>& marks) {
    marks.assign(catalog.folders.size(), false);
    for (const std::string& name : names) {
        for (const size_t folder : FindTrees(catalog, name)) marks[folder] = true;
    }
}

// One question of the policy. The larger answer stays.
struct TStep {
    std::function<std::vector<long long>(const std::vector<const TItem*>&)> facts;
    std::function<std::string(const TItem& kept, long long fact, const TItem& other, long long next)> reason;
};

std::string Text(IMessage* message, ULONG tag) {
    const MapiPtr<SPropValue> value = ReadValue(message, tag);
    return value ? TextOf(value.get()) : std::string();
}

constexpr ULONG kSenderSmtp = PROP_TAG(PT_UNICODE, 0x5D01);
constexpr ULONG kAuthorSmtp = PROP_TAG(PT_UNICODE, 0x5D02);
constexpr ULONG kRecipientSmtp = PROP_TAG(PT_UNICODE, 0x39FE);

bool IsToItsAuthor(IMessage* message) {
    std::vector<std::string> authors;
    for (const ULONG tag :
         {PR_SENT_REPRESENTING_EMAIL_ADDRESS_W, PR_SENDER_EMAIL_ADDRESS_W, kSenderSmtp, kAuthorSmtp}) {
        if (std::string address = Text(message, tag); !address.empty()) authors.push_back(std::move(address));
    }
    ComPtr<IMAPITable> table;
    if (authors.empty() || message->GetRecipientTable(0, table.GetAddressOf()) != S_OK) return false;
    bool isTo = false;
    ForEachRow(table.Get(), {PR_EMAIL_ADDRESS_W, kRecipientSmtp}, "recipients", [&](const SRow& row) {
        for (const ULONG tag : {PR_EMAIL_ADDRESS_W, kRecipientSmtp}) {
            const std::string address = TextOf(FindValue(row.lpProps, row.cValues, tag));
            isTo = isTo || std::any_of(authors.begin(), authors.end(), [&](const std::string& author) {
                       return EqualNoCase(author, address);
                   });
        }
        return !isTo;
    });
    return isTo;
}

}  // namespace

TPolicy ResolvePolicy(const TCatalog& catalog, const TPolicyOptions& options) {
    TPolicy policy;
    policy.preference.assign(catalog.folders.size(), options.prefer.size());
    for (size_t i = options.prefer.size(); i-- > 0;) {
        for (const size_t folder : FindTrees(catalog, options.prefer[i])) policy.preference[folder] = i;
    }
    Mark(catalog, options.protect, policy.isProtected);
    Mark(catalog, options.skip, policy.isSkipped);
    policy.allowLoss = options.allowLoss;
    policy.sentCopies = options.sentCopies;
    return policy;
}

unsigned PlaceRank(const TCatalog& catalog, const TPolicy& policy, const TItem& item) {
    constexpr size_t kRoles = static_cast<size_t>(ERole::Deleted) + 1;
    const TFolder& folder = catalog.folders[item.folder];
    const size_t places = *std::max_element(policy.preference.begin(), policy.preference.end()) + 1;
    const size_t never = NeverStays(folder, item) ? places : 0;
    return static_cast<unsigned>((never + policy.preference[item.folder]) * kRoles + RoleRank(folder.role));
}

TChoice ChooseCopy(CItemReader& reader, const TPolicy& policy, const TDefinitions& definitions,
                   const std::vector<TKeep>& rules, const std::vector<const TItem*>& items) {
    const TCatalog& catalog = reader.catalog();
    const auto folderOf = [&](const TItem& item) -> const TFolder& { return catalog.folders[item.folder]; };
    const auto each = [](auto fact) {
        return [fact](const std::vector<const TItem*>& asked) {
            std::vector<long long> facts;
            facts.reserve(asked.size());
            for (const TItem* item : asked) facts.push_back(fact(*item));
            return facts;
        };
    };
    const auto before = [&](const TItem& kept, const TItem& other) {
        return folderOf(kept).roleFolder + " before " + folderOf(other).roleFolder;
    };
    std::vector<TStep> steps{
        {each([&](const TItem& item) { return NeverStays(folderOf(item), item) ? 0LL : 1LL; }),
         [&](const TItem& kept, long long, const TItem& other, long long) {
             return other.isMarkedDeleted ? "the other is marked as deleted" : before(kept, other);
         }},
        {each([&](const TItem& item) { return -static_cast<long long>(policy.preference[item.folder]); }),
         [&](const TItem& kept, long long, const TItem& other, long long) {
             return "preferred: " + folderOf(kept).name + " before " + folderOf(other).name;
         }},
        {each([&](const TItem& item) { return -static_cast<long long>(RoleRank(folderOf(item).role)); }),
         [&](const TItem& kept, long long, const TItem& other, long long) { return before(kept, other); }},
    };
    for (const TKeep& keep : rules) {
        steps.push_back({[&](const std::vector<const TItem*>& asked) {
                             return KeepFacts(reader, keep, definitions, asked);
                         },
                         [&](const TItem&, long long fact, const TItem&, long long next) {
                             return KeepSentence(keep, fact, next);
                         }});
    }
    std::vector<size_t> left;
    for (size_t i = 0; i < items.size(); ++i) left.push_back(i);
    TChoice choice{0, "all equal in this: the first in the order of the folders"};
    for (const TStep& step : steps) {
        if (left.size() == 1) break;
        std::vector<const TItem*> asked;
        asked.reserve(left.size());
        for (const size_t index : left) asked.push_back(items[index]);
        const std::vector<long long> facts = step.facts(asked);
        const auto best = std::max_element(facts.begin(), facts.end());
        std::vector<size_t> stay;
        long long next = 0;
        const TItem* other = nullptr;
        for (size_t i = 0; i < left.size(); ++i) {
            if (facts[i] == *best) {
                stay.push_back(left[i]);
            } else if (!other || facts[i] > next) {
                other = asked[i];
                next = facts[i];
            }
        }
        if (other && stay.size() == 1) choice.reason = step.reason(*items[stay[0]], *best, *other, next);
        left = std::move(stay);
    }
    choice.kept = left.front();
    return choice;
}

std::vector<std::vector<size_t>> PartBySentAndReceived(CItemReader& reader, const TPolicy& policy,
                                                       const std::vector<const TItem*>& items) {
    std::vector<size_t> sent;
    std::vector<size_t> others;
    bool isReceived = false;
    bool isFiled = false;
    for (size_t i = 0; i < items.size(); ++i) {
        const TFolder& folder = reader.catalog().folders[items[i]->folder];
        const bool isSent = folder.role == ERole::Sent && folder.kind == EKind::Mail;
        (isSent ? sent : others).push_back(i);
        isReceived = isReceived || folder.role == ERole::Inbox;
        isFiled = isFiled || folder.role == ERole::Ordinary;
    }
    if (sent.empty() || others.empty()) return {sent.empty() ? others : sent};
    // In an inbox a mail has been received; in a folder of the owner's it has, when it is to its author.
    bool isApart = isReceived;
    if (!isApart && isFiled) {
        const ComPtr<IMessage> message = reader.Open(*items[sent[0]]);
        isApart = message && IsToItsAuthor(message.Get());
    }
    if (isApart && !policy.sentCopies) return {others, sent};
    std::vector<size_t> all(items.size());
    for (size_t i = 0; i < all.size(); ++i) all[i] = i;
    return {all};
}

}  // namespace host
