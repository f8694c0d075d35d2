#pragma once

#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QByteArray>

#include <memory>
#include <vector>

class VXSQLiteConnection;

/**
 * Sees that a program of somebody else writes to an SQLite store that this process has open: as long as the file has a log,
 * VXMetaDataState sees nothing. What is written between two looks that also see one of our programs save is taken for that save.
 * Keeps connections of its own, so it has to go before the store is closed. One thread.
 */
class VXMetaDataWatch
{
public:
    explicit VXMetaDataWatch(const VXPersistentStoreCoordinator &coordinator);
    ~VXMetaDataWatch();
    VXMetaDataWatch(const VXMetaDataWatch &) = delete;
    VXMetaDataWatch &operator=(const VXMetaDataWatch &) = delete;

    /** Whether somebody has written since the last look, or since it was made, who left no word of it as our programs do
     *  (VXMetaDataDebt). `ownSaves`: how many this process has begun so far. */
    bool isWrittenByOthers(quint64 ownSaves);

private:
    /** Of what SQLite says changes with each commit by another connection. */
    QByteArray versions() const;

    std::vector<std::unique_ptr<VXSQLiteConnection>> _connections;
    QByteArray _versions;
    QByteArray _words; // of processes that saved
    quint64 _ownSaves = 0;
};
