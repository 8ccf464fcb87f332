#include "compare/text_hash.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>

#include "compare/sort_key.h"
#include "compare/string_compare.h"

namespace compare {

namespace {

constexpr uint8_t kAscii = 128;  // how many ASCII characters there are

/// The hash of a sequence of numbers of 16 bits, none of them 0.
class CSequenceHash {
  public:
    void Add(uint16_t number) {
        m_nWord |= uint64_t{number} << m_nShift;
        m_nShift += 16;
        if (m_nShift < 64) return;
        Mix(m_nWord);
        m_nWord = 0;
        m_nShift = 0;
    }

    uint64_t Hash() const {
        CSequenceHash ended = *this;
        ended.Mix(m_nWord);
        ended.Mix(ended.m_nOther);
        return ended.m_nOther;
    }

  private:
    // Two hashes take turns, so that one multiplication need not wait for the other.
    void Mix(uint64_t word) {
        const uint64_t mixed = (m_nHash ^ word) * 0x9E3779B97F4A7C15u;
        m_nHash = m_nOther;
        m_nOther = mixed ^ mixed >> 32;
    }

    uint64_t m_nHash = 0;
    uint64_t m_nOther = 0;
    uint64_t m_nWord = 0;  // numbers since the last four
    unsigned m_nShift = 0;
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

/// What a locale's texts are hashed by. It does not change once others can see it.
struct CTextHash::TWeights {
    explicit TWeights(LCID ofLocale) : locale(ofLocale) {}

    const LCID locale;
    // Of each ASCII character the first that has the same weights; 0: it counts for nothing.
    std::array<uint16_t, kAscii> numbers{};
    std::vector<uint8_t> numberOf = std::vector<uint8_t>(0x10000);  // by weights; 0: of no ASCII character
    bool bWeights = false;
    const TWeights* pNext = nullptr;
};

/// The locales that were asked for. Searches of several threads may ask at once: an entry comes in by one exchange,
/// and stays. Two that find out the same locale at once bring it in twice, which does no harm.
class CTextHash::CKnownWeights {
  public:
    constexpr CKnownWeights() = default;
    ~CKnownWeights() {
        std::unique_ptr<const TWeights> first(m_pFirst);
        while (first) first.reset(first->pNext);
    }
    const TWeights& Of(LCID locale) {
        for (const TWeights* known = m_pFirst; known; known = known->pNext) {
            if (known->locale == locale) return *known;
        }
        auto found = std::make_unique<TWeights>(locale);
        FindWeights(*found);
        found->pNext = m_pFirst;
        while (!m_pFirst.compare_exchange_weak(found->pNext, found.get())) {
        }
        return *found.release();
    }

  private:
    std::atomic<const TWeights*> m_pFirst = nullptr;
};

constinit CTextHash::CKnownWeights CTextHash::g_known;

CTextHash::CTextHash() : CTextHash(g_known.Of(GetThreadLocale())) {}

bool CTextHash::HasWeights() const {
    return m_weights.bWeights;
}

void CTextHash::FindWeights(TWeights& weights) {
    CTextHash hash(weights);
    for (uint8_t c = 1; c < kAscii; ++c) {
        const wchar_t text[] = {c, 0};
        const auto own = hash.WeightsByKey(text);
        if (!own || (!own->empty() && own->size() != 2)) return;
        if (own->empty()) continue;
        // The first character of these weights stands for all.
        uint8_t& number = weights.numberOf[Pair((*own)[0], (*own)[1])];
        if (number == 0) number = c;
        weights.numbers[c] = number;
    }
    // Languages have letters written as two characters (cs, ll), or as three (dzs), and they sort such a
    // letter after all others that begin with the first.
    weights.bWeights = hash.IsHashedAlike(AllSequences(Characters(1, 127), 2)) &&
                       hash.IsHashedAlike(AllSequences(Characters(L'a', L'z'), 3));
}

bool CTextHash::IsHashedAlike(const std::vector<wchar_t>& text) {
    const auto byKey = HashByKey(text.data());
    return byKey && HashByCharacters(text.data()) == byKey;
}

std::optional<std::span<const unsigned char>> CTextHash::WeightsByKey(const wchar_t* text) {
    m_key.clear();
    if (AppendSortKey(text, m_key) == 0) return std::nullopt;
    return std::span(m_key.begin(), std::find(m_key.begin(), m_key.end(), kEndOfWeights));
}

CHash CTextHash::HashByKey(const wchar_t* text) {
    const auto weights = WeightsByKey(text);
    if (!weights) return std::nullopt;
    CSequenceHash whole;
    for (size_t i = 0; i < weights->size(); i += 2) {
        const uint16_t weight = Pair((*weights)[i], i + 1 < weights->size() ? (*weights)[i + 1] : 0);
        const uint8_t number = m_weights.numberOf[weight];
        whole.Add(number != 0 ? number : weight);
    }
    return whole.Hash();
}

CHash CTextHash::HashByCharacters(const wchar_t* text) const {
    CSequenceHash whole;
    for (; *text != 0; ++text) {
        if (*text >= kAscii) return std::nullopt;
        if (const uint16_t number = m_weights.numbers[*text]) whole.Add(number);
    }
    return whole.Hash();
}

CHash CTextHash::Hash(const wchar_t* text, ECompareMethod method) {
    if (!text) text = L"";
    wchar_t digits[kComparedDigits + 1];
    text = ComparedText(text, method, digits);
    if (m_weights.bWeights) {
        if (const auto hash = HashByCharacters(text)) return hash;
    }
    return HashByKey(text);
}

}  // namespace compare
