#pragma once
// The scenarios of a whole host: what each engine and each store-access export is used for, over items that
// reach every kind of reading. Each run of one makes its items anew.

#include <vector>

#include "quorvel.h"
#include "tests/support/FaultSweep.h"
#include "tests/support/MailboxFixture.h"

class SweepTest : public MailboxTest {
  public:
    using MailboxTest::AddAddress;
    using MailboxTest::AddStore;
    using MailboxTest::Inbox;
    using MailboxTest::Open;
    using MailboxTest::Session;
    using MailboxTest::Store;

    std::vector<TScenario> Scenarios();
};

/// Duplicate searches, a similar-contact search and matrices.
std::vector<TScenario> EngineScenarios(SweepTest& test);
/// Sessions, stores, readings, attachments, moves.
std::vector<TScenario> StoreScenarios(SweepTest& test);
