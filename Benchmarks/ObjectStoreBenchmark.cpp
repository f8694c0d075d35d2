// The object store beside SQLite used by hand, and beside Qt's SQL classes, on files of the same schema: eight attributes and
// two relationships. How cost grows with the number of objects, and that walking them keeps memory flat.

#include "RawCallStore.h"

#include "VXManagedObjectContext.h"
#include "VXModelParser.h"

#include <benchmark/benchmark.h>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlQuery>

#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include <malloc.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray modelSource = R"(
entity Call {
    attribute title: string optional;
    attribute number: string optional indexed;
    attribute duration: integer32 = 0;
    attribute position: integer64 = 0 indexed;
    attribute cost: double optional;
    attribute isRead: boolean = false;
    attribute date: date optional;
    attribute note: string optional;
    relationship caller: Person optional inverse calls;
    relationship folder: Folder optional inverse calls;
}
entity Person {
    attribute name: string optional;
    relationship calls: Call[] optional inverse caller;
}
entity Folder {
    attribute name: string optional;
    relationship calls: Call[] optional inverse folder;
}
)";

constexpr qint64 callCount = 100'000;

template <class T>
T &&required(T &&value, const VXError &error)
{
    if (!value)
        throw std::runtime_error(error.description().toStdString());
    return std::forward<T>(value);
}

/** A store of its own in a fresh file, with people and folders, and as many calls as asked for. */
class CallStore
{
public:
    explicit CallStore(qint64 count = 0)
    {
        VXError error;
        QList<VXModelProblem> problems;
        model =
            required(VXManagedObjectModel::modelWithDefinition(VXParseModel(modelSource, &problems), &error), error);
        coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
        store = required(coordinator->addPersistentStore(VXStoreType::SQLite, path(), {}, &error), error);
        call = model->entityForName(u"Call"_s);
        VXManagedObjectContext context(coordinator);
        addOthers(context, u"Person"_s, BenchmarkCall::personCount);
        addOthers(context, u"Folder"_s, BenchmarkCall::folderCount);
        if (count > 0)
            RawCallStore(path()).insert(count);
    }

    QString path() const { return _folder.filePath(u"calls.sqlite"_s); }

    /** Those that calls lead to, held by the caller. */
    QList<VXManagedObjectPtr> others(VXManagedObjectContext &context, const QString &entity) const
    {
        VXFetchRequest request(*model->entityForName(entity));
        const auto found = context.executeFetchRequest(request);
        QList<VXManagedObjectPtr> objects;
        for (const VXManagedObjectPtr &object : *found)
            objects.append(object);
        return objects;
    }

    void insert(VXManagedObjectContext &context, qint64 count, const QList<VXManagedObjectPtr> &people,
                const QList<VXManagedObjectPtr> &folders) const
    {
        const int title = indexOf(u"title"_s);
        const int number = indexOf(u"number"_s);
        const int duration = indexOf(u"duration"_s);
        const int position = indexOf(u"position"_s);
        const int cost = indexOf(u"cost"_s);
        const int isRead = indexOf(u"isRead"_s);
        const int date = indexOf(u"date"_s);
        const int note = indexOf(u"note"_s);
        const int caller = indexOf(u"caller"_s);
        const int folder = indexOf(u"folder"_s);
        for (qint64 place = 0; place < count; ++place) {
            const BenchmarkCall values(place);
            const VXManagedObjectPtr object = context.insertNewObject(*call);
            object->setAttribute(title, values.title);
            object->setAttribute(number, values.number);
            object->setAttribute(duration, values.duration);
            object->setAttribute(position, values.position);
            object->setAttribute(cost, values.cost);
            object->setAttribute(isRead, values.isRead);
            object->setAttribute(date, values.date);
            object->setAttribute(note, values.note);
            object->setRelated(caller, people[values.caller - 1]);
            object->setRelated(folder, folders[values.folder - 1]);
        }
        VXError error;
        required(context.save(&error), error);
    }

    int indexOf(const QString &name) const { return call->propertyForName(name)->index(); }

    VXFetchRequest request(const QString &format = u"TRUEPREDICATE"_s, const QVariantList &arguments = {}) const
    {
        VXFetchRequest made(*call);
        made.predicate = VXPredicate::predicateWithFormat(format, arguments).value();
        return made;
    }

    /** Reads every attribute as it lies in the row. */
    qint64 read(const VXFetchResult &result) const
    {
        const int title = indexOf(u"title"_s);
        const int number = indexOf(u"number"_s);
        const int duration = indexOf(u"duration"_s);
        const int position = indexOf(u"position"_s);
        const int cost = indexOf(u"cost"_s);
        const int isRead = indexOf(u"isRead"_s);
        const int date = indexOf(u"date"_s);
        const int note = indexOf(u"note"_s);
        qint64 sum = 0;
        for (const VXManagedObjectPtr &object : result)
            sum += object->text(title).size() + object->text(number).size() + *object->number(duration) +
                   *object->number(position) + qint64(*object->real(cost)) + *object->number(isRead) +
                   *object->number(date) + object->text(note).size();
        return sum;
    }

    /** Makes a value of every attribute. */
    qint64 readValues(const VXFetchResult &result) const
    {
        std::vector<int> indexes;
        for (const VXAttributeDescription *const attribute : call->attributes())
            indexes.push_back(attribute->index());
        qint64 sum = 0;
        for (const VXManagedObjectPtr &object : result) {
            for (const int index : indexes)
                sum += object->attribute(index).typeId();
        }
        return sum;
    }

    /** Three of them, without values of their own. */
    qint64 readThree(const VXFetchResult &result) const
    {
        const int title = indexOf(u"title"_s);
        const int duration = indexOf(u"duration"_s);
        const int date = indexOf(u"date"_s);
        qint64 sum = 0;
        for (const VXManagedObjectPtr &object : result)
            sum += object->text(title).size() + *object->number(duration) + *object->number(date);
        return sum;
    }

    VXManagedObjectModel::Ptr model;
    VXPersistentStoreCoordinator::Ptr coordinator;
    VXPersistentStoreCoordinator::StorePtr store;
    const VXEntityDescription *call = nullptr;

private:
    static void addOthers(VXManagedObjectContext &context, const QString &entity, qint64 count)
    {
        for (qint64 number = 0; number < count; ++number)
            context.insertNewObject(entity)->setValueForKey(u"%1 %2é"_s.arg(entity).arg(number), u"name"_s);
        VXError error;
        required(context.save(&error), error);
    }

    QTemporaryDir _folder;
};

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

QSqlDatabase openWithQt(const QString &path)
{
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"benchmark"_s);
    database.setDatabaseName(path);
    if (!database.open() || !QSqlQuery(database).exec(u"PRAGMA synchronous = FULL"_s))
        throw std::runtime_error("Qt SQL has no SQLite driver, or it cannot open the file");
    return database;
}

void insertWithQt(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const CallStore store;
        {
            QSqlDatabase database = openWithQt(store.path());
            state.ResumeTiming();
            database.transaction();
            QSqlQuery query(database);
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
            database.commit();
            state.PauseTiming();
        }
        QSqlDatabase::removeDatabase(u"benchmark"_s);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// -- Update one attribute of each

void updateWithContext(benchmark::State &state)
{
    const CallStore store(callCount);
    VXManagedObjectContext context(store.coordinator);
    const auto result = context.executeFetchRequest(store.request());
    const int duration = store.call->propertyForName(u"duration"_s)->index();
    int value = 100'000;
    for (auto _ : state) {
        ++value;
        for (const VXManagedObjectPtr &object : *result)
            object->setAttribute(duration, value);
        VXError error;
        required(context.save(&error), error);
    }
    state.SetItemsProcessed(state.iterations() * callCount);
    state.counters["allowed"] = 2.0;
}

void updateByHand(benchmark::State &state)
{
    const CallStore store(callCount);
    RawCallStore raw(store.path());
    for (auto _ : state)
        raw.update(callCount);
    state.SetItemsProcessed(state.iterations() * callCount);
}

// -- Fetch

const CallStore &fullStore()
{
    static const CallStore store(callCount);
    return store;
}

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
    const CallStore &store = fullStore();
    for (auto _ : state) {
        VXManagedObjectContext context(store.coordinator);
        benchmark::DoNotOptimize(store.readValues(*context.executeFetchRequest(store.request())));
    }
    state.SetItemsProcessed(state.iterations() * callCount);
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
        {
            QSqlQuery query(openWithQt(store.path()));
            query.setForwardOnly(true);
            query.exec(u"SELECT * FROM VX_Call"_s);
            qint64 sum = 0;
            while (query.next()) {
                for (int column = 0; column < 13; ++column)
                    sum += query.value(column).typeId();
            }
            benchmark::DoNotOptimize(sum);
        }
        QSqlDatabase::removeDatabase(u"benchmark"_s);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void fetchThreeWithContext(benchmark::State &state)
{
    const CallStore &store = fullStore();
    for (auto _ : state) {
        VXManagedObjectContext context(store.coordinator);
        benchmark::DoNotOptimize(store.readThree(*context.executeFetchRequest(store.request())));
    }
    state.SetItemsProcessed(state.iterations() * callCount);
    state.counters["allowed"] = 1.3;
}

void keepByHand(benchmark::State &state)
{
    RawCallStore raw(fullStore().path());
    for (auto _ : state)
        benchmark::DoNotOptimize(raw.readAll());
    state.SetItemsProcessed(state.iterations() * callCount);
}

// Four fetches at once beside the same one after the other: half the time where there are two processors.
void fetchFourTimes(benchmark::State &state, bool atOnce)
{
    const CallStore &store = fullStore();
    const auto fetch = [&store] {
        VXManagedObjectContext context(store.coordinator);
        benchmark::DoNotOptimize(store.read(*context.executeFetchRequest(store.request())));
    };
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (int number = 0; number < 4; ++number) {
            if (atOnce)
                threads.emplace_back(fetch);
            else
                fetch();
        }
        for (std::thread &thread : threads)
            thread.join();
    }
    state.SetItemsProcessed(state.iterations() * 4 * callCount);
    state.counters["allowed"] = 1 / 1.8;
}

void fetchIndexedWithContext(benchmark::State &state)
{
    const CallStore &store = fullStore();
    for (auto _ : state) {
        VXManagedObjectContext context(store.coordinator);
        for (qint64 number = 0; number < 1000; ++number) {
            const auto found =
                context.executeFetchRequest(store.request(u"number == %@"_s, {BenchmarkCall(number).number}));
            if (found->size() != callCount / 1000)
                state.SkipWithError("a fetch went wrong");
            benchmark::DoNotOptimize(store.read(*found));
        }
    }
    state.SetItemsProcessed(state.iterations() * 1000);
    state.counters["allowed"] = 1.5;
}

void fetchIndexedByHand(benchmark::State &state)
{
    RawCallStore raw(fullStore().path());
    for (auto _ : state) {
        for (qint64 number = 0; number < 1000; ++number)
            benchmark::DoNotOptimize(raw.readNumber(BenchmarkCall(number).number));
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}

void countWithContext(benchmark::State &state)
{
    const CallStore &store = fullStore();
    VXManagedObjectContext context(store.coordinator);
    const VXFetchRequest request = store.request(u"position < 80000 AND cost > 2.5"_s);
    for (auto _ : state)
        benchmark::DoNotOptimize(context.countForFetchRequest(request));
    state.counters["allowed"] = 1.1;
}

void countByHand(benchmark::State &state)
{
    RawCallStore raw(fullStore().path());
    for (auto _ : state)
        benchmark::DoNotOptimize(raw.count(80'000, 2.5));
}

// -- Without a peer

// Under 100 ns each: more than 10 M items a second.
void findByID(benchmark::State &state)
{
    const CallStore &store = fullStore();
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

// What it allocates until it is called again, for each of the objects.
double bytesPerCall(const std::function<void()> &allocate)
{
    const auto allocated = [] {
        const auto info = ::mallinfo2();
        return info.uordblks + info.hblkhd;
    };
    const size_t before = allocated();
    allocate();
    return double(allocated() - before) / double(callCount);
}

void holdWithContext(benchmark::State &state)
{
    const CallStore &store = fullStore();
    for (auto _ : state) {
        VXManagedObjectContext context(store.coordinator);
        std::optional<VXFetchResult> held;
        state.counters["bytes each"] = bytesPerCall([&] { held = context.executeFetchRequest(store.request()); });
    }
}

void holdByHand(benchmark::State &state)
{
    RawCallStore raw(fullStore().path());
    for (auto _ : state) {
        state.counters["bytes each"] = bytesPerCall([&] { raw.holdAll(); });
        raw.letGo();
    }
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
        const int position = store.call->propertyForName(u"position"_s)->index();
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
    const CallStore &store = fullStore();
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

BENCHMARK(insertWithContext)->Name("store insert and save/ours")->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(insertByHand)->Name("store insert and save/peer")->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(insertWithQt)->Name("store insert and save/peer Qt SQL")->Arg(callCount);
BENCHMARK(updateWithContext)->Name("store update one attribute of 100,000/ours");
BENCHMARK(updateByHand)->Name("store update one attribute of 100,000/peer");
BENCHMARK(fetchWithContext)->Name("store fetch and read/ours")->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(fetchByHand)->Name("store fetch and read/peer")->RangeMultiplier(10)->Range(1000, 1'000'000);
BENCHMARK(streamByHand)->Name("store fetch and read/peer keeping nothing")->Arg(callCount);
BENCHMARK(fetchWithQt)->Name("store fetch and read/peer Qt SQL")->Arg(callCount);
BENCHMARK(fetchValuesWithContext)->Name("store fetch and make values/ours");
BENCHMARK(keepByHand)->Name("store fetch and make values/peer");
BENCHMARK(fetchThreeWithContext)->Name("store fetch and read three of eight/ours");
BENCHMARK(keepByHand)->Name("store fetch and read three of eight/peer");
BENCHMARK_CAPTURE(fetchFourTimes, atOnce, true)->Name("store four fetches at once/ours")->UseRealTime();
BENCHMARK_CAPTURE(fetchFourTimes, inTurn, false)->Name("store four fetches at once/peer")->UseRealTime();
BENCHMARK(holdWithContext)->Name("store memory of 100,000/ours")->Iterations(1);
BENCHMARK(holdByHand)->Name("store memory of 100,000/peer")->Iterations(1);
BENCHMARK(fetchIndexedWithContext)->Name("store 1,000 indexed fetches of 100/ours");
BENCHMARK(fetchIndexedByHand)->Name("store 1,000 indexed fetches of 100/peer");
BENCHMARK(countWithContext)->Name("store count by predicate/ours");
BENCHMARK(countByHand)->Name("store count by predicate/peer");
BENCHMARK(findByID)->Name("store object by ID in memory");
BENCHMARK(walkAMillion)->Name("store walk 1,000,000 objects")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(fetchByRelatedText)->Name("store text of a related object")->Unit(benchmark::kMillisecond);

} // namespace
