#pragma once

#include "VXParties.h"

#include <QtCore/QDateTime>

/**
 * A text message in the form shared by events, lists of phones, stores and exporters. docs/FORMATS.md has the keys. A
 * value type; values of none are null or invalid.
 */
struct VX_EXPORT VXMessageRecord : VXParties
{
    /** The stored values. */
    enum class State : int { Unsent = 0, Unread = 1, Sent = 2, Read = 3 };

    VXMessageRecord() = default;
    /** Reads a message from a map, a managed object or a QObject; on the object's thread. */
    explicit VXMessageRecord(const QVariant &object);
    /** Whether the object has a message's text. */
    static bool isMessage(const QVariant &object);

    QString text = {};
    QDateTime date = {}; // when it was sent, as far as known
    State state = State::Unsent;
    QString url = {}; // its place on the phone; null for a message that is only here

    /** The message as the object of an event and for lists; without values of none. */
    QVariantMap map() const;
};
