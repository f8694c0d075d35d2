#include "VXStoreListing.h"

#include "VXHostJSON.h"
#include "VXHostOutput.h"
#include "VXManagedObjectContext.h"
#include "VXStoreAccess.h"
#include "VXStoreObjects.h"
#include "VXTextTable.h"

using namespace Qt::StringLiterals;

namespace {

/** Keeps the rows of a table back until they are many enough to be aligned. */
class TableWriter
{
public:
    TableWriter(VXHostOutput &output, const QStringList &titles) : _output(output), _rows{titles} {}

    void add(const QStringList &row) { _rows.append(row); }
    void writePiece()
    {
        for (const QString &line : VXTextTable(_rows, &_widths).split(u'\n', Qt::SkipEmptyParts))
            _output.writePart(line.toUtf8());
        _rows.clear();
    }

private:
    VXHostOutput &_output;
    QList<QStringList> _rows;
    QList<qsizetype> _widths;
};

} // namespace

QString VXStoreListing::write(VXHostOutput &output) const
{
    output.beginParts();
    if (result.isEmpty() && !output.isJSON())
        output.writePart("There are no such objects.");
    TableWriter table(output, VXColumnTitles(entity));
    for (qsizetype index = 0; index < result.size(); ++index) {
        const VXManagedObjectPtr object = result.at(index);
        VXError error;
        if (object->isFault() && !context.existingObjectWithID(object->objectID(), &error)) {
            if (error)
                return VXErrorText(error);
        } else if (output.isJSON()) {
            output.writePart(VXJSONText(VXJSONFromObject(*object, withRelatedURIs)));
        } else {
            table.add(VXColumnsFromObject(*object, entity));
        }
        const bool isLast = index + 1 == result.size();
        if (!isLast && (index + 1) % batchSize != 0)
            continue;
        if (!output.isJSON())
            table.writePiece();
        if (!output.flush())
            break; // nobody reads it any more
    }
    return {};
}
