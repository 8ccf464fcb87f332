#pragma once
// Attachments of an item: listed, measured, opened, deleted. Results are the
// platform's; failures are logged once, under the export's name, or the routine's own where it is no export.

#include <vector>

#include "store/resources.h"

namespace store {

/// The number of an attachment that the table names without one.
inline constexpr long kUnknownAttachment = -2;
/// Numbers of all that the item's attachment table counts, in table order; whatever PR_HASATTACH says. Logged as
/// Quorvel_GetAttachments.
HRESULT ListAttachments(IMessage* item, std::vector<long>& numbers);
/// Numbers of the attachments in table order, a block of MAPIAllocateBuffer; null and 0 when there are none, or
/// PR_HASATTACH says so.
HRESULT GetAttachments(IMessage* item, long** numbers, ULONG* count);
/// Sum of the sizes in the attachment table; a row without a size is logged and left out.
HRESULT GetAttachmentsSize(IMessage* item, ULONG* total);
HRESULT OpenAttachment(IMessage* item, long number, IAttach** out);
/// Saves the item, when asked, whatever the deletion's result.
HRESULT DeleteAttachment(IMessage* item, long number, int save);
/// Size of the data by attach method; 0 by reference only, -1 for a method that holds no data of its own.
HRESULT GetAttachmentRealSize(IAttach* attachment, ULONG* size);

}  // namespace store
