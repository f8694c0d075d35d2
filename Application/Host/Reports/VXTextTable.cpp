#include "VXTextTable.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString printable(QString cell)
{
    std::replace_if(
        cell.begin(), cell.end(), [](QChar character) { return character.category() == QChar::Other_Control; }, u' ');
    return cell;
}

} // namespace

QString VXTextTable(const QList<QStringList> &rows, QList<qsizetype> *kept)
{
    QList<qsizetype> own;
    QList<qsizetype> &widths = kept == nullptr ? own : *kept;
    for (const QStringList &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    }
    QString text;
    for (const QStringList &row : rows) {
        QString line;
        for (qsizetype column = 0; column < row.size(); ++column)
            line += printable(row[column]).leftJustified(widths[column] + 2);
        while (line.endsWith(u' '))
            line.chop(1);
        text += line + u'\n';
    }
    return text;
}
