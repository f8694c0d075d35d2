#pragma once

#include "VXOwnTexts.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Removes from texts for other readers what is not the program's own. Only what is known to be harmless remains, so
 * that nothing depends on recognising a name. Each value becomes a mark such as "<number:3f2a90c1d7>", the same for the
 * same value wherever it occurs, from which the value cannot be recovered without the key. Reentrant.
 */
class VXReportMask
{
public:
    /** Marks depend on the key. Anything with one of the hidden words (the user's, the computer's) is masked in any
     *  case. */
    VXReportMask(VXOwnTexts own, const QByteArray &key, const QStringList &hidden);

    /** Any text: phrases of the program stay; numbers, addresses, paths and all other words become marks. */
    QString text(const QString &text) const;
    /** The message of a log entry, with the class and operation from which it comes. */
    QString logMessage(const QString &message) const;
    /** Any value: keys and counts that belong to the program's records stay. */
    QJsonValue value(const QJsonValue &value, const QString &key = {}) const;
    /** A single word of the program's own stays; everything else is masked as text. */
    QString word(const QString &word) const;
    /** A text from the program or a plugin's description: stays, except for hidden words. */
    QString kept(const QString &text) const;

private:
    QString mark(QLatin1StringView kind, const QString &value) const;
    QString foreign(const QString &text) const;
    QString words(QStringView text) const;
    QString deviceURL(const QString &url) const;

    const VXOwnTexts _own;
    const QByteArray _key;
    const QStringList _hidden;
};
