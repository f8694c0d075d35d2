// Upgrades, imports and exports of stores beside INSERT ... SELECT of the same rows from one SQLite file into another, and
// beside a copy of the file. How time and memory grow with the number of objects.

#include "BenchmarkModels.h"

#include "VXApplication.h"
#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXPropertyList.h"
#include "VXScriptedUserInterface.h"
#include "VXUserDefaults.h"

#include <benchmark/benchmark.h>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <sqlite3.h>

#include <fcntl.h>
#include <malloc.h>
#include <stdexcept>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// A relationship to one and one to many objects.
const QByteArray relationships = R"(
    relationship previous: Call optional inverse next;
    relationship next: Call[] optional inverse previous;
    relationship contact: Contact optional inverse calls;
}
entity Contact {
    attribute name: string;
    attribute kind: string = "person";
    relationship calls: Call[] optional inverse contact;
}
)";

constexpr int callsOfContact = 10;

/** A home folder with the store of a plugin, of version 1, and with it a plugin of any version. */
class World
{
public:
    explicit World(qint64 count, bool hasContacts = false) : _hasContacts(hasContacts)
    {
        static int argc = 1;
        static char name[] = "benchmark";
        static char *argv[] = {name, nullptr};
        static QCoreApplication application(argc, argv);
        VXSetHomeFolder(_home.path());
        VXInitializeFramework();
        auto user = std::make_unique<VXScriptedUserInterface>();
        _user = user.get();
        VXApplication::sharedApplication().setUserInterface(std::move(user));
        VXError error;
        const auto model = modelFromSource("entity Call {" + callAttributes + relationships);
        required(model->writeToFile(modelPath(), &error), error);
        writeStore(count);
    }

    QString home() const { return _home.path(); }
    QString modelPath() const { return _home.filePath(u"calls.mom"_s); }
    QString store() const { return VXDataManager::sharedDataFolderPath() + "/calls.vxdatastore"_L1; }
    QString master() const { return _home.filePath(u"master.vxdatastore"_s); }
    VXScriptedUserInterface &user() { return *_user; }

    /** The store as it was. */
    void reset() const
    {
        QDir(VXDataManager::sharedDataFolderPath()).removeRecursively();
        QDir().mkpath(store());
        for (const QString &name : QDir(master()).entryList(QDir::Files))
            required(QFile::copy(master() + u'/' + name, store() + u'/' + name));
        ::sync();
    }

private:
    void writeStore(qint64 count) const
    {
        QDir().mkpath(master());
        required(QFile::copy(modelPath(), master() + "/calls.mom"_L1));
        VXCoreDataStore made(master(), u"calls.sqlite"_s);
        VXError error;
        const auto coordinator = required(made.persistentStoreCoordinator(&error), error);
        coordinator->persistentStores().constFirst()->setMetadata(
            {{VXStoreVersionKey, u"1"_s}, {VXStoreOwnerIdentifierKey, u"org.example.calls"_s}});
        const VXEntityDescription &call = *coordinator->model().entityForName(u"Call"_s);
        const VXEntityDescription &contact = *coordinator->model().entityForName(u"Contact"_s);
        const int name = contact.propertyForName(u"name"_s)->index();
        const auto index = [&](const QString &key) { return call.propertyForName(key)->index(); };
        for (qint64 at = 0; at < count;) {
            VXManagedObjectContext context(coordinator);
            VXManagedObjectPtr before;
            VXManagedObjectPtr caller;
            for (qint64 end = std::min(count, at + 5000); at < end; ++at) {
                const auto object = context.insertNewObject(call);
                object->setAttribute(index(u"title"_s), u"Call number %1"_s.arg(at));
                object->setAttribute(index(u"number"_s), u"+1 555 %1"_s.arg(at, 7, 10, QChar(u'0')));
                object->setAttribute(index(u"duration"_s), int(at % 3600));
                object->setAttribute(index(u"position"_s), at);
                object->setAttribute(index(u"cost"_s), double(at) / 7);
                object->setAttribute(index(u"isRead"_s), at % 2 == 0);
                object->setAttribute(index(u"date"_s), QDateTime::fromMSecsSinceEpoch(1'700'000'000'000 + at, Qt::UTC));
                object->setAttribute(index(u"note"_s), u"Said that the parcel arrived, and thanked for it."_s);
                if (before)
                    object->setRelated(index(u"previous"_s), before);
                before = at % 10 == 9 ? VXManagedObjectPtr() : object;
                if (_hasContacts && at % callsOfContact == 0) {
                    caller = context.insertNewObject(contact);
                    caller->setAttribute(name, u"Contact number %1"_s.arg(at));
                }
                if (caller)
                    object->setRelated(index(u"contact"_s), caller);
            }
            required(context.save(&error), error);
        }
    }

    const bool _hasContacts; // one for some calls
    QTemporaryDir _home;
    VXScriptedUserInterface *_user = nullptr;
};

/** The benchmark's plugin: its bundle is but an Info.plist. */
class Plugin : public VXDataPlugin
{
public:
    Plugin(const World &world, const QString &version) : _model(world.modelPath())
    {
        const QString folder = world.home() + "/p"_L1 + version + ".vxplugin"_L1;
        QDir().mkpath(folder + "/Contents"_L1);
        VXPropertyList::toFile(QVariantMap{{u"CFBundleIdentifier"_s, u"org.example.calls"_s},
                                           {u"VXPluginClass"_s, u"VXDataPlugin"_s},
                                           {u"VXDataStoreName"_s, u"calls"_s},
                                           {u"VXDataStoreType"_s, u"sqlite"_s},
                                           {u"VXDataStoreVersion"_s, version}},
                               folder + "/Contents/Info.plist"_L1, VXPropertyList::Format::XML);
        _bundle = VXBundle::bundleWithPath(folder);
    }
    VXBundle::Ptr bundle() const override { return _bundle; }
    QStringList dataModelPaths() const override { return {_model}; }

private:
    QString _model;
    VXBundle::Ptr _bundle;
};

/** As the plugins that ship. */
class RowPlugin : public Plugin
{
public:
    using Plugin::Plugin;
    bool copiesRows(int) const override { return true; }
};

/** One that has something to do with its objects. */
class HookPlugin : public Plugin
{
public:
    using Plugin::Plugin;
    QVariant migrateObjectValue(const QVariant &value, const QString &attribute, const VXManagedObjectPtr &, int,
                                const VXManagedObjectPtr &, VXError *) override
    {
        return attribute == "isRead"_L1 ? true : value;
    }
};

/** One that has something to do with one of its entities, and says so. */
class ContactPlugin : public RowPlugin
{
public:
    using RowPlugin::RowPlugin;
    bool migratesAttribute(const VXAttributeDescription &old, int) const override { return old.name() == "kind"_L1; }
    QVariant migrateObjectValue(const QVariant &value, const QString &attribute, const VXManagedObjectPtr &, int,
                                const VXManagedObjectPtr &, VXError *) override
    {
        return attribute == "kind"_L1 ? value.toString().toUpper() : value;
    }
};

qint64 residentPeak()
{
    QFile status(u"/proc/self/status"_s);
    static_cast<void>(status.open(QIODevice::ReadOnly));
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong() * 1024;
    }
    return 0;
}

// From now on the peak counts anew.
qint64 beginPeak()
{
    ::malloc_trim(0);
    QFile file(u"/proc/self/clear_refs"_s);
    if (file.open(QIODevice::WriteOnly))
        file.write("5");
    file.close();
    return residentPeak();
}

template <class T>
void upgradeOnce(World &world, bool verifies)
{
    VXUserDefaults::standardUserDefaults().setObject(verifies, u"migration.verify"_s);
    T plugin(world, u"2"_s);
    plugin.setUpgradeBackup({});
    VXError error;
    required(plugin.persistentStoreCoordinator(&error), error);
    required(!plugin.lastMigration().isEmpty());
}

template <class T>
void upgrade(benchmark::State &state, bool verifies, bool hasContacts = false)
{
    World world(state.range(0), hasContacts);
    qint64 peak = 0;
    for (auto _ : state) {
        state.PauseTiming();
        world.reset();
        const qint64 before = beginPeak();
        state.ResumeTiming();
        upgradeOnce<T>(world, verifies);
        peak = std::max(peak, residentPeak() - before);
    }
    state.counters["bytes/object"] = double(peak) / double(state.range(0));
    state.counters["objects/s"] =
        benchmark::Counter(double(state.range(0)), benchmark::Counter::kIsIterationInvariantRate);
}

void upgradeOurs(benchmark::State &state)
{
    upgrade<RowPlugin>(state, true);
    state.counters["allowed"] = 4;
    state.counters["bytes allowed"] =
        2048; // for each object; of few objects what the program needs anyway counts for most
}

void upgradeUnverified(benchmark::State &state)
{
    upgrade<RowPlugin>(state, false);
}

// Each object is made, held against the old one, saved, and compared with what was saved.
void upgradeByObjects(benchmark::State &state)
{
    upgrade<HookPlugin>(state, true);
    state.counters["allowed"] = 4;
    state.counters["bytes allowed"] = 2048;
}

// An attribute of one entity, the smaller one of two.
void upgradeOneEntity(benchmark::State &state)
{
    upgrade<ContactPlugin>(state, true, true);
    state.counters["allowed"] = 4;
    state.counters["bytes allowed"] = 2048;
}

template <class T>
void exportOurs(benchmark::State &state, bool validates, double allowed)
{
    World world(state.range(0));
    world.reset();
    T plugin(world, u"1"_s);
    VXError error;
    required(plugin.persistentStoreCoordinator(&error), error);
    const QString place = world.home() + "/exported.vxdatastore"_L1;
    qint64 peak = 0;
    for (auto _ : state) {
        state.PauseTiming();
        QDir(place).removeRecursively();
        const qint64 before = beginPeak();
        state.ResumeTiming();
        error = plugin.exportStoreTo(place, validates);
        required(!error, error);
        peak = std::max(peak, residentPeak() - before);
    }
    state.counters["bytes/object"] = double(peak) / double(state.range(0));
    state.counters["allowed"] = allowed;
}

void exportValidated(benchmark::State &state)
{
    exportOurs<RowPlugin>(state, true, 4);
}

void exportPlain(benchmark::State &state)
{
    exportOurs<RowPlugin>(state, false, 1.2);
}

void execute(sqlite3 *database, const QString &sql)
{
    char *message = nullptr;
    if (sqlite3_exec(database, sql.toUtf8().constData(), nullptr, nullptr, &message) != SQLITE_OK)
        throw std::runtime_error(message);
}

// All tables but the store's own, into a new file of the same schema.
void insertSelect(benchmark::State &state, bool hasContacts)
{
    World world(state.range(0), hasContacts);
    world.reset();
    const QString target = world.home() + "/peer.vxdatastore"_L1;
    for (auto _ : state) {
        state.PauseTiming();
        QDir(target).removeRecursively();
        QDir().mkpath(target);
        required(QFile::copy(world.modelPath(), target + "/calls.mom"_L1));
        required(VXCoreDataStore(target, u"calls.sqlite"_s).persistentStoreCoordinator());
        state.ResumeTiming();
        sqlite3 *database = nullptr;
        required(sqlite3_open(QString(target + "/calls.sqlite"_L1).toUtf8().constData(), &database) == SQLITE_OK);
        execute(database, u"PRAGMA synchronous = FULL; ATTACH '%1/calls.sqlite' AS old"_s.arg(world.store()));
        QStringList tables;
        const auto note = [](void *list, int, char **values, char **) {
            static_cast<QStringList *>(list)->append(QString::fromUtf8(values[0]));
            return 0;
        };
        sqlite3_exec(
            database,
            "SELECT name FROM old.sqlite_master WHERE type = 'table' AND name NOT LIKE 'Z\\_%' ESCAPE '\\' AND "
            "name NOT LIKE 'sqlite%'",
            note, &tables, nullptr);
        required(!tables.isEmpty());
        execute(database, u"BEGIN"_s);
        for (const QString &table : tables)
            execute(database, u"INSERT INTO main.\"%1\" SELECT * FROM old.\"%1\""_s.arg(table));
        execute(database, u"COMMIT"_s);
        sqlite3_close(database);
    }
}

void insertSelectCalls(benchmark::State &state)
{
    insertSelect(state, false);
}

void insertSelectBoth(benchmark::State &state)
{
    insertSelect(state, true);
}

void copyFile(benchmark::State &state)
{
    World world(state.range(0));
    world.reset();
    const QString target = world.home() + "/copied.sqlite"_L1;
    for (auto _ : state) {
        state.PauseTiming();
        QFile::remove(target);
        state.ResumeTiming();
        required(QFile::copy(world.store() + "/calls.sqlite"_L1, target));
        const int descriptor = ::open(QFile::encodeName(target).constData(), O_WRONLY | O_CLOEXEC);
        ::fsync(descriptor); // an export is on the disk, too
        ::close(descriptor);
    }
}

constexpr qint64 usual = 100'000;

BENCHMARK(upgradeOurs)
    ->Name("Upgrade/ours")
    ->Arg(usual)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(insertSelectCalls)
    ->Name("Upgrade/peer")
    ->Arg(usual)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(upgradeUnverified)->Name("UpgradeUnverified")->Arg(usual)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(upgradeByObjects)
    ->Name("UpgradeByObjects/ours")
    ->Arg(usual)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(insertSelectCalls)
    ->Name("UpgradeByObjects/peer")
    ->Arg(usual)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(upgradeOneEntity)
    ->Name("UpgradeOneEntity/ours")
    ->Arg(usual)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(insertSelectBoth)
    ->Name("UpgradeOneEntity/peer")
    ->Arg(usual)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(exportValidated)->Name("ExportValidated/ours")->Arg(usual)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(insertSelectCalls)->Name("ExportValidated/peer")->Arg(usual)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(exportPlain)->Name("ExportPlain/ours")->Arg(usual)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(copyFile)->Name("ExportPlain/peer")->Arg(usual)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(upgradeOurs)
    ->Name("UpgradeGrowth")
    ->RangeMultiplier(10)
    ->Range(1'000, 1'000'000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(upgradeByObjects)
    ->Name("UpgradeByObjectsGrowth")
    ->RangeMultiplier(10)
    ->Range(1'000, 1'000'000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace
