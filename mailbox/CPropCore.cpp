#include "mailbox/CPropCore.h"

#include <algorithm>
#include <cstring>

#include "mailbox/CStream.h"
#include "mailbox/buffers.h"
#include "mailbox/calls.h"
#include "mailbox/text.h"

namespace mailbox {

const GUID kPropCoreInterface = {
    0x5D1C7E60, 0x93AB, 0x4F0B, {0xA1, 0x2E, 0x6B, 0x0F, 0x3C, 0x94, 0xD7, 0x58}};

std::unique_ptr<CPropCore, TPropCoreRelease> OwnObject(void* object) {
    void* core = nullptr;
    if (object != nullptr) static_cast<IUnknown*>(object)->QueryInterface(kPropCoreInterface, &core);
    return std::unique_ptr<CPropCore, TPropCoreRelease>(static_cast<CPropCore*>(core));
}

namespace {

SPropTagArray* NewTagArray(size_t count) {
    auto* tags = static_cast<SPropTagArray*>(NewBuffer(CbNewSPropTagArray(count)));
    if (tags != nullptr) tags->cValues = static_cast<ULONG>(count);
    return tags;
}

/// Problems of a change, handed out as the platform's array when there are any and somebody wants them.
class CProblems {
  public:
    void Add(ULONG index, ULONG tag, HRESULT error) { m_problems.push_back({index, tag, error}); }
    HRESULT HandOut(SPropProblemArray** out) const {
        if (out == nullptr || m_problems.empty()) return S_OK;
        *out = static_cast<SPropProblemArray*>(NewBuffer(CbNewSPropProblemArray(m_problems.size())));
        if (*out == nullptr) return MAPI_E_NOT_ENOUGH_MEMORY;
        (*out)->cProblem = static_cast<ULONG>(m_problems.size());
        std::memcpy((*out)->aProblem, m_problems.data(), m_problems.size() * sizeof(SPropProblem));
        return S_OK;
    }

  private:
    std::vector<SPropProblem> m_problems;
};

}  // namespace

HRESULT CPropCore::GetProps(const SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values) {
    if (tags != nullptr && tags->cValues == 0) return MAPI_E_INVALID_PARAMETER;
    const bool wide = (flags & MAPI_UNICODE) != 0;
    if (tags == nullptr) return ReadValues(Source(), nullptr, 0, wide, count, values);
    ULONG asked = tags->cValues;
    if (g_striking != nullptr && g_striking->limit) asked = std::min(asked, *g_striking->limit);
    return ReadValues(Source(), tags->aulPropTag, asked, wide, count, values);
}

HRESULT CPropCore::GetPropList(ULONG flags, SPropTagArray** tags) {
    std::vector<ULONG> all;
    Source().List(all);
    *tags = NewTagArray(all.size());
    if (*tags == nullptr) return MAPI_E_NOT_ENOUGH_MEMORY;
    for (size_t index = 0; index < all.size(); ++index) {
        ULONG type = PROP_TYPE(all[index]);
        if ((type & ~MV_FLAG) == PT_UNICODE && (flags & MAPI_UNICODE) == 0)
            type = (type & MV_FLAG) | PT_STRING8;
        (*tags)->aulPropTag[index] = CHANGE_PROP_TYPE(all[index], type);
    }
    return S_OK;
}

HRESULT CPropCore::OpenProperty(ULONG tag, const IID* iid, ULONG flags, IUnknown** out) {
    if (iid == nullptr) return MAPI_E_INVALID_PARAMETER;
    if ((flags & (MAPI_CREATE | MAPI_MODIFY)) != 0 && !IsWritable()) return MAPI_E_NO_ACCESS;
    const bool isDocfile = *iid == IID_IStreamDocfile;
    if (isDocfile || *iid == IID_IStream) return OpenStream(tag, isDocfile, flags, out);
    return OpenObject(tag, *iid, flags, out);
}

namespace {

bool IsStreamable(ULONG type) {
    return type == PT_UNICODE || type == PT_STRING8 || type == PT_BINARY || type == PT_OBJECT;
}

/// Structured storage belongs to OLE attachments alone.
bool IsOleAttachment(const CPropertySource& source) {
    TView view;
    CScratch scratch;
    return source.Get(PROP_ID(PR_ATTACH_METHOD), view, scratch) && view.type == PT_LONG &&
           As<ULONG>(view.bytes) == ATTACH_OLE;
}

/// Bytes of a stream of the given type as the property holds them.
std::string FromStream(ULONG type, const std::string& bytes) {
    if (type != PT_UNICODE) return bytes;
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return FromWide(text);
}

}  // namespace

HRESULT CPropCore::OpenStream(ULONG tag, bool isDocfile, ULONG flags, IUnknown** out) {
    if (isDocfile && !IsOleAttachment(Source())) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    const bool create = (flags & MAPI_CREATE) != 0;
    HRESULT error = S_OK;
    if ((flags & (MAPI_CREATE | MAPI_MODIFY)) != 0 && PROP_TYPE(tag) != PT_OBJECT && !IsSettable(tag, error))
        return error;

    TView view;
    CScratch scratch;
    // What lies in the mailbox file is not read to be opened.
    const CProperties::TSlot* const slot = Stored().Find(PROP_ID(tag));
    const TPlace* const place = slot != nullptr ? Stored().PlaceOf(*slot) : nullptr;
    if (place != nullptr) view.type = PROP_TYPE(slot->tag);
    const bool found = place != nullptr || Source().Get(PROP_ID(tag), view, scratch);
    if (!found && !create) return MAPI_E_NOT_FOUND;
    if (found && view.type == PT_ERROR && !create) return As<HRESULT>(view.bytes);
    ULONG type = PROP_TYPE(tag);
    if (type == PT_UNSPECIFIED && found) type = view.type;
    if (!IsStreamable(type)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    // An embedded message has no bytes of its own.
    if (found && type == PT_OBJECT && Stored().Find(PROP_ID(tag)) == nullptr)
        return MAPI_E_INTERFACE_NOT_SUPPORTED;

    TStreamData data;
    if (!create) {
        if (!CanGive(view.type, type)) return MAPI_E_NOT_FOUND;
        if (place != nullptr && view.type == type) {
            data.place = place;
            data.placedSize = slot->size;
            data.isText = type == PT_UNICODE;
            return *out = NewStream(std::move(data), *this, CommitTo(tag, type, flags)), S_OK;
        }
        if (place != nullptr) view.bytes = BytesOf(Stored(), *slot, scratch);
        if (scratch.failure != S_OK) return scratch.failure;
        view = Converted(view, type, scratch);
        data.keep = PROP_TYPE(tag) == view.type && place == nullptr ? Keeper() : nullptr;
        // Only what is stored stays in place; a converted or computed value is the scratch's.
        if (slot == nullptr || Stored().Bytes(*slot).data() != view.bytes.data()) data.keep = nullptr;
        data.isText = data.keep != nullptr && type == PT_UNICODE;
        if (data.keep != nullptr)
            data.view = view.bytes;
        else
            data.own = type == PT_UNICODE ? ToWideBytes(view.bytes) : std::string(view.bytes);
    }
    *out = NewStream(std::move(data), *this, CommitTo(tag, type, flags));
    return S_OK;
}

std::function<HRESULT(const std::string&)> CPropCore::CommitTo(ULONG tag, ULONG type, ULONG flags) {
    if ((flags & (MAPI_CREATE | MAPI_MODIFY)) == 0) return nullptr;
    return [this, tag, type](const std::string& bytes) {
        Editable().Set(CHANGE_PROP_TYPE(tag, type), FromStream(type, bytes));
        Edited();
        return S_OK;
    };
}

bool CPropCore::IsSettable(ULONG tag, HRESULT& error) const {
    const ULONG id = PROP_ID(tag);
    error = S_OK;
    if (IsComputed(id))
        error = MAPI_E_COMPUTED;
    else if (id == PROP_ID_NULL || id == PROP_ID_INVALID ||
             (id >= 0x8000 && (m_pStore == nullptr || m_pStore->names.Of(id) == nullptr)))
        error = MAPI_E_UNEXPECTED_ID;
    return error == S_OK;
}

HRESULT CPropCore::SetProps(ULONG count, const SPropValue* values, SPropProblemArray** problems) {
    if (count == 0 || values == nullptr) return MAPI_E_INVALID_PARAMETER;
    if (!IsWritable()) return MAPI_E_NO_ACCESS;
    CProblems found;
    std::string bytes;
    for (ULONG index = 0; index < count; ++index) {
        const ULONG tag = values[index].ulPropTag;
        HRESULT error = S_OK;
        if (!IsSettable(tag, error)) {
            found.Add(index, tag, error);
        } else if (!BytesOf(values[index], bytes)) {
            found.Add(index, tag, MAPI_E_INVALID_TYPE);
        } else {
            Editable().Set(tag, bytes);
            Edited();
        }
    }
    return found.HandOut(problems);
}

HRESULT CPropCore::DeleteProps(const SPropTagArray* tags, SPropProblemArray** problems) {
    if (tags == nullptr || tags->cValues == 0) return MAPI_E_INVALID_PARAMETER;
    if (!IsWritable()) return MAPI_E_NO_ACCESS;
    CProblems found;
    for (ULONG index = 0; index < tags->cValues; ++index) {
        const ULONG tag = tags->aulPropTag[index];
        if (Stored().Find(PROP_ID(tag)) == nullptr) {
            found.Add(index, tag, IsComputed(PROP_ID(tag)) ? MAPI_E_COMPUTED : MAPI_E_NOT_FOUND);
            continue;
        }
        Editable().Remove(PROP_ID(tag));
        Edited();
    }
    return found.HandOut(problems);
}

HRESULT CPropCore::CopyTo(std::span<const IID> excludedInterfaces, const SPropTagArray* excluded,
                          const IID* iid, void* target, ULONG flags, SPropProblemArray** problems) {
    for (const IID& interfaceExcluded : excludedInterfaces)
        if (iid != nullptr && interfaceExcluded == *iid) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    const auto wanted = [excluded](ULONG tag) {
        if (excluded == nullptr) return true;
        const ULONG* end = excluded->aulPropTag + excluded->cValues;
        return std::none_of(excluded->aulPropTag, end,
                            [tag](ULONG entry) { return PROP_ID(entry) == PROP_ID(tag); });
    };
    return CopyWanted(wanted, iid, target, flags, problems);
}

HRESULT CPropCore::CopyProps(const SPropTagArray* included, const IID* iid, void* target, ULONG flags,
                             SPropProblemArray** problems) {
    if (included == nullptr || included->cValues == 0) return MAPI_E_INVALID_PARAMETER;
    const auto wanted = [included](ULONG tag) {
        const ULONG* end = included->aulPropTag + included->cValues;
        return std::any_of(included->aulPropTag, end,
                           [tag](ULONG entry) { return PROP_ID(entry) == PROP_ID(tag); });
    };
    return CopyWanted(wanted, iid, target, flags, problems);
}

HRESULT CPropCore::CopyWanted(const std::function<bool(ULONG tag)>& wanted, const IID* iid, void* target,
                              ULONG flags, SPropProblemArray** problems) {
    if (iid == nullptr || target == nullptr) return MAPI_E_INVALID_PARAMETER;
    if ((flags & MAPI_MOVE) != 0) return MAPI_E_NO_SUPPORT;
    const auto other = OwnObject(target);
    if (other == nullptr) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    if (!other->Answers(*iid)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    if (!other->IsWritable()) return MAPI_E_NO_ACCESS;
    if (other.get() == this) return MAPI_E_NO_ACCESS;

    CProblems found;
    // Another store knows the named properties under identifiers of its own.
    const bool translate = m_pStore != nullptr && other->m_pStore != nullptr && m_pStore != other->m_pStore;
    ULONG index = 0;
    for (const CProperties::TSlot& slot : Stored().Slots()) {
        ULONG tag = slot.tag;
        if (!wanted(tag) || PROP_TYPE(tag) == PT_ERROR) continue;
        const TName* name = m_pStore != nullptr ? m_pStore->names.Of(PROP_ID(tag)) : nullptr;
        if (translate && name != nullptr)
            tag = PROP_TAG(PROP_TYPE(tag), other->m_pStore->names.FindOrAdd(*name));
        const bool isKept = (flags & MAPI_NOREPLACE) != 0 && other->Stored().Find(PROP_ID(tag)) != nullptr;
        HRESULT error = isKept ? MAPI_E_COLLISION : S_OK;
        if (error == S_OK && other->IsSettable(tag, error)) {
            error = TakeValue(Stored(), slot, tag, other->Editable());
            if (error == S_OK) other->Edited();
        }
        // What the target works out itself is no problem.
        if (error != S_OK && error != MAPI_E_COMPUTED) found.Add(index, slot.tag, error);
        ++index;
    }
    const HRESULT hr = CopyParts(*other, wanted);
    return hr != S_OK ? hr : found.HandOut(problems);
}

namespace {

/// Names below 0x8000 have a set of their own, in which the number is the identifier.
bool IsPlainId(const MAPINAMEID& name) {
    return IsEqualGUID(*name.lpguid, PS_MAPI) && name.ulKind == MNID_ID && name.Kind.lID > 0 &&
           name.Kind.lID < 0x8000;
}

bool ToName(const MAPINAMEID* from, TName& name) {
    if (from == nullptr || from->lpguid == nullptr || from->ulKind > MNID_STRING) return false;
    name.set = *from->lpguid;
    name.numeric = from->ulKind == MNID_ID;
    name.number = name.numeric ? from->Kind.lID : 0;
    name.text = name.numeric || from->Kind.lpwstrName == nullptr ? L"" : from->Kind.lpwstrName;
    return name.numeric || from->Kind.lpwstrName != nullptr;
}

}  // namespace

HRESULT CPropCore::GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags) {
    if (m_pStore == nullptr) return MAPI_E_NO_SUPPORT;
    if (count != 0 && names == nullptr) return MAPI_E_INVALID_PARAMETER;
    CNameTable& known = m_pStore->names;
    // Without names, all that the store has.
    const size_t size = count != 0 ? count : known.All().size();
    SPropTagArray* out = NewTagArray(size);
    if (out == nullptr) return MAPI_E_NOT_ENOUGH_MEMORY;
    *tags = out;
    if (count == 0) {
        for (size_t index = 0; index < size; ++index)
            out->aulPropTag[index] = PROP_TAG(PT_UNSPECIFIED, known.Find(*known.All()[index]));
        return S_OK;
    }
    HRESULT hr = S_OK;
    for (ULONG index = 0; index < count; ++index) {
        TName name;
        ULONG id = 0;
        if (ToName(names[index], name)) {
            if (IsPlainId(*names[index]))
                id = static_cast<ULONG>(names[index]->Kind.lID);
            else
                id = (flags & MAPI_CREATE) != 0 ? known.FindOrAdd(name) : known.Find(name);
        }
        out->aulPropTag[index] = id != 0 ? PROP_TAG(PT_UNSPECIFIED, id) : PROP_TAG(PT_ERROR, PROP_ID_NULL);
        if (id == 0) hr = MAPI_W_ERRORS_RETURNED;
    }
    return hr;
}

HRESULT CPropCore::GetNamesFromIDs(SPropTagArray** tags, const GUID* set, ULONG flags, ULONG* count,
                                   MAPINAMEID*** names) {
    if (m_pStore == nullptr) return MAPI_E_NO_SUPPORT;
    const CNameTable& known = m_pStore->names;
    std::vector<ULONG> ids;
    const bool asksAll = *tags == nullptr;
    if (asksAll) {
        for (const TName* name : known.All())
            if ((set == nullptr || name->set == *set) &&
                (flags & (name->numeric ? MAPI_NO_IDS : MAPI_NO_STRINGS)) == 0)
                ids.push_back(known.Find(*name));
    } else {
        for (ULONG index = 0; index < (*tags)->cValues; ++index)
            ids.push_back(PROP_ID((*tags)->aulPropTag[index]));
    }

    auto* list = static_cast<MAPINAMEID**>(NewBuffer(ids.size() * sizeof(MAPINAMEID*)));
    SPropTagArray* allTags = asksAll ? NewTagArray(ids.size()) : nullptr;
    if (list == nullptr || (asksAll && allTags == nullptr)) {
        FreeBuffer(list);
        FreeBuffer(allTags);
        return MAPI_E_NOT_ENOUGH_MEMORY;
    }
    HRESULT hr = S_OK;
    for (size_t index = 0; index < ids.size(); ++index) {
        list[index] = nullptr;
        if (asksAll) allTags->aulPropTag[index] = PROP_TAG(PT_UNSPECIFIED, ids[index]);
        const TName* name = known.Of(ids[index]);
        const size_t textSize = name != nullptr ? (name->text.size() + 1) * sizeof(wchar_t) : 0;
        auto* entry =
            name != nullptr
                ? static_cast<MAPINAMEID*>(NewBufferMore(sizeof(MAPINAMEID) + sizeof(GUID) + textSize, list))
                : nullptr;
        if (entry == nullptr) {
            hr = MAPI_W_ERRORS_RETURNED;
            continue;
        }
        entry->lpguid = reinterpret_cast<GUID*>(entry + 1);
        *entry->lpguid = name->set;
        entry->ulKind = name->numeric ? MNID_ID : MNID_STRING;
        if (name->numeric) {
            entry->Kind.lID = name->number;
        } else {
            entry->Kind.lpwstrName = reinterpret_cast<wchar_t*>(entry->lpguid + 1);
            std::memcpy(entry->Kind.lpwstrName, name->text.c_str(), textSize);
        }
        list[index] = entry;
    }
    *count = static_cast<ULONG>(ids.size());
    *names = list;
    if (asksAll) *tags = allTags;
    return hr;
}

}  // namespace mailbox
