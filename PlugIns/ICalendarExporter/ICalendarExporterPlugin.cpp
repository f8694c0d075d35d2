#include "VXCalendarEntry.h"
#include "VXCalendarText.h"
#include "VXFileExporter.h"
#include "VXFramework.h"
#include "VXPrincipalClass.h"

#include <QtCore/QHash>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr QByteArrayView lastLine = "END:VCALENDAR";

QByteArray calendarStart()
{
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Vornix//Vornix " + VXFrameworkVersion().toUtf8() +
           "//EN\r\nCALSCALE:GREGORIAN\r\n";
}

} // namespace

/** Writes calls and messages as the entries of a calendar. */
class ICalendarExporterPlugin : public VXFileExporter
{
    Q_OBJECT

public:
    Q_INVOKABLE ICalendarExporterPlugin() = default;

protected:
    bool writeObjects(const QVariantList &objects, const QVariantMap &, VXExportFile &file, QString *reason) override
    {
        if (objects.isEmpty() && file.oldSize() == 0) {
            *reason = localizedString(u"A calendar must have an entry, and there is nothing to export."_s);
            return false;
        }
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const VXCalendarEntry::Translate translate = [this](const QString &key) { return localizedString(key); };
        QHash<QByteArray, qsizetype> places; // by identifier: if it is there twice, the last one counts
        QByteArrayList entries;
        for (const QVariant &object : objects) {
            const VXCalendarEntry entry(object, now, translate);
            if (!entry.isKnown()) {
                *reason = localizedString(u"One of the objects is neither a call nor a message."_s);
                return false;
            }
            const QByteArray identifier = entry.identifier();
            if (places.contains(identifier))
                entries[places.value(identifier)] = entry.bytes(identifier);
            else
                entries.append(entry.bytes(identifier));
            places.insert(identifier, places.value(identifier, entries.size() - 1));
        }
        if (file.oldSize() == 0) {
            file.write(calendarStart());
        } else if (!goToEndOfEntries(file, places)) {
            *reason = localizedString(u"The file is no calendar, or its end is missing."_s);
            return false;
        }
        for (const QByteArray &entry : std::as_const(entries)) {
            if (!file.write(entry))
                break; // reported on commit
        }
        file.write(lastLine);
        file.write("\r\n");
        return true;
    }

private:
    // New entries replace the calendar's last line. If that is missing, they follow the last complete entry. Entries
    // that have new versions are removed.
    static bool goToEndOfEntries(VXExportFile &file, const QHash<QByteArray, qsizetype> &replaced)
    {
        const QByteArray old = file.oldBytes(0, file.oldSize());
        const VXCalendarText calendar(old);
        if (calendar.endOfEntries() <= 0)
            return false;
        qsizetype done = -1; // end of the old bytes that have been written again
        for (const VXCalendarText::Entry &entry : calendar.entries()) {
            if (!replaced.contains(entry.identifier))
                continue;
            if (done < 0)
                file.writeFrom(entry.start);
            else
                file.write(QByteArrayView(old).sliced(done, entry.start - done));
            done = entry.end;
        }
        if (done < 0)
            file.writeFrom(calendar.endOfEntries());
        else
            file.write(QByteArrayView(old).sliced(done, calendar.endOfEntries() - done));
        return true;
    }
};

VX_PRINCIPAL_CLASS(ICalendarExporterPlugin)

#include "ICalendarExporterPlugin.moc"
