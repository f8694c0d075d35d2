#include "VXObjectTable.h"

#include "VXErrorText.h"
#include "VXHostJSON.h"
#include "VXHostOutput.h"
#include "VXManagedObjectContext.h"
#include "VXObjectColumns.h"
#include "VXObjectJSON.h"
#include "VXObjectNames.h"
#include "VXTextTable.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/** Holds the rows of a table back until there are enough to align them, and to see which columns fit. */
class TableWriter
{
public:
    TableWriter(VXHostOutput &output, const VXObjectColumns &columns, bool leavesOut)
        : _output(output), _columns(columns), _mustFit(leavesOut)
    {
        _rows.append({u"OBJECT"_s});
        for (const VXPropertyDescription *const column : columns)
            _rows.first().append(column->name());
    }

    void add(const VXManagedObject &object)
    {
        QStringList row{VXShortNameOfObject(object)};
        for (const VXPropertyDescription *const column : std::as_const(_columns))
            row.append(VXCellOfObject(object, *column));
        _rows.append(row);
    }
    void writePiece()
    {
        if (_mustFit)
            fit();
        _mustFit = false;
        for (const QString &line : VXTextTable(_rows, &_widths).split(u'\n', Qt::SkipEmptyParts))
            _output.writePart(line.toUtf8());
        _rows.clear();
    }

private:
    // Columns without values are dropped first, then the last ones; they are named.
    void fit()
    {
        const qsizetype room = _output.width();
        const VXObjectColumns all = _columns;
        for (const bool onlyEmpty : {true, false}) {
            for (qsizetype i = _columns.size(); i > 0 && VXWidthOfTable(_rows) > room; --i) {
                if (!onlyEmpty || isEmpty(i))
                    take(i);
            }
        }
        QStringList gone;
        for (const VXPropertyDescription *const column : all) {
            if (!_columns.contains(column))
                gone.append(column->name());
        }
        if (!gone.isEmpty())
            _output.note(u"Left out for lack of room: %1. --columns names what to show."_s.arg(gone.join(", "_L1)));
    }
    bool isEmpty(qsizetype column) const
    {
        return std::all_of(_rows.cbegin() + 1, _rows.cend(),
                           [column](const QStringList &row) { return row[column] == "-"_L1; });
    }
    void take(qsizetype column)
    {
        for (QStringList &row : _rows)
            row.removeAt(column);
        _columns.removeAt(column - 1);
    }

    VXHostOutput &_output;
    VXObjectColumns _columns;
    bool _mustFit;
    QList<QStringList> _rows;
    QList<qsizetype> _widths;
};

} // namespace

QString VXObjectTable::write(VXHostOutput &output) const
{
    output.beginParts();
    if (result.isEmpty() && !output.isJSON())
        output.writePart("There are no such objects.");
    TableWriter table(output, columns, leavesOut);
    for (qsizetype index = 0; index < result.size(); ++index) {
        const VXManagedObjectPtr object = result.at(index);
        VXError error;
        if (object->isFault() && !context.existingObjectWithID(object->objectID(), &error)) {
            if (error)
                return VXErrorText(error);
        } else if (output.isJSON()) {
            output.writePart(VXJSONText(VXJSONFromObject(*object, withRelatedURIs)));
        } else {
            table.add(*object);
        }
        const bool isLast = index + 1 == result.size();
        if (!isLast && (index + 1) % batchSize != 0)
            continue;
        if (!output.isJSON())
            table.writePiece();
        if (!output.flush())
            break; // nobody is reading it any more
    }
    return {};
}
