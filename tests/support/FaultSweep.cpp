#include "tests/support/FaultSweep.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <new>

#include "mailbox/platform_headers.h"
#include "mailbox/platform.h"

namespace {

struct TCode {
    const char* name;
    HRESULT result;
    bool carriedOut = false;
};
constexpr TCode kCodes[] = {
    {"E_FAIL", E_FAIL},
    {"E_OUTOFMEMORY", E_OUTOFMEMORY},
    {"E_ACCESSDENIED", E_ACCESSDENIED},
    {"MAPI_E_NOT_FOUND", MAPI_E_NOT_FOUND},
    {"MAPI_E_NETWORK_ERROR", MAPI_E_NETWORK_ERROR},
    {"MAPI_E_OBJECT_DELETED", MAPI_E_OBJECT_DELETED},
    {"S_FALSE", S_FALSE},
    {"MAPI_W_ERRORS_RETURNED", MAPI_W_ERRORS_RETURNED},
    {"success and nothing", S_OK},
    {"done, but in part", MAPI_W_PARTIAL_COMPLETION, true},
};

bool Try(HostScenario& host, size_t step) {
    try {
        return host.Do(step);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

/// States before the first step and after each.
std::vector<std::string> Undisturbed(const TScenario& scenario) {
    const std::unique_ptr<HostScenario> host = scenario.make();
    std::vector<std::string> states{host->State()};
    for (size_t step = 0; step < host->Steps(); ++step) {
        EXPECT_TRUE(host->Do(step)) << "step " << step << " fails undisturbed";
        states.push_back(host->State());
    }
    return states;
}

/// A step that failed has left the engine alone, and succeeds when nothing disturbs it.
bool IsAsBefore(HostScenario& host, size_t step, const std::vector<std::string>& states) {
    if (states[step].empty()) return true;
    const std::string after = host.State();
    EXPECT_EQ(after, states[step]) << "a failed call changed the engine";
    const bool again = host.Do(step);
    const std::string then = host.State();
    EXPECT_TRUE(again) << "after a failure the same call fails undisturbed";
    EXPECT_EQ(then, states[step + 1]) << "after a failure the same call does something else";
    return after == states[step] && again && then == states[step + 1];
}

/// Whether the fault struck.
bool RunStruck(const TScenario& scenario, size_t step, const TFaultKind& kind, unsigned nth,
               const std::vector<std::string>& states, TSweepCounts& counts) {
    const std::unique_ptr<HostScenario> host = scenario.make();
    for (size_t before = 0; before < step; ++before) host->Do(before);
    kind.arm(nth);
    const bool succeeded = Try(*host, step);
    if (!kind.disarm()) return false;
    ++counts.faults;
    if (succeeded) return true;
    ++counts.refused;
    if (!IsAsBefore(*host, step, states)) ++counts.changed;
    return true;
}

}  // namespace

TSweepCounts& TSweepCounts::operator+=(const TSweepCounts& other) {
    faults += other.faults;
    refused += other.refused;
    leaks += other.leaks;
    changed += other.changed;
    return *this;
}

std::vector<TFaultKind> PlatformFaults() {
    std::vector<TFaultKind> kinds;
    for (const TCode& code : kCodes) {
        const auto arm = [&code](unsigned nth) {
            mailbox::TFault fault;
            fault.nth = nth;
            fault.result = code.result;
            fault.perform = code.carriedOut;
            mailbox::calls::Reset();
            mailbox::calls::Fail(fault);
        };
        const auto disarm = [] {
            const bool struck = mailbox::calls::Struck() != 0;
            mailbox::calls::Reset();
            return struck;
        };
        kinds.push_back({code.name, arm, disarm});
    }
    return kinds;
}

TSweepCounts Sweep(const TScenario& scenario, const std::vector<TFaultKind>& kinds) {
    SCOPED_TRACE(scenario.name);
    TSweepCounts counts;
    const std::vector<std::string> states = Undisturbed(scenario);
    for (const TFaultKind& kind : kinds) {
        for (size_t step = 0; step + 1 < states.size(); ++step) {
            for (unsigned nth = 1;; ++nth) {
                SCOPED_TRACE("step " + std::to_string(step) + ", fault " + std::to_string(nth) + ": " +
                             kind.name);
                const mailbox::TAlive before = mailbox::WhatIsAlive();
                const bool struck = RunStruck(scenario, step, kind, nth, states, counts);
                const mailbox::TAlive after = mailbox::WhatIsAlive();
                const bool same = after.objects == before.objects && after.buffers == before.buffers;
                EXPECT_TRUE(same) << "left alive: " << mailbox::DescribeAlive();
                if (!same) ++counts.leaks;
                if (!struck || !same) break;
            }
        }
    }
    return counts;
}

void PrintSwept(const std::string& what, size_t scenarios, const TSweepCounts& counts) {
    std::printf(
        "swept %s: %u faults in %u scenarios, %u calls refused, 0 crashes, %u leaks, %u engines changed\n",
        what.c_str(), counts.faults, static_cast<unsigned>(scenarios), counts.refused, counts.leaks,
        counts.changed);
}
