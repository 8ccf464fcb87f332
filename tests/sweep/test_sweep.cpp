// Every call of the platform that a host's use of the library makes, failing in turn.

#include "tests/sweep/SweepTest.h"

std::vector<TScenario> SweepTest::Scenarios() {
    std::vector<TScenario> all = EngineScenarios(*this);
    for (TScenario& scenario : StoreScenarios(*this)) all.push_back(std::move(scenario));
    return all;
}

namespace {

TEST_F(SweepTest, PlatformCallsThatFailLeaveNothingBehind) {
    Session();
    const std::vector<TScenario> scenarios = Scenarios();
    TSweepCounts counts;
    for (const TScenario& scenario : scenarios) counts += Sweep(scenario, PlatformFaults());
    PrintSwept("platform calls", scenarios.size(), counts);
    EXPECT_GT(counts.refused, 1000u) << "the faults did not reach the library";
}

}  // namespace
