#include "VXCallImport.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXTableFile.h"

#include <QtCore/QFile>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype portion = 1000; // calls that are saved at once

VXCallRecord recordOf(const QStringList &columns, const QStringList &row)
{
    QVariantMap map;
    for (qsizetype column = 0; column < qMin(columns.size(), row.size()); ++column) {
        if (!row[column].isEmpty())
            map.insert(columns[column], row[column]);
    }
    if (bool isNumber = false; map.contains(u"duration"_s)) {
        const double seconds = map.value(u"duration"_s).toString().toDouble(&isNumber);
        map.insert(u"duration"_s, isNumber ? QVariant(seconds) : QVariant());
    }
    if (bool isNumber = false; map.contains(u"direction"_s)) {
        const int direction = map.value(u"direction"_s).toString().toInt(&isNumber);
        if (isNumber)
            map.insert(u"direction"_s, direction);
    }
    return VXCallRecord(map);
}

} // namespace

bool VXCallImport::run(const QString &path, VXError *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        VXSetError(error, VXMakeError(VXLocalizedString(u"%1 can not be read: %2"_s).arg(path, file.errorString())));
        return false;
    }
    VXTableFile table(file.readAll());
    const QStringList columns = table.next();
    if (!columns.contains(u"date"_s) || !(columns.contains(u"from"_s) || columns.contains(u"to"_s))) {
        VXSetError(error,
                   VXMakeError(VXLocalizedString(
                                   u"The first line of %1 does not name the columns \"date\" and \"from\" or \"to\"."_s)
                                   .arg(path)));
        return false;
    }
    QList<VXCallRecord> records;
    while (!table.isAtEnd()) {
        const qsizetype line = table.line();
        const VXCallRecord record = recordOf(columns, table.next());
        if (!record.date.isValid())
            _problems.append(u"line %1: no date of the form 2026-01-31T12:00:00"_s.arg(line));
        else
            records.append(record);
        if (records.size() >= portion && !add(std::exchange(records, {}), error))
            return false;
    }
    return add(records, error);
}

bool VXCallImport::add(const QList<VXCallRecord> &records, VXError *error)
{
    VXManagedObjectContext context(_store.coordinator());
    qsizetype added = 0;
    for (const VXCallRecord &record : records) {
        const std::optional<VXManagedObjectPtr> same = _store.find(record, context, error);
        if (!same)
            return false;
        // Two short calls may be near each other in one table: of those only the same is left out.
        const bool isKnown =
            *same && (!(*same)->isInserted() || (*same)->valueForKey(u"date"_s).toDateTime() == record.start());
        if (isKnown) {
            ++_knownCount;
        } else {
            ++added;
            VXCallStore::insert(record, context);
        }
    }
    if (context.hasChanges() && !context.save(error))
        return false;
    _addedCount += added;
    return true;
}
