#include "mailbox/CJsonScanner.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "mailbox/text.h"

namespace mailbox {

namespace {

// A text that has to be in memory whole; more of one is no mailbox but an attack on the memory.
constexpr unsigned long long kMostText = 1u << 30;

/// The first byte that is no plain ASCII inside of a text: a quotation mark, backslash, control character, or part
/// of a longer character.
const char* SkipPlain(const char* at, const char* end) {
    const __m128i quote = _mm_set1_epi8('"'), backslash = _mm_set1_epi8('\\'), blank = _mm_set1_epi8(' ');
    for (; end - at >= 16; at += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
        // As signed numbers, controls and bytes from 0x80 up are both below the blank.
        const __m128i special =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(block, quote), _mm_cmpeq_epi8(block, backslash)),
                         _mm_cmplt_epi8(block, blank));
        const auto found = static_cast<unsigned>(_mm_movemask_epi8(special));
        if (found != 0) return at + std::countr_zero(found);
    }
    while (at != end && *at >= ' ' && *at != '"' && *at != '\\') ++at;
    return at;
}

constexpr auto kIsBase64 = [] {
    std::array<bool, 256> is{};
    for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"))
        is[static_cast<unsigned char>(c)] = true;
    return is;
}();

}  // namespace

CJsonScanner::CJsonScanner(CFileText& file, size_t piece)
    : m_file(file), m_buffer(std::max<size_t>(piece, 16), '\0'), m_pAt(m_buffer.data()), m_pEnd(m_pAt) {
    if (Need(3) && std::string_view(m_pAt, 3) == "\xEF\xBB\xBF") m_pAt += 3;
}

/// Sees that so many bytes are in the buffer. False when the file ends before, or cannot be read.
bool CJsonScanner::Need(size_t count) {
    if (static_cast<size_t>(m_pEnd - m_pAt) >= count) return true;
    const size_t left = static_cast<size_t>(m_pEnd - m_pAt);
    const unsigned long long offset = Offset();
    std::memmove(m_buffer.data(), m_pAt, left);
    m_nStart = offset;
    const size_t more = static_cast<size_t>(
        std::min<unsigned long long>(m_buffer.size() - left, m_file.Size() - offset - left));
    m_pAt = m_buffer.data();
    m_pEnd = m_pAt + left;
    if (more != 0 && m_file.Read(offset + left, m_buffer.data() + left, more)) m_pEnd += more;
    return static_cast<size_t>(m_pEnd - m_pAt) >= count;
}

void CJsonScanner::Rewind(unsigned long long offset) {
    if (offset >= m_nStart && offset - m_nStart <= static_cast<size_t>(m_pEnd - m_buffer.data())) {
        m_pAt = m_buffer.data() + (offset - m_nStart);
        return;
    }
    m_nStart = offset;
    m_pAt = m_pEnd = m_buffer.data();
}

/// The next character that is no blank, without taking it; -1 at the end.
int CJsonScanner::SkipBlanks() {
    for (;;) {
        for (; m_pAt != m_pEnd; ++m_pAt)
            if (*m_pAt != ' ' && *m_pAt != '\n' && *m_pAt != '\r' && *m_pAt != '\t')
                return static_cast<unsigned char>(*m_pAt);
        if (!Need(1)) return -1;
    }
}

CJsonScanner::EToken CJsonScanner::Bad(const std::string& what) {
    // The lines are counted only now: they are as many as the line breaks in front of here.
    const unsigned long long bad = Offset();
    unsigned long long line = 1, column = 1;
    std::string piece;
    for (unsigned long long offset = 0; offset < bad; offset += piece.size()) {
        piece.resize(static_cast<size_t>(std::min<unsigned long long>(bad - offset, 1 << 18)));
        if (!m_file.Read(offset, piece.data(), piece.size())) break;
        for (const char character : piece) {
            column = character == '\n' ? 1 : column + 1;
            line += character == '\n';
        }
    }
    m_problem = "parse error at line " + std::to_string(line) + ", column " + std::to_string(column) + ": " +
                (m_pAt == m_pEnd && bad < m_file.Size() ? "the file cannot be read on" : what);
    return EToken::Bad;
}

CJsonScanner::EToken CJsonScanner::Close() {
    const bool isObject = m_levels.back() == '{';
    ++m_pAt;
    m_levels.pop_back();
    m_state = EState::AfterValue;
    return isObject ? EToken::ObjectEnd : EToken::ListEnd;
}

CJsonScanner::EToken CJsonScanner::Next() {
    int character = SkipBlanks();
    if (m_state == EState::AfterValue) {
        if (m_levels.empty()) return character < 0 ? EToken::End : Bad("something stands behind the end");
        const char end = m_levels.back() == '{' ? '}' : ']';
        if (character == end) return Close();
        if (character != ',') return Bad(std::string("expected ',' or '") + end + "'");
        ++m_pAt;
        m_state = end == '}' ? EState::Key : EState::Value;
        character = SkipBlanks();
    }
    if (m_state == EState::FirstKey || m_state == EState::Key) {
        if (m_state == EState::FirstKey && character == '}') return Close();
        if (character != '"') return Bad("expected a name in quotation marks");
        m_stay = EStay::Never;
        ++m_pAt;
        const EToken token = Text();
        if (token == EToken::Bad) return token;
        if (SkipBlanks() != ':') return Bad("expected ':'");
        ++m_pAt;
        m_state = EState::Value;
        return EToken::Key;
    }
    if (m_state == EState::FirstElement && character == ']') return Close();
    const EToken token = ValueFrom(character);
    if (token != EToken::Object && token != EToken::List) m_state = EState::AfterValue;
    m_stay = EStay::Never;
    return token;
}

CJsonScanner::EToken CJsonScanner::ValueFrom(int character) {
    switch (character) {
        case '{':
        case '[':
            ++m_pAt;
            m_levels.push_back(static_cast<char>(character));
            m_state = character == '{' ? EState::FirstKey : EState::FirstElement;
            return character == '{' ? EToken::Object : EToken::List;
        case '"':
            ++m_pAt;
            return Text();
        case 't':
        case 'f':
            m_scalar = {.kind = TScalar::EKind::Boolean, .boolean = character == 't'};
            return Literal(character == 't' ? "true" : "false", EToken::Value);
        case 'n':
            return Literal("null", EToken::Null);
        default:
            if (character == '-' || (character >= '0' && character <= '9')) return Number();
            return Bad(character < 0 ? "the file ends too early" : "expected a value");
    }
}

CJsonScanner::EToken CJsonScanner::Literal(std::string_view word, EToken token) {
    Need(word.size());
    if (!std::string_view(m_pAt, static_cast<size_t>(m_pEnd - m_pAt)).starts_with(word))
        return Bad("expected a value");
    m_pAt += word.size();
    return token;
}

CJsonScanner::EToken CJsonScanner::Number() {
    m_text.clear();
    const auto digits = [&] {
        const size_t before = m_text.size();
        while (Need(1) && *m_pAt >= '0' && *m_pAt <= '9' && m_text.size() < kMostText) m_text += *m_pAt++;
        return m_text.size() != before;
    };
    const bool isNegative = *m_pAt == '-';
    if (isNegative) m_text += *m_pAt++;
    if (Need(1) && *m_pAt == '0')
        m_text += *m_pAt++;
    else if (!digits())
        return Bad("expected a digit");
    bool isWhole = true;
    if (Need(1) && *m_pAt == '.') {
        isWhole = false;
        m_text += *m_pAt++;
        if (!digits()) return Bad("expected a digit");
    }
    if (Need(1) && (*m_pAt == 'e' || *m_pAt == 'E')) {
        isWhole = false;
        m_text += *m_pAt++;
        if (Need(1) && (*m_pAt == '+' || *m_pAt == '-')) m_text += *m_pAt++;
        if (!digits()) return Bad("expected a digit");
    }
    const char* const begin = m_text.data();
    const char* const end = begin + m_text.size();
    m_scalar = {.kind = isNegative ? TScalar::EKind::Signed : TScalar::EKind::Unsigned};
    if (isWhole && (isNegative ? std::from_chars(begin, end, m_scalar.number).ec
                               : std::from_chars(begin, end, m_scalar.unsignedNumber).ec) == std::errc())
        return EToken::Value;
    m_scalar = {.kind = TScalar::EKind::Float};
    // Out of range is what is too large, and what is too small to be told from nothing.
    if (std::from_chars(begin, end, m_scalar.real).ec != std::errc())
        m_scalar.real = std::strtod(begin, nullptr);
    return std::isfinite(m_scalar.real) ? EToken::Value : Bad("a number beyond all numbers");
}

/// A text, from behind its quotation mark on.
CJsonScanner::EToken CJsonScanner::Text() {
    const unsigned long long start = Offset();
    m_text.clear();
    m_nSize = 0;
    m_bHasEscapes = false;
    m_pPlace = nullptr;
    bool isBase64 = m_stay == EStay::AsBase64 && PlainBase64(start);
    if (!isBase64 && !Plain()) return EToken::Bad;
    const unsigned long long rawSize = Offset() - 1 - start;
    if (m_nSize > kMostKept && m_stay != EStay::Never && (isBase64 || m_stay == EStay::AsText)) {
        const TPlace::EForm form = isBase64        ? TPlace::EForm::Base64
                                   : m_bHasEscapes ? TPlace::EForm::EscapedText
                                                   : TPlace::EForm::Text;
        m_pPlace = m_file.Add(start, rawSize, form);
        return EToken::Place;
    }
    m_scalar = {.kind = TScalar::EKind::Text, .text = m_text};
    return EToken::Value;
}

/// Takes a text to its end. It is in m_text as far as it must be.
bool CJsonScanner::Plain() {
    const auto take = [&](const char* bytes, size_t count) {
        m_nSize += count;
        if (m_nSize <= kMostKept || m_stay != EStay::AsText) m_text.append(bytes, count);
    };
    for (;;) {
        const char* const special = SkipPlain(m_pAt, m_pEnd);
        take(m_pAt, static_cast<size_t>(special - m_pAt));
        m_pAt = special;
        if (m_text.size() > kMostText) return Bad("a text too long to be a value"), false;
        if (m_pAt == m_pEnd) {
            if (!Need(1)) return Bad("the file ends within a text"), false;
        } else if (*m_pAt == '"') {
            ++m_pAt;
            return true;
        } else if (*m_pAt == '\\') {
            Need(kLongestEscape);
            std::string_view rest(m_pAt, static_cast<size_t>(m_pEnd - m_pAt));
            char character[4];
            size_t length = 0;
            if (TakeEscape(rest, character, length) != EEscape::Whole) return Bad("no escape"), false;
            take(character, length);
            m_pAt = rest.data();
            m_bHasEscapes = true;
        } else if (static_cast<unsigned char>(*m_pAt) < ' ') {
            return Bad("a control character within a text"), false;
        } else {
            Need(4);
            const size_t length = StrictCharacter({m_pAt, static_cast<size_t>(m_pEnd - m_pAt)});
            if (length == 0) return Bad("no UTF-8"), false;
            take(m_pAt, length);
            m_pAt += length;
        }
    }
}

/// Takes a long text that is base64 to its end. For any other: false, and nothing is taken.
bool CJsonScanner::PlainBase64(unsigned long long start) {
    const auto skip = [&] {
        do {
            while (m_pAt != m_pEnd && kIsBase64[static_cast<unsigned char>(*m_pAt)]) ++m_pAt;
        } while (m_pAt == m_pEnd && Need(1));
    };
    skip();
    unsigned long long padding = 0;
    for (; padding < 2 && Need(1) && *m_pAt == '='; ++padding) ++m_pAt;
    const unsigned long long rawSize = Offset() - start;
    m_nSize = rawSize / 4 * 3 - padding;
    if (rawSize % 4 == 0 && rawSize / 4 * 3 > kMostKept + padding && Need(1) && *m_pAt == '"') {
        ++m_pAt;
        return true;
    }
    m_nSize = 0;
    Rewind(start);
    return false;
}

}  // namespace mailbox
