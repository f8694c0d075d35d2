#pragma once

#include "VXTrigger.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariantMap>

/** What would come of a trigger's event with an object: nothing is run. A value type. */
struct VX_EXPORT VXTriggerTrial
{
    struct Reaction
    {
        QString identifier = {}; // of the reactor plugin
        QVariantMap options = {};
        bool runs = false;
        QString problem = {}; // why it cannot react; null when it can
    };

    VXFilterVerdict::Kind verdict = VXFilterVerdict::Kind::NoFilter;
    QString filter = {};  // null without one
    QString problem = {}; // why the object does not pass, or why the filter does not work; null when it passes
    bool passes = false;
    bool isEnabled = false;
    QList<Reaction> reactions = {}; // in order

    /** On the context's thread of the trigger, and the main thread, as what it asks plugins. */
    static VXTriggerTrial of(const VXTrigger &trigger, const QVariant &object);
};
