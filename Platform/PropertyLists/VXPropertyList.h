#pragma once

#include "VXAtomicFile.h"
#include "VXError.h"
#include "VXFileStamp.h"
#include "VXPlatformExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QVariant>

/**
 * Property lists, XML ("PLIST 1.0" document type) and binary ("bplist00"), as QVariant: QVariantMap,
 * QVariantList, QString, QByteArray, bool, qlonglong, double and QDateTime (UTC). Reentrant.
 */
class VX_PLATFORM_EXPORT VXPropertyList
{
public:
    enum class Format { XML, Binary };

    /**
     * Reads either form. @return the value; invalid on failure, `error` then tells the line (XML) or the
     * reason. `format`, if given, tells the form that was found.
     */
    [[nodiscard]] static QVariant fromData(const QByteArray &data, VXError *error = nullptr, Format *format = nullptr);
    /** As fromData, of a regular file of at most 64 MB; the error carries the path. `stamp`, if given, is that of
     *  the file that was read; without a file it does not exist. */
    [[nodiscard]] static QVariant fromFile(const QString &path, VXError *error = nullptr, Format *format = nullptr,
                                           VXFileStamp *stamp = nullptr);

    /** @return the bytes; null when the value holds something no property list can hold; `error` names where. */
    [[nodiscard]] static QByteArray toData(const QVariant &value, Format format, VXError *error = nullptr);
    /** Replaces the file atomically: after a failure the old file is as it was. `stamp`, if given, is the new one's. */
    static bool toFile(const QVariant &value, const QString &path, Format format, VXError *error = nullptr,
                       VXFileAccess access = VXFileAccess::Private, VXFileStamp *stamp = nullptr);

    /** True when a property list of either form can hold the value; else `reason`, if given, says what and where. */
    [[nodiscard]] static bool isValid(const QVariant &value, QString *reason = nullptr);

    VXPropertyList() = delete;
};
