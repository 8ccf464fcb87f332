#pragma once
// The names that a store of a test knows, in an order that the test chooses: each store has its own, as real ones do.

#include <vector>

#include "tests/support/MailboxFixture.h"

/// The name of a named property: by number, or by text where there is one.
struct TestName {
    const char* set;
    LONG number = 0;
    const wchar_t* text = nullptr;
};

/// Makes the store know these names, in this order, behind those that it knows already. A store knows no name but
/// what it is told here and what its items use; told before its items are built, two stores have the same names in
/// whatever order a test wants, or one of them lacks some.
inline void TeachNames(TestStore store, const std::vector<TestName>& names) {
    for (const TestName& name : names) {
        mailbox::TName known{{}, name.text == nullptr, name.number, name.text == nullptr ? L"" : name.text};
        const std::string set = name.set;
        CLSIDFromString(std::wstring(set.begin(), set.end()).c_str(), &known.set);
        store.Record().names.FindOrAdd(known);
    }
}
