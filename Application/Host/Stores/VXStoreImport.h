#pragma once

#include <QtCore/QString>

class VXEntityDescription;
class VXManagedObjectContext;

/**
 * Makes objects of the entity from the contents of a file, without saving. A ".csv" file contains comma-separated
 * values (RFC 4180) in UTF-8, and its first line names attributes and relationships; an empty value means no value. A
 * ".jsonl" file contains a JSON object in each line, in the form for "store insert"; "uri" and "entity", which "store
 * list --json" writes, are ignored.
 * @return what is wrong and in which line, null if nothing is.
 */
[[nodiscard]] QString VXImportObjects(VXManagedObjectContext &context, const VXEntityDescription &entity,
                                      const QString &path, qsizetype *count);
