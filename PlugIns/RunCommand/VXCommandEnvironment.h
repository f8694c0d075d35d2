#pragma once

#include "VXEventText.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>

/** "PHONE_NUMBER" for "phoneNumber": capitals, digits and underscores. */
QByteArray VXEnvironmentName(const QString &key);

/**
 * This process's environment with VORNIX_EVENT, VORNIX_SUBTYPE and, for each value of the object, VORNIX_OBJECT_NAME.
 * Missing values are omitted, and so are those of more than 32 KB, with which a program might not start. Dates are in
 * UTC.
 */
QList<QByteArray> VXCommandEnvironment(const VXEvent &event);

/** {"event": ..., "subtype": ..., "object": {...}} and a line feed. */
QByteArray VXCommandInput(const VXEvent &event);
