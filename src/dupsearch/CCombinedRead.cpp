#include "dupsearch/CCombinedRead.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "compare/derived_value.h"
#include "compare/propex.h"

namespace {

/// Whether a value of this type is copied with what store::OutsideOf finds.
bool IsCopied(ULONG type) {
    switch (type) {
        case PT_I2:
        case PT_LONG:
        case PT_R4:
        case PT_DOUBLE:
        case PT_CURRENCY:
        case PT_APPTIME:
        case PT_BOOLEAN:
        case PT_I8:
        case PT_SYSTIME:
        case PT_STRING8:
        case PT_UNICODE:
        case PT_BINARY:
        case PT_CLSID:
            return true;
        default:
            return false;
    }
}

/// Where what a value of this type keeps outside goes, after what ends there.
size_t PlaceOf(ULONG type, size_t end) {
    const size_t alignment = type == PT_STRING8   ? alignof(char)
                             : type == PT_UNICODE ? alignof(wchar_t)
                                                  : alignof(void*);
    return (end + alignment - 1) & ~(alignment - 1);
}

}  // namespace

CCombinedRead::CCombinedRead(const CTagArray& plainTags, std::span<const unsigned> derivedIds)
    : m_plainTags(plainTags) {
    if (!std::ranges::all_of(plainTags, [](ULONG tag) { return IsCopied(PROP_TYPE(tag)); })) return;
    for (size_t i = 0; i < derivedIds.size(); ++i) {
        if (DerivedTextsTag(derivedIds[i]) != 0) m_parts.push_back({i, derivedIds[i]});
    }
}

/// False when there are none but the plain ones.
bool CCombinedRead::FindTags(const CKnownNames& names) {
    if (m_names == &names) return true;
    m_names = &names;
    m_tags = m_plainTags;
    for (Part& part : m_parts) {
        part.first = m_tags.Count();
        // Such a name is asked for again with the next item.
        if (!AppendTextTags(part.id, names, m_tags)) m_names = nullptr;
        part.count = m_tags.Count() - part.first;
    }
    return m_tags.Count() > m_plainTags.Count();
}

/// False when there is a value that was not asked for.
bool CCombinedRead::Measure(const SPropValue* values) {
    m_outside.clear();
    m_elements = m_outsideSize = 0;
    for (ULONG i = 0; i < m_tags.Count(); ++i) {
        const ULONG type = PROP_TYPE(values[i].ulPropTag);
        // A store may say of a value that the request is too large for it.
        if (type == PT_ERROR ? values[i].Value.err != MAPI_E_NOT_FOUND : type != PROP_TYPE(m_tags[i]))
            return false;
        store::Outside data = store::OutsideOf(values[i]);
        if (i >= m_plainTags.Count()) {
            // Empty texts are no elements.
            if (data.size == sizeof(wchar_t)) data = {};
            if (data.data) ++m_elements;
        }
        if (data.data) m_outsideSize = PlaceOf(type, m_outsideSize) + data.size;
        m_outside.push_back(data);
    }
    return true;
}

size_t CCombinedRead::SizeOfBlock() const {
    return (m_plainTags.Count() + m_parts.size()) * sizeof(SPropValue) + m_elements * sizeof(wchar_t*) +
           m_outsideSize;
}

/// The block: plain values, derived values, their arrays of elements, then what all these refer to.
void CCombinedRead::Copy(const SPropValue* values, SPropValue* block, TItem& item) const {
    SPropValue* derived = block + m_plainTags.Count();
    auto** element = reinterpret_cast<wchar_t**>(derived + m_parts.size());
    auto* const outside = reinterpret_cast<std::byte*>(element + m_elements);
    size_t end = 0;
    const auto keep = [&](ULONG i) {
        const size_t place = PlaceOf(PROP_TYPE(values[i].ulPropTag), end);
        end = place + m_outside[i].size;
        return std::memcpy(outside + place, m_outside[i].data, m_outside[i].size);
    };
    for (ULONG i = 0; i < m_plainTags.Count(); ++i) {
        block[i] = values[i];
        if (!m_outside[i].data) continue;
        void* const kept = keep(i);
        if (PROP_TYPE(values[i].ulPropTag) == PT_BINARY) {
            block[i].Value.bin.lpb = static_cast<BYTE*>(kept);
        } else {
            block[i].Value.lpszA = static_cast<char*>(kept);
        }
    }
    for (const Part& part : m_parts) {
        if (part.count == 0) continue;
        TDerivedValue& target = item.derived[part.derived];
        *derived = {};
        SWStringArray& texts = derived->Value.MVszW;
        texts.lppszW = element;
        for (ULONG kind = 0; kind < part.count; ++kind) {
            if (!m_outside[part.first + kind].data) continue;
            target.kinds[texts.cValues++] = static_cast<unsigned char>(kind);
            *element++ = static_cast<wchar_t*>(keep(part.first + kind));
        }
        derived->ulPropTag = DerivedTextsTag(part.id);
        if (texts.cValues == 0) SetNotFound(*derived, PROP_ID(derived->ulPropTag));
        target.value = derived++;
    }
}

void CCombinedRead::Read(IMessage* message, const CKnownNames& names, TItem& item,
                         std::pmr::memory_resource& memory) {
    if (m_parts.empty() || !FindTags(names)) return;
    ULONG count = 0;
    MapiBuffer<SPropValue> values;
    const HRESULT hr = store::GetProps(message, m_tags.Get(), &count, values);
    if (!store::IsReadSuccess(hr) || count != m_tags.Count() || !Measure(values.get())) return;
    item.values = static_cast<SPropValue*>(memory.allocate(SizeOfBlock()));
    Copy(values.get(), item.values, item);
    item.cValues = m_plainTags.Count();
}
