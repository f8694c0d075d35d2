#include "VXCSVFormat.h"
#include "VXFileExporter.h"
#include "VXObjectValues.h"
#include "VXPhonebookRecord.h"
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

bool asksForContact(const QString &column)
{
    return column == "who"_L1 || column.section(u'.', 0, 0) == "contact"_L1;
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
    static std::optional<QStringList> readHeader(VXExportFile &file, VXCSVFormat *format);
    bool joinColumns(const QVariantList &objects, VXExportFile &file, VXCSVFormat *format, QStringList *columns,
                     QString *reason) const;
};

bool CSVExporterPlugin::writeObjects(const QVariantList &exported, const QVariantMap &options, VXExportFile &file,
                                     QString *reason)
{
    VXCSVFormat format;
    QStringList columns = VXListOption(options, u"columns"_s);
    if (*reason = problemOfColumns(columns, exported); !reason->isNull() || !readFormat(options, &format, reason))
        return false;
    QVariantList objects = VXRecordsOfObjects(exported);
    if (columns.isEmpty())
        columns = keysOf(objects);
    QByteArray line;
    if (file.oldSize() > 0) {
        const bool hasLineEnd = file.oldBytes(file.oldSize() - 1, 1) == "\n";
        if (!joinColumns(objects, file, &format, &columns, reason))
            return false;
        if (!hasLineEnd)
            line = format.lineEnd;
    } else {
        if (columns.isEmpty()) // the header is left for objects that have values
            return true;
        for (const QString &column : std::as_const(columns)) {
            format.appendField(line, column);
            line.append(format.separator);
        }
        line.chop(1);
        line.append(format.lineEnd);
    }

    if (std::ranges::any_of(columns, asksForContact)) // records that are not stored do not know it
        std::ranges::transform(objects, objects.begin(), VXObjectWithContact);
    VXColumnReader reader(columns);
    for (const QVariant &object : objects) {
        reader.read(object, [&](qsizetype column, const QVariant &value) {
            if (column > 0)
                line.append(format.separator);
            format.appendField(line, value);
        });
        line.append(format.lineEnd);
        if (!file.write(line))
            return true;  // reported on commit
        line.truncate(0); // keeps the memory
    }
    file.write(line);
    return true;
}

// If all objects are stored, it is known which values there can be.
QString CSVExporterPlugin::problemOfColumns(const QStringList &columns, const QVariantList &objects) const
{
    for (const QString &column : columns) {
        const QString key = column.section(u'.', 0, 0);
        const bool isUnknown = !objects.isEmpty() && std::ranges::all_of(objects, [&](const QVariant &object) {
            const VXManagedObject *const managed = VXManagedObjectIn(object);
            return managed != nullptr && managed->entity().propertyForName(key) == nullptr &&
                   !(dynamic_cast<const VXRecordObject *>(managed) != nullptr && VXRecordObject::isFurtherKey(key));
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
    if (separator.size() != 1 || !VXCSVFormat::separators.contains(separator.front().toLatin1())) {
        *reason = localizedString(u"The separator must be a comma, a semicolon, a tab or a vertical bar."_s);
        return false;
    }
    format->separator = separator.front().toLatin1();
    return true;
}

// The first line of the file, and its separator, which the line shows; none if the line does not end.
std::optional<QStringList> CSVExporterPlugin::readHeader(VXExportFile &file, VXCSVFormat *format)
{
    for (const qint64 length : {usualHeader, longestHeader}) {
        QByteArray start = file.oldBytes(0, length);
        if (file.oldSize() <= length)
            start.append('\n');
        format->lineEnd = VXCSVFormat::lineEndOf(start);
        if (const std::optional<QStringList> header = format->header(start))
            return header;
    }
    return std::nullopt;
}

// The existing content of the file determines separator and order, since its lines would no longer match otherwise;
// missing columns are added to it.
bool CSVExporterPlugin::joinColumns(const QVariantList &objects, VXExportFile &file, VXCSVFormat *format,
                                    QStringList *columns, QString *reason) const
{
    const std::optional<QStringList> asked = readHeader(file, format);
    if (!asked) {
        *reason = localizedString(u"The file does not begin with a line of column names."_s);
        return false;
    }
    std::optional<QStringList> header = asked;
    const char askedSeparator = format->separator;
    for (const char separator : VXCSVFormat::separators) {
        if (objects.isEmpty() || (header && hasAnyOf(*header, objects)))
            break;
        format->separator = separator;
        header = readHeader(file, format);
    }
    if (!header || (!objects.isEmpty() && !hasAnyOf(*header, objects))) {
        *reason = localizedString(u"None of the file's columns (%1) is a value of what is exported."_s)
                      .arg(asked->join(", "_L1));
        return false;
    }
    if (header->size() == 1) // in that case nothing shows the separator
        format->separator = askedSeparator;
    columns->removeIf([&](const QString &column) { // or if parts of it are there
        return std::ranges::any_of(
            *header, [&](const QString &known) { return known == column || known.startsWith(column + u'.'); });
    });
    if (!columns->isEmpty()) {
        const QByteArray wide = format->widened(file.oldBytes(0, file.oldSize()), *columns);
        file.writeFrom(0);
        file.write(wide); // a failure is reported on commit
    }
    *columns = *header + *columns;
    return true;
}

VX_PRINCIPAL_CLASS(CSVExporterPlugin)

#include "CSVExporterPlugin.moc"
