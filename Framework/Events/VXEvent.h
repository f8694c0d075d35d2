#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

struct VXNotification;

/** Something that has happened, in the form in which it is posted and passed to reactors. A value type. */
struct VXEvent
{
    QString name = {};
    QString subtype = {}; // null for none
    QVariant object = {}; // what the event is about: a map, a VXManagedObjectPtr or a QObject *; invalid for nothing
    QVariantMap options = {}; // for the reactor: what the user set, completed by the reactor's defaults

    /** The event that a VXEventManagerWillPostEventNotification announces. */
    [[nodiscard]] VX_EXPORT static VXEvent fromNotification(const VXNotification &notification);
    /** The user info of that notification. */
    [[nodiscard]] VX_EXPORT QVariantMap announcement() const;
};
