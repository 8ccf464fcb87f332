#pragma once
// Short forms of platform calls for the tests of the mailbox.

#include <algorithm>
#include <string>
#include <vector>

#include "log/value_text.h"
#include "mailbox/platform_headers.h"
#include "mailbox/text.h"
#include "store/resources.h"

/// The values of some tags, and what GetProps returned.
struct Values {
    store::MapiBuffer<SPropValue> values;
    ULONG count = 0;
    HRESULT result = S_OK;
    const SPropValue& operator[](size_t index) const { return values.get()[index]; }
};

/// A tag array of the given tags; valid as long as the object.
class Tags {
  public:
    Tags(std::initializer_list<ULONG> tags) : m_array{static_cast<ULONG>(tags.size())} {
        m_array.insert(m_array.end(), tags.begin(), tags.end());
    }
    operator SPropTagArray*() { return reinterpret_cast<SPropTagArray*>(m_array.data()); }

  private:
    std::vector<ULONG> m_array;
};

inline Values Get(IMAPIProp* object, Tags tags, ULONG flags = 0) {
    Values got;
    got.result = object->GetProps(tags, flags, &got.count, store::Out(got.values));
    return got;
}

inline std::wstring GetText(IMAPIProp* object, ULONG tag) {
    const Values got = Get(object, {tag});
    return got.count == 1 && PROP_TYPE(got[0].ulPropTag) == PT_UNICODE ? got[0].Value.lpszW : L"(none)";
}

/// Values as a text, a blank between them; bytes in hexadecimal.
inline std::wstring Shown(const SPropValue* values, ULONG count) {
    std::wstring all;
    for (ULONG i = 0; i < count; ++i) {
        const SBinary& bin = values[i].Value.bin;
        wchar_t text[200];
        all += i == 0 ? L"" : L" ";
        if (PROP_TYPE(values[i].ulPropTag) == PT_BINARY)
            all += mailbox::ToWide(mailbox::ToHex({reinterpret_cast<const char*>(bin.lpb), bin.cb}));
        else
            all += logging::PropValueText(&values[i], text, std::size(text), 0);
    }
    return all;
}
inline std::wstring Shown(const Values& got) {
    return Shown(got.values.get(), got.count);
}
inline std::wstring Shown(const SRow& row) {
    return Shown(row.lpProps, row.cValues);
}

inline HRESULT SetText(IMAPIProp* object, ULONG tag, const wchar_t* text) {
    SPropValue value{};
    value.ulPropTag = tag;
    value.Value.lpszW = const_cast<wchar_t*>(text);
    return object->SetProps(1, &value, nullptr);
}

inline std::string BytesOf(const SBinary& binary) {
    return {reinterpret_cast<const char*>(binary.lpb), binary.cb};
}

/// All bytes that a stream gives from its start.
inline std::string ReadAll(IStream* stream) {
    std::string bytes;
    char piece[1000];
    ULONG read = 0;
    while (stream->Read(piece, sizeof piece, &read) == S_OK && read != 0) bytes.append(piece, read);
    return bytes;
}

inline store::ComPtr<IStream> OpenStream(IMAPIProp* object, ULONG tag, ULONG flags = 0) {
    store::ComPtr<IUnknown> unknown;
    store::ComPtr<IStream> stream;
    if (object->OpenProperty(tag, &IID_IStream, 0, flags, unknown.GetAddressOf()) == S_OK)
        unknown.As(&stream);
    return stream;
}
