#pragma once

#include "VXSQLiteConnection.h"
#include "VXSQLiteSchema.h"

#include <QtCore/QMap>
#include <QtCore/QVariantMap>

#include <chrono>
#include <memory>
#include <optional>

/** The parts of an SQLite file other than objects: reads them, and creates files. */
class VXSQLiteFile
{
public:
    struct Contents
    {
        QVariantMap metadata;
        QMap<QString, int> entityNumbers; // by name
        VXSQLiteSchema::Existing existing;
        QString schemaVersion; // another one after each change of the tables and indexes
    };

    /** Whether there is no file, or an empty one, which remains when creating one is interrupted. */
    static bool isMissing(const QString &path);
    /** Opens a file for reading after recognizing a store by its first bytes: foreign and damaged files are left
     *  unchanged. */
    static std::unique_ptr<VXSQLiteConnection> openForReading(const QString &path,
                                                              std::chrono::milliseconds busyTimeout,
                                                              std::atomic<qint64> *executions, VXError *error);
    /** The access for connections that only read: in a folder that is not writable, the file is not locked. */
    static VXSQLiteConnection::Access accessForReaders(const QString &path);
    /** `earlier` is what another connection has just read: its tables and indexes are taken over if they are still the
     *  same. */
    static std::optional<Contents> read(VXSQLiteConnection &connection, const QString &path, VXError *error,
                                        const Contents *earlier = nullptr);
    static std::optional<QVariantMap> readMetadata(VXSQLiteConnection &connection, const QString &path, VXError *error);
    /** Within a transaction, writes these entries, and removes those with an invalid value. */
    static bool writeMetadata(VXSQLiteConnection &connection, const QVariantMap &changes, VXError *error);
    /** Makes the file of a new store, and then moves it to its place: nobody ever sees a part of it, and none remains
     *  if the program ends. If another process is making it, waits until that is done. */
    static bool create(const QString &path, const VXSQLiteSchema &schema, const VXManagedObjectModel &model,
                       const QVariantMap &metadata, std::chrono::milliseconds busyTimeout, VXError *error);
    /** Makes a consistent copy of a file that others may be writing. Replaces nothing. With write access this is
     *  faster: the log is emptied first, for which other writers may wait a moment. */
    static bool copy(const QString &path, const QString &to, bool mayWrite, std::chrono::milliseconds busyTimeout,
                     VXError *error);
    /** Within a transaction, adds what the contents lack of the schema. */
    static bool extend(VXSQLiteConnection &connection, const VXSQLiteSchema &schema, const VXManagedObjectModel &model,
                       Contents &contents, VXError *error);

    VXSQLiteFile() = delete;
};
