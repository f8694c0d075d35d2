#include "VXCSVFormat.h"
#include "VXFileExporter.h"
#include "VXObjectValues.h"
#include "VXPluginOptions.h"
#include "VXPrincipalClass.h"

#include <QtCore/QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 usualHeader = 4096; // bytes
constexpr qint64 longestHeader = 1024 * 1024;

// The keys of all objects, each where it first appears.
QStringList keysOf(const QVariantList &objects)
{
    QStringList keys;
    QSet<QString> known;
    const VXEntityDescription *entity = nullptr;
    for (const QVariant &object : objects) {
        const VXManagedObject *const managed = VXManagedObjectIn(object);
        if (managed != nullptr && std::exchange(entity, &managed->entity()) == &managed->entity())
            continue;
        for (const QString &key : VXKeysOfObject(object)) {
            if (known.contains(key))
                continue;
            known.insert(key);
            keys.append(key);
        }
    }
    return keys;
}

bool hasAnyOf(const QStringList &columns, const QVariantList &objects)
{
    const QStringList keys = keysOf(objects);
    return std::any_of(columns.cbegin(), columns.cend(), [&](const QString &column) {
        return keys.contains(column) || VXValueForKeyPath(objects.first(), column).isValid();
    });
}

} // namespace

/** Writes objects as lines of comma-separated values, for spreadsheets. */
class CSVExporterPlugin : public VXFileExporter
{
    Q_OBJECT

public:
    Q_INVOKABLE CSVExporterPlugin() = default;

protected:
    bool writeObjects(const QVariantList &objects, const QVariantMap &options, VXExportFile &file,
                      QString *reason) override;

    VXReactorOptions furtherOptions() const override
    {
        using Type = VXReactorOption::Type;
        return describedOptions({{.key = u"columns"_s,
                                  .type = Type::List,
                                  .meaning = u"The values to write, in that order; without it, all."_s},
                                 {.key = u"separator"_s,
                                  .meaning = u"What stands between the columns."_s,
                                  .choices = {u","_s, u";"_s, u"\t"_s, u"|"_s},
                                  .standard = u","_s},
                                 {.key = u"neutraliseFormulas"_s,
                                  .type = Type::Boolean,
                                  .meaning = u"Whether to keep spreadsheet programs from taking texts for formulas."_s},
                                 {.key = u"utc"_s,
                                  .type = Type::Boolean,
                                  .meaning = u"Whether to write dates in UTC instead of local time."_s,
                                  .standard = false}});
    }

private:
    QString problemOfColumns(const QStringList &columns, const QVariantList &objects) const;
    bool readFormat(const QVariantMap &options, VXCSVFormat *format, QString *reason) const;
    bool readColumns(const QVariantList &objects, VXExportFile &file, VXCSVFormat *format, QStringList *columns,
                     QString *reason) const;
};

bool CSVExporterPlugin::writeObjects(const QVariantList &objects, const QVariantMap &options, VXExportFile &file,
                                     QString *reason)
{
    VXCSVFormat format;
    QStringList columns = VXListOption(options, u"columns"_s);
    if (!readFormat(options, &format, reason))
        return false;
    QByteArray line;
    if (file.oldSize() > 0) {
        if (!readColumns(objects, file, &format, &columns, reason))
            return false;
        if (file.oldBytes(file.oldSize() - 1, 1) != "\n")
            line = format.lineEnd;
    } else {
        if (*reason = problemOfColumns(columns, objects); !reason->isNull())
            return false;
        if (columns.isEmpty())
            columns = keysOf(objects);
        if (columns.isEmpty()) // the header is left to objects that have values
            return true;
        for (const QString &column : std::as_const(columns)) {
            format.appendField(line, column);
            line.append(format.separator);
        }
        line.chop(1);
        line.append(format.lineEnd);
    }

    VXColumnReader reader(columns);
    for (const QVariant &object : objects) {
        reader.read(object, [&](qsizetype column, const QVariant &value) {
            if (column > 0)
                line.append(format.separator);
            format.appendField(line, value);
        });
        line.append(format.lineEnd);
        if (!file.write(line))
            return true;  // told when it is committed
        line.truncate(0); // keeps the memory
    }
    file.write(line);
    return true;
}

// Of what all stored objects have it is known which values there can be.
QString CSVExporterPlugin::problemOfColumns(const QStringList &columns, const QVariantList &objects) const
{
    for (const QString &column : columns) {
        const QString key = column.section(u'.', 0, 0);
        const bool isUnknown = !objects.isEmpty() && std::ranges::all_of(objects, [&](const QVariant &object) {
            const VXManagedObject *const managed = VXManagedObjectIn(object);
            return managed != nullptr && managed->entity().propertyForName(key) == nullptr;
        });
        if (isUnknown)
            return localizedString(u"What is exported has no value \"%1\"."_s).arg(column);
    }
    return {};
}

bool CSVExporterPlugin::readFormat(const QVariantMap &options, VXCSVFormat *format, QString *reason) const
{
    format->neutralisesFormulas = VXBooleanOption(options, u"neutraliseFormulas"_s, true);
    format->writesUTC = VXBooleanOption(options, u"utc"_s, false);
    const QString separator = options.value(u"separator"_s, u","_s).toString();
    if (separator.size() != 1 || !u",;\t|"_s.contains(separator)) {
        *reason = localizedString(u"The separator must be a comma, a semicolon, a tab or a vertical bar."_s);
        return false;
    }
    format->separator = separator.front().toLatin1();
    return true;
}

// What is in the file already decides, or its lines would no longer go together.
bool CSVExporterPlugin::readColumns(const QVariantList &objects, VXExportFile &file, VXCSVFormat *format,
                                    QStringList *columns, QString *reason) const
{
    QByteArray start;
    std::optional<QStringList> header;
    for (const qint64 length : {usualHeader, longestHeader}) {
        start = file.oldBytes(0, length);
        if (file.oldSize() <= length)
            start.append('\n');
        header = format->header(start);
        if (header)
            break;
    }
    if (!header) {
        *reason = localizedString(u"The file does not begin with a line of column names."_s);
        return false;
    }
    if (!objects.isEmpty() && !hasAnyOf(*header, objects)) {
        *reason = localizedString(u"None of the file's columns (%1) is a value of what is exported."_s)
                      .arg(header->join(", "_L1));
        return false;
    }
    *columns = *header;
    format->lineEnd = VXCSVFormat::lineEndOf(start);
    return true;
}

VX_PRINCIPAL_CLASS(CSVExporterPlugin)

#include "CSVExporterPlugin.moc"
