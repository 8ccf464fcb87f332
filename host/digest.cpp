#include "host/digest.h"

#include <mapitags.h>

#include <cstdio>
#include <limits>

#include "host/attachments.h"
#include "host/raw_values.h"
#include "host/show_value.h"
#include "quorvel.h"

namespace host {

namespace {

constexpr size_t kAllOfIt = std::numeric_limits<size_t>::max();

}  // namespace

CDigest& CDigest::Add(std::string_view part) {
    const auto step = [&](unsigned char c) { m_nHash = (m_nHash ^ c) * 0x100000001B3u; };
    for (const char c : part) step(static_cast<unsigned char>(c));
    // The length behind it: "a", "bc" is not "ab", "c".
    for (size_t rest = part.size(), i = 0; i < sizeof(uint64_t); ++i, rest >>= 8)
        step(static_cast<unsigned char>(rest));
    return *this;
}

std::string CDigest::Text() const {
    char text[17];
    snprintf(text, sizeof text, "%016llX", static_cast<unsigned long long>(m_nHash));
    return text;
}

std::string DigestOf(const TItemValues& values) {
    CDigest digest;
    for (const auto& [name, value] : values.values) {
        digest.Add(name).Add(std::to_string(value.type)).Add(std::to_string(value.elements.size()));
        for (const std::string& element : value.elements) digest.Add(element);
    }
    return digest.Add(std::to_string(values.attachments)).Text();
}

std::string DigestOfWhole(CItemReader& reader, const TItem& item) {
    const std::optional<TItemValues> values = reader.Read(item);
    const ComPtr<IMessage> message = reader.Open(item);
    if (!values || !message) return {};
    const TAttachmentMarks attachments = CompareAttachments(reader.session(), reader.catalog(), {item});
    if (attachments.names.front() == kUnlisted) return {};
    return CDigest()
        .Add(DigestOf(*values))
        .Add(ShowValue(message.Get(), *FindProperty("Mail.Recipients"), kAllOfIt))
        .Add(attachments.names.front())
        .Text();
}

namespace {

bool AddMessage(CItemReader& reader, IMessage* message, size_t store, CDigest& digest);

ComPtr<IMessage> AttachedItem(IMessage* message, long number) {
    ComPtr<IAttach> attachment;
    ComPtr<IMessage> inner;
    if (Quorvel_OpenAttachment(message, number, attachment.GetAddressOf()) != S_OK ||
        attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0,
                                 reinterpret_cast<IUnknown**>(inner.GetAddressOf())) != S_OK)
        inner.Reset();
    return inner;
}

bool AddAttachments(CItemReader& reader, IMessage* message, size_t store, CDigest& digest) {
    long* raw = nullptr;
    unsigned long count = 0;
    const HRESULT hr = Quorvel_GetAttachments(message, &raw, &count);
    const MapiPtr<long> numbers(raw);
    if (hr != S_OK) return false;
    digest.Add(std::to_string(count));
    for (unsigned long i = 0; i < count; ++i) {
        const long number = numbers.get()[i];
        const std::string mark = AttachmentMark(message, number);
        if (mark.empty()) return false;
        digest.Add(mark);
        if (!mark.starts_with(std::to_string(ATTACH_EMBEDDED_MSG) + ' ')) continue;
        const ComPtr<IMessage> inner = AttachedItem(message, number);
        if (!inner || !AddMessage(reader, inner.Get(), store, digest)) return false;
    }
    return true;
}

bool AddMessage(CItemReader& reader, IMessage* message, size_t store, CDigest& digest) {
    const std::optional<TRawItem> item = ReadRaw(reader, message, store);
    if (!item || !item->unreadable.empty()) return false;
    const TBookkeeping& bookkeeping = reader.bookkeeping();
    for (const auto& [name, value] : item->values) {
        // Marks are of the one who looked at it.
        if (bookkeeping.Meaningful(name) != kAllBits || bookkeeping.keys.contains(name)) continue;
        digest.Add(name).Add(std::to_string(value.parts.size()));
        for (const std::string& part : value.parts) digest.Add(part);
    }
    digest.Add(ShowValue(message, *FindProperty("Mail.Recipients"), kAllOfIt));
    return AddAttachments(reader, message, store, digest);
}

}  // namespace

std::string DigestOfAttachedItem(CItemReader& reader, const TItem& holder, long number) {
    const ComPtr<IMessage> message = reader.Open(holder);
    const ComPtr<IMessage> inner = message ? AttachedItem(message.Get(), number) : ComPtr<IMessage>();
    CDigest digest;
    const size_t store = reader.catalog().folders[holder.folder].store;
    return inner && AddMessage(reader, inner.Get(), store, digest) ? digest.Text() : std::string();
}

}  // namespace host
