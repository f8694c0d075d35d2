#pragma once

#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Media players (MPRIS) that were paused for calls, and which calls those are. Used by one thread at a time; asks all players at
 * once, and none for longer than a second or two, so that one which does not answer keeps no other waiting.
 */
class VXPausedPlayers
{
public:
    /** Pauses what plays, players whose names are not among `names` excepted, unless that is empty. @return what went wrong, for
     *  people; null for nothing. */
    QString callBegan(const QString &call, const QStringList &names);
    /** Once no call is left, what was paused and still is goes on, if `goesOn`. A call that never began ends nothing. */
    QString callEnded(const QString &call, bool goesOn);

private:
    struct Player
    {
        QString identifier; // on the bus
        qint64 process;     // one that was started anew is another player
    };

    QSet<QString> _calls;
    QList<Player> _paused;
};
