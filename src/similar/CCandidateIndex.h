#pragma once
// Which cached contacts can resemble the one that is searched by: an index from keys of field values to contacts.
//
// Most contacts share nothing with another, and holding two of them against each other is expensive. Each contact is
// filed under keys of the fields that a verdict may begin with; a contact that shares too few keys with the
// search-by contact for any rule is no candidate: its verdict is "no match", without a comparison.
//
// What it promises: two contacts of which one is no candidate of the other have no verdict, and comparing them
// leaves no line in the log. It is wrong to one side only, method by method (a key is of one field, or of all
// fields of a group, whose values may match across; weights are those of CUnitWeights):
//
//   Exact             the sort key, or the weights where the field has keys of weights: equal texts have both equal.
//   StartWith         the weights of one whole text are those of a beginning of the other. Filed under: the
//                     whole, each beginning. Looked up: the whole among wholes and beginnings, each beginning
//                     among wholes.
//   MissChar,         one whole is the other without a unit, or both are the same without one unit each. Filed
//   DiffChar          under and looked up by the whole, and the whole without each unit in turn.
//   the same, of      Of a text of more than kShort weights the first and the last kHalf stand for all these:
//   long texts        one of the two is in front of or behind the unit that differs, and where one text begins
//                     the other the first are the same. A little shorter ones have both kinds of keys, so
//                     that a short one finds its long neighbour.
//   Last7Digits,      the same over the last digits, or over the whole of a number with at most two of them, which
//   ...1Miss, ...1Diff may be compared as a whole; and the sort key of the whole.
//   HttpUrlCompare    the sort key of the normalised address.
//   Intercept         no keys: no rule needs a list of texts but as the third field of a pair.
//   names             first and last name each by their own keys; and the whole last name is looked up among the
//                     first names and the other way round, since in each reversed mode one of the two is equal.
//   dates             the day of UTC: one local date is never more than two of them away.
//
// A contact counts as a candidate whatever its keys when it holds a text without a sort key or one whose weights
// are not those of its units (in a field with keys of weights), a value of a wrong type, which leaves an error line
// wherever it is compared, or, while the log takes its third level, a birthday that may be a placeholder.
// A field of the rules that has no keys (none has today) counts as matching everywhere.
//
// It only grows: a contact that leaves is forgotten by renewing the index when it is worn. Lives in one search and
// sees its locale.

#include <cstdint>
#include <vector>

#include "similar/TCandidateRules.h"
#include "similar/TItemProps.h"

namespace similar {

class CCandidateIndex {
    using TTag = uint32_t;
    struct TNewValue {
        const TText* text;  // null where none is kept
        uint16_t space;
        size_t tags;  // how many of the new tags are its own
    };

  public:
    /// What a contact is to be filed under. Refers to its texts.
    struct TKeys {
        TIndexed indexed;
        std::vector<unsigned> held;  // values that are known already
        std::vector<TNewValue> newValues;
        std::vector<TTag> newTags;
    };

    void Create(const TContactFields& fields, const TRuleTables& tables);

    /// Works out the keys of a contact whose texts are prepared, and makes room for them. Exhausted memory throws,
    /// and nobody sees a difference.
    TKeys Prepare(const TItemProps& contact, const CUnitWeights& weights);
    /// Files a contact under the keys that were prepared last, and gives what to keep at it. Cannot fail.
    TIndexed File(const TKeys& keys);
    /// A filed contact is no more.
    void Retire() { ++m_nRetired; }
    /// Most of what is filed is no more: filing the others in a new index costs less than looking it all through.
    bool IsWorn() const;

    /// Finds all that shares a key with this contact, of which a number is filed. Cannot fail.
    void Collect(const TItemProps& searchBy, const CUnitWeights& weights);
    /// Whether the two may have a verdict or leave a line in the log. searchBy: the contact last collected for;
    /// whoever was filed later is a candidate.
    /// checked: by its number.
    bool IsCandidate(const TItemProps& searchBy, unsigned checked) const;

  private:
    static constexpr unsigned kNone = ~0u;
    enum class EKeys : uint8_t { Text, Url, Units, Phone, Day };

    /// A field that is filed, and the methods that its keys stand for.
    struct TKeyedField {
        int field;
        int space;  // fields of one space match across
        EKeys keys;
        bool hasBeginnings;
    };
    /// What contacts hold. A text is known by its units, so that it is filed under its many keys once.
    struct TValue {
        unsigned holders;  // the first of a chain
        unsigned seen;     // the last look that met it
        unsigned text;  // position in m_texts; kNone for what its key tells, or what is filed anew each time
        uint16_t length;
        uint16_t space;
    };
    struct TPosting {
        TTag tag;
        unsigned value;
        unsigned next;
    };
    struct THolder {
        unsigned contact;
        unsigned next;
    };
    /// All that a check of a contact asks for, side by side in the order of filing.
    struct TMark {
        unsigned collection = 0;  // what the fields are of
        bool always = false;
        bool placeholder = false;
        bool hasFirstName = false;
        bool hasLastName = false;
        TFieldSet fields = 0;
    };

    void PrepareField(const TKeyedField& keyed, const TItemProps& contact, const CUnitWeights& weights,
                      TKeys& keys) const;
    void PrepareDay(const TKeyedField& keyed, const SPropValue& value, TKeys& keys) const;
    void PrepareTag(const TKeyedField& keyed, TTag tag, TKeys& keys) const;
    void PrepareUnits(const TKeyedField& keyed, const TText& text, const CUnitWeights& weights,
                      TKeys& keys) const;
    unsigned Find(TTag tag, const TText* text, int space) const;
    unsigned Head(TTag tag) const;
    void ReserveRoom(const TKeys& keys);
    void Hold(unsigned contact, unsigned value);

    void CollectField(const TKeyedField& keyed, const TItemProps& searchBy, const CUnitWeights& weights);
    void CollectUnits(const TKeyedField& keyed, const TText& text, const CUnitWeights& weights);
    void BeginLook();
    void CollectTag(TTag tag, TFieldSet fields);

    TCandidateRules m_rules;
    TFieldSet m_unkeyed = 0;  // fields of the rules without keys
    std::vector<TKeyedField> m_fields;
    int m_nFirstName = -1, m_nLastName = -1;

    std::vector<unsigned> m_heads;  // of the chains of postings, by the low bits of their tags
    std::vector<TPosting> m_postings;
    std::vector<TValue> m_values;
    std::vector<THolder> m_holders;
    std::vector<wchar_t> m_texts;
    std::vector<TMark> m_marks;  // by number
    unsigned m_nRetired = 0;

    unsigned m_nCollection = 0;
    unsigned m_nCollected = 0;  // contacts filed by then
    unsigned m_nLook = 0;
};

}  // namespace similar
