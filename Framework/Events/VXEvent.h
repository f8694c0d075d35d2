#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

/** Something that has happened, as it is posted and as reactors get it. A value type. */
struct VXEvent
{
    QString name = {};
    QString subtype = {};     // null for none
    QVariant object = {};     // what it is about: a map, a VXManagedObjectPtr or a QObject *; invalid for nothing
    QVariantMap options = {}; // of the reactor that gets it: its defaults under what the user set
};
