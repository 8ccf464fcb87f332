#pragma once
// The locale by which texts are compared: that of the thread, which a host may change between calls. What was
// hashed, sorted or prepared under one locale is wrong under another, so each engine keeps the locale that the
// thread had at its creation, has it in every call, and gives the caller's back.

#include <windows.h>

class CThreadLocale {
  public:
    explicit CThreadLocale(LCID locale) : m_before(GetThreadLocale()), m_changes(locale != m_before) {
        if (m_changes) SetThreadLocale(locale);
    }
    CThreadLocale(const CThreadLocale&) = delete;
    ~CThreadLocale() {
        if (m_changes) SetThreadLocale(m_before);
    }

  private:
    const LCID m_before;
    const bool m_changes;
};
