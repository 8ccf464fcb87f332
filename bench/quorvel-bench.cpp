// quorvel-bench SHAPE N [SEED]: how long a search of N items takes, one line of CSV. Without arguments: the
// shapes.
//
// Seconds are processor time, averaged over as many rounds over one mailbox in memory as half a second takes.
// Memory is how much the process grew by in the first round.

#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "bench/shapes.h"
#include "bench/similar_shape.h"
#include "dupsearch/CDuplicateSearch.h"
#include "log/CLog.h"
#include "mailbox/Platform.h"
#include "mailbox/platform_headers.h"
#include "mailbox/text.h"
#include "store/sessions.h"

namespace {

/// Keeps the platform's functions in the program, from where the library binds them.
[[gnu::used]] const volatile void* const g_functions[] = {
    reinterpret_cast<void*>(MAPIInitialize), reinterpret_cast<void*>(MAPIUninitialize),
    reinterpret_cast<void*>(MAPILogonEx),    reinterpret_cast<void*>(MAPIAllocateBuffer),
    reinterpret_cast<void*>(MAPIFreeBuffer), reinterpret_cast<void*>(FreeProws)};

constexpr double kShortestMeasurement = 0.5;  // seconds

struct Figures {
    double bare = 0, add = 0, build = 0;  // seconds
    size_t memory = 0;                    // bytes
    long long compares = 0;
    long long rebuilds = 0;
};

/// Processor time of this thread: what else the machine does is left out. It advances in ticks of 10 ms.
class Stopwatch {
  public:
    double Seconds() const { return Now() - m_start; }

  private:
    static double Now() {
        FILETIME created, exited, kernel, user;
        GetThreadTimes(GetCurrentThread(), &created, &exited, &kernel, &user);
        const auto ticks = [](const FILETIME& t) {
            return ULARGE_INTEGER{{t.dwLowDateTime, t.dwHighDateTime}}.QuadPart;
        };
        return static_cast<double>(ticks(kernel) + ticks(user)) * 1e-7;
    }

    double m_start = Now();
};

PROCESS_MEMORY_COUNTERS Memory() {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters;
}

[[noreturn]] void Stop(const char* what) {
    std::fprintf(stderr, "quorvel-bench: %s\n", what);
    std::exit(1);
}

/// What any host must pay: each item opened, its values read with one request, released.
void ReadBare(const Shape& shape, IMsgStore* msgStore, const mailbox::Store& store) {
    std::vector<ULONG> tags{static_cast<ULONG>(shape.bareTags.size())};
    tags.insert(tags.end(), shape.bareTags.begin(), shape.bareTags.end());
    for (const auto& item : store.root->items) {
        ComPtr<IUnknown> object;
        ULONG type = 0, count = 0;
        auto* const id = reinterpret_cast<ENTRYID*>(item->id.data());
        if (msgStore->OpenEntry(static_cast<ULONG>(item->id.size()), id, nullptr, 0, &type, &object) !=
            S_OK) {
            Stop("an item does not open");
        }
        MapiBuffer<SPropValue> values;
        static_cast<IMessage*>(object.Get())
            ->GetProps(reinterpret_cast<SPropTagArray*>(tags.data()), 0, &count, Out(values));
        if (count != shape.bareTags.size()) Stop("an item does not give its values");
    }
}

void CountCompares(const CDuplicateSearch& search, Figures& figures) {
    figures.compares = figures.rebuilds = 0;
    for (const auto& data : search.Preparation()->compareData) {
        const TTreeStatistics& s = data->Statistics();
        figures.compares += s.nComparesTotal;
        figures.rebuilds += s.nRebuilds;
    }
}

void SearchOnce(const Shape& shape, IMAPISession* session, const std::vector<std::string>& ids,
                const std::string& storeId, Figures& figures) {
    std::vector<TComparyProp> definitions = shape.definitions;
    const TComparyProps props{static_cast<int>(definitions.size()), definitions.data()};
    const TOriginalDefinition original{okMostFilled, 0, 0, {}, nullptr};
    CDuplicateSearch search;
    search.Create(session, &props, &original, shape.algorithm, false, nullptr, 0);
    const Stopwatch adding;
    for (const std::string& id : ids) {
        unsigned found;
        if (!search.Add(id.c_str(), storeId.c_str(), &found, 0)) Stop("an item is not added");
    }
    figures.add += adding.Seconds();
    const Stopwatch building;
    search.Build();
    figures.build += building.Seconds();
    // Dear, and the same each time.
    if (figures.compares == 0) CountCompares(search, figures);
}

Figures Measure(const Shape& shape, unsigned n, unsigned seed) {
    const auto database = std::make_shared<mailbox::Database>();
    mailbox::Store* const store = database->AddStore({}, L"Benchmark");
    shape.fill(*database, *store, n, seed);
    mailbox::Install(database);
    ComPtr<IMAPISession> session;
    if (store::Logon(&session, TRUE, FALSE) != S_OK) Stop("no logon");
    const std::string storeId = mailbox::ToHex(store->id);
    ComPtr<IMsgStore> msgStore;
    if (store::OpenStore(session.Get(), storeId.c_str(), &msgStore) != S_OK) Stop("the store does not open");
    std::vector<std::string> ids;
    for (const auto& item : store->root->items) ids.push_back(mailbox::ToHex(item->id));

    Figures figures;
    ReadBare(shape, msgStore.Get(), *store);
    const size_t before = Memory().WorkingSetSize;
    int searches = 0, readings = 0;
    for (; figures.add < kShortestMeasurement; ++searches) {
        SearchOnce(shape, session.Get(), ids, storeId, figures);
        if (searches == 0) figures.memory = Memory().PeakWorkingSetSize - before;
    }
    const Stopwatch reading;
    for (; reading.Seconds() < kShortestMeasurement; ++readings) ReadBare(shape, msgStore.Get(), *store);
    figures.bare = reading.Seconds() / readings;
    figures.add /= searches;
    figures.build /= searches;
    msgStore.Reset();
    store::Logoff(session.Detach());
    return figures;
}

/// The similar search has no build: its column holds a check of each contact.
void PrintSimilar(unsigned n) {
    const SimilarFigures f = MeasureSimilar(n);
    std::printf("similar,%u,,%.4f,%.4f,,,\n", n, f.add * n * 1e-6, f.check * n * 1e-6);
}

int PrintUsage() {
    std::puts(
        "usage: quorvel-bench SHAPE N [SEED]\n"
        "prints: shape,n,bare s,add s,build s,peak bytes,compares,rebuilds");
    for (const Shape& s : AllShapes()) std::printf("  %-10s %s\n", s.name, s.about);
    std::printf("  %-10s %s\n", "similar", "similar contacts: added to the cache, then each checked");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    g_Log.Configure(nullptr, nullptr, false, 0, 0);
    MapiProvider::Bind(GetModuleHandleW(nullptr));
    const unsigned n = argc >= 3 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 0;
    const unsigned seed = argc > 3 ? static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10)) : 1;
    if (n == 0) return PrintUsage();
    if (std::string(argv[1]) == "similar") return PrintSimilar(n), 0;
    const Shape* const shape = FindShape(argv[1]);
    if (!shape) return PrintUsage();
    const Figures f = Measure(*shape, n, seed);
    std::printf("%s,%u,%.4f,%.4f,%.4f,%llu,%lld,%lld\n", shape->name, n, f.bare, f.add, f.build,
                static_cast<unsigned long long>(f.memory), f.compares, f.rebuilds);
    return 0;
}
