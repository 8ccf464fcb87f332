#pragma once
// The attachments of an item as far as a comparison needs to know them before it opens any of them.

#include <string>
#include <vector>

#include "store/resources.h"

struct TMatrixAttachment {
    long number;        // in its item
    std::wstring name;  // file name, long form first; display name when it has none
    unsigned size;      // bytes of its data; 0 when they cannot be told
    long method;        // ATTACH_BY_VALUE, ...
    bool photo;         // a contact's photo
};

/// The attachments in the order of the item's table. One that cannot be opened or read is left out, and an
/// item whose table cannot be read has none; each is logged under routine, or by the store access itself.
std::vector<TMatrixAttachment> ListAttachments(const char* routine, IMessage* item, const char* entryId);

/// The first of the values that is a text and not empty; an empty text when there is none.
const wchar_t* FirstText(const SPropValue* values, ULONG count);
