#include "VXStoreImport.h"

#include "VXHostJSON.h"
#include "VXManagedObjectContext.h"
#include "VXNearestWord.h"
#include "VXObjectColumns.h"
#include "VXObjectJSON.h"
#include "VXRegularFile.h"

#include <QtCore/QFile>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

/** Parses comma-separated values, record by record. */
class TableReader
{
public:
    explicit TableReader(const QString &text) : _text(text.startsWith(QChar::ByteOrderMark) ? text.sliced(1) : text) {}

    /** The line in which the last record began, from 1. */
    int line() const { return _recordLine; }
    bool isDamaged() const { return _isDamaged; }

    /** None at the end, and if a quoted value does not end. */
    std::optional<QStringList> next()
    {
        if (_at >= _text.size())
            return std::nullopt;
        _recordLine = _line;
        QStringList record;
        while (true) {
            record.append(value());
            if (_isDamaged)
                return std::nullopt;
            if (_at < _text.size() && _text[_at] == u',') {
                ++_at;
                continue;
            }
            endLine();
            return record;
        }
    }

private:
    QString value()
    {
        if (_at < _text.size() && _text[_at] == u'"')
            return quotedValue();
        const qsizetype start = _at;
        while (_at < _text.size() && _text[_at] != u',' && _text[_at] != u'\n' && _text[_at] != u'\r')
            ++_at;
        return _text.sliced(start, _at - start);
    }
    QString quotedValue()
    {
        QString value;
        for (++_at; _at < _text.size(); ++_at) {
            if (_text[_at] == u'"') {
                ++_at;
                if (_at >= _text.size() || _text[_at] != u'"')
                    return value;
            }
            if (_text[_at] == u'\n')
                ++_line;
            value += _text[_at];
        }
        _isDamaged = true;
        return value;
    }
    void endLine()
    {
        if (_at < _text.size() && _text[_at] == u'\r')
            ++_at;
        if (_at < _text.size() && _text[_at] == u'\n')
            ++_at;
        ++_line;
    }

    const QString _text;
    qsizetype _at = 0;
    int _line = 1;
    int _recordLine = 1;
    bool _isDamaged = false;
};

// The meaning of a cell: text as it is; anything else as JSON, if it is valid JSON.
QJsonValue valueOfCell(const VXPropertyDescription &property, const QString &cell)
{
    if (cell.isEmpty())
        return {};
    const VXAttributeDescription *const attribute = property.asAttribute();
    const bool isText = attribute == nullptr || attribute->type() == VXAttributeType::String;
    const std::optional<QJsonValue> json = isText ? std::nullopt : VXJSONFromText(cell.toUtf8());
    return json ? *json : QJsonValue(cell);
}

QString importTable(VXManagedObjectContext &context, const VXEntityDescription &entity, const QString &text,
                    qsizetype *count)
{
    TableReader reader(text);
    const QStringList names = reader.next().value_or(QStringList());
    if (names.isEmpty())
        return u"1: the line that names the attributes is missing"_s;
    QList<const VXPropertyDescription *> columns;
    for (const QString &name : names) {
        columns.append(entity.propertyForName(name));
        if (columns.last() == nullptr)
            return u"1: entity %1 has no \"%2\""_s.arg(entity.name(), name) +
                   (name.contains(u';') || name.contains(u'\t') ? u"; commas separate the columns"_s
                                                                : VXDidYouMean(name, VXNamesOfProperties(entity)));
    }
    while (const std::optional<QStringList> record = reader.next()) {
        if (record->size() != columns.size())
            return u"%1: there are %2 values for %3 columns"_s.arg(reader.line())
                .arg(record->size())
                .arg(columns.size());
        QJsonObject values;
        for (qsizetype i = 0; i < columns.size(); ++i)
            values.insert(names[i], valueOfCell(*columns[i], record->at(i)));
        if (const QString problem = VXSetObjectFromJSON(context, *context.insertNewObject(entity), values);
            !problem.isNull())
            return u"%1: %2"_s.arg(reader.line()).arg(problem);
        ++*count;
    }
    return reader.isDamaged() ? u"%1: a quoted value has no end"_s.arg(reader.line()) : QString();
}

QString importLines(VXManagedObjectContext &context, const VXEntityDescription &entity, QFile &file, qsizetype *count)
{
    for (int line = 1; !file.atEnd(); ++line) {
        const QByteArray text = file.readLine().trimmed();
        if (text.isEmpty())
            continue;
        QString problem;
        const std::optional<QJsonValue> value = VXJSONFromText(text, &problem);
        if (value && !value->isObject())
            problem = u"that is no JSON object"_s;
        if (problem.isNull()) {
            QJsonObject values = value->toObject();
            values.remove(u"uri"_s);
            values.remove(u"entity"_s);
            problem = VXSetObjectFromJSON(context, *context.insertNewObject(entity), values);
        }
        if (!problem.isNull())
            return u"%1: %2"_s.arg(line).arg(problem);
        ++*count;
    }
    return file.error() == QFile::NoError ? QString() : file.errorString();
}

} // namespace

QString VXImportObjects(VXManagedObjectContext &context, const VXEntityDescription &entity, const QString &path,
                        qsizetype *count)
{
    *count = 0;
    const bool isTable = path.endsWith(".csv"_L1, Qt::CaseInsensitive);
    if (!isTable && !path.endsWith(".jsonl"_L1, Qt::CaseInsensitive))
        return u"%1: the name must end in .csv or .jsonl, to tell what it is"_s.arg(path);
    QFile file(path);
    if (QString reason; !VXRegularFile::open(file, &reason))
        return u"%1: %2"_s.arg(path, reason);
    const QString problem = isTable ? importTable(context, entity, QString::fromUtf8(file.readAll()), count)
                                    : importLines(context, entity, file, count);
    return problem.isNull() ? QString() : u"%1:%2"_s.arg(path, problem);
}
