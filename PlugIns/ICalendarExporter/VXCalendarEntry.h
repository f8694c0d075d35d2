#pragma once

#include "VXCallRecord.h"
#include "VXMessageRecord.h"

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>

/** A call or a message as an entry of a calendar (VEVENT, RFC 5545). */
class VXCalendarEntry
{
public:
    /** Returns a text in the user's language. */
    using Translate = std::function<QString(const QString &key)>;

    /** An object without a date gets `now`. */
    VXCalendarEntry(const QVariant &object, const QDateTime &now, const Translate &translate);

    /** Whether the object is a call or a message at all. */
    bool isKnown() const;
    /** The same for the same call or message; if it has no date, always a new one. */
    QByteArray identifier() const;
    QByteArray bytes(const QByteArray &identifier) const;

private:
    const VXParties &parties() const;
    QString summary() const;
    QString description() const;
    QDateTime start() const;
    /** In seconds. */
    qint64 duration() const;

    const QVariant _object;
    const QDateTime _now;
    const Translate &_translate;
    const bool _isMessage;
    const VXCallRecord _call;
    const VXMessageRecord _message;
};
