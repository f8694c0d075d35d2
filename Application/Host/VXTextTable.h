#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Rows as lines of aligned columns, with two spaces between; nothing is put after the last column. Control characters,
 * which could steer a terminal, become spaces.
 */
[[nodiscard]] QString VXTextTable(const QList<QStringList> &rows);
