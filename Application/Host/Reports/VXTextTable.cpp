#include "VXTextTable.h"

#include "VXHostOutput.h"
#include "VXShownText.h"
#include "VXShownWidth.h"
#include "VXWrappedText.h"

#include <algorithm>
#include <numeric>
#include <utility>

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

// Whether a table begins with the titles of its columns, which are in capitals.
bool hasTitles(const QList<QStringList> &rows)
{
    return !rows.isEmpty() && std::ranges::all_of(rows.first(), [](const QString &cell) {
        return !cell.isEmpty() && cell == cell.toUpper();
    });
}

// Translates the titles, and the cells of columns that contain our words.
void translate(QList<QStringList> &rows)
{
    static const QStringList ofWords{u"STATE"_s, u"KIND"_s, u"CALL"_s, u"DEFAULT"_s, u"TYPE"_s, u"EVENTS"_s};
    for (qsizetype column = 0; column < rows.first().size(); ++column) {
        const bool areWords = ofWords.contains(rows.first()[column]);
        for (qsizetype row = 0; row < (areWords ? rows.size() : 1); ++row)
            rows[row][column] = VXShownWords(rows[row][column]);
    }
}

QString aligned(const QList<QStringList> &rows, QList<qsizetype> &widths)
{
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

constexpr qsizetype leastReadable = 20; // characters of an elastic column

qsizetype widthOf(const QList<QStringList> &rows, qsizetype column)
{
    qsizetype width = 0;
    for (const QStringList &row : rows)
        width = std::max(width, VXShownWidth(row.value(column)));
    return width;
}

// The amount by which the elastic column can be narrowed.
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

QString VXTextTable(QList<QStringList> rows, QList<qsizetype> *kept)
{
    QList<qsizetype> own;
    if (hasTitles(rows))
        translate(rows);
    return aligned(rows, kept == nullptr ? own : *kept);
}

QString VXTitledTable(QList<QStringList> rows)
{
    static const QStringList ofWords{u"State"_s, u"Kind"_s, u"Enabled"_s, u"Built in"_s, u"Default"_s, u"Chosen"_s};
    for (QStringList &row : rows) {
        if (ofWords.contains(row.first()))
            row.last() = VXShownWords(row.last());
        row.first() = VXShownText(row.first());
    }
    return VXTextTable(rows);
}

QString VXWrappedTable(const VXHostOutput &output, QList<QStringList> rows)
{
    if (hasTitles(rows))
        translate(rows);
    QList<qsizetype> widths;
    widen(widths, rows);
    const qsizetype indent = std::accumulate(widths.cbegin(), std::prev(widths.cend()), 2 * (widths.size() - 1));
    const qsizetype width = std::max(output.width(), indent + leastReadable);
    QString text;
    for (QStringList &row : rows) {
        const QStringList lines = VXWrappedText(printable(row.last()), width, indent, indent).split(u'\n');
        row.last() = lines.first();
        text += aligned({row}, widths);
        for (const QString &line : lines.sliced(1))
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
    if (hasTitles(rows))
        translate(rows);
    const QString shownElastic = VXShownText(elastic);
    for (const QString &english : dispensable) {
        const QString title = VXShownText(english);
        const qsizetype column = rows.first().indexOf(title);
        if (VXWidthOfTable(rows) - slackOf(rows, shownElastic) <= output.width())
            break;
        if (column < 0)
            continue;
        for (QStringList &row : rows)
            row.removeAt(column);
        gone.append(title);
    }
    shorten(rows, shownElastic, VXWidthOfTable(rows) - output.width());
    if (!gone.isEmpty() && !output.isJSON())
        output.note(VXShownText(u"Left out for lack of room: %1. --json has everything."_s).arg(gone.join(", "_L1)));
    QList<qsizetype> widths;
    return aligned(rows, widths);
}
