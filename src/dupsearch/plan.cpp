#include "dupsearch/plan.h"

#include <algorithm>
#include <cwchar>

#include "dupsearch/exceptions.h"
#include "log/CLog.h"

namespace dupsearch {

using compare::CDefinitions;
using compare::CTagArray;
using enum compare::EPropEx;
using items::CItemRequest;
using items::TDerivedValue;
using logging::g_Log;

namespace {

constexpr char kTag[] = "CDuplicateSearch.OnFirstAdd";

void LogUse(const TComparyProp& definition, bool bGrouped, const wchar_t* plain, const wchar_t* grouped) {
    if (bGrouped) {
        g_Log.InfoW(3, kTag, grouped, definition.nGroup, compare::KeyOf(definition),
                    compare::NameOf(definition));
    } else {
        g_Log.InfoW(3, kTag, plain, compare::KeyOf(definition), compare::NameOf(definition));
    }
}

/// Puts the tag where its interface says; false for an interface that does not exist.
bool AppendTag(const TComparyProp& definition, CTagArray& plain, CTagArray& streams) {
    switch (definition.nInterface) {
        case 0:
            plain.Append(definition.ulPropTag);
            return true;
        case 1:
            streams.Append(definition.ulPropTag);
            return true;
        default:
            g_Log.ErrorW(kTag, L"Invalid interface(%d) for propprop(key=%s, name=%s)\n",
                         definition.nInterface, compare::KeyOf(definition), compare::NameOf(definition));
            return false;
    }
}

void PrepareOriginalOnly(TPlan& p, const TComparyProp& definition) {
    const bool derived = compare::IsDerived(definition);
    g_Log.Assert(!derived, kTag, __LINE__, "bCompare || !bPrivate");
    if (derived) return;
    if (definition.ulPropTag == 0) {
        g_Log.ErrorW(kTag, L"remove noncmp prop(key=%s,name=%s) from original definition props\n",
                     compare::KeyOf(definition), compare::NameOf(definition));
        return;
    }
    AppendTag(definition, p.originalPlainTags, p.originalStreamTags);
}

void PrepareDerived(TPlan& p, TComparyProp& definition, bool bGrouped) {
    if (definition.nID < int{propexAnyAddress} || definition.nID > int{propexRecipients}) {
        g_Log.ErrorW(kTag, L"remove cmp propEx(key=%s,name=%s,id=%d) from search\n",
                     compare::KeyOf(definition), compare::NameOf(definition), definition.nID);
        return;
    }
    if (definition.nID == int{propexRecipients} && definition.nCompareMethod == cmExact) {
        definition.nCompareMethod = cmRecipients;
    }
    p.compareData.push_back(
        std::make_unique<CCmpData>(definition, definition.nID <= int{propexAnyPhone}, p.textHash));
    p.derivedIds.push_back(static_cast<unsigned>(definition.nID));
    LogUse(definition, bGrouped, L"Use cmp propex(key=\"%s\", name=\"%s\")\n",
           L"Use cmp propex(group=%d, key=\"%s\", name=\"%s\")\n");
}

void PrepareCompared(TPlan& p, TComparyProp& definition, bool bGrouped) {
    if (definition.ulPropTag == 0) {
        g_Log.ErrorW(kTag, L"remove cmp prop(key=%s,name=%s) from search\n", compare::KeyOf(definition),
                     compare::NameOf(definition));
        return;
    }
    p.compareData.push_back(std::make_unique<CCmpData>(definition, false, p.textHash));
    const ULONG plainTags = p.plainTags.Count();
    AppendTag(definition, p.plainTags, p.streamTags);
    if (p.plainTags.Count() > plainTags) p.plainDefinitions.push_back(&definition);
    LogUse(definition, bGrouped, L"Use cmp prop  (key=\"%s\", name=\"%s\")\n",
           L"Use cmp prop  (group=%d, key=\"%s\", name=\"%s\")\n");
}

/// Gives the groups of the compared definitions the numbers 0, 1, 2 ... in their order.
void RenumberGroups(TPlan& p) {
    std::vector<int> groups;
    for (const auto& data : p.compareData) groups.push_back(data->Definition().nGroup);
    std::sort(groups.begin(), groups.end());
    groups.erase(std::unique(groups.begin(), groups.end()), groups.end());
    for (const auto& data : p.compareData) {
        const auto place = std::lower_bound(groups.begin(), groups.end(), data->Definition().nGroup);
        data->SetGroup(static_cast<int>(place - groups.begin()));
    }
    p.nGroups = static_cast<int>(groups.size());
}

struct TTagName {
    ULONG tag;
    const wchar_t* name;
};

}  // namespace

std::unique_ptr<TPlan> Prepare(IMessage* item, size_t store, const CDefinitions& definitions,
                               const std::vector<unsigned>& rules, bool bGrouped) {
    g_Log.StartTimer();
    auto prepared = std::make_unique<TPlan>(definitions, rules);
    TPlan& p = *prepared;
    p.tags.Resolve(item, store, p.definitions.List());
    for (int i = 0; i < p.definitions.Count(); ++i) {
        TComparyProp& definition = p.definitions[i];
        if (!definition.bCompare) {
            PrepareOriginalOnly(p, definition);
        } else if (compare::IsDerived(definition)) {
            PrepareDerived(p, definition, bGrouped);
        } else {
            PrepareCompared(p, definition, bGrouped);
        }
    }
    if (p.compareData.empty()) return prepared;
    PrepareExceptions(item, p);
    if (bGrouped) RenumberGroups(p);
    return prepared;
}

bool BringIn(TPlan& p, size_t store, const CDefinitions& definitions, bool bGrouped) {
    if (!p.tags.BringIn(store)) return false;
    std::vector<bool> had(static_cast<size_t>(p.definitions.Count()));
    for (int i = 0; i < p.definitions.Count(); ++i)
        had[static_cast<size_t>(i)] = p.definitions[i].ulPropTag != 0;
    p.tags.FillIn(p.definitions.List());
    for (int i = 0; i < p.definitions.Count(); ++i) {
        TComparyProp& definition = p.definitions[i];
        if (had[static_cast<size_t>(i)] || definition.ulPropTag == 0) continue;
        if (definition.bCompare) {
            PrepareCompared(p, definition, bGrouped);
        } else {
            PrepareOriginalOnly(p, definition);
        }
    }
    BringInRuleTags(p);
    p.requests.clear();
    if (!bGrouped) return true;
    for (int i = 0; i < p.definitions.Count(); ++i) p.definitions[i].nGroup = definitions[i].nGroup;
    RenumberGroups(p);
    return true;
}

CItemRequest& TPlan::RequestFor(size_t store) {
    if (store >= requests.size()) requests.resize(store + 1);
    auto& request = requests[store];
    if (!request) request.emplace(tags, store, plainTags, derivedIds);
    return *request;
}

CCmpData* TPlan::FindCompared(ULONG tag) const {
    for (const auto& data : compareData) {
        if (!data->IsDerived() && data->Definition().ulPropTag == tag) return data.get();
    }
    return nullptr;
}

CCmpData* TPlan::FindComparedDerived(int id) const {
    for (const auto& data : compareData) {
        if (data->IsDerived() && data->Definition().nID == id) return data.get();
    }
    return nullptr;
}

int TPlan::DerivedIndex(unsigned id) const {
    const auto place = std::find(derivedIds.begin(), derivedIds.end(), id);
    return place == derivedIds.end() ? -1 : static_cast<int>(place - derivedIds.begin());
}

const TDerivedValue* TPlan::DerivedOf(const TItem& item, unsigned id) const {
    const int index = DerivedIndex(id);
    return index < 0 ? nullptr : &item.derived[static_cast<size_t>(index)];
}

std::wstring PlainTagName(const TPlan& p, ULONG index) {
    if (p.plainDefinitions[index]) return compare::KeyOf(*p.plainDefinitions[index]);
    const ULONG tag = p.plainTags[index];
    const TTagName names[] = {{p.tagApntDuration, L"Appointment.Duration"},
                              {p.tagJrnlDuration, L"Journal.Duration"},
                              {p.tagTaskDueDate, L"Task.DueDate"},
                              {p.tagTaskStartDate, L"Task.StartDate"},
                              {PR_BIRTHDAY, L"Contact.Birthday"},
                              {PR_SUBJECT_W, L"Subject"},
                              {PR_GIVEN_NAME_W, L"FirstName"},
                              {PR_SURNAME_W, L"LastName"}};
    for (const TTagName& known : names) {
        if (known.tag == tag) return known.name;
    }
    wchar_t text[16];
    _snwprintf(text, std::size(text), L"0x%x", static_cast<unsigned>(tag));
    return text;
}

}  // namespace dupsearch
