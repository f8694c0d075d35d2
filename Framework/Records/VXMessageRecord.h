#pragma once

#include "VXParties.h"

#include <QtCore/QDateTime>

/**
 * A text message, as events, lists of phones, stores and exporters tell of it. docs/FORMATS.md has the keys. A value type; what
 * is none is null or invalid.
 */
struct VX_EXPORT VXMessageRecord : VXParties
{
    /** As stores keep it. */
    enum class State : int { Unsent = 0, Unread = 1, Sent = 2, Read = 3 };

    VXMessageRecord() = default;
    /** What a map, a managed object or a QObject says of a message; on the object's thread. */
    explicit VXMessageRecord(const QVariant &object);
    /** True for an object that has a message's text. */
    static bool isMessage(const QVariant &object);

    QString text = {};
    QDateTime date = {}; // when it was sent, as far as known
    State state = State::Unsent;
    QString url = {}; // where it lies on the phone; null for one that is only here

    /** As the object of an event, and in lists; without what is none. */
    QVariantMap map() const;
};
