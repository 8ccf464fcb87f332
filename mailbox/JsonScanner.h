#pragma once
// The JSON of a mailbox file as a row of tokens, read in pieces, whatever its size. Long texts stay in the file:
// they are checked, measured and left where they are.
//
// Takes exactly what RFC 8259 takes: UTF-8 without lone surrogates, one value, nothing behind it; a byte-order
// mark in front is passed over.

#include <string>
#include <string_view>
#include <vector>

#include "mailbox/FileText.h"
#include "mailbox/file_values.h"

namespace mailbox {

class JsonScanner {
  public:
    enum Token { tObject, tObjectEnd, tList, tListEnd, tKey, tValue, tPlace, tNull, tEnd, tBad };
    /// How a text may stay in the file when it is long. As base64 only what is base64 stays.
    enum Stay { kNever, kAsText, kAsBase64 };

    /// piece: bytes that are read at a time.
    explicit JsonScanner(FileText& file, size_t piece = 1 << 18);

    Token Next();
    /// For the value that Next gives now.
    void MayStay(Stay stay) { m_stay = stay; }
    /// Of tKey. Valid until the next call of Next.
    std::string_view Key() const { return m_text; }
    /// Of tValue. Valid until the next call of Next.
    const Scalar& Value() const { return m_scalar; }
    /// Of tPlace: where the text lies, and its bytes when it is decoded.
    const Place* StayedAt() const { return m_place; }
    unsigned long long StayedSize() const { return m_size; }
    /// Of tBad: "parse error at line 3, column 7: ...".
    std::string Problem() const { return m_problem; }

    /// Longer texts stay. Short ones are read far more often than they are long.
    static constexpr size_t kMostKept = 256;

  private:
    enum State { sValue, sFirstElement, sFirstKey, sKey, sAfterValue };

    bool Need(size_t count);
    int SkipBlanks();
    unsigned long long Offset() const {
        return m_start + static_cast<unsigned long long>(m_at - m_buffer.data());
    }
    void Rewind(unsigned long long offset);
    Token Bad(const std::string& what);
    Token Close();
    Token ValueFrom(int character);
    Token Literal(std::string_view word, Token token);
    Token Number();
    Token Text();
    bool Plain();
    bool PlainBase64(unsigned long long start);

    FileText& m_file;
    std::string m_buffer;
    /// Offset of the buffer's begin in the file.
    unsigned long long m_start = 0;
    const char* m_at;
    const char* m_end;

    std::vector<char> m_levels;
    State m_state = sValue;
    Stay m_stay = kNever;
    std::string m_text;
    unsigned long long m_size = 0;
    bool m_hasEscapes = false;
    Scalar m_scalar{};
    const Place* m_place = nullptr;
    std::string m_problem;
};

}  // namespace mailbox
