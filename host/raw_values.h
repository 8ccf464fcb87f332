#pragma once
// Values of items as the platform holds them, byte for byte: what is copied from one item to another, noted in the
// undo file, and put back.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/item_values.h"

namespace host {

/// One value. Without any part: the item has none.
struct TRawValue {
    ULONG type = PT_NULL;
    /// The bytes of each element, one for a single value; texts in UTF-16 without a terminator.
    std::vector<std::string> parts;

    bool HasValue() const { return type != PT_NULL; }
};

/// Equal for everybody who looks: texts whatever their line breaks are, and without blanks at their end, which
/// stores change when they save.
bool IsSame(const TRawValue& a, const TRawValue& b);

/// Whether the parts are what a value of the type has: what a file says need not be.
bool IsWhole(const TRawValue& value);

/// A wide text of a value, and a value of a text.
std::string RawText(const TRawValue& value);
TRawValue TextValue(const std::string& utf8);

/// The properties of one item, by the names that mean the same in every store. What could not be read is missing in
/// values and stands in unreadable.
struct TRawItem {
    std::map<std::string, TRawValue> values;
    std::map<std::string, std::string> unreadable;

    /// A value without parts when the item has none.
    const TRawValue& Of(const std::string& name) const;
};
/// Whole, streams included. Nothing when the item cannot be read.
std::optional<TRawItem> ReadRaw(CItemReader& reader, IMessage* message, size_t store);

/// Sets or deletes, without saving. Names that the item's store does not know are made known to it. Empty, or why not
/// all could be set.
std::string SetRaw(IMessage* message, const std::map<std::string, TRawValue>& values);

/// Bytes of hexadecimal text.
std::string FromHex(const std::string& text);

}  // namespace host
