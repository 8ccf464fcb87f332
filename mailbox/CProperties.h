#pragma once
// The properties of one object: a flat vector of slots sorted by property identifier over one block of bytes.
//
// A property has one type; setting it again under another type replaces it. Values are kept as bytes:
//   numbers, times, booleans, GUIDs, errors   little-endian, as the platform's value holds them
//   PT_UNICODE                                UTF-8 in which a lone surrogate is its own three bytes
//   PT_STRING8, PT_BINARY, PT_OBJECT          as they are
//   multi-valued, elements of one size        one after the other
//   multi-valued texts and binaries           each element as its four-byte length and its bytes
// Nothing here ends in a zero. A long text or binary of a mailbox file stays there, and only its place is here.

#include <windows.h>
#include <mapidefs.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mailbox {

/// Bytes of a fixed-size element of the type (MV flag ignored), 0 for texts, binaries and objects.
size_t FixedSize(ULONG type);
/// The types that a property can have, multi-valued ones included.
bool IsKnownType(ULONG type);

struct TPlace;

class CProperties {
  public:
    struct TSlot {
        ULONG tag;
        ULONG offset : 31;
        ULONG isPlaced : 1;
        /// Bytes of the value, wherever it is.
        ULONG size;
        /// Bytes that it takes here.
        ULONG Kept() const { return isPlaced ? static_cast<ULONG>(sizeof(void*)) : size; }
    };

    /// The slot of the property identifier (16 bits), or null.
    const TSlot* Find(ULONG id) const;
    /// Of a value that is here; values.h has what reads any value.
    std::string_view Bytes(const TSlot& slot) const { return {m_bytes.data() + slot.offset, slot.size}; }
    /// Where the value lies; null when it is here.
    const TPlace* PlaceOf(const TSlot& slot) const;
    const std::vector<TSlot>& Slots() const { return m_slots; }
    /// Bytes of all values together.
    size_t Size() const;

    void Set(ULONG tag, std::string_view bytes);
    void SetPlace(ULONG tag, const TPlace* place, ULONG size);
    /// Takes a value as it is in other properties, without reading one that lies elsewhere.
    void Set(ULONG tag, const CProperties& from, const TSlot& slot);
    void Clear();
    /// False when the property is not there.
    bool Remove(ULONG id);
    /// Gives back what replaced and removed values and growth left unused.
    void Compact();

    // Typed forms of Set. The type comes from the function, so the type part of the tag is ignored.
    CProperties& Short(ULONG tag, short value);
    CProperties& Long(ULONG tag, ULONG value);
    CProperties& Int64(ULONG tag, long long value);
    CProperties& Float(ULONG tag, float value);
    CProperties& Double(ULONG tag, double value);
    CProperties& Currency(ULONG tag, long long tenThousandths);
    CProperties& AppTime(ULONG tag, double value);
    CProperties& Bool(ULONG tag, bool value);
    CProperties& Time(ULONG tag, FILETIME value);
    CProperties& Guid(ULONG tag, const GUID& value);
    CProperties& Text(ULONG tag, std::wstring_view value);
    CProperties& Text8(ULONG tag, std::string_view value);
    CProperties& Binary(ULONG tag, std::string_view value);
    CProperties& Object(ULONG tag, std::string_view value);
    /// The property exists, and reading it gives this error. MAPI_E_NOT_FOUND hides a computed property.
    CProperties& Error(ULONG tag, HRESULT error);
    CProperties& Longs(ULONG tag, std::span<const LONG> values);
    CProperties& Times(ULONG tag, std::span<const FILETIME> values);
    CProperties& Texts(ULONG tag, std::span<const std::wstring> values);
    CProperties& Texts8(ULONG tag, std::span<const std::string> values);
    CProperties& Binaries(ULONG tag, std::span<const std::string> values);

  private:
    TSlot& Put(ULONG tag, std::string_view kept);

    std::vector<TSlot> m_slots;
    std::vector<char> m_bytes;
};

/// Appends an element of a multi-valued text or binary to its bytes.
void AppendElement(std::string& bytes, std::string_view element);
/// Takes the next element off the front.
std::string_view TakeElement(std::string_view& bytes);

}  // namespace mailbox
