#pragma once
// Sort keys of a tree's texts, one beside each node: placing a text compares bytes on its way down. A text
// that a node holds letter for letter is known at once and needs no key of its own. A key decides only that
// two texts differ; that they are equal is for the value comparison to say.

#include <cstdint>
#include <vector>

#include "compare/sort_key.h"

class CTextKeys {
  public:
    /// The text to be placed next, under cmExact or cmLast7Digits. One that is kept stays alive.
    void Begin(const wchar_t* text, ECompareMethod method);
    /// Whether a node's text is the very same.
    bool IsIdentical(uint32_t node) const { return node == m_identical; }
    /// Its comparison with a node's text; 0 when the keys do not tell them apart.
    int Compare(uint32_t node) const;
    /// It became a node of its own, or it did not.
    void Keep(uint32_t node);
    void Drop();
    /// The node is gone, and its text with it.
    void Forget(uint32_t node);

  private:
    static constexpr uint32_t kNoNode = 0xFFFFFFFF;

    struct Key {
        uint64_t prefix = 0;  // the first bytes as a number: most comparisons end here
        uint32_t begin = 0;
        uint32_t size = 0;  // 0: no key
    };
    struct Text {
        const wchar_t* text = nullptr;  // null: the node is no text
        uint32_t hash = 0;
    };

    void MakeKey(ECompareMethod method);
    uint32_t FindIdentical() const;
    void Enter(uint32_t node);
    void Grow();
    compare::SortKey Bytes(const Key& key) const { return {m_arena.data() + key.begin, key.size}; }

    std::vector<unsigned char> m_arena;
    std::vector<Key> m_keys;        // by node
    std::vector<Text> m_texts;      // by node
    std::vector<uint32_t> m_slots;  // nodes by the hash of their text; a power of two, at most half in use
    uint32_t m_used = 0;

    // The text being placed.
    Text m_text;
    Key m_key;
    uint32_t m_identical = kNoNode;
};
