#pragma once
// What a host does, with a fault at every place where one can come: nothing crashes, nothing leaks, and a call
// that reports a failure leaves the engine that it was made on as it was before.
//
// A scenario is a host's calls in steps, and what the host can see of its engine as a text:
//
//     class MailSearch : public HostScenario {
//         size_t Steps() const override { return m_items.size(); }
//         bool Do(size_t step) override { return Search_Add(m_search, m_items[step]...); }
//         std::string State() override { ... Search_Build, the groups ... }
//     };
//     const TSweepCounts counts = Sweep({"mail search", [&] { return std::make_unique<MailSearch>(*this); }},
//                                       PlatformFaults());
//
// For each kind of fault and each step, the scenario is made anew and run up to the step, which then runs with
// fault 1, 2, 3 ... until it is not struck any more. A step that fails is compared with an undisturbed run,
// tried again, and compared again. An exception std::bad_alloc that leaves a step is a failure of it.
//
// A kind of fault is a way to arm one and to take it back; those of the platform are here. Another kind, such
// as allocations that fail, is one more record of TFaultKind.

#include <functional>
#include <memory>
#include <string>
#include <vector>

class HostScenario {
  public:
    HostScenario() = default;
    HostScenario(const HostScenario&) = delete;
    /// Ends as a host does: engines deleted, objects released.
    virtual ~HostScenario() = default;
    virtual size_t Steps() const = 0;
    /// Whether the calls of the step say success.
    virtual bool Do(size_t step) = 0;
    /// Empty where there is no engine: then a failed step is not tried again.
    virtual std::string State() { return {}; }
};

struct TScenario {
    std::string name;
    std::function<std::unique_ptr<HostScenario>()> make;
};

struct TFaultKind {
    std::string name;
    /// The nth chance from now on fails.
    std::function<void(unsigned nth)> arm;
    /// No fault any more. Whether one struck.
    std::function<bool()> disarm;
};

struct TSweepCounts {
    unsigned faults = 0;
    /// Steps that reported a failure.
    unsigned refused = 0;
    unsigned leaks = 0;
    unsigned changed = 0;

    TSweepCounts& operator+=(const TSweepCounts& other);
};

/// Each platform call in turn: eight codes with nothing done, a success with nothing handed out, and a call that
/// is carried out, outputs included, and says that it did so in part.
std::vector<TFaultKind> PlatformFaults();

/// Fails the running test for each leak and each change.
TSweepCounts Sweep(const TScenario& scenario, const std::vector<TFaultKind>& kinds);

/// One line of figures, "swept ...", which ./check shows.
void PrintSwept(const std::string& what, size_t scenarios, const TSweepCounts& counts);
