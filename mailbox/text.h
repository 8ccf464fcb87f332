#pragma once
// Text in the three forms that a mailbox meets: UTF-8 (as stored; a lone surrogate is its own three bytes, so
// any wide text survives), UTF-16 (as programs ask for it) and the system's 8-bit code page.

#include <string>
#include <string_view>

namespace mailbox {

bool IsAscii(std::string_view text);
/// UTF-16 units of the text; at most its bytes.
size_t WideLength(std::string_view utf8);
/// Writes WideLength(utf8) units and returns the end. out need not be aligned.
wchar_t* WriteWide(std::string_view utf8, wchar_t* out);
std::wstring ToWide(std::string_view utf8);
/// The bytes of the wide text.
std::string ToWideBytes(std::string_view utf8);
std::string FromWide(std::wstring_view wide);
/// Characters that the code page lacks become its default character.
std::string ToAnsi(std::string_view utf8);
std::string FromAnsi(std::string_view ansi);
/// Text that a call brings, wide or of the code page. Null gives an empty text.
std::wstring CallText(const void* text, bool isWide);
/// Whether the text is UTF-8 as others understand it: no lone surrogates, nothing malformed.
bool IsStrictUtf8(std::string_view text);

/// Bytes of ASCII at the front, in whole blocks of 16.
size_t AsciiBlocks(std::string_view text);
/// Bytes of the character at the front of a text that is not empty; 0 when it is none of UTF-8 as others
/// understand it.
size_t StrictCharacter(std::string_view text);

/// A JSON escape, from its backslash on, that is whole, cut short, or no escape.
enum class EEscape { Whole, Cut, Bad };
constexpr size_t kLongestEscape = 12;
/// Takes a whole one off the front of the text; utf8 gets what it means, at most four bytes.
EEscape TakeEscape(std::string_view& text, char* utf8, size_t& length);

/// Upper-case hexadecimal text, and back. False when the text is not whole bytes in hexadecimal.
std::string ToHex(std::string_view bytes);
bool FromHex(std::string_view text, std::string& bytes);
/// Base64 with padding. False when the text is anything else.
std::string ToBase64(std::string_view bytes);
bool FromBase64(std::string_view text, std::string& bytes);

}  // namespace mailbox
