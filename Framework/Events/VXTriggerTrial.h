#pragma once

#include "VXTrigger.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariantMap>

/** What a trigger would do for its event with a given object; nothing is run. A value type. */
struct VX_EXPORT VXTriggerTrial
{
    struct Reaction
    {
        QString identifier = {}; // of the reactor plugin
        QVariantMap options = {};
        bool runs = false;
        QString problem = {}; // why the reactor cannot react; null when it can
    };

    VXFilterVerdict::Kind verdict = VXFilterVerdict::Kind::NoFilter;
    QString filter = {};  // null without a filter
    QString problem = {}; // why the object does not pass, or the filter does not work; null when the object passes
    bool passes = false;
    bool isEnabled = false;
    QList<Reaction> reactions = {}; // in order

    /** On the thread of the trigger's context, which must be the main thread, as plugins are asked. */
    static VXTriggerTrial of(const VXTrigger &trigger, const QVariant &object);
};
