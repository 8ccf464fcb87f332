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

#include "mailbox/Properties.h"

namespace mailbox {

/// Values larger than this come only through a stream.
constexpr size_t kMostPlainBytes = 8192;

/// A property as it is held: its type and bytes (see Properties.h), not its identifier.
struct View {
    ULONG type = PT_UNSPECIFIED;
    std::string_view bytes;
};

/// Short-lived memory for values that are computed or converted on the way out.
class Scratch {
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
    size_t m_used = 0;
    std::vector<std::unique_ptr<char[]>> m_more;
};

/// The bytes of a value, wherever it lies. One that cannot be read is empty, and the scratch tells of the failure.
std::string_view BytesOf(const Properties& properties, const Properties::Slot& slot, Scratch& scratch);
/// Takes a value over from properties of another mailbox, whose file may be closed sooner.
HRESULT TakeValue(const Properties& from, const Properties::Slot& slot, ULONG tag, Properties& to);

/// Whatever has properties: an object, a row of a table.
class PropertySource {
  public:
    virtual ~PropertySource() = default;
    /// False when there is no such property.
    virtual bool Get(ULONG id, View& view, Scratch& scratch) const = 0;
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
View Converted(const View& view, ULONG asked, Scratch& scratch);

/// The values of the tags in one block of NewBuffer, in order; null tags: all properties. PT_UNSPECIFIED
/// takes the property's own type, texts wide exactly when wide is set. What cannot be given is a PT_ERROR
/// value; then the result is MAPI_W_ERRORS_RETURNED. E_OUTOFMEMORY leaves the outputs alone.
HRESULT ReadValues(const PropertySource& source, const ULONG* tags, ULONG tagCount, bool wide, ULONG* count,
                   SPropValue** values);

/// The value as bytes of its type. False for a type that no property can have and for null pointers.
bool BytesOf(const SPropValue& value, std::string& bytes);

/// Order of two values of one type: negative, 0, positive. Texts ignore case, binaries go by bytes.
int CompareViews(const View& left, const View& right);

}  // namespace mailbox
