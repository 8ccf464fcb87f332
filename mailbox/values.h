#pragma once
// Property values between the mailbox's bytes and the platform's SPropValue: one mechanism for GetProps,
// table rows, restrictions and sorting.

#include <windows.h>
#include <mapidefs.h>
#include <mapicode.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mailbox/CProperties.h"

namespace mailbox {

/// Values larger than this come only through a stream.
constexpr size_t kMostPlainBytes = 8192;

/// A property as it is held: its type and bytes (see CProperties.h), not its identifier.
struct TView {
    ULONG type = PT_UNSPECIFIED;
    std::string_view bytes;
};

/// Short-lived memory for values that are computed or converted on the way out.
class CScratch {
  public:
    std::string_view Keep(std::string_view bytes);
    template <typename T>
    std::string_view KeepValue(const T& value) {
        return Keep({reinterpret_cast<const char*>(&value), sizeof value});
    }
    /// Room for so many bytes.
    char* Room(size_t size);
    /// What reading a value from its file failed with; S_OK while all could be read.
    HRESULT failure = S_OK;

  private:
    char m_first[256];
    size_t m_nUsed = 0;
    std::vector<std::unique_ptr<char[]>> m_more;
};

/// The bytes of a value, wherever it lies. One that cannot be read is empty, and the scratch tells of the failure.
std::string_view BytesOf(const CProperties& properties, const CProperties::TSlot& slot, CScratch& scratch);
/// Takes a value over from properties of another mailbox, whose file may be closed sooner.
HRESULT TakeValue(const CProperties& from, const CProperties::TSlot& slot, ULONG tag, CProperties& to);

/// Whatever has properties: an object, a row of a table.
class CPropertySource {
  public:
    virtual ~CPropertySource() = default;
    /// False when there is no such property.
    virtual bool Get(ULONG id, TView& view, CScratch& scratch) const = 0;
    /// Appends the tags of all properties.
    virtual void List(std::vector<ULONG>& tags) const = 0;
};

/// The bytes as an element of type T, from wherever they lie.
template <typename T>
T As(std::string_view bytes) {
    T value{};
    std::memcpy(&value, bytes.data(), bytes.size() < sizeof value ? bytes.size() : sizeof value);
    return value;
}

/// Whether a property of type held can be given as type asked: the same, or texts of the other width.
bool CanGive(ULONG held, ULONG asked);
/// The view as the asked type, converted where the width differs. CanGive must hold.
TView Converted(const TView& view, ULONG asked, CScratch& scratch);

/// The values of the tags in one block of NewBuffer, in order; null tags: all properties. PT_UNSPECIFIED
/// takes the property's own type, texts wide exactly when wide is set. What cannot be given is a PT_ERROR
/// value; then the result is MAPI_W_ERRORS_RETURNED. E_OUTOFMEMORY leaves the outputs alone.
HRESULT ReadValues(const CPropertySource& source, const ULONG* tags, ULONG tagCount, bool wide, ULONG* count,
                   SPropValue** values);

/// The value as bytes of its type. False for a type that no property can have and for null pointers.
bool BytesOf(const SPropValue& value, std::string& bytes);

/// Order of two values of one type: negative, 0, positive. Texts ignore case, binaries go by bytes.
int CompareViews(const TView& left, const TView& right);

}  // namespace mailbox
