#pragma once
// What the fuzz drivers share: a seeded source of choices, and how a round says that something is wrong.
//
// A driver runs one round: it makes an input of its choices, gives it to what it tries, and calls Fail where a
// property does not hold. The same seed and round give the same input in every build, so a round that stopped the
// program (the guard-page heap, a trap) is run again by its number.

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace fuzz {

class CChoices {
  public:
    CChoices(unsigned seed, unsigned round) : m_random(uint64_t{seed} << 32 | round) {}
    /// Below limit, which is not 0.
    uint32_t Below(size_t limit) { return static_cast<uint32_t>(m_random() % limit); }
    bool OneIn(uint32_t times) { return Below(times) == 0; }
    template <typename TList>
    const auto& Of(const TList& list) {
        return list[Below(std::size(list))];
    }
    uint64_t Any() { return m_random(); }

  private:
    std::mt19937_64 m_random;
};

/// Says what does not hold, with the round, and ends the program.
[[noreturn]] void Fail(const std::string& what, const std::string& input);
inline void Require(bool holds, const char* what, const std::string& input) {
    if (!holds) Fail(what, input);
}

/// The files of the corpus, by name.
using TCorpus = std::vector<std::string>;

/// A few changes to a text: bytes that its form turns on, pieces of others, cuts.
std::string Damaged(std::string text, const TCorpus& corpus, CChoices& choices);

void MailboxFile(const TCorpus& corpus, CChoices& choices);
void ValuePair(const TCorpus& corpus, CChoices& choices);
void Items(const TCorpus& corpus, CChoices& choices);

}  // namespace fuzz
