#pragma once

#include "VXError.h"
#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QString>

#include <optional>

/**
 * Strings tables (".strings"): texts by key, in the text form
 *     "key" = "value"; // a comment
 * or as a property list, XML or binary, of one dictionary of texts. The text form is UTF-8, or UTF-16 with or
 * without byte order mark. A later entry replaces an earlier one of the same key. Reentrant.
 */
class VX_PLATFORM_EXPORT VXStringsTable
{
public:
    using Table = QHash<QString, QString>;

    /** @return the table; none on failure, with the line and the reason as error. Empty data is an empty table. */
    [[nodiscard]] static std::optional<Table> fromData(const QByteArray &data, VXError *error = nullptr);
    /** Same as fromData; the error contains the path. */
    [[nodiscard]] static std::optional<Table> fromFile(const QString &path, VXError *error = nullptr);

    VXStringsTable() = delete;
};
