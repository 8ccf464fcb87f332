#pragma once
// Single values of the mailbox file into the bytes of properties.

#include <string>
#include <string_view>

#include "mailbox/CProperties.h"

namespace mailbox {

/// A number, text or boolean of the file.
struct TScalar {
    enum class EKind { Text, Signed, Unsigned, Float, Boolean };

    EKind kind;
    std::string_view text{};
    long long number = 0;
    unsigned long long unsignedNumber = 0;
    double real = 0;
    bool boolean = false;
};

/// A value of the file as bytes of the (single-valued) type. Null, or what is wrong with it.
const char* EncodeValue(ULONG type, const TScalar& scalar, std::string& bytes);
/// {"base64": ...}: the bytes as the platform holds them. Null, or what is wrong with them.
const char* EncodeRawValue(ULONG type, std::string_view base64, std::string& bytes);

}  // namespace mailbox
