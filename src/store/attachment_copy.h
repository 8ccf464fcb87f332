#pragma once
// Copying an attachment, and setting a contact's photo, which is copying one and demoting the former photos. Results are
// the platform's; failures are logged once, under the export's name, or the routine's own where it is no export.

#include <mapidefs.h>

namespace store {

/// Copies an attachment from one item to another (or the same). The copy is never a contact photo, and a
/// visible one has no position in the body. Adjusting and saving the copy never turn it into a failure.
HRESULT CopyAttachment(IMessage* target, ULONG* newNumber, IMessage* source, long number, int saveTarget);
/// Copies a picture onto a contact as its photo. The photo that it replaces is deleted, other attachments
/// marked as photos become ordinary ones; none is deleted before its copy is made.
HRESULT SetPhotoAttachment(IMessage* contact, ULONG* newNumber, IMessage* source, long number, int save);
/// Saves the contact, when asked, whatever the result of the write.
HRESULT ClearHasPhotoFlag(IMessage* contact, int save);

/// A missing flag is 0 and success.
HRESULT Attach_Hidden_get(IAttach* attachment, ULONG* flag);
HRESULT Attach_IsContactPhoto_get(IAttach* attachment, ULONG* flag);
HRESULT Attach_IsContactPhoto_set(IAttach* attachment, unsigned short value);
HRESULT Attach_RenderingPosition_set(IAttach* attachment, ULONG position);

}  // namespace store
