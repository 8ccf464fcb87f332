#include "host/merge_item.h"

#include <mapitags.h>

#include <algorithm>
#include <cstring>

#include "host/attachments.h"
#include "host/losses.h"
#include "host/merge_rules.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

ULONG LongOf(const TRawValue& value) {
    ULONG number = 0;
    if (value.type == PT_LONG && value.parts.size() == 1 && value.parts[0].size() == sizeof number)
        std::memcpy(&number, value.parts[0].data(), sizeof number);
    return number;
}

TRawValue LongValue(ULONG number) {
    return {PT_LONG, {std::string(reinterpret_cast<const char*>(&number), sizeof number)}};
}

// Marks are not among the item's own values: only some of their bits are the owner's.
bool IsMark(const CItemReader& reader, const std::string& name) {
    return reader.bookkeeping().Meaningful(name) != kAllBits && (name == kReadMark || name == kStatusMark);
}

// What an item has of a property, as far as merging goes.
TRawValue ValueOf(const CItemReader& reader, const TRawItem& item, const std::string& name) {
    const TRawValue& value = item.Of(name);
    return IsMark(reader, name) ? LongValue(LongOf(value) & reader.bookkeeping().Meaningful(name)) : value;
}

size_t StoreOf(const CItemReader& reader, const std::string& storeId) {
    const std::vector<TStore>& stores = reader.catalog().stores;
    const auto found = std::ranges::find_if(
        stores, [&](const TStore& store) { return EqualNoCase(store.entryId, storeId); });
    return static_cast<size_t>(found - stores.begin());
}

// The attachments of an item by what tells them apart.
std::vector<std::pair<std::string, long>> AttachmentsOf(IMessage* message) {
    long* raw = nullptr;
    unsigned long count = 0;
    const HRESULT hr = Quorvel_GetAttachments(message, &raw, &count);
    const MapiPtr<long> numbers(raw);
    std::vector<std::pair<std::string, long>> marks;
    for (unsigned long i = 0; hr == S_OK && i < count; ++i)
        marks.emplace_back(AttachmentMark(message, numbers.get()[i]), numbers.get()[i]);
    return marks;
}

size_t CountOf(const std::vector<std::pair<std::string, long>>& attachments, const std::string& mark) {
    return static_cast<size_t>(
        std::ranges::count_if(attachments, [&](const auto& one) { return one.first == mark; }));
}

HRESULT SetStatus(CItemReader& reader, IMessage* message, const std::string& storeId, ULONG bits) {
    const MapiPtr<SPropValue> own = ReadValue(message, PR_ENTRYID);
    const MapiPtr<SPropValue> above = ReadValue(message, PR_PARENT_ENTRYID);
    if (!own || !above) return MAPI_E_NOT_FOUND;
    const ComPtr<IMAPIFolder> folder = OpenFolder(reader.session(), storeId, HexOf(above.get()));
    return folder->SetMessageStatus(own->Value.bin.cb, reinterpret_cast<ENTRYID*>(own->Value.bin.lpb), bits,
                                    reader.bookkeeping().Meaningful(kStatusMark), nullptr);
}

// The store sets marks at once, whether the item is saved or not.
std::string SetMarks(CItemReader& reader, const std::string& entryId, const std::string& storeId,
                     const std::map<std::string, TRawValue>& values) {
    for (const auto& [name, value] : values) {
        if (!IsMark(reader, name)) continue;
        ComPtr<IMessage> message;
        HRESULT hr =
            Quorvel_OpenItem(reader.session(), entryId.c_str(), storeId.c_str(), message.GetAddressOf());
        if (hr == S_OK && name == kReadMark)
            hr = message->SetReadFlag(LongOf(value) != 0 ? SUPPRESS_RECEIPT : CLEAR_READ_FLAG);
        else if (hr == S_OK)
            hr = SetStatus(reader, message.Get(), storeId, LongOf(value));
        if (hr != S_OK) return ResultText(hr);
    }
    return {};
}

std::string SetOwn(CItemReader& reader, IMessage* message, std::map<std::string, TRawValue> values) {
    std::erase_if(values, [&](const auto& entry) { return IsMark(reader, entry.first); });
    return SetRaw(message, values);
}

// What is written into the kept copy: its values as they will be, and whose attachments it gets.
class CCompletion {
  public:
    CCompletion(CItemReader& reader, const TRawItem& kept) : m_reader(reader), m_kept(kept) {}
    void Add(IMessage* message, const TRawItem& copy, const TLoss& loss);
    /// What changes, with what it was. Says why when something that changes could not be read.
    std::string Note(IMessage* kept, EKind kind, TUndoMerge& merge);
    /// Into the open item, unsaved.
    std::string Write(IMessage* kept);
    const std::map<std::string, TRawValue>& values() const { return m_values; }

  private:
    struct TAttachment {
        ComPtr<IMessage> message;
        long number;
        bool isPhoto;
        std::string name;
    };

    TRawValue Of(const std::string& name) const {
        const auto found = m_values.find(name);
        return found == m_values.end() ? ValueOf(m_reader, m_kept, name) : found->second;
    }
    void Put(const TRawItem& copy, const std::string& from, const std::string& to);
    void Unite(const TRawItem& copy, const std::string& name);
    void FillEmail(const TRawItem& copy, int number);

    CItemReader& m_reader;
    const TRawItem& m_kept;
    std::map<std::string, TRawValue> m_values;
    std::map<std::string, std::string> m_unreadable;  // of what is needed
    std::vector<TAttachment> m_attachments;
};

void CCompletion::Put(const TRawItem& copy, const std::string& from, const std::string& to) {
    m_values[to] = copy.Of(from);
    const std::vector<std::string> with = Companions(from);
    const std::vector<std::string> places = Companions(to);
    for (size_t i = 0; i < std::min(with.size(), places.size()); ++i) m_values[places[i]] = copy.Of(with[i]);
    FillEmail(copy, EmailNumber(to));
}

// Where one of the copies keeps account of the filled places, the kept one does.
void CCompletion::FillEmail(const TRawItem& copy, int number) {
    if (number < 0) return;
    const auto has = [&](const char* name) { return Of(name).HasValue() || copy.Of(name).HasValue(); };
    if (has(kEmailBits)) m_values[kEmailBits] = LongValue(LongOf(Of(kEmailBits)) | 1u << number);
    if (!has(kEmailList)) return;
    TRawValue list = Of(kEmailList);
    if (!list.HasValue()) list.type = PT_MV_LONG;
    const std::string one = LongValue(static_cast<ULONG>(number)).parts[0];
    if (std::ranges::find(list.parts, one) == list.parts.end()) list.parts.push_back(one);
    m_values[kEmailList] = list;
}

void CCompletion::Unite(const TRawItem& copy, const std::string& name) {
    if (name == kMemberNames) return;  // with the members
    TRawValue list = Of(name);
    TRawValue names = Of(kMemberNames);
    const TRawValue& other = copy.Of(name);
    const TRawValue& otherNames = copy.Of(kMemberNames);
    list.type = other.type;
    const auto has = [&](const std::string& part) {
        return std::ranges::any_of(list.parts, [&](const std::string& own) {
            const auto text = [](const std::string& bytes) { return RawText({PT_UNICODE, {bytes}}); };
            return own == part ||
                   (list.type == PT_MV_UNICODE && AreEqualTexts(text(own), text(part), cmExact));
        });
    };
    for (size_t i = 0; i < other.parts.size(); ++i) {
        if (other.parts[i].empty() || has(other.parts[i])) continue;
        list.parts.push_back(other.parts[i]);
        if (name == kMembers && i < otherNames.parts.size()) {
            names.type = otherNames.type;
            names.parts.push_back(otherNames.parts[i]);
        }
    }
    m_values[name] = std::move(list);
    if (name == kMembers && names.HasValue()) m_values[kMemberNames] = std::move(names);
}

void CCompletion::Add(IMessage* message, const TRawItem& copy, const TLoss& loss) {
    for (const TRawItem* item : {&copy, &m_kept}) {
        for (const std::string& name : {loss.id, loss.into}) {
            if (const auto found = item->unreadable.find(name); found != item->unreadable.end())
                m_unreadable.insert(*found);
        }
    }
    switch (loss.merge) {
        case EMerge::Copy:
        case EMerge::Conflict:  // the duplicate's value was chosen
            Put(copy, loss.id, loss.id);
            break;
        case EMerge::Slot:
            Put(copy, loss.id, loss.into);
            break;
        case EMerge::Unite:
            Unite(copy, loss.id);
            break;
        case EMerge::Join:
            m_values[loss.id] = TextValue(JoinTexts(RawText(Of(loss.id)), RawText(copy.Of(loss.id))));
            break;
        case EMerge::Mark:
            m_values[loss.id] = LongValue(LongOf(Of(loss.id)) | LongOf(ValueOf(m_reader, copy, loss.id)));
            break;
        case EMerge::Photo:
            m_values[kPhotoFlag] = {PT_BOOLEAN, {std::string("\1\0", 2)}};
            [[fallthrough]];
        case EMerge::Attach:
            m_attachments.push_back({message, NumberOf(loss), loss.merge == EMerge::Photo, loss.value});
            break;
        case EMerge::Held:
            break;
    }
}

std::string CCompletion::Note(IMessage* kept, EKind kind, TUndoMerge& merge) {
    if (!m_unreadable.empty()) return m_unreadable.begin()->second;
    std::erase_if(m_values, [&](const auto& entry) {
        return IsSame(entry.second, ValueOf(m_reader, m_kept, entry.first));
    });
    for (const auto& [name, value] : m_values) {
        merge.values.push_back(
            {name, OneLine(m_reader.bookkeeping().Name(kind, name)), ValueOf(m_reader, m_kept, name), value});
    }
    const auto own = AttachmentsOf(kept);
    for (const TAttachment& one : m_attachments) {
        const std::string mark = AttachmentMark(one.message.Get(), one.number);
        if (mark.empty()) return "an attachment cannot be read";
        const auto known = std::ranges::find(merge.attachments, mark, &TUndoAttachment::mark);
        if (known == merge.attachments.end())
            merge.attachments.push_back({one.name, mark, CountOf(own, mark), 1});
        else
            ++known->added;
    }
    return {};
}

std::string CCompletion::Write(IMessage* kept) {
    std::string why = SetOwn(m_reader, kept, m_values);
    if (!why.empty()) return why;
    for (const TAttachment& one : m_attachments) {
        unsigned long number = 0;
        const HRESULT hr = one.isPhoto
                               ? Quorvel_SetPhotoAttachment(kept, &number, one.message.Get(), one.number, 0)
                               : Quorvel_CopyAttachment(kept, &number, one.message.Get(), one.number, 0);
        if (hr != S_OK) return ResultText(hr);
        // The export does not say whether the copy could be saved.
        const auto attachments = AttachmentsOf(kept);
        if (std::ranges::find(attachments, static_cast<long>(number),
                              &std::pair<std::string, long>::second) == attachments.end())
            return "an attachment cannot be copied";
    }
    return {};
}

// Whether a saved item holds what was written.
std::string WhyNotAsWritten(CItemReader& reader, const TUndoMerge& merge) {
    ComPtr<IMessage> message;
    if (Quorvel_OpenItem(reader.session(), merge.entryId.c_str(), merge.storeId.c_str(),
                         message.GetAddressOf()) != S_OK)
        return "it cannot be read any more";
    const std::optional<TRawItem> item = ReadRaw(reader, message.Get(), StoreOf(reader, merge.storeId));
    if (!item) return "it cannot be read any more";
    for (const TUndoValue& value : merge.values) {
        if (!IsSame(ValueOf(reader, *item, value.property), value.is))
            return "the store did not keep " + value.name;
    }
    const auto attachments = AttachmentsOf(message.Get());
    for (const TUndoAttachment& one : merge.attachments) {
        if (CountOf(attachments, one.mark) < one.had + one.added) return "the store did not keep " + one.name;
    }
    return {};
}

}  // namespace

std::string CompleteItem(CItemReader& reader, const TItem& kept, const std::vector<TMergeCopy>& copies,
                         const std::string& title, const std::string& place, CUndoWriter& undo) {
    const TFolder& folder = reader.catalog().folders[kept.folder];
    const std::string& storeId = reader.StoreId(kept);
    TUndoMerge merge{kept.entryId, storeId, title, place, {}, {}, {}};
    ComPtr<IMessage> message;
    HRESULT hr = Quorvel_OpenItemEx(reader.session(), kept.entryId.c_str(), storeId.c_str(), MAPI_MODIFY,
                                    message.GetAddressOf());
    if (hr != S_OK) return ResultText(hr);
    const std::optional<TRawItem> own = ReadRaw(reader, message.Get(), folder.store);
    if (!own) return "it cannot be read";
    CCompletion completion(reader, *own);
    for (const TMergeCopy& copy : copies) {
        const ComPtr<IMessage> other = reader.Open(*copy.item);
        const std::optional<TRawItem> values =
            other ? ReadRaw(reader, other.Get(), reader.catalog().folders[copy.item->folder].store)
                  : std::nullopt;
        if (!values) return "a duplicate cannot be read";
        if (std::ranges::any_of(*copy.losses, IsTaken))
            merge.from.push_back({copy.item->entryId, reader.StoreId(*copy.item)});
        for (const TLoss& loss : *copy.losses) {
            if (IsTaken(loss)) completion.Add(other.Get(), *values, loss);
        }
    }
    std::string why = completion.Note(message.Get(), folder.kind, merge);
    if (why.empty()) why = completion.Write(message.Get());
    if (!why.empty()) return why;
    undo.WillMerge(merge);
    hr = Quorvel_SaveItem(message.Get(), 0);
    message.Reset();
    if (hr != S_OK) return ResultText(hr);
    why = SetMarks(reader, kept.entryId, storeId, completion.values());
    if (why.empty()) why = WhyNotAsWritten(reader, merge);
    if (why.empty()) return {};
    const TRestored restored = RestoreItem(reader, merge);
    const bool isRestored = restored.why.empty() && restored.left.empty();
    return why + (isRestored ? "" : "; it is not as it was: the undo file has its values");
}

TRestored RestoreItem(CItemReader& reader, const TUndoMerge& merge) {
    TRestored result;
    ComPtr<IMessage> message;
    HRESULT hr = Quorvel_OpenItemEx(reader.session(), merge.entryId.c_str(), merge.storeId.c_str(),
                                    MAPI_MODIFY, message.GetAddressOf());
    const std::optional<TRawItem> item =
        hr == S_OK ? ReadRaw(reader, message.Get(), StoreOf(reader, merge.storeId)) : std::nullopt;
    if (!item) {
        result.why = hr == S_OK ? "it cannot be read" : "it is not there any more";
        return result;
    }
    std::map<std::string, TRawValue> values;
    for (const TUndoValue& value : merge.values) {
        const TRawValue now = ValueOf(reader, *item, value.property);
        if (IsSame(now, value.was)) continue;
        if (IsSame(now, value.is))
            values[value.property] = value.was;
        else
            result.left.push_back(value.name);
    }
    result.why = SetOwn(reader, message.Get(), values);
    bool isSaving = !values.empty();
    const auto attachments = AttachmentsOf(message.Get());
    for (const TUndoAttachment& one : merge.attachments) {
        const size_t now = CountOf(attachments, one.mark);
        size_t surplus = std::min(now > one.had ? now - one.had : 0, one.added);
        // The newest of them are the ones that came.
        for (auto at = attachments.rbegin(); at != attachments.rend() && surplus != 0; ++at) {
            if (at->first != one.mark || !result.why.empty()) continue;
            hr = Quorvel_DeleteAttachment(message.Get(), at->second, 0);
            if (hr != S_OK) result.why = ResultText(hr);
            isSaving = true;
            --surplus;
        }
    }
    if (!result.why.empty() || !isSaving) return result;
    hr = Quorvel_SaveItem(message.Get(), 0);
    message.Reset();
    result.why = hr == S_OK ? SetMarks(reader, merge.entryId, merge.storeId, values) : ResultText(hr);
    result.isChanged = result.why.empty();
    return result;
}

}  // namespace host
