#include "host/raw_values.h"

#include <mapitags.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

// A value of more bytes is written through a stream: not every store takes it otherwise.
constexpr size_t kLarge = 16 << 10;

std::string Bytes(const void* data, size_t size) {
    return {static_cast<const char*>(data), size};
}

std::string WideBytes(const wchar_t* text) {
    return Bytes(text, wcslen(text) * sizeof(wchar_t));
}

// Bytes of a value of fixed size; 0 for a type that has none.
size_t FixedSize(ULONG type) {
    switch (type) {
        case PT_I2:
        case PT_BOOLEAN:
            return 2;
        case PT_LONG:
        case PT_R4:
            return 4;
        case PT_DOUBLE:
        case PT_APPTIME:
        case PT_CURRENCY:
        case PT_I8:
        case PT_SYSTIME:
            return 8;
        case PT_CLSID:
            return sizeof(GUID);
        default:
            return 0;
    }
}

ULONG WideType(ULONG type) {
    return (type & ~MV_FLAG) == PT_STRING8 ? PT_UNICODE | (type & MV_FLAG) : type;
}

// A value without parts for a type that nobody enters, such as an object.
TRawValue RawOf(const SPropValue& read) {
    const ULONG type = PROP_TYPE(read.ulPropTag);
    const ULONG single = type & ~MV_FLAG;
    const size_t size = FixedSize(single);
    TRawValue value{WideType(type), {}};
    const auto add = [&](std::string part) { value.parts.push_back(std::move(part)); };
    // All lists of the platform are a count and an address.
    const SLongArray& list = read.Value.MVl;
    if (type == PT_CLSID) {
        add(Bytes(read.Value.lpguid, size));
    } else if (size != 0 && type == single) {
        add(Bytes(&read.Value, size));
    } else if (size != 0) {
        for (ULONG i = 0; i < list.cValues; ++i)
            add(Bytes(reinterpret_cast<const char*>(list.lpl) + i * size, size));
    } else if (type == PT_UNICODE) {
        add(WideBytes(read.Value.lpszW));
    } else if (type == PT_STRING8) {
        add(WideBytes(WidenAnsi(read.Value.lpszA).c_str()));
    } else if (type == PT_BINARY) {
        add(Bytes(read.Value.bin.lpb, read.Value.bin.cb));
    } else if (type == PT_MV_UNICODE) {
        for (ULONG i = 0; i < list.cValues; ++i) add(WideBytes(read.Value.MVszW.lppszW[i]));
    } else if (type == PT_MV_STRING8) {
        for (ULONG i = 0; i < list.cValues; ++i)
            add(WideBytes(WidenAnsi(read.Value.MVszA.lppszA[i]).c_str()));
    } else if (type == PT_MV_BINARY) {
        for (ULONG i = 0; i < list.cValues; ++i)
            add(Bytes(read.Value.MVbin.lpbin[i].lpb, read.Value.MVbin.lpbin[i].cb));
    } else {
        return {};
    }
    return value;
}

// What is too large to come with the others.
std::optional<TRawValue> ReadStream(IMessage* message, ULONG id) {
    for (const ULONG type : {PT_UNICODE, PT_BINARY}) {
        void* raw = nullptr;
        unsigned long bytes = 0;
        const HRESULT hr =
            Quorvel_GetStreamPropValue(message, static_cast<long>(PROP_TAG(type, id)), &raw, &bytes, 1);
        const MapiPtr<void> content(raw);
        if (hr == S_OK && content) return TRawValue{type, {Bytes(content.get(), bytes)}};
    }
    return {};
}

// A text for everybody who looks.
std::wstring Reading(const std::string& bytes) {
    std::wstring text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        wchar_t c = 0;
        std::memcpy(&c, bytes.data() + i, sizeof c);
        if (c != L'\r') text += c;
    }
    text.erase(text.find_last_not_of(L" \t\n") + 1);
    return text;
}

std::wstring Wide(const std::string& bytes) {
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return text;
}

// A value as the platform takes it; the parts outlive it.
class CSetting {
  public:
    CSetting(ULONG id, const TRawValue& value);
    SPropValue* get() { return &m_value; }

  private:
    SPropValue m_value{};
    std::vector<std::wstring> m_texts;
    std::vector<wchar_t*> m_addresses;
    std::vector<SBinary> m_binaries;
    std::string m_bytes;
};

CSetting::CSetting(ULONG id, const TRawValue& value) {
    m_value.ulPropTag = PROP_TAG(value.type, id);
    const ULONG single = value.type & ~MV_FLAG;
    const auto count = static_cast<ULONG>(value.parts.size());
    for (const std::string& part : value.parts) {
        m_bytes += part;
        m_texts.push_back(Wide(part));
        m_binaries.push_back(
            {static_cast<ULONG>(part.size()), reinterpret_cast<BYTE*>(const_cast<char*>(part.data()))});
    }
    for (std::wstring& text : m_texts) m_addresses.push_back(text.data());
    if (value.type == PT_UNICODE) {
        m_value.Value.lpszW = m_addresses.at(0);
    } else if (value.type == PT_BINARY) {
        m_value.Value.bin = m_binaries.at(0);
    } else if (value.type == PT_MV_UNICODE) {
        m_value.Value.MVszW = {count, m_addresses.data()};
    } else if (value.type == PT_MV_BINARY) {
        m_value.Value.MVbin = {count, m_binaries.data()};
    } else if (value.type == PT_CLSID) {
        m_value.Value.lpguid = reinterpret_cast<GUID*>(m_bytes.data());
    } else if (value.type == single) {
        std::memcpy(&m_value.Value, m_bytes.data(), std::min(m_bytes.size(), FixedSize(single)));
    } else {
        m_value.Value.MVl = {count, reinterpret_cast<LONG*>(m_bytes.data())};
    }
}

HRESULT SetStream(IMessage* message, ULONG tag, const std::string& bytes) {
    ComPtr<IStream> stream;
    HRESULT hr = message->OpenProperty(tag, &IID_IStream, 0, MAPI_CREATE | MAPI_MODIFY,
                                       reinterpret_cast<IUnknown**>(stream.GetAddressOf()));
    ULONG written = 0;
    if (hr == S_OK) hr = stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    if (hr == S_OK && written != bytes.size()) hr = MAPI_E_CALL_FAILED;
    return hr == S_OK ? stream->Commit(0) : hr;
}

HRESULT ResultOf(HRESULT hr, const SPropProblemArray* problems, HRESULT passed) {
    if (hr != S_OK || !problems || problems->cProblem == 0) return hr;
    return problems->aProblem[0].scode == passed ? S_OK : problems->aProblem[0].scode;
}

HRESULT SetOne(IMessage* message, ULONG id, const TRawValue& value) {
    SPropProblemArray* raw = nullptr;
    if (!value.HasValue()) {
        SPropTagArray tags{1, {PROP_TAG(PT_NULL, id)}};
        const HRESULT hr = message->DeleteProps(&tags, &raw);
        const MapiPtr<SPropProblemArray> problems(raw);
        return ResultOf(hr, problems.get(), MAPI_E_NOT_FOUND);
    }
    const bool isStream = value.type == PT_UNICODE || value.type == PT_BINARY;
    if (isStream && value.parts.at(0).size() > kLarge)
        return SetStream(message, PROP_TAG(value.type, id), value.parts[0]);
    CSetting setting(id, value);
    const HRESULT hr = message->SetProps(1, setting.get(), &raw);
    const MapiPtr<SPropProblemArray> problems(raw);
    return ResultOf(hr, problems.get(), S_OK);
}

// The number that PropertyName writes. Nothing for a text, which may begin alike.
std::optional<ULONG> NumberIn(std::string_view text) {
    ULONG number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    const bool isUpper = text.find_first_of("abcdef") == std::string_view::npos;
    if (text.size() < 4 || !isUpper || read.ec != std::errc() || read.ptr != text.data() + text.size())
        return {};
    return number;
}

// The identifier of a name in the item's store, made when it has none. 0: the store refuses it.
ULONG IdOf(IMessage* message, const std::string& name) {
    const size_t colon = name.find(':');
    if (colon == std::string::npos) return NumberIn(name).value_or(0);
    GUID set{};
    if (CLSIDFromString(Widen(name.substr(0, colon)).c_str(), &set) != S_OK) return 0;
    std::wstring text = Widen(name.substr(colon + 1));
    MAPINAMEID id{};
    id.lpguid = &set;
    const std::optional<ULONG> number =
        text.starts_with(L"0x") ? NumberIn(std::string_view(name).substr(colon + 3)) : std::nullopt;
    id.ulKind = number ? MNID_ID : MNID_STRING;
    if (number)
        id.Kind.lID = static_cast<LONG>(*number);
    else
        id.Kind.lpwstrName = text.data();
    MAPINAMEID* names = &id;
    SPropTagArray* raw = nullptr;
    const HRESULT hr = message->GetIDsFromNames(1, &names, MAPI_CREATE, &raw);
    const MapiPtr<SPropTagArray> tags(raw);
    return hr == S_OK && tags && tags->cValues == 1 ? PROP_ID(tags->aulPropTag[0]) : 0;
}

}  // namespace

bool IsSame(const TRawValue& a, const TRawValue& b) {
    if (a.type != b.type || a.parts.size() != b.parts.size()) return false;
    if (a.type != PT_UNICODE) return a.parts == b.parts;
    return Reading(a.parts[0]) == Reading(b.parts[0]);
}

bool IsWhole(const TRawValue& value) {
    const ULONG single = value.type & ~MV_FLAG;
    const size_t size = FixedSize(single);
    if (!value.HasValue()) return value.parts.empty();
    if (size == 0 && single != PT_UNICODE && single != PT_BINARY) return false;
    if (value.type == single && value.parts.size() != 1) return false;
    return std::ranges::all_of(value.parts, [&](const std::string& part) {
        return size != 0 ? part.size() == size : single == PT_BINARY || part.size() % sizeof(wchar_t) == 0;
    });
}

std::string RawText(const TRawValue& value) {
    return value.parts.empty() ? std::string() : Narrow(Wide(value.parts[0]));
}

TRawValue TextValue(const std::string& utf8) {
    return {PT_UNICODE, {WideBytes(Widen(utf8).c_str())}};
}

const TRawValue& TRawItem::Of(const std::string& name) const {
    static const TRawValue kNone;
    const auto found = values.find(name);
    return found == values.end() ? kNone : found->second;
}

std::optional<TRawItem> ReadRaw(CItemReader& reader, IMessage* message, size_t store) {
    ULONG count = 0;
    SPropValue* raw = nullptr;
    const HRESULT hr = message->GetProps(nullptr, MAPI_UNICODE, &count, &raw);
    const MapiPtr<SPropValue> owner(raw);
    if ((hr != S_OK && hr != MAPI_W_ERRORS_RETURNED) || !owner) return {};
    TRawItem item;
    for (ULONG i = 0; i < count; ++i) {
        const std::string& name = reader.NameOf(message, store, raw[i].ulPropTag);
        if (PROP_TYPE(raw[i].ulPropTag) != PT_ERROR) {
            TRawValue value = RawOf(raw[i]);
            if (value.HasValue()) item.values.emplace(name, std::move(value));
            continue;
        }
        if (raw[i].Value.err == MAPI_E_NOT_FOUND || raw[i].Value.err == MAPI_E_NO_SUPPORT) continue;
        if (std::optional<TRawValue> large = ReadStream(message, PROP_ID(raw[i].ulPropTag)))
            item.values.emplace(name, std::move(*large));
        else
            item.unreadable.emplace(name, ResultText(raw[i].Value.err));
    }
    return item;
}

std::string SetRaw(IMessage* message, const std::map<std::string, TRawValue>& values) {
    for (const auto& [name, value] : values) {
        const ULONG id = IdOf(message, name);
        const HRESULT hr = id == 0 ? MAPI_E_NOT_FOUND : SetOne(message, id, value);
        if (hr != S_OK) return ResultText(hr);
    }
    return {};
}

std::string FromHex(const std::string& text) {
    if (text.size() % 2 != 0 || text.find_first_not_of("0123456789ABCDEF") != std::string::npos)
        throw std::out_of_range("hexadecimal");
    std::string bytes;
    for (size_t i = 0; i < text.size(); i += 2)
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return bytes;
}

}  // namespace host
