#pragma once
// Whether items hold the same attachments, by what is in them. The duplicate search sees no more of
// attachments than their size: this is the last look before a copy is called a duplicate.

#include <string>
#include <vector>

#include "host/folders.h"

namespace host {

struct TAttachmentMarks {
    /// For each item: 0 for no attachments, else 1 + the first item that holds the same.
    std::vector<unsigned> marks;
    /// For each item: the names of its attachments; kUnlisted when they cannot be listed.
    std::vector<std::string> names;
};
inline constexpr char kUnlisted[] = "(cannot be listed)";

/// Reads the items' attachments, by their tables, whatever else an item says of having any. An item that cannot
/// be read, or whose attachments cannot all be listed, equals no other.
TAttachmentMarks CompareAttachments(IMAPISession* session, const TCatalog& catalog,
                                    const std::vector<TItem>& items);

struct TAttachmentName {
    std::string name;
    bool isPhoto = false;
    int number = -1;  // in other; negative: not known
};

/// The attachments of other that no attachment of item is equal to. All of them when one of the two cannot
/// be read.
std::vector<TAttachmentName> MissingAttachments(IMAPISession* session, const TCatalog& catalog,
                                                const TItem& item, const TItem& other);

/// What a mail says of an attachment beside its contents.
struct TAttachmentTrait {
    std::string property;  // "Attachment type", "Attachment content id"
    std::string id;        // "attachment-type:jetty.csv", the same in all copies
    std::string value;     // "jetty.csv: text/csv"
    std::string kept;      // of item's attachment; empty: it has none
};
/// Of other's attachments that item has by their names too: what is not said of those, type (unless it says nothing) and
/// content id (where html, the text of other, shows the attachment by it). Nothing when one of the two cannot be read.
std::vector<TAttachmentTrait> MissingTraits(IMAPISession* session, const TCatalog& catalog, const TItem& item,
                                            const TItem& other, const std::string& html);

/// An attachment of several items, as one of them has it first: by item the number, negative where the item has none or
/// does not tell.
struct TSharedAttachment {
    bool isPhoto = false;
    std::vector<int> numbers;
};
/// Nothing when an item cannot be read.
std::vector<TSharedAttachment> SharedAttachments(IMAPISession* session, const TCatalog& catalog,
                                                 const std::vector<TItem>& items);

/// What tells an attachment from others wherever it is copied: method, name, and what it holds. Empty when it cannot
/// be read.
std::string AttachmentMark(IMessage* message, long number);

/// A group of equal items, parted into those that hold the same attachments, in order.
std::vector<std::vector<size_t>> PartByAttachments(IMAPISession* session, const TCatalog& catalog,
                                                   const std::vector<TItem>& items,
                                                   const std::vector<size_t>& group);

}  // namespace host
