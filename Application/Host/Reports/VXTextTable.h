#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

class VXHostOutput;

/**
 * Rows as lines of aligned columns, separated by two spaces; nothing is added after the last column. Control
 * characters, which could control a terminal, become spaces. A long table can be made piece by piece: `widths`
 * remembers the widths of the columns. Column titles, in capitals, are shown in the user's language, and so are states,
 * kinds and other words of ours below them.
 */
[[nodiscard]] QString VXTextTable(QList<QStringList> rows, QList<qsizetype> *widths = nullptr);

/** Rows that consist of a title and a value, with the titles in the user's language. */
[[nodiscard]] QString VXTitledTable(QList<QStringList> rows);

/** A table whose last column continues on further lines if the output is not wide enough. */
[[nodiscard]] QString VXWrappedTable(const VXHostOutput &output, QList<QStringList> rows);

/** The maximum width of the longest line of such a table. */
[[nodiscard]] qsizetype VXWidthOfTable(const QList<QStringList> &rows);

/**
 * The table without those dispensable columns, named by their titles, for which the output has no room: they are
 * dropped from the first on, and a note names them. Before a column is dropped, the cells of the elastic column are
 * shortened, as far as they remain readable.
 */
[[nodiscard]] QString VXFittingTable(VXHostOutput &output, QList<QStringList> rows, const QStringList &dispensable,
                                     const QString &elastic = {});
