#include "dupsearch/field_value.h"

#include <cstring>
#include <cwchar>
#include <utility>

#include "compare/CDefinitions.h"
#include "compare/string_compare.h"
#include "compare/value_compare.h"
#include "compare/value_operations.h"
#include "dupsearch/read_item.h"
#include "log/CLog.h"
#include "store/properties.h"
#include "store/streams.h"

namespace dupsearch {

using base::TName;
using items::CItemReader;
using logging::g_Log;
using store::MapiBuffer;

namespace {

constexpr char kTag[] = "CDuplicateSearch.CalcODProps(FieldValue)";
constexpr char kEmailTag[] = "CDuplicateSearch.GetContactSmtpEmail";

std::wstring Lower(const wchar_t* text) {
    std::wstring lower(text ? text : L"");
    CharLowerW(lower.data());
    return lower;
}

bool ContainsWide(const wchar_t* text, const std::wstring& wanted) {
    return Lower(text).find(wanted) != std::wstring::npos;
}

bool Contains8(const char* text, const std::string& wanted) {
    return text && std::strstr(text, wanted.c_str());
}

/// Whether some non-empty line of the wanted text satisfies the test.
template <typename Text, typename Test>
bool AnyLine(const Text& wanted, Test&& test) {
    const typename Text::value_type separator[] = {'\r', '\n', 0};
    for (size_t begin = 0; begin <= wanted.size();) {
        size_t end = wanted.find(separator, begin);
        if (end == Text::npos) end = wanted.size();
        if (end > begin && test(wanted.substr(begin, end - begin))) return true;
        begin = end + 2;
    }
    return false;
}

bool MatchesTexts(const TWantedValue& wanted, const SPropValue& value) {
    return AnyLine(wanted.text, [&](const std::wstring& line) {
        for (ULONG i = 0; i < value.Value.MVszW.cValues; ++i) {
            if (ContainsWide(value.Value.MVszW.lppszW[i], line)) return true;
        }
        return false;
    });
}

bool MatchesTexts8(const TWantedValue& wanted, const SPropValue& value) {
    return AnyLine(wanted.text8, [&](const std::string& line) {
        for (ULONG i = 0; i < value.Value.MVszA.cValues; ++i) {
            if (Contains8(value.Value.MVszA.lppszA[i], line)) return true;
        }
        return false;
    });
}

bool MatchesTime(const TWantedValue& wanted, const FILETIME& value, ECompareMethod method) {
    if (method == cmTimeWithin10Min || method == cmTimeWithinDay) {
        FILETIME time;
        return SystemTimeToFileTime(&wanted.time, &time) &&
               compare::FILETIME_Compare(value, time, method) == 0;
    }
    SYSTEMTIME fields;
    if (!FileTimeToSystemTime(&value, &fields)) return false;
    const SYSTEMTIME& w = wanted.time;
    return fields.wYear == w.wYear && fields.wMonth == w.wMonth && fields.wDay == w.wDay &&
           fields.wHour == w.wHour && fields.wMinute == w.wMinute && fields.wSecond == w.wSecond &&
           fields.wMilliseconds == w.wMilliseconds;
}

/// A text may stand for a multi-valued text of the same width.
bool DoTypesAgree(ULONG wanted, ULONG value) {
    return wanted == value || (wanted == PT_UNICODE && value == PT_MV_UNICODE) ||
           (wanted == PT_STRING8 && value == PT_MV_STRING8);
}

// ---- Reading

int EmailIndex(const TComparyProp& definition) {
    for (int i = 0; i < static_cast<int>(std::size(base::kEmails)); ++i) {
        const TName& name = base::kNameTable[base::kEmails[i]];
        if (definition.nID == name.id && compare::IsInSet(definition, name.set)) return i + 1;
    }
    return 0;
}

/// The unread state, which some stores keep in the message flags alone.
HRESULT ReadContentUnread(IMessage* item, SPropValue** value) {
    const HRESULT hr = store::GetPropValue(item, PR_CONTENT_UNREAD, value);
    if (store::IsReadSuccess(hr) && *value && PROP_TYPE((*value)->ulPropTag) == PT_ERROR) {
        ComputeContentUnread(**value, item);
    }
    return hr;
}

bool MatchesPlain(CItemReader& reader, CItemReader::TStore& store, IMessage* item,
                  const TComparyProp& definition, const TWantedValue& wanted) {
    MapiBuffer<SPropValue> value;
    HRESULT hr;
    if (const int index = EmailIndex(definition)) {
        hr = GetContactSmtpEmail(reader, store, item, definition.ulPropTag, index, store::Out(value));
    } else if (definition.ulPropTag == PR_CONTENT_UNREAD) {
        hr = ReadContentUnread(item, store::Out(value));
    } else {
        hr = store::GetPropValue(item, definition.ulPropTag, store::Out(value));
    }
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(kTag, "GetPropValue return %d\n", static_cast<int>(hr));
        return false;
    }
    int empty = TRUE;
    if (!compare::IsEmptyValue(value.get(), &empty, nullptr) || empty) return false;
    return MatchesWantedValue(wanted, *value, static_cast<ECompareMethod>(definition.nCompareMethod));
}

/// Cuts off what mail clients leave at the end of an empty last line.
template <typename Char>
void CutTail(Char* text, ULONG bytes) {
    const size_t length = store::EndText(text, bytes);
    if (length >= 3 && text[length - 3] == ' ' && text[length - 2] == '\r' && text[length - 1] == '\n') {
        text[length - 3] = 0;
    } else if (length >= 1 && text[length - 1] == '\r') {
        text[length - 1] = 0;
    }
}

bool MatchesStream(IMessage* item, const TComparyProp& definition, const TWantedValue& wanted) {
    MapiBuffer<void> buffer;
    ULONG bytes = 0;
    const HRESULT hr =
        store::GetStreamPropValue(item, definition.ulPropTag, store::Out(buffer), &bytes, TRUE);
    if (hr != S_OK) {
        g_Log.Error(kTag, "GetStreamPropValue return %d\n", static_cast<int>(hr));
        return false;
    }
    if (!buffer || bytes == 0) return false;
    SPropValue value{};
    value.ulPropTag = definition.ulPropTag;
    switch (PROP_TYPE(definition.ulPropTag)) {
        case PT_UNICODE:
            value.Value.lpszW = static_cast<wchar_t*>(buffer.get());
            CutTail(value.Value.lpszW, bytes);
            break;
        case PT_STRING8:
            value.Value.lpszA = static_cast<char*>(buffer.get());
            CutTail(value.Value.lpszA, bytes);
            break;
        default:
            g_Log.Error(kTag, "IID_IStream used other than PT_TSTRING?\n");
            return false;
    }
    if (compare::PV_IsEmpty(value.Value, PROP_TYPE(value.ulPropTag), nullptr)) return false;
    return MatchesWantedValue(wanted, value, static_cast<ECompareMethod>(definition.nCompareMethod));
}

}  // namespace

bool MatchesWantedValue(const TWantedValue& wanted, const SPropValue& value, ECompareMethod method) {
    const ULONG type = PROP_TYPE(value.ulPropTag);
    if (!DoTypesAgree(wanted.type, type)) {
        g_Log.Error(kTag, "TypeOfValue(0x%x) != TypeOfProperty(0x%x)\n", static_cast<unsigned>(wanted.type),
                    static_cast<unsigned>(type));
        return false;
    }
    switch (type) {
        case PT_I2:
            return value.Value.i == wanted.number;
        case PT_LONG:
            return value.Value.l == wanted.number;
        case PT_DOUBLE:
            return value.Value.dbl == wanted.real;
        case PT_BOOLEAN:
            return (value.Value.b != 0) == wanted.flag;
        case PT_UNICODE:
            return ContainsWide(value.Value.lpszW, wanted.text);
        case PT_STRING8:
            return Contains8(value.Value.lpszA, wanted.text8);
        case PT_MV_UNICODE:
            return MatchesTexts(wanted, value);
        case PT_MV_STRING8:
            return MatchesTexts8(wanted, value);
        case PT_SYSTIME:
            return MatchesTime(wanted, value.Value.ft, method);
        default:
            g_Log.Error(kTag, "Invalid fieldtype=%d\n", static_cast<int>(type));
            return false;
    }
}

HRESULT GetContactSmtpEmail(CItemReader& reader, CItemReader::TStore& store, IMessage* item, ULONG tag,
                            int index, SPropValue** value) {
    const HRESULT hr = store::GetPropValue(item, tag, value);
    if (!store::IsReadSuccess(hr) || !*value) return hr;
    // Any other type, an error too, is for the caller to judge, and to write a line about.
    const ULONG type = PROP_TYPE((*value)->ulPropTag);
    if ((type != PT_UNICODE && type != PT_STRING8) || compare::PV_IsEmpty((*value)->Value, type, nullptr))
        return hr;
    const bool wide = type == PT_UNICODE;
    if (wide ? std::wcschr((*value)->Value.lpszW, L'@') != nullptr
             : std::strchr((*value)->Value.lpszA, '@') != nullptr) {
        return hr;
    }
    MapiBuffer<SPropValue> smtp = reader.SmtpEmail(kEmailTag, item, store, index, wide);
    if (!smtp) return hr;
    const MapiBuffer<SPropValue> replaced(std::exchange(*value, smtp.release()));
    return S_OK;
}

bool HasFieldValue(CItemReader& reader, CItemReader::TStore& store, IMessage* item,
                   const TComparyProp& definition, const TWantedValue& wanted) {
    switch (definition.nInterface) {
        case 0:
            return MatchesPlain(reader, store, item, definition, wanted);
        case 1:
            return MatchesStream(item, definition, wanted);
        default:
            g_Log.Error(kTag, "Invalid interface - %d\n", static_cast<int>(definition.nInterface));
            return false;
    }
}

}  // namespace dupsearch
