// What fetched objects take beside rows kept by hand, that walking them keeps memory flat, and what is made to find some.

#include "CallStore.h"
#include "VXPageMemory.h"

#include <benchmark/benchmark.h>
#include <QtCore/QFile>

#include <functional>
#include <optional>

#include <malloc.h>

using namespace Qt::StringLiterals;

namespace {

// What it allocates until it is called again, for each of the objects.
double bytesPerCall(const std::function<void()> &allocate)
{
    const auto allocated = [] {
        const auto info = ::mallinfo2();
        return info.uordblks + info.hblkhd + VXPageMemory::usedBytes();
    };
    const size_t before = allocated();
    allocate();
    return double(allocated() - before) / double(CallStore::usualCount);
}

void holdWithContext(benchmark::State &state)
{
    const CallStore &store = CallStore::full();
    for (auto _ : state) {
        VXManagedObjectContext context(store.coordinator);
        std::optional<VXFetchResult> held;
        state.counters["bytes each"] = bytesPerCall([&] { held = context.executeFetchRequest(store.request()); });
    }
}

void holdByHand(benchmark::State &state)
{
    RawCallStore raw(CallStore::full().path());
    for (auto _ : state) {
        state.counters["bytes each"] = bytesPerCall([&] { raw.holdAll(); });
        raw.letGo();
    }
}

// Under 100 ns each: more than 10 M items a second.
void findByID(benchmark::State &state)
{
    const CallStore &store = CallStore::full();
    VXManagedObjectContext context(store.coordinator);
    const auto result = context.executeFetchRequest(store.request());
    QList<VXManagedObjectID> objectIDs;
    for (const VXManagedObjectPtr &object : *result)
        objectIDs.append(object->objectID());
    for (auto _ : state) {
        for (const VXManagedObjectID &objectID : std::as_const(objectIDs))
            benchmark::DoNotOptimize(context.objectWithID(objectID));
    }
    state.SetItemsProcessed(state.iterations() * objectIDs.size());
}

double residentMebibytes()
{
    QFile statm(u"/proc/self/statm"_s);
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    return statm.readAll().split(' ').value(1).toDouble() * 4096 / (1024 * 1024);
}

// A million objects, each a fault again as soon as the walk has passed it.
void walkAMillion(benchmark::State &state)
{
    static const CallStore store(1'000'000);
    double atStart = 0;
    double atTenth = 0;
    double atEnd = 0;
    for (auto _ : state) {
        state.PauseTiming();
        ::malloc_trim(0); // what other measurements left is not the walk's
        atStart = residentMebibytes();
        state.ResumeTiming();
        VXManagedObjectContext context(store.coordinator);
        VXFetchRequest request = store.request();
        request.batchSize = 500;
        const auto result = context.executeFetchRequest(request);
        const int position = store.indexOf("position");
        qint64 sum = 0;
        qsizetype walked = 0;
        for (const VXManagedObjectPtr &object : *result) {
            sum += object->attribute(position).toLongLong();
            context.refreshObject(object, false);
            if (++walked == result->size() / 10)
                atTenth = residentMebibytes();
        }
        atEnd = residentMebibytes();
        if (sum != 999'999LL * 1'000'000 / 2)
            state.SkipWithError("the walk went wrong");
    }
    state.SetItemsProcessed(state.iterations() * 1'000'000);
    state.counters["MiB at the start"] = atStart;
    state.counters["MiB after a tenth"] = atTenth;
    state.counters["MiB at the end"] = atEnd;
}

// A key path over a relationship and a text without regard to case and diacritics: what is made is what is found.
void fetchByRelatedText(benchmark::State &state)
{
    const CallStore &store = CallStore::full();
    qint64 made = 0;
    qsizetype found = 0;
    for (auto _ : state) {
        VXManagedObjectContext context(store.coordinator);
        found = context.executeFetchRequest(store.request(u"caller.name CONTAINS[cd] %@"_s, {u"PERSON 7E"_s}))->size();
        made = context.madeObjectCount();
    }
    state.counters["found"] = double(found);
    state.counters["objects made"] = double(made);
}

BENCHMARK(holdWithContext)->Name("store memory of 100,000/ours")->Iterations(1);
BENCHMARK(holdByHand)->Name("store memory of 100,000/peer")->Iterations(1);
BENCHMARK(findByID)->Name("store object by ID in memory");
BENCHMARK(walkAMillion)->Name("store walk 1,000,000 objects")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(fetchByRelatedText)->Name("store text of a related object")->Unit(benchmark::kMillisecond);

} // namespace
