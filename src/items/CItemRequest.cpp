#include "items/CItemRequest.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "compare/company_contact.h"
#include "compare/derived_value.h"
#include "compare/propex.h"
#include "compare/recipient_builder.h"
#include "log/CLog.h"
#include "store/checked_calls.h"
#include "store/one_mvalue.h"
#include "store/properties.h"

namespace items {

using compare::CNames;
using compare::CTagArray;
using enum compare::EPropEx;
using logging::g_Log;
using store::MapiBuffer;

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

CItemRequest::CItemRequest(const CDefinedTags& tags, size_t store, CTagArray plainTags,
                           std::span<const unsigned> derivedIds)
    : m_plainTags(std::move(plainTags)),
      m_plain(tags, store, m_plainTags),
      m_bCanonical(tags.IsCanonicalIn(store)) {
    if (!std::ranges::all_of(m_plainTags, [](ULONG tag) { return IsCopied(PROP_TYPE(tag)); })) return;
    for (size_t i = 0; i < derivedIds.size(); ++i) {
        if (compare::DerivedTextsTag(derivedIds[i]) != 0) m_parts.push_back({i, derivedIds[i]});
    }
}

/// False when there are none but the plain ones.
bool CItemRequest::FindTags(const CNames& names) {
    if (m_bHasAllParts) return true;
    m_bHasAllParts = true;
    m_tags = m_plain.own;
    for (TPart& part : m_parts) {
        part.first = m_tags.Count();
        // Such a name is asked for again with the next item.
        if (!compare::AppendTextTags(part.id, names, m_tags)) m_bHasAllParts = false;
        part.count = m_tags.Count() - part.first;
    }
    return m_tags.Count() > m_plain.own.Count();
}

/// False when there is a value that was not asked for.
bool CItemRequest::Measure(const SPropValue* values, TMeasure& measure) const {
    measure.outside.reserve(m_tags.Count());
    for (ULONG i = 0; i < m_tags.Count(); ++i) {
        const ULONG type = PROP_TYPE(values[i].ulPropTag);
        // A store may say of a value that the request is too large for it.
        if (type == PT_ERROR ? values[i].Value.err != MAPI_E_NOT_FOUND : type != PROP_TYPE(m_tags[i]))
            return false;
        store::TOutside data = store::OutsideOf(values[i]);
        if (i >= m_plain.own.Count()) {
            // Empty texts are no elements.
            if (data.size == sizeof(wchar_t)) data = {};
            if (data.data) ++measure.elements;
        }
        if (data.data) measure.outsideSize = PlaceOf(type, measure.outsideSize) + data.size;
        measure.outside.push_back(data);
    }
    return true;
}

/// The value of a plain tag as the item has it.
SPropValue CItemRequest::PlainValue(const SPropValue* values, ULONG index) const {
    const ULONG id = PROP_ID(m_plainTags[index]), place = m_plain.places[index];
    SPropValue value;
    if (place == TTagsInStore::kNone) {
        compare::SetNotFound(value, id);
    } else {
        value = values[place];
        value.ulPropTag = PROP_TAG(PROP_TYPE(value.ulPropTag), id);
    }
    return value;
}

/// The block: plain values, derived values, their arrays of elements, then what all these refer to.
void CItemRequest::Copy(const SPropValue* values, const TMeasure& measure, SPropValue* block,
                        TItemValues& item) const {
    SPropValue* derived = block + m_plainTags.Count();
    auto** element = reinterpret_cast<wchar_t**>(derived + m_parts.size());
    auto* const outside = reinterpret_cast<std::byte*>(element + measure.elements);
    size_t end = 0;
    const auto keep = [&](ULONG i) {
        const size_t place = PlaceOf(PROP_TYPE(values[i].ulPropTag), end);
        end = place + measure.outside[i].size;
        return std::memcpy(outside + place, measure.outside[i].data, measure.outside[i].size);
    };
    for (ULONG i = 0; i < m_plainTags.Count(); ++i) {
        block[i] = PlainValue(values, i);
        const ULONG place = m_plain.places[i];
        if (place == TTagsInStore::kNone || !measure.outside[place].data) continue;
        void* const kept = keep(place);
        if (PROP_TYPE(block[i].ulPropTag) == PT_BINARY) {
            block[i].Value.bin.lpb = static_cast<BYTE*>(kept);
        } else {
            block[i].Value.lpszA = static_cast<char*>(kept);
        }
    }
    for (const TPart& part : m_parts) {
        if (part.count == 0) continue;
        TDerivedValue& target = item.derived[part.derived];
        *derived = {};
        SWStringArray& texts = derived->Value.MVszW;
        texts.lppszW = element;
        for (ULONG kind = 0; kind < part.count; ++kind) {
            if (!measure.outside[part.first + kind].data) continue;
            target.kinds[texts.cValues++] = static_cast<unsigned char>(kind);
            *element++ = static_cast<wchar_t*>(keep(part.first + kind));
        }
        derived->ulPropTag = compare::DerivedTextsTag(part.id);
        if (texts.cValues == 0) compare::SetNotFound(*derived, PROP_ID(derived->ulPropTag));
        target.value = derived++;
    }
}

void CItemRequest::ReadTogether(IMessage* message, const CNames& names, TItemValues& item,
                                std::pmr::memory_resource& memory) {
    if (m_parts.empty() || !FindTags(names)) return;
    ULONG count = 0;
    MapiBuffer<SPropValue> values;
    TMeasure measure;
    const HRESULT hr = store::GetProps(message, m_tags.Get(), &count, values);
    if (!store::IsReadSuccess(hr) || count != m_tags.Count() || !Measure(values.get(), measure)) return;
    const size_t size = (m_plainTags.Count() + m_parts.size()) * sizeof(SPropValue) +
                        measure.elements * sizeof(wchar_t*) + measure.outsideSize;
    item.values = static_cast<SPropValue*>(memory.allocate(size));
    Copy(values.get(), measure, item.values, item);
    item.cValues = m_plainTags.Count();
}

/// One value for each canonical tag, as far as the store gave them.
void CItemRequest::Place(ULONG count, TPlainValues& item) const {
    item.placed = std::make_unique<SPropValue[]>(m_plainTags.Count());
    item.values = item.placed.get();
    for (ULONG i = 0; i < m_plainTags.Count(); ++i) {
        const ULONG place = m_plain.places[i];
        const bool known = place != TTagsInStore::kNone;
        const bool given = known && place < count &&
                           PROP_ID(item.read.get()[place].ulPropTag) == PROP_ID(m_plain.own[place]);
        if (given || !known) item.values[item.cValues++] = PlainValue(item.read.get(), i);
    }
}

HRESULT CItemRequest::ReadPlain(IMAPIProp* object, TPlainValues& item) {
    ULONG count = 0;
    HRESULT hr = S_OK;
    // A request without tags would ask for all that the item has.
    if (m_plain.own.Count() != 0)
        hr = store::GetPropValues(object, m_plain.own.Get(), &count, store::Out(item.read));
    if (!store::IsReadSuccess(hr)) return hr;
    if (!m_bCanonical) {
        Place(item.read ? count : 0, item);
    } else {
        item.values = item.read.get();
        item.cValues = item.values ? count : 0;
    }
    return hr;
}

HRESULT BuildDerived(const char* routine, unsigned id, IMessage* message, CNames& names,
                     TDerivedValue& derived) {
    ULONG kinds[compare::kPhoneKinds] = {};
    HRESULT hr;
    switch (id) {
        case propexAnyAddress:
            hr = compare::ContactItem_Addresses(message, true, store::Out(derived.own), kinds, &names);
            break;
        case propexAnyEmail:
            hr = compare::ContactItem_Emails(message, true, store::Out(derived.own), kinds, &names);
            break;
        case propexAnyPhone:
            hr = compare::ContactItem_Phones(message, true, store::Out(derived.own), kinds);
            break;
        case propexCompanyContact:
            hr = compare::ContactItem_CompanyContact(message, store::Out(derived.own));
            break;
        case propexSenders:
            hr = compare::MailItem_Senders(message, true, store::Out(derived.own));
            break;
        case propexRecipients:
            hr = compare::MailItem_Recipients(message, store::Out(derived.own));
            break;
        default:
            g_Log.Error(routine, "unknown propex(%d)\n", id);
            hr = -1;
    }
    for (size_t i = 0; i < compare::kPhoneKinds; ++i) derived.kinds[i] = static_cast<unsigned char>(kinds[i]);
    derived.value = derived.own.get();
    return hr;
}

}  // namespace items
