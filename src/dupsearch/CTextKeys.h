#pragma once
// Sort keys of a tree's texts, one beside each node: placing a text compares bytes on its way down. A key
// decides only that two texts differ; that they are equal is for the value comparison to say.

#include <cstdint>
#include <vector>

#include "compare/sort_key.h"

class CTextKeys {
  public:
    /// The text to be placed next, under cmExact or cmLast7Digits; the text stays alive until Keep or Drop.
    void Begin(const wchar_t* text, ECompareMethod method);
    /// Its comparison with a node's text; 0 when the keys do not tell them apart.
    int Compare(uint32_t node);
    /// It became a node of its own, or joined one.
    void Keep(uint32_t node);
    void Drop();

  private:
    struct Key {
        uint64_t prefix = 0;  // the first bytes as a number: most comparisons end here
        uint32_t begin = 0;
        uint32_t size = 0;  // 0: no key
    };

    void MakeKey();
    compare::SortKey Bytes(const Key& key) const { return {m_arena.data() + key.begin, key.size}; }

    std::vector<unsigned char> m_arena;
    std::vector<Key> m_nodes;
    const wchar_t* m_text = nullptr;
    ECompareMethod m_method = cmExact;
    Key m_placed;
    int m_compares = 0;
    bool m_made = false;
};
