#pragma once

#include "VXGuard.h"
#include "VXPlugin.h"

#include <utility>

/**
 * To be called in a catch clause: logs the exception with the plugin's identifier and path. @return its description.
 */
VX_EXPORT QString VXReportPluginFault(const VXPlugin &plugin, const char *operation) noexcept;

/** The plugin's identifier; null when asking for it throws. */
QString VXIdentifierOfPlugin(const VXPlugin &plugin) noexcept;

/**
 * Runs code of a plugin, which may throw anything: an exception is logged at level 3 and goes no further. `plugin` is
 * the instance or its proxy; `operation` says in the log what was called. False if it threw; then `reason`, if given,
 * says what.
 */
template <class F>
bool VXCallPlugin(const VXPlugin &plugin, const char *operation, F &&call, QString *reason = nullptr)
{
    try {
        std::forward<F>(call)();
        return true;
    } catch (...) {
        const QString thrown = VXReportPluginFault(plugin, operation);
        if (reason != nullptr)
            *reason = thrown;
        return false;
    }
}
