#include "VXCallImport.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXRegularFile.h"
#include "VXStoreWorkLock.h"
#include "VXTableFile.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype portion = 1000; // calls per save

// Parses seconds, or "1:30" and "0:01:30" as written by spreadsheets. None for what is no duration.
std::optional<double> secondsIn(const QString &text)
{
    const QStringList parts = text.split(u':');
    double seconds = 0;
    for (const QString &part : parts) {
        bool isNumber = false;
        const double number = part.toDouble(&isNumber);
        if (!isNumber || !std::isfinite(number) || number < 0)
            return std::nullopt;
        seconds = seconds * 60 + number;
    }
    return parts.size() <= 3 ? std::optional(seconds) : std::nullopt;
}

// The keys of records that the columns name, ignoring case.
QStringList keysOf(const QStringList &columns)
{
    static const QStringList known{u"date"_s,     u"from"_s,          u"to"_s,         u"direction"_s,
                                   u"duration"_s, u"connectedDate"_s, u"device_url"_s, u"call_id"_s};
    QStringList keys = columns;
    for (QString &key : keys) {
        const auto same = std::ranges::find_if(
            known, [&](const QString &each) { return each.compare(key.trimmed(), Qt::CaseInsensitive) == 0; });
        key = same == known.cend() ? key : *same;
    }
    return keys;
}

bool fail(const QString &text, VXError *error)
{
    VXSetError(error, VXMakeError(text));
    return false;
}

} // namespace

// A value that does not fit its column is reported, and the rest of the row is used.
VXCallRecord VXCallImport::recordOf(const QStringList &columns, const QStringList &row, qsizetype line)
{
    QVariantMap map;
    for (qsizetype column = 0; column < qMin(columns.size(), row.size()); ++column) {
        if (!row[column].isEmpty())
            map.insert(columns[column], row[column]);
    }
    if (const QString text = map.value(u"duration"_s).toString(); !text.isEmpty()) {
        const std::optional<double> seconds = secondsIn(text);
        map.insert(u"duration"_s, seconds ? QVariant(*seconds) : QVariant());
        if (!seconds)
            _problems.append(u"line %1: the duration \"%2\" is no number of seconds"_s.arg(line).arg(text));
    }
    if (bool isNumber = false; map.contains(u"direction"_s)) {
        const int direction = map.value(u"direction"_s).toString().toInt(&isNumber);
        if (isNumber)
            map.insert(u"direction"_s, direction);
    }
    return VXCallRecord(map);
}

bool VXCallImport::run(const QString &path, VXError *error)
{
    QFile file(path);
    QString reason;
    if (!VXRegularFile::open(file, &reason))
        return fail(VXLocalizedString(u"%1 cannot be read: %2"_s).arg(path, reason), error);
    return run(file, path, error);
}

bool VXCallImport::run(QFile &file, const QString &name, VXError *error)
{
    VXTableFile table(file.readAll());
    if (file.error() != QFile::NoError)
        return fail(VXLocalizedString(u"%1 cannot be read: %2"_s).arg(name, file.errorString()), error);
    const QStringList columns = keysOf(table.next());
    if (!columns.contains(u"date"_s) || !(columns.contains(u"from"_s) || columns.contains(u"to"_s)))
        return fail(
            VXLocalizedString(u"The first line of %1 does not name the columns \"date\" and \"from\" or \"to\"."_s)
                .arg(name),
            error);
    QList<VXCallRecord> records;
    while (!table.isAtEnd()) {
        const qsizetype line = table.line();
        const QStringList row = table.next();
        if (row == QStringList{QString()})
            continue; // for an empty line
        const VXCallRecord record = recordOf(columns, row, line);
        if (!table.isWhole())
            _problems.append(u"line %1: a quotation mark has no end"_s.arg(line));
        else if (!record.date.isValid())
            _problems.append(u"line %1: no date of the form 2026-01-31T12:00:00"_s.arg(line));
        else if (record.otherParty().isEmpty() && !columns.contains(u"direction"_s))
            _problems.append(u"line %1: neither from nor to anybody"_s.arg(line));
        else
            records.append(record);
        if (records.size() >= portion && !add(std::exchange(records, {}), error))
            return false;
    }
    return add(records, error);
}

// Others note calls too, and sync lists of phones.
bool VXCallImport::add(const QList<VXCallRecord> &records, VXError *error)
{
    const VXStoreWorkLock saving(*_store.coordinator(), VXStoreWorkLock::savingName);
    if (!saving.isHeld(error))
        return false;
    VXManagedObjectContext context(_store.coordinator());
    qsizetype added = 0;
    for (const VXCallRecord &record : records) {
        const std::optional<VXManagedObjectPtr> same = _store.find(record, context, error);
        if (!same)
            return false;
        // Two short calls may be close to each other in one table: of those added from the table, only an identical one
        // counts as the same.
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
