#pragma once

#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Media players (MPRIS) that were paused for calls, and the calls they were paused for. Used by one thread at a time.
 * All players are asked at once, and none for longer than a second or two, so that one that does not answer does not
 * keep others waiting.
 */
class VXPausedPlayers
{
public:
    /** Pauses the players that are playing, except those whose names are missing in `names`, unless `names` is empty.
     *  @return what went wrong, for people; null if nothing did. */
    QString callBegan(const QString &call, const QStringList &names);
    /** Once no call is left, what was paused and is still paused continues, if `goesOn`. A call that never began ends
     *  nothing. */
    QString callEnded(const QString &call, bool goesOn);

private:
    struct Player
    {
        QString identifier; // on the bus
        qint64 process;     // a player that was started again is another player
    };

    QSet<QString> _calls;
    QList<Player> _paused;
};
