// Inserting and updating in the object store beside SQLite used by hand, and beside Qt's SQL classes, on files of the same
// schema: eight attributes and two relationships.

#include "BenchmarkModels.h"
#include "CallStore.h"
#include "QtCallStore.h"

#include <benchmark/benchmark.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// -- Insert and save

void insertWithContext(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const CallStore store;
        auto context = std::make_unique<VXManagedObjectContext>(store.coordinator);
        const QList<VXManagedObjectPtr> people = store.others(*context, u"Person"_s);
        const QList<VXManagedObjectPtr> folders = store.others(*context, u"Folder"_s);
        state.ResumeTiming();
        store.insert(*context, state.range(0), people, folders);
        state.PauseTiming();
        context.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["allowed"] = 2.0;
}

void insertByHand(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const CallStore store;
        auto raw = std::make_unique<RawCallStore>(store.path());
        state.ResumeTiming();
        raw->insert(state.range(0));
        state.PauseTiming();
        raw.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void insertWithQt(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const CallStore store;
        auto qt = std::make_unique<QtCallStore>(store.path());
        state.ResumeTiming();
        qt->database.transaction();
        QSqlQuery query(qt->database);
        query.prepare(u"INSERT INTO VX_Call (Z_PK, Z_ENT, Z_OPT, title, number, duration, position, cost, isRead, "
                      "date, note, caller, folder) VALUES (?, 1, 1, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"_s);
        for (qint64 index = 0; index < state.range(0); ++index) {
            const BenchmarkCall call(index);
            const QVariantList values{index + 1,     call.title,  call.number, call.duration,
                                      call.position, call.cost,   call.isRead, call.date.toMSecsSinceEpoch(),
                                      call.note,     call.caller, call.folder};
            for (int column = 0; column < values.size(); ++column)
                query.bindValue(column, values[column]);
            if (!query.exec())
                state.SkipWithError("Qt SQL could not insert");
        }
        qt->database.commit();
        state.PauseTiming();
        query = QSqlQuery();
        qt.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// -- Update one attribute of each

constexpr int firstDuration = 100'000;

void updateWithContext(benchmark::State &state)
{
    const CallStore store(CallStore::usualCount);
    VXManagedObjectContext context(store.coordinator);
    const auto result = context.executeFetchRequest(store.request());
    const int duration = store.indexOf("duration");
    int value = firstDuration;
    for (auto _ : state) {
        ++value;
        for (const VXManagedObjectPtr &object : *result)
            object->setAttribute(duration, value);
        VXError error;
        required(context.save(&error), error);
    }
    state.SetItemsProcessed(state.iterations() * CallStore::usualCount);
    state.counters["allowed"] = 2.0;
}

void updateByHand(benchmark::State &state)
{
    const CallStore store(CallStore::usualCount);
    RawCallStore raw(store.path());
    int value = firstDuration; // as long in the file as ours: longer rows split pages
    for (auto _ : state)
        raw.update(CallStore::usualCount, ++value);
    state.SetItemsProcessed(state.iterations() * CallStore::usualCount);
}

BENCHMARK(insertWithContext)->Name("store insert and save/ours")->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(insertByHand)->Name("store insert and save/peer")->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(insertWithQt)->Name("store insert and save/peer Qt SQL")->Arg(CallStore::usualCount);
BENCHMARK(updateWithContext)->Name("store update one attribute of 100,000/ours");
BENCHMARK(updateByHand)->Name("store update one attribute of 100,000/peer");

} // namespace
