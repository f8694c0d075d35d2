#pragma once

#include "VXError.h"

#include <QtCore/QString>

#include <chrono>
#include <memory>
#include <tuple>

class VXSQLiteConnection;

/**
 * The file of the search index: creates it, makes it anew when it is damaged or of another version, and discards it.
 * Any thread.
 */
class VXSearchIndexFile
{
public:
    /** As VXSearchIndex::FileMark. */
    using Mark = std::tuple<quint64, quint64, qint64>;

    /** For which a connection waits for others; what is put in at once takes a tenth of that. */
    static constexpr std::chrono::milliseconds busyTimeout{2000};

    static QString path();
    /** Whether the index file is there. False if one of its files is a symbolic link, a pipe or anything else that is
     *  no regular file: SQLite would follow it, or wait. */
    static bool isThere();
    /** The mark of the file that is at the path now. */
    static Mark presentMark();

    /** Opens the index and creates it if need be. Null on failure. */
    static std::unique_ptr<VXSQLiteConnection> open(VXError *error);
    /** Opens an index that exists, perhaps for reading only. Null on failure, and without an error when there is none.
     *  */
    static std::unique_ptr<VXSQLiteConnection> openExisting(VXError *error);
    /** False when the file is still there. */
    static bool discard();
    /** An error that says that the index is damaged, and has to be made anew. */
    static VXError damage(const QString &reason);
    static bool isDamage(const VXError &error);
    /** Discards the index if the failure says that it is damaged, and logs it; false after any other failure, and when
     *  it cannot be discarded. */
    static bool discardIfDamaged(const VXError &error);

    VXSearchIndexFile() = delete;
};
