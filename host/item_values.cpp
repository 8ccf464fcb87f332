#include "host/item_values.h"

#include <mapitags.h>

#include <cstdio>

#include "host/merge_rules.h"
#include "host/show_value.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

constexpr ULONG kFirstNamedId = 0x8000;

std::string SetText(const GUID& set) {
    char text[40];
    snprintf(text, sizeof text, "{%08lX-%04X-%04X-%s-%s}", set.Data1, set.Data2, set.Data3,
             Hex(set.Data4, 2).c_str(), Hex(set.Data4 + 2, 6).c_str());
    return text;
}

// A value read through a stream: what is too large to come with the others.
MapiPtr<void> ReadLarge(IMessage* message, ULONG tag, unsigned long& bytes) {
    void* raw = nullptr;
    const HRESULT hr = Quorvel_GetStreamPropValue(message, static_cast<long>(tag), &raw, &bytes, 1);
    MapiPtr<void> content(raw);
    if (hr != S_OK) content.reset();
    return content;
}

std::string Bytes(const SBinary& binary) {
    return {reinterpret_cast<const char*>(binary.lpb), binary.cb};
}

void Add(TItemValue& value, std::string element) {
    if (!element.empty()) value.elements.push_back(std::move(element));
}

std::string RealText(double number) {
    char text[48];
    snprintf(text, sizeof text, "%.17g", number);
    return text;
}

// Of several: each by itself.
void AddMany(TItemValue& value, const SPropValue& read) {
    const auto each = [&value](ULONG count, const auto* elements, const auto& textOf) {
        for (ULONG i = 0; i < count; ++i) Add(value, textOf(elements[i]));
    };
    const auto whole = [](auto number) { return std::to_string(number); };
    const auto& of = read.Value;
    switch (PROP_TYPE(read.ulPropTag)) {
        case PT_MV_UNICODE:
            return each(of.MVszW.cValues, of.MVszW.lppszW, [](const wchar_t* text) { return Narrow(text); });
        case PT_MV_STRING8:
            return each(of.MVszA.cValues, of.MVszA.lppszA,
                        [](const char* text) { return Narrow(WidenAnsi(text)); });
        case PT_MV_BINARY:
            return each(of.MVbin.cValues, of.MVbin.lpbin, Bytes);
        case PT_MV_LONG:
            return each(of.MVl.cValues, of.MVl.lpl, whole);
        case PT_MV_SYSTIME:
            return each(of.MVft.cValues, of.MVft.lpft, [](const FILETIME& time) { return IsoTime(time); });
        case PT_MV_I2:
            return each(of.MVi.cValues, of.MVi.lpi, whole);
        case PT_MV_I8:
        case PT_MV_CURRENCY:
            return each(of.MVli.cValues, of.MVli.lpli,
                        [](const LARGE_INTEGER& number) { return std::to_string(number.QuadPart); });
        case PT_MV_R4:
            return each(of.MVflt.cValues, of.MVflt.lpflt, RealText);
        case PT_MV_DOUBLE:
        case PT_MV_APPTIME:
            return each(of.MVdbl.cValues, of.MVdbl.lpdbl, RealText);
        case PT_MV_CLSID:
            return each(of.MVguid.cValues, of.MVguid.lpguid, SetText);
        default:
            return;
    }
}

// Nothing for zero and "no": they are what an item without the property means.
void AddOne(TItemValue& value, const SPropValue& read, ULONG meaningful) {
    const auto whole = [&](long long n) { return n == 0 ? std::string() : std::to_string(n); };
    switch (PROP_TYPE(read.ulPropTag)) {
        case PT_UNICODE:
            Add(value, Narrow(read.Value.lpszW));
            break;
        case PT_STRING8:
            Add(value, Narrow(WidenAnsi(read.Value.lpszA)));
            break;
        case PT_BINARY:
            Add(value, Bytes(read.Value.bin));
            break;
        case PT_CLSID:
            Add(value, SetText(*read.Value.lpguid));
            break;
        case PT_BOOLEAN:
            if (read.Value.b) Add(value, "yes");
            break;
        case PT_I2:
            Add(value, whole(read.Value.i));
            break;
        case PT_LONG: {
            // Of a set of marks, each mark that is set.
            const ULONG bits = static_cast<ULONG>(read.Value.l);
            if (meaningful == kAllBits) {
                Add(value, whole(read.Value.l));
            } else {
                for (ULONG bit = 1; bit != 0; bit <<= 1)
                    if (bits & meaningful & bit) Add(value, std::to_string(bit));
            }
            break;
        }
        case PT_I8:
        case PT_CURRENCY:
            Add(value, whole(read.Value.li.QuadPart));
            break;
        case PT_R4:
        case PT_DOUBLE:
        case PT_APPTIME: {
            const double n =
                PROP_TYPE(read.ulPropTag) == PT_R4 ? static_cast<double>(read.Value.flt) : read.Value.dbl;
            if (n != 0) Add(value, RealText(n));
            break;
        }
        case PT_SYSTIME:
            Add(value, IsoTime(read.Value.ft));
            break;
        default:
            AddMany(value, read);
            break;
    }
}

ULONG WideType(ULONG type) {
    return type == PT_STRING8 ? PT_UNICODE : type == PT_MV_STRING8 ? PT_MV_UNICODE : type;
}

// A text property that the store does not give with the others: whole or not at all.
bool AddLarge(IMessage* message, ULONG id, TItemValue& value) {
    for (const ULONG type : {PT_UNICODE, PT_BINARY}) {
        unsigned long bytes = 0;
        const MapiPtr<void> content = ReadLarge(message, PROP_TAG(type, id), bytes);
        if (!content) continue;
        value.type = type;
        Add(value, type == PT_UNICODE ? Narrow({static_cast<const wchar_t*>(content.get()), bytes / 2})
                                      : std::string(static_cast<const char*>(content.get()), bytes));
        return true;
    }
    return false;
}

}  // namespace

size_t TItemValues::Filled() const {
    size_t count = attachments;
    for (const auto& [name, value] : values) count += value.elements.size();
    return count;
}

std::string PropertyName(unsigned tag, const char* set, int id, const wchar_t* stringId) {
    char text[16];
    if (tag != 0) {
        snprintf(text, sizeof text, "%04X", static_cast<unsigned>(PROP_ID(tag)));
        return text;
    }
    const std::string name = set ? set : "";
    if (id == 0) return name + ":" + Narrow(stringId ? stringId : L"");
    snprintf(text, sizeof text, ":0x%04X", static_cast<unsigned>(id));
    return name + text;
}

const std::string& CItemReader::StoreId(const TItem& item) const {
    return m_catalog.stores[m_catalog.folders[item.folder].store].entryId;
}

ComPtr<IMessage> CItemReader::Open(const TItem& item) {
    ComPtr<IMsgStore>& store = m_stores[m_catalog.folders[item.folder].store];
    if (!store && Quorvel_OpenStore(m_pSession, StoreId(item).c_str(), store.GetAddressOf()) != S_OK)
        store.Reset();
    ComPtr<IMessage> message;
    if (store && Quorvel_OpenStoreItem(store.Get(), item.entryId.c_str(), message.GetAddressOf()) != S_OK)
        message.Reset();
    return message;
}

const std::string& CItemReader::NameOf(IMessage* message, size_t store, ULONG tag) {
    const ULONG id = PROP_ID(tag);
    const auto [found, isNew] = m_names.emplace(std::pair{id < kFirstNamedId ? 0 : store, id}, std::string());
    if (!isNew) return found->second;
    found->second = PropertyName(tag, nullptr, 0, nullptr);
    if (id < kFirstNamedId) return found->second;
    SPropTagArray wanted{1, {tag}};
    SPropTagArray* tags = &wanted;
    ULONG count = 0;
    MAPINAMEID** raw = nullptr;
    const HRESULT hr = message->GetNamesFromIDs(&tags, nullptr, 0, &count, &raw);
    const MapiPtr<MAPINAMEID*> names(raw);
    if (hr == S_OK && count == 1 && names && raw[0]) {
        const MAPINAMEID& name = *raw[0];
        const std::string set = SetText(*name.lpguid);
        const bool isNumber = name.ulKind == MNID_ID;
        found->second = PropertyName(0, set.c_str(), isNumber ? name.Kind.lID : 0,
                                     isNumber ? nullptr : name.Kind.lpwstrName);
    }
    return found->second;
}

std::optional<TItemValues> CItemReader::Read(const TItem& item) {
    const ComPtr<IMessage> message = Open(item);
    if (!message) return std::nullopt;
    ULONG count = 0;
    SPropValue* raw = nullptr;
    const HRESULT hr = message->GetProps(nullptr, MAPI_UNICODE, &count, &raw);
    const MapiPtr<SPropValue> owner(raw);
    if ((hr != S_OK && hr != MAPI_W_ERRORS_RETURNED) || !owner) return std::nullopt;
    TItemValues result;
    for (ULONG i = 0; i < count; ++i) {
        const SPropValue& read = raw[i];
        const std::string& name = NameOf(message.Get(), m_catalog.folders[item.folder].store, read.ulPropTag);
        if (read.ulPropTag == PR_HASATTACH && read.Value.b) {
            long* numbers = nullptr;
            const HRESULT listed = Quorvel_GetAttachments(message.Get(), &numbers, &result.attachments);
            const MapiPtr<long> owned(numbers);
            if (listed != S_OK) return std::nullopt;
        }
        const ULONG meaningful = m_bookkeeping.Meaningful(name);
        if (meaningful == 0) {
            TItemValue shown;
            const int email = EmailNumberOfName(name);
            if (email >= 0) AddOne(shown, read, kAllBits);
            if (!shown.elements.empty()) result.namedEmails |= 1u << email;
            continue;
        }
        TItemValue value;
        value.type = WideType(PROP_TYPE(read.ulPropTag));
        if (PROP_TYPE(read.ulPropTag) != PT_ERROR) {
            AddOne(value, read, meaningful);
        } else if (read.Value.err != MAPI_E_NOT_FOUND && read.Value.err != MAPI_E_NO_SUPPORT &&
                   !AddLarge(message.Get(), PROP_ID(read.ulPropTag), value)) {
            return std::nullopt;
        }
        if (!value.elements.empty()) result.values.emplace(name, std::move(value));
    }
    return result;
}

}  // namespace host
