#include "similar/CCandidateIndex.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "base/room.h"
#include "log/CLog.h"
#include "similar/dates.h"

namespace similar {

using logging::g_Log;

namespace {

/// What a key is made of.
enum ERole : unsigned {
    roleText,  // the units themselves, by which a value is known
    roleKey,
    rolePart,
    roleDay,
    roleWhole,
    roleBeginning,
    roleWithoutUnit,
    roleHead,
    roleTail,
    roleCount
};

using TWeights = std::span<const CUnitWeights::TWeight>;

/// Texts of more units are rarely in two contacts: each is filed anew.
constexpr size_t kLongestKnown = 64;
/// Texts of more weights are filed under their ends only.
constexpr size_t kHalf = 24;
constexpr size_t kShort = 2 * (kHalf + CUnitWeights::kMostWeights);
/// A phone number with more digits is never compared as a whole but for being equal.
constexpr size_t kDigitsOfWhole = 2;
/// Keys of a contact whose values are all new.
constexpr size_t kUsualTags = 128;
/// Fewer contacts that are no more are not worth the renewing.
constexpr unsigned kFewRetired = 1000;

uint64_t Mix(uint64_t number) {
    number = (number ^ number >> 30) * 0xBF58476D1CE4E5B9u;
    number = (number ^ number >> 27) * 0x94D049BB133111EBu;
    return number ^ number >> 31;
}

/// What a key is filed under. space: of one field or of a group.
uint32_t Tag(int space, ERole role, uint64_t hash) {
    const uint64_t kind = static_cast<unsigned>(space) * roleCount + role + 1;
    return static_cast<uint32_t>(Mix(hash + kind * 0x9E3779B97F4A7C15u) >> 32);
}

/// The hash of a sequence of weights is a polynomial, so that those of its parts can be put together.
constexpr uint64_t kBase = 0x9E3779B97F4A7C15u;

uint64_t Appended(uint64_t hash, CUnitWeights::TWeight weight) {
    return hash * kBase + weight + 1;
}

struct TPowers {
    uint64_t of[kShort + CUnitWeights::kMostWeights + 1];
};
constexpr TPowers Powers() {
    TPowers powers{};
    uint64_t power = 1;
    for (uint64_t& of : powers.of) {
        of = power;
        power *= kBase;
    }
    return powers;
}
constexpr TPowers kPowers = Powers();

/// The weights of a text, hashed, and where each unit that has some begins among them.
struct TWeighed {
    uint64_t whole = 0;
    size_t count = 0;  // of all weights
    uint64_t head = 0;
    bool startsWithNothing = false;  // its first unit has none
    size_t units = 0;                // that begin within the first kShort weights
    struct TBegin {
        uint64_t hash;
        size_t count;
    } begins[kShort + 2];  // what stands in front of each, and the end

    TWeighed(const TText& text, const CUnitWeights& weights) {
        for (const wchar_t* unit = text.text; *unit; ++unit) {
            const TWeights own = weights.Of(*unit);
            if (own.empty()) {
                startsWithNothing = startsWithNothing || unit == text.text;
                continue;
            }
            if (count <= kShort) begins[units++] = {whole, count};
            for (const auto weight : own) {
                whole = Appended(whole, weight);
                if (++count == kHalf) head = whole;
            }
        }
        if (count <= kShort) begins[units] = {whole, count};
    }
    bool IsShort() const { return count <= kShort; }
    /// So that a unit more or less may make it a long one.
    bool IsNearlyLong() const { return count + CUnitWeights::kMostWeights > kShort; }
    uint64_t Without(size_t unit) const {
        const TBegin& behind = begins[unit + 1];
        return whole + (begins[unit].hash - behind.hash) * kPowers.of[count - behind.count];
    }
    /// Of the last kHalf weights.
    uint64_t Tail(const TText& text, const CUnitWeights& weights) const {
        uint64_t hash = 0;
        size_t seen = 0;
        for (const wchar_t* unit = text.text; *unit; ++unit)
            for (const auto weight : weights.Of(*unit))
                if (++seen > count - kHalf) hash = Appended(hash, weight);
        return hash;
    }
};
static_assert(kHalf + CUnitWeights::kMostWeights <= kShort);

/// Calls take(role, hash) for each key of a text of units.
template <typename Take>
void ForEachKey(const TText& text, bool hasBeginnings, const CUnitWeights& weights, Take&& take) {
    const TWeighed weighed(text, weights);
    take(roleWhole, weighed.whole);
    if (hasBeginnings) {
        if (weighed.startsWithNothing) take(roleBeginning, 0);
        for (size_t unit = 1; unit < weighed.units; ++unit) take(roleBeginning, weighed.begins[unit].hash);
    }
    if (weighed.IsShort() && text.length > 1)
        for (size_t unit = 0; unit < weighed.units; ++unit) take(roleWithoutUnit, weighed.Without(unit));
    if (!weighed.IsNearlyLong()) return;
    take(roleHead, weighed.head);
    take(roleTail, weighed.Tail(text, weights));
}

/// The texts of a phone number that its methods compare by units: its digits, or the whole.
template <typename Take>
void ForEachPhoneText(const TFieldText& phone, Take&& take) {
    if (phone.part.length > 0) take(phone.part);
    if (phone.part.length <= kDigitsOfWhole) take(phone.whole);
}

bool IsKnownByUnits(const TText& text) {
    return text.length <= kLongestKnown;
}

uint32_t TextTag(int space, const TText& text) {
    uint64_t hash = text.length;
    for (size_t i = 0; i < text.length; ++i) hash = Appended(hash, text.text[i]);
    return Tag(space, roleText, hash);
}

}  // namespace

void CCandidateIndex::Create(const TContactFields& fields, const TRuleTables& tables) {
    *this = CCandidateIndex();
    const TSimilarPropIndexes& indexes = fields.indexes;
    m_rules = BuildCandidateRules(tables, indexes);
    m_unkeyed = m_rules.all;
    m_nFirstName = indexes.FirstName;
    m_nLastName = indexes.LastName;
    const auto spaceOf = [&indexes](int field) {
        const auto isMember = [field](const auto& group) {
            return std::find(group.begin(), group.end(), field) != group.end();
        };
        if (isMember(indexes.StreetAddresses)) return indexes.StreetAddresses[0];
        if (isMember(indexes.Phones)) return indexes.Phones[0];
        return isMember(indexes.Emails) ? indexes.Emails[0] : field;
    };
    for (int field = 0; field < fields.Count(); ++field) {
        if (!(m_rules.all & SetOf(field))) continue;
        const TMethods& methods = MethodsOf(field);
        const auto has = [&methods](ECompareMethod method) {
            return std::find(methods.begin(), methods.end(), method) != methods.end();
        };
        const bool isDate = fields.IsDate(field);
        if (field == indexes.Notes || (!isDate && fields.TypeOf(field) != PT_UNICODE)) continue;
        const EKeys keys = isDate                     ? EKeys::Day
                           : has(Last7Digits)         ? EKeys::Phone
                           : ComparesByUnits(methods) ? EKeys::Units
                           : has(HttpUrlCompare)      ? EKeys::Url
                                                      : EKeys::Text;
        m_fields.push_back({field, spaceOf(field), keys, has(StartWith)});
        m_unkeyed &= ~SetOf(field);
    }
}

bool CCandidateIndex::IsWorn() const {
    return m_nRetired > kFewRetired && m_nRetired > m_marks.size() / 2;
}

// ---- Filing ----

CCandidateIndex::TKeys CCandidateIndex::Prepare(const TItemProps& contact, const CUnitWeights& weights) {
    TKeys keys;
    keys.indexed.number = static_cast<unsigned>(m_marks.size());
    keys.held.reserve(m_fields.size());
    keys.newValues.reserve(m_fields.size());
    keys.newTags.reserve(kUsualTags);
    for (const TKeyedField& keyed : m_fields) PrepareField(keyed, contact, weights, keys);
    ReserveRoom(keys);
    return keys;
}

void CCandidateIndex::PrepareField(const TKeyedField& keyed, const TItemProps& contact,
                                   const CUnitWeights& weights, TKeys& keys) const {
    if (keyed.keys == EKeys::Day) {
        PrepareDay(keyed, contact.values[keyed.field], keys);
        return;
    }
    if (contact.IsOfWrongType(keyed.field)) {
        keys.indexed.always = true;
        return;
    }
    const TFieldText& text = contact.Text(keyed.field);
    if (text.IsEmpty()) return;
    if (keyed.field == m_nFirstName) keys.indexed.hasFirstName = true;
    if (keyed.field == m_nLastName) keys.indexed.hasLastName = true;
    const auto prepareKey = [&](const TText& of, ERole role) {
        if (of.key == 0)
            keys.indexed.always = true;
        else
            PrepareTag(keyed, Tag(keyed.space, role, of.key), keys);
    };
    const auto prepareUnits = [&](const TText& of) { PrepareUnits(keyed, of, weights, keys); };
    switch (keyed.keys) {
        case EKeys::Units:
            prepareUnits(text.whole);
            break;
        case EKeys::Phone:
            prepareKey(text.whole, roleKey);
            ForEachPhoneText(text, prepareUnits);
            break;
        case EKeys::Url:
            if (text.part.length > 0) prepareKey(text.part, rolePart);
            [[fallthrough]];
        default:
            prepareKey(text.whole, roleKey);
    }
}

void CCandidateIndex::PrepareDay(const TKeyedField& keyed, const SPropValue& value, TKeys& keys) const {
    const ULONG type = PROP_TYPE(value.ulPropTag);
    if (type == PT_ERROR) return;
    TDate date{};
    if (type != PT_SYSTIME || MayHaveNoDate(value.Value.ft) || !ToDate(value.Value.ft, &date)) {
        keys.indexed.always = true;
        return;
    }
    if (MayBePlaceholder(value.Value.ft)) keys.indexed.placeholder = true;
    if (!PlaceholderOf(date, value.Value.ft))
        PrepareTag(keyed, Tag(keyed.space, roleDay, static_cast<uint64_t>(DayOf(value.Value.ft))), keys);
}

/// A value that has one key.
void CCandidateIndex::PrepareTag(const TKeyedField& keyed, TTag tag, TKeys& keys) const {
    if (const unsigned value = Find(tag, nullptr, keyed.space); value != kNone) {
        keys.held.push_back(value);
        return;
    }
    keys.newValues.push_back({nullptr, static_cast<uint16_t>(keyed.space), 1});
    keys.newTags.push_back(tag);
}

void CCandidateIndex::PrepareUnits(const TKeyedField& keyed, const TText& text, const CUnitWeights& weights,
                                   TKeys& keys) const {
    if (!text.byUnits) {
        keys.indexed.always = true;
        return;
    }
    const bool isKnown = IsKnownByUnits(text);
    const TTag textTag = isKnown ? TextTag(keyed.space, text) : 0;
    if (isKnown) {
        if (const unsigned value = Find(textTag, &text, keyed.space); value != kNone) {
            keys.held.push_back(value);
            return;
        }
    }
    const size_t before = keys.newTags.size();
    if (isKnown) keys.newTags.push_back(textTag);
    ForEachKey(text, keyed.hasBeginnings, weights, [&](ERole role, uint64_t hash) {
        const TTag tag = Tag(keyed.space, role, hash);
        // Without either of two equal units in a row a text is the same.
        if (keys.newTags.size() == before || keys.newTags.back() != tag) keys.newTags.push_back(tag);
    });
    keys.newValues.push_back(
        {isKnown ? &text : nullptr, static_cast<uint16_t>(keyed.space), keys.newTags.size() - before});
}

/// The value of this tag: of this text, or whatever has the tag.
unsigned CCandidateIndex::Find(TTag tag, const TText* text, int space) const {
    for (unsigned at = Head(tag); at != kNone; at = m_postings[at].next) {
        const TPosting& posting = m_postings[at];
        if (posting.tag != tag) continue;
        if (!text) return posting.value;
        const TValue& value = m_values[posting.value];
        if (value.text != kNone && value.space == space && value.length == text->length &&
            std::equal(text->text, text->text + text->length, &m_texts[value.text]))
            return posting.value;
    }
    return kNone;
}

unsigned CCandidateIndex::Head(TTag tag) const {
    return m_heads.empty() ? kNone : m_heads[tag & (m_heads.size() - 1)];
}

void CCandidateIndex::ReserveRoom(const TKeys& keys) {
    size_t units = 0;
    for (const TNewValue& value : keys.newValues) units += value.text ? value.text->length : 0;
    base::MakeRoom(m_values, m_values.size() + keys.newValues.size());
    base::MakeRoom(m_holders, m_holders.size() + keys.held.size() + keys.newValues.size());
    base::MakeRoom(m_texts, m_texts.size() + units);
    base::MakeRoom(m_marks, m_marks.size() + 1);
    const size_t postings = m_postings.size() + keys.newTags.size();
    base::MakeRoom(m_postings, postings);
    if (postings <= m_heads.size()) return;
    std::vector<unsigned> heads(std::bit_ceil(postings), kNone);
    for (size_t i = 0; i < m_postings.size(); ++i) {
        unsigned& head = heads[m_postings[i].tag & (heads.size() - 1)];
        m_postings[i].next = std::exchange(head, static_cast<unsigned>(i));
    }
    m_heads.swap(heads);
}

TIndexed CCandidateIndex::File(const TKeys& keys) {
    m_marks.push_back({0, keys.indexed.always, keys.indexed.placeholder, keys.indexed.hasFirstName,
                       keys.indexed.hasLastName, 0});
    for (const unsigned value : keys.held) Hold(keys.indexed.number, value);
    size_t tag = 0;
    for (const TNewValue& added : keys.newValues) {
        const auto value = static_cast<unsigned>(m_values.size());
        TValue filed{kNone, 0, kNone, 0, added.space};
        if (added.text) {
            filed.text = static_cast<unsigned>(m_texts.size());
            filed.length = static_cast<uint16_t>(added.text->length);
            m_texts.insert(m_texts.end(), added.text->text, added.text->text + added.text->length);
        }
        m_values.push_back(filed);
        for (size_t i = 0; i < added.tags; ++i, ++tag) {
            unsigned& head = m_heads[keys.newTags[tag] & (m_heads.size() - 1)];
            const auto at = static_cast<unsigned>(m_postings.size());
            m_postings.push_back({keys.newTags[tag], value, std::exchange(head, at)});
        }
        Hold(keys.indexed.number, value);
    }
    return keys.indexed;
}

void CCandidateIndex::Hold(unsigned contact, unsigned value) {
    const auto at = static_cast<unsigned>(m_holders.size());
    m_holders.push_back({contact, std::exchange(m_values[value].holders, at)});
}

// ---- Collecting ----

void CCandidateIndex::Collect(const TItemProps& searchBy, const CUnitWeights& weights) {
    if (++m_nCollection == 0) {
        for (TMark& mark : m_marks) mark.collection = 0;
        m_nCollection = 1;
    }
    m_nCollected = static_cast<unsigned>(m_marks.size());
    if (searchBy.indexed.always) return;
    for (const TKeyedField& keyed : m_fields) CollectField(keyed, searchBy, weights);
}

void CCandidateIndex::CollectField(const TKeyedField& keyed, const TItemProps& searchBy,
                                   const CUnitWeights& weights) {
    const TFieldSet field = SetOf(keyed.field);
    BeginLook();
    if (keyed.keys == EKeys::Day) {
        const SPropValue& value = searchBy.values[keyed.field];
        if (PROP_TYPE(value.ulPropTag) != PT_SYSTIME) return;
        const int64_t day = DayOf(value.Value.ft);
        for (int64_t other = day - kMostDaysApart; other <= day + kMostDaysApart; ++other)
            CollectTag(Tag(keyed.space, roleDay, static_cast<uint64_t>(other)), field);
        return;
    }
    const TFieldText& text = searchBy.Text(keyed.field);
    if (text.IsEmpty()) return;
    const auto collectUnits = [&](const TText& of) { CollectUnits(keyed, of, weights); };
    switch (keyed.keys) {
        case EKeys::Units:
            collectUnits(text.whole);
            break;
        case EKeys::Phone:
            CollectTag(Tag(keyed.space, roleKey, text.whole.key), field);
            ForEachPhoneText(text, collectUnits);
            break;
        case EKeys::Url:
            CollectTag(Tag(keyed.space, rolePart, text.part.key), field);
            [[fallthrough]];
        default:
            CollectTag(Tag(keyed.space, roleKey, text.whole.key), field);
    }
    // A name that is the other name of the other contact is enough for every rule of names.
    if (keyed.field != m_nFirstName && keyed.field != m_nLastName) return;
    BeginLook();
    const int other = keyed.field == m_nFirstName ? m_nLastName : m_nFirstName;
    CollectTag(Tag(other, roleWhole, TWeighed(text.whole, weights).whole),
               SetOf(m_nFirstName) | SetOf(m_nLastName));
}

void CCandidateIndex::CollectUnits(const TKeyedField& keyed, const TText& text, const CUnitWeights& weights) {
    const TFieldSet field = SetOf(keyed.field);
    ForEachKey(text, keyed.hasBeginnings, weights, [&](ERole role, uint64_t hash) {
        const auto lookAmong = [&](ERole filed) { CollectTag(Tag(keyed.space, filed, hash), field); };
        lookAmong(role == roleBeginning ? roleWhole : role);
        if (role == roleWithoutUnit) lookAmong(roleWhole);
        if (role != roleWhole) return;
        lookAmong(roleWithoutUnit);
        if (keyed.hasBeginnings) lookAmong(roleBeginning);
    });
}

/// What is looked up from here on for the same fields meets each value once.
void CCandidateIndex::BeginLook() {
    if (++m_nLook != 0) return;
    for (TValue& value : m_values) value.seen = 0;
    m_nLook = 1;
}

void CCandidateIndex::CollectTag(TTag tag, TFieldSet fields) {
    for (unsigned at = Head(tag); at != kNone; at = m_postings[at].next) {
        const TPosting& posting = m_postings[at];
        if (posting.tag != tag) continue;
        TValue& value = m_values[posting.value];
        if (std::exchange(value.seen, m_nLook) == m_nLook) continue;
        for (unsigned holder = value.holders; holder != kNone; holder = m_holders[holder].next) {
            TMark& mark = m_marks[m_holders[holder].contact];
            if (std::exchange(mark.collection, m_nCollection) != m_nCollection) mark.fields = 0;
            mark.fields |= fields;
        }
    }
}

bool CCandidateIndex::IsCandidate(const TItemProps& searchBy, unsigned checked) const {
    const TIndexed& one = searchBy.indexed;
    if (one.always || checked >= m_nCollected) return true;
    const TMark& other = m_marks[checked];
    if (other.always) return true;
    if ((one.placeholder || other.placeholder) && g_Log.IsLevel(kPlaceholderLevel)) return true;
    const TFieldSet matched = m_unkeyed | (other.collection == m_nCollection ? other.fields : 0);
    const auto nameOk = [&](bool both, int field) { return !both || (matched & SetOf(field)); };
    return matched != 0 &&
           m_rules.MayHaveVerdict(matched, nameOk(one.hasFirstName && other.hasFirstName, m_nFirstName),
                                  nameOk(one.hasLastName && other.hasLastName, m_nLastName));
}

}  // namespace similar
