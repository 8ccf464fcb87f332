#pragma once
// What the single characters (UTF-16 units) of texts weigh where the system compares texts, for keys that are
// made of parts of texts without asking the system again.
//
// The system's sort key of a text begins with the weights of its letters. In nearly every text they are those
// of its units, one after another: then the weights of whatever part of it are known too, and two parts that
// the system finds equal have the same weights. A language that sorts several letters as one (ch, aa, dzs), or
// whose capitals are not the capitals of others (the dotless i), breaks this: the letters concerned are found
// out at the first text and left out of all weights. Equal parts still have equal weights, unequal ones more
// often. Whether it holds for a text is tested on its own key, whatever the language.
//
// Good for as long as the locale stays that the thread had at the first text. Exhausted memory throws and
// leaves all as it was.

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace similar {

class CUnitWeights {
  public:
    using TWeight = uint16_t;

    /// Whether the weights of a text, whose sort key is given, are those of its units.
    bool AreThoseOfUnits(const wchar_t* text, std::span<const unsigned char> key);
    /// The weights of a unit of such a text; empty for one that counts for nothing or is left out.
    std::span<const TWeight> Of(wchar_t unit) const {
        const TUnit& known = (*m_pages[unit / kPage])[unit % kPage];
        return {known.weights, known.count};
    }

    /// No unit has more.
    static constexpr size_t kMostWeights = 4;

  private:
    static constexpr size_t kPage = 256;
    static constexpr uint8_t kUnknown = 255;
    static constexpr uint8_t kUnusable = 254;  // not a few weights of two bytes

    struct TUnit {
        uint8_t count = kUnknown;
        TWeight weights[kMostWeights];
    };
    using TPage = std::array<TUnit, kPage>;

    void FindLeftOut();
    void LeaveOut(const wchar_t* text);
    bool IsLeftOut(TWeight weight) const;
    /// The weights of a text from its key; false when they are none of two bytes each.
    bool WeightsOf(const wchar_t* text, std::vector<TWeight>* weights);
    const TUnit& Known(wchar_t unit);

    bool m_bReady = false;
    std::vector<TWeight> m_leftOut;
    std::array<std::unique_ptr<TPage>, 0x10000 / kPage> m_pages;
    std::vector<unsigned char> m_key;  // the last one made
};

}  // namespace similar
