#include "VXMetaDataWatch.h"

#include "VXMetaDataDebt.h"
#include "VXSQLiteConnection.h"

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

VXMetaDataWatch::VXMetaDataWatch(const VXPersistentStoreCoordinator &coordinator)
{
    for (const auto &store : coordinator.persistentStores()) {
        using Access = VXSQLiteConnection::Access;
        if (store->type() != VXStoreType::SQLite)
            continue;
        if (auto connection = VXSQLiteConnection::open(store->path(), Access::Read, 0ms, nullptr, nullptr))
            _connections.push_back(std::move(connection));
    }
    _versions = versions();
    _words = VXMetaDataDebt::lastWord();
}

VXMetaDataWatch::~VXMetaDataWatch() = default;

QByteArray VXMetaDataWatch::versions() const
{
    QByteArray versions;
    for (const auto &connection : _connections)
        versions += connection->textOf(u"PRAGMA data_version"_s, nullptr).toLatin1() + ' ';
    return versions;
}

// The versions first: who has saved by now has left word before.
bool VXMetaDataWatch::isWrittenByOthers(quint64 ownSaves)
{
    const bool isWritten = std::exchange(_versions, versions()) != _versions;
    const QByteArray before = std::exchange(_words, VXMetaDataDebt::lastWord());
    const bool isOurs = std::exchange(_ownSaves, ownSaves) != ownSaves || before != _words;
    return isWritten && !isOurs;
}
