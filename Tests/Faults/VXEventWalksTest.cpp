#include "VXEventHistory.h"
#include "VXFailingCalls.h"
#include "VXPlugInTesting.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>

using namespace Qt::StringLiterals;

namespace {

/** Walks over what is written when something happened. */
using VXEventWalks = VXHomeTest;

// What each export makes anew.
QByteArray withoutStamps(const QByteArray &contents)
{
    QByteArrayList lines = contents.split('\n');
    lines.removeIf([](const QByteArray &line) { return line.startsWith("DTSTAMP") || line.startsWith("UID"); });
    return lines.join('\n');
}

TEST_F(VXEventWalks, Exports)
{
    const QVariantMap call{{u"name"_s, u"Jane"_s},
                           {u"from"_s, u"Jane <+1 555 0100>"_s},
                           {u"date"_s, QDateTime::fromSecsSinceEpoch(0, Qt::UTC)}};
    QVariantMap other = call; // an entry that is there already is not written twice
    other.insert(u"date"_s, QDateTime::fromSecsSinceEpoch(3600, Qt::UTC));
    const QString file = path(u"out/file"_s);
    for (const QString &exporter : {u"CSVExporterPlugin"_s, u"JSONLinesExporterPlugin"_s, u"VCardExporterPlugin"_s,
                                    u"ICalendarExporterPlugin"_s}) {
        QDir(path(u"out"_s)).removeRecursively();
        QDir().mkdir(path(u"out"_s));
        ASSERT_EQ(VXExport(exporter, {call}, file), QString());
        const QByteArray before = readFile(file);
        for (const bool appends : {true, false}) {
            SCOPED_TRACE(exporter.toStdString() + (appends ? " appends" : " replaces"));
            VXFailureWalk walk;
            walk.prepare = [&] {
                QDir(path(u"out"_s)).removeRecursively();
                writeFile(u"out/file"_s, before);
            };
            walk.operation = [&] { return VXExport(exporter, {call, other}, file, {{u"append"_s, appends}}).isNull(); };
            walk.state = [&] { return withoutStamps(readFile(file)); };
            walk.leftovers = [&] {
                QStringList names = QDir(path(u"out"_s)).entryList(QDir::Files | QDir::Hidden);
                names.removeOne(u"file"_s);
                names.removeOne(u".file.undo"_s); // with which the next export brings back what could not be cut now
                return names;
            };
            walk.run();
        }
    }
}

TEST_F(VXEventWalks, History)
{
    const auto append = [this](const QString &name) {
        VXEventRecord record;
        record.name = name;
        record.date = QDateTime::currentDateTimeUtc();
        return VXEventHistory(path(u"history"_s)).append(record);
    };
    VXFailureWalk walk;
    walk.prepare = [&] {
        QDir(path(u"history"_s)).removeRecursively();
        ASSERT_TRUE(append(u"first"_s));
    };
    walk.operation = [&] { return append(u"second"_s); };
    walk.state = [&] {
        QStringList names;
        for (const VXEventRecord &record : VXEventHistory(path(u"history"_s)).records())
            names.append(record.name);
        return names;
    };
    walk.run();
}

} // namespace
