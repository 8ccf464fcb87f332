#include "log/value_text.h"

#include <mapicode.h>

#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <string>

#include "base/text.h"
#include "log/local_time.h"

namespace logging {

namespace {
struct TTypeLabel {
    ULONG type;
    const wchar_t* label;
};

const TTypeLabel kLabels[] = {
    {PT_I2, L"(PT_I2)"},
    {PT_LONG, L"(PT_LONG)"},
    {PT_R4, L"(PT_R4)"},
    {PT_DOUBLE, L"(PT_DOUBLE)"},
    {PT_BOOLEAN, L"(PT_BOOLEAN)"},
    {PT_CURRENCY, L"(PT_CURRENCY)"},
    {PT_APPTIME, L"(PT_APPTIME)"},
    {PT_SYSTIME, L"(PT_SYSTIME)"},
    {PT_STRING8, L"(PT_STRING8)"},
    {PT_UNICODE, L"(PT_UNICODE)"},
    {PT_CLSID, L"(PT_CLSID)"},
    {PT_I8, L"(PT_I8)"},
    {PT_BINARY, L"PT_BINARY, "},
    {PT_ERROR, L"(PT_ERROR)"},
    {PT_NULL, L"(PT_NULL)"},
    {PT_OBJECT, L"(PT_OBJECT)"},
    {PT_MV_I2, L"PT_MV_I2, "},
    {PT_MV_LONG, L"PT_MV_LONG, "},
    {PT_MV_R4, L"PT_MV_R4, "},
    {PT_MV_DOUBLE, L"PT_MV_DOUBLE, "},
    {PT_MV_CURRENCY, L"PT_MV_CURRENCY, "},
    {PT_MV_APPTIME, L"PT_MV_APPTIME, "},
    {PT_MV_SYSTIME, L"PT_MV_SYSTIME, "},
    {PT_MV_BINARY, L"PT_MV_BINARY, "},
    {PT_MV_STRING8, L"PT_MV_STRING8, "},
    {PT_MV_UNICODE, L"PT_MV_UNICODE, "},
    {PT_MV_CLSID, L"PT_MV_CLSID, "},
    {PT_MV_I8, L"PT_MV_I8, "},
};

/// The label of a type, empty when none is asked for; null for a type that has none.
const wchar_t* LabelOf(ULONG type, bool wanted) {
    for (const TTypeLabel& entry : kLabels)
        if (entry.type == type) return wanted ? entry.label : L"";
    return nullptr;
}

/// A text under construction in the caller's buffer: cut at its capacity, terminated after every step.
class COutput {
  public:
    COutput(wchar_t* buffer, size_t capacity) : m_lpszBuffer(buffer), m_nCapacity(capacity) {
        if (capacity != 0) *buffer = L'\0';
    }

    void Print(const wchar_t* format, ...) {
        if (m_nUsed + 1 >= m_nCapacity) return;
        const size_t room = m_nCapacity - m_nUsed;
        va_list arguments;
        va_start(arguments, format);
        const int length = _vsnwprintf(m_lpszBuffer + m_nUsed, room, format, arguments);
        va_end(arguments);
        // Negative when cut; equal to room when there is no place left for the terminator.
        m_nUsed += length < 0 || static_cast<size_t>(length) >= room ? room - 1 : static_cast<size_t>(length);
        m_lpszBuffer[m_nUsed] = L'\0';
    }

    /// Characters that still fit in front of the terminator.
    size_t Room() const { return m_nUsed + 1 < m_nCapacity ? m_nCapacity - m_nUsed - 1 : 0; }

  private:
    wchar_t* m_lpszBuffer;
    size_t m_nCapacity;
    size_t m_nUsed = 0;
};

std::wstring WidenOrNullText(const char* text) {
    return text != nullptr ? base::Widen(text) : L"(null)";
}

const wchar_t* OrNullText(const wchar_t* text) {
    return text != nullptr ? text : L"(null)";
}

void PrintHalves(COutput& out, const wchar_t* label, LONGLONG value) {
    out.Print(L"%s{0x%x, 0x%x}", label, static_cast<unsigned>(value >> 32), static_cast<unsigned>(value));
}

void PrintTime(COutput& out, const wchar_t* label, const FILETIME& time) {
    SYSTEMTIME utc;
    if (FileTimeToSystemTime(&time, &utc))
        out.Print(L"%s\"%04d.%02d.%02d %02d:%02d:%02d.%04d\"", label, utc.wYear, utc.wMonth, utc.wDay,
                  utc.wHour, utc.wMinute, utc.wSecond, utc.wMilliseconds);
    else
        out.Print(L"%s{0x%x, 0x%x}", label, static_cast<unsigned>(time.dwHighDateTime),
                  static_cast<unsigned>(time.dwLowDateTime));
}

void PrintGuid(COutput& out, const wchar_t* label, const GUID* guid) {
    if (guid == nullptr) return out.Print(L"%s%s", label, OrNullText(nullptr));
    const BYTE* d = guid->Data4;
    out.Print(L"%s{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", label,
              static_cast<unsigned>(guid->Data1), guid->Data2, guid->Data3, d[0], d[1], d[2], d[3], d[4],
              d[5], d[6], d[7]);
}

/// Elements of a multi-valued string; a count without a pointer stands for none.
ULONG ListedOf(const _PV& value) {
    return value.MVszW.lppszW ? value.MVszW.cValues : 0;
}

/// Prints count, then the elements as long as they fit whole. text(i) is the i-th element.
template <typename Text>
void PrintStrings(COutput& out, const wchar_t* label, ULONG count, Text text) {
    out.Print(L"(%scount=%d)%s", label, static_cast<int>(count), count != 0 ? L"{" : L"");
    for (ULONG i = 0; i < count; ++i) {
        const std::wstring& element = text(i);
        if (element.size() + 3 > out.Room()) return;
        out.Print(L"\"%s\"%c", element.c_str(), i + 1 < count ? L',' : L'}');
    }
}

void PrintValue(COutput& out, ULONG type, const wchar_t* label, const _PV& value) {
    switch (type) {
        case PT_I2:
            return out.Print(L"%s%d", label, value.i);
        case PT_LONG:
            return out.Print(L"%s%d", label, static_cast<int>(value.l));
        case PT_R4:
            return out.Print(L"%s%f", label, static_cast<double>(value.flt));
        case PT_DOUBLE:
            return out.Print(L"%s%f", label, value.dbl);
        case PT_BOOLEAN:
            return out.Print(L"%s%s", label, value.b != 0 ? L"true" : L"false");
        // An application time is a floating-point number; it is shown by its bits, like a currency.
        case PT_CURRENCY:
        case PT_APPTIME:
            return PrintHalves(out, label, value.cur.int64);
        case PT_SYSTIME:
            return PrintTime(out, label, value.ft);
        case PT_STRING8:
            return out.Print(L"%s\"%s\"", label, WidenOrNullText(value.lpszA).c_str());
        case PT_UNICODE:
            return out.Print(L"%s\"%s\"", label, OrNullText(value.lpszW));
        case PT_CLSID:
            return PrintGuid(out, label, value.lpguid);
        case PT_I8:
            return out.Print(L"%s%I64d", label, value.li.QuadPart);
        case PT_BINARY:
            return out.Print(L"(%scb=%d)", label, static_cast<int>(value.bin.cb));
        case PT_ERROR:
            if (value.err == MAPI_E_NOT_FOUND) return out.Print(L"MAPI_E_NOT_FOUND");
            return out.Print(L"%s0x%x", label, static_cast<unsigned>(value.err));
        case PT_NULL:
        case PT_OBJECT:
            return out.Print(L"%s0x%x", label, static_cast<unsigned>(value.x));
        case PT_MV_STRING8:
            return PrintStrings(out, label, ListedOf(value),
                                [&](ULONG i) { return WidenOrNullText(value.MVszA.lppszA[i]); });
        case PT_MV_UNICODE:
            return PrintStrings(out, label, ListedOf(value),
                                [&](ULONG i) { return std::wstring(OrNullText(value.MVszW.lppszW[i])); });
        // Every array begins with its count.
        default:
            return out.Print(L"(%scount=%d)", label, static_cast<int>(value.MVi.cValues));
    }
}
}  // namespace

wchar_t* FileTimeToText(const FILETIME* time, wchar_t* buffer, size_t capacity, int local) {
    COutput out(buffer, capacity);
    if (time == nullptr || (time->dwHighDateTime == 0 && time->dwLowDateTime == 0)) {
        out.Print(L"%d", 0);
        return buffer;
    }
    FILETIME shown = *time;
    if (local != 0) FileTimeToLocalFileTimeFIX(time, &shown);
    SYSTEMTIME t;
    if (!FileTimeToSystemTime(&shown, &t))
        out.Print(L"FILETIME(%d,%d)", static_cast<int>(shown.dwHighDateTime),
                  static_cast<int>(shown.dwLowDateTime));
    else if (t.wHour == 0 && t.wMinute == 0 && t.wSecond == 0 && t.wMilliseconds == 0)
        out.Print(L"%04d.%02d.%02d", t.wYear, t.wMonth, t.wDay);
    else
        out.Print(L"%04d.%02d.%02d %02d:%02d:%02d.%04d", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                  t.wSecond, t.wMilliseconds);
    return buffer;
}

wchar_t* PropValueText(const SPropValue* value, wchar_t* buffer, size_t capacity, unsigned flags) {
    COutput out(buffer, capacity);
    if (value == nullptr) {
        out.Print(L"NULL");
        return buffer;
    }
    const ULONG type = PROP_TYPE(value->ulPropTag);
    const wchar_t* label = LabelOf(type, (flags & 0xFF) != 0);
    if (label == nullptr)
        out.Print(L"(PT_UNKNOWN: 0x%x)", static_cast<unsigned>(type));
    else
        PrintValue(out, type, label, value->Value);
    return buffer;
}

wchar_t* ElementText(const SPropValue* value, int index, wchar_t* buffer, size_t capacity) {
    COutput out(buffer, capacity);
    const ULONG type = value != nullptr ? PROP_TYPE(value->ulPropTag) : PT_NULL;
    if (value == nullptr) {
        out.Print(L"NULL");
    } else if (type != PT_MV_STRING8 && type != PT_MV_UNICODE) {
        out.Print(L"ERROR: unsupported type(0x%x)", static_cast<unsigned>(type));
    } else if (index < 0 || static_cast<ULONG>(index) >= ListedOf(value->Value)) {
        out.Print(L"ERROR:outofbounds");
    } else if (type == PT_MV_STRING8) {
        out.Print(L"%s", WidenOrNullText(value->Value.MVszA.lppszA[index]).c_str());
    } else {
        out.Print(L"%s", OrNullText(value->Value.MVszW.lppszW[index]));
    }
    if (capacity != 0) buffer[capacity - 1] = L'\0';
    for (size_t i = 0; i < capacity && buffer[i] != L'\0'; ++i)
        if (buffer[i] == L'\r' || buffer[i] == L'\n') buffer[i] = L' ';
    return buffer;
}

}  // namespace logging
