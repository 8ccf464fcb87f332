#pragma once
// The attachments of an item as far as a comparison needs to know them before it opens any of them.

#include <string>
#include <vector>

#include "store/resources.h"

namespace matrix {

struct TMatrixAttachment {
    long number;        // in its item; store::kUnknownAttachment when its table does not say
    std::wstring name;  // file name, long form first; display name when it has none
    unsigned size;      // bytes of its data; 0 for a reference, and when they cannot be read
    long method;        // ATTACH_BY_VALUE, ...
    bool photo;         // a contact's photo
    bool comparable;  // all of the above could be read, and the method is one that holds data or names a file
};

/// The attachments in the order of the item's table; what cannot be read of one makes it incomparable. An item
/// whose table cannot be read has none. Each failure is logged under routine, or by the store access itself.
std::vector<TMatrixAttachment> ListAttachments(const char* routine, IMessage* item, const char* entryId);

/// The first of the values that is a text and not empty; an empty text when there is none, and null when one
/// before it could not be read.
const wchar_t* FirstText(const SPropValue* values, ULONG count);

}  // namespace matrix
