#pragma once
// Faults that tests of reading put into the platform.

#include "mailbox/platform.h"

/// The next read of a property fails.
inline void FailRead(ULONG tag) {
    mailbox::calls::Fail({.method = "IMAPIProp::GetProps", .tag = tag});
}
/// The next read succeeds with at most so many values.
inline void ShortenRead(ULONG values) {
    mailbox::calls::Fail({.method = "IMAPIProp::GetProps", .result = S_OK, .perform = true, .limit = values});
}
