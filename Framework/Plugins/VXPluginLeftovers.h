#pragma once

#include "VXBundle.h"

#include <QtCore/QObject>
#include <QtCore/QStringList>

#include <functional>

/**
 * What still holds on to a plugin's code, for people: living instances of its classes, observers in the default
 * notification center, active timers of those instances. Main thread only.
 */
QStringList VXPluginLeftovers(const VXBundle &bundle);

/**
 * Calls once the event loop has deleted what is deferred to it (QObject::deleteLater) now and by the functions that
 * are under way; not when `context` dies before.
 */
void VXAfterDeferredDeletions(const QObject &context, const std::function<void()> &call);
