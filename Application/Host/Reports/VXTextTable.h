#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

class VXHostOutput;

/**
 * Rows as lines of aligned columns, with two spaces between; nothing is put after the last column. Control characters,
 * which could steer a terminal, become spaces. A long table can be made piece by piece: `widths` keeps those of the columns.
 * Titles of columns, in capitals, are shown in the user's language, and so are the states, kinds and other words of ours below them.
 */
[[nodiscard]] QString VXTextTable(QList<QStringList> rows, QList<qsizetype> *widths = nullptr);

/** Rows of a title and a value each, the titles in the user's language. */
[[nodiscard]] QString VXTitledTable(QList<QStringList> rows);

/** A table whose last column goes on in further lines where the output is not wide enough. */
[[nodiscard]] QString VXWrappedTable(const VXHostOutput &output, QList<QStringList> rows);

/** How wide the longest line of such a table is, at most. */
[[nodiscard]] qsizetype VXWidthOfTable(const QList<QStringList> &rows);

/** The table without those of the dispensable columns, named by their titles, that the output has no room for: the first ones
 *  go first, and a note names them. Before one goes the cells of the elastic column are cut, as far as they can still be read. */
[[nodiscard]] QString VXFittingTable(VXHostOutput &output, QList<QStringList> rows, const QStringList &dispensable,
                                     const QString &elastic = {});
