#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

/** Something that has happened, in the form in which it is posted and passed to reactors. A value type. */
struct VXEvent
{
    QString name = {};
    QString subtype = {}; // null for none
    QVariant object = {}; // what the event is about: a map, a VXManagedObjectPtr or a QObject *; invalid for nothing
    QVariantMap options = {}; // for the reactor: what the user set, completed by the reactor's defaults
};
