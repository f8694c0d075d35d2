#pragma once

#include "VXSQLiteConnection.h"
#include "VXSQLiteSchema.h"

#include <QtCore/QMap>
#include <QtCore/QVariantMap>

#include <chrono>
#include <memory>
#include <optional>

/** What an SQLite file holds besides objects: read, and brought into being. */
class VXSQLiteFile
{
public:
    struct Contents
    {
        QVariantMap metadata;
        QMap<QString, int> entityNumbers; // by name
        VXSQLiteSchema::Existing existing;
    };

    /** True when nothing lies there, or a file of no bytes: what is left when its making is cut short. */
    static bool isMissing(const QString &path);
    /** Opens a file, found to be a store by its first bytes, for reading: foreign and damaged ones stay as they are. */
    static std::unique_ptr<VXSQLiteConnection> openForReading(const QString &path,
                                                              std::chrono::milliseconds busyTimeout,
                                                              std::atomic<qint64> *executions, VXError *error);
    /** What those use who only ever read: of a file in a folder that cannot be written nothing is locked. */
    static VXSQLiteConnection::Access accessForReaders(const QString &path);
    static std::optional<Contents> read(VXSQLiteConnection &connection, const QString &path, VXError *error);
    static bool writeMetadata(VXSQLiteConnection &connection, const QVariantMap &metadata, VXError *error);
    /** Makes the file of a new store, and then puts it in its place, whole: nobody ever sees a part of one, nor does the end of
     * the program leave one. When another process is making it, waits until that is done. */
    static bool create(const QString &path, const VXSQLiteSchema &schema, const VXManagedObjectModel &model,
                       const QVariantMap &metadata, std::chrono::milliseconds busyTimeout, VXError *error);
    /** A consistent copy, of a file that others may be writing. Replaces nothing. Who may write the file gets it faster: other
     * writers wait meanwhile. */
    static bool copy(const QString &path, const QString &to, bool mayWrite, std::chrono::milliseconds busyTimeout,
                     VXError *error);
    /** Within a transaction adds what the schema has more than the contents. */
    static bool extend(VXSQLiteConnection &connection, const VXSQLiteSchema &schema, const VXManagedObjectModel &model,
                       Contents &contents, VXError *error);

    VXSQLiteFile() = delete;
};
