#pragma once

#include "VXError.h"

#include <QtCore/QString>

#include <memory>
#include <tuple>

class VXSQLiteConnection;

/** The file of the search index: made, made anew when it is damaged or of another version, and thrown away. Any thread. */
class VXSearchIndexFile
{
public:
    /** As VXSearchIndex::FileMark. */
    using Mark = std::tuple<quint64, quint64, qint64>;

    static QString path();
    /** Not when a link, a pipe or anything else lies in the place of one of its files: SQLite would follow, or wait. */
    static bool isThere();
    /** Of what lies there now. */
    static Mark presentMark();

    /** Makes it if need be. Null on failure. */
    static std::unique_ptr<VXSQLiteConnection> open(VXError *error);
    /** One that is there, perhaps for reading only. Null on failure, and without an error when there is none. */
    static std::unique_ptr<VXSQLiteConnection> openExisting(VXError *error);
    /** False when it is there still. */
    static bool discard();
    /** Of what is made anew. */
    static VXError damage(const QString &reason);
    static bool isDamage(const VXError &error);
    /** Throws it away after such a failure, and says so in the log; false after any other, and when it cannot. */
    static bool discardIfDamaged(const VXError &error);

    VXSearchIndexFile() = delete;
};
