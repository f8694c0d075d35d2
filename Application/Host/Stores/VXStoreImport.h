#pragma once

#include <QtCore/QString>

class VXEntityDescription;
class VXManagedObjectContext;

/**
 * Makes objects of the entity of what a file holds, and saves nothing. A file ".csv" has comma-separated values (RFC 4180)
 * in UTF-8, whose first line names attributes and relationships; an empty value is none. One ".jsonl" has a JSON object in
 * each line, as "store insert" takes it; "uri" and "entity", which "store list --json" writes, are passed over.
 * @return what is wrong and in which line, null when nothing is.
 */
[[nodiscard]] QString VXImportObjects(VXManagedObjectContext &context, const VXEntityDescription &entity,
                                      const QString &path, qsizetype *count);
