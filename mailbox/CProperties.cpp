#include "mailbox/CProperties.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "mailbox/text.h"

namespace mailbox {

size_t FixedSize(ULONG type) {
    switch (type & ~MV_FLAG) {
        case PT_I2:
        case PT_BOOLEAN:
            return 2;
        case PT_LONG:
        case PT_R4:
        case PT_ERROR:
            return 4;
        case PT_DOUBLE:
        case PT_CURRENCY:
        case PT_APPTIME:
        case PT_I8:
        case PT_SYSTIME:
            return 8;
        case PT_CLSID:
            return 16;
        default:
            return 0;
    }
}

bool IsKnownType(ULONG type) {
    static const ULONG multiValued[] = {PT_I2,      PT_LONG, PT_R4,      PT_DOUBLE,  PT_CURRENCY, PT_APPTIME,
                                        PT_SYSTIME, PT_I8,   PT_STRING8, PT_UNICODE, PT_CLSID,    PT_BINARY};
    static const ULONG singleOnly[] = {PT_ERROR, PT_BOOLEAN, PT_OBJECT};
    if (std::ranges::find(multiValued, type & ~MV_FLAG) != std::end(multiValued)) return true;
    return std::ranges::find(singleOnly, type) != std::end(singleOnly);
}

namespace {
bool IsBefore(const CProperties::TSlot& slot, ULONG id) {
    return PROP_ID(slot.tag) < id;
}
}  // namespace

const CProperties::TSlot* CProperties::Find(ULONG id) const {
    const auto place = std::lower_bound(m_slots.begin(), m_slots.end(), id, IsBefore);
    return place != m_slots.end() && PROP_ID(place->tag) == id ? &*place : nullptr;
}

size_t CProperties::Size() const {
    size_t size = 0;
    for (const TSlot& slot : m_slots) size += slot.size;
    return size;
}

/// The slot of the property, which holds the bytes now.
CProperties::TSlot& CProperties::Put(ULONG tag, std::string_view kept) {
    auto place = std::lower_bound(m_slots.begin(), m_slots.end(), PROP_ID(tag), IsBefore);
    if (place == m_slots.end() || PROP_ID(place->tag) != PROP_ID(tag))
        place = m_slots.insert(place, TSlot{tag, 0, 0, 0});
    if (kept.size() > place->Kept()) {
        place->offset = static_cast<ULONG>(m_bytes.size()) & 0x7FFFFFFF;
        m_bytes.insert(m_bytes.end(), kept.begin(), kept.end());
    } else if (!kept.empty()) {
        std::memcpy(m_bytes.data() + place->offset, kept.data(), kept.size());
    }
    place->tag = tag;
    place->isPlaced = 0;
    place->size = static_cast<ULONG>(kept.size());
    return *place;
}

void CProperties::Set(ULONG tag, std::string_view bytes) {
    Put(tag, bytes);
}

void CProperties::SetPlace(ULONG tag, const TPlace* place, ULONG size) {
    TSlot& slot = Put(tag, {reinterpret_cast<const char*>(&place), sizeof(void*)});
    slot.isPlaced = 1;
    slot.size = size;
}

void CProperties::Set(ULONG tag, const CProperties& from, const TSlot& slot) {
    if (slot.isPlaced)
        SetPlace(tag, from.PlaceOf(slot), slot.size);
    else
        Set(tag, from.Bytes(slot));
}

const TPlace* CProperties::PlaceOf(const TSlot& slot) const {
    const TPlace* place = nullptr;
    if (slot.isPlaced) std::memcpy(&place, m_bytes.data() + slot.offset, sizeof(void*));
    return place;
}

void CProperties::Clear() {
    m_slots.clear();
    m_bytes.clear();
}

bool CProperties::Remove(ULONG id) {
    const TSlot* slot = Find(id);
    if (slot == nullptr) return false;
    m_slots.erase(m_slots.begin() + (slot - m_slots.data()));
    return true;
}

void CProperties::Compact() {
    std::vector<char> bytes;
    size_t size = 0;
    for (const TSlot& slot : m_slots) size += slot.Kept();
    bytes.reserve(size);
    for (TSlot& slot : m_slots) {
        const char* const value = m_bytes.data() + slot.offset;
        slot.offset = static_cast<ULONG>(bytes.size()) & 0x7FFFFFFF;
        bytes.insert(bytes.end(), value, value + slot.Kept());
    }
    m_bytes = std::move(bytes);
    m_slots.shrink_to_fit();
}

namespace {
template <typename T>
std::string_view Raw(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}
template <typename T>
std::string_view RawAll(std::span<const T> values) {
    return {reinterpret_cast<const char*>(values.data()), values.size_bytes()};
}
}  // namespace

#define QV_SETTER(NAME, TYPE, ARGUMENT)                         \
    CProperties& CProperties::NAME(ULONG tag, ARGUMENT value) { \
        Set(CHANGE_PROP_TYPE(tag, TYPE), Raw(value));           \
        return *this;                                           \
    }
QV_SETTER(Short, PT_I2, short)
QV_SETTER(Long, PT_LONG, ULONG)
QV_SETTER(Int64, PT_I8, long long)
QV_SETTER(Float, PT_R4, float)
QV_SETTER(Double, PT_DOUBLE, double)
QV_SETTER(Currency, PT_CURRENCY, long long)
QV_SETTER(AppTime, PT_APPTIME, double)
QV_SETTER(Time, PT_SYSTIME, FILETIME)
QV_SETTER(Guid, PT_CLSID, const GUID&)
QV_SETTER(Error, PT_ERROR, HRESULT)
#undef QV_SETTER

CProperties& CProperties::Bool(ULONG tag, bool value) {
    Set(CHANGE_PROP_TYPE(tag, PT_BOOLEAN), Raw(static_cast<unsigned short>(value)));
    return *this;
}

CProperties& CProperties::Text(ULONG tag, std::wstring_view value) {
    Set(CHANGE_PROP_TYPE(tag, PT_UNICODE), FromWide(value));
    return *this;
}

CProperties& CProperties::Text8(ULONG tag, std::string_view value) {
    Set(CHANGE_PROP_TYPE(tag, PT_STRING8), value);
    return *this;
}

CProperties& CProperties::Binary(ULONG tag, std::string_view value) {
    Set(CHANGE_PROP_TYPE(tag, PT_BINARY), value);
    return *this;
}

CProperties& CProperties::Object(ULONG tag, std::string_view value) {
    Set(CHANGE_PROP_TYPE(tag, PT_OBJECT), value);
    return *this;
}

CProperties& CProperties::Longs(ULONG tag, std::span<const LONG> values) {
    Set(CHANGE_PROP_TYPE(tag, PT_MV_LONG), RawAll(values));
    return *this;
}

CProperties& CProperties::Times(ULONG tag, std::span<const FILETIME> values) {
    Set(CHANGE_PROP_TYPE(tag, PT_MV_SYSTIME), RawAll(values));
    return *this;
}

CProperties& CProperties::Texts(ULONG tag, std::span<const std::wstring> values) {
    std::string bytes;
    for (const std::wstring& value : values) AppendElement(bytes, FromWide(value));
    Set(CHANGE_PROP_TYPE(tag, PT_MV_UNICODE), bytes);
    return *this;
}

CProperties& CProperties::Texts8(ULONG tag, std::span<const std::string> values) {
    std::string bytes;
    for (const std::string& value : values) AppendElement(bytes, value);
    Set(CHANGE_PROP_TYPE(tag, PT_MV_STRING8), bytes);
    return *this;
}

CProperties& CProperties::Binaries(ULONG tag, std::span<const std::string> values) {
    std::string bytes;
    for (const std::string& value : values) AppendElement(bytes, value);
    Set(CHANGE_PROP_TYPE(tag, PT_MV_BINARY), bytes);
    return *this;
}

void AppendElement(std::string& bytes, std::string_view element) {
    const std::uint32_t size = static_cast<std::uint32_t>(element.size());
    bytes.append(Raw(size)).append(element);
}

std::string_view TakeElement(std::string_view& bytes) {
    std::uint32_t size = 0;
    std::memcpy(&size, bytes.data(), sizeof size);
    const std::string_view element = bytes.substr(sizeof size, size);
    bytes.remove_prefix(sizeof size + size);
    return element;
}

}  // namespace mailbox
