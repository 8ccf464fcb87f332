#pragma once
// The locale by which texts are compared: that of the thread, which a host may change between calls. What was
// hashed, sorted or prepared under one locale is wrong under another, so each engine keeps the locale that the
// thread had at its creation, has it in every call, and gives the caller's back.

#include <windows.h>

namespace compare {

class CThreadLocale {
  public:
    explicit CThreadLocale(LCID locale) : m_before(GetThreadLocale()), m_bChanges(locale != m_before) {
        if (m_bChanges) SetThreadLocale(locale);
    }
    CThreadLocale(const CThreadLocale&) = delete;
    ~CThreadLocale() {
        if (m_bChanges) SetThreadLocale(m_before);
    }

  private:
    const LCID m_before;
    const bool m_bChanges;
};

}  // namespace compare
