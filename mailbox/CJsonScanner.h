#pragma once
// The JSON of a mailbox file as a row of tokens, read in pieces, whatever its size. Long texts stay in the file:
// they are checked, measured and left where they are.
//
// Takes exactly what RFC 8259 takes: UTF-8 without lone surrogates, one value, nothing behind it; a byte-order
// mark in front is passed over.

#include <string>
#include <string_view>
#include <vector>

#include "mailbox/CFileText.h"
#include "mailbox/file_values.h"

namespace mailbox {

class CJsonScanner {
  public:
    enum class EToken { Object, ObjectEnd, List, ListEnd, Key, Value, Place, Null, End, Bad };
    /// How a text may stay in the file when it is long. As base64 only what is base64 stays.
    enum class EStay { Never, AsText, AsBase64 };

    /// piece: bytes that are read at a time.
    explicit CJsonScanner(CFileText& file, size_t piece = 1 << 18);

    EToken Next();
    /// For the value that Next gives now.
    void MayStay(EStay stay) { m_stay = stay; }
    /// Of EToken::Key. Valid until the next call of Next.
    std::string_view Key() const { return m_text; }
    /// Of EToken::Value. Valid until the next call of Next.
    const TScalar& Value() const { return m_scalar; }
    /// Of EToken::Place: where the text lies, and its bytes when it is decoded.
    const TPlace* StayedAt() const { return m_pPlace; }
    unsigned long long StayedSize() const { return m_nSize; }
    /// Of EToken::Bad: "parse error at line 3, column 7: ...".
    std::string Problem() const { return m_problem; }

    /// Longer texts stay. Short ones are read far more often than they are long.
    static constexpr size_t kMostKept = 256;

  private:
    enum class EState { Value, FirstElement, FirstKey, Key, AfterValue };

    bool Need(size_t count);
    int SkipBlanks();
    unsigned long long Offset() const {
        return m_nStart + static_cast<unsigned long long>(m_pAt - m_buffer.data());
    }
    void Rewind(unsigned long long offset);
    EToken Bad(const std::string& what);
    EToken Close();
    EToken ValueFrom(int character);
    EToken Literal(std::string_view word, EToken token);
    EToken Number();
    EToken Text();
    bool Plain();
    bool PlainBase64(unsigned long long start);

    CFileText& m_file;
    std::string m_buffer;
    /// Offset of the buffer's begin in the file.
    unsigned long long m_nStart = 0;
    const char* m_pAt;
    const char* m_pEnd;

    std::vector<char> m_levels;
    EState m_state = EState::Value;
    EStay m_stay = EStay::Never;
    std::string m_text;
    unsigned long long m_nSize = 0;
    bool m_bHasEscapes = false;
    TScalar m_scalar{};
    const TPlace* m_pPlace = nullptr;
    std::string m_problem;
};

}  // namespace mailbox
