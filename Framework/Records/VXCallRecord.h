#pragma once

#include "VXParties.h"

#include <QtCore/QDateTime>

#include <optional>

/**
 * A call in the form shared by events, lists of phones, stores and exporters. docs/FORMATS.md has the keys. A value
 * type; values of none are null, invalid or empty.
 */
struct VX_EXPORT VXCallRecord : VXParties
{
    VXCallRecord() = default;
    /** Reads a call from a map, a managed object or a QObject; on the object's thread. */
    explicit VXCallRecord(const QVariant &object);

    QString identifier = {};             // the phone's ID of the call
    QDateTime date = {};                 // when it began to ring
    QDateTime connectedDate = {};        // when it was answered
    QDateTime eventDate = {};            // when the event took place
    std::optional<double> duration = {}; // seconds from being answered to the end
    bool isMissed = false;               // it came in, and was not answered

    /** When the call began, as far as known; for an ended call this may be computed from its end and duration. */
    QDateTime start() const;

    /** The call as the object of an event and for lists; without values of none. */
    QVariantMap map() const;
};
