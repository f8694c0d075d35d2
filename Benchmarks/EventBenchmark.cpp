// Posting an event beside reading the rows of its triggers, filters and reactors from the same file with sqlite3's own
// interface: without triggers, with ten of three reactors each, with a thousand of which ten match. What the history adds,
// and what memory 10,000 events leave behind.

#include "VXDataManager.h"
#include "VXEventManager.h"
#include "VXFolders.h"
#include "VXManagedObjectContext.h"
#include "VXPluginManager.h"
#include "VXPropertyList.h"
#include "VXUserDefaults.h"

#include <benchmark/benchmark.h>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <cstdio>
#include <filesystem>
#include <sqlite3.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString reactorIdentifier = u"com.example.reactor"_s;

// A home folder with the plugins and the triggers, in which this process starts.
class EventInput
{
public:
    static const EventInput &input()
    {
        static const EventInput input;
        return input;
    }

    bool isReady = false;
    QByteArray file; // of the store

private:
    EventInput()
    {
        VXSetHomeFolder(_home.path());
        const QString plugins = _home.filePath(u".local/share/Vornix 2/PlugIns"_s);
        QDir().mkpath(plugins);
        const std::filesystem::path triggersPlugin = VORNIX_TRIGGERS_PLUGIN;
        std::filesystem::copy(triggersPlugin, plugins.toStdString() / triggersPlugin.filename(),
                              std::filesystem::copy_options::recursive);
        writeReactor(plugins + "/BenchmarkReactor.vxplugin/Contents"_L1);
        VXUserDefaults::standardUserDefaults().setObject(QStringList{reactorIdentifier}, u"plugins"_s);
        VXPluginManager::sharedPluginManager().startup();
        const auto coordinator = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"triggers"_s);
        if (!coordinator)
            return;
        file = QFile::encodeName(coordinator->persistentStores().constFirst()->path());
        VXManagedObjectContext context(coordinator);
        for (int number = 0; number < 10; ++number)
            addTrigger(context, u"ten"_s, number, {});
        for (int number = 0; number < 1000; ++number)
            addTrigger(context, u"thousand"_s, number,
                       u"from ==[cd] \"Person %1\" AND duration > 60"_s.arg(number % 100));
        isReady = context.save();
    }

    static void writeReactor(const QString &contents)
    {
        QDir().mkpath(contents + "/Linux"_L1);
        const QVariantMap info{{u"CFBundleIdentifier"_s, reactorIdentifier},
                               {u"CFBundleVersion"_s, u"2000"_s},
                               {u"CFBundleExecutable"_s, u"BenchmarkReactor.so"_s},
                               {u"NSPrincipalClass"_s, u"BenchmarkReactor"_s},
                               {u"VXPluginName"_s, u"Reactor"_s},
                               {u"VXPluginClass"_s, u"VXReactorPlugin"_s},
                               {u"VXReactorDefaults"_s, QVariantMap{{u"volume"_s, 3}}}};
        VXPropertyList::toFile(info, contents + "/Info.plist"_L1, VXPropertyList::Format::XML);
        QFile::copy(QStringLiteral(VORNIX_BENCHMARK_REACTOR), contents + "/Linux/BenchmarkReactor.so"_L1);
    }

    static void addTrigger(VXManagedObjectContext &context, const QString &event, int number, const QString &filter)
    {
        const VXManagedObjectPtr trigger = context.insertNewObject(u"VXTrigger"_s);
        trigger->setValueForKey(event, u"eventName"_s);
        trigger->setValueForKey(number, u"index"_s);
        trigger->setValueForKey(u"Trigger %1"_s.arg(number), u"userName"_s);
        trigger->setValueForKey(!filter.isNull(), u"useFilter"_s);
        if (!filter.isNull()) {
            const VXManagedObjectPtr stored = context.insertNewObject(u"VXTriggerFilter"_s);
            stored->setValueForKey(filter, u"predicateText"_s);
            trigger->setValueForKey(QVariant::fromValue(stored), u"filter"_s);
        }
        for (int index = 0; index < 3; ++index) {
            const VXManagedObjectPtr reactor = context.insertNewObject(u"VXReactorRecord"_s);
            reactor->setValueForKey(reactorIdentifier, u"bundleIdentifier"_s);
            reactor->setValueForKey(index, u"index"_s);
            reactor->setValueForKey(QVariantMap{{u"file"_s, u"sound %1"_s.arg(index)}}, u"options"_s);
            reactor->setValueForKey(QVariant::fromValue(trigger), u"trigger"_s);
        }
    }

    QTemporaryDir _home;
};

const QVariant &eventObject()
{
    static const QVariant object = QVariantMap{{u"from"_s, u"Person 7"_s}, {u"duration"_s, 90}};
    return object;
}

void post(benchmark::State &state, const char *event)
{
    if (!EventInput::input().isReady)
        state.SkipWithError("the triggers could not be stored");
    VXEventManager &manager = VXEventManager::sharedEventManager();
    const QString name = QString::fromLatin1(event);
    for (auto _ : state)
        manager.postEventWithName(name, {}, eventObject());
    state.SetItemsProcessed(state.iterations());
    state.counters["allowed"] = 3;
}

// The same with the history on, beside itself.
void postWithHistory(benchmark::State &state, bool isOn)
{
    VXUserDefaults::standardUserDefaults().registerDefaults({{u"events.history"_s, isOn}});
    post(state, "ten");
    VXUserDefaults::standardUserDefaults().registerDefaults({{u"events.history"_s, false}});
    state.counters["allowed"] = 3;
}

// -- The peer

class Database
{
public:
    explicit Database(const QByteArray &file)
    {
        sqlite3_open_v2(file.constData(), &_database, SQLITE_OPEN_READWRITE, nullptr);
        _triggers = prepare("SELECT t.*, f.* FROM VX_VXTrigger t LEFT JOIN VX_VXSmartFilter f ON f.Z_PK = t.filter "
                            "WHERE t.eventName = ? ORDER BY t.\"index\"");
        _reactors = prepare("SELECT * FROM VX_VXReactorRecord WHERE trigger = ? ORDER BY \"index\"");
    }
    ~Database()
    {
        sqlite3_finalize(_triggers);
        sqlite3_finalize(_reactors);
        sqlite3_close(_database);
    }
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    // How many reactors there are of the triggers that match: without a filter all, else one of a hundred.
    int readTriggers(const char *event)
    {
        int reactors = 0;
        int number = 0;
        sqlite3_bind_text(_triggers, 1, event, -1, SQLITE_STATIC);
        while (sqlite3_step(_triggers) == SQLITE_ROW) {
            readRow(_triggers);
            const bool hasFilter = sqlite3_column_type(_triggers, filterColumn) != SQLITE_NULL;
            if (!hasFilter || number % 100 == 7)
                reactors += readReactors(sqlite3_column_int64(_triggers, 0));
            ++number;
        }
        sqlite3_reset(_triggers);
        return reactors;
    }

private:
    static constexpr int filterColumn = 8; // "filter" of the trigger

    sqlite3_stmt *prepare(const char *query) const
    {
        sqlite3_stmt *statement = nullptr;
        sqlite3_prepare_v2(_database, query, -1, &statement, nullptr);
        return statement;
    }
    static void readRow(sqlite3_stmt *statement)
    {
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            if (sqlite3_column_type(statement, column) == SQLITE_TEXT)
                benchmark::DoNotOptimize(sqlite3_column_text(statement, column));
            else
                benchmark::DoNotOptimize(sqlite3_column_int64(statement, column));
        }
    }
    int readReactors(sqlite3_int64 trigger)
    {
        int count = 0;
        sqlite3_bind_int64(_reactors, 1, trigger);
        for (; sqlite3_step(_reactors) == SQLITE_ROW; ++count)
            readRow(_reactors);
        sqlite3_reset(_reactors);
        return count;
    }

    sqlite3 *_database = nullptr;
    sqlite3_stmt *_triggers = nullptr;
    sqlite3_stmt *_reactors = nullptr;
};

void readRows(benchmark::State &state, const char *event, int reactors)
{
    Database database(EventInput::input().file);
    for (auto _ : state) {
        if (database.readTriggers(event) != reactors)
            state.SkipWithError("the rows are not those expected");
    }
    state.SetItemsProcessed(state.iterations());
}

// -- Memory

double residentKilobytes()
{
    long pages = 0;
    long resident = 0;
    if (std::FILE *const file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        std::fclose(file);
    }
    return double(resident) * double(::sysconf(_SC_PAGESIZE)) / 1024;
}

void postMany(benchmark::State &state)
{
    constexpr int count = 10'000;
    VXEventManager &manager = VXEventManager::sharedEventManager();
    const auto postAll = [&] {
        for (int number = 0; number < count; ++number)
            manager.postEventWithName(u"ten"_s, {}, eventObject());
    };
    if (!EventInput::input().isReady)
        state.SkipWithError("the triggers could not be stored");
    manager.postEventWithName(u"ten"_s, {}, eventObject());
    const double before = residentKilobytes();
    for (auto _ : state)
        postAll();
    state.counters["kB before"] = before;
    state.counters["kB after"] = residentKilobytes();
    state.SetItemsProcessed(state.iterations() * count);
}

} // namespace

#define EVENT_BENCHMARK(event, reactors)                                                                               \
    BENCHMARK_CAPTURE(post, event, #event)->Name("event-" #event "/ours")->Unit(benchmark::kMicrosecond);              \
    BENCHMARK_CAPTURE(readRows, event, #event, reactors)->Name("event-" #event "/peer")->Unit(benchmark::kMicrosecond)
EVENT_BENCHMARK(none, 0);
EVENT_BENCHMARK(ten, 30);
EVENT_BENCHMARK(thousand, 30);

BENCHMARK_CAPTURE(postWithHistory, on, true)->Name("event-history/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(postWithHistory, off, false)->Name("event-history/peer")->Unit(benchmark::kMicrosecond);

BENCHMARK(postMany)->Name("event-memory-of-10000")->Iterations(1)->Unit(benchmark::kMillisecond);
