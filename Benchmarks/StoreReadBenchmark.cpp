// Fetching from the object store beside SQLite used by hand, and beside Qt's SQL classes, on the same files.

#include "CallStore.h"
#include "QtCallStore.h"

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

void fetchWithContext(benchmark::State &state)
{
    const CallStore store(state.range(0));
    for (auto _ : state) {
        VXManagedObjectContext context(store.coordinator);
        benchmark::DoNotOptimize(store.read(*context.executeFetchRequest(store.request())));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["allowed"] = 1.5;
}

void fetchValuesWithContext(benchmark::State &state)
{
    const CallStore &store = CallStore::full();
    for (auto _ : state) {
        VXManagedObjectContext context(store.coordinator);
        benchmark::DoNotOptimize(store.readValues(*context.executeFetchRequest(store.request())));
    }
    state.SetItemsProcessed(state.iterations() * CallStore::usualCount);
}

void fetchByHand(benchmark::State &state)
{
    const CallStore store(state.range(0));
    RawCallStore raw(store.path());
    for (auto _ : state)
        benchmark::DoNotOptimize(raw.readAll());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void streamByHand(benchmark::State &state)
{
    const CallStore store(state.range(0));
    RawCallStore raw(store.path());
    for (auto _ : state)
        benchmark::DoNotOptimize(raw.streamAll());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void fetchWithQt(benchmark::State &state)
{
    const CallStore store(state.range(0));
    for (auto _ : state) {
        const QtCallStore qt(store.path());
        QSqlQuery query(qt.database);
        query.setForwardOnly(true);
        query.exec(u"SELECT * FROM VX_Call"_s);
        qint64 sum = 0;
        while (query.next()) {
            for (int column = 0; column < 13; ++column)
                sum += query.value(column).typeId();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void fetchThreeWithContext(benchmark::State &state)
{
    const CallStore &store = CallStore::full();
    for (auto _ : state) {
        VXManagedObjectContext context(store.coordinator);
        benchmark::DoNotOptimize(store.readThree(*context.executeFetchRequest(store.request())));
    }
    state.SetItemsProcessed(state.iterations() * CallStore::usualCount);
    state.counters["allowed"] = 1.3;
}

void keepByHand(benchmark::State &state)
{
    RawCallStore raw(CallStore::full().path());
    for (auto _ : state)
        benchmark::DoNotOptimize(raw.readAll());
    state.SetItemsProcessed(state.iterations() * CallStore::usualCount);
}

constexpr int fetchesAtOnce = 4;

// Four calls at once beside the same one after the other: half the time where there are two processors.
template <class Fetch>
void callFourTimes(benchmark::State &state, bool atOnce, const Fetch &fetch)
{
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (size_t number = 0; number < fetchesAtOnce; ++number) {
            if (atOnce)
                threads.emplace_back(fetch, number);
            else
                fetch(number);
        }
        for (std::thread &thread : threads)
            thread.join();
    }
    state.SetItemsProcessed(state.iterations() * fetchesAtOnce * CallStore::usualCount);
}

void fetchFourTimes(benchmark::State &state, bool atOnce)
{
    const CallStore &store = CallStore::full();
    callFourTimes(state, atOnce, [&store](size_t) {
        VXManagedObjectContext context(store.coordinator);
        benchmark::DoNotOptimize(store.read(*context.executeFetchRequest(store.request())));
    });
    state.counters["allowed"] = 1 / 1.8;
}

// What is made of it by four threads that share nothing of ours.
void fetchFourTimesByHand(benchmark::State &state, bool atOnce)
{
    std::array<std::unique_ptr<RawCallStore>, fetchesAtOnce> stores;
    for (std::unique_ptr<RawCallStore> &raw : stores)
        raw = std::make_unique<RawCallStore>(CallStore::full().path());
    callFourTimes(state, atOnce, [&stores](size_t number) { benchmark::DoNotOptimize(stores.at(number)->readAll()); });
}

void fetchIndexedWithContext(benchmark::State &state)
{
    const CallStore &store = CallStore::full();
    for (auto _ : state) {
        VXManagedObjectContext context(store.coordinator);
        for (qint64 number = 0; number < 1000; ++number) {
            const auto found =
                context.executeFetchRequest(store.request(u"number == %@"_s, {BenchmarkCall(number).number}));
            if (found->size() != CallStore::usualCount / 1000)
                state.SkipWithError("a fetch went wrong");
            benchmark::DoNotOptimize(store.read(*found));
        }
    }
    state.SetItemsProcessed(state.iterations() * 1000);
    state.counters["allowed"] = 1.5;
}

void fetchIndexedByHand(benchmark::State &state)
{
    RawCallStore raw(CallStore::full().path());
    for (auto _ : state) {
        for (qint64 number = 0; number < 1000; ++number)
            benchmark::DoNotOptimize(raw.readNumber(BenchmarkCall(number).number));
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}

void countWithContext(benchmark::State &state)
{
    const CallStore &store = CallStore::full();
    VXManagedObjectContext context(store.coordinator);
    const VXFetchRequest request = store.request(u"position < 80000 AND cost > 2.5"_s);
    for (auto _ : state)
        benchmark::DoNotOptimize(context.countForFetchRequest(request));
    state.counters["allowed"] = 1.1;
}

void countByHand(benchmark::State &state)
{
    RawCallStore raw(CallStore::full().path());
    for (auto _ : state)
        benchmark::DoNotOptimize(raw.count(80'000, 2.5));
}

BENCHMARK(fetchWithContext)->Name("store fetch and read/ours")->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(fetchByHand)->Name("store fetch and read/peer")->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(streamByHand)->Name("store fetch and read/peer keeping nothing")->Arg(CallStore::usualCount);
BENCHMARK(fetchWithQt)->Name("store fetch and read/peer Qt SQL")->Arg(CallStore::usualCount);
BENCHMARK(fetchValuesWithContext)->Name("store fetch and make values/ours");
BENCHMARK(keepByHand)->Name("store fetch and make values/peer");
BENCHMARK(fetchThreeWithContext)->Name("store fetch and read three of eight/ours");
BENCHMARK(keepByHand)->Name("store fetch and read three of eight/peer");
// More often than others: what else the machine does meanwhile takes time from all threads, and mostly none from a single one.
BENCHMARK_CAPTURE(fetchFourTimes, atOnce, true)
    ->Name("store four fetches at once/ours")
    ->UseRealTime()
    ->Repetitions(20);
BENCHMARK_CAPTURE(fetchFourTimes, inTurn, false)
    ->Name("store four fetches at once/peer")
    ->UseRealTime()
    ->Repetitions(20);
BENCHMARK_CAPTURE(fetchFourTimesByHand, atOnce, true)
    ->Name("store four fetches at once by hand/ours")
    ->UseRealTime()
    ->Repetitions(20);
BENCHMARK_CAPTURE(fetchFourTimesByHand, inTurn, false)
    ->Name("store four fetches at once by hand/peer")
    ->UseRealTime()
    ->Repetitions(20);
BENCHMARK(fetchIndexedWithContext)->Name("store 1,000 indexed fetches of 100/ours");
BENCHMARK(fetchIndexedByHand)->Name("store 1,000 indexed fetches of 100/peer");
BENCHMARK(countWithContext)->Name("store count by predicate/ours");
BENCHMARK(countByHand)->Name("store count by predicate/peer");

} // namespace
