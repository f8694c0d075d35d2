#include "VXSQLiteUnfit.h"

#include <limits>

using namespace Qt::StringLiterals;

namespace {

// SQLite sorts numbers before texts, and texts before data; a comparison is much cheaper than typeof().
QString isNoWholeNumber(const QString &column)
{
    return u"%1 >= '' OR %1 <> CAST(%1 AS INTEGER)"_s.arg(column);
}

QString isOutside(const QString &column, qint64 lowest, qint64 highest)
{
    return u"%1 NOT BETWEEN %2 AND %3 OR %1 <> CAST(%1 AS INTEGER)"_s.arg(column).arg(lowest).arg(highest);
}

} // namespace

QString VXSQLiteUnfit(VXAttributeType type, const QString &column)
{
    switch (type) {
    case VXAttributeType::Integer16:
        return isOutside(column, std::numeric_limits<qint16>::min(), std::numeric_limits<qint16>::max());
    case VXAttributeType::Integer32:
        return isOutside(column, std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max());
    case VXAttributeType::Boolean:
        return isOutside(column, 0, 1);
    case VXAttributeType::Integer64:
    case VXAttributeType::Date:
        return isNoWholeNumber(column);
    case VXAttributeType::Double: // NaN is stored as data
        return u"%1 >= '' AND %1 <> X'4E614E'"_s.arg(column);
    case VXAttributeType::String:
        return u"%1 < '' OR %1 >= X''"_s.arg(column);
    case VXAttributeType::Binary:
    case VXAttributeType::PropertyList:
        break;
    }
    return u"%1 < X''"_s.arg(column);
}
