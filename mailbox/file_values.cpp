#include "mailbox/file_values.h"

#include <cstring>
#include <utility>

#include "mailbox/file_text.h"
#include "mailbox/text.h"

namespace mailbox {

namespace {

template <typename T>
bool Put(std::string& bytes, T value) {
    bytes.assign(reinterpret_cast<const char*>(&value), sizeof value);
    return true;
}

template <typename T>
bool PutInteger(std::string& bytes, const TScalar& scalar) {
    if (scalar.kind == TScalar::EKind::Unsigned)
        return std::in_range<T>(scalar.unsignedNumber) && Put(bytes, static_cast<T>(scalar.unsignedNumber));
    return scalar.kind == TScalar::EKind::Signed && std::in_range<T>(scalar.number) &&
           Put(bytes, static_cast<T>(scalar.number));
}

bool PutReal(std::string& bytes, const TScalar& scalar, bool isSingle) {
    double value = scalar.real;
    if (scalar.kind == TScalar::EKind::Signed)
        value = static_cast<double>(scalar.number);
    else if (scalar.kind == TScalar::EKind::Unsigned)
        value = static_cast<double>(scalar.unsignedNumber);
    else if (scalar.kind != TScalar::EKind::Float)
        return false;
    return isSingle ? Put(bytes, static_cast<float>(value)) : Put(bytes, value);
}

bool PutTime(std::string& bytes, const TScalar& scalar) {
    unsigned long long ticks = 0;
    if (scalar.kind != TScalar::EKind::Text) return PutInteger<unsigned long long>(bytes, scalar);
    return ParseTime(scalar.text, ticks) && Put(bytes, ticks);
}

}  // namespace

const char* EncodeValue(ULONG type, const TScalar& scalar, std::string& bytes) {
    const bool isText = scalar.kind == TScalar::EKind::Text;
    GUID guid;
    switch (type) {
        case PT_I2:
            return PutInteger<short>(bytes, scalar) ? nullptr : "not a 16-bit integer";
        case PT_LONG:
            return PutInteger<LONG>(bytes, scalar) || PutInteger<ULONG>(bytes, scalar)
                       ? nullptr
                       : "not a 32-bit integer";
        case PT_ERROR:
            return PutInteger<LONG>(bytes, scalar) || PutInteger<ULONG>(bytes, scalar) ? nullptr
                                                                                       : "not an error code";
        case PT_I8:
        case PT_CURRENCY:
            return PutInteger<long long>(bytes, scalar) ? nullptr : "not a 64-bit integer";
        case PT_R4:
            return PutReal(bytes, scalar, true) ? nullptr : "not a number";
        case PT_DOUBLE:
        case PT_APPTIME:
            return PutReal(bytes, scalar, false) ? nullptr : "not a number";
        case PT_BOOLEAN:
            return scalar.kind == TScalar::EKind::Boolean &&
                           Put(bytes, static_cast<unsigned short>(scalar.boolean))
                       ? nullptr
                       : "not true or false";
        case PT_SYSTIME:
            return PutTime(bytes, scalar) ? nullptr : "not a time";
        case PT_CLSID:
            return isText && ParseGuid(scalar.text, guid) && Put(bytes, guid) ? nullptr : "not a GUID";
        case PT_UNICODE:
            return isText ? (bytes = scalar.text, nullptr) : "not a text";
        case PT_STRING8:
            return isText ? (bytes = ToAnsi(scalar.text), nullptr) : "not a text";
        default:
            return isText && FromBase64(scalar.text, bytes) ? nullptr : "not base64";
    }
}

const char* EncodeRawValue(ULONG type, std::string_view base64, std::string& bytes) {
    if (!FromBase64(base64, bytes)) return "not base64";
    if (FixedSize(type) != 0)
        return bytes.size() == FixedSize(type) ? nullptr : "not the bytes of a value of this type";
    if (type != PT_UNICODE) return nullptr;
    if (bytes.size() % sizeof(wchar_t) != 0) return "not whole UTF-16 units";
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), bytes.size());
    bytes = FromWide(text);
    return nullptr;
}

}  // namespace mailbox
