#include "dupsearch/exceptions.h"

#include <algorithm>

#include "base/text.h"
#include "compare/value_compare.h"
#include "compare/value_operations.h"
#include "log/CLog.h"

namespace dupsearch {

using base::EName;
using enum base::EName;
using enum base::EPhone;
using enum compare::EPropEx;
using items::TDerivedValue;
using logging::g_Log;

namespace {

constexpr char kPrepareTag[] = "CDuplicateSearch.OnFirstAdd";
// The arrays of earlier versions ended here; a list of rules that gets so far is no sensible one.
constexpr size_t kUsualSpare = 80;

constexpr uint32_t kPersonalPhones =
    ((1u << phoneCount) - 1) & ~(1u << phoneBusiness | 1u << phoneBusiness2 | 1u << phoneBusinessFax |
                                 1u << phoneCompany | 1u << phoneTelex | 1u << phoneAssistant);

// ---- What the rules read

void NeedTag(TPlan& p, ULONG tag) {
    if (!p.plainTags.Contains(tag)) {
        p.plainTags.Append(tag);
        p.plainDefinitions.push_back(nullptr);
    }
    p.originalPlainTags.Remove(tag);
}

void NeedDerived(TPlan& p, unsigned id) {
    if (p.DerivedIndex(id) < 0) p.derivedIds.push_back(id);
}

/// Resolves a named property that a rule needs; false when the store does not know it.
bool NeedNamed(TPlan& p, IMessage* item, EName name, ULONG& tag) {
    tag = p.tags.Resolve(item, name);
    if (tag != 0) NeedTag(p, tag);
    return tag != 0;
}

void NeedApntSubject(TPlan& p, IMessage* item) {
    if (!NeedNamed(p, item, nameApntDuration, p.tagApntDuration)) {
        g_Log.Error(kPrepareTag, "tagApntDuration\n");
    }
    NeedTag(p, PR_SUBJECT_W);
}

void NeedCompanyContact(TPlan& p, IMessage*) {
    NeedDerived(p, propexCompanyContact);
}

void NeedNames(TPlan& p, IMessage*) {
    NeedTag(p, PR_GIVEN_NAME_W);
    NeedTag(p, PR_SURNAME_W);
}

bool ComparesNamesEmailsAndPhones(const TPlan& p) {
    return p.FindCompared(PR_GIVEN_NAME_W) && p.FindCompared(PR_SURNAME_W) &&
           p.FindComparedDerived(propexAnyEmail) && p.FindComparedDerived(propexAnyPhone);
}

void NeedFirstLast(TPlan& p, IMessage* item) {
    NeedNames(p, item);
    for (const unsigned id : {propexCompanyContact, propexAnyEmail, propexAnyAddress, propexAnyPhone}) {
        NeedDerived(p, id);
    }
    NeedTag(p, PR_BIRTHDAY);
    if (!ComparesNamesEmailsAndPhones(p)) {
        g_Log.Error(
            kPrepareTag,
            "FirstName & LastName & AnyEmail & AnyPhone must be in compare properties for cleContFirstLast "
            "exception\n");
    }
}

void NeedSubject(TPlan& p, IMessage*) {
    NeedTag(p, PR_SUBJECT_W);
}

void NeedTaskDates(TPlan& p, IMessage* item) {
    const bool start = NeedNamed(p, item, nameTaskStart, p.tagTaskStartDate);
    const bool due = NeedNamed(p, item, nameTaskDue, p.tagTaskDueDate);
    if (!start || !due) g_Log.Error(kPrepareTag, "tagTaskStartDate or tagTaskDueDate failed\n");
}

void NeedJrnlSubject(TPlan& p, IMessage* item) {
    if (!NeedNamed(p, item, nameJournalDuration, p.tagJrnlDuration)) {
        g_Log.Error(kPrepareTag, "tagJrnlDuration\n");
    }
    NeedTag(p, PR_SUBJECT_W);
}

/// The named properties of the rules.
struct TRuleTag {
    unsigned rule;
    EName name;
    ULONG TPlan::*tag;
};
constexpr TRuleTag kRuleTags[] = {
    {cleApntSubject, nameApntDuration, &TPlan::tagApntDuration},
    {cleTaskStartAndDueOnDiffSides, nameTaskStart, &TPlan::tagTaskStartDate},
    {cleTaskStartAndDueOnDiffSides, nameTaskDue, &TPlan::tagTaskDueDate},
    {cleJrnlSubjectEmptyOnBothSides, nameJournalDuration, &TPlan::tagJrnlDuration}};

// ---- What the rules decide

struct TPair {
    const TPlan& p;
    const TRuleItem& sideA;
    const TRuleItem& sideB;
    const TItem& a = sideA.item;
    const TItem& b = sideB.item;
};

/// The value, or null when it is missing, an error or an empty text.
const SPropValue* Filled(const SPropValue* value) {
    if (!value || PROP_TYPE(value->ulPropTag) == PT_ERROR) return nullptr;
    return compare::PV_IsEmpty(value->Value, PROP_TYPE(value->ulPropTag), nullptr) ? nullptr : value;
}

const SPropValue* Filled(const TItem& item, ULONG tag) {
    return tag == 0 ? nullptr : Filled(item.Find(tag));
}

const SPropValue* FilledDerived(const TPlan& p, const TItem& item, unsigned id) {
    const TDerivedValue* const derived = p.DerivedOf(item, id);
    return derived ? Filled(derived->value) : nullptr;
}

bool IsEmpty(const TItem& item, ULONG tag) {
    return Filled(item, tag) == nullptr;
}

/// Two durations, both missing included.
bool AreDurationsEqual(const TPair& pair, ULONG tag) {
    const SPropValue* a = Filled(pair.a, tag);
    const SPropValue* b = Filled(pair.b, tag);
    if (!a || !b) return !a && !b;
    return a->Value.l == b->Value.l;
}

/// One side has only the first property filled, and the other only the second.
bool OnDiffSides(const TPair& pair, ULONG first, ULONG second) {
    const auto only = [](const TItem& item, ULONG filled, ULONG empty) {
        return !IsEmpty(item, filled) && IsEmpty(item, empty);
    };
    return (only(pair.a, first, second) && only(pair.b, second, first)) ||
           (only(pair.a, second, first) && only(pair.b, first, second));
}

bool ApntSubject(const TPair& pair) {
    const bool empty = IsEmpty(pair.a, PR_SUBJECT_W) || IsEmpty(pair.b, PR_SUBJECT_W);
    return empty && !AreDurationsEqual(pair, pair.p.tagApntDuration);
}

bool CompanyContact(const TPair& pair) {
    const SPropValue* a = FilledDerived(pair.p, pair.a, propexCompanyContact);
    const SPropValue* b = FilledDerived(pair.p, pair.b, propexCompanyContact);
    return a && b && (a->Value.b != 0) != (b->Value.b != 0);
}

bool FirstLastOnDiffSides(const TPair& pair) {
    return OnDiffSides(pair, PR_GIVEN_NAME_W, PR_SURNAME_W);
}

bool IsCompany(const TPlan& p, const TItem& item) {
    const SPropValue* company = FilledDerived(p, item, propexCompanyContact);
    return company && company->Value.b != 0;
}

/// Filled on both sides and equal, as the search compares this name.
bool IsNameEqual(const TPair& pair, ULONG tag) {
    const CCmpData& data = *pair.p.FindCompared(tag);
    const uint32_t node = pair.sideA.NodeIn(data);
    return node != kNone && node == pair.sideB.NodeIn(data);
}

/// A derived property of which one sub-value of these kinds is equal on both sides.
bool SharesSubValue(const TPair& pair, int id, uint32_t kinds) {
    const CCmpData& data = *pair.p.FindComparedDerived(id);
    const auto mine = pair.sideA.NodesIn(data);
    bool found;
    return CMultiPtrTree::Exists(mine, kinds) &&
           CMultiPtrTree::FindEquals(mine, pair.sideB.NodesIn(data), kinds, kinds, &found);
}

bool SharesAddress(const TPair& pair) {
    if (pair.p.FindComparedDerived(propexAnyAddress)) {
        return SharesSubValue(pair, propexAnyAddress, CMultiPtrTree::kAnyKind);
    }
    const SPropValue* a = FilledDerived(pair.p, pair.a, propexAnyAddress);
    const SPropValue* b = FilledDerived(pair.p, pair.b, propexAnyAddress);
    int intersects = 0;
    return a && b && compare::IsMVPropsIntersects(a, b, &intersects, cmExact) == 0 && intersects != 0;
}

bool IsBirthdayEqual(const TPair& pair) {
    const SPropValue* a = Filled(pair.a, PR_BIRTHDAY);
    const SPropValue* b = Filled(pair.b, PR_BIRTHDAY);
    long order = 1;
    return a && b && compare::ComparePropValues(a, b, &order, cmDayAndMonth) && order == 0;
}

bool FirstLast(const TPair& pair) {
    if (!ComparesNamesEmailsAndPhones(pair.p)) return false;
    const auto empty = [&](ULONG tag) { return IsEmpty(pair.a, tag) || IsEmpty(pair.b, tag); };
    const auto nameless = [](const TItem& item) {
        return IsEmpty(item, PR_GIVEN_NAME_W) && IsEmpty(item, PR_SURNAME_W);
    };
    const bool oneNameEqual = (IsNameEqual(pair, PR_GIVEN_NAME_W) && empty(PR_SURNAME_W)) ||
                              (IsNameEqual(pair, PR_SURNAME_W) && empty(PR_GIVEN_NAME_W));
    const bool personal = !IsCompany(pair.p, pair.a) && !IsCompany(pair.p, pair.b);
    if (!oneNameEqual && !(personal && (nameless(pair.a) || nameless(pair.b)))) return false;
    return !SharesSubValue(pair, propexAnyEmail, CMultiPtrTree::kAnyKind) && !SharesAddress(pair) &&
           !SharesSubValue(pair, propexAnyPhone, kPersonalPhones) && !IsBirthdayEqual(pair);
}

bool SubjectEmptyOnOneSide(const TPair& pair) {
    return IsEmpty(pair.a, PR_SUBJECT_W) != IsEmpty(pair.b, PR_SUBJECT_W);
}

bool TaskStartAndDueOnDiffSides(const TPair& pair) {
    return OnDiffSides(pair, pair.p.tagTaskStartDate, pair.p.tagTaskDueDate);
}

bool JrnlSubjectEmptyOnBothSides(const TPair& pair) {
    const bool empty = IsEmpty(pair.a, PR_SUBJECT_W) && IsEmpty(pair.b, PR_SUBJECT_W);
    return empty && !AreDurationsEqual(pair, pair.p.tagJrnlDuration);
}

// ---- What of an item a decision depends on

using Facts = std::vector<uint32_t>;

void AddPresence(const TItem& item, ULONG tag, Facts& facts) {
    facts.push_back(!IsEmpty(item, tag));
}

/// A number or a time.
void AddNumber(const SPropValue* value, Facts& facts) {
    facts.push_back(value != nullptr);
    if (!value) return;
    const bool isTime = PROP_TYPE(value->ulPropTag) == PT_SYSTIME;
    facts.push_back(isTime ? value->Value.ft.dwLowDateTime : value->Value.ul);
    facts.push_back(isTime ? value->Value.ft.dwHighDateTime : 0);
}

void AddTexts(const SPropValue* value, Facts& facts) {
    const ULONG count =
        value && PROP_TYPE(value->ulPropTag) == PT_MV_UNICODE ? value->Value.MVszW.cValues : 0;
    facts.push_back(count);
    for (ULONG i = 0; i < count; ++i) {
        for (const wchar_t* text = value->Value.MVszW.lppszW[i]; text && *text; ++text)
            facts.push_back(*text);
        facts.push_back(0);
    }
}

void ReadApntSubject(const TPlan& p, const TRuleItem& side, Facts& facts) {
    AddPresence(side.item, PR_SUBJECT_W, facts);
    AddNumber(Filled(side.item, p.tagApntDuration), facts);
}

void ReadCompanyContact(const TPlan& p, const TRuleItem& side, Facts& facts) {
    const SPropValue* company = FilledDerived(p, side.item, propexCompanyContact);
    facts.push_back(!company ? 2 : company->Value.b != 0);
}

void ReadNames(const TPlan&, const TRuleItem& side, Facts& facts) {
    AddPresence(side.item, PR_GIVEN_NAME_W, facts);
    AddPresence(side.item, PR_SURNAME_W, facts);
}

// Names, e-mails and addresses that are compared are known by their nodes.
void ReadFirstLast(const TPlan& p, const TRuleItem& side, Facts& facts) {
    if (!ComparesNamesEmailsAndPhones(p)) return;
    ReadNames(p, side, facts);
    ReadCompanyContact(p, side, facts);
    AddNumber(Filled(side.item, PR_BIRTHDAY), facts);
    for (const auto& filed : side.NodesIn(*p.FindComparedDerived(propexAnyPhone))) {
        if ((filed.mask & kPersonalPhones) != 0) facts.push_back(filed.node);
    }
    facts.push_back(kNone);
    if (!p.FindComparedDerived(propexAnyAddress))
        AddTexts(FilledDerived(p, side.item, propexAnyAddress), facts);
}

void ReadSubject(const TPlan&, const TRuleItem& side, Facts& facts) {
    AddPresence(side.item, PR_SUBJECT_W, facts);
}

void ReadTaskDates(const TPlan& p, const TRuleItem& side, Facts& facts) {
    AddPresence(side.item, p.tagTaskStartDate, facts);
    AddPresence(side.item, p.tagTaskDueDate, facts);
}

// The duration of an item with a subject is not asked for.
void ReadJrnlSubject(const TPlan& p, const TRuleItem& side, Facts& facts) {
    AddPresence(side.item, PR_SUBJECT_W, facts);
    if (IsEmpty(side.item, PR_SUBJECT_W)) AddNumber(Filled(side.item, p.tagJrnlDuration), facts);
}

// ---- The rules

struct TRule {
    unsigned number;
    const char* shortName;
    const char* longName;
    void (*need)(TPlan& p, IMessage* item);
    void (*read)(const TPlan& p, const TRuleItem& item, Facts& facts);
    bool (*exempts)(const TPair& pair);
};

constexpr TRule kRules[] = {
    {cleApntSubject, "cleApntSubject", "cleApntSubject (if_SubjectEmptyAtLeastOneSide_then_CompareDuration)",
     NeedApntSubject, ReadApntSubject, ApntSubject},
    {cleContCompanyContact, "cleContCompanyContact",
     "cleContCompanyContact (CompanyContact_notequal_PersonalContact)", NeedCompanyContact,
     ReadCompanyContact, CompanyContact},
    {cleContFirstLastOnDiffSides, "cleContFirstLastOnDiffSides", "cleContFirstLastOnDiffSides", NeedNames,
     ReadNames, FirstLastOnDiffSides},
    {cleContFirstLast, "cleContFirstLast",
     "cleContFirstLast "
     "(FirstOrLastEqual_or_PersonalAndEmpty_then_FindAtLeastOneEqual_from_AnyEmail_or_AnyAddress_or_"
     "AnyPersonalPhone_or_Birthday)",
     NeedFirstLast, ReadFirstLast, FirstLast},
    {cleTaskSubjectEmptyOnOneSide, "cleTaskSubjectEmptyOnOneSide", "cleTaskSubjectEmptyOnOneSide",
     NeedSubject, ReadSubject, SubjectEmptyOnOneSide},
    {cleTaskStartAndDueOnDiffSides, "cleTaskStartAndDueOnDiffSides", "cleTaskStartAndDueOnDiffSides",
     NeedTaskDates, ReadTaskDates, TaskStartAndDueOnDiffSides},
    {cleMailSubjectEmptyOnOneSide, "cleMailSubjectEmptyOnOneSide", "cleMailSubjectEmptyOnOneSide",
     NeedSubject, ReadSubject, SubjectEmptyOnOneSide},
    {cleJrnlSubjectEmptyOnOneSide, "cleJrnlSubjectEmptyOnOneSide", "cleJrnlSubjectEmptyOnOneSide",
     NeedSubject, ReadSubject, SubjectEmptyOnOneSide},
    {cleJrnlSubjectEmptyOnBothSides, "cleJrnlSubjectEmptyOnBothSides",
     "cleJrnlSubjectEmptyOnBothSides (SubjectEmptyOnBothSides_then_CompareDuration)", NeedJrnlSubject,
     ReadJrnlSubject, JrnlSubjectEmptyOnBothSides}};

const TRule* FindRule(unsigned number) {
    for (const TRule& rule : kRules) {
        if (rule.number == number) return &rule;
    }
    return nullptr;
}

}  // namespace

const char* ExceptionName(unsigned number, bool bShort) {
    const TRule* rule = FindRule(number);
    return !rule ? "unknown" : bShort ? rule->shortName : rule->longName;
}

void PrepareExceptions(IMessage* item, TPlan& p) {
    const size_t usual = static_cast<size_t>(p.definitions.Count()) + kUsualSpare;
    for (const unsigned number : p.rules) {
        g_Log.Assert(p.plainTags.Count() <= usual && p.derivedIds.size() <= usual, kPrepareTag, __LINE__,
                     "allocated memory may be not enough\n");
        if (const TRule* rule = FindRule(number)) {
            rule->need(p, item);
            g_Log.Info(3, kPrepareTag, "Use exception (%s)\n", ExceptionName(number, false));
        } else {
            g_Log.Error(kPrepareTag, "Unknown exception (%d)\n", number);
        }
    }
}

void BringInRuleTags(TPlan& p) {
    for (const TRuleTag& needed : kRuleTags) {
        if (p.*needed.tag != 0 || std::ranges::find(p.rules, needed.rule) == p.rules.end()) continue;
        p.*needed.tag = p.tags.CanonicalOf(needed.name);
        if (p.*needed.tag != 0) NeedTag(p, p.*needed.tag);
    }
}

uint32_t TRuleItem::NodeIn(const CCmpData& data) const {
    if (filings.empty()) return data.Tree().NodeOf(item.nIndex);
    const auto filing = std::ranges::find(filings, &data, &TFiling::data);
    return filing == filings.end() || filing->empty ? kNone : filing->node;
}

std::vector<CMultiPtrTree::TFiled> TRuleItem::NodesIn(const CCmpData& data) const {
    std::vector<CMultiPtrTree::TFiled> nodes;
    const auto filing = std::ranges::find(filings, &data, &TFiling::data);
    if (filings.empty()) {
        const auto filed = data.MultiTree().NodesOf(item.nIndex);
        nodes.assign(filed.begin(), filed.end());
    } else if (filing != filings.end()) {
        for (const TElement& element : filing->elements) {
            if (element.node != kNone) nodes.push_back({element.node, element.mask});
        }
    }
    return nodes;
}

void AppendRuleFacts(const TPlan& p, const TRuleItem& item, Facts& facts) {
    for (const unsigned number : p.rules) {
        if (const TRule* rule = FindRule(number)) rule->read(p, item, facts);
    }
}

bool IsExempt(const TPlan& p, const TRuleItem& item, const TRuleItem& equal, bool logged) {
    logged = logged && g_Log.IsExtra();
    const TPair pair{p, item, equal};
    for (const unsigned number : p.rules) {
        const TRule* rule = FindRule(number);
        if (!rule) continue;
        if (logged) {
            g_Log.Extra(L"\t\tCheckException( Item[%d], Item[%d], %s ):\n",
                        static_cast<int>(item.item.nIndex), static_cast<int>(equal.item.nIndex),
                        base::Widen(ExceptionName(number, true)).c_str());
        }
        const bool exempt = rule->exempts(pair);
        if (logged) g_Log.Extra(L"\t\t\tRESULT: %s\n", exempt ? L"EXCEPTION" : L"SKIP");
        if (exempt) return true;
    }
    return false;
}

}  // namespace dupsearch
