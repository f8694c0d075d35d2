#pragma once

#include "VXBundle.h"

#include <QtCore/QObject>
#include <QtCore/QStringList>

#include <functional>

/**
 * Lists, for people, what still refers to a plugin's code: living instances of its classes, their observers in the
 * default notification center, their active timers. Main thread only.
 */
QStringList VXPluginLeftovers(const VXBundle &bundle);

/**
 * Makes the call once the event loop has deleted what was deferred to it (QObject::deleteLater) so far, and by the
 * functions that are running. No call is made if `context` is destroyed before.
 */
void VXAfterDeferredDeletions(const QObject &context, const std::function<void()> &call);
