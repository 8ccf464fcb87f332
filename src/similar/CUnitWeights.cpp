#include "similar/CUnitWeights.h"

#include <algorithm>

#include "compare/sort_key.h"

namespace similar {
namespace {

using TWeight = CUnitWeights::TWeight;

TWeight WeightAt(const unsigned char* key) {
    return static_cast<TWeight>(key[0] << 8 | key[1]);
}

constexpr size_t kLetters = 26;
constexpr wchar_t kSeparator[] = L"0";

wchar_t Letter(size_t number, wchar_t first = L'a') {
    return static_cast<wchar_t>(first + number);
}

}  // namespace

bool CUnitWeights::AreThoseOfUnits(const wchar_t* text, std::span<const unsigned char> key) {
    if (!m_bReady) FindLeftOut();
    const unsigned char* at = key.data();
    const unsigned char* const end = std::find(at, at + key.size(), compare::kEndOfWeights);
    if (end == at + key.size() || (end - at) % 2 != 0) return false;
    const auto skipLeftOut = [&] {
        while (at != end && IsLeftOut(WeightAt(at))) at += 2;
    };
    for (; *text; ++text) {
        const TUnit& unit = Known(*text);
        if (unit.count == kUnusable) return false;
        for (uint8_t i = 0; i < unit.count; ++i, at += 2) {
            skipLeftOut();
            if (at == end || WeightAt(at) != unit.weights[i]) return false;
        }
    }
    skipLeftOut();
    return at == end;
}

/// Letters that differ in weight from their capitals, and those that weigh something else side by side.
void CUnitWeights::FindLeftOut() {
    m_leftOut.clear();
    std::vector<TWeight> ofLetter[kLetters], ofSeparator, whole, expected;
    WeightsOf(kSeparator, &ofSeparator);
    std::vector<wchar_t> pairs;
    for (size_t a = 0; a < kLetters; ++a) {
        const wchar_t lower[] = {Letter(a), 0}, upper[] = {Letter(a, L'A'), 0};
        std::vector<TWeight> ofUpper;
        if (!WeightsOf(lower, &ofLetter[a]) || !WeightsOf(upper, &ofUpper) || ofLetter[a] != ofUpper) {
            LeaveOut(lower);
            LeaveOut(upper);
        }
        for (size_t b = 0; b < kLetters; ++b) pairs.insert(pairs.end(), {Letter(a), Letter(b), *kSeparator});
    }
    pairs.push_back(0);
    const auto append = [&expected](const std::vector<TWeight>& weights) {
        expected.insert(expected.end(), weights.begin(), weights.end());
    };
    for (const auto& first : ofLetter) {
        for (const auto& second : ofLetter) {
            append(first);
            append(second);
            append(ofSeparator);
        }
    }
    // One key tells that a language has no such letters, as most have none.
    const bool none = WeightsOf(pairs.data(), &whole) && whole == expected;
    for (size_t i = 0; i < kLetters * kLetters && !none; ++i) {
        const size_t a = i / kLetters, b = i % kLetters;
        const wchar_t pair[] = {Letter(a), Letter(b), 0}, first[] = {Letter(a), 0};
        expected.clear();
        append(ofLetter[a]);
        append(ofLetter[b]);
        if (WeightsOf(pair, &whole) && whole == expected) continue;
        for (const wchar_t* text : {pair, first, pair + 1}) LeaveOut(text);
    }
    m_bReady = true;
}

void CUnitWeights::LeaveOut(const wchar_t* text) {
    std::vector<TWeight> weights;
    if (!WeightsOf(text, &weights)) return;
    for (const TWeight weight : weights)
        if (!IsLeftOut(weight)) m_leftOut.push_back(weight);
}

bool CUnitWeights::IsLeftOut(TWeight weight) const {
    return std::find(m_leftOut.begin(), m_leftOut.end(), weight) != m_leftOut.end();
}

bool CUnitWeights::WeightsOf(const wchar_t* text, std::vector<TWeight>* weights) {
    m_key.clear();
    weights->clear();
    if (compare::AppendSortKey(text, m_key) == 0) return false;
    const auto end = std::find(m_key.begin(), m_key.end(), compare::kEndOfWeights);
    const auto size = static_cast<size_t>(end - m_key.begin());
    if (end == m_key.end() || size % 2 != 0) return false;
    for (size_t i = 0; i < size; i += 2) weights->push_back(WeightAt(&m_key[i]));
    return true;
}

const CUnitWeights::TUnit& CUnitWeights::Known(wchar_t unit) {
    auto& page = m_pages[unit / kPage];
    if (!page) page = std::make_unique<TPage>();
    TUnit& known = (*page)[unit % kPage];
    if (known.count != kUnknown) return known;
    const wchar_t text[] = {unit, 0};
    std::vector<TWeight> weights;
    const bool usable = WeightsOf(text, &weights);
    std::erase_if(weights, [this](TWeight weight) { return IsLeftOut(weight); });
    if (usable && weights.size() <= kMostWeights) {
        std::copy(weights.begin(), weights.end(), known.weights);
        known.count = static_cast<uint8_t>(weights.size());
    } else {
        known.count = kUnusable;
    }
    return known;
}

}  // namespace similar
