#include "mailbox/Properties.h"

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
bool IsBefore(const Properties::Slot& slot, ULONG id) {
    return PROP_ID(slot.tag) < id;
}
}  // namespace

const Properties::Slot* Properties::Find(ULONG id) const {
    const auto place = std::lower_bound(m_slots.begin(), m_slots.end(), id, IsBefore);
    return place != m_slots.end() && PROP_ID(place->tag) == id ? &*place : nullptr;
}

size_t Properties::Size() const {
    size_t size = 0;
    for (const Slot& slot : m_slots) size += slot.size;
    return size;
}

/// The slot of the property, which holds the bytes now.
Properties::Slot& Properties::Put(ULONG tag, std::string_view kept) {
    auto place = std::lower_bound(m_slots.begin(), m_slots.end(), PROP_ID(tag), IsBefore);
    if (place == m_slots.end() || PROP_ID(place->tag) != PROP_ID(tag))
        place = m_slots.insert(place, Slot{tag, 0, 0, 0});
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

void Properties::Set(ULONG tag, std::string_view bytes) {
    Put(tag, bytes);
}

void Properties::SetPlace(ULONG tag, const Place* place, ULONG size) {
    Slot& slot = Put(tag, {reinterpret_cast<const char*>(&place), sizeof(void*)});
    slot.isPlaced = 1;
    slot.size = size;
}

void Properties::Set(ULONG tag, const Properties& from, const Slot& slot) {
    if (slot.isPlaced)
        SetPlace(tag, from.PlaceOf(slot), slot.size);
    else
        Set(tag, from.Bytes(slot));
}

const Place* Properties::PlaceOf(const Slot& slot) const {
    const Place* place = nullptr;
    if (slot.isPlaced) std::memcpy(&place, m_bytes.data() + slot.offset, sizeof(void*));
    return place;
}

void Properties::Clear() {
    m_slots.clear();
    m_bytes.clear();
}

bool Properties::Remove(ULONG id) {
    const Slot* slot = Find(id);
    if (slot == nullptr) return false;
    m_slots.erase(m_slots.begin() + (slot - m_slots.data()));
    return true;
}

void Properties::Compact() {
    std::vector<char> bytes;
    size_t size = 0;
    for (const Slot& slot : m_slots) size += slot.Kept();
    bytes.reserve(size);
    for (Slot& slot : m_slots) {
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

#define QV_SETTER(NAME, TYPE, ARGUMENT)                       \
    Properties& Properties::NAME(ULONG tag, ARGUMENT value) { \
        Set(CHANGE_PROP_TYPE(tag, TYPE), Raw(value));         \
        return *this;                                         \
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

Properties& Properties::Bool(ULONG tag, bool value) {
    Set(CHANGE_PROP_TYPE(tag, PT_BOOLEAN), Raw(static_cast<unsigned short>(value)));
    return *this;
}

Properties& Properties::Text(ULONG tag, std::wstring_view value) {
    Set(CHANGE_PROP_TYPE(tag, PT_UNICODE), FromWide(value));
    return *this;
}

Properties& Properties::Text8(ULONG tag, std::string_view value) {
    Set(CHANGE_PROP_TYPE(tag, PT_STRING8), value);
    return *this;
}

Properties& Properties::Binary(ULONG tag, std::string_view value) {
    Set(CHANGE_PROP_TYPE(tag, PT_BINARY), value);
    return *this;
}

Properties& Properties::Object(ULONG tag, std::string_view value) {
    Set(CHANGE_PROP_TYPE(tag, PT_OBJECT), value);
    return *this;
}

Properties& Properties::Longs(ULONG tag, std::span<const LONG> values) {
    Set(CHANGE_PROP_TYPE(tag, PT_MV_LONG), RawAll(values));
    return *this;
}

Properties& Properties::Times(ULONG tag, std::span<const FILETIME> values) {
    Set(CHANGE_PROP_TYPE(tag, PT_MV_SYSTIME), RawAll(values));
    return *this;
}

Properties& Properties::Texts(ULONG tag, std::span<const std::wstring> values) {
    std::string bytes;
    for (const std::wstring& value : values) AppendElement(bytes, FromWide(value));
    Set(CHANGE_PROP_TYPE(tag, PT_MV_UNICODE), bytes);
    return *this;
}

Properties& Properties::Texts8(ULONG tag, std::span<const std::string> values) {
    std::string bytes;
    for (const std::string& value : values) AppendElement(bytes, value);
    Set(CHANGE_PROP_TYPE(tag, PT_MV_STRING8), bytes);
    return *this;
}

Properties& Properties::Binaries(ULONG tag, std::span<const std::string> values) {
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
