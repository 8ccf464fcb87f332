#pragma once
// A growing list of property tags in the platform's counted layout.

#include <algorithm>
#include <vector>

#include "base/mapi_extra.h"

namespace compare {

class CTagArray {
  public:
    void Append(ULONG tag) {
        m_words.push_back(tag);
        ++m_words[0];
    }
    bool Contains(ULONG tag) const { return std::find(begin(), end(), tag) != end(); }
    void Remove(ULONG tag) {
        m_words.erase(std::remove(m_words.begin() + 1, m_words.end(), tag), m_words.end());
        m_words[0] = static_cast<ULONG>(m_words.size() - 1);
    }
    ULONG Count() const { return m_words[0]; }
    ULONG operator[](ULONG index) const { return m_words[index + 1]; }
    std::vector<ULONG>::const_iterator begin() const { return m_words.begin() + 1; }
    std::vector<ULONG>::const_iterator end() const { return m_words.end(); }
    SPropTagArray* Get() { return reinterpret_cast<SPropTagArray*>(m_words.data()); }

  private:
    std::vector<ULONG> m_words{0};  // the count, then the tags
};

}  // namespace compare
