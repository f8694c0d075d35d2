#pragma once

#include <QtCore/QString>

#include <functional>

struct sqlite3;

/**
 * Puts read, incoming messages into the table of a store, a second apart, in one transaction: by hand, as they are what is
 * measured, not how they come in. Text and number of each are asked for by its index. `folder` is the number of a root folder.
 */
void insertMessageRows(sqlite3 *database, qint64 folder, qint64 count, const std::function<QString(qint64)> &textOf,
                       const std::function<QString(qint64)> &numberOf);
