#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>

/**
 * A call or a message as an entry of a calendar (VEVENT, RFC 5545). Read from the object: "date" (else "event_date", else the
 * entry is of now), "duration" in seconds, "from", "to" and "direction" (0: to somebody), "text".
 */
class VXCalendarEntry
{
public:
    /** Gives a text in the user's language. */
    using Translate = std::function<QString(const QString &key)>;

    VXCalendarEntry(const QVariant &object, const QDateTime &now, const Translate &translate)
        : _object(object), _now(now), _translate(translate)
    {
    }

    QByteArray bytes() const;

private:
    QString text(const QString &key) const;
    bool isIncoming() const;
    bool isMessage() const;
    /** The phonebook strings of whom it was with. */
    QString party() const;
    QString summary() const;
    QString description() const;
    QDateTime start() const;
    qint64 duration() const;
    QString identifier() const;

    const QVariant _object;
    const QDateTime _now;
    const Translate &_translate;
};
