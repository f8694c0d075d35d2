#pragma once

#include "VXParties.h"

#include <QtCore/QDateTime>

#include <optional>

/**
 * A call, as events, lists of phones, stores and exporters tell of it. docs/FORMATS.md has the keys. A value type; what is
 * none is null, invalid or empty.
 */
struct VX_EXPORT VXCallRecord : VXParties
{
    VXCallRecord() = default;
    /** What a map, a managed object or a QObject says of a call; on the object's thread. */
    explicit VXCallRecord(const QVariant &object);

    QString identifier = {};             // what the phone calls it
    QDateTime date = {};                 // when it began to ring
    QDateTime connectedDate = {};        // when somebody took it
    QDateTime eventDate = {};            // when that happened which the event tells of
    std::optional<double> duration = {}; // seconds from connected to ended
    bool isMissed = false;               // it came in, and nobody took it

    /** When it began, as far as anything tells: of an ended call also from when it ended, and how long it took. */
    QDateTime start() const;

    /** As the object of an event, and in lists; without what is none. */
    QVariantMap map() const;
};
