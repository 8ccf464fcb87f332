#include "host/digest.h"

#include <cstdio>

#include "host/attachments.h"
#include "host/show_value.h"

namespace host {

namespace {

constexpr size_t kAllOfIt = 1'000'000;

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

}  // namespace host
