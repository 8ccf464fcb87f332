#pragma once
// Attachments of an item: listed, measured, opened, copied, deleted; a contact's photo. Results are the
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
/// Copies an attachment from one item to another (or the same). The copy is never a contact photo, and a
/// visible one has no position in the body. Adjusting and saving the copy never turn it into a failure.
HRESULT CopyAttachment(IMessage* target, ULONG* newNumber, IMessage* source, long number, int saveTarget);
/// Saves the item, when asked, whatever the deletion's result.
HRESULT DeleteAttachment(IMessage* item, long number, int save);
/// Copies a picture onto a contact as its photo. The photo that it replaces is deleted, other attachments
/// marked as photos become ordinary ones; none is deleted before its copy is made.
HRESULT SetPhotoAttachment(IMessage* contact, ULONG* newNumber, IMessage* source, long number, int save);
/// Saves the contact, when asked, whatever the result of the write.
HRESULT ClearHasPhotoFlag(IMessage* contact, int save);
/// Size of the data by attach method; 0 by reference only, -1 for a method that holds no data of its own.
HRESULT GetAttachmentRealSize(IAttach* attachment, ULONG* size);

/// A missing flag is 0 and success.
HRESULT Attach_Hidden_get(IAttach* attachment, ULONG* flag);
HRESULT Attach_IsContactPhoto_get(IAttach* attachment, ULONG* flag);
HRESULT Attach_IsContactPhoto_set(IAttach* attachment, unsigned short value);
HRESULT Attach_RenderingPosition_set(IAttach* attachment, ULONG position);

}  // namespace store
