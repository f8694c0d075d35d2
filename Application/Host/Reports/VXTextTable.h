#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Rows as lines of aligned columns, with two spaces between; nothing is put after the last column. Control characters,
 * which could steer a terminal, become spaces. A long table can be made piece by piece: `widths` keeps those of the columns.
 */
[[nodiscard]] QString VXTextTable(const QList<QStringList> &rows, QList<qsizetype> *widths = nullptr);

/** How wide the longest line of such a table is, at most. */
[[nodiscard]] qsizetype VXWidthOfTable(const QList<QStringList> &rows);
