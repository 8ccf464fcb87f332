#include "compare/text_hash.h"

#include <algorithm>

#include "compare/sort_key.h"
#include "compare/string_compare.h"

namespace {

constexpr unsigned char kEndOfWeights = 1;

/// The hash of a sequence of weights, two bytes each and none of them 0.
class CWeightHash {
  public:
    void Add(uint16_t weight) {
        m_word |= uint64_t{weight} << m_shift;
        m_shift += 16;
        if (m_shift < 64) return;
        Mix(m_word);
        m_word = 0;
        m_shift = 0;
    }
    /// Four weights at once: only between whole fours.
    bool IsBetweenFours() const { return m_shift == 0; }
    void AddFour(uint64_t a, uint64_t b, uint64_t c, uint64_t d) { Mix(a | b << 16 | c << 32 | d << 48); }

    uint64_t Hash() const {
        CWeightHash ended = *this;
        ended.Mix(m_word);
        ended.Mix(ended.m_other);
        return ended.m_other;
    }

  private:
    // Two hashes take turns, so that one multiplication need not wait for the other.
    void Mix(uint64_t word) {
        const uint64_t mixed = (m_hash ^ word) * 0x9E3779B97F4A7C15u;
        m_hash = m_other;
        m_other = mixed ^ mixed >> 32;
    }

    uint64_t m_hash = 0;
    uint64_t m_other = 0;
    uint64_t m_word = 0;  // weights since the last four
    unsigned m_shift = 0;
};

/// A text in which each sequence of n of the characters occurs: a de Bruijn sequence, built of Lyndon words
/// (Fredricksen, Kessler, Maiorana 1978), with its beginning repeated at the end.
std::vector<wchar_t> AllSequences(const std::vector<wchar_t>& characters, size_t n) {
    std::vector<wchar_t> text;
    std::vector<size_t> word(n + 1);
    const auto extend = [&](const auto& self, size_t length, size_t period) -> void {
        if (length > n) {
            if (n % period != 0) return;
            for (size_t i = 1; i <= period; ++i) text.push_back(characters[word[i]]);
            return;
        }
        word[length] = word[length - period];
        self(self, length + 1, period);
        for (size_t c = word[length - period] + 1; c < characters.size(); ++c) {
            word[length] = c;
            self(self, length + 1, length);
        }
    };
    extend(extend, 1, 1);
    for (size_t i = 0; i + 1 < n; ++i) text.push_back(text[i]);
    text.push_back(0);
    return text;
}

std::vector<wchar_t> Characters(wchar_t first, wchar_t last) {
    std::vector<wchar_t> characters;
    for (wchar_t c = first; c <= last; ++c) characters.push_back(c);
    return characters;
}

uint16_t Pair(unsigned char first, unsigned char second) {
    return static_cast<uint16_t>(first | second << 8);
}

}  // namespace

CTextHash::CTextHash() : m_locale(GetThreadLocale()), m_bWeights(FindWeights()) {}

bool CTextHash::FindWeights() {
    for (size_t c = 1; c < m_weights.size(); ++c) {
        const wchar_t text[] = {static_cast<wchar_t>(c), 0};
        const auto weights = WeightsByKey(text);
        if (!weights || (!weights->empty() && weights->size() != 2)) return false;
        m_weights[c] = weights->empty() ? 0 : Pair((*weights)[0], (*weights)[1]);
    }
    // Languages have letters written as two characters (cs, ll), or as three (dzs), and they sort such a
    // letter after all others that begin with the first.
    return IsHashedAlike(AllSequences(Characters(1, 127), 2)) &&
           IsHashedAlike(AllSequences(Characters(L'a', L'z'), 3));
}

bool CTextHash::IsHashedAlike(const std::vector<wchar_t>& text) {
    const auto byKey = HashByKey(text.data());
    return byKey && HashByCharacters(text.data()) == byKey;
}

std::optional<std::span<const unsigned char>> CTextHash::WeightsByKey(const wchar_t* text) {
    m_key.clear();
    if (compare::AppendSortKey(text, m_key) == 0) return std::nullopt;
    return std::span(m_key.begin(), std::find(m_key.begin(), m_key.end(), kEndOfWeights));
}

THash CTextHash::HashByKey(const wchar_t* text) {
    const auto weights = WeightsByKey(text);
    if (!weights) return std::nullopt;
    CWeightHash whole;
    for (size_t i = 0; i < weights->size(); i += 2) {
        whole.Add(Pair((*weights)[i], i + 1 < weights->size() ? (*weights)[i + 1] : 0));
    }
    return whole.Hash();
}

THash CTextHash::HashByCharacters(const wchar_t* text) const {
    CWeightHash whole;
    const auto isPlain = [this](wchar_t c) { return c != 0 && c < m_weights.size(); };
    for (; isPlain(*text); ++text) {
        while (whole.IsBetweenFours() && isPlain(text[0]) && isPlain(text[1]) && isPlain(text[2]) &&
               isPlain(text[3])) {
            const uint64_t a = m_weights[text[0]], b = m_weights[text[1]], c = m_weights[text[2]],
                           d = m_weights[text[3]];
            if (!(a && b && c && d)) break;
            whole.AddFour(a, b, c, d);
            text += 4;
        }
        if (!isPlain(*text)) break;
        if (const uint16_t weight = m_weights[*text]) whole.Add(weight);
    }
    return *text == 0 ? THash(whole.Hash()) : std::nullopt;
}

THash CTextHash::Hash(const wchar_t* text, ECompareMethod method) {
    if (GetThreadLocale() != m_locale) return std::nullopt;
    if (!text) text = L"";
    wchar_t digits[compare::kComparedDigits + 1];
    text = compare::ComparedText(text, method, digits);
    if (m_bWeights) {
        if (const auto hash = HashByCharacters(text)) return hash;
    }
    return HashByKey(text);
}
