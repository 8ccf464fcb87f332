#pragma once
// Faults that tests of reading put into the platform.

#include "mailbox/Platform.h"

/// The nth call of a method from now on fails; perform: after it was carried out, outputs included.
inline void FailCall(const char* method, unsigned nth, bool perform) {
    mailbox::Fault fault;
    fault.method = method;
    fault.nth = nth;
    fault.perform = perform;
    mailbox::calls::Fail(fault);
}
/// The next read of a property fails.
inline void FailRead(ULONG tag) {
    mailbox::Fault fault;
    fault.method = "IMAPIProp::GetProps";
    fault.tag = tag;
    mailbox::calls::Fail(fault);
}
/// The next read succeeds with at most so many values.
inline void ShortenRead(ULONG values) {
    mailbox::Fault fault;
    fault.method = "IMAPIProp::GetProps";
    fault.result = S_OK;
    fault.perform = true;
    fault.limit = values;
    mailbox::calls::Fail(fault);
}
