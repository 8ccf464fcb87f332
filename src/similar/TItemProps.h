#pragma once
// What the similar search keeps of a contact: its identity, the values of the compared fields, and what
// comparisons need of them, worked out once.
//
// Owns everything that it refers to. Texts that it gives out live as long as it does. What it keeps besides the
// platform's values comes from one memory resource, which outlives it.

#include <windows.h>
#include <mapidefs.h>

#include <algorithm>
#include <vector>

#include "items/CItemReader.h"
#include "items/TItemValues.h"
#include "similar/TIndexed.h"
#include "similar/fields.h"
#include "similar/text_match.h"

namespace similar {

/// Who a contact is, where it comes from and which version of it.
struct TItemInfo {
    TItemInfo(items::CItemReader::TStore& from, std::pmr::memory_resource* memory)
        : store(&from), entryId(memory), fileAs(memory), fullName(memory) {}

    items::CItemReader::TStore* store;
    std::pmr::string entryId;  // upper-case hexadecimal text
    std::pmr::wstring fileAs;
    std::pmr::wstring fullName;
    FILETIME lastModification{};  // 0 when unreadable
};

/// The plain values are one a field, in the order of the field list.
struct TItemProps : TItemInfo, items::TPlainValues {
    static constexpr size_t kEmailCount = 3;
    static constexpr size_t kStoredBody = 511;

    /// Takes its memory from where the identity has it.
    TItemProps(TItemInfo info, items::TPlainValues plain)
        : TItemInfo(std::move(info)),
          items::TPlainValues(std::move(plain)),
          body(fullName.get_allocator()),
          m_texts(fullName.get_allocator()),
          m_kept(fullName.get_allocator()) {}
    TItemProps(const TItemProps&) = delete;
    TItemProps& operator=(const TItemProps&) = delete;

    long filledCount = -1;
    long otherFilledCount = -1;                                // -1 until counted
    const wchar_t* smtpEmails[kEmailCount] = {L"", L"", L""};  // into the values, or kept
    std::pmr::wstring body;  // the start of the trimmed body, at most kStoredBody characters
    int bodyLength = 0;      // of the whole trimmed body
    ULONG bodyHash = 0;      // of the whole trimmed body in lower case
    TIndexed indexed;        // what the index of candidates knows it by

    /// The time of a field, null when it has none. A value of another type leaves an error line.
    const FILETIME* ft(int field) const;
    /// The text of a field, "" when it has none. A value of another type leaves an error line and gives null.
    const wchar_t* szw(int field) const;
    bool IsEmpty(int field) const;
    /// The text of a field as it is compared and shown: an e-mail in its SMTP form.
    const TFieldText& Text(int field) const;

    /// Keeps a copy of a text.
    const wchar_t* Keep(const wchar_t* text) { return m_kept.emplace_front(text).c_str(); }
    /// Keeps the trimmed text of a body, which it changes.
    void TakeBody(wchar_t* text, size_t length);
    bool HasSameBody(const TItemProps& other) const;
    /// Works out what comparisons need, once values and e-mails are complete.
    void PrepareTexts(const TContactFields& fields, CUnitWeights* weights);
    /// Of all filled fields that are counted so far.
    unsigned AllFilled() const {
        return static_cast<unsigned>(std::max(filledCount, 0L) + std::max(otherFilledCount, 0L));
    }
    /// Whether asking for the text of a field leaves an error line.
    bool IsOfWrongType(int field) const { return m_slots[field] == kWrongType; }

  private:
    /// Positions in m_texts, which begins with an empty text for all fields without one.
    using TSlot = unsigned char;
    static constexpr TSlot kNoText = 0;
    static constexpr TSlot kWrongType = 255;

    TSlot m_slots[kFieldCapacity] = {};
    std::pmr::vector<TFieldText> m_texts;
    TKeptTexts m_kept;
};

}  // namespace similar
