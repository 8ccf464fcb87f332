#include "compare/text_hash.h"

#include "compare/sort_key.h"
#include "compare/string_compare.h"

namespace {

constexpr unsigned char kEndOfWeights = 1;
constexpr uint64_t kByteFactor = 0x9E3779B97F4A7C15u;
constexpr int kComparedDigits = 7;

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

}  // namespace

CTextHash::CTextHash() : m_locale(GetThreadLocale()), m_bWeights(FindWeights()) {}

bool CTextHash::FindWeights() {
    for (size_t c = 1; c < m_weights.size(); ++c) {
        const wchar_t text[] = {static_cast<wchar_t>(c), 0};
        const std::optional<Weights> weights = WeightsByKey(text);
        if (!weights) return false;
        m_weights[c] = *weights;
    }
    // Languages have letters written as two characters (cs, ll), or as three (dzs), and they sort such a
    // letter after all others that begin with the first.
    return IsSumOfWeights(AllSequences(Characters(1, 127), 2)) &&
           IsSumOfWeights(AllSequences(Characters(L'a', L'z'), 3));
}

bool CTextHash::IsSumOfWeights(const std::vector<wchar_t>& text) {
    uint64_t sum = 0;
    const std::optional<Weights> weights = WeightsByKey(text.data());
    return weights && AddWeights(text.data(), sum) && sum == weights->summand;
}

std::optional<CTextHash::Weights> CTextHash::WeightsByKey(const wchar_t* text) {
    m_key.clear();
    if (compare::AppendSortKey(text, m_key) == 0) return std::nullopt;
    Weights weights;
    for (const unsigned char b : m_key) {
        if (b == kEndOfWeights) break;
        weights.factor *= kByteFactor;
        weights.summand = weights.summand * kByteFactor + b;
    }
    return weights;
}

bool CTextHash::AddWeights(const wchar_t* text, uint64_t& hash) const {
    Weights whole{1, hash};
    const auto isPlain = [this](wchar_t c) { return c != 0 && c < m_weights.size(); };
    // By fours: each multiplication of the whole waits for the one before.
    for (; isPlain(text[0]) && isPlain(text[1]) && isPlain(text[2]) && isPlain(text[3]); text += 4) {
        whole = Both(whole, Both(Both(m_weights[text[0]], m_weights[text[1]]),
                                 Both(m_weights[text[2]], m_weights[text[3]])));
    }
    for (; isPlain(*text); ++text) whole = Both(whole, m_weights[*text]);
    hash = whole.summand;
    return *text == 0;
}

std::optional<uint64_t> CTextHash::Hash(const wchar_t* text, ECompareMethod method) {
    if (GetThreadLocale() != m_locale) return std::nullopt;
    if (!text) text = L"";
    wchar_t buffer[kComparedDigits + 1];
    if (method == cmLast7Digits) {
        const wchar_t* digits = ExtractLastDigits(text, buffer, kComparedDigits);
        if (*digits) text = digits;
    }
    uint64_t hash = 0;
    if (m_bWeights && AddWeights(text, hash)) return hash;
    const std::optional<Weights> weights = WeightsByKey(text);
    return weights ? std::optional(weights->summand) : std::nullopt;
}
