// 100,000 calls from a store to a CSV file, beside SQLite's own command line program writing the same query's rows to one.

#include "VXBundle.h"
#include "VXExporterPlugin.h"
#include "VXManagedObjectContext.h"
#include "VXModelParser.h"

#include <benchmark/benchmark.h>
#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int callCount = 100'000;

VXPersistentStoreCoordinator::Ptr coordinatorFor(const QString &path)
{
    QFile source(QStringLiteral(VORNIX_CALLS_MODEL));
    if (!source.open(QIODevice::ReadOnly))
        return nullptr;
    QList<VXModelProblem> problems;
    const auto model = VXManagedObjectModel::modelWithDefinition(VXParseModel(source.readAll(), &problems));
    const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
    return coordinator && coordinator->addPersistentStore(VXStoreType::SQLite, path) ? coordinator : nullptr;
}

// The history of a busy office.
class CallHistory
{
public:
    CallHistory() : _coordinator(coordinatorFor(storePath()))
    {
        if (_coordinator)
            fill();
    }

    QString storePath() const { return _folder.filePath(u"calls.sqlite"_s); }
    QString outputPath() const { return _folder.filePath(u"calls.csv"_s); }
    const VXPersistentStoreCoordinator::Ptr &coordinator() const { return _coordinator; }

private:
    void fill()
    {
        VXManagedObjectContext context(_coordinator);
        const QDateTime start({2020, 1, 1}, {8, 0}, Qt::UTC);
        for (int number = 0; number < callCount; ++number) {
            const VXManagedObjectPtr call = context.insertNewObject(u"VXCall"_s);
            const QDateTime date = start.addSecs(number * Q_INT64_C(977));
            call->setValueForKey(u"Doe, Jane \"JD\" <+1 555 %1/Hm>"_s.arg(number % 10'000), u"from"_s);
            call->setValueForKey(number % 2, u"direction"_s);
            call->setValueForKey(u"ended"_s, u"state"_s);
            call->setValueForKey(date, u"date"_s);
            call->setValueForKey(date.addSecs(7), u"connectedDate"_s);
            call->setValueForKey(number % 600 + 0.5, u"duration"_s);
            call->setValueForKey(u"btphone://00-11-22-33-44-55"_s, u"device_url"_s);
        }
        context.save();
    }

    const QTemporaryDir _folder;
    const VXPersistentStoreCoordinator::Ptr _coordinator;
};

const CallHistory &history()
{
    static const CallHistory history;
    return history;
}

std::unique_ptr<VXExporterPlugin> makeExporter()
{
    const VXBundle::Ptr bundle = VXBundle::bundleWithPath(QStringLiteral(VORNIX_CSV_EXPORTER));
    const QMetaObject *const metaObject = bundle ? bundle->principalClass() : nullptr;
    QObject *const object = metaObject != nullptr ? metaObject->newInstance() : nullptr;
    return std::unique_ptr<VXExporterPlugin>(qobject_cast<VXExporterPlugin *>(object));
}

bool exportCalls(VXExporterPlugin &exporter)
{
    VXManagedObjectContext context(history().coordinator());
    VXFetchRequest request(*history().coordinator()->model().entityForName(u"VXCall"_s));
    request.sortDescriptors = {{.key = u"date"_s}};
    const std::optional<VXFetchResult> calls = context.executeFetchRequest(request);
    if (!calls)
        return false;
    QVariantList objects;
    objects.reserve(calls->size());
    for (const VXManagedObjectPtr &call : *calls)
        objects.append(QVariant::fromValue(call));
    return !exporter.exportObjects(objects,
                                   {{VXExporterOptionsFilePathKey, history().outputPath()}, {u"append"_s, false}});
}

void exportToCSV(benchmark::State &state)
{
    const std::unique_ptr<VXExporterPlugin> exporter = makeExporter();
    if (!exporter || !history().coordinator())
        state.SkipWithError("there is no store or no exporter");
    for (auto _ : state) {
        if (!exportCalls(*exporter))
            state.SkipWithError("the export failed");
    }
    state.SetItemsProcessed(state.iterations() * callCount);
    state.counters["allowed"] = 3.0;
}

void sqliteToCSV(benchmark::State &state)
{
    const QString date = u"strftime('%Y-%m-%d %H:%M:%S', \"%1\" / 1000, 'unixepoch', 'localtime') AS \"%1\""_s;
    QString query = u"SELECT \"to\", \"from\", direction, state, "_s;
    query += QString(date).replace("%1"_L1, "date"_L1) + ", "_L1 + QString(date).replace("%1"_L1, "connectedDate"_L1);
    query += ", duration, device_url, call_id, to_search, from_search, otherParty_search FROM VX_VXCall"
             " ORDER BY VX_VXCall.date"_L1;
    const QString store = history().storePath(); // made before the time is taken
    for (auto _ : state) {
        QProcess program;
        program.setStandardOutputFile(history().outputPath());
        program.start(u"sqlite3"_s, {u"-readonly"_s, u"-header"_s, u"-csv"_s, store, query});
        if (!program.waitForFinished() || program.exitCode() != 0)
            state.SkipWithError("sqlite3 did not run");
    }
    state.SetItemsProcessed(state.iterations() * callCount);
}

// One more line for a file of 100,000 lines takes no longer than for an empty one.
void appendToCSV(benchmark::State &state)
{
    const std::unique_ptr<VXExporterPlugin> exporter = makeExporter();
    const QString path = history().outputPath() + u".appended"_s;
    const QVariantMap call{{u"date"_s, QDateTime::currentDateTimeUtc()}, {u"from"_s, u"Jane <+1 555 0100>"_s}};
    const QVariantList many(state.range(0), call);
    if (!exporter || exporter->exportObjects(many, {{VXExporterOptionsFilePathKey, path}, {u"append"_s, false}}))
        state.SkipWithError("there is no exporter");
    for (auto _ : state)
        benchmark::DoNotOptimize(exporter->exportObjects({call}, {{VXExporterOptionsFilePathKey, path}}));
}

} // namespace

BENCHMARK(exportToCSV)->Name("export-csv/ours")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(sqliteToCSV)->Name("export-csv/peer")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(appendToCSV)->Name("append-csv/to")->UseRealTime()->Arg(1)->Arg(100'000);
