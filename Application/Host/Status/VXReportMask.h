#pragma once

#include "VXOwnTexts.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Takes out of texts what is not the program's own, for others to read: what remains was known to be harmless, so that nothing
 * depends on recognising a name. Each value becomes a mark as "<number:3f2a90c1d7>", the same for the same value wherever it
 * stands, from which the value cannot be had without the key. Reentrant.
 */
class VXReportMask
{
public:
    /** Marks depend on the key. What has one of the hidden words (the user's, the computer's) is masked whatever it is. */
    VXReportMask(VXOwnTexts own, const QByteArray &key, const QStringList &hidden);

    /** Any text: phrases of the program stay, numbers, addresses, paths and all other words become marks. */
    QString text(const QString &text) const;
    /** The message of a log entry: with the class and operation that it comes from. */
    QString logMessage(const QString &message) const;
    /** Any value: keys and counts that the program's records have stay. */
    QJsonValue value(const QJsonValue &value, const QString &key = {}) const;
    /** One word of the program's own stays, all else is masked as a text. */
    QString word(const QString &word) const;
    /** A text from the program or a plugin's description: stays but for hidden words. */
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
