#include "store/attachment_copy.h"

#include <mapidefs.h>
#include <mapiguid.h>
#include <mapitags.h>

#include "base/mapi_extra.h"
#include "log/CPlatformCalls.h"
#include "store/attachments.h"
#include "store/contact_photo.h"
#include "store/properties.h"

namespace store {

using logging::CPlatformCalls;
using logging::g_Log;

namespace {

constexpr ULONG kNoFixedPosition = 0xFFFFFFFF;

HRESULT GetFlag(const char* routine, IAttach* attachment, ULONG tag, ULONG* flag) {
    bool set = false;
    const HRESULT hr = ReadFlag(routine, attachment, tag, &set);
    *flag = set;
    return hr;
}

HRESULT SetProp(const char* routine, IAttach* attachment, const SPropValue& value) {
    CPlatformCalls calls(routine);
    SPropValue written = value;
    calls(attachment->SetProps(1, &written, nullptr), "SetProps return 0x%x\n");
    return calls.result;
}

/// The copy alone: not adjusted, not saved, gone when it is released unsaved.
HRESULT CopyUnsaved(IMessage* target, ULONG* newNumber, IMessage* source, long number,
                    ComPtr<IAttach>& copy) {
    CPlatformCalls calls("Quorvel_CopyAttachment_");
    ComPtr<IAttach> original;
    ComPtr<IAttach> created;
    MapiBuffer<SPropProblemArray> problems;
    ULONG createdNumber = 0;
    if (calls.Gives(original, source->OpenAttach(static_cast<ULONG>(number), nullptr, 0, &original),
                    "OpenAttach return 0x%x\n") &&
        calls.Gives(created, target->CreateAttach(nullptr, 0, &createdNumber, &created),
                    "CreateAttach return 0x%x\n") &&
        calls(original->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IAttachment, created.Get(), 0,
                               Out(problems)),
              "CopyTo return 0x%x\n")) {
        *newNumber = createdNumber;
        copy = created;
    }
    return calls.result;
}

/// The copy as an ordinary attachment, saved. saved tells how that went; it does not fail the copy.
HRESULT CopyAsOrdinary(IMessage* target, ULONG* newNumber, IMessage* source, long number, HRESULT& saved) {
    ComPtr<IAttach> copy;
    if (const HRESULT hr = CopyUnsaved(target, newNumber, source, number, copy); hr != S_OK) return hr;
    ULONG flag = 0;
    if (Attach_IsContactPhoto_get(copy.Get(), &flag) == S_OK && flag)
        Attach_IsContactPhoto_set(copy.Get(), 0);
    if (Attach_Hidden_get(copy.Get(), &flag) == S_OK && !flag) {
        Attach_RenderingPosition_set(copy.Get(), kNoFixedPosition);
    }
    saved = copy->SaveChanges(0);
    return S_OK;
}

bool IsContactPhoto(IMessage* item, long number) {
    ComPtr<IAttach> attachment;
    ULONG flag = 0;
    return OpenAttachment(item, number, &attachment) == S_OK &&
           Attach_IsContactPhoto_get(attachment.Get(), &flag) == S_OK && flag;
}

/// Turns a former photo into an ordinary attachment: a copy of it without the flag takes its place.
void Demote(CPlatformCalls& calls, IMessage* contact, long number) {
    ULONG copyNumber = 0;
    HRESULT saved = S_OK;
    HRESULT hr = CopyAsOrdinary(contact, &copyNumber, contact, number, saved);
    if (hr == S_OK) hr = saved;  // without a saved copy the former photo is the only one
    if (calls(hr, "can clear attach.IsContactPhoto (copyattachment), hr=0x%x\n")) {
        calls(contact->DeleteAttach(static_cast<ULONG>(number), 0, nullptr, 0),
              "can clear attach.IsContactPhoto (deleteattach), hr=0x%x\n");
    }
}

}  // namespace

HRESULT Attach_Hidden_get(IAttach* attachment, ULONG* flag) {
    return GetFlag("Attach_Hidden_get", attachment, PR_ATTACHMENT_HIDDEN, flag);
}

HRESULT Attach_IsContactPhoto_get(IAttach* attachment, ULONG* flag) {
    return GetFlag("Attach_IsContactPhoto_get", attachment, PR_ATTACHMENT_CONTACTPHOTO, flag);
}

HRESULT Attach_IsContactPhoto_set(IAttach* attachment, unsigned short flag) {
    SPropValue value = {};
    value.ulPropTag = PR_ATTACHMENT_CONTACTPHOTO;
    value.Value.b = flag;
    return SetProp("Attach_IsContactPhoto_set", attachment, value);
}

HRESULT Attach_RenderingPosition_set(IAttach* attachment, ULONG position) {
    SPropValue value = {};
    value.ulPropTag = PR_RENDERING_POSITION;
    value.Value.ul = position;
    return SetProp("Attach_RenderingPosition_set", attachment, value);
}

HRESULT CopyAttachment(IMessage* target, ULONG* newNumber, IMessage* source, long number, int saveTarget) {
    HRESULT saved = S_OK;
    const HRESULT hr = CopyAsOrdinary(target, newNumber, source, number, saved);
    if (hr != S_OK) return hr;
    if (saveTarget) target->SaveChanges(0);
    return S_OK;
}

HRESULT SetPhotoAttachment(IMessage* contact, ULONG* newNumber, IMessage* source, long number, int save) {
    CPlatformCalls calls("Quorvel_CopyAttachment");
    int hadPhoto = 0;
    ContactItem_HasPhoto_get(contact, &hadPhoto);
    MapiBuffer<long> former;
    ULONG formerCount = 0;
    GetAttachments(contact, Out(former), &formerCount);

    ComPtr<IAttach> photo;
    if (const HRESULT hr = CopyUnsaved(contact, newNumber, source, number, photo); hr != S_OK) return hr;
    if (ContactItem_HasPhoto_set(contact, true) != S_OK) {
        g_Log.Error(calls.tag, "ContactItem_HasPhoto_set failed\n");
    }
    const HRESULT marked = Attach_IsContactPhoto_set(photo.Get(), 1);
    if (marked != S_OK) g_Log.Error(calls.tag, "Attach_IsContactPhoto_set failed\n");

    int photos = 0;
    for (ULONG i = 0; i < formerCount; i++) {
        const long old = former.get()[i];
        if (!IsContactPhoto(contact, old)) continue;
        if (++photos == 1 && hadPhoto) {
            calls(contact->DeleteAttach(static_cast<ULONG>(old), 0, nullptr, 0),
                  "cant delete pred photo attach, hr=0x%x\n");
        } else {
            Demote(calls, contact, old);
        }
    }
    photo->SaveChanges(0);
    if (save) contact->SaveChanges(0);
    return marked;
}

HRESULT ClearHasPhotoFlag(IMessage* contact, int save) {
    const HRESULT hr = ContactItem_HasPhoto_set(contact, false);
    if (save) contact->SaveChanges(0);
    return hr;
}

}  // namespace store
