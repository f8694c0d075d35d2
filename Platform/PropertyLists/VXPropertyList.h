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
     * Reads either form. @return the value; invalid on failure, with the line (XML) or the reason as error. `format`,
     * if given, receives the form.
     */
    [[nodiscard]] static QVariant fromData(const QByteArray &data, VXError *error = nullptr, Format *format = nullptr);
    /** Same as fromData, for a regular file of at most 64 MB; the error contains the path. `stamp`, if given, receives
     *  that of the file that was read, which does not exist if there is no file. */
    [[nodiscard]] static QVariant fromFile(const QString &path, VXError *error = nullptr, Format *format = nullptr,
                                           VXFileStamp *stamp = nullptr);

    /** @return the bytes; null when the value contains something that property lists cannot hold; then `error` says
     *  where. */
    [[nodiscard]] static QByteArray toData(const QVariant &value, Format format, VXError *error = nullptr);
    /** Replaces the file atomically: after a failure the old file is unchanged. `stamp`, if given, receives the new
     *  file's. */
    static bool toFile(const QVariant &value, const QString &path, Format format, VXError *error = nullptr,
                       VXFileAccess access = VXFileAccess::Private, VXFileStamp *stamp = nullptr);

    /** Whether property lists of both forms can hold the value; otherwise `reason`, if given, says what is wrong and
     *  where. */
    [[nodiscard]] static bool isValid(const QVariant &value, QString *reason = nullptr);

    VXPropertyList() = delete;
};
