// quorvel-bench SHAPE N [SEED]: how long a search of N items takes, one line of CSV. Without arguments: the
// shapes.
//
// A round reads all items bare, adds them to a new search and builds it; the seconds are those of the fastest
// reading, adding and building of all rounds, so that what else the machine does is left out. Taking turns,
// each finds the caches as the other left them. Memory is how much the process grew by in the first round.

#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "bench/book_shape.h"
#include "bench/shapes.h"
#include "bench/similar_shape.h"
#include "dupsearch/CDuplicateSearch.h"
#include "log/CLog.h"
#include "mailbox/platform.h"
#include "mailbox/platform_headers.h"
#include "mailbox/text.h"
#include "store/sessions.h"

using dupsearch::CDuplicateSearch;
using dupsearch::TTreeStatistics;
using logging::g_Log;
using store::CMapiProvider;
using store::ComPtr;
using store::MapiBuffer;

namespace {

/// Keeps the platform's functions in the program, from where the library binds them.
[[gnu::used]] const volatile void* const g_functions[] = {
    reinterpret_cast<void*>(MAPIInitialize), reinterpret_cast<void*>(MAPIUninitialize),
    reinterpret_cast<void*>(MAPILogonEx),    reinterpret_cast<void*>(MAPIAllocateBuffer),
    reinterpret_cast<void*>(MAPIFreeBuffer), reinterpret_cast<void*>(FreeProws)};

// A shape is measured so long and so often, but a slow one only as long as the last.
constexpr double kShortestMeasurement = 1;  // seconds
constexpr int kFewestRounds = 5;
constexpr double kLongestMeasurement = 60;

/// The fastest of several measurements.
class CFastest {
  public:
    void Measured(double seconds) { m_seconds = std::min(m_seconds, seconds); }
    double Seconds() const { return m_seconds; }

  private:
    double m_seconds = std::numeric_limits<double>::max();
};

struct TFigures {
    CFastest bare, add, build;
    size_t memory = 0;  // bytes
    long long compares = 0;
    long long rebuilds = 0;
};

using CClock = std::chrono::steady_clock;

double SecondsSince(CClock::time_point start) {
    return std::chrono::duration<double>(CClock::now() - start).count();
}

PROCESS_MEMORY_COUNTERS Memory() {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters;
}

[[noreturn]] void Stop(const char* what) {
    std::fprintf(stderr, "quorvel-bench: %s\n", what);
    std::exit(1);
}

struct TSource {
    std::string id;
    ComPtr<IMsgStore> msgStore;
};

/// What any host must pay: each item opened by its identifier's text, its values read with one request,
/// released.
void ReadBare(const TShape& shape, const std::vector<TSource>& sources, const std::vector<std::string>& ids) {
    std::vector<ULONG> tags{static_cast<ULONG>(shape.bareTags.size())};
    tags.insert(tags.end(), shape.bareTags.begin(), shape.bareTags.end());
    for (size_t i = 0; i < ids.size(); ++i) {
        ComPtr<IMessage> message;
        if (store::OpenStoreItem(sources[i % sources.size()].msgStore.Get(), ids[i].c_str(), &message) !=
            S_OK)
            Stop("an item does not open");
        ULONG count = 0;
        MapiBuffer<SPropValue> values;
        message->GetProps(reinterpret_cast<SPropTagArray*>(tags.data()), 0, &count, store::Out(values));
        if (count != shape.bareTags.size()) Stop("an item does not give its values");
    }
}

void CountCompares(const CDuplicateSearch& search, TFigures& figures) {
    figures.compares = figures.rebuilds = 0;
    for (const auto& data : search.Plan()->compareData) {
        const TTreeStatistics& s = data->Statistics();
        figures.compares += s.nComparesTotal;
        figures.rebuilds += s.nRebuilds;
    }
}

void SearchOnce(const TShape& shape, IMAPISession* session, const std::vector<TSource>& sources,
                const std::vector<std::string>& ids, TFigures& figures) {
    std::vector<TComparyProp> definitions = shape.definitions;
    const TComparyProps props{static_cast<int>(definitions.size()), definitions.data()};
    const TOriginalDefinition original{okMostFilled, 0, 0, {}, nullptr};
    CDuplicateSearch search;
    search.Create(session, &props, &original, shape.algorithm, false, shape.rules.data(),
                  static_cast<unsigned>(shape.rules.size()));
    const CClock::time_point adding = CClock::now();
    for (size_t i = 0; i < ids.size(); ++i) {
        unsigned found;
        if (!search.Add(ids[i].c_str(), sources[i % sources.size()].id.c_str(), &found, 0))
            Stop("an item is not added");
    }
    figures.add.Measured(SecondsSince(adding));
    const CClock::time_point building = CClock::now();
    search.Build();
    figures.build.Measured(SecondsSince(building));
    // Expensive, and the same each time.
    if (figures.compares == 0) CountCompares(search, figures);
}

TFigures Measure(const TShape& shape, unsigned n, unsigned seed) {
    const auto database = std::make_shared<mailbox::CDatabase>();
    const unsigned share = n / shape.stores;
    for (unsigned i = 0; i < shape.stores; ++i)
        shape.fill(*database, *database->AddStore({}, L"Benchmark"), share, seed);
    mailbox::Install(database);
    ComPtr<IMAPISession> session;
    if (store::Logon(&session, TRUE, FALSE) != S_OK) Stop("no logon");
    std::vector<TSource> sources;
    for (const auto& store : database->stores) {
        TSource& source = sources.emplace_back();
        source.id = mailbox::ToHex(store->id);
        if (store::OpenStore(session.Get(), source.id.c_str(), &source.msgStore) != S_OK)
            Stop("the store does not open");
    }
    std::vector<std::string> ids;
    for (unsigned i = 0; i < share; ++i) {
        for (const auto& store : database->stores) ids.push_back(mailbox::ToHex(store->root->items[i]->id));
    }

    TFigures figures;
    ReadBare(shape, sources, ids);
    const size_t before = Memory().WorkingSetSize;
    const CClock::time_point start = CClock::now();
    const auto isEnough = [&](int rounds) {
        const double measured = SecondsSince(start);
        return measured >= kLongestMeasurement ||
               (rounds >= kFewestRounds && measured >= kShortestMeasurement);
    };
    for (int round = 0; round == 0 || !isEnough(round); ++round) {
        const CClock::time_point reading = CClock::now();
        ReadBare(shape, sources, ids);
        figures.bare.Measured(SecondsSince(reading));
        SearchOnce(shape, session.Get(), sources, ids, figures);
        if (round == 0) figures.memory = Memory().PeakWorkingSetSize - before;
    }
    sources.clear();
    store::Logoff(session.Detach());
    return figures;
}

/// The similar search has no build: its column holds a check of each contact.
void PrintSimilar(unsigned n) {
    const TSimilarFigures f = MeasureSimilar(n);
    std::printf("similar,%u,,%.6f,%.6f,,,\n", n, f.add * n * 1e-6, f.check * n * 1e-6);
}

/// A line of its own: an address book has no seed, and its third argument is how many contacts are searched by.
void PrintBook(unsigned n, unsigned searchedBy) {
    const TBookFigures f = MeasureBook(n, std::min(searchedBy, n));
    std::printf("n,add us,bytes,all pairs s,candidates,non-candidate us,compared us,none,similar,strict\n");
    std::printf("%u,%.2f,%.0f,%.2f,%.5f,%.3f,%.2f,%llu,%llu,%llu\n", n, f.add, f.bytes, f.pairsSeconds,
                f.candidates, f.nonCandidate, f.compared, f.verdicts[0], f.verdicts[1], f.verdicts[2]);
}

int PrintUsage() {
    std::puts(
        "usage: quorvel-bench SHAPE N [SEED]\n"
        "prints: shape,n,bare s,add s,build s,peak bytes,compares,rebuilds");
    for (const TShape& s : AllShapes()) std::printf("  %-10s %s\n", s.name, s.about);
    std::printf("  %-10s %s\n", "similar", "similar contacts: added to the cache, then each checked");
    std::printf("  %-10s %s\n", "book",
                "an address book, each contact against each later one: book N [SEARCHED BY]");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    g_Log.Configure(nullptr, nullptr, false, 0, 0);
    CMapiProvider::Bind(GetModuleHandleW(nullptr));
    const unsigned n = argc >= 3 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 0;
    const unsigned seed = argc > 3 ? static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10)) : 1;
    if (n == 0) return PrintUsage();
    if (std::string(argv[1]) == "similar") return PrintSimilar(n), 0;
    if (std::string(argv[1]) == "book") return PrintBook(n, argc > 3 ? seed : n), 0;
    const TShape* const shape = FindShape(argv[1]);
    if (!shape) return PrintUsage();
    const TFigures f = Measure(*shape, n, seed);
    std::printf("%s,%u,%.6f,%.6f,%.6f,%llu,%lld,%lld\n", shape->name, n, f.bare.Seconds(), f.add.Seconds(),
                f.build.Seconds(), static_cast<unsigned long long>(f.memory), f.compares, f.rebuilds);
    return 0;
}
