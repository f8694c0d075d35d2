#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QString>
#include <QtCore/QVariant>

// Values as text for people and other programs. On the thread of the objects in them, otherwise on any.

/** The managed object in the value; nullptr for none. */
VX_EXPORT const VXManagedObject *VXManagedObjectIn(const QVariant &object);

/**
 * Appends a value in readable form, in UTF-8; nothing for none. Dates as "2026-01-31 17:05:09" in local time, or with
 * `inUTC` as "2026-01-31T16:05:09Z" (RFC 3339); data as Base64; lists separated by ", ", with the numbers, addresses
 * and groups of contacts in them as "+1 555 0100/m"; maps as JSON; a managed object as its URI.
 */
VX_EXPORT void VXAppendValueText(QByteArray &text, const QVariant &value, bool inUTC = false);
VX_EXPORT QString VXValueText(const QVariant &value, bool inUTC = false);

/**
 * JSON for other programs, which unlike VXJSONFromVariant cannot be converted back: dates as RFC 3339 in UTC, data as
 * Base64, managed objects as URIs, numbers that are not finite as null.
 */
VX_EXPORT QJsonValue VXPlainJSON(const QVariant &value);
