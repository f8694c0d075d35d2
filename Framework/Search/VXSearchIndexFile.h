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
    /** Of what lies there now. */
    static Mark presentMark();

    /** Makes it if need be. Null on failure. */
    static std::unique_ptr<VXSQLiteConnection> open(VXError *error);
    /** One that is there, perhaps for reading only. Null on failure. */
    static std::unique_ptr<VXSQLiteConnection> openExisting(VXError *error);
    static void discard();
    /** Of what is made anew. */
    static VXError damage(const QString &reason);
    static bool isDamage(const VXError &error);
    /** Throws it away after such a failure, and says so in the log; false after any other. */
    static bool discardIfDamaged(const VXError &error);

    VXSearchIndexFile() = delete;
};
