#pragma once

#include "VXGuard.h"
#include "VXPlugin.h"

#include <utility>

/** Inside a catch clause: logs what was thrown, with the plugin's identifier and path. @return what was thrown. */
VX_EXPORT QString VXReportPluginFault(const VXPlugin &plugin, const char *operation) noexcept;

/** The plugin's identifier; null when asking for it throws. */
QString VXIdentifierOfPlugin(const VXPlugin &plugin) noexcept;

/**
 * Runs code of a plugin, which may throw anything: that is logged at level 3 and goes no further. `plugin` is the
 * instance or its proxy, `operation` what is called, for the log. False when it threw; `reason`, if given, tells what.
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
