#include "VXCalendarEntry.h"
#include "VXFileExporter.h"
#include "VXFramework.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

namespace {

constexpr QByteArrayView lastLine = "END:VCALENDAR";
constexpr qint64 longestEnd = 64 * 1024; // bytes that are looked at

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
        if (file.oldSize() == 0) {
            file.write(calendarStart());
        } else if (!goToEndOfEntries(file)) {
            *reason = localizedString(u"The file is no calendar, or its end is missing."_s);
            return false;
        }
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const VXCalendarEntry::Translate translate = [this](const QString &key) { return localizedString(key); };
        for (const QVariant &object : objects) {
            if (!file.write(VXCalendarEntry(object, now, translate).bytes()))
                break; // told when it is committed
        }
        file.write(lastLine);
        file.write("\r\n");
        return true;
    }

private:
    // New entries take the place of the calendar's last line. When that is missing because a program was killed while it wrote,
    // they follow the last whole entry.
    static bool goToEndOfEntries(VXExportFile &file)
    {
        if (!file.oldBytes(0, 15).toUpper().startsWith("BEGIN:VCALENDAR"))
            return false;
        const qint64 start = qMax<qint64>(0, file.oldSize() - longestEnd);
        const QByteArray end = file.oldBytes(start, longestEnd);
        const QByteArray trimmed = end.trimmed();
        qsizetype offset = -1;
        if (trimmed.toUpper().endsWith(lastLine)) {
            offset = end.toUpper().lastIndexOf(lastLine);
        } else if (const qsizetype entry = end.toUpper().lastIndexOf("\nEND:VEVENT"); entry >= 0) {
            offset = end.indexOf('\n', entry + 1) + 1;
        }
        if (offset <= 0)
            return false;
        file.writeFrom(start + offset);
        return true;
    }
};

VX_PRINCIPAL_CLASS(ICalendarExporterPlugin)

#include "ICalendarExporterPlugin.moc"
