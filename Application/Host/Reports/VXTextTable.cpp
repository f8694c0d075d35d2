#include "VXTextTable.h"

#include "VXHostOutput.h"
#include "VXShownWidth.h"

#include <algorithm>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

QString printable(QString cell)
{
    std::replace_if(
        cell.begin(), cell.end(), [](QChar character) { return character.category() == QChar::Other_Control; }, u' ');
    return cell;
}

void widen(QList<qsizetype> &widths, const QList<QStringList> &rows)
{
    for (const QStringList &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], VXShownWidth(row[column]));
    }
}

constexpr qsizetype leastReadable = 20; // characters of an elastic column

qsizetype widthOf(const QList<QStringList> &rows, qsizetype column)
{
    qsizetype width = 0;
    for (const QStringList &row : rows)
        width = std::max(width, VXShownWidth(row.value(column)));
    return width;
}

// By how much the elastic column can become narrower.
qsizetype slackOf(const QList<QStringList> &rows, const QString &elastic)
{
    const qsizetype column = rows.first().indexOf(elastic);
    return column < 0 ? 0 : std::max<qsizetype>(widthOf(rows, column) - leastReadable, 0);
}

void shorten(QList<QStringList> &rows, const QString &elastic, qsizetype excess)
{
    const qsizetype column = rows.first().indexOf(elastic);
    if (column < 0 || excess <= 0)
        return;
    const qsizetype width = std::max(widthOf(rows, column) - excess, leastReadable);
    for (QStringList &row : rows)
        row[column] = VXCutToWidth(row[column], width);
}

} // namespace

QString VXTextTable(const QList<QStringList> &rows, QList<qsizetype> *kept)
{
    QList<qsizetype> own;
    QList<qsizetype> &widths = kept == nullptr ? own : *kept;
    widen(widths, rows);
    QString text;
    for (const QStringList &row : rows) {
        QString line;
        for (qsizetype column = 0; column < row.size(); ++column)
            line += printable(row[column]) + QString(widths[column] + 2 - VXShownWidth(row[column]), u' ');
        while (line.endsWith(u' '))
            line.chop(1);
        text += line + u'\n';
    }
    return text;
}

qsizetype VXWidthOfTable(const QList<QStringList> &rows)
{
    QList<qsizetype> widths;
    widen(widths, rows);
    return std::accumulate(widths.cbegin(), widths.cend(), 2 * std::max<qsizetype>(widths.size() - 1, 0));
}

QString VXFittingTable(VXHostOutput &output, QList<QStringList> rows, const QStringList &dispensable,
                       const QString &elastic)
{
    QStringList gone;
    for (const QString &title : dispensable) {
        const qsizetype column = rows.first().indexOf(title);
        if (VXWidthOfTable(rows) - slackOf(rows, elastic) <= output.width())
            break;
        if (column < 0)
            continue;
        for (QStringList &row : rows)
            row.removeAt(column);
        gone.append(title);
    }
    shorten(rows, elastic, VXWidthOfTable(rows) - output.width());
    if (!gone.isEmpty() && !output.isJSON())
        output.note(u"For want of room without: %1. --json has everything."_s.arg(gone.join(", "_L1)));
    return VXTextTable(rows);
}
